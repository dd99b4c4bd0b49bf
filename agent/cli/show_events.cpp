// SPDX-License-Identifier: Apache-2.0
#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <span>

#include "agent/cli/commands.h"
#include "agent/cli/documents.h"
#include "agent/cli/show.h"

namespace cli {
namespace {

std::string padded(std::string text, std::size_t width) {
  const std::size_t taken = columns(text);
  if (taken < width) text.append(width - taken, ' ');
  return text;
}

// The event's own time; the milliseconds come from its record ID, made at the same moment.
std::string timeOf(const reader::Event& event) {
  if (!event.time) return "-";
  const reader::Stamp created = event.recordId.created();
  std::string text = dateAndTime(*event.time);
  if (*event.time == created.seconds) text += fmt::format(".{:03}", created.milliseconds);
  return text;
}

std::string placeOf(const reader::Event& event) {
  if (!event.origin) return "(template overwritten)";
  return fmt::format("{}/{}/{}", shortened(event.origin->executionGroup, 30),
                     shortened(event.origin->messageFlow, 30), shortened(event.origin->node, 30));
}

const char* kindName(reader::EventKind kind) {
  if (kind == reader::EventKind::unknown) return "unknown";
  return kind == reader::EventKind::exception ? "exception" : "message";
}

bool allZero(std::span<const std::uint8_t> bytes) {
  return std::all_of(bytes.begin(), bytes.end(), [](std::uint8_t byte) { return byte == 0; });
}

std::string titles() {
  return fmt::format("{:<23}  {:<9}  {:<38}  {}\n", "time (UTC)", "kind", "node",
                     "application, put");
}

bool isWanted(const reader::Event& event, const EventOptions& wanted) {
  if (wanted.kind && event.kind() != *wanted.kind) return false;
  if (!wanted.since) return true;
  return event.time.value_or(event.recordId.created().seconds) >= *wanted.since;
}

// Shows what each broker posted since the last look.
class Watch {
 public:
  Watch(const Options& options, const EventOptions& wanted, Output& output)
      : options_(options), wanted_(wanted), output_(output) {}

  // One look; returns the exit code that it would end with.
  int look();

 private:
  void show(Found& found);
  std::string formatted(const Found& found, const reader::Event& event);
  void reportMissed(const Found& found, const reader::EventLog::Batch& batch) const;
  void reportChange(const std::string& name, const std::string& problem);

  const Options& options_;
  const EventOptions& wanted_;
  Output& output_;
  std::map<std::string, reader::EventLog> logs_;  // by key file
  std::map<std::string, std::string> problems_;   // by key file, as last reported
  std::string shownBroker_;
};

// Says each problem once for as long as it stays the same.
void Watch::reportChange(const std::string& name, const std::string& problem) {
  std::string& reported = problems_[name];
  if (problem != reported && !problem.empty()) fmt::print(stderr, "zebmon: {}.\n", problem);
  reported = problem;
}

void Watch::reportMissed(const Found& found, const reader::EventLog::Batch& batch) const {
  if (!batch.overrun) return;
  fmt::print(stderr,
             "zebmon: broker {}: at least {} events may have been overwritten before they could be "
             "read, and {} more for each further turn of the ring.\n",
             nameOf(found), batch.missed, batch.perTurn);
}

std::string Watch::formatted(const Found& found, const reader::Event& event) {
  if (wanted_.format == Format::json) return written(eventDocument(found, event), true);
  std::string text;
  if (found.segment.keyFile != shownBroker_) {
    text =
        fmt::format("{}Broker {}\n{}", shownBroker_.empty() ? "" : "\n", nameOf(found), titles());
  }
  shownBroker_ = found.segment.keyFile;
  return text + eventLines(event);
}

void Watch::show(Found& found) {
  const auto batch = logs_[found.segment.keyFile].read(found.segment, found.damage);
  reportMissed(found, batch);
  for (const reader::Event& event : batch.events) {
    if (isWanted(event, wanted_) && !output_.write(formatted(found, event))) return;
  }
}

int Watch::look() {
  Brokers brokers = readBrokers(options_, wanted_.follow);
  reportChange("", brokers.problem);
  for (Found& found : brokers.found) {
    show(found);
    if (!wanted_.follow) {
      reportProblem(found);
    } else {
      const std::string problem = describe(found);
      reportChange(found.segment.keyFile,
                   problem.empty() ? "" : "broker " + nameOf(found) + ": " + problem);
    }
    if (isFailure(found.state())) brokers.exitCode = kNotAllRead;
  }
  return brokers.exitCode;
}

}  // namespace

std::string eventLines(const reader::Event& event) {
  std::string application = shortened(event.putApplicationName, 28);
  if (!event.putDate.empty()) application += " " + printable(event.putDate);
  if (!event.putTime.empty()) application += " " + printable(event.putTime);
  std::string text = fmt::format("{}  {:<9}  {}  {}\n", padded(timeOf(event), 23),
                                 kindName(event.kind()), padded(placeOf(event), 38), application);
  if (event.origin) text += "    " + printable(event.origin->text) + "\n";
  text += fmt::format("    message {}  thread {}\n", hex(event.messageId), event.threadId);
  if (!allZero(event.correlationId)) text += "    correlation " + hex(event.correlationId) + "\n";
  return text;
}

int showEvents(const Options& options, const EventOptions& wanted, Output& output) {
  Watch watch(options, wanted, output);
  if (!wanted.follow) return watch.look();
  output.stopOnSignals();
  do {
    watch.look();
  } while (output.wait(wanted.interval));
  return kDone;
}

}  // namespace cli
