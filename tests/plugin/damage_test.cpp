// SPDX-License-Identifier: Apache-2.0
// Shared memory that somebody has damaged: messages flow, and nothing outside it is touched.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <random>

#include "tests/support/fence.h"
#include "tests/support/ipc_objects.h"
#include "tests/support/plugin.h"

namespace damage_test {

using namespace support;

namespace {

constexpr std::uint32_t kArea = 8192;
constexpr std::uint32_t kStatisticsAt = 32;
constexpr std::uint32_t kTemplatesAt = kStatisticsAt + kArea;
constexpr std::uint32_t kEventsAt = kTemplatesAt + kArea;
constexpr std::uint32_t kEnd = kEventsAt + kArea;

// Offsets in a block header and in a record.
constexpr std::uint32_t kSize = 12;
constexpr std::uint32_t kNext = 16;
constexpr std::uint32_t kLast = 20;
constexpr std::uint32_t kDeleted = 4;
constexpr std::uint32_t kType = 8;
constexpr std::uint32_t kId = 8;
constexpr std::uint32_t kParent = 24;
constexpr std::uint32_t kFirstString = 40;

struct Damage {
  const char* name;
  std::function<void(WritableSegment&)> inflict;
};

void PrintTo(const Damage& damage, std::ostream* out) {
  *out << damage.name;
}

std::size_t placeOf(StoredType type) {
  const char* area = type == kTemplate ? "zebcetar" : type == kEvent ? "zebcedar" : "zebcstar";
  return ofType(storedRecords(area), type).at(0).at();
}

// A number written at an offset of a block or of the first record of a type.
Damage block(const char* name, std::uint32_t at, std::uint32_t value) {
  return {name, [=](WritableSegment& segment) { segment.put(at, value); }};
}
Damage record(const char* name, StoredType type, std::uint32_t offset, std::uint32_t value) {
  return {name, [=](WritableSegment& segment) { segment.put(placeOf(type) + offset, value); }};
}
Damage fill(const char* name, std::uint32_t from, std::uint32_t to, int byte) {
  return {name, [=](WritableSegment& segment) { std::memset(segment.at(from), byte, to - from); }};
}
// A record that is its own parent.
Damage ownParent(const char* name, StoredType type) {
  return {name, [=](WritableSegment& segment) {
            const std::size_t at = placeOf(type);
            std::memcpy(segment.at(at + kParent), segment.at(at + kId), 16);
          }};
}
Damage noise(const char* name, std::uint32_t from, std::uint32_t to) {
  return {name, [=](WritableSegment& segment) {
            std::mt19937 random(4711);
            for (std::uint32_t at = from; at < to; ++at) {
              *segment.at(at) = static_cast<std::uint8_t>(random());
            }
          }};
}

class Damaged : public PluginBeforeStart, public testing::WithParamInterface<Damage> {
 protected:
  Damaged() {
    startLibrary("ZEBMemorySize 8192\n");
    host().script.propagate = [this](int& code, HostMessage*) {
      ++propagated_;
      if (failing_) code = 64;
    };
    host().script.exception.text = "damaged";
  }

  void send(NodeContext& node) {
    node.send();
    failing_ = true;
    EXPECT_THROW(node.send(), Rethrown);
    failing_ = false;
  }

  int propagated_ = 0;
  bool failing_ = false;
};

TEST_P(Damaged, MessagesFlowAndNothingOutsideIsTouched) {
  auto running = deploy({.label = u"RUNNING", .eventMessage = u"text"});
  const Fence fence;
  send(*running);
  {
    WritableSegment segment;
    GetParam().inflict(segment);
  }
  send(*running);
  auto late = deploy({.label = u"LATE", .eventMessage = u"text of the late one"});
  send(*late);
  running->end();
  send(*late);
  auto again = deploy({.label = u"RUNNING", .eventMessage = u"text"});
  send(*again);
  late->end();
  again->end();
  EXPECT_EQ(10, propagated_);
}

INSTANTIATE_TEST_SUITE_P(
    OfTheSegmentHeader, Damaged,
    testing::Values(block("NextZero", kNext, 0), block("NextInsideTheHeader", kNext, 7),
                    block("NextLargest", kNext, 0xFFFFFFFF),
                    block("NextLargestSigned", kNext, 0x7FFFFFFF),
                    block("NextAtTheEnd", kNext, kEnd - 1), block("LastLargest", kLast, 0xFFFFFFFF),
                    block("SizeZero", kSize, 0), block("SizeLargest", kSize, 0xFFFFFFFF),
                    fill("AllZero", 0, 32, 0), fill("AllOnes", 0, 32, 0xFF)),
    [](const auto& test) { return std::string(test.param.name); });

INSTANTIATE_TEST_SUITE_P(
    OfAnAreaHeader, Damaged,
    testing::Values(block("NoEyecatcher", kStatisticsAt, 0),
                    block("OtherEyecatcher", kStatisticsAt, 0x41414141),
                    block("SizeZero", kStatisticsAt + kSize, 0),
                    block("SizeBelowAHeader", kStatisticsAt + kSize, 31),
                    block("SizeLargest", kStatisticsAt + kSize, 0xFFFFFFFF),
                    block("SizeLargestSigned", kStatisticsAt + kSize, 0x7FFFFFFF),
                    block("NextZero", kStatisticsAt + kNext, 0),
                    block("NextInsideTheHeader", kStatisticsAt + kNext, 31),
                    block("NextBehindTheArea", kStatisticsAt + kNext, kArea + 1),
                    block("NextNearTheEnd", kStatisticsAt + kNext, kArea - 10),
                    block("NextLargestSigned", kStatisticsAt + kNext, 0x7FFFFFFF),
                    block("NextSmallestSigned", kStatisticsAt + kNext, 0x80000000),
                    block("LastZero", kStatisticsAt + kLast, 0),
                    block("LastInsideARecord", kStatisticsAt + kLast, 70),
                    block("LastLargestSigned", kStatisticsAt + kLast, 0x7FFFFFFF),
                    block("LastLargest", kStatisticsAt + kLast, 0xFFFFFFFF),
                    block("TemplatesNextLargestSigned", kTemplatesAt + kNext, 0x7FFFFFFF),
                    block("TemplatesNextSmallestSigned", kTemplatesAt + kNext, 0x80000000),
                    block("TemplatesLastLargest", kTemplatesAt + kLast, 0x7FFFFFFF),
                    block("TemplatesSizeLargest", kTemplatesAt + kSize, 0xFFFFFFFF),
                    block("EventsNextLargest", kEventsAt + kNext, 0xFFFFFFFF),
                    block("EventsNextLargestSigned", kEventsAt + kNext, 0x7FFFFFFF),
                    block("EventsNextAtTheEnd", kEventsAt + kNext, kArea),
                    block("EventsSizeLargest", kEventsAt + kSize, 0xFFFFFFFF),
                    block("EventsSizeLargestSigned", kEventsAt + kSize, 0x7FFFFFFF)),
    [](const auto& test) { return std::string(test.param.name); });

INSTANTIATE_TEST_SUITE_P(
    OfARecord, Damaged,
    testing::Values(record("TypeZero", kGroup, kType, 0), record("TypeOfAnEvent", kGroup, kType, 8),
                    record("TypeNine", kGroup, kType, 9), record("TypeTen", kFlow, kType, 10),
                    record("TypeLargest", kBroker, kType, 0xFFFFFFFF),
                    record("AFlowThatSaysStatistics", kFlow, kType, 6),
                    record("StatisticsThatSayNode", kStatistics, kType, 5),
                    record("NoEyecatcher", kFlow, 0, 0),
                    record("CountLargest", kBroker, kFirstString, 0xFFFFFFFF),
                    record("CountLargestSigned", kGroup, kFirstString, 0x7FFFFFFF),
                    record("CountThatWrapsTo32Bits", kFlow, kFirstString, 0x7FFFFFFD),
                    record("CountPastTheArea", kNode, kFirstString, 0x3FFF),
                    record("CountOfTheLastString", kNode, kFirstString + 6 + 6 + 14 + 4, 60000),
                    record("DeletedSeven", kNode, kDeleted, 7),
                    record("NegativeExtremes", kStatistics, 88, 0x80000000),
                    fill("NothingButOnesInTheStatistics", kStatisticsAt + 32, kTemplatesAt, 0xFF),
                    fill("NothingInTheStatistics", kStatisticsAt + 32, kTemplatesAt, 0),
                    ownParent("BrokerUnderItself", kBroker), ownParent("GroupUnderItself", kGroup),
                    ownParent("NodeUnderItself", kNode),
                    ownParent("StatisticsUnderItself", kStatistics),
                    ownParent("EventUnderItself", kEvent),
                    record("TemplateCountLargest", kTemplate, kFirstString, 0xFFFFFFFF),
                    record("TemplateCountPastTheArea", kTemplate, kFirstString, 0x2000),
                    record("TemplateThatSaysEvent", kTemplate, kType, 8),
                    record("TemplateOfNoType", kTemplate, kType, 99),
                    record("TemplateWithoutEyecatcher", kTemplate, 0, 0),
                    record("EventThatSaysTemplate", kEvent, kType, 7)),
    [](const auto& test) { return std::string(test.param.name); });

INSTANTIATE_TEST_SUITE_P(
    OfEverything, Damaged,
    testing::Values(fill("AllZeroUpToTheTemplates", 0, kTemplatesAt, 0),
                    fill("AllZero", 0, kEnd, 0), fill("AllOnes", 0, kEnd, 0xFF),
                    block("TemplatesSizeZero", kTemplatesAt + kSize, 0),
                    block("EventsSizeZero", kEventsAt + kSize, 0),
                    block("EventsSizeOfAHeader", kEventsAt + kSize, 32),
                    block("EventsSizeTooSmall", kEventsAt + kSize, 100),
                    noise("NoiseInTheStatistics", kStatisticsAt + 32, kTemplatesAt),
                    noise("NoiseInTheTemplates", kTemplatesAt + 32, kEventsAt),
                    noise("NoiseInTheEvents", kEventsAt + 32, kEnd)),
    [](const auto& test) { return std::string(test.param.name); });

class DamagedArea : public PluginBeforeStart {
 protected:
  DamagedArea() { startLibrary("ZEBMemorySize 8192\n"); }
};

// A next position outside the area is no room: the areas behind it keep their bytes.
TEST_F(DamagedArea, AHostileNextPositionNeverReachesTheAreasBehind) {
  const auto running = deploy({.label = u"RUNNING", .eventMessage = u"text"});
  running->send();
  const Bytes healthy = sharedMemory();
  for (const std::uint32_t next :
       {kArea - 4, kArea + 100, 2 * kArea, 0x7FFFFFFFU, 0xFFFFFFFFU, 0x80000000U, 31U, 0U}) {
    {
      WritableSegment segment;
      std::memcpy(segment.at(0), healthy.data(), healthy.size());
      segment.put(kStatisticsAt + kNext, next);
    }
    const auto late = deploy({.label = u"LATE"});
    late->send();
    const Bytes after = sharedMemory();
    EXPECT_EQ(slice(healthy, kTemplatesAt, 2 * kArea), slice(after, kTemplatesAt, 2 * kArea))
        << next;
    EXPECT_EQ(slice(healthy, 0, kStatisticsAt + kNext), slice(after, 0, kStatisticsAt + kNext))
        << next;
    EXPECT_EQ(kBroker, unsignedAt(after, kStatisticsAt + 32 + kType)) << next;
  }
}

TEST_F(DamagedArea, ARecordOfUnknownTypeLeavesALaterNodeUnmeasured) {
  const auto running = deploy({.label = u"RUNNING"});
  const std::size_t at = placeOf(kFlow);
  WritableSegment().put(at + kType, 10);
  const Bytes before = sharedMemory();
  const auto late = deploy({.label = u"LATE"});
  late->send();
  EXPECT_EQ(before, sharedMemory());
  WritableSegment().put(at + kType, kFlow);
  running->send();
  EXPECT_EQ(1, statisticsOf(u"RUNNING").count());
  EXPECT_TRUE(host().messages().empty());
}

TEST_F(DamagedArea, DigitsWithoutAnEndAreReadToTheirFieldsEnd) {
  const auto node = deploy({.label = u"RUNNING"});
  node->send(5);
  const std::size_t at = statisticsOf(u"RUNNING").at();
  WritableSegment().putText(at + 64, std::string(24, '1'), 24);
  node->send(5);
  EXPECT_EQ(2, statisticsOf(u"RUNNING").count());
  EXPECT_LE(Bytes(sharedMemory()).at(at + 64), '9');
}

// A group that says it belongs to another broker is nobody's here.
TEST_F(DamagedArea, AGroupOfAnotherBrokerIsLeftAlone) {
  const auto running = deploy({.label = u"RUNNING"});
  const StoredRecord group = ofType(statisticsRecords(), kGroup).at(0);
  WritableSegment().put(group.at() + kParent + 12, 0xDEADBEEF);
  const Bytes foreign = slice(sharedMemory(), group.at(), group.bytes().size());
  const auto late = deploy({.label = u"LATE"});
  EXPECT_EQ(foreign, slice(sharedMemory(), group.at(), group.bytes().size()));
  const auto groups = ofType(statisticsRecords(), kGroup);
  ASSERT_EQ(2U, groups.size());
  EXPECT_EQ(groups[0].label(), groups[1].label());
  EXPECT_NE(groups[0].id(), groups[1].id());
  EXPECT_TRUE(groups[1].isChildOf(ofType(statisticsRecords(), kBroker).at(0)));
  running->send();
  EXPECT_EQ(1, statisticsOf(u"RUNNING").count());
}

}  // namespace

}  // namespace damage_test
