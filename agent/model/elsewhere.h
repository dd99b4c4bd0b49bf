// SPDX-License-Identifier: Apache-2.0
// Whether a group's process runs in another PID namespace, so that its number means another process
// here, or none.
#ifndef ZEB_AGENT_MODEL_ELSEWHERE_H
#define ZEB_AGENT_MODEL_ELSEWHERE_H

#include <array>
#include <cstdint>
#include <string>

#include "agent/model/machine.h"
#include "agent/reader/segment.h"

namespace model {

// The locks that tell it, by name: that of the process's attach table, and that of the segment.
std::array<std::string, 2> tellingLocks(std::int32_t process, const reader::Segment& segment);

// The kernel gives no number for the one who last counted a lock's users when it has none here.
// False when the machine's locks don't tell.
bool runsElsewhere(std::int32_t process, const reader::Segment& segment, const Machine& machine);

}  // namespace model

#endif  // ZEB_AGENT_MODEL_ELSEWHERE_H
