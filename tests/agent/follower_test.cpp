// SPDX-License-Identifier: Apache-2.0
// Following a machine's events: how often, and what each look brings.
#include "agent/model/follower.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "tests/support/image.h"
#include "tests/support/live_segment.h"

namespace follower_test {

namespace {

using image::Bytes;
using model::FollowLook;
using std::chrono::hours;
using std::chrono::milliseconds;

constexpr std::uint32_t kSlots = image::kOrdersSlots;

std::size_t eventsIn(const FollowLook& look) {
  std::size_t number = 0;
  for (const model::News& news : look.news) number += news.events.size();
  return number;
}

std::vector<model::Gap> gapsIn(const FollowLook& look) {
  std::vector<model::Gap> gaps;
  for (const model::News& news : look.news)
    gaps.insert(gaps.end(), news.gaps.begin(), news.gaps.end());
  return gaps;
}

}  // namespace

TEST(Pause, IsAQuarterOfATurnAtTheRateThatWasSeen) {
  EXPECT_EQ(milliseconds(4), model::pauseFor(40000, 2500000, hours(1)));
  EXPECT_EQ(milliseconds(3), model::pauseFor(100, 8000, hours(1)));
}

TEST(Pause, IsShortEnoughForABurstThatBeginsAnyTime) {
  EXPECT_EQ(milliseconds(5), model::pauseFor(7281, 0, hours(1)));
  EXPECT_EQ(milliseconds(5), model::pauseFor(227, 1, hours(1)));
  EXPECT_EQ(milliseconds(20), model::pauseFor(80000, 0, hours(1)));
}

TEST(Pause, IsShorterWhileABusyRingMayTurnAtOnce) {
  EXPECT_EQ(milliseconds(5), model::pauseFor(7281, model::kBusy - 1, hours(1)));
  EXPECT_EQ(milliseconds(1), model::pauseFor(7281, model::kBusy, hours(1)));
  EXPECT_EQ(milliseconds(20), model::pauseFor(80000, model::kBusy, hours(1)));
}

TEST(Pause, StaysWithinItsBounds) {
  EXPECT_EQ(milliseconds(500), model::pauseFor(4000000000, 0, milliseconds(500)));
  EXPECT_EQ(milliseconds(1), model::pauseFor(28, 1e9, milliseconds(500)));
  EXPECT_EQ(milliseconds(1), model::pauseFor(28, 0, milliseconds(1)));
  EXPECT_EQ(milliseconds(5), model::pauseFor(0, 0, milliseconds(500)));
  EXPECT_EQ(milliseconds(1), model::pauseFor(0, 1, milliseconds(500)));
  EXPECT_EQ(hours(24), model::pauseFor(~0ULL, 1e-300, hours(100)));
}

TEST(Follower, TheFirstLookIsAtAllAndTheNextOnesAtEventsOnly) {
  LiveSegment live("1-2-3", image::ordersAfter(2));
  model::Follower follower("/tmp", hours(1));
  const FollowLook first = follower.look();
  ASSERT_TRUE(first.whole);
  EXPECT_EQ("/tmp/", first.whole->directory);
  EXPECT_EQ("BRK1", first.whole->brokers.at(0)->label());
  EXPECT_EQ(2U, eventsIn(first));
  EXPECT_FALSE(follower.look().whole);
  live.write(image::ordersAfter(5));
  const FollowLook next = follower.look();
  EXPECT_FALSE(next.whole);
  EXPECT_EQ(3U, eventsIn(next));
  EXPECT_EQ("BRK1", next.news.at(0).broker->label());
  EXPECT_EQ("seen", next.news.at(0).events.at(0).origin->text);
  EXPECT_EQ(0U, eventsIn(follower.look()));
  EXPECT_EQ(0U, live.attached());
}

TEST(Follower, EveryLookIsAtAllWhenItsTimeHasCome) {
  LiveSegment live("1-2-3", image::ordersAfter(2));
  model::Follower follower("/tmp", milliseconds(0));
  follower.look();
  live.write(image::ordersAfter(3));
  const FollowLook next = follower.look();
  EXPECT_TRUE(next.whole);
  EXPECT_EQ(1U, eventsIn(next));
  EXPECT_TRUE(gapsIn(next).empty());
}

TEST(Follower, ARingThatTurnedBetweenTwoLooksIsAGapThatIsCounted) {
  LiveSegment live("1-2-3", image::ordersAfter(2));
  model::Follower follower("/tmp", hours(1));
  follower.look();
  live.write(image::ordersAfter(kSlots + 7));
  const FollowLook next = follower.look();
  const auto gaps = gapsIn(next);
  ASSERT_EQ(1U, gaps.size());
  EXPECT_EQ(5U, gaps[0].missed.least);
  EXPECT_EQ(kSlots, gaps[0].perTurn);
  EXPECT_EQ(kSlots, eventsIn(next));
  EXPECT_TRUE(gapsIn(follower.look()).empty());
}

// The node's three messages are all that it counted, and its events were seen to the last.
TEST(Follower, CountsOfANodeTellWhatWasMissedOfIt) {
  const auto with = [](std::uint32_t events, const char* count) {
    Bytes bytes = image::ordersAfter(events);
    Bytes digits;
    image::putDecimal(digits, count);
    std::copy(digits.begin(), digits.end(), bytes.begin() + 32 + 508 - 168 + 40);
    return bytes;
  };
  LiveSegment live("1-2-3", with(3, "3"));
  model::Follower follower("/tmp", hours(1));
  follower.look();
  live.write(with(kSlots + 10, "38"));
  const auto gaps = gapsIn(follower.look());
  ASSERT_EQ(2U, gaps.size());
  EXPECT_EQ("Reserve", gaps[1].node);
  EXPECT_EQ(model::Missed::Kind::exact, gaps[1].missed.kind);
  EXPECT_EQ(7U, gaps[1].missed.least);
}

TEST(Follower, ABrokerThatRestartsIsAGapAndAllOfItsNewEvents) {
  for (const milliseconds most : {milliseconds(0), milliseconds(hours(1))}) {
    auto live = std::make_unique<LiveSegment>("1-2-3", image::ordersAfter(5));
    model::Follower follower("/tmp", most);
    follower.look();
    live.reset();
    EXPECT_EQ(0U, eventsIn(follower.look()));
    live = std::make_unique<LiveSegment>("1-2-3", image::ordersAfter(2));
    const FollowLook next = follower.look();
    EXPECT_EQ(2U, eventsIn(next));
    const auto gaps = gapsIn(next);
    ASSERT_EQ(1U, gaps.size());
    EXPECT_EQ(model::Gap::Cause::restart, gaps[0].cause);
    EXPECT_TRUE(gapsIn(follower.look()).empty());
    EXPECT_TRUE(gapsIn(model::Follower("/tmp", most).look()).empty());
  }
}

TEST(Follower, EventsOfASegmentThatCannotBeReadForAMomentAreNotShownAgain) {
  const LiveSegment live("1-2-3", image::ordersAfter(2));
  model::Follower follower("/tmp", milliseconds(0));
  EXPECT_EQ(2U, eventsIn(follower.look()));
  std::filesystem::rename(live.keyFile(), "/tmp/aside");
  EXPECT_TRUE(follower.look().whole->brokers.empty());
  std::ofstream{live.keyFile()};
  EXPECT_EQ(reader::State::noSegment, follower.look().whole->brokers.at(0)->state());
  std::filesystem::rename("/tmp/aside", live.keyFile());
  const FollowLook back = follower.look();
  EXPECT_EQ(0U, eventsIn(back));
  EXPECT_TRUE(gapsIn(back).empty());
}

TEST(Follower, ADamagedEventMakesALookAtAllOfIt) {
  Bytes bytes = image::ordersAfter(2);
  LiveSegment live("1-2-3", bytes);
  model::Follower follower("/tmp", hours(1));
  follower.look();
  bytes = image::ordersAfter(5);
  bytes[32 + 2 * 4096 + 32 + 144 * 3] = 'X';
  live.write(bytes);
  const FollowLook next = follower.look();
  EXPECT_EQ(2U, eventsIn(next));
  EXPECT_EQ(reader::State::damaged, next.news.at(0).broker->state());
}

// The header may be seen before the event behind it, in memory that is written by others than the
// library.
TEST(Follower, AnEventThatCouldNotBeReadAtFirstIsShownWhenItCan) {
  for (const std::uint32_t before : {0U, 2U}) {
    LiveSegment live("1-2-3", image::ordersAfter(before));
    model::Follower follower("/tmp", milliseconds(0));
    follower.look();
    Bytes bytes = image::ordersAfter(before + 1);
    bytes[32 + 2 * 4096 + 32 + 144 * before] = 0;
    live.write(bytes);
    EXPECT_EQ(0U, eventsIn(follower.look()));
    live.write(image::ordersAfter(before + 1));
    EXPECT_EQ(1U, eventsIn(follower.look()));
  }
}

TEST(Follower, ADamagedPlaceCostsOneWholeLookUntilTheNextIsDue) {
  LiveSegment live("1-2-3", image::ordersAfter(2));
  model::Follower follower("/tmp", hours(1));
  follower.look();
  Bytes bytes = image::ordersAfter(3);
  bytes[32 + 2 * 4096 + 32 + 144 * 2] = 'X';
  live.write(bytes);
  EXPECT_EQ(0U, eventsIn(follower.look()));
  live.write(image::ordersAfter(4));
  EXPECT_EQ(0U, eventsIn(follower.look()));
}

TEST(Follower, WaitsNoLongerThanUntilTheNextLookAtAll) {
  LiveSegment live("1-2-3", image::ordersAfter(2));
  model::Follower follower("/tmp", hours(1));
  follower.look();
  EXPECT_LE(follower.pause(), milliseconds(5));
  model::Follower alone("/opt", milliseconds(7));
  alone.look();
  EXPECT_LE(alone.pause(), milliseconds(7));
}

// As a server follows: whole looks tell everything.
TEST(Follower, AWholeLookHasTheEventsSinceTheOneBefore) {
  LiveSegment live("1-2-3", image::ordersAfter(2));
  model::Follower follower("/tmp", hours(1), {.machine = model::MachineFacts::read});
  const auto wholeBroker = [&follower] { return follower.lookAtAll().whole->brokers.at(0); };
  EXPECT_EQ(2U, wholeBroker()->events->events.size());
  live.write(image::ordersAfter(3));
  EXPECT_EQ(1U, eventsIn(follower.lookAtEvents()));
  live.write(image::ordersAfter(5));
  const FollowLook look = follower.lookAtAll();
  EXPECT_EQ(2U, eventsIn(look)) << "what is new";
  EXPECT_TRUE(look.whole->machine);
  EXPECT_EQ(3U, look.whole->brokers.at(0)->events->events.size()) << "what the looks differ by";
  EXPECT_FALSE(look.whole->brokers.at(0)->events->overrun);
  EXPECT_EQ(0U, wholeBroker()->events->events.size());
  live.write(image::ordersAfter(kSlots + 10));
  follower.lookAtEvents();
  const auto after = wholeBroker();
  EXPECT_TRUE(after->events->overrun);
  EXPECT_EQ(5U, after->events->missed);
}

TEST(Follower, AWholeLookTellsEachTimeWhatIsDamaged) {
  Bytes bytes = image::ordersAfter(3);
  bytes[32 + 2 * 4096 + 32 + 144 * 1] = 'X';
  const LiveSegment live("1-2-3", bytes);
  model::Follower follower("/tmp", hours(1), {.machine = model::MachineFacts::read});
  for (int look = 0; look < 2; ++look) {
    EXPECT_EQ(reader::State::damaged, follower.lookAtAll().whole->brokers.at(0)->state());
  }
}

TEST(Follower, LooksAtNoMoreMemoryThanItIsAllowedTo) {
  const LiveSegment one("1-2-3", image::ordersAfter(3));
  const LiveSegment other("1-2-4", image::ordersAfter(3));
  const auto cutWith = [](std::uint64_t most) {
    model::Follower follower("/tmp", hours(1),
                             {.scope = {.mostTotal = most}, .machine = model::MachineFacts::read});
    const auto whole = follower.lookAtAll().whole;
    EXPECT_EQ(2U, whole->brokers.size());
    const auto cut = [&whole](std::size_t i) {
      return whole->brokers[i]->cutStatistics() + whole->brokers[i]->cutEvents() > 0;
    };
    return std::pair(cut(0), cut(1));
  };
  // Just enough for one: two of its areas may grow while they are copied.
  std::uint64_t enough = 2 << 16;
  for (const auto& area : reader::readSegment(one.keyFile()).copy.areas) enough += area.last;
  EXPECT_EQ(std::pair(false, false), cutWith(2 * enough));
  EXPECT_EQ(std::pair(false, true), cutWith(enough));
  EXPECT_EQ(std::pair(true, true), cutWith(100));
}

TEST(Follower, AQuickLookCopiesNoMoreThanOneAtAll) {
  constexpr std::uint32_t kManySlots = 2000;
  constexpr std::uint64_t kMost = 3 << 16;
  LiveSegment live("1-2-3", image::ordersAfter(2, kManySlots));
  model::Follower follower("/tmp", hours(1), {.scope = {.mostBytes = kMost}});
  EXPECT_EQ(2U, eventsIn(follower.look()));
  live.write(image::ordersAfter(1500, kManySlots));
  const std::size_t cut = eventsIn(follower.look());
  EXPECT_GT(cut, 0U);
  EXPECT_LT(cut, kMost / 144);
  EXPECT_EQ(1498U, cut + eventsIn(follower.look())) << "the next look brings the rest";
}

TEST(Follower, QuickLooksAtAllBrokersTogetherCopyNoMoreThanOneAtAll) {
  constexpr std::uint32_t kManySlots = 2000;
  constexpr std::uint64_t kMost = 4 << 16;
  LiveSegment first("1-2-3", image::ordersAfter(2, kManySlots));
  LiveSegment second("4-5-6", image::ordersAfter(2, kManySlots));
  model::Follower follower("/tmp", hours(1), {.scope = {.mostTotal = kMost}});
  EXPECT_EQ(4U, eventsIn(follower.look()));
  first.write(image::ordersAfter(1400, kManySlots));
  second.write(image::ordersAfter(1400, kManySlots));
  const std::size_t cut = eventsIn(follower.look());
  EXPECT_GE(cut, 1398U);
  EXPECT_LT(cut, kMost / 144);
}

TEST(Follower, BrokersThatAreKnownStayAmongThoseThatAreLookedAt) {
  model::Follower follower("/tmp", hours(1), {.scope = {.mostBrokers = 1}});
  const auto seen = [&follower] {
    const auto whole = follower.lookAtAll().whole;
    EXPECT_EQ(1U, whole->brokers.size());
    return std::pair(whole->brokers.at(0)->segment.uuid, whole->leftOut.tooMany);
  };
  std::ofstream{"/tmp/0.zebcshme"};
  EXPECT_EQ(std::pair(std::string("0"), std::size_t{0}), seen());
  auto second = std::make_unique<LiveSegment>("2", image::ordersAfter(1));
  EXPECT_EQ(std::pair(std::string("2"), std::size_t{1}), seen()) << "it has memory";
  const LiveSegment first("1", image::ordersAfter(1));
  EXPECT_EQ(std::pair(std::string("2"), std::size_t{2}), seen()) << "it is known";
  second.reset();
  EXPECT_EQ(std::pair(std::string("1"), std::size_t{1}), seen());
  std::filesystem::remove("/tmp/0.zebcshme");
}

TEST(Follower, BrokersOfOthersAreCountedOnly) {
  const LiveSegment live("1-2-3", image::ordersAfter(1));
  const auto look = [](std::uint32_t owner) {
    return model::Follower("/tmp", hours(1), {.scope = {.owners = {owner}}}).lookAtAll().whole;
  };
  EXPECT_EQ(1U, look(getuid())->brokers.size());
  EXPECT_EQ(0U, look(getuid())->leftOut.foreign);
  EXPECT_EQ(0U, look(getuid() + 1)->brokers.size());
  EXPECT_EQ(1U, look(getuid() + 1)->leftOut.foreign);
}

}  // namespace follower_test
