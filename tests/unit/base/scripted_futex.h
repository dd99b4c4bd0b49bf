// SPDX-License-Identifier: Apache-2.0
// The system calls by which threads sleep at a ZEB_Thread_Lock and wake each other, as a test's
// script wants them: the test program's own `syscall` comes before the system's.
#ifndef ZEB_TESTS_UNIT_BASE_SCRIPTED_FUTEX_H
#define ZEB_TESTS_UNIT_BASE_SCRIPTED_FUTEX_H

#include <sys/types.h>

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <list>
#include <mutex>

#include "base/thread_lock.h"

namespace support {

// While it lives, threads sleep at this one lock as scripted. They wake in the order in which they
// fell asleep. A thread that was woken does not run before the script lets it.
class Scripted_Futex {
 public:
  explicit Scripted_Futex(const ZEB_Thread_Lock& lock);
  ~Scripted_Futex();

  // Called by a thread that is about to sleep, before the system looks whether it still may.
  std::function<void()> beforeSleep;
  // Called by a thread that the system lets sleep. Must not call back.
  std::function<void()> whenAsleep;

  void awaitSleepers(std::size_t count);  // returns when so many sleep and were not woken
  void letRun();                          // from now on each woken thread runs
  void wakeAllByAccident();               // as the system may: nobody called

  pid_t forkProcess();  // fork; in the child only this thread is there, and it may go on

  // What the lock's system calls come to. Both set errno as the system does.
  bool scripts(const void* word) const;
  long sleep(const std::uint32_t* word, std::uint32_t value);
  long wake(const std::uint32_t* word, int most);

 private:
  struct Sleeper {
    const std::uint32_t* word;
    bool woken = false;
  };

  const ZEB_Thread_Lock& lock_;
  std::mutex guard_;
  std::condition_variable changed_;
  std::list<Sleeper> sleepers_;
  bool run_ = false;
};

}  // namespace support

#endif  // ZEB_TESTS_UNIT_BASE_SCRIPTED_FUTEX_H
