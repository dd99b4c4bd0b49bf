// SPDX-License-Identifier: Apache-2.0
// Several trees over one statistics area: what each knows, writes and leaves alone, and what
// happens when the area is full.
#include <gtest/gtest.h>
#include <unistd.h>

#include "tests/support/plugin.h"
#include "tests/support/scripted_clock.h"

namespace tree_test {

using namespace support;

namespace {

class Tree : public PluginTest {
 protected:
  // Makes this node reset the whole tree: its count is set to the limit, then a message is sent.
  static void resetThrough(NodeContext& node, const std::u16string& label) {
    WritableSegment().putText(statisticsOf(label).at() + 40, "2147483647", 24);
    node.send(1);
  }

  static StoredRecord only(const std::u16string& label) {
    std::vector<StoredRecord> found;
    for (const StoredRecord& node : ofType(statisticsRecords(), kNode)) {
      if (node.label() == label) found.push_back(node);
    }
    EXPECT_EQ(1U, found.size());
    return found.at(0);
  }

  static long long countOf(const StoredRecord& node) {
    for (const StoredRecord& statistics : ofType(statisticsRecords(), kStatistics)) {
      if (statistics.isChildOf(node)) return statistics.count();
    }
    return -1;
  }
};

TEST_F(Tree, TwoInstancesOfANodeCountInOneRecord) {
  const auto first = deploy({});
  auto second = deploy({});
  EXPECT_EQ(1U, ofType(statisticsRecords(), kNode).size());
  first->send(10);
  second->send(20);
  EXPECT_EQ(2, statisticsOf(u"NODE1").count());
  EXPECT_EQ(30, statisticsOf(u"NODE1").sumSize());
}

// The record says that the node is gone although its other instance counts on.
TEST_F(Tree, TheEndOfOneInstanceMarksTheNodeOfBoth) {
  auto first = deploy({});
  const auto second = deploy({});
  first->end();
  EXPECT_EQ(1U, only(u"NODE1").deleted());
  second->send(20);
  EXPECT_EQ(1, countOf(only(u"NODE1")));
}

TEST_F(Tree, AResetReachesNodesThatCameLater) {
  const auto keeper = deploy({.label = u"KEEPER"});
  const auto later = deploy({});
  later->send();
  resetThrough(*keeper, u"KEEPER");
  EXPECT_EQ(0, statisticsOf(u"NODE1").count());
}

TEST_F(Tree, AResetLeavesADeletedNodeThatWasNeverKnownAlone) {
  const auto keeper = deploy({.label = u"KEEPER"});
  auto later = deploy({});
  later->send();
  later->end();
  const Bytes before = only(u"NODE1").bytes();
  resetThrough(*keeper, u"KEEPER");
  EXPECT_EQ(1, countOf(only(u"NODE1")));
  EXPECT_EQ(before, only(u"NODE1").bytes());
}

TEST_F(Tree, ADeploymentResetsDeletedNodesToo) {
  const auto keeper = deploy({.label = u"KEEPER"});
  auto node = deploy({});
  node->send();
  node->end();
  EXPECT_EQ(1, countOf(only(u"NODE1")));
  const auto other = deploy({.label = u"OTHER"});
  EXPECT_EQ(0, countOf(only(u"NODE1")));
  EXPECT_EQ(1U, only(u"NODE1").deleted());
}

// A tree that has met the node alive keeps it alive, and writes that back.
TEST_F(Tree, ANodeKnownAliveIsWrittenAliveAgain) {
  auto node = deploy({});
  const auto keeper = deploy({.label = u"KEEPER"});
  node->end();
  EXPECT_EQ(1U, only(u"NODE1").deleted());
  resetThrough(*keeper, u"KEEPER");
  EXPECT_EQ(0U, only(u"NODE1").deleted());
}

TEST_F(Tree, ANodeKnownDeletedComesBackAsTheAreaSays) {
  const auto first = deploy({.label = u"FIRST"});
  deploy({});
  const auto keeper = deploy({.label = u"KEEPER"});
  EXPECT_EQ(1U, only(u"NODE1").deleted());
  const auto node = deploy({});
  EXPECT_EQ(0U, only(u"NODE1").deleted());
  resetThrough(*keeper, u"KEEPER");
  EXPECT_EQ(0U, only(u"NODE1").deleted());
}

TEST_F(Tree, AFlowWhoseOnlyNodeWasDeletedKeepsItsRecords) {
  const auto keeper = deploy({.label = u"KEEPER"});
  const ScriptedNode where{.messageFlow = u"FLOW2"};
  deploy({}, where);
  resetThrough(*keeper, u"KEEPER");
  const auto flows = ofType(statisticsRecords(), kFlow);
  ASSERT_EQ(2U, flows.size());
  EXPECT_EQ(0U, flows[1].deleted());
  const auto again = deploy({}, where);
  EXPECT_EQ(2U, ofType(statisticsRecords(), kFlow).size());
  EXPECT_EQ(2U, ofType(statisticsRecords(), kNode).size());
}

// The same label below another parent is another node.
TEST_F(Tree, EqualLabelsInTwoFlowsAreTwoNodes) {
  const auto first = deploy({});
  const auto second = deploy({}, {.messageFlow = u"FLOW2"});
  first->send();
  const auto nodes = ofType(statisticsRecords(), kNode);
  ASSERT_EQ(2U, nodes.size());
  EXPECT_EQ(1, countOf(nodes[0]));
  EXPECT_EQ(0, countOf(nodes[1]));
}

TEST_F(Tree, BrokersWithoutAnIdentifierShareASegmentAndTheFirstOnesRecord) {
  const auto first = deploy({}, {.broker = u"NAMELESS1"});
  const auto second = deploy({.label = u"NODE2"}, {.broker = u"NAMELESS2"});
  const auto brokers = ofType(statisticsRecords(""), kBroker);
  ASSERT_EQ(1U, brokers.size());
  EXPECT_EQ(u"NAMELESS1", brokers[0].label());
  EXPECT_EQ(2U, ofType(statisticsRecords(""), kNode).size());
}

TEST_F(Tree, TheProcessOfAGroupAndTheResetTimeAreRewrittenInPlace) {
  setClock(1000);
  const auto first = deploy({});
  WritableSegment().put(ofType(statisticsRecords(), kGroup).at(0).at() + 52 + 14, 1);
  EXPECT_EQ(1U, ofType(statisticsRecords(), kGroup)[0].ownNumber());
  setClock(2000);
  const Bytes before = sharedMemory();
  const auto again = deploy({.label = u"NODE2"});
  EXPECT_EQ(static_cast<std::uint32_t>(getpid()),
            ofType(statisticsRecords(), kGroup).at(0).ownNumber());
  EXPECT_EQ(2000 + kCalendarOffset, ofType(statisticsRecords(), kBroker).at(0).ownNumber());
  const StoredRecord broker = ofType(statisticsRecords(), kBroker)[0];
  EXPECT_EQ(slice(before, broker.at(), broker.bytes().size() - 4),
            slice(broker.bytes(), 0, broker.bytes().size() - 4));
}

TEST_F(Tree, AnAppendStampsTheHeaderOfItsArea) {
  setClock(1000, 5);
  const auto first = deploy({});
  setClock(2000, 7);
  const auto second = deploy({.label = u"NODE2"});
  const Block area = findBlock(sharedMemory(), "zebcstar").value();
  EXPECT_EQ(2000U, area.seconds);
  EXPECT_EQ(7U, area.milliseconds);
  EXPECT_EQ(1000U, blockAt(sharedMemory(), 0).seconds) << "no block was carved";
}

TEST_F(Tree, ARevivalRewritesInPlaceAndStampsNothing) {
  setClock(1000);
  const auto keeper = deploy({.label = u"KEEPER"});
  deploy({});
  setClock(2000);
  const auto again = deploy({});
  EXPECT_EQ(1000U, findBlock(sharedMemory(), "zebcstar")->seconds);
}

// 4064 bytes of records: broker 74, group 70, flow 62, then 240 for a node of five letters.
class FullTree : public PluginBeforeStart {
 protected:
  FullTree() { startLibrary("ZEBMemorySize 4096\n"); }

  // Fills the area with so many nodes of five letters.
  void fill(int nodes) {
    for (int i = 0; i < nodes; ++i)
      add(u"NODE" + std::u16string(1, static_cast<char16_t>('A' + i)));
  }
  NodeContext& add(const std::u16string& label) {
    nodes_.push_back(deploy({.label = label}));
    return *nodes_.back();
  }
  static Block area() { return findBlock(sharedMemory(), "zebcstar").value(); }

  std::vector<std::unique_ptr<NodeContext>> nodes_;
};

TEST_F(FullTree, SixteenNodesFitAndTheNextIsRefusedWhole) {
  fill(16);
  EXPECT_EQ(32U + 206 + 16 * 240, area().next);
  EXPECT_EQ(16U, ofType(statisticsRecords(), kStatistics).size());
  NodeContext& refused = add(u"NODEQ");
  EXPECT_EQ(32U + 206 + 16 * 240, area().next);
  EXPECT_EQ(16U, ofType(statisticsRecords(), kNode).size());
  refused.send(5);
  refused.send(5);
  EXPECT_EQ(Bytes(18, 0), slice(sharedMemory(), area().at + 4078, 18));
  nodes_[3]->send(5);
  EXPECT_EQ(1, statisticsOf(u"NODED").count());
  EXPECT_TRUE(host().messages().empty());
}

TEST_F(FullTree, ARecordThatFitsExactlyIsStored) {
  fill(15);
  NodeContext& last = add(u"fourteen units");
  EXPECT_EQ(4096U, area().next);
  EXPECT_EQ(4096U, area().last);
  last.send(5);
  EXPECT_EQ(1, statisticsOf(u"fourteen units").count());
}

TEST_F(FullTree, ANodeWithoutRoomForItsStatisticsIsStoredAloneAndCountsNowhere) {
  fill(15);
  NodeContext& last = add(u"fifteen units..");
  EXPECT_EQ(32U + 206 + 15 * 240 + 92, area().next);
  last.send(5);
  EXPECT_EQ(15U, ofType(statisticsRecords(), kStatistics).size());
  EXPECT_EQ(u"fifteen units..", nodeRecord(u"fifteen units..").label());
}

TEST_F(FullTree, AFullAreaIsStampedByTheAppendThatItRefuses) {
  setClock(5000);
  fill(16);
  setClock(6000);
  add(u"NODEQ");
  EXPECT_EQ(6000U, area().seconds);
}

}  // namespace

}  // namespace tree_test
