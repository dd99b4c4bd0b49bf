// SPDX-License-Identifier: Apache-2.0
#include "agent/model/past.h"

#include <algorithm>
#include <cstdlib>

namespace model {

// Of a mark that is partly in the period, only what can be in there.
std::int64_t PastBroker::unknown() const {
  std::int64_t all = 0;
  for (const Mark& mark : marks) {
    const std::int64_t inside =
        std::min(mark.between.until, period.until) - std::max(mark.between.from, period.from);
    all += std::clamp(mark.unknown, std::int64_t{0}, std::max(std::int64_t{0}, inside));
  }
  return all;
}

void addNearest(PastChange& change, const std::vector<Mark>& marks) {
  constexpr std::int64_t kMinute = 60000;
  constexpr std::int64_t kFar = 5;
  for (const Mark& mark : marks) {
    const std::int64_t first = mark.between.from / kMinute;
    const std::int64_t last = mark.between.until / kMinute;
    const std::int64_t at = change.change.minute;
    const std::int64_t after = at > last ? at - last : std::min(std::int64_t{0}, at - first);
    const bool isNearer = !change.mark || std::abs(after) < std::abs(change.minutesAfter);
    if (std::abs(after) > kFar || !isNearer) continue;
    change.mark = mark;
    change.minutesAfter = after;
  }
}

View viewOf(const PastBroker& broker, const FlowKnowledge& known) {
  std::vector<Growths> intervals;
  for (std::size_t i = 1; i < broker.looks.size(); ++i) {
    intervals.push_back(between(*broker.looks[i - 1], *broker.looks[i]));
  }
  if (broker.looks.size() > 2) {
    intervals.push_back(between(*broker.looks.front(), *broker.looks.back()));
  }
  return viewOf(intervals, broker.looks.front(), broker.looks.back(), known);
}

}  // namespace model
