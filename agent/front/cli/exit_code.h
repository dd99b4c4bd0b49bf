// SPDX-License-Identifier: Apache-2.0
// What zebmon ends with, decided in one place.
#ifndef ZEB_AGENT_FRONT_CLI_EXIT_CODE_H
#define ZEB_AGENT_FRONT_CLI_EXIT_CODE_H

#include "agent/model/snapshot.h"

namespace cli {

enum ExitCode {
  kDone = 0,
  kNotAllRead = 1,  // something is damaged or could not be read or written; the rest was shown
  kUsage = 2,       // the command line is wrong
  kNoBroker = 3,    // there is no broker, or none of that name
};

// For a command that showed what was selected from a snapshot. A broker without shared memory isn't
// running: that is an answer, not a failure.
ExitCode exitCodeOf(const model::Snapshot& selected);

// The codes, for --help.
extern const char kExitCodes[];

}  // namespace cli

#endif  // ZEB_AGENT_FRONT_CLI_EXIT_CODE_H
