// SPDX-License-Identifier: Apache-2.0
// Who waits for a semaphore, as far as the kernel tells.
#include "agent/reader/waits.h"

#include <gtest/gtest.h>
#include <sys/syscall.h>

#include <filesystem>
#include <fstream>

#include "agent/model/collector.h"
#include "tests/agent/live_lock.h"
#include "tests/support/image.h"
#include "tests/support/live_segment.h"

namespace waits_test {

namespace {

namespace fs = std::filesystem;
using reader::Waiter;

// The kernel's files as a test writes them.
class WaitsOfAMadeKernel : public testing::Test {
 protected:
  ~WaitsOfAMadeKernel() override { fs::remove_all("/tmp/proc"); }

  static void write(int process, int thread, const std::string& file, const std::string& text) {
    const fs::path folder =
        fs::path("/tmp/proc") / std::to_string(process) / "task" / std::to_string(thread);
    fs::create_directories(folder);
    std::ofstream(folder / file) << text;
  }
  static std::string waitFor(const std::string& semaphore) {
    return std::to_string(SYS_semtimedop) + " " + semaphore + " 0x7ffd 0x1 0x0 0x0 0x0 0x7f 0x7f\n";
  }
  static reader::Waits read() { return reader::readWaits({5, 0x88000}, "/tmp/proc"); }
};

}  // namespace

TEST_F(WaitsOfAMadeKernel, AreThoseOfAnyThreadForOneOfTheSemaphores) {
  write(9, 9, "syscall", "running\n");
  write(9, 10, "syscall", waitFor("0x88000"));
  write(9, 11, "syscall", waitFor("0x88000"));
  write(7, 7, "syscall", waitFor("0x5"));
  const reader::Waits waits = read();
  EXPECT_EQ((std::vector<Waiter>{{7, 5}, {9, 0x88000}}), waits.waiters);
  EXPECT_TRUE(waits.unsure.empty());
}

TEST_F(WaitsOfAMadeKernel, AreNoOtherCallsAndNoOtherSemaphores) {
  write(7, 7, "syscall", waitFor("0x6"));
  write(8, 8, "syscall", "-1 0x7ffd 0x7f\n");
  write(9, 9, "syscall", std::to_string(SYS_read) + " 0x5 0x7ffd 0x1\n");
  write(10, 10, "syscall", waitFor("0xffffffffffffffff"));
  write(11, 11, "syscall", waitFor("5"));
  write(12, 12, "syscall", std::to_string(SYS_semtimedop) + "\n");
  const reader::Waits waits = read();
  EXPECT_TRUE(waits.waiters.empty());
  EXPECT_TRUE(waits.unsure.empty());
}

TEST_F(WaitsOfAMadeKernel, AreUnsureWhereOnlyThePlaceOfTheSleepIsTold) {
  write(7, 7, "wchan", "__do_semtimedop");
  write(8, 8, "wchan", "futex_wait_queue");
  write(9, 9, "wchan", "0");
  const reader::Waits waits = read();
  EXPECT_TRUE(waits.waiters.empty());
  EXPECT_EQ(std::vector<std::int32_t>{7}, waits.unsure);
}

TEST(Waits, AreReadOfALockThatSomebodyKeepsAndNotOfABusyOne) {
  const LiveSegment segment("1-2-3", image::segment({image::ordersBlock()}));
  const LiveLock lock("1-2-3.zebcedar");
  lock.change(-1);
  const Waiting waiting(lock);
  model::Collector collector("/tmp", model::Events::leave, model::MachineFacts::read);
  EXPECT_EQ((std::vector<Waiter>{{waiting.id(), lock.semaphore()}}),
            reader::readWaits({lock.semaphore()}).waiters);
  auto seen = collector.take();
  while (!seen->machine->waits) seen = collector.take();  // until the lock is a second old
  EXPECT_EQ(std::vector<std::int32_t>{waiting.id()}, seen->machine->waitersFor(lock.semaphore()));
  EXPECT_TRUE(seen->machine->waitersFor(lock.semaphore() + 1).empty());
  EXPECT_NE(nullptr, seen->machine->find(waiting.id()));
}

}  // namespace waits_test
