// SPDX-License-Identifier: Apache-2.0
// The lock among the threads of this process. Its holder may be another thread than the one that
// gives it back, as with the inter-process lock behind it.
#ifndef ZEB_BASE_THREAD_LOCK_H
#define ZEB_BASE_THREAD_LOCK_H

#include <sys/types.h>

#include <atomic>
#include <cstdint>
#include <string>

// Not recursive. Given back although nobody holds it, it stays free. It never allocates, leaves
// errno alone, and is no cancellation point: a thread that is cancelled while it waits gets the
// lock first.
//
// A thread that finds the lock taken looks again for a few microseconds, at growing intervals.
// That is longer than most holders need, and much cheaper than to fall asleep and be woken (about
// 25 us). Then it sleeps.
//
// Who leaves while threads sleep wakes one of them, which is then next. The system picks it: the
// highest real-time priority first, else in the order in which they came. Until the next thread has
// the lock no other is woken, and threads that are awake may pass it, at most 64 times. Then the
// lock is handed to it and nobody else can take it.
class ZEB_Thread_Lock {
 public:
  class OfName;

  ZEB_Thread_Lock() = default;
  ZEB_Thread_Lock(const ZEB_Thread_Lock&) = delete;
  ZEB_Thread_Lock& operator=(const ZEB_Thread_Lock&) = delete;

  // Waits until the lock is the caller's.
  void enter() {
    std::uint32_t free = 0;
    if (!state_.compare_exchange_strong(free, kHeld, std::memory_order_acquire)) wait();
  }

  // Gives the lock back. Any thread may call this.
  void leave() {
    std::uint32_t held = kHeld;
    if (!state_.compare_exchange_strong(held, 0, std::memory_order_release)) giveToOthers();
  }

 private:
  // The bits of the state. How often the next thread was passed is counted from kPass upwards.
  static constexpr std::uint32_t kHeld = 1;
  static constexpr std::uint32_t kHanded = 2;      // held for the next thread, and no other
  static constexpr std::uint32_t kNext = 4;        // a thread was woken and is next
  static constexpr std::uint32_t kNextSleeps = 8;  // the next thread sleeps once more
  static constexpr std::uint32_t kSleepers = 16;   // others sleep or are about to
  static constexpr std::uint32_t kPass = 32;
  static constexpr std::uint32_t kPasses = ~(kPass - 1);
  static constexpr std::uint32_t kMostPasses = 64 * kPass;

  void wait();
  bool take(std::uint32_t state, bool next);
  bool sleep(std::uint32_t state);
  bool sleepAsNext(std::uint32_t state);
  void giveToOthers();
  bool give(std::uint32_t state);
  void callNext(std::uint32_t state);
  bool forgetGoneNext(std::uint32_t state);

  std::atomic<std::uint32_t> state_ = 0;  // the next thread sleeps on this one
  std::atomic<std::uint32_t> calls_ = 0;  // of sleepers, who sleep on this one
  std::atomic<pid_t> nextOf_ = 0;         // the process in which the next thread was called
};

// The lock that all objects of one name in this process share. Each of these owns one of them.
class ZEB_Thread_Lock::OfName {
 public:
  // Joins the lock of the name. For a null name, or without memory, there is none, and enter and
  // leave do nothing.
  explicit OfName(const char* name);
  ~OfName();
  OfName(const OfName&) = delete;
  OfName& operator=(const OfName&) = delete;

  void enter() {
    if (lock_) lock_->enter();
  }
  void leave() {
    if (lock_) lock_->leave();
  }

 private:
  const std::string* name_ = nullptr;
  ZEB_Thread_Lock* lock_ = nullptr;
};

#endif  // ZEB_BASE_THREAD_LOCK_H
