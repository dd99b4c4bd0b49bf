// SPDX-License-Identifier: Apache-2.0
#include "base/local_lock.h"

namespace {

constexpr int kLooks = 100;  // some microseconds

void relax() {
#if defined(__x86_64__)
  __builtin_ia32_pause();
#endif
}

}  // namespace

void Local_Lock::wait() {
  int heir = 0;  // kHeir, once this thread is the heir
  for (int looks = 0;;) {
    int state = state_.load(std::memory_order_relaxed);
    if ((state & kHeld) == 0) {
      if (state_.compare_exchange_weak(state, (state & ~heir) | kHeld, std::memory_order_acquire))
        return;
    } else if (looks < kLooks) {
      ++looks;
      relax();
      if (state >= kParked && (state & kHeir) == 0 &&
          state_.compare_exchange_weak(state, state | kHeir, std::memory_order_relaxed))
        heir = kHeir;
    } else if (state_.compare_exchange_weak(state, (state & ~heir) + kParked,
                                            std::memory_order_relaxed)) {
      park();
      heir = kHeir;
      looks = 0;
    }
  }
}

// Returns to the thread that leaveToOthers made the heir.
void Local_Lock::park() {
  while (sem_wait(&wakeUps_) != 0) {
  }
}

// Nobody is woken when somebody came meanwhile: that one does it when it leaves.
void Local_Lock::leaveToOthers() {
  int state = state_.fetch_and(~kHeld, std::memory_order_release) & ~kHeld;
  while (state >= kParked && (state & (kHeld | kHeir)) == 0)
    if (state_.compare_exchange_weak(state, (state - kParked) | kHeir, std::memory_order_relaxed)) {
      sem_post(&wakeUps_);
      return;
    }
}
