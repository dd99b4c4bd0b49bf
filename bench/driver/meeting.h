// SPDX-License-Identifier: Apache-2.0
// Where the processes of one measurement wait for each other.
#ifndef ZEB_BENCH_DRIVER_MEETING_H
#define ZEB_BENCH_DRIVER_MEETING_H

#include <sys/mman.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <new>
#include <stdexcept>
#include <system_error>
#include <thread>

#include "bench/support/comparison.h"

namespace bench {

// Where processes meet that this one starts.
struct Meeting {
  std::atomic<int> deployed{0};
  std::atomic<bool> begun{false};
  std::atomic<bool> over{false};
  std::atomic<int> read{0};
};

class SharedMeeting {
 public:
  SharedMeeting() {
    void* const memory =
        mmap(nullptr, sizeof(Meeting), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) throw std::system_error(errno, std::generic_category(), "mmap");
    meeting_ = new (memory) Meeting;
  }
  ~SharedMeeting() { munmap(meeting_, sizeof(Meeting)); }
  SharedMeeting(const SharedMeeting&) = delete;
  SharedMeeting& operator=(const SharedMeeting&) = delete;
  Meeting* operator->() const { return meeting_; }

 private:
  Meeting* meeting_;
};

// Gives up when another process seems to be gone.
template <class Condition>
void waitUntil(Condition&& condition) {
  const auto begin = Clock::now();
  while (!condition()) {
    std::this_thread::sleep_for(std::chrono::microseconds(200));
    if (Clock::now() - begin > std::chrono::seconds(60))
      throw std::runtime_error("a process did not get as far as it should");
  }
}

}  // namespace bench

#endif  // ZEB_BENCH_DRIVER_MEETING_H
