// SPDX-License-Identifier: Apache-2.0
// Key files, and the lock by which those who join and those who remove hold each other off.
#include "base/key_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/ipc.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>

#include "base/name_mutex.h"
#include "tests/support/failing.h"
#include "tests/support/ipc_objects.h"
#include "tests/support/library_test.h"
#include "tests/support/seam.h"

namespace key_file_test {

namespace fs = std::filesystem;
using namespace support;

namespace {

constexpr char kUnit[] = "zebtests";
constexpr char kFunction[] = "Something::done";
constexpr char kFile[] = "/tmp/NAME.zebmutx";

// Looks at the calls that lock, and at the owners of files.
class Watch : public seam::Seam {
 public:
  Watch() : before_(seam::use(this)) {}
  ~Watch() override { seam::use(before_); }

  std::optional<int> answer(const seam::Call& call) override {
    if (call.function == seam::kFlock && call.flags == LOCK_EX) {
      ++locksTaken;
      if (beforeLocking) beforeLocking();
    }
    return before_->answer(call);
  }
  void answered(const seam::Call& call, int) override {
    if (call.function == seam::kFstat && filesAreAnothers) ++call.status->st_uid;
  }

  std::function<void()> beforeLocking;
  int locksTaken = 0;
  bool filesAreAnothers = false;

 private:
  Seam* const before_;
};

int tryToLock(const char* path = kFile) {
  const int file = open(path, O_RDONLY | O_CLOEXEC);
  const int result = flock(file, LOCK_EX | LOCK_NB) == 0 ? 0 : errno;
  close(file);
  return result;
}

int openOnes(const char* path) {
  int count = 0;
  for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
    std::error_code gone;
    if (fs::read_symlink(entry.path(), gone) == path) ++count;
  }
  return count;
}

class KeyFile : public LibraryTest {
 protected:
  void SetUp() override {
    LibraryTest::SetUp();
    std::ofstream file(kFile);
  }
  void TearDown() override {
    fs::remove(kFile);
    LibraryTest::TearDown();
  }

  static int key() { return ftok(kFile, 1); }

  Watch watch;
};

TEST_F(KeyFile, HasTheKeyOfItsPathAndProjectOne) {
  const Tracing on;
  const ZEB_Trace trace(kUnit, kFunction);
  EXPECT_EQ(ftok(kFile, 1), ZEB_TracedKey(trace, kFile));
  EXPECT_EQ(-1, ZEB_TracedKey(trace, "/tmp/none"));
  EXPECT_EQ(-1, ZEB_TracedKey(trace, nullptr));
  const std::string text = exitOf(static_cast<unsigned long>(key())).substr(8);
  EXPECT_EQ((Texts{"ftok = " + std::string(8 - text.size(), '0') + text + " " + kFile,
                   "ftok = FFFFFFFF /tmp/none", "ftok = FFFFFFFF "}),
            ownTextsOf(kUnit, kFunction));
}

TEST_F(KeyFile, IsMadeAndAnExistingOneKept) {
  const ZEB_Trace trace(kUnit, kFunction);
  std::ofstream(kFile) << "content";
  EXPECT_TRUE(ZEB_CreateKeyFile(trace, kFile));
  EXPECT_EQ(7U, fs::file_size(kFile));
  fs::remove(kFile);
  EXPECT_TRUE(ZEB_CreateKeyFile(trace, kFile));
  EXPECT_TRUE(fs::is_empty(kFile));
  EXPECT_EQ(0, openOnes(kFile));
  EXPECT_TRUE(host().log().empty());
}

TEST_F(KeyFile, IsMadeByAHostWithoutStandardInputToo) {
  const ZEB_Trace trace(kUnit, kFunction);
  const int input = dup(STDIN_FILENO);
  close(STDIN_FILENO);
  const bool made = ZEB_CreateKeyFile(trace, kFile);
  dup2(input, STDIN_FILENO);
  close(input);
  EXPECT_TRUE(made);
  EXPECT_TRUE(messageLines().empty());
  unlink(kFile);
}

TEST_F(KeyFile, OneThatCanNotBeMadeIsAMessage) {
  const ZEB_Trace trace(kUnit, kFunction);
  EXPECT_FALSE(ZEB_CreateKeyFile(trace, "/tmp/none/file"));
  EXPECT_FALSE(ZEB_CreateKeyFile(trace, nullptr));
  EXPECT_EQ((Texts{message2(kUnit, kFunction, "open", ENOENT),
                   message2(kUnit, kFunction, "open", ENOMEM)}),
            messageLines());
}

TEST_F(KeyFile, IsLockedWhileTheLockLives) {
  {
    const ZEB_Key_File_Lock lock(kFile);
    EXPECT_EQ(EWOULDBLOCK, tryToLock());
    EXPECT_TRUE(lock.covers(key()));
  }
  EXPECT_EQ(0, tryToLock());
  EXPECT_EQ(0, openOnes(kFile));
}

TEST_F(KeyFile, IsNotHandedToProgramsThatAreStarted) {
  const ZEB_Key_File_Lock lock(kFile);
  bool found = false;
  for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
    std::error_code gone;
    if (fs::read_symlink(entry.path(), gone) != kFile) continue;
    found = true;
    EXPECT_NE(0, fcntl(std::stoi(entry.path().filename()), F_GETFD) & FD_CLOEXEC);
  }
  EXPECT_TRUE(found);
}

TEST_F(KeyFile, IsUnlockedThoughAForkedChildHasItOpen) {
  int ends[2];
  ASSERT_EQ(0, pipe(ends));
  auto lock = std::make_unique<ZEB_Key_File_Lock>(kFile);
  const pid_t child = fork();
  if (child == 0) {
    close(ends[1]);
    char byte;
    _exit(read(ends[0], &byte, 1) == 0 ? 0 : 1);
  }
  lock.reset();
  EXPECT_EQ(0, tryToLock());
  close(ends[0]);
  close(ends[1]);
  int status = 0;
  waitpid(child, &status, 0);
  EXPECT_EQ(0, status);
}

TEST_F(KeyFile, AnotherKeyIsNotCovered) {
  const ZEB_Key_File_Lock lock(kFile);
  EXPECT_TRUE(lock.covers(key()));
  EXPECT_FALSE(lock.covers(key() + 1));
  EXPECT_FALSE(lock.covers(-1));
}

TEST_F(KeyFile, IsLockedForAHostWithoutStandardInputToo) {
  const int input = dup(STDIN_FILENO);
  close(STDIN_FILENO);
  {
    const ZEB_Key_File_Lock lock(kFile);
    EXPECT_NE(-1, fcntl(STDIN_FILENO, F_GETFD));
    EXPECT_TRUE(lock.covers(key()));
    EXPECT_FALSE(lock.covers(key() + 1));
    EXPECT_EQ(EWOULDBLOCK, tryToLock());
  }
  EXPECT_EQ(-1, fcntl(STDIN_FILENO, F_GETFD));
  dup2(input, STDIN_FILENO);
  close(input);
}

TEST_F(KeyFile, OneThatIsGoneOrReplacedIsNotCovered) {
  const int before = key();
  const ZEB_Key_File_Lock lock(kFile);
  fs::remove(kFile);
  EXPECT_FALSE(lock.covers(before));
  std::ofstream file(kFile);
  EXPECT_FALSE(lock.covers(before));
  EXPECT_FALSE(lock.covers(key()));
  const ZEB_Key_File_Lock ofNone("/tmp/none");
  EXPECT_FALSE(ofNone.covers(before));
}

TEST_F(KeyFile, WithoutALockTheCallerGoesOn) {
  const ZEB_Key_File_Lock ofNoPath(nullptr);
  EXPECT_TRUE(ofNoPath.covers(key()));
  failCalls("open", EACCES, {.suffix = ".zebmutx", .times = 1});
  const ZEB_Key_File_Lock ofAClosedOne(kFile);
  EXPECT_TRUE(ofAClosedOne.covers(key()));
  failNext("flock", ENOLCK);
  const ZEB_Key_File_Lock failed(kFile);
  EXPECT_TRUE(failed.covers(key() + 1));
  EXPECT_EQ(0, tryToLock());
  EXPECT_EQ(0, openOnes(kFile));
  EXPECT_TRUE(host().log().empty());
}

TEST_F(KeyFile, AnInterruptedLockIsTriedAgain) {
  failNext("flock", EINTR, 2);
  const ZEB_Key_File_Lock lock(kFile);
  EXPECT_EQ(3, watch.locksTaken);
  EXPECT_EQ(EWOULDBLOCK, tryToLock());
}

TEST_F(KeyFile, OneOfAnotherUserIsNotLocked) {
  watch.filesAreAnothers = true;
  const ZEB_Key_File_Lock lock(kFile);
  EXPECT_EQ(0, tryToLock());
  EXPECT_TRUE(lock.covers(key() + 1));
  EXPECT_EQ(0, openOnes(kFile));
}

TEST_F(KeyFile, NothingButAFileIsLockedOrWaitedFor) {
  fs::create_directory("/tmp/directory");
  EXPECT_EQ(0, mkfifo("/tmp/pipe", 0600));
  for (const char* path : {"/tmp/directory", "/tmp/pipe"}) {
    const ZEB_Key_File_Lock lock(path);
    EXPECT_EQ(0, openOnes(path));
    EXPECT_TRUE(lock.covers(key()));
    fs::remove(path);
  }
  EXPECT_EQ(0, watch.locksTaken);
}

TEST_F(KeyFile, AMutexWhoseKeyFileVanishesStartsOverSilently) {
  watch.beforeLocking = [this] {
    if (watch.locksTaken == 1) fs::remove(kFile);
  };
  const Tracing on;
  const ZEB_Name_Mutex mutex("NAME");
  EXPECT_TRUE(mutex.OK());
  EXPECT_EQ(2, watch.locksTaken);
  EXPECT_TRUE(queueOf(kFile));
  EXPECT_EQ(1, semaphoreOf(kFile)->value);
  EXPECT_TRUE(host().messages().empty());
  EXPECT_EQ(4U, ownTextsOf("zebcmutx", "ZEB_Name_Mutex::ZEB_Name_Mutex").size());
}

TEST_F(KeyFile, AMutexStartsOverAHundredTimesAtMost) {
  watch.beforeLocking = [] { fs::remove(kFile); };
  const ZEB_Name_Mutex mutex("NAME");
  EXPECT_EQ(100, watch.locksTaken);
  EXPECT_TRUE(mutex.OK());
  EXPECT_TRUE(host().log().empty());
}

TEST_F(KeyFile, AMutexJoinsAndRemovesUnderTheLockButNeverWaitsUnderIt) {
  std::vector<std::pair<std::string, bool>> seen;
  host().script.log = [&](const LogEntry& entry) {
    if (entry.text == "Entry" || entry.text.starts_with("Exit")) return;
    if (entry.function.starts_with("ZEB_Name_Mutex::") && fs::exists(kFile))
      seen.emplace_back(entry.text.substr(0, 16), tryToLock() != 0);
  };
  failNext("semctl SETVAL", ERANGE);
  const Tracing on;
  ZEB_Name_Mutex mutex("NAME");
  mutex.release();
  mutex.get();
  mutex.release();
  mutex.cleanup();
  host().script.log = nullptr;
  const auto lockedAt = [&](const std::string& text) {
    for (const auto& [begin, locked] : seen)
      if (begin == text.substr(0, 16)) return locked ? "locked" : "free";
    return "not seen";
  };
  EXPECT_STREQ("free", lockedAt("Initializing mutex"));
  EXPECT_STREQ("locked", lockedAt("Function semctl failed"));
  EXPECT_STREQ("free", lockedAt("Asking for mutex"));
  EXPECT_STREQ("free", lockedAt("Got mutex /tmp/NAME"));
  EXPECT_STREQ("free", lockedAt("Clean up mutex /tmp"));
  EXPECT_STREQ("locked", lockedAt("Deleting Semaphore"));
}

}  // namespace

}  // namespace key_file_test
