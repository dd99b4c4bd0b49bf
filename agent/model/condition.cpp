// SPDX-License-Identifier: Apache-2.0
#include "agent/model/condition.h"

#include <algorithm>
#include <set>
#include <utility>

#include "agent/model/group_state.h"
#include "agent/reader/names.h"

namespace model {
namespace {

using reader::State;

static_assert(static_cast<int>(Condition::ok) == static_cast<int>(State::ok));
static_assert(static_cast<int>(Condition::failed) == static_cast<int>(State::failed));

bool haveOneSegment(const SeenBroker& one, const SeenBroker& other) {
  return one.segment.size > 0 && other.segment.size > 0 && one.segment.id == other.segment.id;
}

bool haveOneUuid(const SeenBroker& one, const SeenBroker& other) {
  return one.tree && other.tree && !one.uuid().empty() && one.uuid() == other.uuid();
}

bool haveOneLabel(const SeenBroker& one, const SeenBroker& other) {
  return one.tree && other.tree && !one.label().empty() && one.label() == other.label();
}

bool hasForeignOwner(const SeenBroker& broker) {
  const reader::Segment& segment = broker.segment;
  return segment.owner && segment.fileOwner && *segment.owner != *segment.fileOwner;
}

// What of this broker and the ones before it is the closest likeness, if there is any.
void addLikeness(std::vector<Oddity>& oddities, const Snapshot& snapshot, std::size_t at) {
  const std::pair<Oddity::Kind, bool (*)(const SeenBroker&, const SeenBroker&)> likenesses[] = {
      {Oddity::Kind::sameSegment, haveOneSegment},
      {Oddity::Kind::sameUuid, haveOneUuid},
      {Oddity::Kind::sameLabel, haveOneLabel}};
  for (const auto& [kind, alike] : likenesses) {
    for (std::size_t other = 0; other < at; ++other) {
      if (!alike(*snapshot.brokers[at], *snapshot.brokers[other])) continue;
      oddities.push_back({kind, at, other});
      return;
    }
  }
}

}  // namespace

Condition conditionOf(State state) {
  return static_cast<Condition>(state);
}

const char* nameOf(Condition condition) {
  switch (condition) {
    case Condition::noProcess:
      return "noProcess";
    case Condition::stopped:
      return "stopped";
    case Condition::full:
      return "full";
    default:
      return reader::nameOf(static_cast<State>(condition));
  }
}

std::vector<std::int32_t> stoppedProcesses(const SeenBroker& broker, const Machine* machine) {
  std::set<std::int32_t> stopped;
  if (machine == nullptr || !broker.tree) return {};
  for (const auto& group : broker.tree->executionGroups) {
    const GroupState state = groupState(group.processId, broker.segment, *machine);
    if (state == GroupState::stopped) stopped.insert(group.processId);
  }
  return {stopped.begin(), stopped.end()};
}

Condition conditionOf(const SeenBroker& broker, const Machine* machine) {
  const Condition condition = conditionOf(broker.state());
  if (condition != Condition::ok) return condition;
  if (broker.segment.attached == 0) return Condition::noProcess;
  if (!stoppedProcesses(broker, machine).empty()) return Condition::stopped;
  return broker.full() ? Condition::full : Condition::ok;
}

std::vector<Oddity> odditiesOf(const Snapshot& snapshot) {
  std::vector<Oddity> oddities;
  for (std::size_t i = 0; i < snapshot.brokers.size(); ++i) {
    const SeenBroker& broker = *snapshot.brokers[i];
    if (broker.uuid().empty() && broker.segment.uuid.empty())
      oddities.push_back({Oddity::Kind::noUuid, i, i});
    if (hasForeignOwner(broker)) oddities.push_back({Oddity::Kind::foreignOwner, i, i});
    addLikeness(oddities, snapshot, i);
  }
  return oddities;
}

Snapshot distinct(const Snapshot& snapshot) {
  Snapshot once = snapshot;
  std::set<int> segments;
  std::erase_if(once.brokers, [&segments](const auto& broker) {
    return broker->segment.size > 0 && !segments.insert(broker->segment.id).second;
  });
  return once;
}

Counts countsOf(const reader::Broker& tree) {
  Counts counts;
  counts.groups = tree.executionGroups.size();
  for (const auto& group : tree.executionGroups) {
    counts.flows += group.messageFlows.size();
    for (const auto& flow : group.messageFlows) counts.nodes += flow.nodes.size();
  }
  return counts;
}

std::int64_t fillPercentOf(const reader::Area& area) {
  return area.size == 0 ? 0 : std::int64_t{area.last} * 100 / area.size;
}

reader::Time lastCollectionOf(const reader::Broker& tree) {
  reader::Time last;
  for (const auto& group : tree.executionGroups) {
    for (const auto& flow : group.messageFlows) {
      for (const auto& node : flow.nodes) {
        if (node.statistics) last = std::max(last, node.statistics->lastCollection);
      }
    }
  }
  return last;
}

}  // namespace model
