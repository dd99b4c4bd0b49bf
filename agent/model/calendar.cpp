// SPDX-License-Identifier: Apache-2.0
#include "agent/model/calendar.h"

#include <algorithm>

namespace model {
namespace {

void makeNearest(reader::Time& time, std::int64_t wall) {
  if (time) time = nearest(*time, wall);
}

}  // namespace

std::int64_t nearest(std::int64_t stored, std::int64_t wall) {
  constexpr std::int64_t kTurn = std::int64_t{1} << 32;
  constexpr std::int64_t kFar = std::int64_t{1} << 60;  // no sum of two of these overflows
  const std::int64_t distance = std::clamp(wall, -kFar, kFar) - std::clamp(stored, -kFar, kFar);
  return std::clamp(stored, -kFar, kFar) + ((distance + kTurn / 2 - 1) >> 32) * kTurn;
}

void makeNearest(reader::Broker& tree, std::int64_t wall) {
  makeNearest(tree.resetTime, wall);
  for (auto& group : tree.executionGroups) {
    for (auto& flow : group.messageFlows) {
      for (auto& node : flow.nodes) {
        if (!node.statistics) continue;
        makeNearest(node.statistics->firstCollection, wall);
        makeNearest(node.statistics->lastCollection, wall);
      }
    }
  }
}

void makeNearest(reader::EventLog::Batch& batch, std::int64_t wall) {
  for (reader::Event& event : batch.events) makeNearest(event.time, wall);
}

}  // namespace model
