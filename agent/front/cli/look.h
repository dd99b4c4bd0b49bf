// SPDX-License-Identifier: Apache-2.0
// One look at what a request selects.
#ifndef ZEB_AGENT_FRONT_CLI_LOOK_H
#define ZEB_AGENT_FRONT_CLI_LOOK_H

#include <memory>

#include "agent/front/cli/request.h"
#include "agent/model/collector.h"
#include "agent/model/snapshot.h"

namespace cli {

// What there is to look at: everything on this machine, at this moment. The one place where a
// command gets a snapshot from.
std::shared_ptr<const model::Snapshot> take(
    const Request& request, model::MachineFacts machine = model::MachineFacts::leave);

// Takes a snapshot, says on standard error what is wrong, and returns what the request selects,
// each segment once.
model::Snapshot look(const Request& request);

// The same of a snapshot that was taken, with each key file.
model::Snapshot selected(const model::Snapshot& snapshot, const Request& request);

}  // namespace cli

#endif  // ZEB_AGENT_FRONT_CLI_LOOK_H
