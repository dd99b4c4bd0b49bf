// SPDX-License-Identifier: Apache-2.0
// How far back the events in memory reach.
#ifndef ZEB_AGENT_MODEL_RING_REACH_H
#define ZEB_AGENT_MODEL_RING_REACH_H

#include <chrono>
#include <cstdint>
#include <optional>

#include "agent/model/snapshot.h"

namespace model {

// The age, at the wall time `now` in seconds since 1970, of the oldest event of a first look at a
// broker whose older events were overwritten or not copied. Nothing when none was: then its memory
// holds all that were ever posted.
std::optional<std::chrono::seconds> ringReach(const SeenBroker& broker, std::int64_t now);

}  // namespace model

#endif  // ZEB_AGENT_MODEL_RING_REACH_H
