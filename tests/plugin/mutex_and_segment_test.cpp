// SPDX-License-Identifier: Apache-2.0
// Key files, locks and the segment, as the system shows them.
#include <gtest/gtest.h>
#include <sys/ipc.h>
#include <sys/msg.h>
#include <sys/sem.h>
#include <sys/shm.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <thread>

#include "tests/support/ipc_objects.h"
#include "tests/support/leftovers.h"
#include "tests/support/plugin.h"

namespace mutex_and_segment_test {

using namespace support;

namespace fs = std::filesystem;

namespace {

using Names = std::vector<std::string>;

const std::string kSegment = "/tmp/UUID1.zebcshme";
const std::string kSegmentLock = "/tmp/UUID1.zebcshme.zebmutx";
const std::string kStatisticsLock = "/tmp/UUID1.zebcstar.zebmutx";

std::string attachLock() {
  return "/tmp/zeb_attach_" + std::to_string(getpid()) + ".zebmutx";
}

std::string recordLock(const StoredRecord& record) {
  std::string digits = "/tmp/";
  for (const unsigned char byte : record.id()) {
    char pair[3];
    std::snprintf(pair, sizeof pair, "%02X", byte);
    digits += pair;
  }
  return digits + ".zebmutx";
}

unsigned modeOf(const std::string& path) {
  struct stat status {};
  EXPECT_EQ(0, stat(path.c_str(), &status)) << path;
  return status.st_mode & 07777;
}

class Locks : public PluginTest {};
class Segments : public PluginTest {};
class LocksBeforeStart : public PluginBeforeStart {};

TEST_F(Locks, EachHasAKeyFileAQueueAndASemaphoreOfOne) {
  umask(0);
  const auto node = deploy({.eventMessage = u"text"});
  node->send();
  const Names paths = {attachLock(),
                       kSegmentLock,
                       kStatisticsLock,
                       "/tmp/UUID1.zebcetar.zebmutx",
                       "/tmp/UUID1.zebcedar.zebmutx",
                       recordLock(statisticsOf(u"NODE1"))};
  for (const std::string& path : paths) {
    EXPECT_EQ(0660U, modeOf(path)) << path;
    EXPECT_EQ(0U, fs::file_size(path)) << path;
    const auto queue = queueOf(path);
    const auto semaphore = semaphoreOf(path);
    ASSERT_TRUE(queue && semaphore) << path;
    EXPECT_EQ(1U, queue->messages) << path;
    EXPECT_EQ(0660U, queue->mode) << path;
    EXPECT_EQ(1U, semaphore->semaphores) << path;
    EXPECT_EQ(1, semaphore->value) << path;
    EXPECT_EQ(0660U, semaphore->mode) << path;
  }
  EXPECT_EQ(0660U, modeOf(kSegment));
  EXPECT_EQ(0660U, segmentOf(kSegment)->mode);
  EXPECT_EQ(paths.size() + 1, keyFiles().size());
  EXPECT_EQ(paths.size() + 1, messageQueues().size()) << "and the one that was there before";
  EXPECT_EQ(paths.size() + 1, semaphoreSets().size());
}

TEST_F(Locks, KeyFilesFollowTheUmaskButTheObjectsDoNot) {
  umask(077);
  const auto node = deploy({});
  EXPECT_EQ(0600U, modeOf(kStatisticsLock));
  EXPECT_EQ(0600U, modeOf(kSegment));
  EXPECT_EQ(0660U, semaphoreOf(kStatisticsLock)->mode);
  EXPECT_EQ(0660U, segmentOf(kSegment)->mode);
}

TEST_F(Locks, ANewContextTakesThreeAndARecordOneWithItsFirstMessage) {
  const NodeContext context;
  EXPECT_EQ((Names{"UUID1.zebcshme", "UUID1.zebcshme.zebmutx", "UUID1.zebcstar.zebmutx",
                   fs::path(attachLock()).filename()}),
            keyFiles());
  const auto node = deploy({});
  EXPECT_EQ(4U, keyFiles().size());
  node->send();
  EXPECT_EQ(5U, keyFiles().size());
  EXPECT_TRUE(fs::exists(recordLock(statisticsOf(u"NODE1"))));
}

TEST_F(Locks, EveryObjectOfANameHasAMessageInItsQueue) {
  auto first = deploy({});
  const auto second = deploy({.label = u"NODE2"});
  EXPECT_EQ(2U, queueOf(kStatisticsLock)->messages);
  EXPECT_EQ(2U, queueOf(kSegmentLock)->messages);
  EXPECT_EQ(2U, queueOf(attachLock())->messages);
  first->end();
  EXPECT_EQ(1U, queueOf(kStatisticsLock)->messages);
  EXPECT_TRUE(semaphoreOf(kStatisticsLock));
}

// A lock is a one-byte message of type 1 for each user.
TEST_F(Locks, AMessageIsOfTypeOneAndOneZeroByte) {
  const auto node = deploy({});
  struct {
    long type;
    char body[8];
  } message{};
  const int queue = queueOf(kStatisticsLock)->id;
  ASSERT_EQ(1, msgrcv(queue, &message, sizeof message.body, 0, IPC_NOWAIT));
  EXPECT_EQ(1, message.type);
  EXPECT_EQ(0, message.body[0]);
  ASSERT_EQ(0, msgsnd(queue, &message, 1, IPC_NOWAIT));
}

TEST_F(Locks, AForeignUserKeepsTheLockButNotTheSegment) {
  leavesThingsBehind();
  auto node = deploy({});
  const struct {
    long type;
    char body;
  } message{1, 0};
  ASSERT_EQ(0, msgsnd(queueOf(kStatisticsLock)->id, &message, 1, IPC_NOWAIT));
  node->end();
  EXPECT_EQ((Names{"UUID1.zebcstar.zebmutx"}), keyFiles());
  EXPECT_EQ(1U, queueOf(kStatisticsLock)->messages);
  EXPECT_EQ(1, semaphoreOf(kStatisticsLock)->value);
  EXPECT_FALSE(segmentOf(kSegment));
  EXPECT_TRUE(host().messages().empty());
}

TEST_F(Locks, AMissingMessageIsLoggedAndNothingRemoved) {
  leavesThingsBehind();
  auto node = deploy({});
  char message[32];
  ASSERT_EQ(1, msgrcv(queueOf(kStatisticsLock)->id, message, 8, 1, IPC_NOWAIT));
  node->end();
  EXPECT_EQ((Names{"UUID1.zebcstar.zebmutx"}), keyFiles());
  EXPECT_TRUE(semaphoreOf(kStatisticsLock));
  ASSERT_EQ(1U, host().messages().size());
  EXPECT_EQ((Names{"msgrcv", "ZEB_Name_Mutex::cleanup",
                   "Error " + std::to_string(ENOMSG) + ". " + std::strerror(ENOMSG)}),
            host().messages()[0].inserts);
  EXPECT_EQ("zebcmutx", host().messages()[0].unit);
}

TEST_F(Locks, ALockWhoseKeyFileWasDeletedIsStillRemoved) {
  auto node = deploy({});
  ASSERT_TRUE(fs::remove(kStatisticsLock));
  node->end();
  EXPECT_EQ(1U, semaphoreSets().size());
  EXPECT_EQ(1U, messageQueues().size());
  EXPECT_TRUE(host().messages().empty()) << "a failed removal of the key file is only traced";
}

// Takes a lock as another process would, and lets a thread run into it.
class HeldLock {
 public:
  explicit HeldLock(const std::string& keyFile) : id_(semaphoreOf(keyFile)->id) { change(-1); }
  void awaitWaiter() const {
    while (semctl(id_, 0, GETNCNT) == 0) std::this_thread::yield();
  }
  void release() const { change(1); }

 private:
  void change(short by) const {
    sembuf operation{0, by, 0};
    ASSERT_EQ(0, semop(id_, &operation, 1));
  }
  int id_;
};

TEST_F(Locks, AMessageWaitsForTheLockOfItsRecord) {
  const auto node = deploy({});
  node->send();
  const HeldLock held(recordLock(statisticsOf(u"NODE1")));
  std::thread thread([&] { node->send(); });
  held.awaitWaiter();
  EXPECT_EQ(1, statisticsOf(u"NODE1").count());
  EXPECT_EQ(2U, host().countOf("hnxPropagate")) << "the message itself has gone on";
  held.release();
  thread.join();
  EXPECT_EQ(2, statisticsOf(u"NODE1").count());
}

TEST_F(Locks, AMessageOfAnotherNodeDoesNotWait) {
  const auto node = deploy({});
  const auto other = deploy({.label = u"NODE2"});
  node->send();
  const HeldLock held(recordLock(statisticsOf(u"NODE1")));
  const HeldLock area(kStatisticsLock);
  other->send();
  EXPECT_EQ(1, statisticsOf(u"NODE2").count());
  area.release();
  held.release();
}

TEST_F(Locks, ADeploymentWaitsForTheStatisticsArea) {
  const auto keeper = deploy({.label = u"KEEPER"});
  const HeldLock held(kStatisticsLock);
  std::unique_ptr<NodeContext> node;
  std::thread thread([&] { node = deploy({}); });
  held.awaitWaiter();
  EXPECT_EQ(1U, ofType(statisticsRecords(), kNode).size());
  held.release();
  thread.join();
  EXPECT_EQ(2U, ofType(statisticsRecords(), kNode).size());
}

TEST_F(Locks, ANewContextWaitsForTheSegment) {
  const auto keeper = deploy({.label = u"KEEPER"});
  const HeldLock held(kSegmentLock);
  std::thread thread([] { const NodeContext context; });
  held.awaitWaiter();
  held.release();
  thread.join();
  EXPECT_EQ(1, semaphoreOf(kSegmentLock)->value);
}

TEST_F(Locks, AnEventWaitsForItsArea) {
  const auto node = deploy({.eventMessage = u"text"});
  const HeldLock held("/tmp/UUID1.zebcedar.zebmutx");
  std::thread thread([&] { node->send(); });
  held.awaitWaiter();
  EXPECT_TRUE(events().empty());
  held.release();
  thread.join();
  EXPECT_EQ(1U, events().size());
}

// A lock that was taken away under its waiter is reported, and the work goes on without it.
TEST_F(Locks, ARemovedSemaphoreIsLoggedAndTheMessageCounted) {
  leavesThingsBehind();
  const auto node = deploy({});
  node->send();
  ASSERT_EQ(0, semctl(semaphoreOf(recordLock(statisticsOf(u"NODE1")))->id, 0, IPC_RMID));
  node->send();
  EXPECT_EQ(2, statisticsOf(u"NODE1").count());
  ASSERT_EQ(2U, host().messages().size());
  EXPECT_EQ("semop", host().messages()[0].inserts.at(0));
  EXPECT_EQ("ZEB_Name_Mutex::get", host().messages()[0].inserts.at(1));
  EXPECT_EQ("ZEB_Name_Mutex::release", host().messages()[1].inserts.at(1));
}

TEST_F(LocksBeforeStart, WithoutATemporaryDirectoryOpenFailsTwiceAndMessagesFlow) {
  startLibrary("ZEBTempDirectory /tmp/missing\n");
  const auto node = deploy({.eventMessage = u"text"});
  const auto logged = host().messages();
  ASSERT_EQ(2U, logged.size());
  for (const LogEntry& entry : logged) {
    EXPECT_EQ(2, entry.number);
    EXPECT_EQ("zebcmutx", entry.unit);
    EXPECT_EQ("ZEB_Name_Mutex::ZEB_Name_Mutex", entry.function);
    EXPECT_EQ(
        "Function open failed in ZEB_Name_Mutex::ZEB_Name_Mutex. Error 2. No such file or "
        "directory.",
        entry.text);
    EXPECT_EQ(
        (Names{"open", "ZEB_Name_Mutex::ZEB_Name_Mutex", "Error 2. No such file or directory"}),
        entry.inserts);
  }
  host().forget();
  node->send();
  EXPECT_EQ((Names{"hnxPropagate"}), host().callNames());
}

TEST_F(LocksBeforeStart, AFileInPlaceOfTheTemporaryDirectoryIsReportedWithItsError) {
  writeFile("/var/keys", "");
  startLibrary("ZEBTempDirectory /var/keys\n");
  const NodeContext context;
  ASSERT_EQ(2U, host().messages().size());
  EXPECT_EQ("Error 20. Not a directory", host().messages()[0].inserts.at(2));
}

// The host's log may change errno; what is reported is the error of the call that failed.
TEST_F(LocksBeforeStart, AnErrorSurvivesTheHostsLog) {
  startLibrary("ZEBTempDirectory /tmp/missing\nZEBNodeTrace On\n");
  host().script.log = [](const LogEntry&) { errno = EDOM; };
  const NodeContext context;
  ASSERT_EQ(2U, host().messages().size());
  EXPECT_EQ("Error 2. No such file or directory", host().messages()[0].inserts.at(2));
}

TEST_F(Locks, WithoutTheAttachLockTheNodeIsMeasuredAllTheSame) {
  leavesThingsBehind();
  fs::create_symlink("/tmp/nowhere/file", attachLock());
  const auto node = deploy({});
  node->send();
  EXPECT_EQ(1, statisticsOf(u"NODE1").count());
  ASSERT_EQ(1U, host().messages().size());
  EXPECT_EQ("open", host().messages()[0].inserts.at(0));
}

TEST_F(Locks, WithoutARecordLockItIsUsedUnlockedAndTheTraceSaysSo) {
  leavesThingsBehind();
  const auto node = deploy({});
  fs::create_symlink("/tmp/nowhere/file", recordLock(statisticsOf(u"NODE1")));
  node->send();
  EXPECT_EQ(1, statisticsOf(u"NODE1").count());
  ASSERT_EQ(1U, host().messages().size());
  EXPECT_EQ("open", host().messages()[0].inserts.at(0));
  bool said = false;
  for (const LogEntry& entry : host().trace()) {
    said = said || entry.text == "Error 9 building Mutex";
    EXPECT_EQ("Error 9 building Mutex", entry.text) << "written though tracing is off";
  }
  EXPECT_TRUE(said);
}

// Sets a limit of this IPC namespace; false where the system doesn't let us.
bool limit(const char* name, const char* value) {
  std::ofstream file(std::string("/proc/sys/kernel/") + name);
  return static_cast<bool>(file << value << std::flush);
}

TEST_F(Locks, NoMoreQueuesIsReportedAndMessagesFlow) {
  if (!limit("msgmni", "1")) GTEST_SKIP() << "the limit of message queues can't be set here";
  leavesThingsBehind();
  const auto node = deploy({});
  host().forget();
  node->send();
  EXPECT_EQ((Names{"hnxPropagate"}), host().callNames());
  const NodeContext second;
  ASSERT_EQ(2U, host().messages().size());
  EXPECT_EQ(
      (Names{"msgget", "ZEB_Name_Mutex::ZEB_Name_Mutex", "Error 28. No space left on device"}),
      host().messages()[0].inserts);
}

TEST_F(Locks, NoMoreSemaphoresIsReportedAndMessagesFlow) {
  if (!limit("sem", "32000 1024000000 500 1")) {
    GTEST_SKIP() << "the limit of semaphores can't be set here";
  }
  leavesThingsBehind();
  const auto node = deploy({});
  ASSERT_EQ(2U, host().messages().size());
  EXPECT_EQ("semget", host().messages()[0].inserts.at(0));
  host().forget();
  node->send();
  EXPECT_EQ((Names{"hnxPropagate"}), host().callNames());
}

TEST_F(Segments, NoMoreSegmentsLeavesTheNodeUnmeasuredWithoutAMessage) {
  if (!limit("shmmni", "1")) GTEST_SKIP() << "the limit of segments can't be set here";
  leavesThingsBehind();
  const auto node = deploy({});
  EXPECT_TRUE(host().messages().empty());
  host().forget();
  node->send();
  EXPECT_EQ((Names{"hnxPropagate"}), host().callNames());
}

TEST_F(Segments, IsAttachedOncePerProcessHoweverManyNodes) {
  const auto first = deploy({});
  EXPECT_EQ(1U, segmentOf(kSegment)->attached);
  auto second = deploy({.label = u"NODE2"});
  EXPECT_EQ(1U, segmentOf(kSegment)->attached);
  second->end();
  EXPECT_EQ(1U, segmentOf(kSegment)->attached);
}

TEST_F(Segments, AreRemovedWithTheLastNode) {
  auto first = deploy({});
  auto second = deploy({.label = u"NODE2"});
  first->end();
  EXPECT_TRUE(segmentOf(kSegment));
  second->end();
  EXPECT_EQ(1U, segments().size());
  EXPECT_TRUE(keyFiles().empty());
  EXPECT_TRUE(host().messages().empty());
}

TEST_F(Segments, WhatAnAgentIsAttachedToStaysAndIsJoinedAgain) {
  leavesThingsBehind();
  auto node = deploy({});
  node->send();
  const StoredRecord before = nodeRecord(u"NODE1");
  {
    const WritableSegment agent;
    node->end();
    EXPECT_EQ((Names{"UUID1.zebcshme"}), keyFiles()) << "the locks go all the same";
    EXPECT_EQ(1U, segmentOf(kSegment)->attached);
  }
  EXPECT_EQ(0U, segmentOf(kSegment)->attached);
  node = deploy({});
  EXPECT_EQ(before.id(), nodeRecord(u"NODE1").id());
  EXPECT_EQ(before.at(), nodeRecord(u"NODE1").at());
  EXPECT_EQ(0, statisticsOf(u"NODE1").count());
  node->end();
  EXPECT_TRUE(keyFiles().empty());
}

int makeSegment(std::size_t size) {
  writeFile(kSegment, "");
  return shmget(ftok(kSegment.c_str(), 1), size, IPC_CREAT | 0660);
}

TEST_F(Segments, ASegmentThatIsTooSmallIsReportedAndMessagesFlow) {
  leavesThingsBehind();
  makeSegment(4096);
  const auto node = deploy({});
  ASSERT_EQ(1U, host().messages().size());
  EXPECT_EQ((Names{"shmget", "ZEB_Shared_Memory::init", "Error 22. Invalid argument"}),
            host().messages()[0].inserts);
  EXPECT_EQ("zebcshme", host().messages()[0].unit);
  host().forget();
  node->send();
  EXPECT_EQ((Names{"hnxPropagate"}), host().callNames());
}

// Its creator died between making it and writing its header.
TEST_F(Segments, ASegmentWithoutAHeaderIsFurnished) {
  makeSegment(98336);
  const auto node = deploy({});
  node->send();
  EXPECT_EQ(1, statisticsOf(u"NODE1").count());
  EXPECT_EQ("zebcshme", blockAt(sharedMemory(), 0).eyecatcher);
  EXPECT_TRUE(host().messages().empty());
}

TEST_F(Segments, AKeyFileThatWasDeletedIsReportedWhenTheSegmentGoes) {
  auto node = deploy({});
  ASSERT_TRUE(fs::remove(kSegment));
  node->end();
  EXPECT_EQ(1U, segments().size());
  ASSERT_EQ(1U, host().messages().size());
  EXPECT_EQ((Names{"unlink", "ZEB_Shared_Memory::cleanup", "Error 2. No such file or directory"}),
            host().messages()[0].inserts);
}

TEST_F(Segments, AKeyFileThatCannotBeMadeIsReportedAndMessagesFlow) {
  leavesThingsBehind();
  fs::create_symlink("/tmp/nowhere/file", kSegment);
  const auto node = deploy({});
  const auto logged = host().messages();
  ASSERT_EQ(2U, logged.size());
  EXPECT_EQ("open", logged[0].inserts.at(0));
  EXPECT_EQ("ZEB_Shared_Memory::init", logged[0].inserts.at(1));
  EXPECT_EQ("ftok", logged[1].inserts.at(0));
  host().forget();
  node->send();
  EXPECT_EQ((Names{"hnxPropagate"}), host().callNames());
}

TEST_F(Segments, FiftyBrokersFitIntoAProcessAndTheNextGoesUnmeasured) {
  std::vector<std::unique_ptr<NodeContext>> nodes;
  const auto deployAt = [&](int number) {
    const std::string digits = std::to_string(number);
    writeFile("/var/holt/registry/B" + digits + "/BrokerUUID", "U" + digits);
    ScriptedNode where;
    where.broker = u"B" + std::u16string(digits.begin(), digits.end());
    nodes.push_back(deploy({}, where));
  };
  for (int number = 1; number <= 50; ++number) deployAt(number);
  EXPECT_TRUE(host().messages().empty());
  deployAt(51);
  ASSERT_EQ(1U, host().messages().size());
  EXPECT_EQ("zeb_attach", host().messages()[0].inserts.at(0));
  host().forget();
  nodes.back()->send();
  EXPECT_EQ((Names{"hnxPropagate"}), host().callNames());
  nodes[49]->send();
  EXPECT_EQ(1, statisticsOf(u"NODE1", "U50").count());
  nodes[20]->end();
  deployAt(52);
  nodes.back()->send();
  EXPECT_EQ(1, statisticsOf(u"NODE1", "U52").count());
  leavesThingsBehind();  // the segment of the broker that could not be attached
}

}  // namespace

}  // namespace mutex_and_segment_test
