// SPDX-License-Identifier: Apache-2.0
#include "agent/model/flow_view.h"

#include <algorithm>
#include <utility>

#include "agent/model/findings/kinds.h"
#include "agent/model/pattern.h"

namespace model {
namespace {

// The same flow in another interval, where it mostly has the same place; null when it wasn't there.
const FlowGrowth* find(const Growths& growths, const BrokerGrowth& broker, const FlowGrowth& flow) {
  const auto isIt = [&flow](const FlowGrowth& candidate) {
    return candidate.flow == flow.flow && candidate.group == flow.group;
  };
  const auto place = static_cast<std::size_t>(&flow - broker.flows.data());
  for (const BrokerGrowth& other : growths.brokers) {
    if (other.broker().segment.keyFile != broker.broker().segment.keyFile) continue;
    if (place < other.flows.size() && isIt(other.flows[place])) return &other.flows[place];
    const auto found = std::ranges::find_if(other.flows, isIt);
    if (found != other.flows.end()) return &*found;
  }
  return nullptr;
}

// One look is enough for a lock that is old; two that are too close together tell no more.
Findings keptLocks(const Snapshot* before, const Snapshot* after, Seconds interval) {
  constexpr Seconds kApart(1);
  const bool looked = after != nullptr && after->machine && after->machine->clocks.wall.count() > 0;
  const auto isHeld = [](const reader::Lock& lock) { return findings::isHeld(lock.semaphore); };
  if (!looked || std::ranges::none_of(after->machine->locks.locks, isHeld)) return {};
  return keptLocksOf(interval >= kApart ? before : nullptr, *after);
}

// The worst of those that messages of the flow wait for.
std::optional<Finding> keeping(const Findings& locks, const BrokerGrowth& broker,
                               const FlowGrowth& flow) {
  for (const Finding& lock : locks.found) {
    const bool its = broker.after && lock.broker &&
                     lock.broker->segment.keyFile == broker.after->segment.keyFile;
    const auto isHere = [&flow](const Place& place) {
      return place.group == flow.group && place.flow == flow.flow;
    };
    const auto here = std::ranges::find_if(lock.stops, isHere);
    if (!its || here == lock.stops.end()) continue;
    Finding kept = lock;
    kept.stops = {*here};
    return kept;
  }
  return {};
}

GroupState groupOf(const BrokerGrowth& broker, const FlowGrowth& flow, const Snapshot* after) {
  const bool isKnown = after != nullptr && after->machine && broker.after && broker.after->tree;
  if (!isKnown) return GroupState::unknown;
  for (const reader::ExecutionGroup& group : broker.after->tree->executionGroups) {
    if (group.label != flow.group || group.deleted) continue;
    return groupState(group.processId, broker.after->segment, *after->machine);
  }
  return GroupState::unknown;
}

class Viewer {
 public:
  Viewer(const std::vector<Growths>& intervals, const FlowKnowledge& known)
      : intervals_(intervals), known_(known) {}

  FlowView viewOf(const BrokerGrowth& broker, const FlowGrowth& flow) const;

 private:
  Nesting nestingOf(const BrokerGrowth& broker, const FlowGrowth& flow, std::uint64_t inFlight,
                    const flowfile::Flow* described) const;

  const std::vector<Growths>& intervals_;
  const FlowKnowledge& known_;
};

Nesting Viewer::nestingOf(const BrokerGrowth& broker, const FlowGrowth& flow,
                          std::uint64_t inFlight, const flowfile::Flow* described) const {
  if (known_.chain) return nest(flow, *known_.chain, NestingSource::given);
  if (described != nullptr) return nest(flow, chainOf(*described), NestingSource::flowFile);
  std::vector<const FlowGrowth*> seen;
  for (const Growths& interval : std::span(intervals_).first(intervals_.size() - 1)) {
    if (const FlowGrowth* then = find(interval, broker, flow)) seen.push_back(then);
  }
  seen.push_back(&flow);  // damaged memory may have several of its name
  return infer(seen, inFlight);
}

FlowView Viewer::viewOf(const BrokerGrowth& broker, const FlowGrowth& flow) const {
  const flowfile::Flow* described = known_.file != nullptr ? findFlow(*known_.file, flow) : nullptr;
  FlowView view;
  view.growth = flow;
  view.interval = intervals_.back().interval;
  view.threads = known_.threads;
  if (!view.threads && described != nullptr) view.threads = described->threads;
  view.load = loadOf(flow, view.interval, view.threads);
  view.inFlight = inFlight(view.load, view.threads);
  view.nesting = nestingOf(broker, flow, view.inFlight, described);
  view.times = timesOf(flow, view.nesting, view.inFlight);
  view.failed.resize(flow.nodes.size());
  if (!broker.after || !broker.after->events) return view;
  const auto& batch = *broker.after->events;
  view.failed = failedBehind(flow, view.nesting, batch.events);
  view.sawAllFailures = !batch.overrun;
  return view;
}

}  // namespace

View viewOf(const std::vector<Growths>& intervals, std::shared_ptr<const Snapshot> before,
            std::shared_ptr<const Snapshot> after, const FlowKnowledge& known) {
  View view{.interval = intervals.back().interval,
            .brokers = {},
            .before = std::move(before),
            .after = std::move(after)};
  const Viewer viewer(intervals, known);
  const Findings locks = keptLocks(view.before.get(), view.after.get(), view.interval);
  for (const BrokerGrowth& growth : intervals.back().brokers) {
    BrokerView& broker = view.brokers.emplace_back(BrokerView{growth, {}});
    for (const FlowGrowth& flow : growth.flows) {
      broker.flows.push_back(viewer.viewOf(growth, flow));
      broker.flows.back().kept = keeping(locks, growth, flow);
      broker.flows.back().group = groupOf(growth, flow, view.after.get());
    }
  }
  return view;
}

View viewOf(std::span<const std::shared_ptr<const Snapshot>> looks, const FlowKnowledge& known) {
  std::vector<Growths> intervals;
  for (std::size_t i = 1; i < looks.size(); ++i) {
    intervals.push_back(between(*looks[i - 1], *looks[i]));
  }
  return viewOf(intervals, looks[looks.size() - 2], looks.back(), known);
}

bool selects(const Selection& selection, const FlowView& flow) {
  return matches(selection.group, flow.growth.group) && matches(selection.flow, flow.growth.flow);
}

std::vector<Placed> inOrder(const Nesting& nesting) {
  std::vector<Placed> order;
  std::vector<Placed> open;  // the next one last
  for (std::size_t i = nesting.nodes.size(); i-- > 0;) {
    if (nesting.nodes[i].placed && !nesting.nodes[i].outer) open.push_back({i, 0});
  }
  while (!open.empty()) {
    const Placed next = open.back();
    open.pop_back();
    order.push_back(next);
    const std::vector<std::size_t>& inner = nesting.nodes[next.node].inner;
    for (std::size_t i = inner.size(); i-- > 0;) open.push_back({inner[i], next.level + 1});
  }
  for (std::size_t i = 0; i < nesting.nodes.size(); ++i) {
    if (!nesting.nodes[i].placed) order.push_back({i, 0});
  }
  return order;
}

}  // namespace model
