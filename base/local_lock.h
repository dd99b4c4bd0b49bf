// SPDX-License-Identifier: Apache-2.0
// A lock among the threads of this process, for places where a thread may release what another
// took, as the inter-process lock behind it allows too.
#ifndef ZEB_BASE_LOCAL_LOCK_H
#define ZEB_BASE_LOCAL_LOCK_H

#include <semaphore.h>

#include <atomic>

// Not recursive. Released although nobody holds it, it stays free.
//
// Whoever finds it taken looks again for a few microseconds, which is longer than a holder usually
// needs, and parks only then: to put a thread to sleep and to wake it takes many times what it
// waits for. While threads are parked, one thread at most is their heir: awake, and next in turn.
// Who leaves wakes one only when there is no heir.
class Local_Lock {
 public:
  Local_Lock() { sem_init(&wakeUps_, 0, 0); }
  ~Local_Lock() { sem_destroy(&wakeUps_); }
  Local_Lock(const Local_Lock&) = delete;
  Local_Lock& operator=(const Local_Lock&) = delete;

  void enter() {
    int free = 0;
    if (!state_.compare_exchange_strong(free, kHeld, std::memory_order_acquire)) wait();
  }
  void leave() {
    int held = kHeld;
    if (!state_.compare_exchange_strong(held, 0, std::memory_order_release)) leaveToOthers();
  }

 private:
  static constexpr int kHeld = 1;
  static constexpr int kHeir = 2;    // a thread that knows of it is on its way in
  static constexpr int kParked = 4;  // from here up: how many are parked

  void wait();
  void park();
  void leaveToOthers();

  std::atomic<int> state_ = 0;
  sem_t wakeUps_;
};

#endif  // ZEB_BASE_LOCAL_LOCK_H
