// SPDX-License-Identifier: Apache-2.0
#include "base/thread_lock.h"

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <mutex>
#include <new>
#include <unordered_map>

namespace {

constexpr int kLooks = 8;  // some microseconds, all pauses together

// Twice as long before each look: threads that look all the time take the lock's cache line away
// from its holder, and the lock from the thread that has the data in its cache.
void pauseBefore(int look) {
  for (int pauses = 1 << look; pauses > 0; --pauses) {
#if defined(__x86_64__)
    __builtin_ia32_pause();
#endif
  }
}

// syscall is no cancellation point, as sem_wait and the like would be.
long futex(std::atomic<std::uint32_t>& word, int operation, std::uint32_t value) {
  return syscall(SYS_futex, &word, operation | FUTEX_PRIVATE_FLAG, value, nullptr, nullptr, 0);
}

// True when somebody woke this thread; false when the word had another value, or after a signal.
bool sleepOn(std::atomic<std::uint32_t>& word, std::uint32_t value) {
  return futex(word, FUTEX_WAIT, value) == 0;
}

// How many were woken.
long wake(std::atomic<std::uint32_t>& word, int most) {
  return futex(word, FUTEX_WAKE, static_cast<std::uint32_t>(most));
}

struct Lock_Of_Name {
  alignas(64) ZEB_Thread_Lock lock;  // alone in its cache line
  int users = 0;
};
using Locks = std::unordered_map<std::string, Lock_Of_Name>;

// There as long as one lock has a user. A static map would be gone before a host's last threads.
Locks* locks = nullptr;
std::mutex joining;

void dropWhenUnused() {
  if (!locks || !locks->empty()) return;
  delete locks;
  locks = nullptr;
}

}  // namespace

void ZEB_Thread_Lock::wait() {
  const int error = errno;
  bool next = false;
  for (int looks = 0;;) {
    const std::uint32_t state = state_.load(std::memory_order_acquire);
    if ((state & kHeld) == 0 || (next && (state & kHanded) != 0)) {
      if (take(state, next)) break;
    } else if (looks < kLooks) {
      pauseBefore(looks++);
    } else {
      next = next ? sleepAsNext(state) : sleep(state);
      looks = 0;
    }
  }
  errno = error;
}

bool ZEB_Thread_Lock::take(std::uint32_t state, bool next) {
  const std::uint32_t over = next ? kHanded | kNext | kPasses : 0;
  return state_.compare_exchange_weak(state, (state & ~over) | kHeld, std::memory_order_acquire);
}

// True when this thread was called and is next now. May return early: the caller looks again.
bool ZEB_Thread_Lock::sleep(std::uint32_t state) {
  if (forgetGoneNext(state)) return false;
  // Read before others can know of this sleeper, so that a call that comes too early ends the
  // sleep.
  const std::uint32_t calls = calls_.load(std::memory_order_relaxed);
  return state_.compare_exchange_weak(state, state | kSleepers, std::memory_order_acq_rel) &&
         sleepOn(calls_, calls);
}

// The system may wake a thread that nobody called. So several may take themselves for the next, and
// all of those that sleep here are woken.
bool ZEB_Thread_Lock::sleepAsNext(std::uint32_t state) {
  const std::uint32_t asleep = state | kNextSleeps;
  if (state_.compare_exchange_weak(state, asleep, std::memory_order_relaxed))
    sleepOn(state_, asleep);
  return true;
}

void ZEB_Thread_Lock::giveToOthers() {
  while (!give(state_.load(std::memory_order_relaxed))) {
  }
}

// One step; the caller takes steps until one is the last. Nothing happens to a lock that is
// nobody's.
bool ZEB_Thread_Lock::give(std::uint32_t state) {
  if ((state & kHeld) == 0 || (state & kHanded) != 0) return true;
  if ((state & (kSleepers | kNext)) == kSleepers) {
    callNext(state);
    return false;
  }
  const bool hand = (state & kPasses) >= kMostPasses;
  if (hand && forgetGoneNext(state)) return false;
  std::uint32_t given = (state & kSleepers) | kHeld | kHanded;
  if (!hand) given = (state & ~(kHeld | kNextSleeps)) + ((state & kNext) != 0 ? kPass : 0);
  if (!state_.compare_exchange_weak(state, given, std::memory_order_release)) return false;
  if ((state & kNextSleeps) != 0) wake(state_, INT_MAX);
  return true;
}

// Wakes a sleeper, before the lock is free: nobody else calls meanwhile.
void ZEB_Thread_Lock::callNext(std::uint32_t state) {
  nextOf_.store(getpid(), std::memory_order_relaxed);
  const std::uint32_t called = (state & ~kSleepers) | kNext;
  if (!state_.compare_exchange_weak(state, called, std::memory_order_acq_rel)) return;
  calls_.fetch_add(1, std::memory_order_release);
  if (wake(calls_, 1) > 0)
    state_.fetch_or(kSleepers, std::memory_order_relaxed);  // there may be more
  else
    state_.fetch_and(~kNext, std::memory_order_relaxed);  // who was about to sleep looks again
}

// A fork copies the mark of the next thread, but not that thread.
bool ZEB_Thread_Lock::forgetGoneNext(std::uint32_t state) {
  if ((state & kNext) == 0 || nextOf_.load(std::memory_order_relaxed) == getpid()) return false;
  state_.compare_exchange_weak(state, state & ~(kNext | kPasses), std::memory_order_relaxed);
  return true;
}

ZEB_Thread_Lock::OfName::OfName(const char* name) {
  if (!name) return;
  const std::lock_guard guard(joining);
  try {
    if (!locks) locks = new Locks;
    auto& [own, common] = *locks->try_emplace(name).first;
    ++common.users;
    name_ = &own;
    lock_ = &common.lock;
  } catch (const std::bad_alloc&) {
    dropWhenUnused();
  }
}

ZEB_Thread_Lock::OfName::~OfName() {
  if (!lock_) return;
  const std::lock_guard guard(joining);
  const auto common = locks->find(*name_);
  if (--common->second.users > 0) return;
  locks->erase(common);
  dropWhenUnused();
}
