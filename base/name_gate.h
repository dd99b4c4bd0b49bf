// SPDX-License-Identifier: Apache-2.0
// In front of each inter-process lock stands a gate among the threads of this process, shared by
// all lock objects of one name. Only the thread inside asks the system for the lock, so that the
// threads of one process hand it to each other without falling asleep.
#ifndef ZEB_BASE_NAME_GATE_H
#define ZEB_BASE_NAME_GATE_H

#include <atomic>
#include <string>

#include "base/local_lock.h"

struct Shared_Gate {
  alignas(64) Local_Lock lock;  // alone in its cache line
  std::atomic<int> users = 0;
};

class Name_Gate {
 public:
  // Joins the gate of that name. Without memory, or for a null name, there is none: threads then
  // meet at the inter-process lock itself.
  explicit Name_Gate(const char* name);
  ~Name_Gate();
  Name_Gate(const Name_Gate&) = delete;
  Name_Gate& operator=(const Name_Gate&) = delete;

  // Both tell whether the caller is inside and must leave.
  bool enter() {
    if (gate_) gate_->lock.enter();
    return gate_ != nullptr;
  }
  // For threads that have waited for each other already: the gate is passed by while nobody else
  // has joined it. Who joins meanwhile meets this one at the inter-process lock itself.
  bool enterUnlessAlone() {
    return gate_ && gate_->users.load(std::memory_order_relaxed) > 1 && enter();
  }
  void leave() {
    if (gate_) gate_->lock.leave();
  }

 private:
  const std::string* name_ = nullptr;
  Shared_Gate* gate_ = nullptr;
};

#endif  // ZEB_BASE_NAME_GATE_H
