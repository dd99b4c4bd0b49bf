// SPDX-License-Identifier: Apache-2.0
#include "agent/model/reset_plan.h"

#include <algorithm>

namespace model {
namespace {

std::vector<NodeToReset> nodesOf(const SeenBroker& broker) {
  std::vector<NodeToReset> nodes;
  if (!broker.tree) return nodes;
  for (const auto& group : broker.tree->executionGroups) {
    for (const auto& flow : group.messageFlows) {
      for (const auto& node : flow.nodes) {
        if (!node.statistics) continue;
        const reader::Statistics& statistics = *node.statistics;
        const bool atZero = statistics.messageCount == 0 && statistics.sumSize == 0 &&
                            statistics.sumElapsed == 0 && statistics.sumQueued == 0 &&
                            !statistics.firstCollection;
        nodes.push_back({group.label, flow.label, node.label, statistics.recordId,
                         statistics.messageCount, atZero});
      }
    }
  }
  return nodes;
}

}  // namespace

std::vector<ResetPlan> resetPlans(const Snapshot& whole, const Snapshot& selected) {
  std::vector<ResetPlan> plans;
  for (const auto& broker : selected.brokers) {
    const auto own = std::ranges::find(
        whole.brokers, broker->segment.keyFile,
        [](const auto& candidate) -> const std::string& { return candidate->segment.keyFile; });
    if (own == whole.brokers.end()) continue;
    ResetPlan plan{.broker = *own, .nodes = nodesOf(*broker), .allNodes = false};
    plan.allNodes = plan.nodes.size() == nodesOf(**own).size();
    if (!plan.nodes.empty()) plans.push_back(std::move(plan));
  }
  return plans;
}

}  // namespace model
