// SPDX-License-Identifier: Apache-2.0
// What a deployment finds in shared memory, and what it does with it.
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/support/plugin.h"
#include "tests/support/scripted_clock.h"

namespace redeployment_test {

using namespace support;

namespace {

// A second node keeps the segment alive while the first one comes and goes.
class Redeployment : public PluginTest {
 protected:
  Redeployment() : keeper_(deploy({.label = u"KEEPER"})) {}

  static StoredRecord onlyNode(const std::u16string& label) {
    std::vector<StoredRecord> found;
    for (const StoredRecord& node : ofType(statisticsRecords(), kNode))
      if (node.label() == label) found.push_back(node);
    EXPECT_EQ(found.size(), 1U);
    return found.at(0);
  }

  std::unique_ptr<NodeContext> keeper_;
};

TEST_F(Redeployment, ADeletedNodeIsMarkedAndKeepsItsRecords) {
  auto node = deploy({});
  node->send(900);
  const StoredRecord live = onlyNode(u"NODE1");
  const std::size_t records = statisticsRecords().size();
  node->end();
  const StoredRecord deleted = onlyNode(u"NODE1");
  EXPECT_EQ(live.deleted(), 0U);
  EXPECT_EQ(deleted.deleted(), 1U);
  EXPECT_EQ(deleted.id(), live.id());
  EXPECT_EQ(deleted.at(), live.at());
  EXPECT_EQ(statisticsRecords().size(), records);
  for (const StoredRecord& statistics : ofType(statisticsRecords(), kStatistics)) {
    EXPECT_TRUE(!statistics.isChildOf(deleted) || statistics.count() == 1);
  }
}

TEST_F(Redeployment, TheSameNodeComesBackInItsPlaceWithoutItsNumbers) {
  auto node = deploy({.subFlowName = u"A"});
  node->send(900);
  const StoredRecord before = onlyNode(u"NODE1");
  const StoredRecord statisticsBefore = statisticsOf(u"NODE1");
  node->end();
  node = deploy({.type = u"output", .subFlowName = u"A"});
  const StoredRecord after = onlyNode(u"NODE1");
  EXPECT_EQ(after.id(), before.id());
  EXPECT_EQ(after.at(), before.at());
  EXPECT_EQ(after.deleted(), 0U);
  EXPECT_EQ(after.ownNumber(), 2U);
  EXPECT_EQ(statisticsOf(u"NODE1").id(), statisticsBefore.id());
  EXPECT_EQ(statisticsOf(u"NODE1").at(), statisticsBefore.at());
  EXPECT_EQ(statisticsOf(u"NODE1").count(), 0);
}

TEST_F(Redeployment, AnEquallyLongSubFlowNameKeepsTheNode) {
  auto node = deploy({.subFlowName = u"A"});
  const StoredRecord before = onlyNode(u"NODE1");
  node->end();
  node = deploy({.subFlowName = u"B"});
  const StoredRecord after = onlyNode(u"NODE1");
  EXPECT_EQ(after.id(), before.id());
  EXPECT_EQ(after.subFlowName(), u"B");
}

TEST_F(Redeployment, AnotherLengthMakesANewNodeThatInheritsTheStatisticsRecord) {
  auto node = deploy({.subFlowName = u"A"});
  const StoredRecord before = onlyNode(u"NODE1");
  const StoredRecord statistics = statisticsOf(u"NODE1");
  node->end();
  node = deploy({.subFlowName = u"AB"});
  const auto all = ofType(statisticsRecords(), kNode);
  ASSERT_EQ(all.size(), 3U);
  const StoredRecord detached =
      *std::find_if(all.begin(), all.end(),
                    [&](const StoredRecord& record) { return record.id() == before.id(); });
  const StoredRecord fresh = nodeRecord(u"NODE1");
  EXPECT_NE(fresh.id(), before.id());
  EXPECT_EQ(fresh.parent(), before.parent());
  EXPECT_EQ(fresh.subFlowName(), u"AB");
  EXPECT_EQ(detached.parent(), RecordId{});
  EXPECT_EQ(detached.deleted(), 1U);
  EXPECT_EQ(detached.subFlowName(), u"A");
  EXPECT_EQ(statisticsOf(u"NODE1").id(), statistics.id());
  EXPECT_EQ(statisticsOf(u"NODE1").at(), statistics.at());
  EXPECT_EQ(ofType(statisticsRecords(), kStatistics).size(), 2U);
  node->send(77);
  EXPECT_EQ(statisticsOf(u"NODE1").count(), 1);
}

TEST_F(Redeployment, EveryDeploymentResetsEveryNodeOfTheBroker) {
  setClock(1767322800);
  keeper_->send(123);
  EXPECT_EQ(statisticsOf(u"KEEPER").count(), 1);
  setClock(1767322900);
  const auto node = deploy({});
  EXPECT_EQ(statisticsOf(u"KEEPER").count(), 0);
  EXPECT_EQ(statisticsOf(u"KEEPER").firstCollection(), 0U);
  EXPECT_EQ(ofType(statisticsRecords(), kBroker).at(0).ownNumber(), 1767322900 + kCalendarOffset);
  keeper_->send(5);
  EXPECT_EQ(statisticsOf(u"KEEPER").count(), 1);
  EXPECT_EQ(statisticsOf(u"KEEPER").maxSize(), 5);
}

TEST_F(Redeployment, ANodeThatCollectsNoStatisticsResetsNobody) {
  keeper_->send(123);
  const auto node = deploy({.eventMessage = u"text", .activateNode = u"eventOnly"});
  EXPECT_EQ(statisticsOf(u"KEEPER").count(), 1);
  EXPECT_EQ(templates().size(), 1U);
}

TEST_F(Redeployment, NodesOfOneFlowShareItsRecordAndItsGroups) {
  const auto node = deploy({});
  const auto records = statisticsRecords();
  EXPECT_EQ(ofType(records, kBroker).size(), 1U);
  EXPECT_EQ(ofType(records, kGroup).size(), 1U);
  EXPECT_EQ(ofType(records, kFlow).size(), 1U);
  EXPECT_EQ(ofType(records, kNode).size(), 2U);
  for (const StoredRecord& stored : ofType(records, kNode))
    EXPECT_TRUE(stored.isChildOf(ofType(records, kFlow)[0]));
}

TEST_F(Redeployment, OtherFlowsAndGroupsHaveRecordsOfTheirOwn) {
  ScriptedNode otherFlow;
  otherFlow.messageFlow = u"FLOW2";
  ScriptedNode otherGroup;
  otherGroup.executionGroup = u"second";
  const auto first = deploy({}, otherFlow);
  const auto second = deploy({}, otherGroup);
  const auto records = statisticsRecords();
  const auto groups = ofType(records, kGroup);
  const auto flows = ofType(records, kFlow);
  ASSERT_EQ(groups.size(), 2U);
  ASSERT_EQ(flows.size(), 3U);
  EXPECT_TRUE(flows[0].isChildOf(groups[0]));
  EXPECT_TRUE(flows[1].isChildOf(groups[0]));
  EXPECT_TRUE(flows[2].isChildOf(groups[1]));
  EXPECT_EQ(groups[1].label(), u"second");
  EXPECT_EQ(flows[1].label(), u"FLOW2");
}

TEST_F(Redeployment, AnotherBrokerHasASegmentOfItsOwn) {
  writeFile("/var/orva/registry/BRK2/BrokerUUID", "UUID2");
  ScriptedNode elsewhere;
  elsewhere.broker = u"BRK2";
  const auto node = deploy({}, elsewhere);
  node->send();
  EXPECT_EQ(statisticsOf(u"NODE1", "UUID2").count(), 1);
  EXPECT_EQ(ofType(statisticsRecords("UUID1"), kNode).size(), 1U);
  EXPECT_EQ(ofType(statisticsRecords("UUID2"), kBroker).at(0).label(), u"BRK2");
}

TEST_F(Redeployment, AnAreaThatIsFullLeavesTheNodeUnmeasuredAndTheOthersGoOn) {
  std::vector<std::unique_ptr<NodeContext>> nodes;
  for (int i = 0; i < 200; ++i)
    nodes.push_back(
        deploy({.label = u"node " + std::u16string(1, static_cast<char16_t>(0x100 + i))}));
  const Bytes segment = sharedMemory();
  const Block area = findBlock(segment, "zebcstar").value();
  EXPECT_LE(area.next, area.size);
  EXPECT_EQ(area.next, area.last);
  const std::size_t stored = ofType(statisticsRecords(), kNode).size();
  EXPECT_LT(stored, 201U);
  host().forget();
  nodes.back()->send(10);
  EXPECT_EQ(host().countOf("hnxPropagate"), 1U);
  EXPECT_TRUE(host().messages().empty());
  nodes.front()->send(10);
  EXPECT_EQ(statisticsOf(u"node \u0100").count(), 1);
}

TEST_F(Redeployment, ACountAtItsLimitIsResetWithAMessageAndTheMessageIsCounted) {
  const auto other = deploy({.label = u"OTHER"});
  {
    WritableSegment segment;
    segment.putText(statisticsOf(u"KEEPER").at() + 40, "2147483646", 24);
    segment.put(statisticsOf(u"KEEPER").at() + 160, 1);
  }
  other->send();
  keeper_->send(8);
  EXPECT_EQ(statisticsOf(u"KEEPER").count(), 2147483647);
  EXPECT_TRUE(host().messages().empty());
  keeper_->send(9);
  EXPECT_EQ(statisticsOf(u"KEEPER").count(), 1);
  EXPECT_EQ(statisticsOf(u"KEEPER").minSize(), 9);
  EXPECT_EQ(statisticsOf(u"OTHER").count(), 0);
  const auto logged = host().messages();
  ASSERT_EQ(logged.size(), 1U);
  EXPECT_EQ(logged[0].number, 3);
  EXPECT_EQ(logged[0].text, "Maximum reached. Reset statistics.");
  EXPECT_EQ(logged[0].inserts, std::vector<std::string>{"BRK1"});
  EXPECT_EQ(logged[0].unit, "zebcbrkr");
  EXPECT_EQ(logged[0].function, "ZEB_Broker::updateStatistics");
  EXPECT_EQ(logged[0].source, u"DravikMonitorNode");
  EXPECT_EQ(logged[0].type, 2);
}

}  // namespace

}  // namespace redeployment_test
