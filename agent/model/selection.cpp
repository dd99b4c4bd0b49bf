// SPDX-License-Identifier: Apache-2.0
#include "agent/model/selection.h"

#include <algorithm>
#include <set>
#include <utility>

#include "agent/model/event_counts.h"
#include "agent/model/message_way.h"
#include "agent/model/pattern.h"

namespace model {
namespace {

using reader::State;

bool selects(const std::string& pattern, const SeenBroker& broker) {
  return matches(pattern, broker.uuid()) || matches(pattern, broker.segment.uuid) ||
         (broker.tree && matches(pattern, broker.tree->label));
}

void narrow(reader::Broker& tree, const Selection& selection) {
  for (auto& group : tree.executionGroups) {
    for (auto& flow : group.messageFlows) {
      std::erase_if(flow.nodes,
                    [&](const auto& node) { return !matches(selection.node, node.label); });
    }
    std::erase_if(group.messageFlows, [&](const auto& flow) {
      return !matches(selection.flow, flow.label) ||
             (flow.nodes.empty() && !selection.node.empty());
    });
  }
  std::erase_if(tree.executionGroups, [&](const auto& group) {
    return !matches(selection.group, group.label) ||
           (group.messageFlows.empty() && !(selection.flow.empty() && selection.node.empty()));
  });
}

// Null when nothing in it is selected.
std::shared_ptr<const SeenBroker> narrowed(const std::shared_ptr<const SeenBroker>& broker,
                                           const Selection& selection) {
  if (!broker->tree) {
    const State state = broker->segment.state;
    return state == State::noSegment || state == State::noKeyFile ? nullptr : broker;
  }
  reader::Broker tree = *broker->tree;
  narrow(tree, selection);
  if (tree.executionGroups.empty()) return nullptr;
  auto part = std::make_shared<SeenBroker>(*broker);
  part->tree = std::move(tree);
  return part;
}

std::vector<std::string> brokerNames(const Snapshot& snapshot) {
  std::set<std::string> names;
  for (const auto& broker : snapshot.brokers) {
    names.insert(broker->name());
  }
  return {names.begin(), names.end()};
}

std::vector<std::string> namesOf(Unknown::Kind kind, const Snapshot& snapshot) {
  if (kind == Unknown::Kind::broker) return brokerNames(snapshot);
  std::set<std::string> names;
  for (const auto& broker : snapshot.brokers) {
    if (!broker->tree) continue;
    for (const auto& group : broker->tree->executionGroups) {
      if (kind == Unknown::Kind::group) names.insert(group.label);
      for (const auto& flow : group.messageFlows) {
        if (kind == Unknown::Kind::flow) names.insert(flow.label);
        if (kind != Unknown::Kind::node) continue;
        for (const auto& node : flow.nodes) names.insert(node.label);
      }
    }
  }
  return {names.begin(), names.end()};
}

// What names need, without the copied bytes.
Snapshot namesIn(const Snapshot& snapshot) {
  Snapshot light;
  for (const auto& broker : snapshot.brokers) {
    SeenBroker named;
    named.segment.state = broker->segment.state;
    named.segment.uuid = broker->segment.uuid;
    named.segment.owner = broker->segment.owner;
    named.segment.fileOwner = broker->segment.fileOwner;
    named.tree = broker->tree;
    light.brokers.push_back(std::make_shared<const SeenBroker>(std::move(named)));
  }
  return light;
}

bool isIn(const reader::ExecutionGroup& group, const Part& part) {
  if (group.label != part.group) return false;
  return part.flow.empty() || std::ranges::any_of(group.messageFlows, [&part](const auto& flow) {
           return flow.label == part.flow &&
                  (part.node.empty() ||
                   std::ranges::find(flow.nodes, part.node, &reader::Node::label) !=
                       flow.nodes.end());
         });
}

bool has(const SeenBroker& broker, const Part& part) {
  return !broker.tree || part.group.empty() ||
         std::ranges::any_of(broker.tree->executionGroups,
                             [&part](const auto& group) { return isIn(group, part); });
}

bool anySelected(const Snapshot& snapshot, bool narrows) {
  return std::ranges::any_of(snapshot.brokers,
                             [&](const auto& broker) { return !narrows || broker->tree; });
}

}  // namespace

std::optional<std::uint32_t> ownerOf(const SeenBroker& broker) {
  return broker.segment.owner ? broker.segment.owner : broker.segment.fileOwner;
}

bool isOwned(std::optional<std::uint32_t> owner, const std::vector<std::uint32_t>& owners) {
  return owners.empty() || !owner || std::ranges::find(owners, *owner) != owners.end();
}

bool isOwned(const SeenBroker& broker, const std::vector<std::uint32_t>& owners) {
  return isOwned(ownerOf(broker), owners);
}

std::size_t foreignIn(const Snapshot& snapshot, const std::vector<std::uint32_t>& owners) {
  return static_cast<std::size_t>(std::ranges::count_if(
      snapshot.brokers, [&owners](const auto& broker) { return !isOwned(*broker, owners); }));
}

Snapshot selectBrokers(const Snapshot& snapshot, const Selection& selection) {
  Snapshot selected = snapshot;
  std::erase_if(selected.brokers, [&](const auto& one) {
    return !selects(selection.broker, *one) || !isOwned(*one, selection.owners);
  });
  return selected;
}

Snapshot select(const Snapshot& snapshot, const Selection& selection) {
  Snapshot selected = selectBrokers(snapshot, selection);
  if (!selection.narrows()) return selected;
  for (auto& broker : selected.brokers) broker = narrowed(broker, selection);
  std::erase(selected.brokers, nullptr);
  return selected;
}

bool selects(const Selection& selection, const reader::Event& event) {
  if (!selection.narrows()) return true;
  return event.origin && matches(selection.group, event.origin->executionGroup) &&
         matches(selection.flow, event.origin->messageFlow) &&
         matches(selection.node, event.origin->node);
}

bool selects(const EventSelection& selection, const reader::Event& event) {
  if (selection.kind && event.kind() != *selection.kind) return false;
  if (!selection.messageId.empty() && !begins(event.messageId, selection.messageId)) return false;
  if (!selection.correlationId.empty() && !begins(event.correlationId, selection.correlationId))
    return false;
  if (!selection.since) return true;
  return postedAt(event) >= *selection.since;
}

bool isAmong(const Part& part, const Snapshot& selected) {
  return part.broker && std::ranges::any_of(selected.brokers, [&part](const auto& broker) {
           return broker == part.broker ||
                  (broker->segment.keyFile == part.broker->segment.keyFile && has(*broker, part));
         });
}

std::optional<Unknown> findUnknown(const Snapshot& snapshot, const Selection& selection) {
  if (snapshot.brokers.empty() || selection == Selection()) return std::nullopt;
  const std::pair<Unknown::Kind, std::string Selection::*> patterns[] = {
      {Unknown::Kind::broker, &Selection::broker},
      {Unknown::Kind::group, &Selection::group},
      {Unknown::Kind::flow, &Selection::flow},
      {Unknown::Kind::node, &Selection::node}};
  Selection known;
  known.owners = selection.owners;
  Snapshot around = selectBrokers(namesIn(snapshot), known);
  if (around.brokers.empty()) return std::nullopt;
  for (const auto& [kind, pattern] : patterns) {
    known.*pattern = selection.*pattern;
    Snapshot selected = select(around, known);
    if (!anySelected(selected, known.narrows()))
      return Unknown{kind, selection.*pattern, namesOf(kind, around)};
    around = std::move(selected);
  }
  return std::nullopt;
}

}  // namespace model
