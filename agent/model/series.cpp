// SPDX-License-Identifier: Apache-2.0
#include "agent/model/series.h"

#include <algorithm>
#include <map>
#include <set>
#include <tuple>

#include "agent/model/condition.h"
#include "agent/model/elsewhere.h"
#include "agent/model/liveness.h"

namespace model {
namespace {

reader::Number sum(const reader::Number& one, const reader::Number& other) {
  std::int64_t both = 0;
  if (!one || !other || __builtin_add_overflow(*one, *other, &both)) return {};
  return both;
}

// Numbers of both; what is not there in one is that of the other.
void add(reader::Statistics& all, const reader::Statistics& more) {
  all.messageCount = sum(all.messageCount, more.messageCount);
  all.sumSize = sum(all.sumSize, more.sumSize);
  all.sumElapsed = sum(all.sumElapsed, more.sumElapsed);
  all.sumQueued = sum(all.sumQueued, more.sumQueued);
  all.maxSize = std::max(all.maxSize, more.maxSize);
  all.minSize = std::min(all.minSize, more.minSize);
  all.maxElapsed = std::max(all.maxElapsed, more.maxElapsed);
  all.minElapsed = std::min(all.minElapsed, more.minElapsed);
  all.maxQueued = std::max(all.maxQueued, more.maxQueued);
  all.minQueued = std::min(all.minQueued, more.minQueued);
  all.lastCollection = std::max(all.lastCollection, more.lastCollection);
  all.torn = all.torn || more.torn;
}

using NodePlace = std::tuple<std::string, std::string, std::string, std::uint32_t>;

class Collected {
 public:
  explicit Collected(const SeenBroker& broker, const Machine* machine)
      : broker_(broker), machine_(machine) {}

  void add(const reader::ExecutionGroup& group);
  void moveTo(BrokerSeries& series);

 private:
  void addState(const reader::ExecutionGroup& group);
  bool counts(bool deleted);

  const SeenBroker& broker_;
  const Machine* machine_;
  BrokerSeries counted_;
  std::map<std::string, GroupSeries> groups_;
  std::map<NodePlace, NodeSeries> nodes_;
};

bool Collected::counts(bool deleted) {
  ++(deleted ? counted_.deleted : counted_.live);
  return !deleted;
}

void Collected::addState(const reader::ExecutionGroup& group) {
  const auto [at, isNew] = groups_.try_emplace(group.label);
  GroupSeries& series = at->second;
  series.group = group.label;
  const reader::Process* const process = machine_ ? machine_->find(group.processId) : nullptr;
  const bool known = process && !runsElsewhere(group.processId, broker_.segment, *machine_);
  const std::optional<bool> up = known ? serves(*process, broker_.segment) : std::nullopt;
  if (isNew || up == false || (!up && series.up == true)) series.up = up;
  if (up != true) return;
  if (const auto start = startOf(*process, machine_->clocks)) {
    series.started = std::max(series.started, std::optional<std::int64_t>(start->count()));
  }
}

void Collected::add(const reader::ExecutionGroup& group) {
  const bool live = counts(group.deleted);
  if (live) addState(group);
  for (const reader::MessageFlow& flow : group.messageFlows) {
    const bool flowLives = counts(group.deleted || flow.deleted);
    for (const reader::Node& node : flow.nodes) {
      if (!counts(!flowLives || node.deleted)) continue;
      NodeSeries& series = nodes_[{group.label, flow.label, node.label, node.type}];
      series.nodes.push_back(&node);
      counted_.duplicates += series.nodes.size() > 1;
    }
  }
}

void Collected::moveTo(BrokerSeries& series) {
  series.live = counted_.live;
  series.deleted = counted_.deleted;
  series.duplicates = counted_.duplicates;
  for (auto& [name, group] : groups_) series.groups.push_back(std::move(group));
  for (auto& [place, node] : nodes_) {
    std::tie(node.group, node.flow, node.node, node.type) = place;
    series.nodes.push_back(std::move(node));
  }
}

// Names get longer until they differ; with one uuid, only a number helps.
void nameAll(std::vector<BrokerSeries>& all) {
  constexpr std::size_t kOfUuid = 8;
  std::map<std::string, std::size_t> uses;
  for (const BrokerSeries& series : all) ++uses[series.name];
  std::set<std::string> taken;
  for (BrokerSeries& series : all) {
    if (uses[series.name] > 1) {
      series.name += " (" + series.broker->uuid().substr(0, kOfUuid) + ")";
    }
    const std::string name = series.name;
    for (std::size_t number = 2; !taken.insert(series.name).second; ++number) {
      series.name = name + " #" + std::to_string(number);
    }
  }
}

}  // namespace

std::optional<reader::Statistics> NodeSeries::statistics() const {
  std::optional<reader::Statistics> all;
  for (const reader::Node* one : nodes) {
    if (!one->statistics) continue;
    if (all) {
      add(*all, *one->statistics);
    } else {
      all = one->statistics;
    }
  }
  if (all && all->torn) all.reset();
  return all;
}

std::vector<BrokerSeries> seriesOf(const Snapshot& snapshot) {
  std::vector<BrokerSeries> all;
  const Snapshot once = distinct(snapshot);
  for (const auto& broker : once.brokers) {
    if (broker->segment.size == 0) continue;
    BrokerSeries& series = all.emplace_back();
    series.name = broker->name();
    series.broker = broker;
    if (!broker->tree) continue;
    Collected collected(*broker, snapshot.machine.get());
    for (const auto& group : broker->tree->executionGroups) collected.add(group);
    collected.moveTo(series);
  }
  nameAll(all);
  return all;
}

}  // namespace model
