// SPDX-License-Identifier: Apache-2.0
// Processes that sleep until somebody gives a lock back.
#ifndef ZEB_AGENT_READER_WAITS_H
#define ZEB_AGENT_READER_WAITS_H

#include <compare>
#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <vector>

namespace reader {

// A thread of the process sleeps in a call that waits for that semaphore.
struct Waiter {
  std::int32_t process = 0;
  int semaphore = 0;  // its id
  auto operator<=>(const Waiter&) const = default;
};

struct Waits {
  static constexpr std::size_t kMostProcesses = 65536;

  std::vector<Waiter> waiters;  // known for sure; in their order, each once

  // Processes that sleep until some semaphore is free, and the kernel doesn't tell this user which.
  std::vector<std::int32_t> unsure;
};

// Who waits for one of the semaphores with these ids. `proc` is where the kernel shows processes.
Waits readWaits(const std::set<int>& semaphores, const std::string& proc = "/proc");

}  // namespace reader

#endif  // ZEB_AGENT_READER_WAITS_H
