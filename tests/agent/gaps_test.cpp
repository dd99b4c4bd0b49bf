// SPDX-License-Identifier: Apache-2.0
// Gaps between two looks of a follower: where there is one, and how much is said of it.
#include "agent/model/gaps.h"

#include <gtest/gtest.h>

#include <limits>

#include "tests/support/image.h"

namespace gaps_test {

namespace {

using model::CountedLook;
using model::Gap;
using model::GapCounter;
using model::Missed;
using Batch = reader::EventLog::Batch;

constexpr std::int64_t kReset = 1754707000;
constexpr std::int64_t kNow = kReset + 1000;
constexpr std::uint64_t kSlots = 28;

reader::RecordId idOf(std::uint32_t type, std::int64_t seconds, std::uint32_t random) {
  image::Bytes bytes;
  image::putId(bytes, {type, static_cast<std::uint32_t>(seconds), 0, random});
  return reader::RecordId(bytes);
}

// A broker with the nodes "A" and "B" of one flow, and what they have counted.
struct Moment {
  std::int64_t countA = 100;
  std::int64_t beforeA = -1;  // -1: the same
  std::int64_t resetTime = kReset;
  std::int64_t now = kNow;
  std::int64_t lastCollection = kReset + 10;
  std::int32_t slowest = 500;
  int segment = 1;
  std::string labelB = "B";
  bool torn = false;
};

reader::Node nodeOf(const std::string& label, std::uint32_t number, std::int64_t count,
                    const Moment& moment) {
  reader::Node node;
  node.label = label;
  node.recordId = idOf(5, 1, number);
  node.statistics.emplace();
  node.statistics->recordId = idOf(6, 1, number);
  node.statistics->messageCount = count;
  node.statistics->sumSize = count;
  node.statistics->sumElapsed = count;
  node.statistics->sumQueued = 0;
  node.statistics->maxElapsed = moment.slowest;
  node.statistics->torn = moment.torn;
  if (count > 0) {
    node.statistics->firstCollection = kReset + 1;
    node.statistics->lastCollection = moment.lastCollection;
  }
  return node;
}

CountedLook lookAt(const Moment& moment) {
  auto broker = std::make_shared<model::SeenBroker>();
  broker->segment.id = moment.segment;
  broker->segment.keyFile = "/tmp/1-2-3.zebcshme";
  reader::Broker& tree = broker->tree.emplace();
  tree.label = "BRK1";
  tree.resetTime = moment.resetTime;
  tree.recordId = idOf(2, 1, 1);
  reader::ExecutionGroup& group = tree.executionGroups.emplace_back();
  group.label = "orders";
  group.recordId = idOf(3, 1, 1);
  reader::MessageFlow& flow = group.messageFlows.emplace_back();
  flow.label = "Fulfil";
  flow.recordId = idOf(4, 1, 1);
  flow.nodes = {nodeOf("A", 1, moment.countA, moment), nodeOf(moment.labelB, 2, 50, moment)};
  CountedLook look{broker, model::messageCountsOf(tree),
                   std::chrono::system_clock::time_point(std::chrono::seconds(moment.now))};
  if (moment.beforeA >= 0) look.before[idOf(6, 1, 1)] = moment.beforeA;
  return look;
}

std::shared_ptr<const reader::EventTemplate> origin(const std::string& node,
                                                    const std::string& text) {
  return std::make_shared<reader::EventTemplate>(
      reader::EventTemplate{"orders", "Fulfil", node, 1, text});
}

// So many events of node "A", all posted at one moment.
std::vector<reader::Event> events(std::size_t number, std::int64_t time = kReset + 10,
                                  const std::string& text = "seen") {
  std::vector<reader::Event> made(number);
  for (std::size_t i = 0; i < number; ++i) {
    made[i].recordId = idOf(8, time, static_cast<std::uint32_t>(i));
    made[i].templateId = idOf(7, 1, text == "seen" ? 1 : 2);
    made[i].origin = origin("A", text);
    made[i].time = time;
  }
  return made;
}

// A look that came after the ring had turned, and saw so many events.
Batch turned(std::vector<reader::Event> seen, std::uint64_t missed = 7) {
  return {.events = std::move(seen), .missed = missed, .perTurn = kSlots, .overrun = true};
}

const Gap kOfBroker{.missed = {Missed::Kind::atLeast, 7, 0}, .perTurn = kSlots};

Gap ofA(Missed::Kind kind, std::uint64_t least, std::uint64_t most) {
  return {.group = "orders", .flow = "Fulfil", .node = "A", .missed = {kind, least, most}};
}

// Two looks; the first has seen one event of A.
std::vector<Gap> gaps(const Moment& first, const Moment& second, Batch batch,
                      const model::FlowKnowledge& known = {}) {
  GapCounter counter;
  EXPECT_TRUE(counter.count(lookAt(first), {.events = events(1)}, known).empty());
  return counter.count(lookAt(second), batch, known);
}

model::FlowKnowledge threads(unsigned number) {
  return {.chain = {}, .file = nullptr, .threads = number};
}

}  // namespace

TEST(Gaps, ThereAreNoneAsLongAsTheRingDidNotTurn) {
  GapCounter counter;
  EXPECT_TRUE(counter.count(lookAt({}), {.events = events(3)}, {}).empty());
  EXPECT_TRUE(counter.count(lookAt({.countA = 5000}), {.events = events(3)}, {}).empty());
}

TEST(Gaps, OfAQuietNodeAreToldExactly) {
  EXPECT_EQ((std::vector<Gap>{kOfBroker, ofA(Missed::Kind::exact, 130, 130)}),
            gaps({}, {.countA = 250}, turned(events(20))));
}

TEST(Gaps, EventsOfLooksInBetweenAreSeenToo) {
  GapCounter counter;
  counter.count(lookAt({}), {.events = events(1)}, {});
  counter.see(events(11));
  counter.see(events(9));
  EXPECT_EQ((std::vector<Gap>{kOfBroker, ofA(Missed::Kind::exact, 110, 110)}),
            counter.count(lookAt({.countA = 250}), turned(events(20)), {}));
  EXPECT_EQ((std::vector<Gap>{kOfBroker, ofA(Missed::Kind::exact, 10, 10)}),
            counter.count(lookAt({.countA = 300}), turned(events(40)), {}));
}

TEST(Gaps, WhatMovesDuringALookOrMayBeInFlightIsBetweenBounds) {
  const Moment moving{.countA = 250, .beforeA = 248, .lastCollection = kNow};
  EXPECT_EQ((std::vector<Gap>{kOfBroker, ofA(Missed::Kind::between, 124, 134)}),
            gaps({}, moving, turned(events(20)), threads(4)));
  EXPECT_EQ((std::vector<Gap>{kOfBroker}), gaps({}, moving, turned(events(20))));
}

TEST(Gaps, ANodeIsNotQuietBeforeItsSlowestMessageWouldBeBack) {
  const auto kindOf = [](const Moment& moment, std::int64_t posted) {
    const auto found = gaps({}, moment, turned(events(20, posted)), threads(1));
    return found.size() == 2 ? found[1].missed.kind : Missed::Kind::atLeast;
  };
  const Moment slow{.countA = 250, .lastCollection = kNow - 10, .slowest = 9000};
  EXPECT_EQ(Missed::Kind::between, kindOf(slow, kNow - 20));
  const Moment posting{.countA = 250, .lastCollection = kNow - 20, .slowest = 9000};
  EXPECT_EQ(Missed::Kind::between, kindOf(posting, kNow - 9));
  EXPECT_EQ(Missed::Kind::exact, kindOf(posting, kNow - 10));
  Moment clockSetBack = posting;
  clockSetBack.now = kNow - 3600;
  EXPECT_EQ(Missed::Kind::between, kindOf(clockSetBack, kNow - 20));
}

TEST(Gaps, TheFirstOfTheTwoLooksMustBeQuietToo) {
  const auto found = gaps({.lastCollection = kNow}, {.countA = 250, .now = kNow + 100},
                          turned(events(20)), threads(2));
  ASSERT_EQ(2U, found.size());
  EXPECT_EQ(Missed::Kind::between, found[1].missed.kind);
}

TEST(Gaps, AfterAResetOnlyTheRingTells) {
  EXPECT_EQ((std::vector<Gap>{kOfBroker}), gaps({}, {.countA = 250, .resetTime = kReset + 5},
                                                turned(events(20, kNow - 5)), threads(4)));
  EXPECT_EQ((std::vector<Gap>{kOfBroker}),
            gaps({}, {.countA = 3}, turned(events(2, kNow - 5)), threads(4)));
}

TEST(Gaps, NothingIsSaidOfANodeThatWasNotSeenToPostSinceTheReset) {
  GapCounter counter;
  counter.count(lookAt({}), {.events = events(1, kReset)}, {});
  EXPECT_EQ((std::vector<Gap>{kOfBroker}),
            counter.count(lookAt({.countA = 250}), turned({}), threads(4)));
}

TEST(Gaps, ExceptionsAreNotTheNodesOwnText) {
  const auto failures = events(20, kReset + 10, "Exception found in A(1). x");
  EXPECT_EQ((std::vector<Gap>{kOfBroker, ofA(Missed::Kind::exact, 150, 150)}),
            gaps({}, {.countA = 250}, turned(failures)));
}

TEST(Gaps, NothingIsSaidOfANodeThatCountsNothing) {
  EXPECT_EQ((std::vector<Gap>{kOfBroker}),
            gaps({.countA = 0}, {.countA = 0}, turned({}), threads(4)));
}

TEST(Gaps, AnEventThatCannotBeGivenToANodeMakesAllUncertain) {
  auto seen = events(20);
  seen[3].origin = nullptr;
  EXPECT_EQ((std::vector<Gap>{kOfBroker}), gaps({}, {.countA = 250}, turned(seen)));
}

TEST(Gaps, TwoNodesOfOneLabelCannotBeToldApart) {
  EXPECT_EQ((std::vector<Gap>{kOfBroker}),
            gaps({.labelB = "A"}, {.countA = 250, .labelB = "A"}, turned(events(20))));
}

TEST(Gaps, ATornRecordTellsNothing) {
  EXPECT_EQ((std::vector<Gap>{kOfBroker}),
            gaps({}, {.countA = 250, .torn = true}, turned(events(20)), threads(4)));
}

TEST(Gaps, AnotherSegmentIsAGapThatNobodyCanCount) {
  const auto found = gaps({}, {.countA = 1, .segment = 2}, {.events = events(1)});
  EXPECT_EQ((std::vector<Gap>{{.cause = Gap::Cause::restart}}), found);
}

TEST(Gaps, OfAnotherSegmentBeginAgain) {
  GapCounter counter;
  counter.count(lookAt({}), {.events = events(1)}, {});
  counter.count(lookAt({.countA = 1, .segment = 2}), {.events = events(1)}, {});
  EXPECT_EQ((std::vector<Gap>{kOfBroker, ofA(Missed::Kind::exact, 29, 29)}),
            counter.count(lookAt({.countA = 50, .segment = 2}), turned(events(20)), {}));
}

TEST(Gaps, HostileNumbersDoNotOverflow) {
  constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max();
  EXPECT_EQ((std::vector<Gap>{kOfBroker}),
            gaps({.countA = kMost - 1, .slowest = std::numeric_limits<std::int32_t>::min()},
                 {.countA = kMost, .beforeA = 0}, turned(events(20)), threads(4)));
}

TEST(Gaps, MemoryIsBoundedWhateverTemplatesThereAre) {
  GapCounter counter;
  for (std::uint32_t n = 0; n < 30000; ++n) {
    auto one = events(1);
    one[0].templateId = idOf(7, 2, n);
    counter.see(one);
    if (n % 5000 == 0) counter.count(lookAt({}), {}, {});
  }
  EXPECT_EQ(std::vector<Gap>{kOfBroker}.size(),
            counter.count(lookAt({.countA = 250}), turned({}), {}).size());
}

}  // namespace gaps_test
