// SPDX-License-Identifier: Apache-2.0
#include "agent/model/group_state.h"

#include "agent/model/elsewhere.h"
#include "agent/model/liveness.h"

namespace model {

GroupState groupState(std::int32_t id, const reader::Segment& segment, const Machine& machine) {
  const reader::Process* const process = machine.find(id);
  if (process == nullptr) return GroupState::unknown;
  if (runsElsewhere(id, segment, machine)) return GroupState::elsewhere;
  const Fate fate = fateOf(*process).fate;
  if (fate == Fate::dead) return GroupState::gone;
  if (process->segments && !process->hasAttached(segment.mapped())) return GroupState::anotherOne;
  if (process->stopped.value_or(false)) return GroupState::stopped;
  return fate == Fate::alive ? GroupState::up : GroupState::unknown;
}

bool isDead(GroupState state) {
  return state == GroupState::gone || state == GroupState::anotherOne;
}

}  // namespace model
