// SPDX-License-Identifier: Apache-2.0
// The lock that processes share, when all goes well.
#include "base/name_mutex.h"

#include <sys/sem.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <memory>
#include <thread>

#include "tests/support/failing.h"
#include "tests/support/ipc_objects.h"
#include "tests/support/leftovers.h"
#include "tests/support/library_test.h"
#include "tests/support/processes.h"

namespace name_mutex_test {

namespace fs = std::filesystem;
using namespace support;

namespace {

constexpr char kUnit[] = "zebcmutx";
constexpr char kConstructor[] = "ZEB_Name_Mutex::ZEB_Name_Mutex";
constexpr char kCleanup[] = "ZEB_Name_Mutex::cleanup";
constexpr char kFile[] = "/tmp/NAME.zebmutx";

int valueOf(const char* file = kFile) {
  const auto semaphore = semaphoreOf(file);
  return semaphore ? semaphore->value : -1;
}

unsigned long usersOf(const char* file = kFile) {
  const auto queue = queueOf(file);
  return queue ? queue->messages : 0;
}

std::string keyText() {
  char text[16];
  std::snprintf(text, sizeof text, "%08X", static_cast<unsigned>(queueOf(kFile)->key));
  return text;
}

class NameMutex : public LibraryTest {
 protected:
  void SetUp() override {
    LibraryTest::SetUp();
    ipcCalls();
  }
};

TEST_F(NameMutex, TheFirstOfANameMakesKeyFileQueueAndSemaphore) {
  const mode_t before = umask(0);
  const ZEB_Name_Mutex mutex("NAME");
  umask(before);
  EXPECT_TRUE(mutex.OK());
  EXPECT_EQ(0, mutex.getStatus());
  struct stat state {};
  ASSERT_EQ(0, stat(kFile, &state));
  EXPECT_EQ(0660U, state.st_mode & 07777U);
  EXPECT_EQ(0, state.st_size);
  ASSERT_TRUE(queueOf(kFile));
  EXPECT_EQ(0660U, queueOf(kFile)->mode);
  EXPECT_EQ(1U, queueOf(kFile)->messages);
  ASSERT_TRUE(semaphoreOf(kFile));
  EXPECT_EQ(0660U, semaphoreOf(kFile)->mode);
  EXPECT_EQ(1U, semaphoreOf(kFile)->semaphores);
  EXPECT_EQ(1, semaphoreOf(kFile)->value);
  EXPECT_EQ((Texts{"msgget 1660", "msgsnd 1 1 0 4000", "semget 1 3660", "semctl 0 SETVAL 1"}),
            ipcCalls());
}

TEST_F(NameMutex, AKeyFileKeepsTheUmask) {
  const mode_t before = umask(027);
  const ZEB_Name_Mutex mutex("NAME");
  umask(before);
  struct stat state {};
  stat(kFile, &state);
  EXPECT_EQ(0640U, state.st_mode & 07777U);
}

TEST_F(NameMutex, ALaterOneJoinsAndDoesNotTouchTheSemaphore) {
  ZEB_Name_Mutex first("NAME");
  first.get();
  ipcCalls();
  const ZEB_Name_Mutex second("NAME");
  EXPECT_TRUE(second.OK());
  EXPECT_EQ(2U, usersOf());
  EXPECT_EQ(0, valueOf());
  EXPECT_EQ((Texts{"msgget 1660", "msgsnd 1 1 0 4000", "semget 1 3660", "semget 1 1660"}),
            ipcCalls());
  first.release();
}

TEST_F(NameMutex, TheLastOneRemovesQueueThenSemaphoreThenKeyFile) {
  ZEB_Name_Mutex first("NAME");
  ZEB_Name_Mutex second("NAME");
  const int handle = semaphoreOf(kFile)->id;
  ipcCalls();
  const Tracing on;
  first.cleanup();
  EXPECT_EQ((Texts{"Clean up mutex /tmp/NAME.zebmutx",
                   "Handle " + exitOf(static_cast<unsigned long>(handle)).substr(8),
                   "Messages in queue : 1"}),
            ownTextsOf(kUnit, kCleanup));
  EXPECT_EQ((Texts{"msgrcv 1 1 4000", "msgctl IPC_STAT"}), ipcCalls());
  EXPECT_EQ(1, valueOf());
  EXPECT_TRUE(fs::exists(kFile));
  ipcCalls();
  host().forget();
  second.cleanup();
  EXPECT_EQ((Texts{"Clean up mutex /tmp/NAME.zebmutx",
                   "Handle " + exitOf(static_cast<unsigned long>(handle)).substr(8),
                   "Deleting Semaphore"}),
            ownTextsOf(kUnit, kCleanup));
  EXPECT_EQ((Texts{"msgrcv 1 1 4000", "msgctl IPC_STAT", "msgctl IPC_RMID", "semctl 1 IPC_RMID"}),
            ipcCalls());
  EXPECT_FALSE(fs::exists(kFile));
  EXPECT_TRUE(host().messages().empty());
}

TEST_F(NameMutex, ASecondCleanupDoesNothing) {
  const ZEB_Name_Mutex other("NAME");
  ZEB_Name_Mutex mutex("NAME");
  mutex.cleanup();
  ipcCalls();
  const Tracing on;
  mutex.cleanup();
  EXPECT_EQ((Texts{"Clean up mutex /tmp/NAME.zebmutx", "Handle 0"}), ownTextsOf(kUnit, kCleanup));
  EXPECT_EQ(Texts{}, ipcCalls());
  EXPECT_EQ(1U, usersOf());
  EXPECT_TRUE(mutex.OK());
}

TEST_F(NameMutex, TheDestructorCleansUp) {
  {
    const ZEB_Name_Mutex mutex("NAME");
    EXPECT_EQ(1U, usersOf());
  }
  EXPECT_FALSE(fs::exists(kFile));
  { const ZEB_Name_Mutex again("NAME"); }
  EXPECT_FALSE(fs::exists(kFile));
}

TEST_F(NameMutex, TheNameIsPutIntoTheTemporaryDirectoryOnce) {
  const std::pair<const char*, const char*> cases[] = {
      {"NAME", "/tmp/NAME.zebmutx"}, {"/tmp/NAME", "/tmp/NAME.zebmutx"}, {"/tmp/", "/tmp/.zebmutx"},
      {"/tmp", "/tmp//tmp.zebmutx"}, {"/tmpX", "/tmp//tmpX.zebmutx"},    {"", "/tmp/.zebmutx"}};
  for (const auto& [name, path] : cases) {
    const Tracing on;
    const ZEB_Name_Mutex mutex(name);
    EXPECT_EQ(std::string("Initializing mutex ") + path, ownTextsOf(kUnit, kConstructor).at(0));
    EXPECT_TRUE(fs::exists(path));
  }
}

TEST_F(NameMutex, IsTakenAndGivenBackWithoutFlags) {
  ZEB_Name_Mutex mutex("NAME");
  ipcCalls();
  const Tracing on;
  mutex.get();
  EXPECT_EQ(0, valueOf());
  mutex.release();
  EXPECT_EQ(1, valueOf());
  EXPECT_EQ((Texts{"semop 0 -1 0", "semop 0 1 0"}), ipcCalls());
  EXPECT_EQ(
      (Texts{"Entry", "Asking for mutex /tmp/NAME.zebmutx", "Got mutex /tmp/NAME.zebmutx", "Exit"}),
      textsOf(kUnit, "ZEB_Name_Mutex::get"));
  EXPECT_EQ((Texts{"Entry", "About to release mutex /tmp/NAME.zebmutx",
                   "Released mutex /tmp/NAME.zebmutx", "Exit"}),
            textsOf(kUnit, "ZEB_Name_Mutex::release"));
}

TEST_F(NameMutex, SaysWhatItIsAboutToDoBeforeAndWhatItDidAfterwards) {
  ZEB_Name_Mutex mutex("NAME");
  std::vector<int> values;
  host().script.log = [&](const LogEntry& entry) {
    if (entry.text.find(" mutex ") != std::string::npos) values.push_back(valueOf());
  };
  const Tracing on;
  mutex.get();
  mutex.release();
  host().script.log = nullptr;
  EXPECT_EQ((std::vector<int>{1, 0, 0, 1}), values);
}

TEST_F(NameMutex, AWaiterGoesOnWhenTheHolderReleases) {
  ZEB_Name_Mutex holder("NAME");
  ZEB_Name_Mutex waiter("NAME");
  holder.get();
  std::atomic<bool> got = false;
  std::atomic<pid_t> id = 0;
  std::jthread thread([&] {
    id = gettid();
    waiter.get();
    got = true;
  });
  while (id == 0) std::this_thread::yield();
  awaitSleeping(id);
  EXPECT_FALSE(got);
  holder.release();
  thread.join();
  EXPECT_TRUE(got);
  EXPECT_EQ(0, valueOf());
  waiter.release();
}

TEST_F(NameMutex, AnotherObjectOfTheNameMayGiveItBack) {
  ZEB_Name_Mutex taker("NAME");
  ZEB_Name_Mutex giver("NAME");
  for (int i = 0; i < 2; ++i) {
    taker.get();
    EXPECT_EQ(0, valueOf());
    giver.release();
    EXPECT_EQ(1, valueOf());
  }
}

TEST_F(NameMutex, IsNotRecursive) {
  ZEB_Name_Mutex mutex("NAME");
  std::atomic<bool> twice = false;
  std::atomic<pid_t> id = 0;
  std::jthread thread([&] {
    mutex.get();
    id = gettid();
    mutex.get();
    twice = true;
  });
  while (id == 0) std::this_thread::yield();
  awaitSleeping(id);
  EXPECT_FALSE(twice);
  mutex.release();
}

// The threads of one process queue in front of the semaphore: one of them at most asks for it.
TEST_F(NameMutex, OneThreadOfAProcessWaitsForTheSemaphore) {
  ZEB_Name_Mutex first("NAME");
  ZEB_Name_Mutex second("NAME");
  const int semaphore = semaphoreOf(kFile)->id;
  sembuf take{0, -1, 0};
  ASSERT_EQ(0, semop(semaphore, &take, 1));  // as another process does
  std::atomic<pid_t> ids[2] = {};
  {
    std::jthread one([&] {
      ids[0] = gettid();
      first.get();
      first.release();
    });
    std::jthread other([&] {
      ids[1] = gettid();
      second.get();
      second.release();
    });
    for (const auto& id : ids) {
      while (id == 0) std::this_thread::yield();
      awaitSleeping(id);
    }
    EXPECT_EQ(1, semctl(semaphore, 0, GETNCNT));
    sembuf give{0, 1, 0};
    ASSERT_EQ(0, semop(semaphore, &give, 1));
  }
  EXPECT_EQ(1, valueOf());
}

TEST_F(NameMutex, ConstructionTracesTheKeyBeforeAndAfterTheFileIsMade) {
  const Tracing on;
  const ZEB_Name_Mutex first("NAME");
  const std::string key = "ftok = " + keyText() + " /tmp/NAME.zebmutx";
  const std::string begin = "Initializing mutex /tmp/NAME.zebmutx";
  EXPECT_EQ((Texts{"Entry", begin, "ftok = FFFFFFFF /tmp/NAME.zebmutx", key, "Exit"}),
            textsOf(kUnit, kConstructor));
  host().forget();
  const ZEB_Name_Mutex second("NAME");
  EXPECT_EQ((Texts{"Entry", begin, key, "Exit"}), textsOf(kUnit, kConstructor));
}

TEST_F(NameMutex, EachOperationTraces) {
  const Tracing on;
  {
    ZEB_Name_Mutex mutex("NAME");
    mutex.OK();
    mutex.getStatus();
  }
  expectTraced(kUnit, {{"ZEB_Name_Mutex::OK", "Exit: 0x1"},
                       {"ZEB_Name_Mutex::getStatus", "Exit: 0x0"},
                       {kCleanup, "Exit"},
                       {"ZEB_Name_Mutex::~ZEB_Name_Mutex", "Exit"}});
}

int holdAndDie(Steps& parent, const std::vector<std::string>&) {
  useOwnConfiguration();
  auto* const mutex = new ZEB_Name_Mutex("NAME");
  mutex->get();
  parent.tell("held");
  parent.hear();
  _exit(0);
}

const Role kHolder("mutex holder that dies", holdAndDie);

TEST_F(NameMutex, AProcessThatDiesLeavesItHeldAndItsReferenceBehind) {
  leavesThingsBehind();
  Child child("mutex holder that dies");
  EXPECT_EQ("held", child.hear());
  {
    const ZEB_Name_Mutex mutex("NAME");
    EXPECT_EQ(2U, usersOf());
    child.tell("die");
    EXPECT_EQ(0, child.wait());
    EXPECT_EQ(0, valueOf());
  }
  EXPECT_EQ(1U, usersOf());
  EXPECT_EQ(0, valueOf());
}

int cycle(Steps& parent, const std::vector<std::string>&) {
  useOwnConfiguration();
  parent.tell("ready");
  parent.hear();
  for (int i = 0; i < 500; ++i) {
    ZEB_Name_Mutex mutex("NAME");
    mutex.get();
    mutex.release();
  }
  parent.tell(std::to_string(host().messages().size()));
  return 0;
}

const Role kCycler("mutex cycler", cycle);

TEST_F(NameMutex, ProcessesThatComeAndGoNeverJoinWhatIsBeingRemoved) {
  std::vector<std::unique_ptr<Child>> children;
  for (int i = 0; i < 4; ++i) children.push_back(std::make_unique<Child>("mutex cycler"));
  for (const auto& child : children) EXPECT_EQ("ready", child->hear());
  for (const auto& child : children) child->tell("go");
  for (const auto& child : children) EXPECT_EQ("0", child->hear());
  for (const auto& child : children) EXPECT_EQ(0, child->wait());
  EXPECT_FALSE(fs::exists(kFile));
}

}  // namespace

}  // namespace name_mutex_test
