// SPDX-License-Identifier: Apache-2.0
// Real locks with their key files, made as the description of the files says.
#ifndef ZEB_TESTS_AGENT_LIVE_LOCK_H
#define ZEB_TESTS_AGENT_LIVE_LOCK_H

#include <sys/types.h>

#include <string>

// A free lock, /tmp/NAME.zebmutx, that this process made. Everything of it goes with it.
class LiveLock {
 public:
  explicit LiveLock(const std::string& name, int mode = 0640);
  ~LiveLock();
  LiveLock(const LiveLock&) = delete;
  LiveLock& operator=(const LiveLock&) = delete;

  // One more user of it.
  void refer() const;

  // Takes or gives back, on behalf of this process.
  void change(int by) const;

  // A child takes it and ends; it is reaped. Returns the child.
  pid_t takenByADeadProcess() const;

  int value() const;
  const std::string& keyFile() const { return keyFile_; }
  int semaphore() const { return semaphore_; }
  int queue() const { return queue_; }

 private:
  std::string keyFile_;
  int semaphore_;
  int queue_;
};

// A child that waits for a held lock; it sleeps in there when the constructor returns. It is ended
// and reaped at the end.
class Waiting {
 public:
  explicit Waiting(const LiveLock& lock);
  ~Waiting();
  Waiting(const Waiting&) = delete;
  Waiting& operator=(const Waiting&) = delete;

  pid_t id() const { return id_; }

 private:
  pid_t id_;
};

// From now on this process has no more rights over IPC objects than any other; false when the
// system refuses. For a child, which ends with that.
bool giveUpRightsOverObjects();

#endif  // ZEB_TESTS_AGENT_LIVE_LOCK_H
