// SPDX-License-Identifier: Apache-2.0
#include "agent/model/gaps.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "agent/model/event_counts.h"
#include "agent/model/nesting.h"
#include "agent/model/rates.h"

namespace model {
namespace {

constexpr std::size_t kMostTemplates = 10000;

Snapshot momentOf(const CountedLook& look) {
  Snapshot snapshot;
  snapshot.wall = look.wall;
  snapshot.brokers.push_back(look.broker);
  return snapshot;
}

CountAtLook countAt(const CountedLook& look, const reader::Statistics& statistics) {
  const auto before = look.before.find(statistics.recordId);
  CountAtLook count;
  if (before != look.before.end()) count.before = before->second;
  if (!statistics.torn) count.after = statistics.messageCount;
  return count;
}

// Whether nothing can be in flight: a message that is would have to be slower than any since the
// reset.
bool isQuiet(const CountedLook& look, const reader::Statistics& statistics,
             std::optional<std::int64_t> newestEventMs) {
  using std::chrono::milliseconds;
  const std::int64_t now = std::chrono::floor<milliseconds>(look.wall).time_since_epoch().count();
  const CountAtLook count = countAt(look, statistics);
  if (!count.before || count.before != count.after) return false;
  const std::int64_t slowest = std::max(0, statistics.maxElapsed);
  if (newestEventMs && now - *newestEventMs <= slowest) return false;
  const reader::Time& last = statistics.lastCollection;
  return !last || now - (*last + 1) * 1000 > slowest;
}

// Which labels are of one node alone.
template <class Place>
std::map<Place, int> nodesByPlace(const BrokerGrowth& broker) {
  std::map<Place, int> nodes;
  for (const FlowGrowth& flow : broker.flows) {
    for (const NodeGrowth& node : flow.nodes) ++nodes[{flow.group, flow.flow, node.node().label}];
  }
  return nodes;
}

std::optional<unsigned> threadsOf(const FlowKnowledge& known, const FlowGrowth& flow) {
  if (known.threads || known.file == nullptr) return known.threads;
  const flowfile::Flow* const described = findFlow(*known.file, flow);
  return described == nullptr ? std::nullopt : std::optional<unsigned>(described->threads);
}

}  // namespace

MessageCounts messageCountsOf(const reader::Broker& tree) {
  MessageCounts counts;
  for (const auto& group : tree.executionGroups) {
    for (const auto& flow : group.messageFlows) {
      for (const auto& node : flow.nodes) {
        if (!node.statistics || node.statistics->torn) continue;
        counts.emplace(node.statistics->recordId, node.statistics->messageCount);
      }
    }
  }
  return counts;
}

void GapCounter::see(std::span<const reader::Event> events) {
  for (const reader::Event& event : events) {
    const std::int64_t made = event.recordId.created().inMilliseconds();
    newestMs_ = std::max(newestMs_.value_or(made), made);
    if (!event.origin) allGiven_ = false;
    if (event.kind() != reader::EventKind::message) continue;
    const auto [place, isNew] = templates_.try_emplace(event.templateId);
    Followed& followed = place->second;
    if (isNew) followed = {.origin = event.origin, .newest = postedAt(event)};
    ++followed.seen;
    followed.newest = std::max(followed.newest, postedAt(event));
  }
}

std::vector<Gap> GapCounter::count(const CountedLook& look, const reader::EventLog::Batch& batch,
                                   const FlowKnowledge& known) {
  std::vector<Gap> gaps;
  if (last_ && last_->broker->segment.id != look.broker->segment.id) {
    *this = {};
    gaps.push_back({.cause = Gap::Cause::restart});
  }
  see(batch.events);
  if (batch.overrun) {
    gaps.push_back({.missed = {Missed::Kind::atLeast, batch.missed, 0}, .perTurn = batch.perTurn});
    if (last_) std::ranges::move(nodeGaps(look, known), std::back_inserter(gaps));
  }
  goOn(look);
  return gaps;
}

void GapCounter::goOn(const CountedLook& look) {
  last_ = look;
  newestOfLastMs_ = newestMs_;
  allGiven_ = true;
  for (auto& [id, followed] : templates_) followed.seen = 0;
  if (templates_.size() > kMostTemplates) templates_.clear();
}

std::map<GapCounter::Place, GapCounter::Seen> GapCounter::seenByPlace() const {
  std::map<Place, Seen> places;
  for (const auto& [id, followed] : templates_) {
    const reader::EventTemplate& origin = *followed.origin;
    Seen& seen = places[{origin.executionGroup, origin.messageFlow, origin.node}];
    seen.events += followed.seen;
    seen.newest = std::max(seen.newest, followed.newest);
  }
  return places;
}

std::vector<Gap> GapCounter::nodeGaps(const CountedLook& look, const FlowKnowledge& known) const {
  std::vector<Gap> gaps;
  const Growths growths = between(momentOf(*last_), momentOf(look));
  const BrokerGrowth& broker = growths.brokers.front();
  if (!broker.after->tree) return gaps;
  const auto seen = seenByPlace();
  const auto nodes = nodesByPlace<Place>(broker);
  for (const FlowGrowth& flow : broker.flows) {
    for (const NodeGrowth& node : flow.nodes) {
      const Place place(flow.group, flow.flow, node.node().label);
      const auto own = seen.find(place);
      if (own == seen.end() || nodes.at(place) > 1) continue;
      const Missed missed = missedOfNode(look, node, own->second, threadsOf(known, flow));
      if (missed.kind == Missed::Kind::atLeast) continue;
      gaps.push_back(
          {.group = flow.group, .flow = flow.flow, .node = node.node().label, .missed = missed});
    }
  }
  return gaps;
}

// A node that posts events and counts nothing has no first message.
Missed GapCounter::missedOfNode(const CountedLook& look, const NodeGrowth& node, const Seen& seen,
                                std::optional<unsigned> threads) const {
  if (node.change != Change::measured) return {};
  const reader::Statistics& before = *node.before->statistics;
  const reader::Statistics& after = *node.after->statistics;
  const reader::Time& reset = look.broker->tree->resetTime;
  FollowedNode followed;
  followed.first = countAt(*last_, before);
  followed.second = countAt(look, after);
  followed.seen = seen.events;
  followed.allGiven = allGiven_;
  followed.postsSinceReset = reset && seen.newest > *reset && after.firstCollection;
  if (threads) followed.threads = *threads;
  if (isQuiet(*last_, before, newestOfLastMs_) && isQuiet(look, after, newestMs_))
    followed.threads = 0;
  return missedOf(followed);
}

}  // namespace model
