// SPDX-License-Identifier: Apache-2.0
#include "agent/model/nesting.h"

#include <algorithm>
#include <numeric>
#include <unordered_map>
#include <utility>

#include "agent/model/load.h"

namespace model {
namespace {

using Indexes = std::vector<std::size_t>;
using ByLabel = std::unordered_map<std::string, std::size_t>;

bool isLive(const NodeGrowth& node) {
  return node.after != nullptr && !node.after->deleted;
}

ByLabel labelsOf(const FlowGrowth& flow) {
  ByLabel labels;
  for (std::size_t i = 0; i < flow.nodes.size(); ++i) {
    const auto [known, isNew] = labels.emplace(flow.nodes[i].node().label, i);
    if (!isNew && isLive(flow.nodes[i]) && !isLive(flow.nodes[known->second])) known->second = i;
  }
  return labels;
}

std::string labelsInWords(const FlowGrowth& flow) {
  constexpr std::size_t kMostNames = 20;
  std::string words;
  for (std::size_t i = 0; i < std::min(flow.nodes.size(), kMostNames); ++i) {
    words += (i > 0 ? ", \"" : "\"") + flow.nodes[i].node().label + "\"";
  }
  return flow.nodes.size() > kMostNames ? words + ", ..." : words;
}

Nesting unknownNesting(const FlowGrowth& flow, std::string problem = {}) {
  return {NestingSource::unknown, std::vector<Nest>(flow.nodes.size()), std::move(problem)};
}

Nesting placed(NestingSource source, std::vector<Nest> nodes) {
  for (std::size_t i = 0; i < nodes.size(); ++i) {
    if (nodes[i].outer) nodes[*nodes[i].outer].inner.push_back(i);
  }
  return {source, std::move(nodes), {}};
}

// One row of what was seen of a node: in a look since the last reset, or in an interval.
struct Seen {
  bool known = false;
  double messages = 0;
  double elapsed = 0;
  double least = 0;        // milliseconds of it that were of messages which left the outer node too
  std::int64_t first = 0;  // of a look: the first collection, and how much later the node that it
  double patience = 0;     // is in may have begun; 0 for an interval

  bool operator==(const Seen&) const = default;
};

using Row = std::vector<Seen>;

Seen total(const reader::Statistics& statistics, double inFlight) {
  const auto& [count, elapsed] = std::pair(statistics.messageCount, statistics.sumElapsed);
  if (!count || !elapsed || !statistics.firstCollection || statistics.torn) return {};
  const double longest = std::max(0, statistics.maxElapsed);
  return {.known = true,
          .messages = static_cast<double>(*count),
          .elapsed = static_cast<double>(*elapsed),
          .least = std::max(0.0, static_cast<double>(*elapsed) - inFlight * longest),
          .first = *statistics.firstCollection,
          .patience = longest / 1000 + 2};
}

Seen ofInterval(const NodeGrowth& node, double inFlight) {
  if (!node.growth.messages || !node.growth.elapsedMs) return {};
  const double longest = std::max(0, node.after->statistics->maxElapsed);
  const auto elapsed = static_cast<double>(*node.growth.elapsedMs);
  return {.known = true,
          .messages = static_cast<double>(*node.growth.messages),
          .elapsed = elapsed,
          .least = std::max(0.0, elapsed - inFlight * longest),
          .first = 0,
          .patience = 0};
}

// Tries to place the nodes in every way, and stops at the second that fits.
class Search {
 public:
  Search(std::span<const FlowGrowth* const> intervals, double inFlight);

  // The only way; nothing when there are more, or none, or too many to try.
  std::optional<std::vector<Nest>> only();

 private:
  static constexpr std::size_t kMostNodes = 40;
  static constexpr std::size_t kMostSteps = 200000;

  using Places = std::unordered_map<reader::RecordId, std::size_t, reader::RecordIdHash>;

  void addRows(const FlowGrowth& interval, const Places& places);
  bool place(std::size_t turn);
  bool tryIn(std::size_t node, std::size_t outer, std::size_t turn);
  bool isInside(std::size_t node, std::size_t maybeInner) const;
  bool fits(std::size_t node, std::size_t outer) const;
  void charge(std::size_t node, std::size_t outer, double sign);
  bool isComparable(const Seen& inner, const Seen& outer) const;

  const FlowGrowth& flow_;
  double inFlight_;
  std::vector<Row> rows_;
  std::vector<std::vector<double>> left_;  // milliseconds of each row's nodes that nothing took yet
  Indexes live_;                           // that are placed, the one with the most time first
  std::vector<Nest> nests_;
  std::vector<Nest> found_;
  bool rootIsFree_ = false;  // no input node: one other is outermost
  std::size_t ways_ = 0;
  std::size_t steps_ = 0;
};

Search::Search(std::span<const FlowGrowth* const> intervals, double inFlight)
    : flow_(*intervals.back()), inFlight_(inFlight), nests_(flow_.nodes.size()) {
  Places places;
  for (std::size_t i = 0; i < flow_.nodes.size(); ++i) {
    if (!isLive(flow_.nodes[i])) continue;
    live_.push_back(i);
    places.emplace(flow_.nodes[i].node().recordId, i);
  }
  for (const FlowGrowth* interval : intervals) addRows(*interval, places);
  for (const Row& row : rows_) {
    std::vector<double>& left = left_.emplace_back();
    for (const Seen& seen : row) left.push_back(seen.elapsed);
  }
}

// An interval mostly begins with the look that the one before it ended with.
void Search::addRows(const FlowGrowth& interval, const Places& places) {
  Row before(flow_.nodes.size()), growth = before, after = before;
  for (const NodeGrowth& node : interval.nodes) {
    const auto place = places.find(node.node().recordId);
    if (place == places.end()) continue;
    const auto totalOf = [this](const reader::Node* seen) {
      return seen != nullptr && seen->statistics ? total(*seen->statistics, inFlight_) : Seen{};
    };
    before[place->second] = totalOf(node.before);
    growth[place->second] = ofInterval(node, inFlight_);
    after[place->second] = totalOf(node.after);
  }
  if (rows_.empty() || rows_.back() != before) rows_.push_back(std::move(before));
  rows_.push_back(std::move(growth));
  rows_.push_back(std::move(after));
}

// Totals of two nodes tell nothing of each other when the outer one alone was reset since.
bool Search::isComparable(const Seen& inner, const Seen& outer) const {
  return inner.known && outer.known &&
         static_cast<double>(outer.first) <=
             static_cast<double>(inner.first) + inner.patience + outer.patience;
}

bool Search::fits(std::size_t node, std::size_t outer) const {
  for (std::size_t i = 0; i < rows_.size(); ++i) {
    const Seen& inner = rows_[i][node];
    const Seen& around = rows_[i][outer];
    if (!isComparable(inner, around)) continue;
    if (inner.messages > around.messages + inFlight_) return false;
    if (inner.least > left_[i][outer]) return false;
  }
  return true;
}

void Search::charge(std::size_t node, std::size_t outer, double sign) {
  for (std::size_t i = 0; i < rows_.size(); ++i) {
    if (isComparable(rows_[i][node], rows_[i][outer])) {
      left_[i][outer] -= sign * rows_[i][node].least;
    }
  }
}

bool Search::isInside(std::size_t node, std::size_t maybeInner) const {
  for (std::optional<std::size_t> at = maybeInner; at; at = nests_[*at].outer) {
    if (*at == node) return true;
  }
  return false;
}

bool Search::tryIn(std::size_t node, std::size_t outer, std::size_t turn) {
  if (isInside(node, outer) || !fits(node, outer)) return true;
  nests_[node].outer = outer;
  charge(node, outer, 1);
  const bool goOn = place(turn + 1);
  charge(node, outer, -1);
  nests_[node].outer.reset();
  return goOn;
}

// False when there is nothing more to find out.
bool Search::place(std::size_t turn) {
  if (++steps_ > kMostSteps) return false;
  if (turn == live_.size()) {
    if (rootIsFree_) return true;
    found_ = nests_;
    return ++ways_ < 2;
  }
  const std::size_t node = live_[turn];
  if (flow_.nodes[node].node().type == kInputNode) return place(turn + 1);
  if (std::exchange(rootIsFree_, false)) {
    const bool goOn = place(turn + 1);
    rootIsFree_ = true;
    if (!goOn) return false;
  }
  return std::ranges::all_of(live_, [&](std::size_t outer) { return tryIn(node, outer, turn); });
}

std::optional<std::vector<Nest>> Search::only() {
  if (live_.empty() || live_.size() > kMostNodes) return {};
  for (const std::size_t i : live_) {
    if (!rows_.back()[i].known) return {};
    nests_[i].placed = true;
  }
  rootIsFree_ = std::ranges::none_of(
      live_, [this](std::size_t i) { return flow_.nodes[i].node().type == kInputNode; });
  place(0);
  if (ways_ != 1 || steps_ > kMostSteps) return {};
  return found_;
}

}  // namespace

Nesting nest(const FlowGrowth& flow, const Chain& chain, NestingSource source) {
  const ByLabel labels = labelsOf(flow);
  std::vector<Nest> nodes(flow.nodes.size());
  std::vector<std::optional<std::size_t>> places;  // of each node of the chain, or of its outer one
  bool any = false;
  for (const ChainNode& link : chain) {
    const auto outer = link.outer ? places[*link.outer] : std::nullopt;
    const auto found = labels.find(link.label);
    if (found == labels.end() && source == NestingSource::given) {
      return unknownNesting(flow, "flow \"" + flow.flow + "\" has no node \"" + link.label +
                                      "\": its nodes are " + labelsInWords(flow));
    }
    places.push_back(found == labels.end() ? outer : found->second);
    if (found == labels.end() || nodes[found->second].placed) continue;
    nodes[found->second] = {.placed = true, .outer = outer};
    any = true;
  }
  return any ? placed(source, std::move(nodes)) : unknownNesting(flow);
}

Chain chainOf(const flowfile::Flow& flow) {
  Chain chain;
  for (const flowfile::Node& node : flow.nodes) {
    if (!std::holds_alternative<flowfile::MonitorNode>(node)) continue;
    const auto outer = chain.empty() ? std::nullopt : std::optional(chain.size() - 1);
    chain.push_back({flowfile::labelOf(node), outer});
  }
  return chain;
}

const flowfile::Flow* findFlow(const flowfile::File& file, const FlowGrowth& flow) {
  for (const flowfile::ExecutionGroup& group : file.groups) {
    if (group.label != flow.group) continue;
    for (const flowfile::Flow& candidate : group.flows) {
      if (candidate.label == flow.flow) return &candidate;
    }
  }
  return nullptr;
}

Nesting infer(std::span<const FlowGrowth* const> intervals, std::uint64_t inFlight) {
  if (intervals.empty()) return {};
  const FlowGrowth& flow = *intervals.back();
  const auto nests = Search(intervals, static_cast<double>(inFlight)).only();
  if (!nests) return unknownNesting(flow);
  return placed(NestingSource::inferred, *nests);
}

}  // namespace model
