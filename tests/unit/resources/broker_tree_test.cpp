// SPDX-License-Identifier: Apache-2.0
// A tree of which one node's way is made into objects, beside trees that are objects as a whole.
#include "resources/broker_tree.h"

#include <optional>

#include "tests/unit/resources/broker_test.h"

namespace broker_tree_test {

using namespace support;

namespace {

// Stored: group "EMPTY", node "OTHER" in group "EG1", and "NEIGHBOUR" in "EG2". A second broker
// needs "NODE", beside the neighbour.
class PartialTree : public BrokerTest {
 protected:
  PartialTree() {
    insertGroup(*first_, "EMPTY");
    other_.emplace(*first_, "EG1", "OTHER");
    neighbour_.emplace(*first_, "EG2", "NEIGHBOUR");
    first_->populateStatsArea();
    needing_->keepTo({&groupId_, &flowId_, &nodeId_});
  }

  static void insertGroup(ZEB_Broker& broker, const char* label) {
    const ZEB_Resource_ID id = resourceId(label);
    broker.insertExecutionGroup(&id);
  }
  // As a monitoring node does it.
  void deploy() {
    EXPECT_EQ(0, needing_->readStatsArea(1));
    own_.emplace(*needing_, "EG2");
    needing_->resetStatistics(0);
    EXPECT_TRUE(isPartial());
  }
  // The neighbour is in the flow that was asked for, and no object.
  bool isPartial() {
    const ZEB_Resource_ID neighbour = resourceId("NEIGHBOUR");
    return !needing_->findExecutionGroup(&groupId_)->findMessageFlow(&flowId_)->findNode(
        &neighbour);
  }
  // Every member in order. Makes the tree whole.
  static std::string labels(ZEB_Broker& broker) {
    ZEB_Record_Set records;
    EXPECT_EQ(0, broker.getRecords(&records));
    std::string text;
    for (const ZEB_Record* record : records)
      if (const auto* const named = dynamic_cast<const ZEB_REIR*>(record))
        text += textOf(named->getLabel()) + " ";
    return text;
  }
  static const StoredRecord storedNode(const std::u16string& label) {
    for (const StoredRecord& node : ofType(kNode))
      if (node.label() == label) return node;
    throw std::runtime_error("no such node is stored");
  }
  static void overwrite(const ZEB_Record& record, std::size_t at, const void* bytes,
                        std::size_t count) {
    std::memcpy(static_cast<char*>(record.getAddress()) + at, bytes, count);
  }
  static void overwriteLabel(const ZEB_Record& record, char16_t first) {
    overwrite(record, 50, &first, sizeof first);  // the uuid is empty
  }

  const ZEB_Resource_ID groupId_ = resourceId("EG2");
  const ZEB_Resource_ID flowId_ = resourceId("FLOW");
  const ZEB_Resource_ID nodeId_ = resourceId("NODE");
  const std::unique_ptr<ZEB_Broker> first_ = makeBroker();
  const std::unique_ptr<ZEB_Broker> needing_ = makeBroker();
  std::optional<Branch> other_;
  std::optional<Branch> neighbour_;
  std::optional<Branch> own_;
};

// --- what makes it whole ---

TEST_F(PartialTree, MakesObjectsOfTheWayOnly) {
  deploy();
  EXPECT_EQ(1U, own_->group->messageFlows());
  EXPECT_EQ(1U, own_->flow->nodes());
}

TEST_F(PartialTree, IsWholeOnceItIsAskedForAnotherGroup) {
  deploy();
  EXPECT_NE(nullptr, findGroup(*needing_, "EG1"));
  EXPECT_FALSE(isPartial());
}

TEST_F(PartialTree, IsWholeOnceAnotherGroupIsInserted) {
  deploy();
  insertGroup(*needing_, "EG3");
  EXPECT_FALSE(isPartial());
}

TEST_F(PartialTree, GivesAllRecordsInTheOrderOfAWholeTree) {
  deploy();
  EXPECT_EQ("BRK1 EG1 FLOW OTHER EG2 FLOW NEIGHBOUR NODE ", labels(*needing_));
}

TEST_F(PartialTree, PrintsAllGroups) {
  deploy();
  host().forget();
  needing_->print();
  EXPECT_EQ(3U * (1 + 2 + 2 + 3), linesOf("ZEB_ORVA_Resource::print").size());
}

TEST_F(PartialTree, FindsGroupsInRecordsAsAWholeOneDoes) {
  deploy();
  EXPECT_EQ(3, needing_->findExecutionGroups(nullptr, 1));
  EXPECT_FALSE(isPartial());
}

TEST_F(PartialTree, IsWholeWhileItIsTraced) {
  const Tracing on;
  EXPECT_EQ(0, needing_->readStatsArea(1));
  EXPECT_FALSE(isPartial());
}

TEST_F(PartialTree, OfABrokerThatIsNotOkWritesNothing) {
  deploy();
  first_->updateStatistics(other_->statistics, kNoTime, kNoTime, 5);
  failAllocations(sizeof(ZEB_Events_Area));
  ZEB_Ordered_Record_Set none;
  EXPECT_EQ(6, needing_->getEvents(&none));
  succeedAgain();
  ASSERT_FALSE(needing_->OK());
  setClock(kNow + 500);
  needing_->resetStatistics(0);
  EXPECT_EQ(1, ofType(kStatistics).at(0).count());
  EXPECT_EQ(kNow + kCalendarOffset, ofType(kBroker).at(0).ownNumber());
}

TEST_F(PartialTree, ReadsADamagedAreaAsAnyOther) {
  deploy();
  overwrite(*other_->node->getInformationRecord(), 0, "X", 1);
  EXPECT_EQ(1, needing_->readStatsArea(0));
  EXPECT_FALSE(isPartial());
  EXPECT_NE(nullptr, findGroup(*needing_, "EG1"));
}

TEST_F(PartialTree, ReadsAllWithoutEmptyOnesWhileItHasNoNode) {
  EXPECT_EQ(0, needing_->readStatsArea(0));
  EXPECT_EQ("BRK1 EG1 FLOW OTHER EG2 FLOW NEIGHBOUR ", labels(*needing_));
}

TEST_F(PartialTree, ForgetsTheRestAtAFlush) {
  deploy();
  needing_->flush();
  EXPECT_EQ("BRK1 ", labels(*needing_));
}

TEST_F(PartialTree, ThatHasGroupsAlreadyStaysWhole) {
  first_->keepTo({&groupId_, &flowId_, &nodeId_});
  EXPECT_EQ("BRK1 EMPTY EG1 FLOW OTHER EG2 FLOW NEIGHBOUR ", labels(*first_));
}

// --- what it takes over, keeps and writes ---

TEST_F(PartialTree, KeepsEmptyGroupsWhenItIsToldTo) {
  EXPECT_EQ(0, needing_->readStatsArea(1));
  EXPECT_EQ("BRK1 EMPTY EG1 FLOW OTHER EG2 FLOW NEIGHBOUR ", labels(*needing_));
}

TEST_F(PartialTree, ResetsTheStatisticsOfTheRest) {
  deploy();
  first_->updateStatistics(other_->statistics, kNoTime, kNoTime, 5);
  needing_->resetStatistics(0);
  EXPECT_EQ(0, ofType(kStatistics).at(0).count());
  EXPECT_TRUE(isPartial());
}

TEST_F(PartialTree, ResetsEachRecordUnderItsLockWhenAskedTo) {
  deploy();
  first_->updateStatistics(other_->statistics, kNoTime, kNoTime, 5);
  needing_->resetStatistics(1);
  EXPECT_EQ(0, ofType(kStatistics).at(0).count());
}

TEST_F(PartialTree, SumsTheRest) {
  deploy();
  first_->updateStatistics(other_->statistics, kNoTime, kNoTime, 5);
  needing_->readStatsArea(0);
  needing_->initStatistics();
  Sums sums;
  EXPECT_EQ(0, sums.of(*needing_));
  EXPECT_EQ((std::vector<long>{0, 0, 1}), sums.counts());
}

TEST_F(PartialTree, SumsNothingRightAfterAReset) {
  deploy();
  first_->updateStatistics(other_->statistics, kNoTime, kNoTime, 5);
  needing_->readStatsArea(0);
  needing_->resetStatistics(0);
  EXPECT_TRUE(isPartial());
  needing_->initStatistics();
  Sums sums;
  EXPECT_EQ(0, sums.of(*needing_));
  EXPECT_EQ((std::vector<long>{0, 0, 0}), sums.counts());
}

TEST_F(PartialTree, WritesTheLiveMarkOfANodeThatWasDeletedSince) {
  deploy();
  first_->deleteNode(other_->node);
  EXPECT_EQ(1U, storedNode(u"OTHER").deleted());
  needing_->resetStatistics(0);
  EXPECT_EQ(0U, storedNode(u"OTHER").deleted());
  EXPECT_TRUE(isPartial());
}

TEST_F(PartialTree, WritesThatWhenItIsPopulatedToo) {
  deploy();
  first_->deleteNode(other_->node);
  needing_->populateStatsArea();
  EXPECT_EQ(0U, storedNode(u"OTHER").deleted());
}

TEST_F(PartialTree, TakesTheRecordOfANodeThatCameBack) {
  first_->deleteNode(other_->node);
  deploy();
  EXPECT_EQ(1U, storedNode(u"OTHER").deleted());
  other_->node->undelete();
  other_->node->setNodeType(ZEB_INPUT_NODE);
  first_->populateStatsArea();
  needing_->resetStatistics(0);
  EXPECT_EQ(0U, storedNode(u"OTHER").deleted());
  EXPECT_EQ(1U, storedNode(u"OTHER").ownNumber());
  EXPECT_TRUE(isPartial());
}

// A known group keeps its process, and a node its type, whatever is stored since.
TEST_F(PartialTree, WritesBackWhatItKnew) {
  deploy();
  other_->group->setProcessId(77);
  other_->node->setNodeType(ZEB_OUTPUT_NODE);
  first_->populateStatsArea();
  needing_->resetStatistics(0);
  EXPECT_EQ(0U, ofType(kGroup).at(1).ownNumber());
  EXPECT_EQ(static_cast<std::uint32_t>(ZEB_OTHER_NODE), storedNode(u"OTHER").ownNumber());
  EXPECT_TRUE(isPartial());
}

TEST_F(PartialTree, AddsWhatOthersStoredMeanwhile) {
  EXPECT_EQ(0, needing_->readStatsArea(1));
  const Branch beside(*first_, "EG2", "LATER");
  const Branch elsewhere(*first_, "EG3", "FAR");
  first_->populateStatsArea();
  const Branch own(*needing_, "EG2");
  needing_->resetStatistics(0);
  EXPECT_TRUE(isPartial());
  EXPECT_EQ("BRK1 EG1 FLOW OTHER EG2 FLOW NEIGHBOUR NODE LATER EG3 FLOW FAR ", labels(*needing_));
}

TEST_F(PartialTree, LeavesOutWhatIsDeletedOrEmptyOfThat) {
  EXPECT_EQ(0, needing_->readStatsArea(1));
  const Branch dead(*first_, "EG3", "DEAD");
  Branch half(*first_, "EG4", "LIVE");
  const Branch other(*first_, "EG4", "GONE");
  insertGroup(*first_, "EMPTY2");
  first_->populateStatsArea();
  first_->deleteNode(dead.node);
  first_->deleteNode(other.node);
  const Branch own(*needing_, "EG2");
  needing_->resetStatistics(0);
  EXPECT_TRUE(isPartial());
  EXPECT_EQ("BRK1 EG1 FLOW OTHER EG2 FLOW NEIGHBOUR NODE EG4 FLOW LIVE ", labels(*needing_));
}

TEST_F(PartialTree, PutsANewGroupBehindThoseThatWereKnownWhenItWasMade) {
  const ZEB_Resource_ID mine = resourceId("MINE");
  const auto broker = makeBroker();
  broker->keepTo({&mine, &flowId_, &nodeId_});
  EXPECT_EQ(0, broker->readStatsArea(1));
  const Branch own(*broker, "MINE");
  const Branch later(*first_, "LATER");
  first_->populateStatsArea();
  broker->resetStatistics(0);
  EXPECT_EQ("BRK1 EG1 FLOW OTHER EG2 FLOW NEIGHBOUR MINE FLOW NODE LATER FLOW NODE ",
            labels(*broker));
}

TEST_F(PartialTree, PutsANodeThatReplacesAnotherBehindItsSiblings) {
  const Branch replaced(*first_, "EG2");
  const Branch last(*first_, "EG2", "LAST");
  first_->populateStatsArea();
  EXPECT_EQ(0, needing_->readStatsArea(1));
  const Branch before(*needing_, "EG2");
  before.flow->getNodes().remove(before.node);
  const Branch own(*needing_, "EG2");
  EXPECT_EQ("BRK1 EMPTY EG1 FLOW OTHER EG2 FLOW NEIGHBOUR LAST NODE ", labels(*needing_));
}

// --- what its images can't follow ---

TEST_F(PartialTree, IsWholeOnceSomebodyChangedALabel) {
  deploy();
  overwriteLabel(*other_->node->getInformationRecord(), u'X');
  EXPECT_EQ(0, needing_->readStatsArea(0));
  EXPECT_EQ("BRK1 EG1 FLOW OTHER XTHER EG2 FLOW NEIGHBOUR NODE ", labels(*needing_));
}

TEST_F(PartialTree, IsWholeOnceSomebodyChangedAParent) {
  deploy();
  overwrite(*other_->node->getInformationRecord(), 24, own_->flow->getRecordId(), 16);
  EXPECT_EQ(0, needing_->readStatsArea(0));
  EXPECT_EQ("BRK1 EG1 FLOW OTHER EG2 FLOW NEIGHBOUR NODE OTHER ", labels(*needing_));
}

TEST_F(PartialTree, IsWholeOnceSomebodyChangedAnId) {
  deploy();
  overwrite(*other_->node->getInformationRecord(), 20, "abcd", 4);
  EXPECT_EQ(0, needing_->readStatsArea(0));
  EXPECT_FALSE(isPartial());
}

TEST_F(PartialTree, IsWholeWhereTwoShareAnId) {
  overwrite(*neighbour_->group->getInformationRecord(), 8, other_->group->getRecordId(), 16);
  EXPECT_EQ(0, needing_->readStatsArea(1));
  EXPECT_EQ("BRK1 EMPTY EG1 FLOW OTHER EG2 FLOW OTHER ", labels(*needing_));
}

TEST_F(PartialTree, IsWholeOnceAnotherStoredItsOwnGroup) {
  const ZEB_Resource_ID mine = resourceId("MINE");
  const auto broker = makeBroker();
  broker->keepTo({&mine, &flowId_, &nodeId_});
  EXPECT_EQ(0, broker->readStatsArea(1));
  const Branch own(*broker, "MINE");
  const Branch faster(*first_, "MINE");
  first_->populateStatsArea();
  broker->resetStatistics(0);
  EXPECT_EQ("BRK1 EG1 FLOW OTHER EG2 FLOW NEIGHBOUR MINE FLOW NODE ", labels(*broker));
  EXPECT_EQ(5U, ofType(kGroup).size()) << "each has stored its own";
}

TEST_F(PartialTree, IsWholeOnceItsStatisticsAreAnothers) {
  deploy();
  overwrite(*own_->statistics, 24, other_->node->getRecordId(), 16);
  overwrite(*other_->statistics, 24, own_->node->getRecordId(), 16);
  EXPECT_EQ(0, needing_->readStatsArea(0));
  EXPECT_FALSE(isPartial());
  EXPECT_EQ(idOf(*other_->statistics), idOf(*own_->statistics));
}

TEST_F(PartialTree, GivesANodeStatisticsThatHasNoneStored) {
  const ZEB_Record_ID none;
  overwrite(*other_->statistics, 24, &none, 16);
  EXPECT_EQ(0, needing_->readStatsArea(1));
  EXPECT_FALSE(isPartial());
  needing_->resetStatistics(0);
  EXPECT_EQ(3U, ofType(kStatistics).size());
}

// --- an area that is full ---

// 4064 bytes of records: broker 74, group 60, flow 60, then 68 and 168 for a node of three letters.
class FullArea : public BrokerTest {
 protected:
  void SetUp() override {
    BrokerTest::SetUp();
    configure("ZEBMemorySize 4096\n");
    broker_ = makeBroker();
    for (int i = 0; i < 18; ++i)
      Branch(*broker_, "EG", "NO" + std::string(1, static_cast<char>('A' + i)));
    broker_->populateStatsArea();
  }
  std::unique_ptr<ZEB_Broker> broker_;
};

TEST_F(FullArea, LeavesANodeWithoutStatisticsAndTheTreePartial) {
  ASSERT_EQ(ofType(kNode).size(), ofType(kStatistics).size() + 1);
  const ZEB_Resource_ID group = resourceId("EG");
  const ZEB_Resource_ID flow = resourceId("FLOW");
  const ZEB_Resource_ID node = resourceId("NOA");
  const auto needing = makeBroker();
  needing->keepTo({&group, &flow, &node});
  EXPECT_EQ(0, needing->readStatsArea(1));
  setClock(kNow + 9);
  needing->resetStatistics(0);
  EXPECT_EQ(1U, findGroup(*needing, "EG")->findMessageFlow(&flow)->nodes());
  const Block area = findBlock(bytes(), "zebcstar").value();
  EXPECT_EQ(kNow + 9, area.seconds) << "by the append that was refused";
}

}  // namespace

}  // namespace broker_tree_test
