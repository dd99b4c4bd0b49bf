// SPDX-License-Identifier: Apache-2.0
// What the process of a group does to itself for a drill.
#ifndef ZEB_HOST_RUN_DRILL_H
#define ZEB_HOST_RUN_DRILL_H

#include <string>

#include "flowfile/file.h"

namespace host {

// Performs a drill of any kind but stop and redeploy; one that kills doesn't come back. Else it
// returns why the drill couldn't be done, as a clause; empty when it was done. A lock is waited for
// at most five seconds, and taken as the library takes it: without undo. A process that kills
// itself leaves no other lock of an area taken than the one that the drill names.
std::string perform(const flowfile::Drill& drill, const flowfile::Broker& broker);

}  // namespace host

#endif  // ZEB_HOST_RUN_DRILL_H
