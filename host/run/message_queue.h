// SPDX-License-Identifier: Apache-2.0
// The messages that wait for a thread of their flow. Every function is for several threads at once.
#ifndef ZEB_HOST_RUN_MESSAGE_QUEUE_H
#define ZEB_HOST_RUN_MESSAGE_QUEUE_H

#include <condition_variable>
#include <cstddef>
#include <memory>
#include <mutex>
#include <queue>

#include "host/run/clock.h"
#include "host/run/message.h"

namespace host {

// Messages leave in the order in which they came. One thread fills it, the flow's threads empty it.
class MessageQueue {
 public:
  // At most so many messages wait in it; at least 1.
  explicit MessageQueue(std::size_t capacity) : capacity_(capacity) {}

  // Waits while the queue is full, without end. The put time is stamped when there is room, so the
  // queued time that a node sees is the time in here.
  void push(std::unique_ptr<HostMessage> message) {
    std::unique_lock lock(mutex_);
    hasRoom_.wait(lock, [this] { return waiting_.size() < capacity_; });
    message->stampPutTime(wallClock());
    waiting_.push(std::move(message));
    hasMessage_.notify_one();
  }

  // The next message, waiting for one; null while the queue is paused, and when it is closed and
  // empty, now and at each further call.
  std::unique_ptr<HostMessage> pop() {
    std::unique_lock lock(mutex_);
    hasMessage_.wait(lock, [this] { return !waiting_.empty() || closed_ || paused_; });
    if (waiting_.empty() || paused_) return nullptr;
    std::unique_ptr<HostMessage> message = std::move(waiting_.front());
    waiting_.pop();
    hasRoom_.notify_one();
    return message;
  }

  // While it is paused, no message leaves it; those that wait in pop come back without one.
  void pause(bool paused) {
    const std::lock_guard lock(mutex_);
    paused_ = paused;
    hasMessage_.notify_all();
  }

  // No message comes any more. Those that are in are still handed out. Wakes all that wait in pop.
  void close() {
    const std::lock_guard lock(mutex_);
    closed_ = true;
    hasMessage_.notify_all();
  }

 private:
  const std::size_t capacity_;
  std::mutex mutex_;
  std::condition_variable hasRoom_;
  std::condition_variable hasMessage_;
  std::queue<std::unique_ptr<HostMessage>> waiting_;
  bool closed_ = false;
  bool paused_ = false;
};

}  // namespace host

#endif  // ZEB_HOST_RUN_MESSAGE_QUEUE_H
