// SPDX-License-Identifier: Apache-2.0
// What the kernel tells of processes, and what somebody may have made it tell.
#include "agent/reader/processes.h"

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/shm.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <thread>

#include "agent/reader/bounded_file.h"
#include "agent/reader/segment.h"
#include "tests/support/image.h"
#include "tests/support/live_segment.h"

namespace processes_test {

namespace {

namespace fs = std::filesystem;

// A child that waits until it is killed. It is reaped at the end.
class Sleeper {
 public:
  template <class Body>
  explicit Sleeper(Body body) : id_(fork()) {
    if (id_ == 0) {
      body();
      for (;;) pause();
    }
  }
  Sleeper() : Sleeper([] {}) {}
  ~Sleeper() {
    kill(id_, SIGKILL);
    waitpid(id_, nullptr, 0);
  }
  Sleeper(const Sleeper&) = delete;
  Sleeper& operator=(const Sleeper&) = delete;

  pid_t id() const { return id_; }

 private:
  pid_t id_;
};

// The kernel's files as a test writes them, of this process.
class ScriptedProc : public testing::Test {
 protected:
  ScriptedProc() { fs::create_directories(folder() / "task"); }
  ~ScriptedProc() override { fs::remove_all("/tmp/proc"); }

  static fs::path folder() { return fs::path("/tmp/proc") / std::to_string(getpid()); }
  void write(const fs::path& path, const std::string& text) {
    fs::create_directories(path.parent_path());
    std::ofstream(path) << text;
  }
  void addThread(int id, const std::string& state) {
    write(folder() / "task" / std::to_string(id) / "stat", "1 (name) " + state + " 1\n");
  }
  static reader::Process read() { return reader::readProcess(getpid(), "/tmp/proc"); }
};

constexpr char kStat[] =
    "7 (a) S 1 (b) Z 9) S 1 7 7 0 -1 4194560 100 0 0 0 1 2 3 4 20 0 3 0 123456 1000 10\n";

}  // namespace

TEST(ProcessFacts, OfThisProcess) {
  const reader::Process self = reader::readProcess(getpid());
  EXPECT_EQ(getpid(), self.id);
  EXPECT_EQ(true, self.exists);
  EXPECT_EQ(false, self.ended);
  EXPECT_EQ(false, self.stopped);
  EXPECT_EQ(1U, self.threads);
  EXPECT_EQ(reader::readFile("/proc/self/comm", 16).text, *self.command + "\n");
  EXPECT_TRUE(self.segments);
}

TEST(ProcessFacts, TheStartIsBetweenBootAndNow) {
  const reader::Process self = reader::readProcess(getpid());
  const reader::Clocks clocks = reader::readClocks();
  ASSERT_TRUE(self.startTicks);
  EXPECT_EQ(sysconf(_SC_CLK_TCK), clocks.ticksPerSecond);
  EXPECT_LE(self.startTicks,
            static_cast<std::uint64_t>(clocks.sinceBoot.count() * clocks.ticksPerSecond / 1000));
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  EXPECT_LE(clocks.wall, now);
  ASSERT_TRUE(clocks.bootTime);
  EXPECT_LT(std::chrono::seconds(*clocks.bootTime), now);
  EXPECT_LE(
      std::chrono::abs(std::chrono::seconds(*clocks.bootTime) - (clocks.wall - clocks.sinceBoot)),
      std::chrono::milliseconds(1500));
}

TEST(ProcessFacts, AProcessThatWasReapedDoesNotExist) {
  const pid_t id = fork();
  if (id == 0) _exit(0);
  waitpid(id, nullptr, 0);
  const reader::Process gone = reader::readProcess(id);
  EXPECT_EQ(false, gone.exists);
  EXPECT_FALSE(gone.ended);
  EXPECT_FALSE(gone.startTicks);
}

TEST(ProcessFacts, AProcessThatIsNotReapedYetHasEnded) {
  const pid_t id = fork();
  if (id == 0) _exit(0);
  siginfo_t ended;
  waitid(P_PID, static_cast<id_t>(id), &ended, WEXITED | WNOWAIT);
  const reader::Process zombie = reader::readProcess(id);
  EXPECT_EQ(true, zombie.exists);
  EXPECT_EQ(true, zombie.ended);
  EXPECT_EQ(false, zombie.stopped);
  EXPECT_TRUE(zombie.startTicks);
  EXPECT_FALSE(zombie.segments) << "it has no memory any more";
  waitpid(id, nullptr, 0);
}

TEST(ProcessFacts, AProcessWhoseFirstThreadEndedLivesWithTheOthers) {
  const Sleeper sleeper([] {
    std::thread([] {
      for (;;) pause();
    }).detach();
    syscall(SYS_exit, 0);  // of this thread only
  });
  const std::string first = "/proc/" + std::to_string(sleeper.id()) + "/stat";
  while (reader::readFile(first, 1000).text.find(") Z ") == std::string::npos) sched_yield();
  const reader::Process process = reader::readProcess(sleeper.id());
  EXPECT_EQ(false, process.ended);
  EXPECT_EQ(false, process.stopped);
}

TEST(ProcessFacts, AStoppedProcessIsNoDeadOne) {
  const Sleeper sleeper;
  kill(sleeper.id(), SIGSTOP);
  waitpid(sleeper.id(), nullptr, WUNTRACED);
  const reader::Process process = reader::readProcess(sleeper.id());
  EXPECT_EQ(true, process.stopped);
  EXPECT_EQ(false, process.ended);
}

TEST(ProcessFacts, WhatItHasAttachedIsKnownOnceByKeyAndId) {
  const LiveSegment live("1-2-3", image::segment({}));
  void* const one = shmat(live.id(), nullptr, SHM_RDONLY);
  void* const other = shmat(live.id(), nullptr, 0);
  const reader::Process self = reader::readProcess(getpid());
  const reader::Segment segment = reader::readSegment(live.keyFile());
  shmdt(one);
  shmdt(other);
  ASSERT_TRUE(self.segments);
  const reader::MappedSegment expected{segment.key, static_cast<std::uint64_t>(live.id())};
  EXPECT_EQ(std::vector{expected}, *self.segments);
  EXPECT_TRUE(reader::readProcess(getpid()).segments->empty());
}

TEST(ProcessFacts, ANameMayHoldWhatEndsIt) {
  char before[16];
  prctl(PR_GET_NAME, before);
  prctl(PR_SET_NAME, "x) Z 1 (\n2");
  const reader::Process self = reader::readProcess(getpid());
  prctl(PR_SET_NAME, before);
  EXPECT_EQ("x) Z 1 (\n2", self.command);
  EXPECT_EQ(1U, self.threads);
  EXPECT_EQ(false, self.ended);
}

TEST(ProcessFacts, NumbersThatMeanWholeGroupsAreNotAsked) {
  for (const int id : {0, -1, INT32_MIN}) {
    const reader::Process process = reader::readProcess(id);
    EXPECT_EQ(id, process.id);
    EXPECT_FALSE(process.exists);
    EXPECT_FALSE(process.ended);
  }
}

TEST_F(ScriptedProc, FieldsAreCountedBehindTheLastParenthesis) {
  write(folder() / "stat", kStat);
  const reader::Process process = read();
  EXPECT_EQ("a) S 1 (b) Z 9", process.command);
  EXPECT_EQ(3U, process.threads);
  EXPECT_EQ(123456U, process.startTicks);
}

TEST_F(ScriptedProc, WhatCannotBeReadIsNotKnown) {
  fs::remove_all("/tmp/proc");
  reader::Process process = read();
  EXPECT_EQ(true, process.exists);
  EXPECT_FALSE(process.ended || process.stopped || process.threads || process.startTicks);
  EXPECT_FALSE(process.command || process.segments);
  for (const char* const text : {"", "7", "7 (a", "7 a) S 1", "7 (a) ", "7 )a( S"}) {
    write(folder() / "stat", text);
    process = read();
    EXPECT_FALSE(process.threads || process.startTicks || process.command) << text;
  }
  write(folder() / "stat", "7 (a) S 1 7 7 0 -1 1 1 0 0 0 1 2 3 4 20 0 -3 0 99999999999999999999");
  EXPECT_FALSE(read().threads || read().startTicks);
  EXPECT_EQ("a", read().command);
}

TEST_F(ScriptedProc, ItHasEndedWhenEveryThreadHas) {
  EXPECT_FALSE(read().ended) << "there is none";
  addThread(1, "Z");
  addThread(2, "X");
  EXPECT_EQ(true, read().ended);
  EXPECT_EQ(false, read().stopped);
  addThread(3, "T");
  EXPECT_EQ(false, read().ended);
  EXPECT_EQ(true, read().stopped);
  addThread(4, "t");
  EXPECT_EQ(true, read().stopped);
  addThread(5, "D");
  EXPECT_EQ(false, read().ended);
  EXPECT_EQ(false, read().stopped);
}

TEST_F(ScriptedProc, AThreadThatCannotBeReadMayLive) {
  addThread(1, "Z");
  write(folder() / "task/2/stat", "nonsense");
  EXPECT_FALSE(read().ended);
  EXPECT_FALSE(read().stopped);
  addThread(3, "T");
  EXPECT_EQ(false, read().ended);
  EXPECT_FALSE(read().stopped);
  addThread(2, "S");
  EXPECT_EQ(false, read().stopped);
}

TEST_F(ScriptedProc, SoManyEndedThreadsThatNotAllAreLookedAt) {
  for (int id = 1; id <= 4096; ++id) addThread(id, "Z");
  EXPECT_FALSE(read().ended);
}

TEST_F(ScriptedProc, OnlyLinesOfSegmentsCount) {
  write(folder() / "maps",
        "7f00-7f01 rw-s 00000000 00:01 32769    /SYSV0101abcd (deleted)\n"
        "7f01-7f02 r--s 00000000 00:01 32769    /SYSV0101abcd (deleted)\n"
        "7f02-7f03 rw-s 00000000 00:01 0        /SYSV00000000 (deleted)\n"
        "7f03-7f04 rw-p 00000000 00:00 0\n"
        "7f04-7f05 r-xp 00000000 08:01 77       /usr/SYSV0101abcd\n"
        "7f05-7f06 r-xp 00000000 08:01 78       /SYSVnohex\n"
        "7f06-7f07 r-xp 00000000 08:01 79       /SYSV123456789\n"
        "7f07-7f08 r-xp 00000000 08:01 -1       /SYSV01\n"
        "\n"
        "7f09");
  const std::vector<reader::MappedSegment> expected = {{0x0101abcd, 32769}, {0, 0}};
  EXPECT_EQ(expected, read().segments);
}

TEST_F(ScriptedProc, MapsThatAreTooLongTellNothing) {
  write(folder() / "maps", "7f00-7f01 rw-s 0 00:01 1 /SYSV01\n");
  EXPECT_EQ(1U, read().segments->size());
  fs::resize_file(folder() / "maps", 1 << 24);
  EXPECT_TRUE(read().segments);
  fs::resize_file(folder() / "maps", (1 << 24) + 1);
  EXPECT_FALSE(read().segments);
}

TEST_F(ScriptedProc, ABootTimeThatIsNoNumberIsNotKnown) {
  write("/tmp/proc/stat", "cpu 1 2 3\nbtime 1700000000\nprocesses 9\n");
  EXPECT_EQ(1700000000, reader::readClocks("/tmp/proc").bootTime);
  for (const char* const text : {"", "btime 5\n", "\nbtime \n", "\nbtime x\n", "\nbtime -5\n",
                                 "\nbtime 18446744073709551615\n"}) {
    write("/tmp/proc/stat", text);
    EXPECT_FALSE(reader::readClocks("/tmp/proc").bootTime) << text;
  }
}

TEST(BoundedFile, GivesItsFirstBytesAndSaysWhetherThereAreMore) {
  std::ofstream("/tmp/file") << "12345";
  EXPECT_EQ("12345", reader::readFile("/tmp/file", 5).text);
  EXPECT_FALSE(reader::readFile("/tmp/file", 5).cut);
  EXPECT_EQ("1234", reader::readFile("/tmp/file", 4).text);
  EXPECT_TRUE(reader::readFile("/tmp/file", 4).cut);
  EXPECT_EQ(0, reader::readFile("/tmp/file", 4).error);
  fs::remove("/tmp/file");
  EXPECT_EQ(ENOENT, reader::readFile("/tmp/file", 4).error);
  EXPECT_EQ(EISDIR, reader::readFile("/tmp", 4).error);
  EXPECT_TRUE(reader::readFile("/dev/zero", 10000).cut);
}

TEST(BoundedFile, APipeWithoutAWriterIsEmpty) {
  ASSERT_EQ(0, mkfifo("/tmp/pipe", 0600));
  const reader::FileText file = reader::readFile("/tmp/pipe", 10);
  fs::remove("/tmp/pipe");
  EXPECT_EQ(0, file.error);
  EXPECT_EQ("", file.text);
}

TEST(BoundedFile, OnlyWholeNumbersAreNumbers) {
  EXPECT_EQ(0U, reader::unsignedOf("0"));
  EXPECT_EQ(UINT64_MAX, reader::unsignedOf("18446744073709551615"));
  for (const char* const text : {"", " 1", "1 ", "+1", "-1", "0x1", "18446744073709551616"}) {
    EXPECT_FALSE(reader::unsignedOf(text)) << text;
  }
}

TEST(BoundedFile, WordsAreTakenOneByOne) {
  std::string_view text = " \tone\n two ";
  EXPECT_EQ("one", reader::takeWord(text));
  EXPECT_EQ("two", reader::takeWord(text));
  EXPECT_EQ("", reader::takeWord(text));
  EXPECT_EQ("", reader::takeWord(text));
}

}  // namespace processes_test
