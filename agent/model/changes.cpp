// SPDX-License-Identifier: Apache-2.0
#include "agent/model/changes.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <optional>
#include <tuple>

#include "agent/model/level_changes.h"
#include "agent/model/load.h"

namespace model {
namespace {

// A factor of 1.2 is the least that counts. That times are seen within the minutes that
// docs/changes.md promises needs the lower price; nothing is promised of the others.
const double kLeastRatio = std::log(1.2);
const LevelTest kOfTimes{.least = kLeastRatio, .noise = 0.02, .price = 18, .surcharge = 9};
const LevelTest kOfRates{.least = kLeastRatio, .noise = 0.02, .price = 32, .surcharge = 0};
const LevelTest kOfLosses{.least = 0.03, .noise = 0.01, .price = 32, .surcharge = 0};

// One measure of one node: `part` of `whole`, of the same place in all nodes of a flow.
struct Ratio {
  Measure measure;
  LevelTest test;
  std::function<double(std::size_t, bool)> part;  // place, and whether it is an hour
  std::function<double(std::size_t, bool)> whole;
};

double meanTime(double sum, double count) {
  return count > 0 ? std::max(1.0, sum / count) : kNoValue;
}

class Judge {
 public:
  Judge(const FlowMinutes& flow, std::int64_t since) : flow_(flow), since_(since) {}

  std::vector<LevelChange> run();

 private:
  using Value = std::function<double(const NodeMinutes&, std::size_t, bool)>;

  void judge(std::size_t node, const Ratio& ratio);
  void addTimes(std::size_t node);
  void addRate(std::size_t node);
  void addLoss(std::size_t node, std::size_t outer);
  std::optional<std::size_t> sourceOf(std::size_t node) const;
  double valueOf(const Ratio& ratio, double part, double whole) const;
  std::vector<double> scaled(const Ratio& ratio, bool hours) const;
  std::vector<double> comparable(const Ratio& ratio) const;
  double levelOf(const Ratio& ratio, std::size_t from, std::size_t until) const;
  const Added& at(std::size_t node, std::size_t place, bool hour) const {
    return (hour ? flow_.nodes[node].hours : flow_.nodes[node].minutes)[place];
  }
  double insideOf(std::size_t node, std::size_t place, bool hour) const;

  const FlowMinutes& flow_;
  std::int64_t since_;
  std::vector<LevelChange> found_;
};

double Judge::insideOf(std::size_t node, std::size_t place, bool hour) const {
  double inside = 0;
  for (const std::size_t inner : flow_.nesting.nodes[node].inner) {
    inside += at(inner, place, hour).elapsedMs;
  }
  return inside;
}

double Judge::valueOf(const Ratio& ratio, double part, double whole) const {
  if (!(whole > 0)) return kNoValue;
  if (ratio.measure == Measure::rate || ratio.measure == Measure::loss) {
    return std::max(0.0, part / whole);
  }
  return meanTime(part, whole);
}

// Rates a minute are counted from one, so that none has a logarithm, too. Hours of fewer than five
// messages a minute tell nothing.
std::vector<double> Judge::scaled(const Ratio& ratio, bool hours) const {
  constexpr double kLeastRate = 5;
  const auto& node = flow_.nodes.front();
  std::vector<double> values;
  for (std::size_t i = 0; i < (hours ? node.hours : node.minutes).size(); ++i) {
    const double value = valueOf(ratio, ratio.part(i, hours), ratio.whole(i, hours));
    if (ratio.measure == Measure::loss) {
      values.push_back(value);
    } else if (ratio.measure == Measure::rate) {
      const bool tells = !hours || value * 60 >= kLeastRate;
      values.push_back(tells ? std::log(value * 60 + 1) : kNoValue);
    } else {
      values.push_back(std::log(value));
    }
  }
  return values;
}

std::vector<double> Judge::comparable(const Ratio& ratio) const {
  constexpr std::int64_t kDay = 1440;
  std::vector<double> minutes = scaled(ratio, false);
  const std::vector<double> hours = scaled(ratio, true);
  if (ratio.measure != Measure::rate && !hasRhythm(hours)) return minutes;
  return withoutRhythm(minutes, static_cast<std::size_t>(flow_.first % kDay), hours);
}

double Judge::levelOf(const Ratio& ratio, std::size_t from, std::size_t until) const {
  double part = 0;
  double whole = 0;
  for (std::size_t i = from; i < until; ++i) {
    const double some = ratio.part(i, false);
    const double of = ratio.whole(i, false);
    if (std::isnan(some) || std::isnan(of)) continue;
    part += some;
    whole += of;
  }
  return valueOf(ratio, part, whole);
}

void Judge::judge(std::size_t node, const Ratio& ratio) {
  constexpr std::size_t kAround = 60;
  const std::size_t size = flow_.nodes[node].minutes.size();
  std::vector<std::size_t> places = levelChanges(comparable(ratio), ratio.test);
  places.push_back(size);
  std::size_t before = 0;
  for (std::size_t i = 0; i + 1 < places.size(); ++i) {
    const std::size_t begin = places[i];
    const std::size_t from = std::max(before, begin < kAround ? 0 : begin - kAround);
    const LevelChange change{
        .node = node,
        .measure = ratio.measure,
        .minute = flow_.first + static_cast<std::int64_t>(begin),
        .before = levelOf(ratio, from, begin),
        .after = levelOf(ratio, begin, std::min(places[i + 1], begin + kAround))};
    if (change.minute >= since_) found_.push_back(change);
    before = begin;
  }
}

void Judge::addTimes(std::size_t node) {
  const bool isPlaced = flow_.nesting.nodes[node].placed;
  const auto messages = [this, node](std::size_t i, bool hour) {
    return at(node, i, hour).messages;
  };
  judge(node, {.measure = isPlaced ? Measure::self : Measure::elapsed,
               .test = kOfTimes,
               .part =
                   [this, node](std::size_t i, bool hour) {
                     return at(node, i, hour).elapsedMs - insideOf(node, i, hour);
                   },
               .whole = messages});
  if (flow_.nodes[node].type != kInputNode) return;
  judge(node,
        {.measure = Measure::queued,
         .test = kOfTimes,
         .part = [this, node](std::size_t i, bool hour) { return at(node, i, hour).queuedMs; },
         .whole = messages});
}

void Judge::addRate(std::size_t node) {
  judge(node,
        {.measure = Measure::rate,
         .test = kOfRates,
         .part = [this, node](std::size_t i, bool hour) { return at(node, i, hour).messages; },
         .whole = [this, node](std::size_t i, bool hour) { return at(node, i, hour).seconds; }});
}

void Judge::addLoss(std::size_t node, std::size_t outer) {
  judge(node,
        {.measure = Measure::loss,
         .test = kOfLosses,
         .part =
             [this, node, outer](std::size_t i, bool hour) {
               return at(outer, i, hour).messages - at(node, i, hour).messages;
             },
         .whole = [this, outer](std::size_t i, bool hour) { return at(outer, i, hour).messages; }});
}

// Whose messages a node could get: those of the node that it is in, else, where nobody knows that,
// those of the only input node.
std::optional<std::size_t> Judge::sourceOf(std::size_t node) const {
  const Nest& nest = flow_.nesting.nodes[node];
  if (nest.placed) return nest.outer;
  std::optional<std::size_t> found;
  for (std::size_t i = 0; i < flow_.nodes.size(); ++i) {
    if (flow_.nodes[i].type != kInputNode) continue;
    if (found || i == node) return {};
    found = i;
  }
  return found;
}

std::vector<LevelChange> Judge::run() {
  for (std::size_t node = 0; node < flow_.nodes.size(); ++node) {
    addTimes(node);
    if (const auto source = sourceOf(node)) {
      addLoss(node, *source);
    } else {
      addRate(node);
    }
  }
  std::ranges::stable_sort(
      found_, {}, [](const LevelChange& change) { return std::tuple(change.minute, change.node); });
  return std::move(found_);
}

}  // namespace

std::vector<LevelChange> changesOf(const FlowMinutes& flow, std::int64_t since) {
  return Judge(flow, since).run();
}

}  // namespace model
