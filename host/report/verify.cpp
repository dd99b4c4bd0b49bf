// SPDX-License-Identifier: Apache-2.0
#include "host/report/verify.h"

#include <fmt/format.h>
#include <strings.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <sstream>

#include "host/report/program.h"
#include "text/printable.h"

namespace host {
namespace {

using Json = nlohmann::json;

enum Mode { kNone, kAll, kNothing, kEvents, kEnds, kEndsAndEvents };

bool sameText(const char* a, const std::string& b) {
  return strcasecmp(a, b.c_str()) == 0;
}

Mode modeOf(const std::optional<std::string>& text, const char* const (&names)[6], Mode otherwise) {
  for (int mode = kNone; text && mode <= kEndsAndEvents; ++mode) {
    if (sameText(names[mode], *text)) return static_cast<Mode>(mode);
  }
  return otherwise;
}

Mode modeOf(const flowfile::Broker& broker, const flowfile::MonitorNode& node) {
  constexpr const char* kOverrides[6] = {
      "NoOverride", "Yes", "No", "EventOnly", "InputOutputOnly", "InputOutputAndEventOnly"};
  constexpr const char* kAttributes[6] = {
      "", "yes", "no", "eventOnly", "inputOutputOnly", "inputOutputAndEventOnly"};
  const Mode all = modeOf(broker.activate, kOverrides, kNone);
  const Mode override = modeOf(broker.activateForBroker, kOverrides, all);
  return override != kNone ? override : modeOf(node.activateNode, kAttributes, kAll);
}

// The member of that label in a list, or null. A live one goes before one that is marked deleted.
// The agent gives labels in their printable form, and so they are compared.
const Json* labelled(const Json& parent, const char* list, const std::string& label) {
  const Json* found = nullptr;
  if (!parent.contains(list)) return nullptr;
  for (const Json& member : parent.at(list)) {
    if (text::printable(member.value("label", "")) != text::printable(label)) continue;
    if (!member.value("deleted", false)) return &member;
    found = &member;
  }
  return found;
}

const Json* findNode(const Json& document, const flowfile::Broker& broker,
                     const Comparison& place) {
  const Json* at = labelled(document, "brokers", broker.label);
  if (broker.uuid && document.contains("brokers")) {
    for (const Json& candidate : document.at("brokers")) {
      if (candidate.value("uuid", std::string()) == *broker.uuid) at = &candidate;
    }
  }
  if (at != nullptr) at = labelled(*at, "executionGroups", place.group);
  if (at != nullptr) at = labelled(*at, "messageFlows", place.flow);
  if (at != nullptr) at = labelled(*at, "nodes", place.node);
  return at;
}

SizeFigures figures(const NodeCount& count) {
  if (count.messages == 0) return {};
  return {count.messages, count.bytes, count.largest, count.smallest};
}

SizeFigures figures(const Json& statistics) {
  return {statistics.value("messageCount", std::uint64_t{0}),
          statistics.value("sizeSumBytes", std::uint64_t{0}),
          statistics.value("sizeMaxBytes", std::uint64_t{0}),
          statistics.value("sizeMinBytes", std::uint64_t{0})};
}

// The agent gives a number that it can't read as null.
bool unreadable(const Json& statistics) {
  constexpr const char* kNumbers[] = {"messageCount", "sizeSumBytes", "elapsedSumMs",
                                      "queuedSumMs"};
  return std::ranges::any_of(kNumbers, [&statistics](const char* name) {
    return statistics.contains(name) && statistics.at(name).is_null();
  });
}

// Times that no count of messages could have: what a host can say of them without the same clock.
std::string timeProblem(const Json& statistics, const std::string& name) {
  const auto count = statistics.value("messageCount", std::int64_t{0});
  const auto sum = statistics.value(name + "SumMs", std::int64_t{0});
  const auto least = statistics.value(name + "MinMs", std::int64_t{0});
  const auto most = statistics.value(name + "MaxMs", std::int64_t{0});
  if (least >= 0 && least <= most && sum >= count * least && sum <= count * most) return {};
  return fmt::format("impossible {} times: {} messages, sum {}, {} to {} ms", name, count, sum,
                     least, most);
}

std::string problemOf(const Json* node, const flowfile::MonitorNode& monitor,
                      const Comparison& place) {
  if (node == nullptr) return "not in shared memory";
  const Json statistics = node->value("statistics", Json());
  if (!statistics.is_object()) return "no statistics in shared memory";
  if (unreadable(statistics)) return "a number in shared memory that can't be read";
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

// Fills in what shared memory says of a node, and what is wrong with it.
Comparison compared(Comparison place, const flowfile::MonitorNode& monitor, const Json* node) {
  const Json statistics = node != nullptr ? node->value("statistics", Json()) : Json();
  if (statistics.is_object() && !unreadable(statistics)) {
    place.shared = figures(statistics);
  }
  place.problem = problemOf(node, monitor, place);
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
    const std::string kind = Json::parse(line).value("kind", "");
    if (kind == "message") ++events.sharedMessages;
    if (kind == "exception") ++events.sharedExceptions;
  }
}

bool anyWrapped(const Json& document) {
  for (const Json& broker : document.value("brokers", Json::array())) {
    const Json segment = broker.value("segment", Json());
    if (!segment.is_object()) continue;
    for (const Json& area : segment.value("areas", Json::array())) {
      if (area.value("wrapped", false)) return true;
    }
  }
  return false;
}

}  // namespace

Activity activityOf(const flowfile::Broker& broker, const flowfile::MonitorNode& node) {
  const bool message = !node.eventMessage.value_or("").empty();
  const bool end = node.type == "input" || node.type == "output";
  switch (modeOf(broker, node)) {
    case kNothing:
      return {false, false};
    case kEvents:
      return {false, message};
    case kEnds:
      return {end, end};
    case kEndsAndEvents:
      return {end || message, end || message};
    case kNone:
    case kAll:
      break;
  }
  return {true, true};
}

bool Verification::agrees() const {
  return problem.empty() && events.agrees() &&
         std::all_of(nodes.begin(), nodes.end(),
                     [](const Comparison& node) { return node.agrees(); });
}

Verification compare(const flowfile::File& file, const Tally& tally, const Json& statistics,
                     const Json& brokers, const std::string& eventLines) {
  Verification result;
  for (std::size_t g = 0; g < file.groups.size(); ++g) {
    for (std::size_t f = 0; f < file.groups[g].flows.size(); ++f) {
      const flowfile::Flow& flow = file.groups[g].flows[f];
      for (std::size_t n = 0; n < flow.nodes.size(); ++n) {
        const auto* monitor = std::get_if<flowfile::MonitorNode>(&flow.nodes[n]);
        if (monitor == nullptr) continue;
        const NodeCount& count = tally.node(g, f, n);
        const Activity activity = activityOf(file.broker, *monitor);
        if (activity.events) addEvents(result.events, *monitor, count);
        if (!activity.statistics) continue;
        Comparison place{file.groups[g].label, flow.label, monitor->label, figures(count), {}, ""};
        const Json* node = findNode(statistics, file.broker, place);
        result.nodes.push_back(compared(std::move(place), *monitor, node));
      }
    }
  }
  countEvents(result.events, eventLines);
  result.events.wrapped = anyWrapped(brokers);
  return result;
}

Verification verify(const flowfile::File& file, const Tally& tally,
                    const std::filesystem::path& agent, bool asInstalled) {
  const auto ask = [&](const char* command, const char* format) {
    std::vector<std::string> line{agent.string(), command,
                                  "--format",     format,
                                  "--broker",     file.broker.uuid.value_or(file.broker.label)};
    if (file.broker.tempDirectory && !asInstalled) {
      line.insert(line.end(), {"--temp-directory", file.broker.tempDirectory->string()});
    }
    return outputOf(line);
  };
  Verification failed;
  try {
    const Json statistics = Json::parse(ask("stats", "json"));
    const Json brokers = Json::parse(ask("brokers", "json"));
    return compare(file, tally, statistics, brokers, ask("events", "jsonl"));
  } catch (const Json::exception&) {
    failed.problem = fmt::format(
        "{} answered in a form that this host doesn't know; expected zebmon of the same version",
        agent.string());
  } catch (const std::exception& error) {
    failed.problem = error.what();
  }
  return failed;
}

}  // namespace host
