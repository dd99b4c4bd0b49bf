// SPDX-License-Identifier: Apache-2.0
// From the words of a command line to the command that runs.
#ifndef ZEB_AGENT_FRONT_CLI_COMMAND_LINE_H
#define ZEB_AGENT_FRONT_CLI_COMMAND_LINE_H

#include "agent/front/cli/exit_code.h"
#include "agent/front/cli/output.h"

namespace cli {

// Parses what main() was given and runs what it asks for; help and version go to the output too.
ExitCode interpret(int argc, const char* const* argv, Output& output);

// False, and said on standard error, when something could not be written to the output. A reader of
// the output that goes away is no failure.
bool wasWritten(const Output& output);

}  // namespace cli

#endif  // ZEB_AGENT_FRONT_CLI_COMMAND_LINE_H
