// SPDX-License-Identifier: Apache-2.0
// Processes that have the library and see other files or other IPC objects than this one.
#ifndef ZEB_AGENT_READER_VIEWS_H
#define ZEB_AGENT_READER_VIEWS_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace reader {

// What has no value could not be read.
struct OtherView {
  std::int32_t process = 0;
  std::string command;  // at most 15 bytes, which it may choose itself
  std::string unit;     // the service that systemd runs it in; empty when it is in none

  // The directory of that path is another one for it than for this process.
  std::optional<bool> otherDirectory;
  std::optional<bool> otherIpc;  // its IPC namespace is another one
};

struct Views {
  static constexpr std::size_t kMostProcesses = 32768;

  int error = 0;  // errno when the list of processes can't be read
  std::vector<OtherView> others;
  std::uint64_t hidden = 0;  // processes of which nothing of this is told to this user
};

// Looks at all processes, and keeps those that have attached the library and see other things. For
// most of them that takes two small reads. `proc` is where the kernel shows processes.
Views readViews(const std::string& directory, const std::string& proc = "/proc");

}  // namespace reader

#endif  // ZEB_AGENT_READER_VIEWS_H
