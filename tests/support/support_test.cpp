// SPDX-License-Identifier: Apache-2.0
// What the other tests rely on.
#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>
#include <sys/msg.h>
#include <sys/sem.h>
#include <sys/shm.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>

#include "tests/support/ipc_objects.h"
#include "tests/support/leftovers.h"
#include "tests/support/private_namespaces.h"
#include "tests/support/processes.h"

namespace support_test {

namespace fs = std::filesystem;

namespace {

int answerInCapitals(support::Steps& parent, const std::vector<std::string>& arguments) {
  std::string word = parent.hear();
  for (char& letter : word) letter = static_cast<char>(std::toupper(letter));
  parent.tell(word + arguments.at(0));
  return 7;
}

int sayThatItRunsThenWait(support::Steps& parent, const std::vector<std::string>&) {
  parent.tell("running");
  parent.hear();
  return 0;
}

// How many failures the check finds after a test that did this; and again, when it has cleaned up.
std::pair<int, int> failuresAfter(const std::function<void()>& test) {
  support::LeftoverCheck check;
  testing::TestEventListener& listener = check;
  const testing::TestInfo& self = *testing::UnitTest::GetInstance()->current_test_info();
  listener.OnTestStart(self);
  test();
  testing::TestPartResultArray found;
  testing::TestPartResultArray later;
  using Reporter = testing::ScopedFakeTestPartResultReporter;
  {
    const Reporter reporter(Reporter::INTERCEPT_ONLY_CURRENT_THREAD, &found);
    listener.OnTestEnd(self);
  }
  const Reporter reporter(Reporter::INTERCEPT_ONLY_CURRENT_THREAD, &later);
  listener.OnTestEnd(self);
  return {found.size(), later.size()};
}

const std::function<void()> kLeaving[] = {
    [] { msgget(IPC_PRIVATE, 0600); },
    [] { semget(IPC_PRIVATE, 1, 0600); },
    [] { shmget(IPC_PRIVATE, 100, 0600); },
    [] { std::ofstream("/tmp/left") << "x"; },
};

const support::Role kCapitals("capitals", answerInCapitals);
const support::Role kWaiting("waiting", sayThatItRunsThenWait);

}  // namespace

TEST(PrivateNamespaces, CoveredFoldersAreEmptyAndWritable) {
  ASSERT_TRUE(support::insidePrivateNamespaces());
  for (const char* folder : {"/opt", "/var", "/tmp"}) {
    const std::string file = std::string(folder) + "/probe";
    EXPECT_TRUE(std::ofstream(file) << "x") << folder;
    EXPECT_TRUE(fs::remove(file));
  }
}

TEST(PrivateNamespaces, TheTreesStayReachable) {
  EXPECT_TRUE(fs::exists(fs::path(ZEB_SOURCE_TREE) / "tests/CMakeLists.txt"));
  EXPECT_EQ(0, access(ZEB_BUILD_TREE, W_OK));
}

TEST(PrivateNamespaces, OneObjectOfEachKindTakesIdZero) {
  ASSERT_EQ(1U, support::messageQueues().size());
  ASSERT_EQ(1U, support::semaphoreSets().size());
  ASSERT_EQ(1U, support::segments().size());
  EXPECT_EQ(0, support::messageQueues()[0].id);
  EXPECT_EQ(0, support::semaphoreSets()[0].id);
  EXPECT_EQ(0, support::segments()[0].id);
}

TEST(IpcObjects, AreFoundByTheirKeyFile) {
  support::leavesThingsBehind();
  std::ofstream("/tmp/key") << "";
  EXPECT_FALSE(support::queueOf("/tmp/key"));
  const int queue = msgget(ftok("/tmp/key", 1), IPC_CREAT | 0640);
  const int segment = shmget(ftok("/tmp/key", 1), 100, IPC_CREAT | 0600);
  ASSERT_TRUE(support::queueOf("/tmp/key"));
  EXPECT_EQ(queue, support::queueOf("/tmp/key")->id);
  EXPECT_EQ(0640U, support::queueOf("/tmp/key")->mode);
  ASSERT_TRUE(support::segmentOf("/tmp/key"));
  EXPECT_EQ(segment, support::segmentOf("/tmp/key")->id);
  EXPECT_EQ(100U, support::segmentOf("/tmp/key")->size);
  EXPECT_EQ(0U, support::segmentOf("/tmp/key")->attached);
  EXPECT_EQ(100U, support::bytesOf(*support::segmentOf("/tmp/key")).size());
  EXPECT_FALSE(support::semaphoreOf("/tmp/key"));
}

TEST(LeftoverCheck, FailsATestThatLeavesAnythingBehindAndRemovesThat) {
  for (const auto& leave : kLeaving) EXPECT_EQ(std::make_pair(1, 0), failuresAfter(leave));
  EXPECT_EQ(std::make_pair(0, 0), failuresAfter([] {}));
}

TEST(LeftoverCheck, OnlyRemovesWhatATestAnnounced) {
  for (const auto& leave : kLeaving) {
    EXPECT_EQ(std::make_pair(0, 0), failuresAfter([&] {
                support::leavesThingsBehind();
                leave();
              }));
  }
  EXPECT_EQ(std::make_pair(0, 0), failuresAfter([] {}));
}

TEST(Child, TalksAndReturnsItsExitCode) {
  support::Child child("capitals", {"!"});
  child.tell("word");
  EXPECT_EQ("WORD!", child.hear());
  EXPECT_EQ(7, child.wait());
}

TEST(Child, EndsByASignal) {
  support::Child child("waiting");
  EXPECT_EQ("running", child.hear());
  child.kill(SIGKILL);
  EXPECT_EQ(-SIGKILL, child.wait());
}

}  // namespace support_test
