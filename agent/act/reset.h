// SPDX-License-Identifier: Apache-2.0
// Statistics back to zero, as the library itself does it.
#ifndef ZEB_AGENT_ACT_RESET_H
#define ZEB_AGENT_ACT_RESET_H

#include <chrono>
#include <cstdint>
#include <string>

#include "agent/model/reset_plan.h"

namespace act {

// Does what was planned, node by node: takes the record's lock, reads the record again, writes it
// back without its figures, and gives the lock back. The segment is attached only while that is
// written. When all nodes of the broker are at zero then, its reset time becomes `now`, in seconds
// since 1970, under the area's lock.
//
// `directory` is that of the key files and ends in "/"; each lock is waited for no longer than
// `patience`. Needs write permission on segment and semaphores.
model::ResetResult reset(const model::ResetPlan& plan, const std::string& directory,
                         std::int64_t now, std::chrono::milliseconds patience);

}  // namespace act

#endif  // ZEB_AGENT_ACT_RESET_H
