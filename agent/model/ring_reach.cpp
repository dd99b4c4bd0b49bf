// SPDX-License-Identifier: Apache-2.0
#include "agent/model/ring_reach.h"

#include <algorithm>

#include "agent/model/checked.h"

namespace model {

std::optional<std::chrono::seconds> ringReach(const SeenBroker& broker, std::int64_t now) {
  const reader::Area* ring = broker.segment.copy.find(reader::kEventData);
  if (ring == nullptr || (!ring->wrapped() && ring->uncopied() == 0)) return {};
  if (!broker.events || broker.events->events.empty()) return {};
  const reader::Number age = difference(now, broker.events->events.front().time);
  if (!age) return {};
  return std::chrono::seconds(std::max<std::int64_t>(0, *age));
}

}  // namespace model
