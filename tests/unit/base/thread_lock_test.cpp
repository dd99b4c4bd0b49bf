// SPDX-License-Identifier: Apache-2.0
// The lock among threads of one process.
#include "base/thread_lock.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <sched.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "tests/unit/base/scripted_futex.h"

namespace thread_lock_test {

using support::Scripted_Futex;

namespace {

TEST(ThreadLock, OfNoNameIsNone) {
  ZEB_Thread_Lock::OfName lock(nullptr);
  lock.enter();
  lock.leave();
}

TEST(ThreadLock, LetsOneThreadInAtATime) {
  ZEB_Thread_Lock lock;
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

// More threads than there are cores, and longer inside than anybody looks: they sleep and are
// woken.
TEST(ThreadLock, WakesEverybodyWhoSleeps) {
  ZEB_Thread_Lock lock;
  int passages = 0;
  {
    std::vector<std::jthread> threads;
    for (int i = 0; i < 16; ++i)
      threads.emplace_back([&] {
        for (int turn = 0; turn < 500; ++turn) {
          lock.enter();
          if (++passages % 50 == 0)
            for (int step = 0; step < 20000; ++step)
              std::atomic_signal_fence(std::memory_order_seq_cst);
          lock.leave();
        }
      });
  }
  EXPECT_EQ(16 * 500, passages);
}

TEST(ThreadLock, MayBeLeftByAnotherThread) {
  ZEB_Thread_Lock lock;
  lock.enter();
  std::jthread([&] { lock.leave(); }).join();
  lock.enter();
  lock.leave();
}

TEST(ThreadLock, LeftThoughNobodyHoldsItStaysFreeForOne) {
  ZEB_Thread_Lock lock;
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

// A lock that the test's thread holds, and threads that sleep at it in a known order.
class ScriptedThreadLock : public testing::Test {
 protected:
  ScriptedThreadLock() { lock.enter(); }

  // Starts threads that take the lock, write their number down and give it back. Each sleeps when
  // the next is started.
  void sleepers(int count) {
    for (int number = 0; number < count; ++number) {
      threads.emplace_back([this, number] {
        lock.enter();
        came.push_back(number);
        lock.leave();
      });
      futex.awaitSleepers(threads.size());
    }
  }

  // Takes the lock and gives it back until the first sleeper had it. Says how often; no more than
  // a thousand times.
  int passes() {
    for (int passed = 0;; ++passed) {
      lock.enter();
      const bool over = !came.empty() || passed == 1000;
      lock.leave();
      if (over) return passed;
    }
  }

  ZEB_Thread_Lock lock;
  Scripted_Futex futex{lock};
  std::vector<int> came;  // guarded by the lock
  std::vector<std::jthread> threads;
};

TEST_F(ScriptedThreadLock, PassesTheNextThreadSixtyFourTimesAtMost) {
  sleepers(1);
  lock.leave();
  futex.beforeSleep = [&] { futex.letRun(); };
  EXPECT_EQ(64, passes());
}

TEST_F(ScriptedThreadLock, PassesEachOfManySleepersSixtyFourTimesAtMost) {
  sleepers(2);
  futex.beforeSleep = [&] { futex.letRun(); };
  lock.leave();
  EXPECT_EQ(64, passes());
  threads.clear();
  EXPECT_EQ((std::vector{0, 1}), came);
}

TEST_F(ScriptedThreadLock, LetsSleepersInInTheOrderInWhichTheyCame) {
  sleepers(5);
  futex.letRun();
  lock.leave();
  threads.clear();
  EXPECT_EQ((std::vector{0, 1, 2, 3, 4}), came);
}

TEST_F(ScriptedThreadLock, WakesTheNextThreadThatSleepsOnceMore) {
  sleepers(1);
  lock.leave();
  lock.enter();
  futex.letRun();
  futex.awaitSleepers(1);
  EXPECT_TRUE(came.empty());
  lock.leave();
  threads.clear();
  EXPECT_EQ(std::vector{0}, came);
}

TEST_F(ScriptedThreadLock, WakesThreadsThatTheSystemWokeByAccident) {
  sleepers(2);
  futex.letRun();
  futex.wakeAllByAccident();
  futex.awaitSleepers(2);
  lock.leave();
  threads.clear();
  EXPECT_EQ(2U, came.size());
}

// Given back by the thread that waits for it, in the last moment before it sleeps.
TEST_F(ScriptedThreadLock, KeepsNobodyAsleepWhoJustMissedTheCall) {
  futex.beforeSleep = [&] { lock.leave(); };
  futex.whenAsleep = [] { std::abort(); };
  errno = 77;
  lock.enter();
  EXPECT_EQ(77, errno);
  futex.beforeSleep = nullptr;
  futex.whenAsleep = nullptr;
  sleepers(1);
  futex.letRun();
  lock.leave();
  EXPECT_EQ(77, errno);
}

TEST_F(ScriptedThreadLock, HandedOverIsNotFreedByALeaveTooMany) {
  sleepers(1);
  lock.leave();
  for (int i = 0; i < 64; ++i) {
    lock.enter();
    lock.leave();
  }
  lock.leave();
  bool slept = false;
  futex.beforeSleep = [&] {
    slept = true;
    futex.letRun();
  };
  lock.enter();
  EXPECT_TRUE(slept);
  EXPECT_EQ(std::vector{0}, came);
  lock.leave();
}

// In a forked child the next thread is missing. The only thread that is there must never sleep.
class ForkedThreadLock : public ScriptedThreadLock {
 protected:
  template <class Body>
  void inAChild(Body body) {
    sleepers(1);
    lock.leave();
    const pid_t child = futex.forkProcess();
    if (child == 0) {
      futex.whenAsleep = [] { _exit(1); };
      body();
      _exit(0);
    }
    int status = -1;
    ASSERT_EQ(child, waitpid(child, &status, 0));
    EXPECT_EQ(0, status);
    futex.letRun();
  }
};

TEST_F(ForkedThreadLock, IsNotHandedToAThreadThatIsMissing) {
  inAChild([this] {
    for (int i = 0; i < 200; ++i) {
      lock.enter();
      lock.leave();
    }
  });
}

TEST_F(ForkedThreadLock, WakesSleepersThoughTheNextThreadIsMissing) {
  inAChild([this] {
    lock.enter();
    futex.beforeSleep = [this] { lock.leave(); };
    lock.enter();
  });
}

// Returns when the thread sleeps in the system.
void awaitAsleep(const std::atomic<pid_t>& thread) {
  for (char state = 'R'; state != 'S'; std::this_thread::yield()) {
    std::ifstream file("/proc/self/task/" + std::to_string(thread) + "/stat");
    std::string number;
    std::string name;
    file >> number >> name >> state;
  }
}

struct Visitor {
  ZEB_Thread_Lock lock;
  std::atomic<pid_t> id = 0;

  static void* visit(void* self) {
    auto* const visitor = static_cast<Visitor*>(self);
    visitor->id = gettid();
    visitor->lock.enter();
    visitor->lock.leave();
    pthread_testcancel();
    return nullptr;
  }
};

// As semop is none.
TEST(ThreadLock, IsNoPlaceAtWhichAThreadIsCancelled) {
  Visitor visitor;
  visitor.lock.enter();
  pthread_t thread;
  ASSERT_EQ(0, pthread_create(&thread, nullptr, Visitor::visit, &visitor));
  awaitAsleep(visitor.id);
  pthread_cancel(thread);
  visitor.lock.leave();
  void* result = nullptr;
  pthread_join(thread, &result);
  EXPECT_EQ(PTHREAD_CANCELED, result);
  visitor.lock.enter();  // does not return if the lock went with the thread
  visitor.lock.leave();
}

// Threads of these priorities in SCHED_FIFO fall asleep one after the other. The order in which
// they get the lock; empty when the system allows no such class. 0 is the normal class.
std::vector<int> orderOf(const std::vector<int>& priorities) {
  ZEB_Thread_Lock lock;
  std::vector<int> came;
  std::atomic<bool> refused = false;
  lock.enter();
  std::vector<std::jthread> threads;
  for (const int priority : priorities) {
    std::atomic<pid_t> id = 0;
    threads.emplace_back([&, priority] {
      const sched_param parameter{priority};
      if (priority > 0 && sched_setscheduler(0, SCHED_FIFO, &parameter) != 0) refused = true;
      id = gettid();
      lock.enter();
      came.push_back(priority);
      lock.leave();
    });
    awaitAsleep(id);
  }
  lock.leave();
  threads.clear();
  return refused ? std::vector<int>{} : came;
}

TEST(ThreadLock, LetsRealTimeThreadsInByTheirPriority) {
  const std::vector<int> order = orderOf({0, 2, 1, 3, 0, 2});
  if (order.empty()) GTEST_SKIP() << "SCHED_FIFO is not allowed here";
  EXPECT_EQ((std::vector{3, 2, 2, 1, 0, 0}), order);
}

}  // namespace

}  // namespace thread_lock_test
