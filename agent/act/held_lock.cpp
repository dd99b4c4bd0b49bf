// SPDX-License-Identifier: Apache-2.0
#include "agent/act/held_lock.h"

#include <sys/ipc.h>
#include <sys/sem.h>
#include <time.h>

#include <cerrno>

namespace act {
namespace {

using reader::Presence;

timespec asTimespec(std::chrono::milliseconds time) {
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(time);
  return {seconds.count(), std::chrono::nanoseconds(time - seconds).count()};
}

// False with errno; EAGAIN when the time is over. A signal begins the wait again.
bool change(int semaphore, short by, std::chrono::milliseconds patience) {
  const timespec limit = asTimespec(patience);
  int result;
  do {
    sembuf operation{0, by, SEM_UNDO};
    result = semtimedop(semaphore, &operation, 1, &limit);
  } while (result != 0 && errno == EINTR);
  return result == 0;
}

Taken whyNot(int error) {
  switch (error) {
    case EAGAIN:
      return Taken::timedOut;
    case EACCES:
    case EPERM:
      return Taken::noPermission;
    case EINVAL:
    case EIDRM:
      return Taken::noLock;
    default:
      return Taken::failed;
  }
}

}  // namespace

HeldLock::HeldLock(const std::string& keyFile, std::chrono::milliseconds patience)
    : lock_(reader::readLock(keyFile)), taken_(take(patience)) {}

HeldLock::~HeldLock() {
  if (held_) change(lock_.semaphore.id, 1, std::chrono::milliseconds(0));
}

Taken HeldLock::take(std::chrono::milliseconds patience) {
  const reader::Semaphore& semaphore = lock_.semaphore;
  error_ = lock_.file.error != 0 ? lock_.file.error : semaphore.error;
  if (lock_.file.error == ENOENT) return Taken::noLock;
  if (lock_.file.error != 0) return whyNot(lock_.file.error);
  if (semaphore.presence == Presence::absent) return Taken::noLock;
  if (semaphore.presence != Presence::there) return whyNot(semaphore.error);
  held_ = change(semaphore.id, -1, patience);
  if (!held_) {
    error_ = errno;
    return whyNot(error_);
  }
  const reader::KeyFile now = reader::readKeyFile(lock_.file.path);
  const bool same =
      now.error == 0 && now.inode == lock_.file.inode && now.device == lock_.file.device;
  return same ? Taken::yes : Taken::changed;
}

}  // namespace act
