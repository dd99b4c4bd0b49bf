// SPDX-License-Identifier: Apache-2.0
// The lock on a key file that the library's constructor takes too.
#ifndef ZEB_AGENT_ACT_KEY_FILE_LOCK_H
#define ZEB_AGENT_ACT_KEY_FILE_LOCK_H

#include <string>

#include "agent/reader/locks.h"

namespace act {

// Keeps everybody else from joining or removing the objects behind a key file, other repairs
// included, as long as it lives. The kernel gives the lock back if this process dies.
class KeyFileLock {
 public:
  // Opens the file as the library does, and waits for at most a second in small steps: the library
  // never holds the lock while it waits for anything.
  explicit KeyFileLock(const std::string& path);
  ~KeyFileLock();
  KeyFileLock(const KeyFileLock&) = delete;
  KeyFileLock& operator=(const KeyFileLock&) = delete;

  // Why nothing is locked: a sentence; empty when the lock is held.
  const std::string& problem() const { return problem_; }

  // Whether the path still leads to the file that is locked, and that file is the one in `seen`.
  bool isStill(const reader::KeyFile& seen) const;

 private:
  void lock();

  std::string path_;
  int file_ = -1;
  std::string problem_;
};

}  // namespace act

#endif  // ZEB_AGENT_ACT_KEY_FILE_LOCK_H
