// SPDX-License-Identifier: Apache-2.0
// Looks on their way from who takes them to who shows them.
#ifndef ZEB_AGENT_FRONT_CLI_LOOK_QUEUE_H
#define ZEB_AGENT_FRONT_CLI_LOOK_QUEUE_H

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

#include "agent/model/follower.h"

namespace cli {

// Shows looks in a thread of its own, in their order. A disk that makes writers wait would
// otherwise hold up the next look, and a ring that turns meanwhile loses events.
class LookQueue {
 public:
  // More events than that wait only when one look brought them.
  static constexpr std::size_t kMostEvents = 200000;

  // `show` is called by that thread alone.
  explicit LookQueue(std::function<void(const model::FollowLook&)> show);

  // Shows what waits first.
  ~LookQueue();
  LookQueue(const LookQueue&) = delete;
  LookQueue& operator=(const LookQueue&) = delete;

  // At once. Not to be called while the queue is full.
  void push(model::FollowLook look);
  bool isFull() const;

 private:
  void run();

  const std::function<void(const model::FollowLook&)> show_;
  mutable std::mutex guard_;
  std::condition_variable changed_;
  std::deque<model::FollowLook> waiting_;
  std::size_t events_ = 0;  // that wait, those that are being shown included
  bool stop_ = false;
  std::thread thread_;  // last: it uses all of the above
};

}  // namespace cli

#endif  // ZEB_AGENT_FRONT_CLI_LOOK_QUEUE_H
