// SPDX-License-Identifier: Apache-2.0
// How messages are folded into a stored statistics record.
#include <gtest/gtest.h>

#include "tests/support/plugin.h"
#include "tests/support/scripted_clock.h"

namespace statistics_test {

using namespace support;

namespace {

constexpr long long kNow = 1767322800;

class Statistics : public PluginTest {
 protected:
  Statistics() {
    setClock(kNow);
    node_ = deploy({});
    host().script.propagate = [this](int&, HostMessage*) { advanceClock(takes_); };
  }

  // A message of that size that takes so many milliseconds.
  void send(int size, long long milliseconds = 0) {
    takes_ = milliseconds;
    node_->send(size);
  }

  std::unique_ptr<NodeContext> node_;
  long long takes_ = 0;
};

std::uint32_t calendar(long long seconds) {
  return static_cast<std::uint32_t>(seconds) + kCalendarOffset;
}

TEST_F(Statistics, AreAllZeroUntilTheFirstMessage) {
  EXPECT_EQ(Bytes(128, 0), slice(statisticsOf(u"NODE1").bytes(), 40, 128));
}

TEST_F(Statistics, TheFirstMessageSetsEveryExtremeAndBothTimes) {
  send(700, 30);
  const StoredRecord stored = statisticsOf(u"NODE1");
  EXPECT_EQ(1, stored.count());
  EXPECT_EQ(700, stored.sumSize());
  EXPECT_EQ(700, stored.maxSize());
  EXPECT_EQ(700, stored.minSize());
  EXPECT_EQ(30, stored.sumElapsed());
  EXPECT_EQ(30, stored.maxElapsed());
  EXPECT_EQ(30, stored.minElapsed());
  EXPECT_EQ(0, stored.sumQueued());
  EXPECT_EQ(calendar(kNow), stored.firstCollection());
  EXPECT_EQ(calendar(kNow), stored.lastCollection());
}

TEST_F(Statistics, LaterMessagesMoveTheExtremesOutwardsOnly) {
  send(700, 30);
  send(900, 20);
  send(500, 40);
  send(600, 25);
  const StoredRecord stored = statisticsOf(u"NODE1");
  EXPECT_EQ(4, stored.count());
  EXPECT_EQ(2700, stored.sumSize());
  EXPECT_EQ(900, stored.maxSize());
  EXPECT_EQ(500, stored.minSize());
  EXPECT_EQ(115, stored.sumElapsed());
  EXPECT_EQ(40, stored.maxElapsed());
  EXPECT_EQ(20, stored.minElapsed());
}

TEST_F(Statistics, TheFirstTimeStaysAndTheLastMoves) {
  send(1);
  setClock(kNow + 77);
  send(1);
  setClock(kNow + 33);
  send(1);
  EXPECT_EQ(calendar(kNow), statisticsOf(u"NODE1").firstCollection());
  EXPECT_EQ(calendar(kNow + 33), statisticsOf(u"NODE1").lastCollection());
}

TEST_F(Statistics, AMessageOfZeroSizeStillMovesTheMinimum) {
  send(5);
  ScriptedMessage message;
  message.sizes = {0, 0};
  node_->send(message);
  EXPECT_EQ(0, statisticsOf(u"NODE1").minSize());
  EXPECT_EQ(2, statisticsOf(u"NODE1").count());
}

TEST_F(Statistics, ATimeTooLongForSignedMillisecondsIsCutToTheLargest) {
  send(1, 2147483647LL);
  EXPECT_EQ(2147483647LL, statisticsOf(u"NODE1").sumElapsed());
  send(1, 2147484000LL);
  EXPECT_EQ(2 * 2147483647LL, statisticsOf(u"NODE1").sumElapsed());
  send(1, 4294967295LL);
  const StoredRecord stored = statisticsOf(u"NODE1");
  EXPECT_EQ(3 * 2147483647LL, stored.sumElapsed());
  EXPECT_EQ(2147483647, stored.maxElapsed());
  EXPECT_EQ(2147483647, stored.minElapsed());
}

// Milliseconds are formed in 32 bits before they are cut: a time a little longer wraps.
TEST_F(Statistics, ATimeTooLongForUnsignedMillisecondsWraps) {
  send(1, 4294968000LL);
  EXPECT_EQ(704, statisticsOf(u"NODE1").sumElapsed());
}

TEST_F(Statistics, SumsGoBeyond32Bits) {
  for (int i = 0; i < 3; ++i) send(2147483647);
  const StoredRecord stored = statisticsOf(u"NODE1");
  EXPECT_EQ(3 * 2147483647LL, stored.sumSize());
  EXPECT_EQ("6442450941", charactersAt(stored.bytes(), 64, 10));
  EXPECT_EQ(Bytes(14, 0), slice(stored.bytes(), 74, 14));
}

TEST_F(Statistics, AFieldThatShrinksIsFilledWithZeros) {
  {
    WritableSegment segment;
    segment.putText(statisticsOf(u"NODE1").at() + 64, "1000", 24);
    segment.put(statisticsOf(u"NODE1").at() + 160, 1);
  }
  ScriptedMessage message;
  message.sizes = {-993};
  node_->send(message);
  EXPECT_EQ(std::string("7") + std::string(23, '\0'),
            charactersAt(statisticsOf(u"NODE1").bytes(), 64, 24));
}

TEST_F(Statistics, AStoredPlusSignIsSkipped) {
  {
    WritableSegment segment;
    segment.putText(statisticsOf(u"NODE1").at() + 40, "+41", 24);
    segment.put(statisticsOf(u"NODE1").at() + 160, 1);
  }
  send(1);
  EXPECT_EQ(42, statisticsOf(u"NODE1").count());
}

// Whether a record is empty is told by its first time alone.
TEST_F(Statistics, ARecordWithoutAFirstTimeTakesItsExtremesAnew) {
  send(900);
  {
    WritableSegment segment;
    segment.put(statisticsOf(u"NODE1").at() + 160, 0);
  }
  send(950);
  const StoredRecord stored = statisticsOf(u"NODE1");
  EXPECT_EQ(950, stored.minSize());
  EXPECT_EQ(calendar(kNow), stored.firstCollection());
  EXPECT_EQ(2, stored.count());
  EXPECT_EQ(1850, stored.sumSize());
}

TEST_F(Statistics, WhatAnotherProcessWroteIsCountedOn) {
  send(1);
  {
    WritableSegment segment;
    segment.putText(statisticsOf(u"NODE1").at() + 40, "1000000", 24);
  }
  send(1);
  EXPECT_EQ(1000001, statisticsOf(u"NODE1").count());
}

TEST_F(Statistics, AMessageMovesNoHeader) {
  const Bytes before = sharedMemory();
  setClock(kNow + 5);
  send(1);
  const Bytes after = sharedMemory();
  EXPECT_EQ(slice(before, 0, 64), slice(after, 0, 64));
  const std::size_t at = statisticsOf(u"NODE1").at();
  EXPECT_EQ(slice(before, 0, at + 40), slice(after, 0, at + 40));
  EXPECT_EQ(slice(before, at + 168, before.size() - at - 168),
            slice(after, at + 168, after.size() - at - 168));
}

TEST_F(Statistics, AResetAtTheLimitStampsTheBroker) {
  {
    WritableSegment segment;
    segment.putText(statisticsOf(u"NODE1").at() + 40, "2147483647", 24);
  }
  setClock(kNow + 1000);
  send(3);
  EXPECT_EQ(calendar(kNow + 1000), ofType(statisticsRecords(), kBroker).at(0).ownNumber());
  EXPECT_EQ(1, statisticsOf(u"NODE1").count());
  EXPECT_EQ(3, statisticsOf(u"NODE1").sumSize());
  EXPECT_EQ(calendar(kNow + 1000), statisticsOf(u"NODE1").firstCollection());
  EXPECT_EQ(1U, host().messages().size());
}

TEST_F(Statistics, OneBelowTheLimitIsStillCounted) {
  {
    WritableSegment segment;
    segment.putText(statisticsOf(u"NODE1").at() + 40, "2147483646", 24);
  }
  send(3);
  EXPECT_EQ(2147483647, statisticsOf(u"NODE1").count());
  EXPECT_TRUE(host().messages().empty());
}

}  // namespace

}  // namespace statistics_test
