// SPDX-License-Identifier: Apache-2.0
#include "agent/front/cli/check_state.h"

#include <memory>

#include "agent/render/json.h"

namespace cli {
namespace {

using render::Json;
using render::orNull;
using std::chrono::milliseconds;

constexpr char kSchema[] = "zebmon.state";

std::int64_t millisecondsOf(const model::Snapshot& snapshot) {
  return std::chrono::floor<milliseconds>(snapshot.wall.time_since_epoch()).count();
}

Json nodeState(const reader::Node& node) {
  const reader::Statistics& s = *node.statistics;
  return {
      {"recordId", node.recordId.hex()},
      {"statisticsId", s.recordId.hex()},
      {"sums",
       {orNull(s.messageCount), orNull(s.sumSize), orNull(s.sumElapsed), orNull(s.sumQueued)}},
      {"extremes", {s.minSize, s.maxSize, s.minElapsed, s.maxElapsed, s.minQueued, s.maxQueued}},
      {"firstCollection", orNull(s.firstCollection)}};
}

Json brokerState(const model::SeenBroker& broker) {
  Json nodes = Json::array();
  for (const auto& group : broker.tree->executionGroups) {
    for (const auto& flow : group.messageFlows) {
      for (const auto& node : flow.nodes) {
        if (node.statistics && !node.statistics->torn) nodes.push_back(nodeState(node));
      }
    }
  }
  const bool posted = broker.events && !broker.events->events.empty();
  return {{"keyFile", broker.segment.keyFile},
          {"segment", broker.segment.id},
          {"resetTime", orNull(broker.tree->resetTime)},
          {"newestEvent", posted ? Json(broker.events->events.back().recordId.hex()) : Json()},
          {"nodes", std::move(nodes)}};
}

// Any of these throws when the document is not as it was written.
reader::Number number(const Json& value) {
  return value.is_null() ? reader::Number() : value.get<std::int64_t>();
}

reader::RecordId recordId(const Json& value) {
  return reader::RecordId::fromHex(value.get<std::string>());
}

reader::Node restoredNode(const Json& state) {
  reader::Node node;
  node.recordId = recordId(state.at("recordId"));
  node.statistics = reader::Statistics{};
  reader::Statistics& s = *node.statistics;
  s.recordId = recordId(state.at("statisticsId"));
  const Json& sums = state.at("sums");
  s.messageCount = number(sums.at(0));
  s.sumSize = number(sums.at(1));
  s.sumElapsed = number(sums.at(2));
  s.sumQueued = number(sums.at(3));
  std::int32_t* const extremes[] = {&s.minSize,    &s.maxSize,   &s.minElapsed,
                                    &s.maxElapsed, &s.minQueued, &s.maxQueued};
  for (std::size_t i = 0; i < std::size(extremes); ++i) {
    *extremes[i] = state.at("extremes").at(i).get<std::int32_t>();
  }
  s.firstCollection = number(state.at("firstCollection"));
  return node;
}

std::shared_ptr<model::SeenBroker> restoredBroker(const Json& state) {
  auto broker = std::make_shared<model::SeenBroker>();
  broker->segment.state = reader::State::ok;
  broker->segment.keyFile = state.at("keyFile").get<std::string>();
  broker->segment.id = state.at("segment").get<int>();
  broker->events = reader::EventLog::Batch{};
  if (!state.at("newestEvent").is_null()) {
    broker->events->events.emplace_back().recordId = recordId(state.at("newestEvent"));
  }
  broker->tree = reader::Broker{};
  broker->tree->resetTime = number(state.at("resetTime"));
  reader::MessageFlow flow;
  for (const Json& node : state.at("nodes")) flow.nodes.push_back(restoredNode(node));
  reader::ExecutionGroup group;
  group.messageFlows.push_back(std::move(flow));
  broker->tree->executionGroups.push_back(std::move(group));
  return broker;
}

}  // namespace

std::string stateOf(const model::Snapshot& snapshot) {
  Json document = render::headOf(kSchema, 1, snapshot);
  document["milliseconds"] = millisecondsOf(snapshot);
  Json& brokers = document["brokers"] = Json::array();
  for (const auto& broker : snapshot.brokers) {
    if (broker->tree) brokers.push_back(brokerState(*broker));
  }
  return document.dump(-1, ' ', true, Json::error_handler_t::replace) + "\n";
}

std::optional<model::Snapshot> restored(const std::string& text, const model::Snapshot& now) {
  try {
    const Json document = Json::parse(text);
    if (document.at("schema") != kSchema || document.at("version") != 1) return {};
    const auto then = document.at("milliseconds").get<std::int64_t>();
    std::int64_t passed;
    if (__builtin_sub_overflow(millisecondsOf(now), then, &passed) || passed <= 0 || then < 0) {
      return {};
    }
    model::Snapshot snapshot;
    snapshot.steady = now.steady - milliseconds(passed);
    snapshot.wall = now.wall - milliseconds(passed);
    for (const Json& broker : document.at("brokers")) {
      snapshot.brokers.push_back(restoredBroker(broker));
    }
    return snapshot;
  } catch (const Json::exception&) {
    return {};
  }
}

}  // namespace cli
