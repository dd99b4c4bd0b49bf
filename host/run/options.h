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
  // The plug-in, and the program that reads shared memory, for verify.
  std::filesystem::path library;
  std::filesystem::path agent;
  // After this time no more messages are taken; what is on its way is still handled. Empty: until
  // the sources end.
  std::optional<std::chrono::nanoseconds> duration;
  // How many messages each flow takes from its source, at most. 0: all.
  std::uint64_t messages = 0;
  // Compare with shared memory at the end, before the nodes are deleted.
  bool verify = false;
  // No progress and no tables; what went wrong is told all the same.
  bool quiet = false;
  // Use the machine's own settings, without a private view.
  bool asInstalled = false;
  // Where the summary goes as JSON. Empty: nowhere; "-": standard output, and what people read then
  // goes to standard error.
  std::filesystem::path summaryJson;
  // Where the agent writes a snapshot before the first process leaves. Empty: nowhere.
  std::filesystem::path lastSnapshot;
  // Where the nodes' log goes; a file is emptied first. Empty: standard error; "-": standard
  // output.
  std::filesystem::path log;
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
