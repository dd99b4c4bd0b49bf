// SPDX-License-Identifier: Apache-2.0
// Processes of this machine, as the kernel tells of them.
#ifndef ZEB_AGENT_READER_PROCESSES_H
#define ZEB_AGENT_READER_PROCESSES_H

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace reader {

// A System V segment that a process has attached.
struct MappedSegment {
  std::uint32_t key = 0;  // that it was made with
  std::uint64_t id = 0;   // of the segment
  bool operator==(const MappedSegment&) const = default;
};

// What has no value could not be read: it is not known, which is neither true nor false.
struct Process {
  std::int32_t id = 0;

  // Whether some process or thread has that number now: what kill(id, 0) says. Nothing for numbers
  // below 1, which mean whole groups of processes.
  std::optional<bool> exists;

  // Every thread of it has ended. It may still be in the list of processes, waiting to be reaped.
  std::optional<bool> ended;

  // It was stopped, or is held by a debugger: no thread of it runs, and one could go on.
  std::optional<bool> stopped;

  std::optional<std::uint64_t> threads;
  std::optional<std::uint64_t> startTicks;      // when it started, in clock ticks since boot
  std::optional<std::uint64_t> processorTicks;  // that it has used of all processors
  std::optional<std::string> command;           // at most 15 bytes, which it may choose itself

  // What it has attached now, each once.
  std::optional<std::vector<MappedSegment>> segments;

  // Only where the segments are known.
  bool hasAttached(const MappedSegment& segment) const {
    return std::ranges::find(*segments, segment) != segments->end();
  }
};

// The kernel's clocks at one moment.
struct Clocks {
  std::chrono::milliseconds wall{0};       // since 1970
  std::chrono::milliseconds sinceBoot{0};  // time that the machine slept included
  std::optional<std::int64_t> bootTime;    // the kernel's own account: seconds since 1970
  std::int64_t ticksPerSecond = 0;         // of Process::startTicks
};

// Looks at one process. `proc` is where the kernel shows processes. Sends no signal, and changes
// nothing of the process. Of a process that doesn't exist only that is known.
Process readProcess(std::int32_t id, const std::string& proc = "/proc");

// The numbers of all processes, in the order of the list, at most so many. `error` gets the errno
// when it can't be read.
std::vector<std::int32_t> listProcesses(std::size_t most, int& error,
                                        const std::string& proc = "/proc");

// Whether it runs a program: those of the kernel have no command line. `folder` is its own in the
// list.
bool isUsers(const std::string& folder);

// What it has mapped, as the kernel tells it; empty when that is hidden from this user.
std::string mapsOf(const std::string& folder);

Clocks readClocks(const std::string& proc = "/proc");

}  // namespace reader

#endif  // ZEB_AGENT_READER_PROCESSES_H
