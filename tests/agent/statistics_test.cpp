// SPDX-License-Identifier: Apache-2.0
// From the bytes of a statistics area to the tree of resources.
#include <gtest/gtest.h>

#include "agent/reader/tree.h"
#include "tests/support/image.h"

namespace statistics_test {

namespace {

using image::Bytes;
using image::Id;

struct Read {
  std::optional<reader::Broker> broker;
  reader::DamageList damage;
};

Read read(const Bytes& bytes) {
  const reader::SegmentCopy copy = reader::copySegment(bytes, bytes.size());
  Read result;
  result.damage = copy.damage;
  result.broker = reader::readTree(copy, result.damage);
  return result;
}

Read read(const image::Block& block) {
  return read(image::segment({block}));
}

// The one damaged place, in words.
std::string onlyDamage(const Read& read) {
  if (read.damage.list().size() != 1) return std::to_string(read.damage.list().size()) + " places";
  const reader::Damage& damage = read.damage.list().front();
  return damage.area + " " + std::to_string(damage.offset) + ": " + damage.reason;
}

const reader::Node& onlyNode(const Read& read) {
  return read.broker->executionGroups.at(0).messageFlows.at(0).nodes.at(0);
}

// Where the record behind `block`'s present contents will stand in the area.
std::size_t endOf(const image::Block& block) {
  return 32 + block.contents.size();
}

}  // namespace

TEST(Tree, EveryFieldOfEveryRecordIsReadFromItsPlace) {
  const Read result = read(image::ordersBlock());
  ASSERT_TRUE(result.broker);
  EXPECT_TRUE(result.damage.empty());
  EXPECT_EQ("BRK1", result.broker->label);
  EXPECT_EQ("1-2-3", result.broker->uuid);
  EXPECT_EQ(0xEA5FFFFF - 2177452800, result.broker->resetTime);
  const reader::ExecutionGroup& group = result.broker->executionGroups.at(0);
  EXPECT_EQ("orders", group.label);
  EXPECT_EQ("group-uuid", group.uuid);
  EXPECT_EQ(1234, group.processId);
  EXPECT_EQ("Fulfil", group.messageFlows.at(0).label);
  const reader::Node& node = onlyNode(result);
  EXPECT_EQ("Reserve", node.label);
  EXPECT_EQ(1U, node.type);
  EXPECT_EQ("sub", node.subFlowName);
  EXPECT_FALSE(node.deleted);
  EXPECT_EQ("05000000E8030000040000000E000000", node.recordId.hex());
  ASSERT_TRUE(node.statistics);
  const reader::Statistics& s = *node.statistics;
  EXPECT_EQ("06000000E8030000050000000F000000", s.recordId.hex());
  EXPECT_EQ(3, s.messageCount);
  EXPECT_EQ(600, s.sumSize);
  EXPECT_EQ(300, s.maxSize);
  EXPECT_EQ(100, s.minSize);
  EXPECT_EQ(45, s.sumElapsed);
  EXPECT_EQ(20, s.maxElapsed);
  EXPECT_EQ(10, s.minElapsed);
  EXPECT_EQ(9, s.sumQueued);
  EXPECT_EQ(4, s.maxQueued);
  EXPECT_EQ(2, s.minQueued);
  EXPECT_EQ(0xEA600000 - 2177452800, s.firstCollection);
  EXPECT_EQ(0xEA600010 - 2177452800, s.lastCollection);
}

TEST(Tree, ATimeOfZeroIsNotSet) {
  image::Block block{.eyecatcher = "zebcstar", .contents = {}};
  block.add(image::broker(image::kBroker, u"u", u"B", 0));
  EXPECT_FALSE(read(block).broker->resetTime);
}

TEST(Tree, OnlyTheFirstBrokerRecordCountsAndGroupsOfAnotherAreNotItsOwn) {
  image::Block block = image::ordersBlock();
  const Id other{2, 9, 9, 9};
  block.add(image::broker(other, u"other", u"BRK2"));
  block.add(image::group({3, 9, 9, 1}, other, u"foreign", 1));
  const Read result = read(block);
  EXPECT_EQ("BRK1", result.broker->label);
  EXPECT_EQ(1U, result.broker->executionGroups.size());
  EXPECT_TRUE(result.damage.empty());
}

TEST(Tree, NoBrokerRecordMeansNoBroker) {
  EXPECT_FALSE(read(image::Block{.eyecatcher = "zebcstar", .contents = {}}).broker);
  EXPECT_FALSE(read(image::segment({})).broker);
}

TEST(Tree, ADeletedNodeIsMarked) {
  image::Block block = image::ordersBlock();
  block.add(image::node({5, 1, 1, 1}, image::kFlow, u"Gone", 2, u"", 1));
  const Read result = read(block);
  const auto& nodes = result.broker->executionGroups[0].messageFlows[0].nodes;
  ASSERT_EQ(2U, nodes.size());
  EXPECT_TRUE(nodes[1].deleted);
  EXPECT_FALSE(nodes[1].statistics);
}

TEST(Tree, AReplacedNodeWithoutParentIsNoDamage) {
  image::Block block = image::ordersBlock();
  block.add(image::node({5, 1, 1, 1}, {}, u"Old", 2, u"", 1));
  const Read result = read(block);
  EXPECT_TRUE(result.damage.empty());
  EXPECT_EQ(1U, result.broker->executionGroups[0].messageFlows[0].nodes.size());
}

TEST(Tree, ARecordWithoutParentIsReportedAndTheRestIsRead) {
  image::Block block = image::ordersBlock();
  const std::size_t at = endOf(block);
  block.add(image::node({5, 1, 1, 1}, {4, 7, 7, 7}, u"Lost", 2));
  const Read result = read(block);
  EXPECT_EQ("statistics " + std::to_string(at) + ": a record of type 5 has no parent",
            onlyDamage(result));
  EXPECT_EQ("Reserve", onlyNode(result).label);
}

TEST(Tree, ADeletedRecordOfAnUnknownParentIsReported) {
  image::Block block = image::ordersBlock();
  block.add(image::node({5, 1, 1, 1}, {4, 7, 7, 7}, u"Lost", 2, u"", 1));
  EXPECT_NE(std::string::npos, onlyDamage(read(block)).find("type 5 has no parent"));
}

TEST(Tree, ALiveRecordWithoutAnyParentIsReported) {
  image::Block block = image::ordersBlock();
  block.add(image::node({5, 1, 1, 1}, {}, u"Lost", 2));
  EXPECT_NE(std::string::npos, onlyDamage(read(block)).find("type 5 has no parent"));
}

TEST(Tree, ARecordThatIsItsOwnParentIsReported) {
  image::Block block = image::ordersBlock();
  block.add(image::flow({4, 8, 8, 8}, {4, 8, 8, 8}, u"Self"));
  EXPECT_NE(std::string::npos, onlyDamage(read(block)).find("type 4 has no parent"));
}

TEST(Tree, ParentsInACircleAreReportedAndEndNowhere) {
  image::Block block = image::ordersBlock();
  const Id one{3, 8, 8, 1};
  const Id two{4, 8, 8, 2};
  block.add(image::group(one, two, u"one", 1));
  block.add(image::flow(two, one, u"two"));
  const Read result = read(block);
  EXPECT_EQ(1U, result.damage.list().size());  // the flow has a group, the group has no broker
  EXPECT_EQ(1U, result.broker->executionGroups.size());
}

TEST(Tree, TwoRecordsOfOneIdAreBothRead) {
  image::Block block = image::ordersBlock();
  block.add(image::flow(image::kFlow, image::kGroup, u"Twin"));
  const Read result = read(block);
  const auto& flows = result.broker->executionGroups[0].messageFlows;
  ASSERT_EQ(2U, flows.size());
  EXPECT_EQ(1U, flows[1].nodes.size());
}

TEST(Tree, OfTwoStatisticsRecordsOfANodeTheFirstCounts) {
  image::Block block = image::ordersBlock();
  block.add(image::statistics({6, 9, 9, 9}, image::kNode, {.count = "77"}));
  const Read result = read(block);
  EXPECT_EQ(3, onlyNode(result).statistics->messageCount);
  EXPECT_EQ("06000000E8030000050000000F000000", onlyNode(result).statistics->recordId.hex());
}

TEST(Tree, EventRecordsDoNotBelongInTheStatisticsArea) {
  image::Block block = image::ordersBlock();
  block.add(image::event({8, 1, 1, 1}, {}, 1));
  EXPECT_NE(std::string::npos, onlyDamage(read(block)).find("type 8 does not belong here"));
}

TEST(DecimalText, ALeadingPlusIsSkipped) {
  image::Block block = image::ordersBlock();
  block.contents.resize(block.contents.size() - 168);
  block.add(image::statistics(image::kStatistics, image::kNode, {.count = "+17"}));
  const Read result = read(block);
  EXPECT_EQ(17, onlyNode(result).statistics->messageCount);
  EXPECT_TRUE(result.damage.empty());
}

TEST(DecimalText, AnEmptyTextIsZeroAndTheLargestNumberIsWhole) {
  image::Block block = image::ordersBlock();
  block.contents.resize(block.contents.size() - 168);
  block.add(image::statistics(image::kStatistics, image::kNode,
                              {.count = "0", .sumSize = "9223372036854775807"}));
  const Read result = read(block);
  EXPECT_EQ(0, onlyNode(result).statistics->messageCount);
  EXPECT_EQ(9223372036854775807, onlyNode(result).statistics->sumSize);
  EXPECT_TRUE(result.damage.empty());
}

class DamagedDecimalText : public testing::TestWithParam<const char*> {};

TEST_P(DamagedDecimalText, IsReportedWithItsPlaceAndIsUnknown) {
  image::Block block = image::ordersBlock();
  block.contents.resize(block.contents.size() - 168);
  const std::size_t at = endOf(block);
  block.add(image::statistics(image::kStatistics, image::kNode, {.sumElapsed = GetParam()}));
  const Read result = read(block);
  EXPECT_EQ("statistics " + std::to_string(at + 96) + ": sum elapsed time is not a decimal number",
            onlyDamage(result));
  EXPECT_EQ(std::nullopt, onlyNode(result).statistics->sumElapsed);
  EXPECT_EQ(3, onlyNode(result).statistics->messageCount);
}

INSTANTIATE_TEST_SUITE_P(Texts, DamagedDecimalText,
                         testing::Values("12x4", "-5", "9223372036854775808",
                                         "999999999999999999999999", "1 2", "++1"));

// Each damages the node record, the last but one of five; what stands before it and, where a record
// begins again, behind it is still read.
struct Harm {
  const char* name;
  std::size_t at;  // in the node record
  std::uint32_t value;
  const char* reason;
};

class DamagedRecord : public testing::TestWithParam<Harm> {};

TEST_P(DamagedRecord, IsReportedWithItsPlaceAndItsNeighboursAreRead) {
  image::Block block = image::ordersBlock();
  const std::size_t record = image::node(image::kNode, image::kFlow, u"Reserve", 1, u"sub").size();
  const std::size_t at = block.contents.size() - 168 - record;
  image::set32(block.contents, at + GetParam().at, GetParam().value);
  const Read result = read(block);
  ASSERT_TRUE(result.broker);
  EXPECT_TRUE(result.broker->executionGroups.at(0).messageFlows.at(0).nodes.empty());
  // The statistics record behind it is found again, but has lost its node.
  ASSERT_EQ(2U, result.damage.list().size());
  EXPECT_EQ(32 + at, result.damage.list()[0].offset);
  EXPECT_EQ(GetParam().reason, result.damage.list()[0].reason);
  EXPECT_EQ("a record of type 6 has no parent", result.damage.list()[1].reason);
}

INSTANTIATE_TEST_SUITE_P(
    Places, DamagedRecord,
    testing::Values(Harm{"Eyecatcher", 0, 0x58585858, "no record begins here"},
                    Harm{"TypeZero", 8, 0, "record type 0 is unknown"},
                    Harm{"TypeTen", 8, 10, "record type 10 is unknown"},
                    Harm{"TypeHuge", 8, 0xFFFFFFFF, "record type 4294967295 is unknown"},
                    Harm{"UuidHuge", 40, 0xFFFFFFFF, "a record of type 5 is cut"},
                    Harm{"UuidWraps", 40, 0x7FFFFFFF, "a record of type 5 is cut"},
                    Harm{"LabelHuge", 46, 0x80000000, "a record of type 5 is cut"},
                    Harm{"LabelToTheEnd", 46, 2000, "a record of type 5 is cut"},
                    Harm{"JoinedEvent", 8, 9, "a record of type 9 is cut"}),
    [](const auto& harm) { return harm.param.name; });

TEST(DamagedArea, ARecordCutAtTheLastOffsetIsReported) {
  for (std::int64_t cut = 1; cut <= 168; ++cut) {
    image::Block block = image::ordersBlock();
    block.next = block.last = static_cast<std::int64_t>(endOf(block)) - cut;
    const Read result = read(block);
    ASSERT_EQ(cut == 168 ? 0U : 1U, result.damage.list().size()) << cut;
    EXPECT_FALSE(onlyNode(result).statistics) << cut;
  }
}

TEST(DamagedArea, AnyByteOfAnyRecordMayHoldAnythingAndNothingOutsideIsRead) {
  const Bytes whole = image::segment({image::ordersBlock()});
  const std::size_t used = 32 + endOf(image::ordersBlock());
  for (std::size_t at = 0; at < used; ++at) {
    for (const int value : {0x00, 0x01, 0x7F, 0x80, 0xFF}) {
      Bytes bytes = whole;
      bytes[at] = static_cast<std::uint8_t>(value);
      read(bytes);  // an address sanitizer run would stop here
    }
  }
  SUCCEED();
}

TEST(DamagedArea, ManyDamagedPlacesAreListedUpToALimit) {
  image::Block block{.eyecatcher = "zebcstar", .size = 65536, .contents = {}};
  for (int i = 0; i < 300; ++i) {
    Bytes record = image::flow({4, 1, 1, static_cast<std::uint32_t>(i)}, {}, u"x");
    record[0] = 'X';
    block.add(record);
    block.add(image::flow({4, 1, 2, static_cast<std::uint32_t>(i)}, {}, u"y"));
  }
  EXPECT_EQ(reader::DamageList::kMost, read(block).damage.list().size());
}

}  // namespace statistics_test
