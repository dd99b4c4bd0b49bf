// SPDX-License-Identifier: Apache-2.0
// One look at what a request selects.
#ifndef ZEB_AGENT_FRONT_CLI_LOOK_H
#define ZEB_AGENT_FRONT_CLI_LOOK_H

#include "agent/front/cli/request.h"
#include "agent/model/snapshot.h"

namespace cli {

// Takes a snapshot, says on standard error what is wrong, and returns what the request selects.
model::Snapshot look(const Request& request);

}  // namespace cli

#endif  // ZEB_AGENT_FRONT_CLI_LOOK_H
