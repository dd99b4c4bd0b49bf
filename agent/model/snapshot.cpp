// SPDX-License-Identifier: Apache-2.0
#include "agent/model/snapshot.h"

#include <algorithm>
#include <utility>

#include "agent/model/calendar.h"

namespace model {

using reader::State;

namespace {

void sortByLabels(reader::Broker& tree) {
  std::ranges::stable_sort(tree.executionGroups, {}, &reader::ExecutionGroup::label);
  for (auto& group : tree.executionGroups) {
    std::ranges::stable_sort(group.messageFlows, {}, &reader::MessageFlow::label);
  }
}

}  // namespace

State SeenBroker::state() const {
  return segment.state == State::ok && !damage.empty() ? State::damaged : segment.state;
}

std::string SeenBroker::uuid() const {
  return tree ? tree->uuid : segment.uuid;
}

std::string SeenBroker::label() const {
  return tree ? tree->label : std::string();
}

SeenBroker decoded(reader::Segment segment, std::int64_t wall) {
  SeenBroker broker;
  broker.segment = std::move(segment);
  broker.damage = broker.segment.copy.damage;
  broker.tree = reader::readTree(broker.segment.copy, broker.damage);
  if (!broker.tree) return broker;
  sortByLabels(*broker.tree);
  makeNearest(*broker.tree, wall);
  return broker;
}

std::vector<std::string> labelsOf(const Snapshot& snapshot) {
  std::vector<std::string> labels;
  for (const auto& broker : snapshot.brokers) {
    if (!broker->label().empty()) labels.push_back(broker->label());
  }
  return labels;
}

std::int64_t secondsOf(const Snapshot& snapshot) {
  return std::chrono::floor<std::chrono::seconds>(snapshot.wall).time_since_epoch().count();
}

}  // namespace model
