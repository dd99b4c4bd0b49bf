// SPDX-License-Identifier: Apache-2.0
#include "agent/model/missed.h"

#include <algorithm>

#include "agent/model/checked.h"

namespace model {
namespace {

// Whether counts of messages tell of events at all.
bool countsTell(const FollowedNode& node) {
  return !node.reset && node.threads && node.postsSinceReset && node.allGiven;
}

bool isStill(const CountAtLook& look) {
  return look.before && look.before == look.after;
}

}  // namespace

Missed missedOf(const FollowedNode& node) {
  const Missed byRing{Missed::Kind::atLeast, node.atLeast, 0};
  if (!countsTell(node)) return byRing;
  const Number uncertain = bounded(*node.threads);
  const Number seen = bounded(node.seen);
  const Number least =
      difference(difference(difference(node.second.before, node.first.after), uncertain), seen);
  const Number most =
      difference(sum(difference(node.second.after, node.first.before), uncertain), seen);
  if (!least || !most || *most < 0 || *most < *least) return byRing;
  const auto from = static_cast<std::uint64_t>(std::max<std::int64_t>(0, *least));
  const auto to = static_cast<std::uint64_t>(*most);
  const bool exact = *uncertain == 0 && isStill(node.first) && isStill(node.second);
  return {exact ? Missed::Kind::exact : Missed::Kind::between, from, to};
}

}  // namespace model
