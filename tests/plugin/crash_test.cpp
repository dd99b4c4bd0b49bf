// SPDX-License-Identifier: Apache-2.0
// What a process that ends without a word leaves, and who clears it away.
#include <gtest/gtest.h>
#include <sys/sem.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <thread>

#include "tests/support/ipc_objects.h"
#include "tests/support/leftovers.h"
#include "tests/support/plugin.h"
#include "tests/support/processes.h"

namespace crash_test {

using namespace support;

namespace {

// Deploys NODE1, sends three messages, says so, and waits to be killed.
int measureUntilKilled(Steps& parent, const std::vector<std::string>&) {
  startLibrary();
  const auto node = deploy({.subFlowName = u"A"});
  for (int i = 0; i < 3; ++i) node->send(100);
  parent.tell("measured");
  parent.hear();
  return 0;
}

// Ends by its own hand in the moment in which it has got the lock that ends so.
int dieWithLock(Steps&, const std::vector<std::string>& arguments) {
  startLibrary("ZEBNodeTrace On\n");
  host().script.log = [ending = arguments.at(0)](const LogEntry& entry) {
    if (entry.text.starts_with("Got mutex") && entry.text.ends_with(ending)) raise(SIGKILL);
  };
  const auto node = deploy({});
  node->send();
  return 0;
}

const Role kMeasure("measure until killed", measureUntilKilled);
const Role kDie("die with a lock", dieWithLock);

class Crash : public PluginTest {};

TEST_F(Crash, LeavesASegmentThatALaterProcessJoinsAndRemoves) {
  leavesThingsBehind();
  Child child("measure until killed");
  ASSERT_EQ("measured", child.hear());
  const std::string attachLock = "zeb_attach_" + std::to_string(child.pid()) + ".zebmutx";
  child.kill(SIGKILL);
  EXPECT_EQ(-SIGKILL, child.wait());

  EXPECT_EQ(0U, segmentOf("/tmp/UUID1.zebcshme")->attached);
  EXPECT_EQ(3, statisticsOf(u"NODE1").count());
  const StoredRecord before = nodeRecord(u"NODE1");
  EXPECT_EQ(0U, before.deleted()) << "nobody was there to mark it";
  EXPECT_EQ(1U, queueOf("/tmp/UUID1.zebcstar.zebmutx")->messages);

  auto node = deploy({.subFlowName = u"A"});
  EXPECT_EQ(before.id(), nodeRecord(u"NODE1").id());
  EXPECT_EQ(0, statisticsOf(u"NODE1").count());
  EXPECT_EQ(static_cast<std::uint32_t>(getpid()),
            ofType(statisticsRecords(), kGroup).at(0).ownNumber());
  EXPECT_EQ(2U, queueOf("/tmp/UUID1.zebcstar.zebmutx")->messages);
  node->end();

  const auto left = keyFiles();
  EXPECT_EQ(std::count(left.begin(), left.end(), "UUID1.zebcshme"), 0);
  EXPECT_EQ(std::count(left.begin(), left.end(), attachLock), 1);
  EXPECT_EQ(1U, queueOf("/tmp/UUID1.zebcstar.zebmutx")->messages);
  EXPECT_EQ(1, semaphoreOf("/tmp/UUID1.zebcstar.zebmutx")->value);
  EXPECT_EQ(1U, segments().size());
  EXPECT_TRUE(host().messages().empty());
}

// There is no undo: a process that waits does so until somebody lifts the lock by hand.
TEST_F(Crash, WithALockLeavesItHeld) {
  leavesThingsBehind();
  const std::string lock = "/tmp/UUID1.zebcstar.zebmutx";
  Child child("die with a lock", {".zebcstar.zebmutx"});
  EXPECT_EQ(-SIGKILL, child.wait());
  ASSERT_EQ(0, semaphoreOf(lock)->value);
  std::thread thread([] { deploy({.label = u"LATER"})->send(); });
  const int id = semaphoreOf(lock)->id;
  while (semctl(id, 0, GETNCNT) == 0) std::this_thread::yield();
  sembuf lift{0, 1, 0};
  ASSERT_EQ(0, semop(id, &lift, 1));
  thread.join();
  EXPECT_EQ(1U, host().countOf("hnxPropagate"));
}

TEST_F(Crash, OfOneProcessTakesNoCountOfAnother) {
  leavesThingsBehind();
  const auto node = deploy({.label = u"HERE"});
  node->send();
  ASSERT_EQ(1U, queueOf("/tmp/UUID1.zebcstar.zebmutx")->messages);
  Child child("measure until killed");
  ASSERT_EQ("measured", child.hear());
  EXPECT_EQ(2U, segmentOf("/tmp/UUID1.zebcshme")->attached);
  child.kill(SIGKILL);
  child.wait();
  for (int i = 0; i < 10; ++i) node->send(1);
  EXPECT_EQ(10, statisticsOf(u"HERE").count()) << "the other deployment reset the first message";
  EXPECT_EQ(3, statisticsOf(u"NODE1").count());
}

}  // namespace

}  // namespace crash_test
