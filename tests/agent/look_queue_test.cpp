// SPDX-License-Identifier: Apache-2.0
#include "agent/front/cli/look_queue.h"

#include <gtest/gtest.h>

#include <latch>
#include <memory>
#include <vector>

namespace look_queue_test {

using cli::LookQueue;

namespace {

model::FollowLook lookWith(std::size_t events) {
  model::FollowLook look;
  look.news.emplace_back().events.resize(events);
  return look;
}

std::size_t eventsOf(const model::FollowLook& look) {
  return look.news.at(0).events.size();
}

}  // namespace

TEST(LookQueue, ShowsAllLooksInTheirOrderBeforeItEnds) {
  std::vector<std::size_t> shown;
  {
    LookQueue queue([&shown](const auto& look) { shown.push_back(eventsOf(look)); });
    for (std::size_t i = 0; i < 100; ++i) queue.push(lookWith(i));
  }
  ASSERT_EQ(100U, shown.size());
  for (std::size_t i = 0; i < 100; ++i) EXPECT_EQ(i, shown[i]);
}

TEST(LookQueue, TakesLooksWhileOneIsShownUntilItIsFull) {
  std::latch begun(1);
  std::latch goOn(1);
  std::vector<std::size_t> shown;
  {
    LookQueue queue([&](const auto& look) {
      if (shown.empty()) begun.count_down();
      goOn.wait();
      shown.push_back(eventsOf(look));
    });
    queue.push(lookWith(1));
    begun.wait();
    queue.push(lookWith(LookQueue::kMostEvents - 2));
    EXPECT_FALSE(queue.isFull());
    queue.push(lookWith(1));
    EXPECT_TRUE(queue.isFull());
    goOn.count_down();
  }
  EXPECT_EQ((std::vector<std::size_t>{1, LookQueue::kMostEvents - 2, 1}), shown);
}

TEST(LookQueue, HasRoomAgainWhenALookWasShown) {
  LookQueue queue([](const auto&) {});
  queue.push(lookWith(LookQueue::kMostEvents));
  while (queue.isFull()) std::this_thread::yield();
}

}  // namespace look_queue_test
