// SPDX-License-Identifier: Apache-2.0
#include "agent/model/elsewhere.h"

#include <algorithm>

#include "format/names.h"

namespace model {

std::array<std::string, 2> tellingLocks(std::int32_t process, const reader::Segment& segment) {
  return {layout::kAttachLock + std::to_string(process), segment.uuid + layout::kSegmentSuffix};
}

bool runsElsewhere(std::int32_t process, const reader::Segment& segment, const Machine& machine) {
  const auto names = tellingLocks(process, segment);
  return std::ranges::any_of(machine.locks.locks, [&names](const reader::Lock& lock) {
    const bool countedElsewhere = lock.queue.lastSent > 0 && lock.queue.lastSender == 0;
    return countedElsewhere && std::ranges::find(names, lock.name) != names.end();
  });
}

}  // namespace model
