// SPDX-License-Identifier: Apache-2.0
// The built library joins a segment that is damaged already, and lives in one that is damaged
// meanwhile: messages flow unchanged, and what is not its own stays as it was.
#include <gtest/gtest.h>

#include <cstring>

#include "tests/support/broken.h"
#include "tests/support/fence.h"
#include "tests/support/live_segment.h"
#include "tests/support/plugin.h"

namespace library_test {

using namespace support;
using broken::Segment;
using broken::Segments;

namespace {

constexpr std::size_t kSize = 12;
constexpr std::size_t kNext = 16;

// Areas behind the statistics area: they begin where nothing of this is expected to write.
Bytes behindStatistics(const Bytes& bytes) {
  return slice(bytes, broken::kTemplatesAt, 2 * broken::kArea);
}

class BrokenSegment : public PluginBeforeStart {
 protected:
  BrokenSegment() {
    startLibrary("ZEBMemorySize 4096\n");
    host().recording = false;
    host().script.propagate = [this](int& code, HostMessage* message) {
      ++propagated_;
      EXPECT_EQ(bitStream(), reinterpret_cast<ScriptedMessage*>(message)->bits);
      if (failing_) code = 64;
    };
    host().script.exception.text = "damaged";
  }

  // A message that passes and one that fails downstream, both as the host made them afterwards.
  void sendBoth(NodeContext& node) {
    ScriptedMessage message;
    message.bits = bitStream();
    node.send(message);
    failing_ = true;
    EXPECT_THROW(node.send(message), Rethrown);
    failing_ = false;
    EXPECT_EQ(bitStream(), message.bits);
    sent_ += 2;
  }

  // A known node, one whose record must be replaced, and a new one.
  void deployAndSend() {
    const auto known =
        deploy({.label = u"NODE1", .type = u"input", .eventMessage = u"seen"}, place_);
    const Fence fence;
    sendBoth(*known);
    const auto replaced = deploy({.label = u"NODE2", .subFlowName = u"longer"}, place_);
    const auto late = deploy({.label = u"LATE", .eventMessage = u"late"}, place_);
    for (NodeContext* node : {known.get(), replaced.get(), late.get()}) sendBoth(*node);
  }

  void expectHarmless(const Segments& segments) {
    for (const Segment& segment : segments) {
      SCOPED_TRACE(segment.what);
      const LiveSegment live("UUID1", segment.bytes);
      deployAndSend();
    }
    EXPECT_EQ(sent_, propagated_);
    EXPECT_GE(sent_, 8 * segments.size());
  }

  void expectHarmlessMeanwhile(const Segments& segments) {
    for (const Segment& segment : segments) {
      SCOPED_TRACE(segment.what);
      LiveSegment live("UUID1", broken::healthy());
      const auto node = deploy({.label = u"NODE1", .eventMessage = u"seen"}, place_);
      const auto other =
          deploy({.label = u"Reserve"}, {.executionGroup = u"orders", .messageFlow = u"Fulfil"});
      const Fence fence;
      sendBoth(*node);
      live.write(segment.bytes);
      for (NodeContext* each : {node.get(), other.get(), node.get()}) sendBoth(*each);
      deployAndSend();
      sendBoth(*node);
    }
    EXPECT_EQ(sent_, propagated_);
  }

  // Deploys into the segment, sends, and gives what is there while the nodes still live.
  Bytes afterMessages(const Bytes& bytes) {
    const LiveSegment live("UUID1", bytes);
    const auto node =
        deploy({.label = u"NODE1", .type = u"input", .eventMessage = u"seen"}, place_);
    sendBoth(*node);
    return sharedMemory();
  }

  // What NODE1 measured of the two messages that are sent while the segment is damaged meanwhile.
  Bytes statisticsMeanwhile(const Segment& segment) {
    LiveSegment live("UUID1", broken::healthy());
    const auto node = deploy({.label = u"NODE1"}, place_);
    live.write(segment.bytes);
    sendBoth(*node);
    return slice(sharedMemory(), broken::places()[4].at, 168);
  }

  ScriptedNode place_{.executionGroup = u"default", .messageFlow = u"FLOW1"};
  std::size_t propagated_ = 0;
  std::size_t sent_ = 0;
  bool failing_ = false;
};

struct Family {
  const char* name;
  Segments (*segments)();
};
void PrintTo(const Family& family, std::ostream* out) {
  *out << family.name;
}

class EachBrokenSegment : public BrokenSegment, public testing::WithParamInterface<Family> {};

TEST_P(EachBrokenSegment, LetsTheMessagesOfNodesPassThatJoinIt) {
  expectHarmless(GetParam().segments());
}

TEST_P(EachBrokenSegment, LetsMessagesPassWhenItBreaksWhileTheyFlow) {
  expectHarmlessMeanwhile(GetParam().segments());
}

Segments mixed() {
  return broken::mixed(4711, 200);
}

INSTANTIATE_TEST_SUITE_P(
    Of, EachBrokenSegment,
    testing::Values(Family{"Headers", broken::headers}, Family{"Chains", broken::chains},
                    Family{"Records", broken::records}, Family{"Strings", broken::strings},
                    Family{"Parents", broken::parents}, Family{"Decimals", broken::decimals},
                    Family{"Cuts", broken::cuts}, Family{"Mixed", mixed}),
    [](const auto& test) { return std::string(test.param.name); });

TEST_F(BrokenSegment, HealthyMeansThatTheStoredNodeIsFoundAndMeasured) {
  const Bytes after = afterMessages(broken::healthy());
  EXPECT_EQ(broken::healthy().size(), after.size());
  EXPECT_EQ(2, decimalAt(after, broken::places()[4].at + 40));
  const auto areas = blocksOf(after);
  EXPECT_EQ(blocksOf(broken::healthy()).at(0).last, areas.at(0).last) << "no record was added";
  EXPECT_EQ(blocksOf(broken::healthy()).at(2).last + 3 * 144, areas.at(2).last);
}

TEST_F(BrokenSegment, ANextOffsetOutsideTheSegmentHandsOutNoAreaAndEveryByteStays) {
  for (const std::uint32_t next : {0U, 1U, 31U, 4 * broken::kBytes, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
    Bytes bytes = broken::healthy();
    image::set32(bytes, kNext, next);
    EXPECT_EQ(bytes, afterMessages(bytes)) << next;
  }
}

TEST_F(BrokenSegment, WhatTheSegmentSaysOfItsNameMarkSizeAndLastOffsetDoesNotMatter) {
  for (const std::size_t at : {std::size_t{0}, std::size_t{8}, kSize, std::size_t{20}}) {
    for (const std::uint32_t value : {1U, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
      Bytes bytes = broken::healthy();
      image::set32(bytes, at, value);
      EXPECT_EQ(2, decimalAt(afterMessages(bytes), broken::places()[4].at + 40)) << at;
    }
  }
}

TEST_F(BrokenSegment, AnAreaTooSmallForAnAreaOrLargerThanTheSegmentIsNeverTouched) {
  for (const std::uint32_t size : {0U, 1U, 31U, 32U, 100U, 4095U, 3 * 4096U + 1, 0x7FFFFFFFU,
                                   0x80000000U, 0xFFFFFFE0U, 0xFFFFFFFFU}) {
    Bytes bytes = broken::healthy();
    image::set32(bytes, broken::kStatisticsAt + kSize, size);
    const Bytes after = afterMessages(bytes);
    EXPECT_EQ(slice(bytes, 0, broken::kTemplatesAt), slice(after, 0, broken::kTemplatesAt)) << size;
  }
}

TEST_F(BrokenSegment, AnAreaOfAnotherNameIsLeftAloneAndItsOwnNotPlacedWhereThereIsNoRoom) {
  Bytes bytes = broken::healthy();
  std::memcpy(bytes.data() + broken::kStatisticsAt, "whatever", 8);
  const Bytes after = afterMessages(bytes);
  EXPECT_EQ(slice(bytes, 0, broken::kTemplatesAt), slice(after, 0, broken::kTemplatesAt));
}

TEST_F(BrokenSegment, OfTwoAreasOfOneNameTheSecondIsLeftAlone) {
  Bytes bytes = broken::healthy();
  std::memcpy(bytes.data() + broken::kEventsAt, "zebcstar", 8);
  const Bytes after = afterMessages(bytes);
  EXPECT_EQ(2, decimalAt(after, broken::places()[4].at + 40));
  EXPECT_EQ(slice(bytes, broken::kEventsAt, broken::kArea),
            slice(after, broken::kEventsAt, broken::kArea));
}

TEST_F(BrokenSegment, AnAreaWithoutRoomForItsNextRecordKeepsTheAreasBehindIt) {
  for (const std::uint32_t next : {0U, 31U, 4090U, 4096U, 4097U, 8192U, 0x7FFFFFFFU, 0x80000000U}) {
    Bytes bytes = broken::healthy();
    image::set32(bytes, broken::kStatisticsAt + kNext, next);
    const LiveSegment live("UUID1", bytes);
    const auto node = deploy({.label = u"LATE"}, place_);
    ScriptedMessage message;
    message.bits = bitStream();
    node->send(message);
    EXPECT_EQ(behindStatistics(bytes), behindStatistics(sharedMemory())) << next;
  }
}

// The area can't be read to its end, so nobody knows which nodes it holds.
TEST_F(BrokenSegment, ARecordThatIsNoneOrHasNoEndLeavesLaterNodesUnmeasuredAndTheAreaAsItWas) {
  Segments segments;
  for (const Segment& segment : broken::records())
    if (segment.what.find("eyecatcher") != std::string::npos) segments.push_back(segment);
  for (const Segment& segment : broken::strings())
    if (unsignedAt(segment.bytes, segment.at) > broken::kArea) segments.push_back(segment);
  std::size_t looked = 0;
  for (const Segment& segment : segments) {
    if (segment.at >= broken::kTemplatesAt) continue;
    SCOPED_TRACE(segment.what);
    const Bytes after = afterMessages(segment.bytes);
    EXPECT_EQ(slice(segment.bytes, 0, broken::kTemplatesAt), slice(after, 0, broken::kTemplatesAt));
    ++looked;
  }
  EXPECT_LT(100U, looked);
}

TEST_F(BrokenSegment, AnAreaCutInsideARecordLeavesLaterNodesUnmeasuredAndTheAreaAsItWas) {
  for (const Segment& segment : broken::cuts()) {
    if (segment.at != broken::kStatisticsAt + kNext) continue;
    SCOPED_TRACE(segment.what);
    const Bytes after = afterMessages(segment.bytes);
    EXPECT_EQ(slice(segment.bytes, 0, broken::kTemplatesAt), slice(after, 0, broken::kTemplatesAt));
  }
}

// The node counts on from what it knew, and its first message makes the record whole again.
TEST_F(BrokenSegment, ARunningNodeMendsItsOwnRecordWithItsNextMessage) {
  for (const Segment& segment : broken::records()) {
    if (segment.record != 4 || segment.what.find("deleted") != std::string::npos) continue;
    SCOPED_TRACE(segment.what);
    const Bytes record = statisticsMeanwhile(segment);
    EXPECT_EQ("RCRD", charactersAt(record, 0, 4));
    EXPECT_EQ(kStatistics, unsignedAt(record, 8));
    EXPECT_EQ(2, decimalAt(record, 40));
  }
}

// Nothing at all is numbers that nobody wrote, but digits again.
TEST_F(BrokenSegment, WhateverADecimalTextWasANodesNextMessageMakesItDigitsAgain) {
  for (const Segment& segment : broken::decimals()) {
    if (segment.record != 4) continue;
    SCOPED_TRACE(segment.what);
    const Bytes record = statisticsMeanwhile(segment);
    for (const std::size_t field : {40U, 64U, 96U, 128U}) {
      const std::string text = charactersAt(record, field, 24);
      const std::size_t digits = text.find_first_not_of("0123456789");
      ASSERT_NE(std::string::npos, digits) << "no zero byte behind the digits";
      EXPECT_EQ(std::string(24 - digits, '\0'), text.substr(digits));
    }
  }
}

// The number wraps at 64 bits; what is behind the field is none of its digits.
TEST_F(BrokenSegment, TwentyFourDigitsWithNothingBehindThemEndWithTheirField) {
  const std::size_t field = broken::places()[4].at + 64;
  for (const auto& [digit, number] :
       {std::pair{'1', 6371555158481727943LL}, std::pair{'3', 667921401735632213LL}}) {
    Segment segment{.what = {}, .bytes = broken::healthy()};
    std::memset(segment.bytes.data() + field, digit, 24);
    image::set32(segment.bytes, field + 24, 0x37373737);  // digits, too
    EXPECT_EQ(number + 2 * 364, decimalAt(statisticsMeanwhile(segment), 64)) << digit;
  }
}

TEST_F(BrokenSegment, ANodeWhoseParentIsMissingStaysAsItIsAndGetsANewRecord) {
  const std::size_t at = broken::places()[3].at;
  for (const std::uint32_t random : {0U, 0xDEADBEEFU}) {
    Bytes bytes = broken::healthy();
    image::set32(bytes, at + 24 + 12, random);
    const Bytes after = afterMessages(bytes);
    const std::size_t size = broken::places()[3].size + broken::places()[4].size;
    EXPECT_EQ(slice(bytes, at, size), slice(after, at, size));
    const auto records = recordsOf(after, blocksOf(after).at(0));
    ASSERT_EQ(13U, records.size());
    EXPECT_EQ(u"NODE1", records[11].label());
    EXPECT_EQ(2, records[12].count());
    EXPECT_TRUE(records[12].isChildOf(records[11]));
  }
}

TEST_F(BrokenSegment, OfTwoStatisticsOfOneNodeTheFirstIsUsedAndTheSecondKept) {
  const auto& places = broken::places();
  Bytes bytes = broken::healthy();
  std::memcpy(bytes.data() + places[6].at + 24, bytes.data() + places[3].at + 8, 16);
  const Bytes after = afterMessages(bytes);
  EXPECT_EQ(2, decimalAt(after, places[4].at + 40));
  EXPECT_EQ(slice(bytes, places[6].at, 168), slice(after, places[6].at, 168));
}

class EntangledSegment : public PluginBeforeStart {
 protected:
  EntangledSegment() { startLibrary("ZEBMemorySize 262144\n"); }

  // Deploys, sends, and gives what is there then.
  Bytes afterMessage(const Bytes& bytes) {
    const LiveSegment live("UUID1", bytes);
    const auto node = deploy({.label = u"LATE"});
    node->send();
    return sharedMemory();
  }
  std::size_t statisticsIn(const Bytes& bytes) {
    return ofType(recordsOf(bytes, blocksOf(bytes).at(0)), kStatistics).size();
  }
};

// Three groups have the three flows of one ID each, and each of these has the three nodes.
TEST_F(EntangledSegment, OfAFewRecordsOfOneIdEachHasAllTheChildren) {
  EXPECT_EQ(27U + 1U, statisticsIn(afterMessage(broken::sharedIds(3, 262144))));
}

// 125 million nodes: the tree is given up, instead of the host's memory.
TEST_F(EntangledSegment, RecordsThatMultiplyLeaveALaterNodeUnmeasuredAndEveryByteAsItWas) {
  const Bytes bytes = broken::sharedIds(500, 262144);
  EXPECT_EQ(bytes, afterMessage(bytes));
}

TEST_F(EntangledSegment, OfAFewRecordsOfOneLabelTheFirstIsUsed) {
  EXPECT_EQ(1U + 1U, statisticsIn(afterMessage(broken::sharedLabels(10, 262144))));
}

// Each of 1000 groups would look through 1000 flows, and each of these through 1000 nodes.
TEST_F(EntangledSegment, RecordsOfOneLabelThatMultiplyLeaveALaterNodeUnmeasuredToo) {
  const Bytes bytes = broken::sharedLabels(1000, 262144);
  EXPECT_EQ(bytes, afterMessage(bytes));
}

}  // namespace

}  // namespace library_test
