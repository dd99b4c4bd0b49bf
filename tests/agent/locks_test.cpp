// SPDX-License-Identifier: Apache-2.0
// Key files of locks, the objects behind them, and what they guard.
#include "agent/reader/locks.h"

#include <gtest/gtest.h>
#include <sys/ipc.h>
#include <sys/msg.h>
#include <sys/sem.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "agent/model/collector.h"
#include "agent/model/guarded.h"
#include "agent/model/machine_facts.h"
#include "tests/agent/live_lock.h"
#include "tests/support/image.h"
#include "tests/support/ipc_objects.h"
#include "tests/support/live_segment.h"

namespace locks_test {

namespace {

namespace fs = std::filesystem;
using model::Guarded;
using reader::Presence;
using What = Guarded::What;

class Folder {
 public:
  Folder() { fs::create_directory("/tmp/locks"); }
  ~Folder() { fs::remove_all("/tmp/locks"); }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;
};

std::size_t objects() {
  return support::semaphoreSets().size() + support::messageQueues().size();
}

std::shared_ptr<const model::Snapshot> take() {
  return model::Collector("/tmp", model::Events::leave, model::MachineFacts::read).take();
}

}  // namespace

TEST(Locks, AreTheirKeyFilesInTheOrderOfTheirNames) {
  const Folder folder;
  for (const char* const name : {"b.zebmutx", "a.zebmutx", ".zebmutx", "a.zebmutx.old", "zebmutx"})
    std::ofstream(std::string("/tmp/locks/") + name);
  const reader::LockList found = reader::readLocks("/tmp/locks/");
  EXPECT_EQ(0, found.error);
  EXPECT_FALSE(found.cut);
  ASSERT_EQ(3U, found.locks.size());
  EXPECT_EQ("", found.locks[0].name);
  EXPECT_EQ("a", found.locks[1].name);
  EXPECT_EQ("/tmp/locks/a.zebmutx", found.locks[1].file.path);
  EXPECT_EQ("b", found.locks[2].name);
}

TEST(Locks, ADirectoryThatCannotBeReadIsSaid) {
  const reader::LockList found = reader::readLocks("/tmp/absent/");
  EXPECT_EQ(ENOENT, found.error);
  EXPECT_TRUE(found.locks.empty());
}

TEST(Locks, AFreeOneHasItsObjectsAndNumbers) {
  const LiveLock live("name");
  live.refer();
  live.refer();
  const reader::Lock lock = reader::readLock(live.keyFile());
  EXPECT_EQ("name", lock.name);
  EXPECT_EQ(Presence::there, lock.semaphore.presence);
  EXPECT_EQ(live.semaphore(), lock.semaphore.id);
  EXPECT_EQ(lock.file.key(), lock.semaphore.key);
  EXPECT_EQ(1U, lock.semaphore.semaphores);
  EXPECT_EQ(1, lock.semaphore.value);
  EXPECT_EQ(getpid(), lock.semaphore.lastProcess);
  EXPECT_EQ(0U, lock.semaphore.waiting);
  EXPECT_EQ(0, lock.semaphore.lastOperation);
  EXPECT_EQ(0640U, lock.semaphore.mode);
  EXPECT_EQ(geteuid(), lock.semaphore.owner);
  EXPECT_EQ(getegid(), lock.semaphore.group);
  EXPECT_EQ(Presence::there, lock.queue.presence);
  EXPECT_EQ(live.queue(), lock.queue.id);
  EXPECT_EQ(lock.file.key(), lock.queue.key);
  EXPECT_EQ(2U, lock.queue.references);
  EXPECT_EQ(2U, lock.queue.bytes);
  EXPECT_LE(2U, lock.queue.mostBytes);
  EXPECT_EQ(getpid(), lock.queue.lastSender);
  EXPECT_EQ(0, lock.queue.lastReceiver);
  EXPECT_LT(0, lock.queue.lastSent);
  EXPECT_EQ(0, lock.queue.lastReceived);
}

TEST(Locks, AHeldOneNamesItsHolderAndHowManyWait) {
  const LiveLock live("name");
  const pid_t holder = live.takenByADeadProcess();
  reader::Lock lock = reader::readLock(live.keyFile());
  EXPECT_EQ(0, lock.semaphore.value);
  EXPECT_EQ(holder, lock.semaphore.lastProcess);
  EXPECT_LT(0, lock.semaphore.lastOperation);
  EXPECT_LE(lock.semaphore.changed, lock.semaphore.lastOperation);
  const Waiting waiting(live);
  EXPECT_EQ(1U, reader::readLock(live.keyFile()).semaphore.waiting);
}

TEST(Locks, ObjectsThatDoNotExistAreFactsAndAreNotMade) {
  const std::size_t before = objects();
  std::ofstream("/tmp/name.zebmutx");
  const reader::Lock lock = reader::readLock("/tmp/name.zebmutx");
  EXPECT_EQ(Presence::absent, lock.semaphore.presence);
  EXPECT_EQ(ENOENT, lock.semaphore.error);
  EXPECT_EQ(Presence::absent, lock.queue.presence);
  EXPECT_EQ(0, lock.file.error);
  EXPECT_EQ(before, objects());
  fs::remove("/tmp/name.zebmutx");
}

TEST(Locks, OneHalfMayBeMissing) {
  const LiveLock live("name");
  msgctl(live.queue(), IPC_RMID, nullptr);
  const reader::Lock lock = reader::readLock(live.keyFile());
  EXPECT_EQ(Presence::there, lock.semaphore.presence);
  EXPECT_EQ(Presence::absent, lock.queue.presence);
}

TEST(Locks, ThoseOfOthersAreRefusedAndNotMissing) {
  const LiveLock live("name", 0);
  const pid_t child = fork();
  if (child == 0) {
    if (!giveUpRightsOverObjects()) _exit(2);
    const reader::Lock lock = reader::readLock(live.keyFile());
    const bool refused = lock.semaphore.presence == Presence::refused &&
                         lock.semaphore.id == live.semaphore() &&
                         lock.queue.presence == Presence::refused &&
                         lock.queue.id == live.queue() && lock.semaphore.key == 0;
    _exit(refused ? 0 : 1);
  }
  int status = 0;
  waitpid(child, &status, 0);
  EXPECT_EQ(0, status);
}

TEST(Locks, TheKeyFilesFactsMakeTheKey) {
  std::ofstream("/tmp/name.zebmutx") << "xyz";
  fs::permissions("/tmp/name.zebmutx", fs::perms(0640));
  fs::create_symlink("name.zebmutx", "/tmp/link.zebmutx");
  struct stat facts;
  ASSERT_EQ(0, stat("/tmp/name.zebmutx", &facts));
  const reader::KeyFile file = reader::readKeyFile("/tmp/name.zebmutx");
  EXPECT_EQ(static_cast<std::uint32_t>(ftok("/tmp/name.zebmutx", 1)), file.key());
  EXPECT_EQ(facts.st_ino, file.inode);
  EXPECT_EQ(facts.st_dev, file.device);
  EXPECT_EQ(facts.st_uid, file.owner);
  EXPECT_EQ(facts.st_gid, file.group);
  EXPECT_EQ(0640U, file.mode);
  EXPECT_EQ(3U, file.size);
  EXPECT_EQ(facts.st_mtime, file.modified);
  EXPECT_TRUE(file.regular);
  EXPECT_FALSE(file.link);
  const reader::KeyFile link = reader::readKeyFile("/tmp/link.zebmutx");
  EXPECT_TRUE(link.link);
  EXPECT_EQ(file.key(), link.key());
  fs::remove("/tmp/name.zebmutx");
  const reader::Lock dangling = reader::readLock("/tmp/link.zebmutx");
  EXPECT_TRUE(dangling.file.link);
  EXPECT_EQ(ENOENT, dangling.file.error);
  EXPECT_EQ(Presence::absent, dangling.semaphore.presence);
  fs::remove("/tmp/link.zebmutx");
}

TEST(Locks, TheKeyHasTheLowBitsOfInodeAndDevice) {
  reader::KeyFile file;
  EXPECT_EQ(0x01000000U, file.key());
  file.inode = 0xFFFFFFFF12345678;
  file.device = 0xFFFFFFFFFFFFFFAB;
  EXPECT_EQ(0x01AB5678U, file.key());
}

TEST(LockGuards, TheStatisticsOfTheNodeWhoseRecordItIs) {
  const LiveSegment segment("1-2-3", image::segment({image::ordersBlock()}));
  const auto snapshot = take();
  const auto& node = snapshot->brokers[0]->tree->executionGroups[0].messageFlows[0].nodes[0];
  const Guarded guarded = model::Guards(*snapshot).of(node.statistics->recordId.hex());
  EXPECT_EQ(What::statistics, guarded.what);
  EXPECT_EQ(snapshot->brokers[0], guarded.broker);
  EXPECT_EQ("orders", guarded.group);
  EXPECT_EQ("Fulfil", guarded.flow);
  EXPECT_EQ("Reserve", guarded.node);
  const Guarded other = model::Guards(*snapshot).of(node.recordId.hex());
  EXPECT_EQ(What::statistics, other.what);
  EXPECT_EQ(nullptr, other.broker);
  EXPECT_EQ("", other.node);
}

TEST(LockGuards, SegmentsAndAreasOfTheBrokerWithThatKeyFile) {
  const LiveSegment segment("1-2-3", image::segment({image::ordersBlock()}));
  const LiveSegment unnamed("", image::segment({image::ordersBlock()}));
  const auto snapshot = take();
  const model::Guards guards(*snapshot);
  const std::pair<const char*, What> blocks[] = {{".zebcshme", What::segment},
                                                 {".zebcstar", What::statisticsArea},
                                                 {".zebcetar", What::templatesArea},
                                                 {".zebcedar", What::eventsArea}};
  for (const auto& [suffix, what] : blocks) {
    EXPECT_EQ(what, guards.of(std::string("1-2-3") + suffix).what);
    EXPECT_EQ(snapshot->brokers[1], guards.of(std::string("1-2-3") + suffix).broker);
    EXPECT_EQ(snapshot->brokers[0], guards.of(suffix).broker);
    EXPECT_EQ(what, guards.of(std::string("4-5-6") + suffix).what);
    EXPECT_EQ(nullptr, guards.of(std::string("4-5-6") + suffix).broker);
  }
}

TEST(LockGuards, TheAttachTableOfAProcess) {
  const LiveSegment segment("1-2-3", image::segment({image::ordersBlock()}));
  const auto snapshot = take();
  const model::Guards guards(*snapshot);
  EXPECT_EQ(What::attachTable, guards.of("zeb_attach_1234").what);
  EXPECT_EQ(1234, guards.of("zeb_attach_1234").process);
  EXPECT_EQ(snapshot->brokers[0], guards.of("zeb_attach_1234").broker);
  EXPECT_EQ("orders", guards.of("zeb_attach_1234").group);
  EXPECT_EQ(What::attachTable, guards.of("zeb_attach_5").what);
  EXPECT_EQ(5, guards.of("zeb_attach_5").process);
  EXPECT_EQ(nullptr, guards.of("zeb_attach_5").broker);
}

TEST(LockGuards, NamesThatTheLibraryDoesNotGiveAreUnknown) {
  const model::Guards guards{model::Snapshot()};
  for (const char* const name :
       {"", "x", "zeb_attach_", "zeb_attach_0", "zeb_attach_-1", "zeb_attach_1x",
        "zeb_attach_99999999999", "0123456789ABCDEF0123456789ABCDE", "a.zebcshme.x",
        "0123456789abcdef0123456789abcdef", "0123456789ABCDEF0123456789ABCDEF0"}) {
    EXPECT_EQ(What::unknown, guards.of(name).what) << name;
  }
  EXPECT_EQ(What::statistics, guards.of("0123456789ABCDEF0123456789ABCDEF").what);
}

TEST(MachineFacts, AreTakenOnlyWhenTheyAreAskedFor) {
  EXPECT_EQ(nullptr, model::Collector("/tmp").take()->machine);
  EXPECT_NE(nullptr, take()->machine);
  const auto noDirectory =
      model::Collector("/tmp/absent", model::Events::leave, model::MachineFacts::read).take();
  ASSERT_NE(nullptr, noDirectory->machine);
  EXPECT_EQ(ENOENT, noDirectory->machine->locks.error);
  EXPECT_TRUE(noDirectory->machine->limits.segments);
}

TEST(MachineFacts, HoldEachProcessThatALockOrAGroupNames) {
  const LiveSegment segment("1-2-3", image::segment({image::ordersBlock()}));
  const LiveLock live("name");
  live.refer();
  const pid_t holder = live.takenByADeadProcess();
  const auto snapshot = take();
  const model::Machine& machine = *snapshot->machine;
  ASSERT_EQ(1U, machine.locks.locks.size());
  EXPECT_EQ("name", machine.locks.locks[0].name);
  EXPECT_LT(0, machine.clocks.ticksPerSecond);
  ASSERT_NE(nullptr, machine.find(holder));
  EXPECT_EQ(false, machine.find(holder)->exists);
  ASSERT_NE(nullptr, machine.find(getpid()));
  EXPECT_EQ(true, machine.find(getpid())->exists);
  EXPECT_NE(nullptr, machine.find(1234)) << "of the group";
  EXPECT_EQ(nullptr, machine.find(0));
  EXPECT_EQ(3U, machine.processes.size());
}

// Its holder gave it back and ended, after the lock was read and before the process was.
TEST(MachineFacts, ALockThatWasGivenBackMeanwhileIsFree) {
  const LiveLock given("given");
  const LiveLock kept("kept");
  const pid_t holder = given.takenByADeadProcess();
  kept.takenByADeadProcess();
  model::Machine machine;
  machine.locks = reader::readLocks("/tmp/");
  for (const reader::Lock& lock : machine.locks.locks) {
    const std::int32_t id = lock.semaphore.lastProcess;
    machine.processes[id] = reader::readProcess(id);
  }
  given.change(1);
  ASSERT_EQ(holder, machine.locks.find("given")->semaphore.lastProcess);
  model::lookAgainAtKept(machine);
  EXPECT_EQ(1, machine.locks.find("given")->semaphore.value);
  EXPECT_NE(nullptr, machine.find(getpid())) << "who used it since";
  EXPECT_EQ(0, machine.locks.find("kept")->semaphore.value);
}

TEST(MachineFacts, HostileTreesMakeItLookAtBoundedlyManyProcesses) {
  image::Block block = image::ordersBlock();
  block.size = 1 << 20;
  for (std::uint32_t n = 1; n <= 5000; ++n) {
    block.add(image::group({3, 2000, 1, n}, image::kBroker, u"g", 3'000'000'0 + n));
  }
  const LiveSegment segment("1-2-3", image::segment({block}));
  EXPECT_EQ(model::Machine::kMostProcesses, take()->machine->processes.size());
}

}  // namespace locks_test
