// SPDX-License-Identifier: Apache-2.0
// Why a command ends before its end.
#ifndef ZEB_SETUP_STOP_H
#define ZEB_SETUP_STOP_H

#include <string>

namespace setup {

// Those of zebmon, with 1 for a plug-in that would not be loaded.
enum ExitCode {
  kDone = 0,
  kNotLoaded = 1,      // of "status" only
  kUsage = 64,         // the command line is wrong
  kDamaged = 65,       // a file is not what it has to be
  kNoFile = 66,        // no such file or directory
  kNothing = 69,       // there is no such group
  kFailed = 74,        // reading or writing failed, or something else is in the place
  kNoPermission = 77,  // something may not be written or looked at
};

// The sentence has no full stop at its end, and quotes names as they are.
struct Stop {
  ExitCode code;
  std::string sentence;
};

// For a call that failed: "SENTENCE: No space left on device".
Stop failure(int error, const std::string& sentence);

}  // namespace setup

#endif  // ZEB_SETUP_STOP_H
