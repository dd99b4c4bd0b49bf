// SPDX-License-Identifier: Apache-2.0
#include "agent/front/history/broker_counts.h"

#include <limits>
#include <unordered_set>

#include "agent/model/rates.h"

namespace history {
namespace {

using model::Number;
using reader::Node;
using reader::RecordId;
using reader::Statistics;

// A number that somebody wrote there may be below 0, which no count is.
Number counted(const Number& number) {
  return number && *number >= 0 ? number : Number();
}

Amounts allOf(const Statistics& statistics) {
  return {.messages = counted(statistics.messageCount),
          .bytes = counted(statistics.sumSize),
          .elapsedMs = counted(statistics.sumElapsed),
          .queuedMs = counted(statistics.sumQueued)};
}

Amounts grown(const model::Growth& growth) {
  return {.messages = growth.messages,
          .bytes = growth.bytes,
          .elapsedMs = growth.elapsedMs,
          .queuedMs = growth.queuedMs};
}

void keepWhatIsKnown(Number& now, const Number& before) {
  if (!now) now = before;
}

// A number that can't be read this time keeps its old value: what was added is known later.
Statistics merged(Statistics now, const std::optional<Statistics>& before) {
  if (!before) return now;
  keepWhatIsKnown(now.messageCount, before->messageCount);
  keepWhatIsKnown(now.sumSize, before->sumSize);
  keepWhatIsKnown(now.sumElapsed, before->sumElapsed);
  keepWhatIsKnown(now.sumQueued, before->sumQueued);
  return now;
}

bool sameNumbers(const Statistics& one, const Statistics& other) {
  return one.messageCount == other.messageCount && one.sumSize == other.sumSize &&
         one.sumElapsed == other.sumElapsed && one.sumQueued == other.sumQueued &&
         one.recordId == other.recordId && one.firstCollection == other.firstCollection;
}

}  // namespace

Amounts sum(const Amounts& one, const Amounts& other) {
  return {.messages = model::sum(one.messages, other.messages),
          .bytes = model::sum(one.bytes, other.bytes),
          .elapsedMs = model::sum(one.elapsedMs, other.elapsedMs),
          .queuedMs = model::sum(one.queuedMs, other.queuedMs)};
}

bool isWhole(const model::SeenBroker& broker) {
  return broker.isComplete() && broker.cutStatistics() == 0;
}

// One look, record by record.
class BrokerCounts::Comparison {
 public:
  Comparison(BrokerCounts& counts, const model::SeenBroker& broker, New how,
             const NumberOf& numberOf)
      : counts_(counts), broker_(broker), how_(how), numberOf_(numberOf) {}

  Look run();

 private:
  void see(const reader::ExecutionGroup& group, const reader::MessageFlow& flow, const Node& node);
  void seeKnown(Base& base, const Node& node);
  void seeNew(const Place& place, const Node& node);
  void set(Base& base, const Node& node, bool reset);
  void add(std::int64_t name, const Amounts& amounts);
  void forgetGone();

  BrokerCounts& counts_;
  const model::SeenBroker& broker_;
  const New how_;
  const NumberOf& numberOf_;
  std::unordered_set<RecordId, reader::RecordIdHash> seen_;
  Look look_;
};

void BrokerCounts::Comparison::add(std::int64_t name, const Amounts& amounts) {
  if (amounts.isNothing()) return;
  const auto [place, isNew] = look_.added.try_emplace(name, amounts);
  if (!isNew) place->second = sum(place->second, amounts);
}

void BrokerCounts::Comparison::set(Base& base, const Node& node, bool reset) {
  base.segment = broker_.segment.id;
  base.reset = broker_.tree->resetTime;
  base.counts.statistics = merged(*node.statistics, reset ? std::nullopt : base.counts.statistics);
  look_.changed.push_back(node.recordId);
}

void BrokerCounts::Comparison::seeKnown(Base& base, const Node& node) {
  if (!node.statistics || node.statistics->torn) return;
  const bool renewed = base.segment != broker_.segment.id || base.reset != broker_.tree->resetTime;
  if (!base.counts.statistics) return set(base, node, true);
  const model::NodeGrowth growth = model::growthOf(base.counts, node, renewed);
  const bool reset = growth.change == model::Change::reset;
  look_.reset = look_.reset || reset;
  add(base.node, reset ? allOf(*node.statistics) : grown(growth.growth));
  if (renewed || !sameNumbers(*base.counts.statistics, *node.statistics)) set(base, node, reset);
}

// Of a record that was there before and can't be read now, only that is kept: the next look begins
// with it.
void BrokerCounts::Comparison::seeNew(const Place& place, const Node& node) {
  const bool torn = node.statistics && node.statistics->torn;
  if (!node.statistics || (torn && how_ == New::came)) return;
  const auto name = numberOf_(place);
  if (!name) {
    ++look_.tooMany;
    return;
  }
  Base& base = counts_.bases_[node.recordId];
  base.node = *name;
  base.counts.recordId = node.recordId;
  if (how_ == New::came) {
    look_.deployed.emplace(place.group, place.flow);
    add(*name, allOf(*node.statistics));
  }
  if (torn) {
    look_.changed.push_back(node.recordId);
  } else {
    set(base, node, true);
  }
}

void BrokerCounts::Comparison::see(const reader::ExecutionGroup& group,
                                   const reader::MessageFlow& flow, const Node& node) {
  if (!seen_.insert(node.recordId).second) return;
  const auto found = counts_.bases_.find(node.recordId);
  if (found != counts_.bases_.end()) return seeKnown(found->second, node);
  seeNew({group.label, flow.label, node.label, node.type}, node);
}

void BrokerCounts::Comparison::forgetGone() {
  for (const auto& [record, base] : counts_.bases_) {
    if (!seen_.contains(record)) look_.gone.push_back(record);
  }
  for (const RecordId& record : look_.gone) counts_.bases_.erase(record);
}

BrokerCounts::Look BrokerCounts::Comparison::run() {
  for (const auto& group : broker_.tree->executionGroups) {
    for (const auto& flow : group.messageFlows) {
      for (const Node& node : flow.nodes) see(group, flow, node);
    }
  }
  if (isWhole(broker_)) forgetGone();
  return std::move(look_);
}

BrokerCounts::Look BrokerCounts::take(const model::SeenBroker& broker, New how,
                                      const NumberOf& numberOf) {
  return Comparison(*this, broker, how, numberOf).run();
}

const Base* BrokerCounts::find(const RecordId& record) const {
  const auto found = bases_.find(record);
  return found == bases_.end() ? nullptr : &found->second;
}

}  // namespace history
