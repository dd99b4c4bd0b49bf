// SPDX-License-Identifier: Apache-2.0
// Repair of real locks: a dead process's lock is freed, a living one's never.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/msg.h>
#include <sys/sem.h>
#include <sys/shm.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <stdexcept>
#include <utility>

#include "agent/act/plan.h"
#include "agent/act/repair.h"
#include "agent/model/collector.h"
#include "agent/model/findings/kinds.h"
#include "agent/model/leftover.h"
#include "tests/agent/live_lock.h"
#include "tests/support/image.h"
#include "tests/support/live_segment.h"
#include "tests/support/sanitized.h"

namespace stuck_lock_test {

namespace {

namespace fs = std::filesystem;

constexpr char kRecord[] = "06000000E8030000050000000F000000";  // of the orders block

std::shared_ptr<const model::Snapshot> take() {
  return model::Collector("/tmp", model::Events::leave, model::MachineFacts::read).take();
}

act::Result freeNow(const LiveLock& lock) {
  return act::freeStuck(reader::readLock(lock.keyFile()), reader::readClocks(), std::nullopt);
}

// As the doctor does: only of a lock that is held at a look.
void repairIfHeld(const LiveLock& lock) {
  const reader::Lock seen = reader::readLock(lock.keyFile());
  if (seen.semaphore.value == 0) act::freeStuck(seen, reader::readClocks(), std::nullopt);
}

// A child that takes a lock and kills itself; it is reaped.
pid_t killedWhileItHolds(const LiveLock& lock) {
  const pid_t child = fork();
  if (child == 0) {
    lock.change(-1);
    raise(SIGKILL);
  }
  waitpid(child, nullptr, 0);
  return child;
}

// A child that holds the lock until it is told to end.
class Holder {
 public:
  explicit Holder(const LiveLock& lock) : id_(fork()) {
    if (id_ == 0) {
      lock.change(-1);
      for (;;) pause();
    }
    while (lock.value() != 0) sched_yield();
  }
  ~Holder() {
    kill(id_, SIGKILL);
    waitpid(id_, nullptr, 0);
  }
  Holder(const Holder&) = delete;
  Holder& operator=(const Holder&) = delete;

 private:
  pid_t id_;
};

// Eyes through which others act once, directly after the first look of a repair.
act::Eyes actingAfterTheFirst(const std::function<void()>& act) {
  const auto once = [act, acted = std::make_shared<bool>(false)] {
    if (!std::exchange(*acted, true)) act();
  };
  act::Eyes eyes;
  eyes.process = [once](std::int32_t id) {
    reader::Process process = reader::readProcess(id);
    once();
    return process;
  };
  eyes.lock = [once](const std::string& path) {
    reader::Lock lock = reader::readLock(path);
    once();
    return lock;
  };
  return eyes;
}

// A child that took the lock; it gives it back and ends when it is told to.
class Owner {
 public:
  explicit Owner(const LiveLock& lock) {
    if (pipe(ends_) != 0) throw std::runtime_error("pipe");
    id_ = fork();
    if (id_ != 0) {
      while (lock.value() != 0) sched_yield();
      return;
    }
    lock.change(-1);
    char told = 0;
    if (read(ends_[0], &told, 1) == 1) lock.change(1);
    _exit(0);
  }
  void giveBackAndEnd() const {
    if (write(ends_[1], "x", 1) == 1) waitpid(id_, nullptr, 0);
    close(ends_[0]);
    close(ends_[1]);
  }

 private:
  int ends_[2];
  pid_t id_;
};

// What all processes of the race count.
struct Counters {
  std::atomic<int> inside{0};
  std::atomic<int> together{0};  // times that two were inside at once
  std::atomic<int> above{0};     // times that the value was not 0 while somebody was inside
  std::atomic<int> turns{0};
  std::atomic<bool> stop{false};
};

class Shared {
 public:
  Shared()
      : at_(mmap(nullptr, sizeof(Counters), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1,
                 0)),
        counters_(new (at_) Counters) {}
  ~Shared() { munmap(at_, sizeof(Counters)); }
  Shared(const Shared&) = delete;
  Shared& operator=(const Shared&) = delete;
  Counters* operator->() const { return counters_; }

 private:
  void* at_;
  Counters* counters_;
};

void takeATurn(const LiveLock& lock, const Shared& shared) {
  lock.change(-1);
  shared->together += shared->inside.fetch_add(1) != 0;
  shared->above += lock.value() != 0;
  ++shared->turns;
  --shared->inside;
  lock.change(1);
}

// Short lives, so that a dead process was often the last but one to use the lock.
[[noreturn]] void liveShortly(const LiveLock& lock, const Shared& shared) {
  while (!shared->stop) {
    const pid_t child = fork();
    if (child == 0) {
      for (int i = 0; i < 3; ++i) takeATurn(lock, shared);
      _exit(0);
    }
    waitpid(child, nullptr, 0);
  }
  _exit(0);
}

std::vector<pid_t> startHolders(const LiveLock& lock, const Shared& shared, int count) {
  std::vector<pid_t> holders;
  for (int i = 0; i < count; ++i) {
    holders.push_back(fork());
    if (holders.back() == 0) liveShortly(lock, shared);
  }
  return holders;
}

}  // namespace

TEST(StuckLock, OfADeadProcessIsFreedOnce) {
  const LiveLock lock("name");
  killedWhileItHolds(lock);
  EXPECT_EQ(0, lock.value());
  EXPECT_TRUE(freeNow(lock).done);
  EXPECT_EQ(1, lock.value());
  EXPECT_FALSE(freeNow(lock).done);
  EXPECT_EQ(1, lock.value());
}

TEST(StuckLock, WhoWaitsGoesOn) {
  const LiveLock lock("name");
  killedWhileItHolds(lock);
  const pid_t waiter = fork();
  if (waiter == 0) {
    lock.change(-1);
    lock.change(1);
    _exit(0);
  }
  while (semctl(lock.semaphore(), 0, GETNCNT) == 0) sched_yield();
  EXPECT_TRUE(freeNow(lock).done);
  int status = 1;
  waitpid(waiter, &status, 0);
  EXPECT_EQ(0, status);
  EXPECT_EQ(1, lock.value());
}

TEST(StuckLock, OfALivingProcessIsNotTouched) {
  const LiveLock lock("name");
  const Holder holder(lock);
  const act::Result result = freeNow(lock);
  EXPECT_FALSE(result.done);
  EXPECT_NE(result.what.npos, result.what.find("known to be dead")) << result.what;
  EXPECT_EQ(0, lock.value());
}

TEST(StuckLock, ThatSomebodyUsedSinceIsNotTouched) {
  const LiveLock lock("name");
  killedWhileItHolds(lock);
  const reader::Lock seen = reader::readLock(lock.keyFile());
  lock.change(1);
  const Holder holder(lock);
  EXPECT_EQ("another process has used it meanwhile",
            act::freeStuck(seen, reader::readClocks(), std::nullopt).what);
  EXPECT_EQ(0, lock.value());
}

// The order of the looks decides: a lock that was looked at before its holder ended may have been
// given back since, and belong to somebody else.
TEST(StuckLock, ThatItsHolderGivesBackBetweenTheTwoLooksIsNotTouched) {
  const LiveLock lock("name");
  const Owner owner(lock);
  const act::Eyes eyes = actingAfterTheFirst([&] {
    owner.giveBackAndEnd();
    lock.change(-1);
  });
  const act::Result result =
      act::freeStuck(reader::readLock(lock.keyFile()), reader::readClocks(), std::nullopt, eyes);
  EXPECT_FALSE(result.done);
  EXPECT_EQ(0, lock.value()) << "this process has it now";
}

// Nobody else may be at the key file meanwhile, the holder is looked at first, and nothing is
// written before both looks.
TEST(StuckLock, IsLookedAtAgainUnderItsKeyFilesLockFirstItsHolderThenItsSemaphore) {
  const LiveLock lock("name");
  killedWhileItHolds(lock);
  std::string order;
  const auto note = [&](const std::string& what) {
    const int file = open(lock.keyFile().c_str(), O_RDONLY);
    const bool guarded = flock(file, LOCK_EX | LOCK_NB) != 0;
    close(file);
    order += what + (guarded ? "" : " unguarded") + " at " + std::to_string(lock.value()) + "; ";
  };
  act::Eyes eyes;
  eyes.process = [&](std::int32_t id) {
    note("process " + std::string(id == reader::readLock(lock.keyFile()).semaphore.lastProcess
                                      ? "that holds it"
                                      : "that does not"));
    return reader::readProcess(id);
  };
  eyes.lock = [&](const std::string& path) {
    note("semaphore");
    return reader::readLock(path);
  };
  const reader::Lock seen = reader::readLock(lock.keyFile());
  EXPECT_TRUE(act::freeStuck(seen, reader::readClocks(), std::nullopt, eyes).done);
  EXPECT_EQ("process that holds it at 0; semaphore at 0; ", order);
  EXPECT_EQ(1, lock.value());
}

// What the first look said counts no longer: each thing that the second one reads can refuse.
TEST(StuckLock, IsNotTouchedWhenAnythingIsOtherwiseAtTheSecondLook) {
  const LiveLock lock("name");
  killedWhileItHolds(lock);
  const reader::Lock seen = reader::readLock(lock.keyFile());
  const auto refusal = [&](const std::function<void(reader::Semaphore&)>& change,
                           bool dead = true) {
    act::Eyes eyes;
    eyes.lock = [&](const std::string& path) {
      reader::Lock now = reader::readLock(path);
      change(now.semaphore);
      return now;
    };
    if (!dead) eyes.process = [](std::int32_t) { return reader::readProcess(getpid()); };
    const act::Result result = act::freeStuck(seen, reader::readClocks(), std::nullopt, eyes);
    EXPECT_FALSE(result.done) << result.what;
    EXPECT_EQ(0, lock.value());
    return result.what;
  };
  const std::string used = "another process has used it meanwhile";
  EXPECT_EQ("its semaphore is another one now", refusal([](auto& now) { ++now.id; }));
  EXPECT_EQ("it is free by now", refusal([](auto& now) { now.value = 1; }));
  EXPECT_EQ(used, refusal([](auto& now) { ++now.lastProcess; }));
  EXPECT_EQ(used, refusal([](auto& now) { ++now.lastOperation; }));
  EXPECT_EQ(used, refusal([](auto& now) { ++now.changed; }));
  EXPECT_NE(std::string::npos, refusal([](auto&) {}, false).find("known to be dead"));
}

TEST(StuckLock, WhoseKeyFileIsAnotherOneIsNotTouched) {
  const LiveLock lock("name");
  killedWhileItHolds(lock);
  const reader::Lock seen = reader::readLock(lock.keyFile());
  std::ofstream{"/tmp/other"};
  fs::rename("/tmp/other", lock.keyFile());
  EXPECT_EQ("its key file is another one now",
            act::freeStuck(seen, reader::readClocks(), std::nullopt).what);
  fs::remove(lock.keyFile());
  EXPECT_FALSE(act::freeStuck(seen, reader::readClocks(), std::nullopt).done);
  EXPECT_EQ(0, lock.value());
}

TEST(StuckLock, WhoseKeyFileAnotherRepairHasLockedIsNotTouched) {
  const LiveLock lock("name");
  killedWhileItHolds(lock);
  const int file = open(lock.keyFile().c_str(), O_RDONLY | O_CLOEXEC);
  ASSERT_EQ(0, flock(file, LOCK_EX));
  EXPECT_EQ("another process holds the lock of its key file", freeNow(lock).what);
  close(file);
  EXPECT_TRUE(freeNow(lock).done);
}

TEST(StuckLock, RepairGivesTheLockOnTheKeyFileBack) {
  const LiveLock lock("name");
  killedWhileItHolds(lock);
  freeNow(lock);
  const int file = open(lock.keyFile().c_str(), O_RDONLY | O_CLOEXEC);
  EXPECT_EQ(0, flock(file, LOCK_EX | LOCK_NB));
  close(file);
}

// Holders live shortly, and now and then one dies while it holds the lock. Two processes repair
// whatever they see. The value is 0 whenever somebody is inside, and nobody ever is with another.
TEST(StuckLock, AThousandRepairsNeverFreeALivingHoldersLock) {
  const LiveLock lock("name");
  const Shared shared;
  std::vector<pid_t> children = startHolders(lock, shared, 2);
  children.push_back(fork());
  if (children.back() == 0) {
    while (!shared->stop) repairIfHeld(lock);
    _exit(0);
  }
  constexpr int kRounds = kSanitized ? 150 : 1000;
  for (int round = 0; round < kRounds; ++round) {
    killedWhileItHolds(lock);
    const int before = shared->turns;
    for (;;) {  // until somebody took a turn, which takes a repair
      repairIfHeld(lock);
      if (shared->turns != before) break;
    }
  }
  shared->stop = true;
  for (const pid_t child : children) waitpid(child, nullptr, 0);
  EXPECT_EQ(0, shared->together);
  EXPECT_EQ(0, shared->above);
  EXPECT_LE(kRounds, shared->turns);
  EXPECT_EQ(1, lock.value());
}

TEST(Leftover, OfDeadProcessesIsRemovedWithItsKeyFile) {
  const LiveLock lock("zeb_attach_999999999");
  killedWhileItHolds(lock);
  const auto before = take();
  const auto now = take();
  const reader::Lock seen = reader::readLock(lock.keyFile());
  const act::Result result = act::removeLeftover(*before, *now, seen);
  EXPECT_TRUE(result.done) << result.what;
  EXPECT_FALSE(fs::exists(lock.keyFile()));
  EXPECT_EQ(-1, lock.value());
  EXPECT_EQ(-1, msgctl(lock.queue(), IPC_STAT, nullptr));
}

TEST(Leftover, WhoseLastUserLivesStays) {
  const LiveLock lock("zeb_attach_999999999");
  lock.refer();
  const auto before = take();
  const act::Result result =
      act::removeLeftover(*before, *take(), reader::readLock(lock.keyFile()));
  EXPECT_FALSE(result.done);
  EXPECT_EQ("process " + std::to_string(getpid()) + ", which took it last, lives", result.what);
  EXPECT_TRUE(fs::exists(lock.keyFile()));
  EXPECT_EQ(1, lock.value());
}

TEST(Leftover, ThatSomebodyJoinsBetweenTheTwoLooksStays) {
  const LiveLock lock("zeb_attach_999999999");
  const Owner owner(lock);
  const auto before = take();
  const auto now = take();
  const act::Eyes eyes = actingAfterTheFirst([&] {
    owner.giveBackAndEnd();
    lock.refer();
  });
  const act::Result result =
      act::removeLeftover(*before, *now, reader::readLock(lock.keyFile()), eyes);
  EXPECT_FALSE(result.done);
  EXPECT_EQ(1, lock.value());
  EXPECT_TRUE(fs::exists(lock.keyFile()));
}

TEST(Leftover, OfABrokerThatSomebodyUsesStays) {
  const LiveSegment segment("1-2-3", image::segment({image::ordersBlock()}));
  const LiveLock lock(kRecord);
  killedWhileItHolds(lock);
  const auto before = take();
  ASSERT_EQ(0U, before->brokers[0]->segment.attached);
  void* const at = shmat(segment.id(), nullptr, SHM_RDONLY);
  const auto now = take();
  const model::findings::Looks looks(before.get(), *now);
  EXPECT_EQ("1 process uses the segment of broker BRK1",
            model::whyInUse(reader::readLock(lock.keyFile()), looks));
  EXPECT_FALSE(act::removeLeftover(*before, *before, reader::readLock(lock.keyFile())).done);
  shmdt(at);
  EXPECT_TRUE(fs::exists(lock.keyFile()));
}

TEST(Leftover, ThatChangedBetweenTheLooksStays) {
  const LiveLock lock("zeb_attach_999999999");
  killedWhileItHolds(lock);
  const auto before = take();
  EXPECT_EQ(
      "it was not there at a look before",
      model::whyInUse(before->machine->locks.locks[0], model::findings::Looks(nullptr, *before)));
  lock.change(1);
  killedWhileItHolds(lock);
  const auto now = take();
  EXPECT_EQ(
      "it changed between two looks",
      model::whyInUse(now->machine->locks.locks[0], model::findings::Looks(before.get(), *now)));
}

TEST(ResetBehindARepair, IsOfWhatMayBeHalfWrittenAndOfNothingElse) {
  model::SeenBroker broker;
  broker.tree.emplace().label = "SHOP BROKER";
  broker.tree->uuid = "1-2-3";
  model::Guarded node;
  node.what = model::Guarded::What::statistics;
  EXPECT_EQ("", act::resetOf(node)) << "of no known broker";
  node.broker = std::make_shared<model::SeenBroker>(broker);
  node.group = "orders";
  node.flow = "Fulfil";
  node.node = "Re serve";
  model::Guarded area = node;
  area.what = model::Guarded::What::statisticsArea;
  EXPECT_EQ("zebmon reset --broker 1-2-3 --group orders --flow Fulfil --node 'Re serve' --yes",
            act::resetOf(node));
  EXPECT_EQ("zebmon reset --broker 1-2-3 --yes", act::resetOf(area));
  area.what = model::Guarded::What::eventsArea;
  EXPECT_EQ("", act::resetOf(area));
  node.node = "Re*";
  EXPECT_EQ("zebmon reset --broker 1-2-3 --group orders --flow Fulfil --node 'Re*'",
            act::resetOf(node))
      << "that means others too";
}

TEST(ResetBehindARepair, OfABrokerWithoutAUuidGoesByItsLabel) {
  model::SeenBroker broker;
  broker.tree.emplace().label = "SHOP BROKER";
  model::Guarded area;
  area.what = model::Guarded::What::statisticsArea;
  area.broker = std::make_shared<model::SeenBroker>(broker);
  EXPECT_EQ("zebmon reset --broker 'SHOP BROKER' --yes", act::resetOf(area));
  broker.tree->label.clear();
  area.broker = std::make_shared<model::SeenBroker>(broker);
  EXPECT_EQ("", act::resetOf(area)) << "no option means this broker alone";
}

}  // namespace stuck_lock_test
