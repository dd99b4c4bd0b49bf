// SPDX-License-Identifier: Apache-2.0
#include "agent/model/rates.h"

#include <algorithm>
#include <unordered_map>

#include "agent/model/checked.h"

namespace model {
namespace {

using reader::RecordId;
using reader::Statistics;

// Nobody but a reset makes a maximum smaller, or a minimum larger.
bool extremesWentBack(const Statistics& before, const Statistics& after) {
  return after.maxSize < before.maxSize || after.minSize > before.minSize ||
         after.maxElapsed < before.maxElapsed || after.minElapsed > before.minElapsed ||
         after.maxQueued < before.maxQueued || after.minQueued > before.minQueued;
}

// Before the first message there are no extremes yet, and the first one is no reset.
bool wasReset(const Statistics& before, const Statistics& after) {
  if (before.recordId != after.recordId) return true;
  if (before.firstCollection && before.firstCollection != after.firstCollection) return true;
  if (fell(before.messageCount, after.messageCount) || fell(before.sumSize, after.sumSize) ||
      fell(before.sumElapsed, after.sumElapsed) || fell(before.sumQueued, after.sumQueued)) {
    return true;
  }
  return before.firstCollection && extremesWentBack(before, after);
}

Change changeOf(const reader::Node& before, const reader::Node& after, bool reset) {
  if (!before.statistics || !after.statistics) return Change::notCollected;
  if (before.statistics->torn || after.statistics->torn) return Change::torn;
  if (reset || wasReset(*before.statistics, *after.statistics)) return Change::reset;
  return Change::measured;
}

// The nodes of one look, by their IDs. Mostly the other look has the same ones in the same order,
// so the one behind the last that was asked for is tried first; the index is made only when it is
// not.
class Known {
 public:
  explicit Known(const SeenBroker* broker) {
    if (broker == nullptr || !broker->tree) return;
    for (const auto& group : broker->tree->executionGroups) {
      for (const auto& flow : group.messageFlows) {
        for (const auto& node : flow.nodes) nodes_.push_back(&node);
      }
    }
    taken_.resize(nodes_.size());
  }

  // Null when there is none.
  const reader::Node* take(const RecordId& id) {
    const std::size_t at =
        next_ < nodes_.size() && nodes_[next_]->recordId == id ? next_ : find(id);
    if (at == nodes_.size()) return nullptr;
    taken_[at] = true;
    next_ = at + 1;
    return nodes_[at];
  }

  // By its number in stored order.
  bool isTaken(std::size_t node) const { return taken_[node]; }

 private:
  // The first of that ID, or behind the last.
  std::size_t find(const RecordId& id) {
    if (places_.empty()) {
      for (std::size_t i = 0; i < nodes_.size(); ++i) places_.emplace(nodes_[i]->recordId, i);
    }
    const auto found = places_.find(id);
    return found == places_.end() ? nodes_.size() : found->second;
  }

  std::vector<const reader::Node*> nodes_;
  std::vector<bool> taken_;
  std::size_t next_ = 0;
  std::unordered_map<RecordId, std::size_t, reader::RecordIdHash> places_;
};

bool wasReset(const SeenBroker* before, const SeenBroker* after) {
  if (before == nullptr || after == nullptr) return false;
  if (before->segment.id != after->segment.id) return true;
  return before->tree && after->tree && before->tree->resetTime != after->tree->resetTime;
}

class BrokerComparison {
 public:
  explicit BrokerComparison(BrokerGrowth& growth) : growth_(growth), known_(growth.before.get()) {}

  void run() {
    growth_.reset = wasReset(growth_.before.get(), growth_.after.get());
    if (growth_.after && growth_.after->tree) addPresent(*growth_.after->tree);
    if (growth_.before && growth_.before->tree) addGone(*growth_.before->tree);
  }

 private:
  void addPresent(const reader::Broker& tree);
  void addGone(const reader::Broker& tree);
  NodeGrowth present(const reader::Node& node);
  FlowGrowth& placeOf(const RecordId& id, const std::string& group, const std::string& flow);

  BrokerGrowth& growth_;
  Known known_;
  std::unordered_map<RecordId, std::size_t, reader::RecordIdHash> flows_;  // index of each
};

NodeGrowth BrokerComparison::present(const reader::Node& node) {
  if (const reader::Node* before = known_.take(node.recordId)) {
    return growthOf(*before, node, growth_.reset);
  }
  const bool certain = !growth_.before || growth_.before->isComplete();
  return {.before = nullptr,
          .after = &node,
          .change = certain ? Change::came : Change::unknown,
          .growth = {}};
}

void BrokerComparison::addPresent(const reader::Broker& tree) {
  for (const auto& group : tree.executionGroups) {
    for (const auto& flow : group.messageFlows) {
      flows_.emplace(flow.recordId, growth_.flows.size());
      FlowGrowth& added = growth_.flows.emplace_back();
      added.group = group.label;
      added.flow = flow.label;
      added.nodes.reserve(flow.nodes.size());
      for (const auto& node : flow.nodes) added.nodes.push_back(present(node));
    }
  }
}

FlowGrowth& BrokerComparison::placeOf(const RecordId& id, const std::string& group,
                                      const std::string& flow) {
  const auto [place, isNew] = flows_.emplace(id, growth_.flows.size());
  if (isNew) growth_.flows.push_back({group, flow, {}});
  return growth_.flows[place->second];
}

void BrokerComparison::addGone(const reader::Broker& tree) {
  const Change change =
      !growth_.after || growth_.after->isComplete() ? Change::went : Change::unknown;
  std::size_t number = 0;
  for (const auto& group : tree.executionGroups) {
    for (const auto& flow : group.messageFlows) {
      for (const auto& node : flow.nodes) {
        if (known_.isTaken(number++)) continue;
        placeOf(flow.recordId, group.label, flow.label)
            .nodes.push_back({.before = &node, .after = nullptr, .change = change, .growth = {}});
      }
    }
  }
}

std::shared_ptr<const SeenBroker> find(const Snapshot& snapshot, const SeenBroker& broker) {
  const auto found = std::ranges::find_if(snapshot.brokers, [&broker](const auto& other) {
    return other->segment.keyFile == broker.segment.keyFile;
  });
  return found == snapshot.brokers.end() ? nullptr : *found;
}

}  // namespace

NodeGrowth growthOf(const reader::Node& before, const reader::Node& after, bool reset) {
  NodeGrowth node{
      .before = &before, .after = &after, .change = changeOf(before, after, reset), .growth = {}};
  if (node.change != Change::measured) return node;
  const Statistics& from = *before.statistics;
  const Statistics& to = *after.statistics;
  node.growth = {.messages = difference(to.messageCount, from.messageCount),
                 .bytes = difference(to.sumSize, from.sumSize),
                 .elapsedMs = difference(to.sumElapsed, from.sumElapsed),
                 .queuedMs = difference(to.sumQueued, from.sumQueued)};
  return node;
}

// As numbers that can't overflow, wherever the snapshots are from.
Seconds steadyBetween(const Snapshot& before, const Snapshot& after) {
  return Seconds(after.steady.time_since_epoch()) - Seconds(before.steady.time_since_epoch());
}

Growths between(const Snapshot& before, const Snapshot& after) {
  Growths growths;
  growths.interval = std::max(Seconds(0), steadyBetween(before, after));
  for (const auto& broker : after.brokers) {
    growths.brokers.push_back({.before = find(before, *broker), .after = broker, .flows = {}});
  }
  for (const auto& broker : before.brokers) {
    if (find(after, *broker)) continue;
    growths.brokers.push_back({.before = broker, .after = nullptr, .flows = {}});
  }
  for (BrokerGrowth& growth : growths.brokers) BrokerComparison(growth).run();
  return growths;
}

std::optional<double> perSecond(reader::Number growth, Seconds interval) {
  if (!growth || interval.count() <= 0) return {};
  return static_cast<double>(*growth) / interval.count();
}

std::optional<double> mean(reader::Number sum, reader::Number count) {
  if (!sum || !count || *count <= 0) return {};
  return static_cast<double>(*sum) / static_cast<double>(*count);
}

}  // namespace model
