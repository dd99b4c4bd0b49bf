// SPDX-License-Identifier: Apache-2.0
// The lock that processes share, when system calls fail.
#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <memory>

#include "base/name_mutex.h"
#include "tests/support/failing.h"
#include "tests/support/ipc_objects.h"
#include "tests/support/leftovers.h"
#include "tests/support/library_test.h"

namespace name_mutex_failure_test {

namespace fs = std::filesystem;
using namespace support;

namespace {

constexpr char kUnit[] = "zebcmutx";
constexpr char kConstructor[] = "ZEB_Name_Mutex::ZEB_Name_Mutex";
constexpr char kCleanup[] = "ZEB_Name_Mutex::cleanup";
constexpr char kFile[] = "/tmp/NAME.zebmutx";

Texts failureIn(const char* function, const char* callee, int errorNumber) {
  return {message2(kUnit, function, callee, errorNumber)};
}

class FailingMutex : public LibraryTest {
 protected:
  void SetUp() override {
    LibraryTest::SetUp();
    ipcCalls();
  }

  std::unique_ptr<ZEB_Name_Mutex> make() { return std::make_unique<ZEB_Name_Mutex>("NAME"); }
};

TEST_F(FailingMutex, ANullNameMakesNothing) {
  const Tracing on;
  ZEB_Name_Mutex mutex(nullptr);
  EXPECT_EQ(301, mutex.getStatus());
  EXPECT_FALSE(mutex.OK());
  EXPECT_EQ(failureIn(kConstructor, "open", ENOENT), messageLines());
  EXPECT_EQ((Texts{"Initializing mutex ", "ftok = FFFFFFFF "}), [] {
    Texts texts = textsOf(kUnit, kConstructor);
    return Texts(texts.begin() + 1, texts.begin() + 3);
  }());
  EXPECT_EQ(1U, entriesOf(kCleanup));
  EXPECT_EQ(Texts{}, ipcCalls());
}

TEST_F(FailingMutex, AKeyFileThatCannotBeMadeEndsItAll) {
  failCalls("open", EMFILE, {.suffix = ".zebmutx", .times = 1});
  const auto mutex = make();
  EXPECT_EQ(301, mutex->getStatus());
  EXPECT_EQ(failureIn(kConstructor, "open", EMFILE), messageLines());
  EXPECT_EQ(Texts{}, ipcCalls());
  EXPECT_FALSE(fs::exists(kFile));
}

TEST_F(FailingMutex, AMissingDirectoryEndsItAll) {
  const ZEB_Name_Mutex mutex("none/NAME");
  EXPECT_EQ(301, mutex.getStatus());
  EXPECT_EQ(failureIn(kConstructor, "open", ENOENT), messageLines());
}

TEST_F(FailingMutex, ACloseThatFailsIsAMessageOnly) {
  failNext("close", EIO);
  const auto mutex = make();
  EXPECT_TRUE(mutex->OK());
  EXPECT_EQ(failureIn(kConstructor, "close", EIO), messageLines());
  EXPECT_EQ(1, semaphoreOf(kFile)->value);
}

TEST_F(FailingMutex, ASecondKeyThatFailsIsUsedAsItIs) {
  failCalls("ftok", EIO, {.suffix = ".zebmutx"});
  const Tracing on;
  {
    const auto mutex = make();
    EXPECT_TRUE(mutex->OK());
    const Texts texts = ownTextsOf(kUnit, kConstructor);
    EXPECT_EQ((Texts{"Initializing mutex /tmp/NAME.zebmutx", "ftok = FFFFFFFF /tmp/NAME.zebmutx",
                     "ftok = FFFFFFFF /tmp/NAME.zebmutx"}),
              texts);
    bool found = false;
    for (const MessageQueue& queue : messageQueues()) found |= queue.key == -1;
    EXPECT_TRUE(found);
  }
  EXPECT_TRUE(host().messages().empty());
  EXPECT_FALSE(fs::exists(kFile));
}

TEST_F(FailingMutex, WithoutAQueueThereIsNoSemaphoreEither) {
  leavesThingsBehind();
  failNext("msgget", ENOSPC);
  const auto mutex = make();
  EXPECT_EQ(301, mutex->getStatus());
  EXPECT_EQ(failureIn(kConstructor, "msgget", ENOSPC), messageLines());
  EXPECT_EQ(Texts{"msgget 1660"}, ipcCalls());
  EXPECT_TRUE(fs::exists(kFile));
}

TEST_F(FailingMutex, AReferenceThatCannotBeSentIsAMessageOnly) {
  leavesThingsBehind();
  failNext("msgsnd", EAGAIN);
  auto mutex = make();
  EXPECT_TRUE(mutex->OK());
  EXPECT_EQ(failureIn(kConstructor, "msgsnd", EAGAIN), messageLines());
  EXPECT_EQ(1, semaphoreOf(kFile)->value);
  host().forget();
  mutex.reset();
  EXPECT_EQ(failureIn(kCleanup, "msgrcv", ENOMSG), messageLines());
  EXPECT_TRUE(queueOf(kFile)) << "nothing is removed, though the queue is empty";
  EXPECT_TRUE(semaphoreOf(kFile));
  EXPECT_TRUE(fs::exists(kFile));
}

TEST_F(FailingMutex, WithoutASemaphoreTheQueueGoesAgain) {
  leavesThingsBehind();
  failNext("semget", ENOSPC);
  const Tracing on;
  const auto mutex = make();
  EXPECT_EQ(301, mutex->getStatus());
  EXPECT_EQ(failureIn(kConstructor, "semget", ENOSPC), messageLines());
  EXPECT_EQ((Texts{"msgget 1660", "msgsnd 1 1 0 4000", "semget 1 3660", "msgrcv 1 1 4000",
                   "msgctl IPC_STAT", "msgctl IPC_RMID"}),
            ipcCalls());
  EXPECT_EQ((Texts{"Clean up mutex /tmp/NAME.zebmutx", "Handle FFFFFFFF"}),
            ownTextsOf(kUnit, kCleanup));
  EXPECT_TRUE(fs::exists(kFile)) << "the key file goes with a semaphore only";
}

TEST_F(FailingMutex, OneThatCannotBeJoinedIsAFailure) {
  leavesThingsBehind();
  failNext("semget", EEXIST, 2);
  const auto mutex = make();
  EXPECT_EQ(301, mutex->getStatus());
  EXPECT_EQ(failureIn(kConstructor, "semget", EEXIST), messageLines());
  const Texts calls = ipcCalls();
  EXPECT_EQ("semget 1 3660", calls.at(2));
  EXPECT_EQ("semget 1 1660", calls.at(3));
}

TEST_F(FailingMutex, ASemaphoreOfIdZeroCountsAsNone) {
  leavesThingsBehind();
  errno = EEXIST;
  failNext("semget", 0);
  const auto mutex = make();
  EXPECT_EQ(301, mutex->getStatus());
  EXPECT_EQ(failureIn(kConstructor, "semget", 0), messageLines());
  const Texts calls = ipcCalls();
  EXPECT_EQ(1, std::count(calls.begin(), calls.end(), "semget 1 3660"));
  EXPECT_EQ(0, std::count(calls.begin(), calls.end(), "semget 1 1660"));
}

TEST_F(FailingMutex, AQueueOfIdZeroCountsAsNoneButIsNoFailure) {
  leavesThingsBehind();
  failNext("msgget", 0);
  failNext("msgsnd", EINVAL);
  auto mutex = make();
  EXPECT_TRUE(mutex->OK());
  EXPECT_EQ(failureIn(kConstructor, "msgsnd", EINVAL), messageLines());
  ipcCalls();
  mutex.reset();
  EXPECT_EQ(Texts{}, ipcCalls());
}

TEST_F(FailingMutex, AValueThatCannotBeSetIsAMessageOnly) {
  failNext("semctl SETVAL", ERANGE);
  const auto mutex = make();
  EXPECT_TRUE(mutex->OK());
  EXPECT_EQ(failureIn(kConstructor, "semctl", ERANGE), messageLines());
  EXPECT_EQ(0, semaphoreOf(kFile)->value);
}

TEST_F(FailingMutex, AFailedOneLocksNothing) {
  leavesThingsBehind();
  failNext("msgget", ENOSPC);
  const auto mutex = make();
  ipcCalls();
  const Tracing on;
  mutex->get();
  mutex->release();
  EXPECT_EQ(Texts{}, ipcCalls());
  EXPECT_EQ((Texts{"Entry", "Exit"}), textsOf(kUnit, "ZEB_Name_Mutex::get"));
  EXPECT_EQ((Texts{"Entry", "Exit"}), textsOf(kUnit, "ZEB_Name_Mutex::release"));
  EXPECT_EQ("Exit: 0x12D", [&] {
    mutex->getStatus();
    return textsOf(kUnit, "ZEB_Name_Mutex::getStatus").back();
  }());
}

TEST_F(FailingMutex, AFailedWaitGoesOnAsIfItHeldTheLock) {
  const auto mutex = make();
  failNext("semop", EIDRM);
  host().forget();
  const Tracing on;
  mutex->get();
  EXPECT_EQ(failureIn("ZEB_Name_Mutex::get", "semop", EIDRM), messageLines());
  EXPECT_EQ("Got mutex /tmp/NAME.zebmutx", ownTextsOf(kUnit, "ZEB_Name_Mutex::get").back());
  EXPECT_TRUE(mutex->OK());
  host().forget();
  failNext("semop", EINVAL);
  mutex->release();
  EXPECT_EQ(failureIn("ZEB_Name_Mutex::release", "semop", EINVAL), messageLines());
  EXPECT_EQ("Released mutex /tmp/NAME.zebmutx",
            ownTextsOf(kUnit, "ZEB_Name_Mutex::release").back());
}

TEST_F(FailingMutex, AnInterruptedOperationIsTriedAgainSilently) {
  const auto mutex = make();
  ipcCalls();
  failNext("semop", EINTR, 2);
  mutex->get();
  EXPECT_EQ(0, semaphoreOf(kFile)->value);
  failNext("semop", EINTR);
  mutex->release();
  EXPECT_EQ(1, semaphoreOf(kFile)->value);
  EXPECT_EQ((Texts{"semop 0 -1 0", "semop 0 -1 0", "semop 0 -1 0", "semop 0 1 0", "semop 0 1 0"}),
            ipcCalls());
  EXPECT_TRUE(messageLines().empty());
}

TEST_F(FailingMutex, AReferenceThatCannotBeTakenRemovesNothing) {
  leavesThingsBehind();
  auto mutex = make();
  ipcCalls();
  failNext("msgrcv", EIDRM);
  mutex.reset();
  EXPECT_EQ(failureIn(kCleanup, "msgrcv", EIDRM), messageLines());
  EXPECT_EQ(Texts{"msgrcv 1 1 4000"}, ipcCalls());
  EXPECT_TRUE(semaphoreOf(kFile));
}

TEST_F(FailingMutex, AStateThatCannotBeReadRemovesTheSemaphoreAndNotTheQueue) {
  leavesThingsBehind();
  auto mutex = make();
  ipcCalls();
  failNext("msgctl IPC_STAT", EACCES);
  mutex.reset();
  EXPECT_EQ(failureIn(kCleanup, "msgctl IPC_STAT", EACCES), messageLines());
  EXPECT_EQ((Texts{"msgrcv 1 1 4000", "msgctl IPC_STAT", "semctl 1 IPC_RMID"}), ipcCalls());
  EXPECT_FALSE(fs::exists(kFile));
}

TEST_F(FailingMutex, AQueueThatCannotBeRemovedDoesNotKeepTheRest) {
  leavesThingsBehind();
  auto mutex = make();
  ipcCalls();
  failNext("msgctl IPC_RMID", EPERM);
  mutex.reset();
  EXPECT_EQ(failureIn(kCleanup, "msgctl IPC_RMID", EPERM), messageLines());
  EXPECT_EQ((Texts{"msgrcv 1 1 4000", "msgctl IPC_STAT", "msgctl IPC_RMID", "semctl 1 IPC_RMID"}),
            ipcCalls());
  EXPECT_FALSE(fs::exists(kFile));
}

TEST_F(FailingMutex, ASemaphoreThatCannotBeRemovedKeepsTheKeyFile) {
  leavesThingsBehind();
  auto mutex = make();
  failNext("semctl IPC_RMID", EPERM);
  mutex.reset();
  EXPECT_EQ(failureIn(kCleanup, "semctl IPC_RMID", EPERM), messageLines());
  EXPECT_TRUE(semaphoreOf(kFile));
  EXPECT_FALSE(queueOf(kFile));
  EXPECT_TRUE(fs::exists(kFile));
}

TEST_F(FailingMutex, AKeyFileThatCannotBeRemovedIsOnlyTraced) {
  leavesThingsBehind();
  make();
  failCalls("unlink", EROFS, {.suffix = ".zebmutx"});
  {
    const auto mutex = make();
    const Tracing on;
    mutex->cleanup();
    EXPECT_EQ(
        "Function unlink failed for mutex /tmp/NAME.zebmutx. Error 30. Read-only file system.",
        ownTextsOf(kUnit, kCleanup).back());
    EXPECT_TRUE(host().messages().empty());
  }
  EXPECT_TRUE(fs::exists(kFile));
  host().forget();
  make();
  EXPECT_TRUE(host().log().empty());
}

}  // namespace

}  // namespace name_mutex_failure_test
