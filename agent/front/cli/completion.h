// SPDX-License-Identifier: Apache-2.0
// What this machine and the agent's own lists offer to the completion of shells.
#ifndef ZEB_AGENT_FRONT_CLI_COMPLETION_H
#define ZEB_AGENT_FRONT_CLI_COMPLETION_H

#include <vector>

#include "completion/answer.h"

namespace cli {

// Names of brokers, groups, flows and nodes that are there now, or in the snapshot file that is
// named, within those that come before; users who own brokers; message IDs; kinds of findings;
// limits. Says nothing of what is wrong, and ends the program without an answer when a look takes
// more than a second.
std::vector<completion::Candidate> valuesAt(const completion::Place& place);

}  // namespace cli

#endif  // ZEB_AGENT_FRONT_CLI_COMPLETION_H
