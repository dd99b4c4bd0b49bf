// SPDX-License-Identifier: Apache-2.0
#include "host/report/room.h"

#include <fmt/format.h>

#include <algorithm>
#include <variant>

#include "flowfile/room.h"
#include "format/sizes.h"
#include "host/report/activity.h"

namespace host {
namespace {

bool collects(const flowfile::Broker& broker, const flowfile::Node& node) {
  const auto* const monitor = std::get_if<flowfile::MonitorNode>(&node);
  return monitor != nullptr && activityOf(broker, *monitor).statistics;
}

void addFlow(StatisticsRoom& room, const flowfile::Broker& broker, const flowfile::Flow& flow) {
  for (const flowfile::Node& node : flow.nodes) {
    if (!collects(broker, node)) continue;
    room.needed += bytesOf(std::get<flowfile::MonitorNode>(node));
    ++room.nodes;
    if (room.needed > room.room) ++room.leftOut;
  }
}

}  // namespace

std::uint64_t bytesOf(const flowfile::MonitorNode& node) {
  const std::uint64_t units =
      flowfile::unitsOf(node.label) + flowfile::unitsOf(node.subFlowName.value_or(""));
  return flowfile::nodeBytes(units) + layout::recordSize(ZEB_STIR_RECORD, 0);
}

// A group and a flow are stored with their first node.
StatisticsRoom statisticsRoom(const flowfile::File& file) {
  const auto collectsAny = [&](const flowfile::Flow& flow) {
    return std::ranges::any_of(
        flow.nodes, [&](const flowfile::Node& node) { return collects(file.broker, node); });
  };
  StatisticsRoom room;
  room.room = flowfile::roomIn(file.broker.memorySize);
  room.needed = layout::recordSize(
      ZEB_BRIR_RECORD, flowfile::unitsOf(file.broker.label) + file.broker.uuid.value_or("").size());
  for (const flowfile::ExecutionGroup& group : file.groups) {
    if (!std::ranges::any_of(group.flows, collectsAny)) continue;
    room.needed += layout::recordSize(ZEB_EGIR_RECORD, flowfile::unitsOf(group.label));
    for (const flowfile::Flow& flow : group.flows) {
      if (!collectsAny(flow)) continue;
      room.needed += layout::recordSize(ZEB_MFIR_RECORD, flowfile::unitsOf(flow.label));
      addFlow(room, file.broker, flow);
    }
  }
  return room;
}

std::vector<std::string> roomWarnings(const flowfile::File& file) {
  std::vector<std::string> warnings;
  const StatisticsRoom room = statisticsRoom(file);
  if (room.leftOut > 0) {
    warnings.push_back(fmt::format(
        "{} of {} nodes don't fit in the statistics area and won't be measured; set memory-size "
        "to {} or more",
        room.leftOut, room.nodes, room.needed + layout::block::bytes));
  }
  if (file.broker.memorySize.value_or(0) > layout::kLargestUnwrapped) {
    warnings.push_back(
        fmt::format("three areas of {} bytes don't fit in a segment, whose size wraps at 4 GiB; "
                    "set memory-size to {} or less",
                    *file.broker.memorySize, layout::kLargestUnwrapped));
  }
  return warnings;
}

}  // namespace host
