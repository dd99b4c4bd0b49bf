// SPDX-License-Identifier: Apache-2.0
// The lock that processes share: a mutex with a name, built from a System V semaphore (the lock)
// and a System V message queue (one message per living object of the name, in all processes, so
// that the last one to go removes both).
#ifndef ZEB_BASE_NAME_MUTEX_H
#define ZEB_BASE_NAME_MUTEX_H

#include <optional>

#include "base/string.h"
#include "base/thread_lock.h"
#include "base/trace.h"

// Semaphore and queue have the key that ftok(path, 1) makes of the key file, and permissions 0660.
// The key file is the given name below the temporary directory with ".zebmutx" behind it. A name
// that begins with the directory's text is not prefixed again.
//
// Not recursive: a thread that calls get twice blocks itself. A process that dies while it holds
// the lock leaves it held for all others (no undo, on purpose), and its message stays in the queue.
class ZEB_Name_Mutex {
 public:
  // Joins or creates key file, queue and semaphore. Status 301 when that fails; each failing
  // system call is a message. A null name always fails.
  explicit ZEB_Name_Mutex(const char* name);
  ~ZEB_Name_Mutex();
  ZEB_Name_Mutex(const ZEB_Name_Mutex&) = delete;
  ZEB_Name_Mutex& operator=(const ZEB_Name_Mutex&) = delete;

  // Wait for the lock; give it back. Both do nothing when not OK. A semaphore operation that fails
  // is a message and nothing else, on purpose: the caller goes on as if it held the lock.
  void get();
  void release();

  // Unregisters this object; the last one removes queue, semaphore and key file.
  void cleanup();

  bool OK() const;
  int getStatus() const;

 private:
  void setPath(const char* name);
  bool joinQueue(const ZEB_Trace& trace, int key);
  void joinSemaphore(const ZEB_Trace& trace, int key);
  bool dropReference(const ZEB_Trace& trace) const;
  void change(const ZEB_Trace& trace, short by) const;

  int status_ = 0;
  int semaphore_ = 0;  // an id of 0 counts as none, on purpose
  int queue_ = 0;      // likewise
  ZEB_String keyFile_;
  std::optional<ZEB_Thread_Lock::OfName> threads_;  // taken before the semaphore
};

#endif  // ZEB_BASE_NAME_MUTEX_H
