// SPDX-License-Identifier: Apache-2.0
// What zebmon ends with, decided in one place.
#ifndef ZEB_AGENT_FRONT_CLI_EXIT_CODE_H
#define ZEB_AGENT_FRONT_CLI_EXIT_CODE_H

#include "agent/archive/failure.h"
#include "agent/model/snapshot.h"

namespace cli {

// zebhost has the same, with 1 for what its own check found.
enum ExitCode {
  kDone = 0,
  kDifferent = 1,  // of "diff" only
  kWarnings = 1,   // of "doctor" only, as the next one
  kCritical = 2,
  kUsage = 64,         // the command line is wrong
  kDamaged = 65,       // something is damaged, or not yet made; the rest was shown
  kNoFile = 66,        // no such file or directory
  kNoBroker = 69,      // there is no broker, or nothing of that name in one
  kFailed = 74,        // reading or writing failed
  kNoPermission = 77,  // something may not be read
};

// What an errno of a call that opens or reads means.
ExitCode exitCodeOf(int error);

// For a snapshot file that could not be read or written.
ExitCode exitCodeOf(const archived::Failure& failure);

// For a command that showed what was selected from a snapshot. A broker without shared memory isn't
// running: that is an answer, not a failure. Of several failures no permission counts before failed
// reading, and that before damage.
ExitCode exitCodeOf(const model::Snapshot& selected);

// The same for a command that shows what is in shared memory: where no broker has any, there is no
// broker for it.
ExitCode exitCodeOfContents(const model::Snapshot& selected);

// The codes, for --help.
extern const char kExitCodes[];

}  // namespace cli

#endif  // ZEB_AGENT_FRONT_CLI_EXIT_CODE_H
