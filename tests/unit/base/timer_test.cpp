// SPDX-License-Identifier: Apache-2.0
// Time stamps, the timer, calendar times and random numbers.
#include "base/timer.h"

#include <sys/wait.h>
#include <unistd.h>

#include <set>
#include <thread>

#include "base/calendar.h"
#include "base/random_number.h"
#include "tests/support/failing.h"
#include "tests/support/library_test.h"
#include "tests/support/processes.h"

namespace timer_test {

using namespace support;

namespace {

using Stamp = _TimeStamp;

class Timer : public LibraryTest {};

TEST_F(Timer, NowIsSecondsAndWholeMilliseconds) {
  setClock(1234567890, 999);
  EXPECT_EQ((Stamp{1234567890, 999}), ZEB_Timer::nowTime());
  setClock(4294967296 + 5, 0);
  EXPECT_EQ((Stamp{5, 0}), ZEB_Timer::nowTime());
}

TEST_F(Timer, MeasuresFromStartToStop) {
  ZEB_Timer timer;
  EXPECT_EQ((Stamp{0, 0}), timer.elapsedTime());
  setClock(100, 900);
  EXPECT_EQ(0, timer.start());
  setClock(103, 100);
  EXPECT_EQ(0, timer.stop());
  EXPECT_EQ((Stamp{2, 200}), timer.elapsedTime());
  setClock(200, 0);
  EXPECT_EQ((Stamp{2, 200}), timer.elapsedTime());
  timer.start();
  EXPECT_EQ((Stamp{0, 0}), timer.elapsedTime()) << "starting forgets the stop";
  timer.stop();
  timer.init();
  EXPECT_EQ((Stamp{0, 0}), timer.elapsedTime());
}

TEST_F(Timer, InitForgetsBothStamps) {
  ZEB_Timer timer;
  setClock(100, 0);
  timer.start();
  timer.stop();
  timer.init();
  setClock(105, 0);
  timer.stop();
  EXPECT_EQ((Stamp{105, 0}), timer.elapsedTime());
}

TEST_F(Timer, DifferencesBorrowASecondAndAreNeverNegative) {
  EXPECT_EQ((Stamp{0, 200}), ZEB_Timer::elapsedTime({10, 900}, {11, 100}));
  EXPECT_EQ((Stamp{0, 0}), ZEB_Timer::elapsedTime({10, 500}, {10, 400}));
  EXPECT_EQ((Stamp{0, 0}), ZEB_Timer::elapsedTime({11, 0}, {10, 999}));
  EXPECT_EQ((Stamp{0, 0}), ZEB_Timer::elapsedTime({10, 500}, {10, 500}));
  EXPECT_EQ((Stamp{0, 1}), ZEB_Timer::elapsedTime({10, 500}, {10, 501}));
  EXPECT_EQ((Stamp{1, 0}), ZEB_Timer::elapsedTime({10, 500}, {11, 500}));
  EXPECT_EQ((Stamp{0, 999}), ZEB_Timer::elapsedTime({10, 500}, {11, 499}));
  EXPECT_EQ((Stamp{4, 999}), ZEB_Timer::elapsedTime({10, 1}, {15, 0}));
  EXPECT_EQ((Stamp{4294967295, 999}), ZEB_Timer::elapsedTime({0, 0}, {4294967295, 999}));
}

TEST_F(Timer, OneStampIsMeasuredToNow) {
  setClock(20, 100);
  EXPECT_EQ((Stamp{9, 200}), ZEB_Timer::elapsedTime({10, 900}));
}

TEST_F(Timer, Traces) {
  const Tracing on;
  ZEB_Timer timer;
  timer.start();
  timer.stop();
  timer.elapsedTime();
  EXPECT_EQ((Texts{"Entry", "Entry", "Exit", "Exit"}),
            textsOf("zebctime", "ZEB_Timer::elapsedTime"));
  ZEB_Timer::elapsedTime({1, 1});
  EXPECT_EQ(8U, textsOf("zebctime", "ZEB_Timer::elapsedTime").size());
  expectTraced("zebctime", {{"ZEB_Timer::ZEB_Timer", "Exit"},
                            {"ZEB_Timer::init", "Exit"},
                            {"ZEB_Timer::start", "Exit: 0x0"},
                            {"ZEB_Timer::stop", "Exit: 0x0"},
                            {"ZEB_Timer::nowTime", "Exit"}});
}

class Calendar : public LibraryTest {
 protected:
  static std::string textOf(std::uint32_t time) {
    char text[kCalendarTextBytes];
    return ZEB_FormatCalendar(text, time);
  }
};

TEST_F(Calendar, CountsFrom1901) {
  setClock(0);
  EXPECT_EQ(2177452800U, ZEB_CalendarNow());
  setClock(kNow, 999);
  EXPECT_EQ(3877452800U, ZEB_CalendarNow());
  setClock(2117514495);
  EXPECT_EQ(4294967295U, ZEB_CalendarNow());
  setClock(2117514496);
  EXPECT_EQ(0U, ZEB_CalendarNow());
}

TEST_F(Calendar, IsShownInLocalTime) {
  setenv("TZ", "UTC0", 1);
  tzset();
  EXPECT_EQ("Tue Nov 14 22:13:20 2023", textOf(3877452800U));
  EXPECT_EQ("Thu Jan  1 00:00:00 1970", textOf(2177452800U));
  EXPECT_EQ("Tue Jan  1 00:00:01 1901", textOf(1));
  EXPECT_EQ("Fri Feb  6 06:28:15 2037", textOf(4294967295U));
  EXPECT_EQ("n/a", textOf(0));
  setenv("TZ", "TST-2", 1);
  tzset();
  EXPECT_EQ("Wed Nov 15 00:13:20 2023", textOf(3877452800U));
}

class RandomNumber : public LibraryTest {};

TEST_F(RandomNumber, Has31BitsAndChanges) {
  std::set<std::uint32_t> drawn;
  for (int i = 0; i < 1000; ++i) {
    const std::uint32_t number = ZEB_RandomNumber();
    EXPECT_EQ(0U, number >> 31);
    drawn.insert(number);
  }
  EXPECT_GT(drawn.size(), 990U);
}

TEST_F(RandomNumber, LeavesTheHostsSequenceAlone) {
  srandom(7);
  const long first = random();
  const long second = random();
  srandom(7);
  EXPECT_EQ(first, random());
  ZEB_RandomNumber();
  EXPECT_EQ(second, random());
}

// Four numbers of a thread that has drawn none before.
std::vector<std::uint32_t> drawInANewThread() {
  std::vector<std::uint32_t> numbers;
  std::jthread([&] {
    for (int i = 0; i < 4; ++i) numbers.push_back(ZEB_RandomNumber());
  }).join();
  return numbers;
}

TEST_F(RandomNumber, IsAnotherSequenceInEachThreadAndProcess) {
  std::set<std::vector<std::uint32_t>> sequences;
  for (int i = 0; i < 4; ++i) sequences.insert(drawInANewThread());
  EXPECT_EQ(4U, sequences.size());
}

TEST_F(RandomNumber, IsAnotherSequenceInEachThreadEvenWhereTheSystemHasNoRandomness) {
  failCalls("getrandom", EAGAIN);
  std::set<std::vector<std::uint32_t>> sequences;
  for (int i = 0; i < 4; ++i) sequences.insert(drawInANewThread());
  succeedAgain();
  EXPECT_EQ(4U, sequences.size());
}

int drawAfterFork(Steps& parent, const std::vector<std::string>&) {
  ZEB_RandomNumber();
  int ends[2];
  if (pipe(ends) != 0) return 1;
  const pid_t child = fork();
  const std::uint32_t number = ZEB_RandomNumber();
  if (child == 0) {
    const bool written = write(ends[1], &number, sizeof number) == sizeof number;
    _exit(written ? 0 : 1);
  }
  std::uint32_t other = number;
  if (read(ends[0], &other, sizeof other) != sizeof other) return 1;
  waitpid(child, nullptr, 0);
  parent.tell(number != other ? "different" : "same");
  return 0;
}

const Role kForker("random forker", drawAfterFork);

TEST_F(RandomNumber, IsSeededAgainAfterAFork) {
  Child child("random forker");
  EXPECT_EQ("different", child.hear());
  EXPECT_EQ(0, child.wait());
}

}  // namespace

}  // namespace timer_test
