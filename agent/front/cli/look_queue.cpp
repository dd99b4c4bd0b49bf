// SPDX-License-Identifier: Apache-2.0
#include "agent/front/cli/look_queue.h"

#include <utility>

namespace cli {
namespace {

std::size_t eventsIn(const model::FollowLook& look) {
  std::size_t events = 0;
  for (const model::News& news : look.news) events += news.events.size();
  return events;
}

}  // namespace

LookQueue::LookQueue(std::function<void(const model::FollowLook&)> show)
    : show_(std::move(show)), thread_([this] { run(); }) {}

LookQueue::~LookQueue() {
  {
    const std::lock_guard lock(guard_);
    stop_ = true;
  }
  changed_.notify_one();
  thread_.join();
}

void LookQueue::push(model::FollowLook look) {
  {
    const std::lock_guard lock(guard_);
    events_ += eventsIn(look);
    waiting_.push_back(std::move(look));
  }
  changed_.notify_one();
}

bool LookQueue::isFull() const {
  const std::lock_guard lock(guard_);
  return events_ >= kMostEvents;
}

void LookQueue::run() {
  std::unique_lock lock(guard_);
  while (true) {
    changed_.wait(lock, [this] { return stop_ || !waiting_.empty(); });
    if (waiting_.empty()) return;
    const model::FollowLook look = std::move(waiting_.front());
    waiting_.pop_front();
    lock.unlock();
    show_(look);
    lock.lock();
    events_ -= eventsIn(look);
  }
}

}  // namespace cli
