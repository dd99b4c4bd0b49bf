// SPDX-License-Identifier: Apache-2.0
// The lock among threads of one process.
#include "base/local_lock.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "base/name_gate.h"

namespace {

TEST(NameGate, WithoutANameIsNone) {
  Name_Gate gate(nullptr);
  gate.enter();
  gate.leave();
}

TEST(LocalLock, LetsOneThreadInAtATime) {
  Local_Lock lock;
  std::atomic<int> inside = 0;
  std::atomic<int> together = 0;
  int passages = 0;
  {
    std::vector<std::jthread> threads;
    for (int i = 0; i < 4; ++i)
      threads.emplace_back([&] {
        for (int turn = 0; turn < 200; ++turn) {
          lock.enter();
          if (++inside != 1) ++together;
          std::this_thread::yield();
          ++passages;
          --inside;
          lock.leave();
        }
      });
  }
  EXPECT_EQ(0, together);
  EXPECT_EQ(800, passages);
}

// More threads than there are cores, and longer inside than anybody looks: they park and are woken.
TEST(LocalLock, WakesEverybodyWhoParked) {
  Local_Lock lock;
  int passages = 0;
  {
    std::vector<std::jthread> threads;
    for (int i = 0; i < 16; ++i)
      threads.emplace_back([&] {
        for (int turn = 0; turn < 500; ++turn) {
          lock.enter();
          if (++passages % 50 == 0)
            for (int wait = 0; wait < 100; ++wait) std::this_thread::yield();
          lock.leave();
        }
      });
  }
  EXPECT_EQ(16 * 500, passages);
}

TEST(LocalLock, MayBeLeftByAnotherThread) {
  Local_Lock lock;
  lock.enter();
  std::jthread([&] { lock.leave(); }).join();
  lock.enter();
  lock.leave();
}

TEST(LocalLock, LeftThoughNobodyHoldsItStaysFreeForOne) {
  Local_Lock lock;
  lock.leave();
  lock.leave();
  lock.enter();
  std::atomic<bool> second = false;
  std::jthread other([&] {
    lock.enter();
    second = true;
    lock.leave();
  });
  EXPECT_FALSE(second);
  lock.leave();
  other.join();
  EXPECT_TRUE(second);
}

}  // namespace
