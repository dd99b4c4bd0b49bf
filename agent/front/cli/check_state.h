// SPDX-License-Identifier: Apache-2.0
// What one run of a check leaves for the next: enough of a snapshot to tell what grew.
#ifndef ZEB_AGENT_FRONT_CLI_CHECK_STATE_H
#define ZEB_AGENT_FRONT_CLI_CHECK_STATE_H

#include <optional>
#include <string>

#include "agent/model/snapshot.h"

namespace cli {

// The state as text, of what was selected.
std::string stateOf(const model::Snapshot& snapshot);

// A snapshot with the numbers of each node and the newest event of each broker, without labels.
// Nothing when the text is no state, or is of a time after `now`. Its steady time lies before that
// of `now` by the wall time that passed.
std::optional<model::Snapshot> restored(const std::string& text, const model::Snapshot& now);

}  // namespace cli

#endif  // ZEB_AGENT_FRONT_CLI_CHECK_STATE_H
