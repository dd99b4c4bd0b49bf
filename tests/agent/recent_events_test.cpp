// SPDX-License-Identifier: Apache-2.0
// What was posted over many looks.
#include "agent/model/recent_events.h"

#include <gtest/gtest.h>

#include "tests/agent/grown.h"

namespace recent_events_test {

namespace {

using model::RecentEvents;
using reader::EventKind;
using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr std::int64_t kFirstSecond = 1000000;  // as lookAt() has it
constexpr char kKeyFile[] = "/tmp/1-2-3.zebcshme";

reader::Event event(const std::string& node, const std::string& text, std::uint8_t message = 1,
                    std::int64_t time = kFirstSecond) {
  reader::Event event;
  event.origin = std::make_shared<reader::EventTemplate>(
      reader::EventTemplate{"orders", "Fulfil", node, 3, text});
  event.messageId[0] = message;
  event.time = time;
  return event;
}

reader::Event failure(const std::string& node, std::uint8_t message = 1,
                      std::int64_t time = kFirstSecond) {
  return event(node, "Exception found in X(1). It failed", message, time);
}

class Recent : public testing::Test {
 protected:
  void look(seconds at, std::vector<reader::Event> events, bool overrun = false) {
    const auto broker = seenBroker({});
    broker->events = reader::EventLog::Batch{};
    broker->events->events = std::move(events);
    broker->events->overrun = overrun;
    recent.add(lookAt(broker, milliseconds(at)));
  }
  std::size_t at(const std::string& node) const {
    return recent.exceptionsAt(kKeyFile, "orders", "Fulfil", node);
  }
  std::size_t failures() const { return recent.failuresIn(kKeyFile, "orders", "Fulfil"); }

  RecentEvents recent;
};

}  // namespace

TEST_F(Recent, AFailureCountsOnceAndAtEachNodeThatSawIt) {
  look(seconds(0), {failure("B", 1), failure("A", 1), failure("A", 2), event("A", "seen")});
  EXPECT_EQ(2U, at("A"));
  EXPECT_EQ(1U, at("B"));
  EXPECT_EQ(2U, failures());
  EXPECT_EQ(0U, at("C"));
  EXPECT_EQ(0U, recent.failuresIn("/tmp/other", "orders", "Fulfil"));
}

TEST_F(Recent, AnExceptionCountsForAMinuteFromItsLook) {
  look(seconds(0), {});
  look(seconds(10), {failure("A", 1, 0)});
  look(seconds(69), {});
  EXPECT_EQ(1U, at("A"));
  look(seconds(70), {});
  EXPECT_EQ(0U, at("A"));
  EXPECT_EQ(1U, recent.latest().size()) << "it is shown all the same";
}

TEST_F(Recent, WhatTheFirstLookFindsIsAsOldAsItsTimeSays) {
  look(seconds(0), {failure("A", 1, kFirstSecond - 59), failure("B", 2, kFirstSecond - 60),
                    failure("C", 3, std::numeric_limits<std::int64_t>::min()),
                    failure("D", 4, std::numeric_limits<std::int64_t>::max())});
  EXPECT_EQ(1U, at("A"));
  EXPECT_EQ(0U, at("B"));
  EXPECT_EQ(0U, at("C"));
  EXPECT_EQ(1U, at("D"));
  look(seconds(1), {});
  EXPECT_EQ(0U, at("A"));
}

TEST_F(Recent, LatestHasTheKindThatIsAskedForTheNewestLast) {
  look(seconds(0), {event("1", "seen"), failure("2"), event("3", "seen")});
  reader::Event unknown;
  look(seconds(1), {unknown, failure("4")});
  const auto all = recent.latest();
  ASSERT_EQ(5U, all.size());
  EXPECT_EQ("1", all[0]->event.origin->node);
  EXPECT_EQ("4", all[4]->event.origin->node);
  EXPECT_EQ(2U, recent.latest(EventKind::exception).size());
  EXPECT_EQ(2U, recent.latest(EventKind::message).size());
  EXPECT_EQ("SHOP", all[0]->broker);
}

TEST_F(Recent, KeepsNoMoreThanItSaysAndTellsWhenCountsAreLow) {
  look(seconds(0), {});
  look(seconds(1), std::vector(RecentEvents::kMost, failure("A")));
  EXPECT_FALSE(recent.countsMayBeLow());
  EXPECT_EQ(RecentEvents::kMost, at("A"));
  look(seconds(2), std::vector(RecentEvents::kMost + 7, event("B", "seen")));
  EXPECT_FALSE(recent.countsMayBeLow());
  EXPECT_EQ(RecentEvents::kMost, recent.latest(EventKind::message).size());
  look(seconds(3), {failure("C")});
  EXPECT_TRUE(recent.countsMayBeLow());
  EXPECT_EQ(RecentEvents::kMost - 1, at("A"));
  look(seconds(61), {});
  EXPECT_FALSE(recent.countsMayBeLow());
}

TEST_F(Recent, EventsThatWereOverwrittenMakeCountsLowForAMinute) {
  look(seconds(0), {}, true);
  EXPECT_TRUE(recent.countsMayBeLow());
  look(seconds(59), {});
  EXPECT_TRUE(recent.countsMayBeLow());
  look(seconds(60), {});
  EXPECT_FALSE(recent.countsMayBeLow());
}

TEST_F(Recent, ABrokerWithoutEventsHasNone) {
  recent.add(lookAt(seenBroker({}), milliseconds(0)));
  recent.add(lookAt(nullptr, milliseconds(1)));
  EXPECT_TRUE(recent.latest().empty());
}

TEST_F(Recent, AShortRingMakesTheCountLowUntilAMinuteWasSeen) {
  const auto broker = seenBroker({});
  broker->events = reader::EventLog::Batch{};
  broker->events->events = {failure("A", 1, kFirstSecond - 17)};
  reader::Area ring;
  ring.name = reader::kEventData;
  ring.next = 100;
  ring.last = 200;
  broker->segment.copy.areas = {ring};
  recent.add(lookAt(broker, seconds(0)));
  EXPECT_TRUE(recent.countsMayBeLow());
  look(seconds(42), {});
  EXPECT_TRUE(recent.countsMayBeLow());
  look(seconds(43), {});
  EXPECT_FALSE(recent.countsMayBeLow());
}

}  // namespace recent_events_test
