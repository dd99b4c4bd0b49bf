// SPDX-License-Identifier: Apache-2.0
// Somebody else's lock, taken for a moment.
#ifndef ZEB_AGENT_ACT_HELD_LOCK_H
#define ZEB_AGENT_ACT_HELD_LOCK_H

#include <chrono>
#include <string>

#include "agent/reader/locks.h"

namespace act {

enum class Taken {
  yes,
  noLock,        // there is no key file, or no semaphore behind it: nobody uses the lock
  timedOut,      // somebody else has it
  noPermission,  //
  changed,       // the key file was replaced meanwhile: others now use another lock
  failed,        // the call failed for another reason: error()
};

// Takes the lock of a key file, and gives it back at the end of its life. No file, no object and no
// reference to the lock is made. The kernel gives it back too when this process dies: both
// operations are noted to be undone, and undo each other when all goes well.
class HeldLock {
 public:
  // Waits no longer than `patience`; 0 doesn't wait. One lock at a time.
  HeldLock(const std::string& keyFile, std::chrono::milliseconds patience);
  ~HeldLock();
  HeldLock(const HeldLock&) = delete;
  HeldLock& operator=(const HeldLock&) = delete;

  Taken taken() const { return taken_; }
  int error() const { return error_; }  // errno of what failed

  // As it was seen before it was asked for: who has it, when it is timedOut.
  const reader::Lock& seen() const { return lock_; }

 private:
  Taken take(std::chrono::milliseconds patience);

  reader::Lock lock_;
  int error_ = 0;
  bool held_ = false;
  Taken taken_;
};

}  // namespace act

#endif  // ZEB_AGENT_ACT_HELD_LOCK_H
