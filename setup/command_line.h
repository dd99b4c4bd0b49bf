// SPDX-License-Identifier: Apache-2.0
// The command line of zebpnode.
#ifndef ZEB_SETUP_COMMAND_LINE_H
#define ZEB_SETUP_COMMAND_LINE_H

#include "setup/stop.h"

namespace setup {

// Parses what main() was given, and does it. Writes to standard output, and complaints to standard
// error.
ExitCode interpret(int argc, const char* const* argv);

}  // namespace setup

#endif  // ZEB_SETUP_COMMAND_LINE_H
