// SPDX-License-Identifier: Apache-2.0
// How many events one who follows has seen, and how many he knows that he missed.
#ifndef ZEB_AGENT_MODEL_EVENT_TOTALS_H
#define ZEB_AGENT_MODEL_EVENT_TOTALS_H

#include <cstdint>
#include <map>
#include <span>
#include <string>

#include "agent/model/follower.h"

namespace model {

// Of one broker. They only grow.
struct EventTotals {
  std::uint64_t messages = 0;
  std::uint64_t exceptions = 0;
  std::uint64_t unknown = 0;  // of templates that are gone
  std::uint64_t missed = 0;   // at least

  void add(std::span<const reader::Event> events);

  bool operator==(const EventTotals&) const = default;
};

using TotalsByKeyFile = std::map<std::string, EventTotals>;

// Takes what a look brought. What was in memory before the follower's first look counts for
// nothing: a follower that is started again would count it twice. So with `first` each broker of
// the look begins at zero.
void add(TotalsByKeyFile& totals, const FollowLook& look, bool first);

}  // namespace model

#endif  // ZEB_AGENT_MODEL_EVENT_TOTALS_H
