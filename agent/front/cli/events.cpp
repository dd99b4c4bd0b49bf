// SPDX-License-Identifier: Apache-2.0
#include <map>
#include <optional>

#include "agent/front/cli/commands.h"
#include "agent/front/cli/look.h"
#include "agent/front/cli/messages.h"
#include "agent/front/cli/options.h"
#include "agent/model/collector.h"
#include "agent/model/condition.h"
#include "agent/model/selection.h"
#include "agent/render/json.h"
#include "agent/render/screens.h"
#include "agent/render/words.h"

namespace cli {
namespace {

// Says each problem once for as long as it stays the same, and again when it comes back.
class Problems {
 public:
  // All that is wrong now, by what it is wrong with.
  using Current = std::map<std::string, std::string>;

  void report(Current current) {
    for (const auto& [name, problem] : current) {
      const auto known = reported_.find(name);
      if (known == reported_.end() || known->second != problem) complain(problem);
    }
    reported_ = std::move(current);
  }

 private:
  Current reported_;
};

// Shows, snapshot by snapshot, what each broker posted since the one before.
class Watch {
 public:
  // An age counts back from `now`, in seconds since 1970, for as long as the watch goes on.
  Watch(const Request& request, Output& output, std::int64_t now)
      : request_(request), output_(output), selection_{.since = {}, .kind = request.events.kind} {
    if (request.events.since) selection_.since = request.events.since->at(now);
  }

  // Returns the exit code that this snapshot alone would end with.
  ExitCode show(const model::Snapshot& snapshot);

 private:
  void showEvents(const model::SeenBroker& broker, const model::Snapshot& snapshot);
  std::string formatted(const model::SeenBroker& broker, const reader::Event& event,
                        const model::Snapshot& snapshot);
  void reportProblems(const model::Snapshot& selected, const std::string& ofAll);

  const Request& request_;
  Output& output_;
  model::EventSelection selection_;
  Problems problems_;
  std::string shownBroker_;  // its key file
};

std::string Watch::formatted(const model::SeenBroker& broker, const reader::Event& event,
                             const model::Snapshot& snapshot) {
  if (request_.show.format == Format::jsonl) {
    return render::written(render::eventDocument(broker, event, snapshot), true);
  }
  std::string text;
  if (broker.segment.keyFile != shownBroker_) {
    if (!shownBroker_.empty()) text = "\n";
    text += render::eventsHeader(broker);
  }
  shownBroker_ = broker.segment.keyFile;
  return text + render::eventLines(event, request_.show.zone);
}

void Watch::showEvents(const model::SeenBroker& broker, const model::Snapshot& snapshot) {
  complain(render::missedOf(broker));
  if (!broker.events) return;
  for (const reader::Event& event : broker.events->events) {
    if (!model::selects(request_.selection, event)) continue;
    if (!model::selects(selection_, event)) continue;
    if (!output_.write(formatted(broker, event, snapshot))) return;
  }
}

// A follower says in one line what is wrong: what is damaged changes with every look.
void Watch::reportProblems(const model::Snapshot& selected, const std::string& ofAll) {
  if (!request_.events.follow) {
    complain(ofAll);
    for (const auto& broker : selected.brokers) reportProblem(*broker);
    return;
  }
  Problems::Current current = {{"", ofAll}};
  for (const auto& broker : selected.brokers) {
    current[broker->segment.keyFile] = namedProblemOf(*broker);
  }
  problems_.report(std::move(current));
}

ExitCode Watch::show(const model::Snapshot& snapshot) {
  const model::Snapshot selected =
      distinct(model::selectBrokers(snapshot, request_.selection.broker));
  for (const auto& broker : selected.brokers) showEvents(*broker, snapshot);
  reportProblems(selected, render::problemOf(snapshot, request_.selection));
  return findUnknown(snapshot, request_.selection) ? kNoBroker : exitCodeOf(selected);
}

void takeSince(std::optional<Since>& since, const std::string& text) {
  since = parseSince(text);
  if (since) return;
  throw CLI::ValidationError("--since", "\"" + text +
                                            "\" is neither a time like 2026-01-31T23:59:58Z nor "
                                            "an age like 15m");
}

}  // namespace

void declareEvents(CLI::App& options, Request& request) {
  static const std::map<std::string, Format> kFormats = {{"table", Format::table},
                                                         {"jsonl", Format::jsonl}};
  static const std::map<std::string, reader::EventKind> kKinds = {
      {"message", reader::EventKind::message}, {"exception", reader::EventKind::exception}};
  EventsRequest& events = request.events;
  addPlaces(options, request);
  addChoice(options, "--format", request.show.format, kFormats, "Lines or JSON, one a line",
            "table|jsonl");
  addChoice(options, "--kind", events.kind, kKinds, "Only these", "message|exception");
  options
      .add_option_function<std::string>(
          "--since", [&events](const std::string& text) { takeSince(events.since, text); },
          "Not before 2026-01-31T23:59:58Z (UTC), or not\n"
          "longer ago than 90s, 15m, 12h, 7d")
      ->type_name("T");
  addStyle(options, request);
  options.add_flag("--follow", events.follow, "Go on with what is posted from now on")
      ->excludes("--from");
  options.add_option("--interval", events.interval, "Time between two looks with --follow")
      ->check(CLI::Range(1, 3600000))
      ->type_name("MS")
      ->capture_default_str();
}

ExitCode runEvents(const Request& request, Output& output) {
  if (request.events.follow) output.stopOnSignals();
  if (!request.from.empty()) {
    const auto only = take(request, model::MachineFacts::leave, model::Events::read);
    return Watch(request, output, model::secondsOf(*only)).show(*only);
  }
  model::Collector collector(request.directory, model::Events::read);
  const auto first = collector.take();
  Watch watch(request, output, model::secondsOf(*first));
  const ExitCode code = watch.show(*first);
  if (!request.events.follow) return code;
  while (output.wait(request.events.interval)) watch.show(*collector.take());
  return kDone;
}

}  // namespace cli
