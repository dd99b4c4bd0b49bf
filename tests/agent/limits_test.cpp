// SPDX-License-Identifier: Apache-2.0
#include "agent/reader/limits.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "tests/agent/live_lock.h"
#include "tests/support/image.h"
#include "tests/support/ipc_objects.h"
#include "tests/support/live_segment.h"

namespace limits_test {

namespace {

namespace fs = std::filesystem;

class ScriptedLimits : public testing::Test {
 protected:
  ~ScriptedLimits() override { fs::remove_all("/tmp/proc"); }

  static void write(const std::string& name, const std::string& text) {
    const fs::path path = "/tmp/proc/" + name;
    fs::create_directories(path.parent_path());
    std::ofstream(path) << text;
  }
  static reader::Limits read() { return reader::readLimits("/tmp/proc"); }
};

constexpr char kSegments[] = "key shmid perms size cpid\n";

}  // namespace

TEST(Limits, AreThoseOfTheKernel) {
  const reader::Limits limits = reader::readLimits();
  EXPECT_TRUE(limits.segmentBytes);
  EXPECT_TRUE(limits.memoryPages);
  EXPECT_EQ(static_cast<std::uint64_t>(getpagesize()), limits.pageBytes);
  std::ifstream sem("/proc/sys/kernel/sem");
  std::uint64_t perSet, all, operations, sets;
  sem >> perSet >> all >> operations >> sets;
  EXPECT_EQ(perSet, limits.semaphoresPerSet);
  EXPECT_EQ(all, limits.semaphores);
  EXPECT_EQ(operations, limits.operationsPerCall);
  EXPECT_EQ(sets, limits.semaphoreSets);
  EXPECT_TRUE(limits.queueBytes);
  EXPECT_TRUE(limits.queues);
  EXPECT_TRUE(limits.segments);
}

TEST(Limits, WhatIsInUseIsCounted) {
  const reader::Limits before = reader::readLimits();
  EXPECT_EQ(support::segments().size(), before.usedSegments);
  EXPECT_EQ(support::semaphoreSets().size(), before.usedSemaphoreSets);
  EXPECT_EQ(support::messageQueues().size(), before.usedQueues);
  const LiveSegment segment("1-2-3", image::segment({image::ordersBlock()}));
  const LiveLock lock("name");
  const reader::Limits now = reader::readLimits();
  EXPECT_EQ(*before.usedSegments + 1, now.usedSegments);
  EXPECT_EQ(*before.usedPages + 2, now.usedPages) << "a header and 4096 bytes";
  EXPECT_EQ(*before.usedSemaphoreSets + 1, now.usedSemaphoreSets);
  EXPECT_EQ(*before.usedSemaphores + 1, now.usedSemaphores);
  EXPECT_EQ(*before.usedQueues + 1, now.usedQueues);
}

TEST_F(ScriptedLimits, EachHasItsFile) {
  write("sys/kernel/shmmax", "18446744073692774399\n");
  write("sys/kernel/shmall", "2\n");
  write("sys/kernel/shmmni", "3\n");
  write("sys/kernel/msgmnb", "4\n");
  write("sys/kernel/msgmni", "5\n");
  write("sys/kernel/sem", "6\t7\t8\t9\n");
  const reader::Limits limits = read();
  EXPECT_EQ(18446744073692774399U, limits.segmentBytes);
  EXPECT_EQ(2U, limits.memoryPages);
  EXPECT_EQ(3U, limits.segments);
  EXPECT_EQ(4U, limits.queueBytes);
  EXPECT_EQ(5U, limits.queues);
  EXPECT_EQ(6U, limits.semaphoresPerSet);
  EXPECT_EQ(7U, limits.semaphores);
  EXPECT_EQ(8U, limits.operationsPerCall);
  EXPECT_EQ(9U, limits.semaphoreSets);
}

TEST_F(ScriptedLimits, WhatCannotBeReadIsNotKnown) {
  write("sys/kernel/shmmax", "-1\n");
  write("sys/kernel/sem", "250 x\n");
  const reader::Limits limits = read();
  EXPECT_FALSE(limits.segmentBytes || limits.memoryPages || limits.segments);
  EXPECT_EQ(250U, limits.semaphoresPerSet);
  EXPECT_FALSE(limits.semaphores || limits.operationsPerCall || limits.semaphoreSets);
  EXPECT_FALSE(limits.usedPages || limits.usedSegments || limits.usedSemaphores);
  EXPECT_FALSE(limits.usedSemaphoreSets || limits.usedQueues);
}

TEST_F(ScriptedLimits, PagesAreRoundedUpObjectByObject) {
  const std::string page = std::to_string(getpagesize());
  const std::string more = std::to_string(getpagesize() + 1);
  write("sysvipc/shm", kSegments + ("1 1 660 1 9\n2 2 660 " + page + " 9\n3 3 660 " + more));
  EXPECT_EQ(3U, read().usedSegments);
  EXPECT_EQ(4U, read().usedPages);
  write("sysvipc/shm", kSegments);
  EXPECT_EQ(0U, read().usedSegments);
  EXPECT_EQ(0U, read().usedPages);
  write("sysvipc/shm", "no line end");
  EXPECT_EQ(0U, read().usedSegments);
}

TEST_F(ScriptedLimits, ListsThatAreNoneOrTooLongTellNothing) {
  write("sysvipc/sem", "key semid perms nsems\n1 1 660 x 0\n");
  EXPECT_FALSE(read().usedSemaphores || read().usedSemaphoreSets);
  write("sysvipc/sem", "h\n1 1 660 18446744073709551615\n1 1 660 1\n");
  EXPECT_FALSE(read().usedSemaphores);
  write("sysvipc/sem", "h\n1 1 660 18446744073709551615\n");
  EXPECT_EQ(UINT64_MAX, read().usedSemaphores);
  write("sysvipc/msg", "h\nany\nany\n");
  EXPECT_EQ(2U, read().usedQueues);
  fs::resize_file("/tmp/proc/sysvipc/msg", (1 << 24) + 1);
  EXPECT_FALSE(read().usedQueues);
}

}  // namespace limits_test
