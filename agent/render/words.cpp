// SPDX-License-Identifier: Apache-2.0
#include "agent/render/words.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>

#include "agent/render/archive_words.h"
#include "agent/render/values.h"
#include "format/names.h"
#include "text/printable.h"

namespace render {
namespace {

using model::Condition;
using model::SeenBroker;
using model::Snapshot;
using reader::State;
using text::printable;

constexpr std::size_t kLongestName = 60;
constexpr std::size_t kMostNames = 10;

std::string noPermission(const SeenBroker& broker) {
  const std::string& group = broker.segment.group;
  if (group.empty()) {
    return fmt::format("no permission to look at {}: you need search permission on its directory",
                       printable(broker.segment.keyFile));
  }
  return fmt::format(
      "no permission to read its shared memory, which belongs to group {0}: run zebmon as a member "
      "of that group (sg {0} -c zebmon)",
      printable(group));
}

std::string damaged(const SeenBroker& broker) {
  const std::size_t places = broker.damaged().size();
  return fmt::format(
      "damaged in {}{} place{}; what could be read is shown. Stopping all processes of the broker "
      "removes the memory, and starting them makes a new one",
      places == reader::DamageList::kMost ? "at least " : "", places, places == 1 ? "" : "s");
}

std::string stopped(const std::vector<std::int32_t>& processes) {
  const bool one = processes.size() == 1;
  return fmt::format("process{} {} {} stopped, so messages wait: let {} go on with kill -CONT {}",
                     one ? "" : "es", fmt::join(processes, ", "), one ? "is" : "are",
                     one ? "it" : "them", fmt::join(processes, " "));
}

std::string noneAtAll(const Snapshot& snapshot, const std::string& file) {
  const std::string none =
      fmt::format("no broker {} a key file (*{}) in {}", file.empty() ? "has" : "had",
                  layout::kSegmentSuffix, printable(snapshot.directory));
  if (file.empty()) {
    return none +
           ". Deploy a node, or name the directory that the brokers use with --temp-directory";
  }
  return fmt::format("{} when {} was taken. Give another snapshot to --from", none, named(file));
}

std::string cantBeRead(const Snapshot& snapshot, const std::string& file) {
  const std::string directory = printable(snapshot.directory);
  if (file.empty()) {
    return fmt::format(
        "can't read the directory {}: {}. Name the directory that the brokers use with "
        "--temp-directory; you need read and search permission on it",
        directory, errorText(snapshot.error));
  }
  return fmt::format("the directory {} could not be read when {} was taken: {}. Take another one",
                     directory, named(file), errorText(snapshot.error));
}

const char* kindOf(model::Unknown::Kind kind) {
  using Kind = model::Unknown::Kind;
  switch (kind) {
    case Kind::broker:
      return "broker";
    case Kind::group:
      return "execution group";
    case Kind::flow:
      return "message flow";
    case Kind::node:
      break;
  }
  return "node";
}

// "A, B (2 in all)", or that there is none.
std::string listed(const std::vector<std::string>& names) {
  if (names.empty()) return "there is none at all";
  std::string list;
  for (std::size_t i = 0; i < std::min(names.size(), kMostNames); ++i) {
    list += (i == 0 ? "there are " : ", ") + text::shortened(names[i], kLongestName);
  }
  if (names.size() > kMostNames) list += ", ...";
  return list + fmt::format(" ({} in all)", names.size());
}

std::string remedyFor(const model::Unknown& unknown, const std::string& file) {
  if (unknown.names.empty()) return "Leave out what narrows the selection";
  if (unknown.kind != model::Unknown::Kind::broker) {
    return "Name one of these, or a pattern such as \"*in*\"";
  }
  if (!file.empty()) return "Name one of these, or another file with --from";
  return "Name one of these, or the directory of its key files with --temp-directory (a service "
         "may have a private one)";
}

std::string nothingSelected(const Snapshot& snapshot, const model::Unknown& unknown,
                            const std::string& file) {
  const bool broker = unknown.kind == model::Unknown::Kind::broker;
  const std::string place = file.empty() ? printable(snapshot.directory) : named(file);
  const std::string where = broker ? " in " + place : "";
  return fmt::format("no {} \"{}\"{}: {}. {}", kindOf(unknown.kind), printable(unknown.pattern),
                     where, listed(unknown.names), remedyFor(unknown, file));
}

}  // namespace

const char* kindName(reader::EventKind kind) {
  switch (kind) {
    case reader::EventKind::message:
      return "message";
    case reader::EventKind::exception:
      return "exception";
    case reader::EventKind::unknown:
      break;
  }
  return "unknown";
}

const char* nodeTypeName(std::uint32_t type) {
  constexpr const char* names[] = {"unknown", "input",        "output",
                                   "other",   "subFlowInput", "subFlowOutput"};
  return names[type < std::size(names) ? type : 0];
}

const char* shortTypeName(std::uint32_t type) {
  if (type == 4) return "sub in";
  if (type == 5) return "sub out";
  return nodeTypeName(type);
}

std::string nameOf(const SeenBroker& broker) {
  const std::string label = broker.label();
  if (!label.empty()) return text::shortened(label, kLongestName);
  const std::string uuid = text::shortened(broker.uuid(), kLongestName);
  return uuid.empty() ? "without a uuid" : "uuid " + uuid;
}

std::string problemOf(const SeenBroker& broker) {
  const std::string keyFile = printable(broker.segment.keyFile);
  switch (broker.state()) {
    case State::ok:
      return {};
    case State::noKeyFile:
      return fmt::format("the key file {} is gone: the broker has just stopped", keyFile);
    case State::noSegment:
      return fmt::format(
          "key file {} without shared memory: the broker has just stopped, or was killed and the "
          "memory removed. While the broker is down, the file can be deleted",
          keyFile);
    case State::noPermission:
      return noPermission(broker);
    case State::notInitialised:
      return fmt::format(
          "shared memory without a header: the broker is just starting, so try again. If that "
          "stays so, its first process died: stop the broker and remove it with ipcrm -m {}",
          broker.segment.id);
    case State::damaged:
      return damaged(broker);
    case State::failed:
      break;
  }
  return fmt::format("{} failed: {}", broker.segment.call, errorText(broker.segment.error));
}

std::vector<std::string> damageOf(const SeenBroker& broker) {
  std::vector<std::string> lines;
  for (const reader::Damage& damage : broker.damaged()) {
    lines.push_back(fmt::format("{}, offset {}: {}", printable(damage.area), damage.offset,
                                printable(damage.reason)));
  }
  return lines;
}

std::string problemOf(const Snapshot& snapshot, const model::Selection& selection,
                      const std::string& file) {
  if (snapshot.error != 0) return cantBeRead(snapshot, file);
  if (snapshot.brokers.empty()) return noneAtAll(snapshot, file);
  if (model::foreignIn(snapshot, selection.owners) == snapshot.brokers.size()) {
    return fmt::format("no broker in {} belongs to {}. Leave out --owner to see those of others",
                       printable(snapshot.directory),
                       selection.owners.size() == 1 ? "that user" : "these users");
  }
  const auto unknown = findUnknown(snapshot, selection);
  return unknown ? nothingSelected(snapshot, *unknown, file) : "";
}

std::string conditionText(const SeenBroker& broker, const model::Machine* machine) {
  switch (conditionOf(broker, machine)) {
    case Condition::noProcess:
      return "no process has its shared memory attached: all of them were killed. The figures are "
             "the last ones; starting the broker goes on with them";
    case Condition::stopped:
      return stopped(stoppedProcesses(broker, machine));
    case Condition::full:
      return "its statistics area is full: nodes that are deployed now are measured, but nobody "
             "sees their figures. zebmon doctor tells which ZEBMemorySize is enough";
    default:
      return problemOf(broker);
  }
}

std::string oddityText(const Snapshot& snapshot, const model::Oddity& oddity) {
  using Kind = model::Oddity::Kind;
  const SeenBroker& broker = *snapshot.brokers[oddity.broker];
  const std::string file = printable(broker.segment.keyFile);
  const std::string other = printable(snapshot.brokers[oddity.other]->segment.keyFile);
  switch (oddity.kind) {
    case Kind::sameSegment:
      return fmt::format(
          "{} leads to the same shared memory as {}; other commands show it once. Remove the one "
          "that is not named after the broker's uuid while the broker is down",
          file, other);
    case Kind::sameUuid:
      return fmt::format(
          "{} and {} belong to brokers of one uuid with two segments, so neither has all figures. "
          "Restart the broker's processes with one temporary directory and one uuid",
          file, other);
    case Kind::sameLabel:
      return fmt::format("{} and {} belong to two brokers of one label: choose one by its uuid",
                         file, other);
    case Kind::foreignOwner:
      return fmt::format(
          "{} belongs to user {}, its shared memory to user {}: only the broker's own user should "
          "own both. Look who made the file",
          file, *broker.segment.fileOwner, *broker.segment.owner);
    case Kind::noUuid:
      break;
  }
  return fmt::format(
      "{} has no uuid: all brokers without one share it. Make the registry's file {} readable for "
      "the broker's user and restart its processes",
      file, layout::kUuidFile);
}

std::vector<std::string> remarksOn(const Snapshot& snapshot) {
  std::vector<std::string> remarks;
  for (const auto& broker : snapshot.brokers) {
    if (!problemOf(*broker).empty()) continue;
    const std::string text = conditionText(*broker, snapshot.machine.get());
    if (!text.empty()) remarks.push_back("broker " + nameOf(*broker) + ": " + text);
  }
  for (const model::Oddity& oddity : odditiesOf(snapshot)) {
    remarks.push_back(oddityText(snapshot, oddity));
  }
  return remarks;
}

std::string ignoredOf(const Snapshot& snapshot, const std::vector<std::uint32_t>& owners) {
  const std::size_t foreign = model::foreignIn(snapshot, owners);
  if (foreign == 0) return {};
  return fmt::format("{} broker{} of other users {} ignored", foreign, foreign == 1 ? "" : "s",
                     foreign == 1 ? "is" : "are");
}

std::string cutOf(const SeenBroker& broker, bool events) {
  const std::uint64_t cut =
      broker.cutStatistics() + (events || broker.events ? broker.cutEvents() : 0);
  if (cut == 0) return {};
  return fmt::format(
      "broker {}: {} bytes of its shared memory are too many to be looked at, so what is shown is "
      "not all. Allow more with --max-bytes",
      nameOf(broker), cut);
}

std::string gapText(const SeenBroker& broker, const model::Gap& gap) {
  using Kind = model::Missed::Kind;
  const std::string name = nameOf(broker);
  if (gap.cause == model::Gap::Cause::restart) {
    return fmt::format(
        "broker {}: its shared memory is a new one: the last events of the old one may be missing",
        name);
  }
  const std::string place =
      fmt::format("{}/{}/{}", text::shortened(gap.group, kLongestName),
                  text::shortened(gap.flow, kLongestName), text::shortened(gap.node, kLongestName));
  switch (gap.missed.kind) {
    case Kind::exact:
      return fmt::format("broker {}: exactly {} of them are events of {}", name, gap.missed.least,
                         place);
    case Kind::between:
      return fmt::format("broker {}: between {} and {} of them are events of {}", name,
                         gap.missed.least, gap.missed.most, place);
    case Kind::atLeast:
      break;
  }
  return fmt::format(
      "broker {}: at least {} events may have been overwritten before they could be read, and {} "
      "more for each further turn of the ring",
      name, gap.missed.least, gap.perTurn);
}

std::string missedOf(const SeenBroker& broker) {
  if (!broker.events || !broker.events->overrun) return {};
  return gapText(broker, {.missed = {model::Missed::Kind::atLeast, broker.events->missed, 0},
                          .perTurn = broker.events->perTurn});
}

}  // namespace render
