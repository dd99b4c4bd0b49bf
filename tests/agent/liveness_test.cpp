// SPDX-License-Identifier: Apache-2.0
// Whether a lock's last user is gone: said only when it is sure.
#include "agent/model/liveness.h"

#include <gtest/gtest.h>

namespace liveness_test {

namespace {

using model::Doubt;
using model::Fate;
using model::fateOf;
using model::Sighting;
using model::Verdict;
using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr std::int64_t kBoot = 1'000'000;
constexpr reader::MappedSegment kSegment{0x0101abcd, 32769};

// Process 42 took the lock 1000 s after boot, and the number is that of a process which started so
// many milliseconds after boot. Now it is 2000 s after boot.
Sighting sighting(std::uint64_t startedAfter) {
  Sighting now;
  now.semaphore.presence = reader::Presence::there;
  now.semaphore.id = 7;
  now.semaphore.lastProcess = 42;
  now.semaphore.changed = kBoot + 500;
  now.semaphore.lastOperation = kBoot + 1000;
  now.process.id = 42;
  now.process.exists = true;
  now.process.ended = false;
  now.process.startTicks = startedAfter / 10;
  now.process.segments.emplace();
  now.clocks.sinceBoot = seconds(2000);
  now.clocks.wall = seconds(kBoot + 2000);
  now.clocks.bootTime = kBoot;
  now.clocks.ticksPerSecond = 100;
  return now;
}

// A second earlier.
Sighting before(Sighting now) {
  now.clocks.sinceBoot -= seconds(1);
  now.clocks.wall -= seconds(1);
  return now;
}

Verdict verdictOf(const Sighting& now) {
  const Sighting earlier = before(now);
  return lastUser(&earlier, now, kSegment);
}

Verdict unknown(Doubt doubt) {
  return {Fate::unknown, doubt};
}

// Nobody used it since somebody made it, `age` before now.
Sighting made(milliseconds age) {
  Sighting now = sighting(0);
  now.process = {};
  now.semaphore.lastProcess = 0;
  now.semaphore.lastOperation = 0;
  now.semaphore.changed = kBoot + 1000;
  now.clocks.wall = seconds(kBoot + 1000) + age;
  now.clocks.sinceBoot = seconds(1000) + age;
  return now;
}

constexpr Verdict kAlive{Fate::alive};
constexpr Verdict kDead{Fate::dead};
constexpr Verdict kUsedAgain{Fate::numberUsedAgain};

}  // namespace

TEST(LastUser, WithoutAnyProcessOfItsNumberIsDead) {
  Sighting now = sighting(0);
  now.process = {};
  now.process.id = 42;
  now.process.exists = false;
  EXPECT_EQ(kDead, verdictOf(now));
  EXPECT_EQ(kDead, lastUser(nullptr, now, std::nullopt)) << "one look is enough";
  EXPECT_TRUE(verdictOf(now).gone());
}

TEST(LastUser, OfWhichAllThreadsHaveEndedIsDead) {
  Sighting now = sighting(0);
  now.process.ended = true;
  EXPECT_EQ(kDead, verdictOf(now));
}

TEST(LastUser, ThatStartedBeforeItUsedTheLockIsAlive) {
  EXPECT_EQ(kAlive, verdictOf(sighting(0)));
  EXPECT_EQ(kAlive, verdictOf(sighting(1000'000)));
  EXPECT_FALSE(verdictOf(sighting(0)).gone());
  Sighting now = sighting(0);
  now.process.ended.reset();
  now.process.segments.reset();
  EXPECT_EQ(kAlive, lastUser(nullptr, now, std::nullopt)) << "that is enough to know";
}

TEST(LastUser, ThatStartedMoreThanTwoSecondsLaterIsAnotherProcess) {
  EXPECT_EQ(kAlive, verdictOf(sighting(1002'000)));
  EXPECT_EQ(kUsedAgain, verdictOf(sighting(1002'010)));
  EXPECT_TRUE(verdictOf(sighting(1002'010)).gone());
}

TEST(LastUser, AValueThatWasSetCountsAsUse) {
  Sighting now = sighting(1002'010);
  now.semaphore.changed = kBoot + 1001;
  EXPECT_EQ(kAlive, verdictOf(now));
}

TEST(LastUser, ANumberUsedAgainTakesTwoLooksBetweenWhichNobodySetTheClock) {
  const Sighting now = sighting(1500'000);
  EXPECT_EQ(unknown(Doubt::oneLook), lastUser(nullptr, now, kSegment));
  for (const int step : {501, -501, 3'600'000}) {
    Sighting earlier = before(now);
    earlier.clocks.wall += milliseconds(step);
    EXPECT_EQ(unknown(Doubt::clockStepped), lastUser(&earlier, now, kSegment)) << step;
  }
  for (const int step : {500, -500}) {
    Sighting earlier = before(now);
    earlier.clocks.wall += milliseconds(step);
    EXPECT_EQ(kUsedAgain, lastUser(&earlier, now, kSegment)) << step;
  }
}

TEST(LastUser, WhoHasAttachedTheSegmentIsNotCalledAnother) {
  Sighting now = sighting(1500'000);
  now.process.segments = {{1, 1}, kSegment};
  EXPECT_EQ(unknown(Doubt::attached), verdictOf(now));
  now.process.segments = {{kSegment.key, 1}, {1, kSegment.id}};
  EXPECT_EQ(kUsedAgain, verdictOf(now));
}

TEST(LastUser, WithoutAllOfTheFactsNothingIsSaid) {
  const Sighting whole = sighting(1500'000);
  Sighting now = whole;
  now.process.startTicks.reset();
  EXPECT_EQ(unknown(Doubt::unreadable), verdictOf(now));
  now = whole;
  now.process.segments.reset();
  EXPECT_EQ(unknown(Doubt::unreadable), verdictOf(now));
  now = whole;
  now.clocks.bootTime.reset();
  EXPECT_EQ(unknown(Doubt::unreadable), verdictOf(now));
  now = whole;
  now.clocks.ticksPerSecond = 0;
  EXPECT_EQ(unknown(Doubt::unreadable), verdictOf(now));
  now = whole;
  now.process.exists.reset();
  EXPECT_EQ(unknown(Doubt::unreadable), verdictOf(now));
  now = whole;
  EXPECT_EQ(unknown(Doubt::unreadable), lastUser(&whole, now, std::nullopt));
  now.semaphore.presence = reader::Presence::refused;
  EXPECT_EQ(unknown(Doubt::unreadable), verdictOf(now));
}

TEST(LastUser, ClocksThatDisagreeTellNothing) {
  Sighting now = sighting(1500'000);
  now.clocks.bootTime = kBoot - 1;
  EXPECT_EQ(kUsedAgain, verdictOf(now));
  for (const int off : {-2, 2}) {
    now.clocks.bootTime = kBoot + off;
    EXPECT_EQ(unknown(Doubt::clocksDisagree), verdictOf(now)) << off;
  }
}

TEST(LastUser, TheEarlierOfTheTwoClocksDecides) {
  Sighting now = sighting(1002'500);
  EXPECT_EQ(kUsedAgain, verdictOf(now));
  now.clocks.bootTime = kBoot - 1;
  EXPECT_EQ(kAlive, verdictOf(now));
}

TEST(LastUser, AStartInTheFutureIsNoStart) {
  EXPECT_EQ(unknown(Doubt::clocksDisagree), verdictOf(sighting(2002'000)));
  Sighting now = sighting(0);
  now.process.startTicks = UINT64_MAX;
  EXPECT_EQ(unknown(Doubt::clocksDisagree), verdictOf(now));
}

TEST(LastUser, NumbersWithoutBoundHarmNothing) {
  for (const std::int64_t huge : {INT64_MAX, INT64_MIN}) {
    Sighting now = sighting(1500'000);
    now.semaphore.lastOperation = huge;
    EXPECT_EQ(huge > 0 ? kAlive : kUsedAgain, verdictOf(now));
    now.clocks.bootTime = huge;
    EXPECT_EQ(unknown(Doubt::unreadable), verdictOf(now));
    now = sighting(1500'000);
    now.clocks.sinceBoot = milliseconds(huge > 0 ? huge : huge + 1000);
    EXPECT_EQ(unknown(Doubt::unreadable), verdictOf(now));
    Sighting unused = made(seconds(5));
    unused.semaphore.changed = huge;
    EXPECT_EQ(huge > 0 ? unknown(Doubt::tooSoon) : Verdict{Fate::diedMaking}, verdictOf(unused));
  }
}

TEST(LastUser, ALockThatNobodyUsedForFiveSecondsWasLeftByItsMaker) {
  EXPECT_EQ(unknown(Doubt::tooSoon), verdictOf(made(milliseconds(4999))));
  EXPECT_EQ(Verdict{Fate::diedMaking}, verdictOf(made(milliseconds(5000))));
  EXPECT_TRUE(verdictOf(made(milliseconds(5000))).gone());
  EXPECT_EQ(unknown(Doubt::oneLook), lastUser(nullptr, made(seconds(9)), kSegment));
}

TEST(LastUser, ALockThatChangedBetweenTheLooksIsBeingMade) {
  const Sighting now = made(seconds(9));
  Sighting earlier = before(now);
  earlier.semaphore.id = 8;
  EXPECT_EQ(unknown(Doubt::tooSoon), lastUser(&earlier, now, kSegment));
  earlier = before(now);
  --earlier.semaphore.changed;
  EXPECT_EQ(unknown(Doubt::tooSoon), lastUser(&earlier, now, kSegment));
  earlier = before(now);
  earlier.semaphore.lastProcess = 5;
  EXPECT_EQ(unknown(Doubt::tooSoon), lastUser(&earlier, now, kSegment));
  earlier = before(now);
  earlier.semaphore.presence = reader::Presence::absent;
  EXPECT_EQ(unknown(Doubt::tooSoon), lastUser(&earlier, now, kSegment));
  earlier = before(now);
  earlier.clocks.wall -= seconds(1);
  EXPECT_EQ(unknown(Doubt::clockStepped), lastUser(&earlier, now, kSegment));
}

TEST(LastUser, AUserWithoutANumberHereIsInAnotherNamespace) {
  Sighting now = made(seconds(9));
  now.semaphore.lastOperation = kBoot + 1000;
  EXPECT_EQ(unknown(Doubt::otherNamespace), verdictOf(now));
  now = made(seconds(9));
  now.semaphore.value = 1;
  EXPECT_EQ(unknown(Doubt::otherNamespace), verdictOf(now));
}

TEST(FateOfAProcess, NeedsNoLock) {
  reader::Process process;
  EXPECT_EQ(unknown(Doubt::otherNamespace), fateOf(process));
  process.id = 42;
  EXPECT_EQ(unknown(Doubt::unreadable), fateOf(process));
  process.exists = false;
  EXPECT_EQ(kDead, fateOf(process));
  process.exists = true;
  EXPECT_EQ(kAlive, fateOf(process));
  process.ended = true;
  EXPECT_EQ(kDead, fateOf(process));
}

}  // namespace liveness_test
