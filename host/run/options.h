// SPDX-License-Identifier: Apache-2.0
// What the command line of `zebhost run` asks for, besides what it changes in the flow file.
#ifndef ZEB_HOST_RUN_OPTIONS_H
#define ZEB_HOST_RUN_OPTIONS_H

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>

namespace host {

// Paths as they were given, relative ones too. All members may be left at these values but the
// first two.
struct RunOptions {
  std::filesystem::path library;  // the plug-in
  std::filesystem::path agent;    // the program that reads shared memory, for verify
  // After this time no more messages are taken; what is on its way is still handled. Empty: until
  // the sources end.
  std::optional<std::chrono::nanoseconds> duration;
  std::uint64_t messages = 0;         // a flow takes from its source; 0: all
  bool verify = false;                // compare with shared memory at the end
  bool quiet = false;                 // no progress, no tables
  bool asInstalled = false;           // the machine's own settings, no private view
  std::filesystem::path summaryJson;  // empty: none; "-": standard output
  std::filesystem::path log;          // empty: standard error; "-": standard output
};

// Exit codes of zebhost and of a group's process, those of sysexits.h where it has one. zebmon has
// the same.
enum ExitCode {
  kExitOk = 0,
  kExitDifference = 1,     // shared memory differs, or a process failed
  kExitUsage = 64,         // EX_USAGE
  kExitWrongFile = 65,     // EX_DATAERR
  kExitNoFile = 66,        // EX_NOINPUT
  kExitUnavailable = 69,   // EX_UNAVAILABLE: no private view, or the plug-in can't be used
  kExitNoOutput = 74,      // EX_IOERR: reading or writing failed
  kExitNoPermission = 77,  // EX_NOPERM
  kExitSignal = 128,       // plus the signal that stopped the run at once
};

}  // namespace host

#endif  // ZEB_HOST_RUN_OPTIONS_H
