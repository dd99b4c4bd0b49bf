// SPDX-License-Identifier: Apache-2.0
// The file that one run of a command leaves for the next.
#ifndef ZEB_AGENT_FRONT_CLI_STATE_FILE_H
#define ZEB_AGENT_FRONT_CLI_STATE_FILE_H

#include <optional>
#include <string>

namespace cli {

// Its text, of at most 64 MiB. Nothing for a first run, and when it can't be read, which is said on
// standard error.
std::optional<std::string> readState(const std::string& path);

// Says that the file is none that an earlier run left.
void complainOfState(const std::string& path);

}  // namespace cli

#endif  // ZEB_AGENT_FRONT_CLI_STATE_FILE_H
