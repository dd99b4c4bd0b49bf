// SPDX-License-Identifier: Apache-2.0
// Whether an execution group does its work.
#ifndef ZEB_AGENT_MODEL_GROUP_STATE_H
#define ZEB_AGENT_MODEL_GROUP_STATE_H

#include <cstdint>

#include "agent/model/machine.h"
#include "agent/reader/segment.h"

namespace model {

enum class GroupState {
  up,
  stopped,     // by a signal or a debugger: none of its flows goes on
  gone,        // no process has its number
  anotherOne,  // its number belongs to a process that doesn't use the broker's segment
  elsewhere,   // its process runs in another PID namespace
  unknown,     // nobody looked, or could
};

// Of the group's process by its number, in the broker of that segment.
GroupState groupState(std::int32_t process, const reader::Segment& segment, const Machine& machine);

// Whether its process has ended for sure.
bool isDead(GroupState state);

}  // namespace model

#endif  // ZEB_AGENT_MODEL_GROUP_STATE_H
