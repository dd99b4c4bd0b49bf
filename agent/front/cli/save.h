// SPDX-License-Identifier: Apache-2.0
// Snapshot files, as commands write them.
#ifndef ZEB_AGENT_FRONT_CLI_SAVE_H
#define ZEB_AGENT_FRONT_CLI_SAVE_H

#include <string>

#include "agent/archive/snapshot_file.h"

namespace cli {

// Of snapshots that this program takes now.
archived::Origin originHere();

// Writes a snapshot into `file` and returns the file's name. An empty `file` means a new one in the
// working directory, named by broker and time; one that is there already is never touched. `option`
// is what names another file on the command line. Throws Stop when nothing could be written.
std::string save(const model::Snapshot& snapshot, const archived::Origin& origin,
                 const std::string& file, archived::Existing existing, const char* option);

}  // namespace cli

#endif  // ZEB_AGENT_FRONT_CLI_SAVE_H
