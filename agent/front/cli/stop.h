// SPDX-License-Identifier: Apache-2.0
// The end of a command that can't go on.
#ifndef ZEB_AGENT_FRONT_CLI_STOP_H
#define ZEB_AGENT_FRONT_CLI_STOP_H

#include <string>

#include "agent/front/cli/exit_code.h"

namespace cli {

// Thrown by what a command calls, where there is nothing left to show; interpret() says the
// sentence and returns the code.
struct Stop {
  ExitCode code = kFailed;
  std::string sentence;  // without a full stop; it is made printable when it is said
};

}  // namespace cli

#endif  // ZEB_AGENT_FRONT_CLI_STOP_H
