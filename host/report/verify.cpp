// SPDX-License-Identifier: Apache-2.0
#include "host/report/verify.h"

#include <fmt/format.h>
#include <algorithm>
#include <nlohmann/json.hpp>
#include <sstream>

#include "format/layout.h"
#include "host/report/room.h"
#include "text/printable.h"

namespace host {
namespace {

using nlohmann::json;

// The member of that label in a list, or null. A live one goes before one that is marked deleted.
// The agent gives labels in their printable form, and so they are compared.
const json* labelled(const json& parent, const char* list, const std::string& label) {
  const json* found = nullptr;
  if (!parent.contains(list)) return nullptr;
  for (const json& member : parent.at(list)) {
    if (text::printable(member.value("label", "")) != text::printable(label)) continue;
    if (!member.value("deleted", false)) return &member;
    found = &member;
  }
  return found;
}

const json* findBroker(const json& document, const flowfile::Broker& broker) {
  const json* found = labelled(document, "brokers", broker.label);
  if (!broker.uuid || !document.contains("brokers")) return found;
  for (const json& candidate : document.at("brokers")) {
    if (candidate.value("uuid", std::string()) == *broker.uuid) found = &candidate;
  }
  return found;
}

const json* findNode(const json& document, const flowfile::Broker& broker,
                     const Comparison& place) {
  const json* at = findBroker(document, broker);
  if (at != nullptr) at = labelled(*at, "executionGroups", place.group);
  if (at != nullptr) at = labelled(*at, "messageFlows", place.flow);
  if (at != nullptr) at = labelled(*at, "nodes", place.node);
  return at;
}

// Behind the news that a node, or its statistics, are missing: that there is no room for one more.
std::string whyMissing(const json& brokers, const flowfile::File& file,
                       const flowfile::MonitorNode& node) {
  const json* const broker = findBroker(brokers, file.broker);
  if (broker == nullptr) return {};
  const json segment = broker->value("segment", json());
  if (!segment.is_object()) return {};
  for (const json& area : segment.value("areas", json::array())) {
    if (area.value("name", "") != "statistics") continue;
    const auto size = area.value("sizeBytes", std::uint64_t{0});
    const auto used = area.value("usedBytes", std::uint64_t{0});
    if (used > size || size - used >= bytesOf(node)) return {};
    return fmt::format(
        ": the statistics area is full, with {} of {} bytes used and {} needed for the node; set "
        "memory-size to {} or more",
        used, size, bytesOf(node), statisticsRoom(file).needed + layout::block::bytes);
  }
  return {};
}

SizeFigures figures(const NodeCount& count) {
  if (count.messages == 0) return {};
  return {count.messages, count.bytes, count.largest, count.smallest};
}

SizeFigures figures(const json& statistics) {
  return {statistics.value("messageCount", std::uint64_t{0}),
          statistics.value("sizeSumBytes", std::uint64_t{0}),
          statistics.value("sizeMaxBytes", std::uint64_t{0}),
          statistics.value("sizeMinBytes", std::uint64_t{0})};
}

// The agent gives a number that it can't read as null.
bool unreadable(const json& statistics) {
  constexpr const char* kNumbers[] = {"messageCount", "sizeSumBytes", "elapsedSumMs",
                                      "queuedSumMs"};
  return std::ranges::any_of(kNumbers, [&statistics](const char* name) {
    return statistics.contains(name) && statistics.at(name).is_null();
  });
}

// Times that no count of messages could have: what a host can say of them without the same clock.
std::string timeProblem(const json& statistics, const std::string& name) {
  const auto count = statistics.value("messageCount", std::int64_t{0});
  const auto sum = statistics.value(name + "SumMs", std::int64_t{0});
  const auto least = statistics.value(name + "MinMs", std::int64_t{0});
  const auto most = statistics.value(name + "MaxMs", std::int64_t{0});
  if (least >= 0 && least <= most && sum >= count * least && sum <= count * most) return {};
  return fmt::format("impossible {} times: {} messages, sum {}, {} to {} ms", name, count, sum,
                     least, most);
}

std::string differenceOf(const json& statistics, const flowfile::MonitorNode& monitor,
                         const Comparison& place) {
  if (place.host != place.shared) {
    return fmt::format(
        "host: {} messages, {} bytes, sizes {} to {}; shared memory: {}, {}, {} to "
        "{}",
        place.host.count, place.host.bytes, place.host.smallest, place.host.largest,
        place.shared.count, place.shared.bytes, place.shared.smallest, place.shared.largest);
  }
  const bool queued = monitor.type == "input" && monitor.collectQueueTime.value_or("yes") == "yes";
  if (!queued && statistics.value("queuedMaxMs", 0) != 0)
    return "queued time of a node without any";
  const std::string elapsed = timeProblem(statistics, "elapsed");
  return elapsed.empty() ? timeProblem(statistics, "queued") : elapsed;
}

// Of a process that died: a message that one of its threads had may be missing, and no more.
std::string differenceOfDead(const Comparison& place, unsigned threads) {
  const SizeFigures& host = place.host;
  const SizeFigures& shared = place.shared;
  if (shared.count <= host.count && host.count - shared.count <= threads &&
      shared.bytes <= host.bytes) {
    return {};
  }
  return fmt::format(
      "host: {} messages, {} bytes; shared memory: {}, {}; at most {} may be missing", host.count,
      host.bytes, shared.count, shared.bytes, threads);
}

// What a run left of a node's figures to be compared.
struct Circumstances {
  const flowfile::Flow& flow;
  const Disturbed& disturbed;
  std::string died;     // why the process's figures are not whole
  std::string missing;  // what to say behind the news that something is missing
};

// Fills in what shared memory says of a node, and what is wrong with it.
Comparison compared(Comparison place, const flowfile::MonitorNode& monitor, const json* node,
                    const Circumstances& run) {
  const json statistics = node != nullptr ? node->value("statistics", json()) : json();
  if (node == nullptr) {
    place.problem = "not in shared memory" + run.missing;
  } else if (!statistics.is_object()) {
    place.problem = "no statistics in shared memory" + run.missing;
  } else if (unreadable(statistics)) {
    place.problem = "a number in shared memory that can't be read";
  } else {
    place.shared = figures(statistics);
    if (!run.disturbed.statistics.empty()) {
      place.notCompared = run.disturbed.statistics;
    } else if (!run.died.empty()) {
      place.problem = differenceOfDead(place, run.flow.threads);
      if (place.agrees()) place.notCompared = run.died;
    } else {
      place.problem = differenceOf(statistics, monitor, place);
    }
  }
  return place;
}

// What the host knows of the events that a node posted.
void addEvents(EventComparison& events, const flowfile::MonitorNode& monitor,
               const NodeCount& count) {
  if (!monitor.eventMessage.value_or("").empty()) events.hostMessages += count.messages;
  events.hostExceptions += count.failures;
}

void countEvents(EventComparison& events, const std::string& lines) {
  std::istringstream stream(lines);
  for (std::string line; std::getline(stream, line);) {
    const std::string kind = json::parse(line).value("kind", "");
    if (kind == "message") ++events.sharedMessages;
    if (kind == "exception") ++events.sharedExceptions;
  }
}

bool anyWrapped(const json& document) {
  for (const json& broker : document.value("brokers", json::array())) {
    const json segment = broker.value("segment", json());
    if (!segment.is_object()) continue;
    for (const json& area : segment.value("areas", json::array())) {
      if (area.value("wrapped", false)) return true;
    }
  }
  return false;
}

}  // namespace

std::size_t Verification::compared() const {
  return static_cast<std::size_t>(std::ranges::count_if(nodes, &Comparison::compared));
}

bool Verification::agrees() const {
  return problem.empty() && events.agrees() && std::ranges::all_of(nodes, &Comparison::agrees);
}

namespace {

// Compares the nodes of one flow, and adds what the host knows of their events.
void compareFlow(Verification& result, const flowfile::File& file, const Tally& tally,
                 std::size_t group, std::size_t flow, const json& statistics, const json& brokers,
                 const Disturbed& disturbed) {
  const flowfile::Flow& place = file.groups[group].flows[flow];
  const std::string died =
      group < disturbed.groups.size() ? disturbed.groups[group] : std::string();
  for (std::size_t n = 0; n < place.nodes.size(); ++n) {
    const auto* monitor = std::get_if<flowfile::MonitorNode>(&place.nodes[n]);
    if (monitor == nullptr) continue;
    const NodeCount& count = tally.node(group, flow, n);
    const Activity activity = activityOf(file.broker, *monitor);
    if (activity.events) addEvents(result.events, *monitor, count);
    if (!activity.statistics) continue;
    Comparison made{file.groups[group].label, place.label, monitor->label, figures(count), {}, ""};
    const json* node = findNode(statistics, file.broker, made);
    result.nodes.push_back(compared(std::move(made), *monitor, node,
                                    {place, disturbed, died, whyMissing(brokers, file, *monitor)}));
  }
}

bool leftByTheDead(const std::string& id) {
  return id == "lock.stuck" || id == "lock.unknown-holder" || id == "process.dead" ||
         id.starts_with("leftover.");
}

std::vector<std::string> leftBehind(const Agent& agent) {
  constexpr int kCritical = 2;  // what the doctor ends with at most when it could look
  std::vector<std::string> left;
  const json document = json::parse(agent.ask("doctor", {"--format", "json"}, kCritical));
  for (const json& finding : document.at("findings")) {
    if (!leftByTheDead(finding.at("id"))) continue;
    const json command = finding.value("command", json());
    left.push_back(fmt::format("{}: {}{}", finding.at("object").get<std::string>(),
                               finding.at("evidence").get<std::string>(),
                               command.is_string() ? "; " + command.get<std::string>() : ""));
  }
  return left;
}

}  // namespace

Verification compare(const flowfile::File& file, const Tally& tally, const json& statistics,
                     const json& brokers, const std::string& eventLines,
                     const Disturbed& disturbed) {
  Verification result;
  for (std::size_t g = 0; g < file.groups.size(); ++g) {
    for (std::size_t f = 0; f < file.groups[g].flows.size(); ++f) {
      compareFlow(result, file, tally, g, f, statistics, brokers, disturbed);
    }
  }
  countEvents(result.events, eventLines);
  result.events.wrapped = anyWrapped(brokers);
  result.events.notCompared = disturbed.events;
  return result;
}

Verification verify(const flowfile::File& file, const Tally& tally, const Agent& agent,
                    const Disturbed& disturbed) {
  Verification failed;
  failed.notDone = disturbed.memory;
  if (!failed.notDone.empty()) return failed;
  try {
    const json statistics = json::parse(agent.ask("stats", {"--format", "json"}));
    const json brokers = json::parse(agent.ask("brokers", {"--format", "json"}));
    Verification result = compare(file, tally, statistics, brokers,
                                  agent.ask("events", {"--format", "jsonl"}), disturbed);
    const auto whole = [](const std::string& died) { return died.empty(); };
    if (!std::ranges::all_of(disturbed.groups, whole)) result.leftBehind = leftBehind(agent);
    return result;
  } catch (const json::exception&) {
    failed.problem = fmt::format(
        "{} answered in a form that this host doesn't know; expected zebmon of the same version",
        agent.program().string());
  } catch (const std::exception& error) {
    failed.problem = error.what();
  }
  return failed;
}

}  // namespace host
