// SPDX-License-Identifier: Apache-2.0
// One execution group of a broker.
#include "resources/execution_group.h"

#include "tests/unit/resources/resource_test.h"

namespace execution_group_test {

using namespace support;

namespace {

constexpr char kUnit[] = "zebcexgr";

struct Store : ZEB_Statistics_Store {
  ZEB_ReturnCode resetStatistics(ZEB_STIR* record) override {
    asked.push_back(record);
    return ZEB_SUCCESS;
  }
  std::vector<ZEB_STIR*> asked;
};

class ExecutionGroup : public LibraryTest {
 protected:
  ZEB_Message_Flow* insert(const std::string& label) {
    const ZEB_Resource_ID flowId = resourceId(label);
    return group.insertMessageFlow(&flowId);
  }
  static ZEB_Node* insertNode(ZEB_Message_Flow* flow, const std::string& label) {
    const ZEB_Resource_ID nodeId = resourceId(label);
    return flow->insertNode(&nodeId);
  }
  ZEB_Message_Flow* find(const std::string& label) const {
    const ZEB_Resource_ID flowId = resourceId(label);
    return group.findMessageFlow(&flowId);
  }

  ZEB_Resource_ID id = resourceId("EG");
  ZEB_Execution_Group group{&id};
};

TEST_F(ExecutionGroup, BeginsWithoutFlows) {
  EXPECT_TRUE(group.OK());
  EXPECT_EQ(3U, group.getType());
  EXPECT_EQ(0U, group.messageFlows());
  EXPECT_EQ(0, group.getProcessId());
  EXPECT_EQ(nullptr, find("FLOW"));
  EXPECT_EQ(nullptr, group.findMessageFlow(nullptr));
}

TEST_F(ExecutionGroup, IsBuiltFromARecordWithItsProcess) {
  ZEB_EGIR record(&id);
  record.setProcessId(4711);
  const ZEB_Execution_Group copy(&record);
  EXPECT_EQ(idOf(record), idOf(copy.getRecordId()));
  EXPECT_EQ(4711, copy.getProcessId());
}

TEST_F(ExecutionGroup, IsNotOkWithoutMemoryForItsRecord) {
  const ZEB_EGIR record(&id);
  failAllocations(sizeof(ZEB_EGIR));
  EXPECT_EQ(301, ZEB_Execution_Group(&id).getStatus());
  EXPECT_EQ(301, ZEB_Execution_Group(&record).getStatus());
}

TEST_F(ExecutionGroup, KeepsTheProcessInItsRecord) {
  group.setProcessId(99);
  EXPECT_EQ(99, static_cast<ZEB_EGIR*>(group.getInformationRecord())->getProcessId());
  EXPECT_EQ(99, group.getProcessId());
  group.ZEB_ORVA_Resource::cleanup();
  group.setProcessId(100);
  EXPECT_EQ(0, group.getProcessId());
}

TEST_F(ExecutionGroup, AnInsertedFlowIsItsChild) {
  ZEB_Message_Flow* const flow = insert("FLOW");
  ASSERT_NE(nullptr, flow);
  EXPECT_EQ("FLOW", textOf(flow->getLabel()));
  EXPECT_EQ(1U, flow->isChildOf(&group));
  EXPECT_EQ(1U, group.messageFlows());
  EXPECT_EQ(flow, find("FLOW"));
  const ZEB_MFIR record(&id);
  const ZEB_Message_Flow* const second = group.insertMessageFlow(&record);
  EXPECT_EQ(idOf(record), idOf(second->getRecordId()));
  EXPECT_EQ(1U, second->isChildOf(&group));
  EXPECT_EQ(nullptr, group.insertMessageFlow(static_cast<const ZEB_MFIR*>(nullptr)));
  EXPECT_EQ(2U, group.messageFlows());
}

TEST_F(ExecutionGroup, AFlowThatCannotBeMadeIsNotInserted) {
  failAllocations(sizeof(ZEB_Message_Flow));
  EXPECT_EQ(nullptr, insert("FLOW"));
  EXPECT_EQ(Texts{message1(kUnit, "ZEB_Execution_Group::insertMessageFlow2")}, messageLines());
  EXPECT_EQ(0U, group.messageFlows());
}

TEST_F(ExecutionGroup, CleanupDestroysTheFlows) {
  insert("FLOW");
  group.cleanup();
  EXPECT_EQ(0U, group.messageFlows());
}

// --- rebuilding ---

TEST_F(ExecutionGroup, RebuildsItsOwnFlowsAndTheirNodes) {
  const ZEB_Execution_Group other(&id);
  StoredSet stored;
  const ZEB_MFIR* const own = stored.add<ZEB_MFIR>("OWN", group.getRecordId());
  stored.add<ZEB_MFIR>("FOREIGN", other.getRecordId());
  stored.add<ZEB_NOIR>("NO FLOW", group.getRecordId());
  stored.add<ZEB_NOIR>("NODE", own->getRecordId());
  EXPECT_EQ(0, group.findMessageFlows(&stored, 0));
  ASSERT_EQ(1U, group.messageFlows());
  const ZEB_Message_Flow* const flow = find("OWN");
  ASSERT_NE(nullptr, flow);
  EXPECT_EQ(idOf(*own), idOf(flow->getRecordId()));
  EXPECT_EQ(1U, flow->nodes());
  EXPECT_EQ(0, group.findMessageFlows(&stored, 0));
  EXPECT_EQ(1U, group.messageFlows());
  EXPECT_EQ(1U, flow->nodes());
}

TEST_F(ExecutionGroup, RebuildingNeedsASet) {
  const StoredSet empty;
  EXPECT_EQ(3, group.findMessageFlows(nullptr, 0));
  EXPECT_EQ(0, group.findMessageFlows(&empty, 0));
}

TEST_F(ExecutionGroup, AFlowWithoutNodesIsDroppedUnlessKept) {
  StoredSet stored;
  stored.add<ZEB_MFIR>("EMPTY", group.getRecordId());
  const ZEB_MFIR* const dead = stored.add<ZEB_MFIR>("DEAD", group.getRecordId());
  stored.add<ZEB_NOIR>("NODE", dead->getRecordId())->markDeleted();
  EXPECT_EQ(0, group.findMessageFlows(&stored, 0));
  EXPECT_EQ(0U, group.messageFlows());
  EXPECT_EQ(0, group.findMessageFlows(&stored, 1));
  EXPECT_EQ(2U, group.messageFlows());
  EXPECT_EQ(0U, find("EMPTY")->nodes());
  EXPECT_EQ(1U, find("DEAD")->nodes());
  EXPECT_EQ(0, group.findMessageFlows(&stored, 0));
  EXPECT_EQ(nullptr, find("EMPTY"));
  EXPECT_NE(nullptr, find("DEAD"));
}

TEST_F(ExecutionGroup, AFlowThatCannotBeMadeIsReportedAndTheRestRebuilt) {
  StoredSet stored;
  for (const char* label : {"A", "B", "C"}) {
    const ZEB_MFIR* const flow = stored.add<ZEB_MFIR>(label, group.getRecordId());
    stored.add<ZEB_NOIR>("NODE", flow->getRecordId());
    if (*label != 'B') group.insertMessageFlow(flow);
  }
  failAllocations(sizeof(ZEB_Message_Flow));
  EXPECT_EQ(1, group.findMessageFlows(&stored, 1));
  succeedAgain();
  EXPECT_EQ(2U, group.messageFlows());
  EXPECT_EQ(nullptr, find("B"));
  EXPECT_EQ(1U, find("A")->nodes());
  EXPECT_EQ(1U, find("C")->nodes()) << "behind the one that could not be made";
}

// --- records, statistics, log ---

TEST_F(ExecutionGroup, GivesItsRecordThenItsFlows) {
  ZEB_Message_Flow* const first = insert("B");
  const ZEB_Message_Flow* const second = insert("A");
  const ZEB_Node* const node = insertNode(first, "NODE");
  ZEB_Record_Set out;
  EXPECT_EQ(0, group.getRecords(&out));
  const std::vector<ZEB_Record*> expected = {
      group.getInformationRecord(), first->getInformationRecord(), node->getInformationRecord(),
      node->getStatsRecord(), second->getInformationRecord()};
  EXPECT_EQ(expected, std::vector<ZEB_Record*>(out.begin(), out.end()));
  EXPECT_EQ(3, group.getRecords(nullptr));
  group.ZEB_ORVA_Resource::cleanup();
  EXPECT_EQ(10, group.getRecords(&out));
}

TEST_F(ExecutionGroup, SumsItsFlowsOnceUntilInitStatistics) {
  fold(*insertNode(insert("A"), "NODE")->getStatsRecord(), 2, 10);
  fold(*insertNode(insert("B"), "NODE")->getStatsRecord(), 3, 10);
  Sums none;
  EXPECT_EQ(4, none.of(group));
  group.initStatistics();
  Sums sums;
  EXPECT_EQ(0, sums.of(group));
  EXPECT_EQ((std::vector<long>{0, 0, 5}), sums.counts());
  EXPECT_EQ(0, sums.of(group));
  EXPECT_EQ((std::vector<long>{0, 0, 10}), sums.counts());
  group.initStatistics();
  Sums fresh;
  fresh.of(group);
  EXPECT_EQ((std::vector<long>{0, 0, 5}), fresh.counts());
}

TEST_F(ExecutionGroup, ResetsEachNodeOfEachFlow) {
  ZEB_Node* const first = insertNode(insert("A"), "NODE");
  ZEB_Node* const second = insertNode(insert("B"), "NODE");
  fold(*second->getStatsRecord(), 1, 10);
  Store store;
  group.resetStatistics(&store);
  EXPECT_EQ((std::vector<ZEB_STIR*>{first->getStatsRecord(), second->getStatsRecord()}),
            store.asked);
  group.resetStatistics(nullptr);
  EXPECT_EQ(0, second->getStatsRecord()->getMessageCount());
}

TEST_F(ExecutionGroup, PrintsItselfThenItsFlows) {
  insert("FLOW");
  host().forget();
  group.print();
  Texts expected = printed("Execution Group", "EG", "");
  for (const std::string& line : printed("Message Flow", "FLOW", "")) expected.push_back(line);
  EXPECT_EQ(expected, linesOf("ZEB_ORVA_Resource::print"));
}

TEST_F(ExecutionGroup, EveryOperationTraces) {
  const StoredSet none;
  ZEB_Record_Set out;
  Sums sums;
  const ZEB_EGIR record(&id);
  const Tracing on;
  {
    ZEB_Execution_Group one(&record);
    const ZEB_Message_Flow* const flow = one.insertMessageFlow(&id);
    one.findMessageFlow(&id);
    one.findMessageFlows(&none, 0);
    one.getRecords(&out);
    one.initStatistics();
    sums.of(one);
    one.print();
    one.resetStatistics(nullptr);
    one.messageFlows();
    one.setProcessId(17);
    one.getProcessId();
    expectTraced(kUnit, {{"ZEB_Execution_Group::ZEB_Execution_Group", "Exit"},
                         {"ZEB_Execution_Group::insertMessageFlow", exitOf(flow)},
                         {"ZEB_Execution_Group::insertMessageFlow2", exitOf(flow)},
                         {"ZEB_Execution_Group::findMessageFlow", exitOf(flow)},
                         {"ZEB_Execution_Group::findMessageFlows", "Exit: 0x0"},
                         {"ZEB_Execution_Group::getRecords", "Exit: 0x0"},
                         {"ZEB_Execution_Group::initStatistics", "Exit"},
                         {"ZEB_Execution_Group::getStatistics", "Exit: 0x0"},
                         {"ZEB_Execution_Group::print", "Exit"},
                         {"ZEB_Execution_Group::resetStatistics", "Exit"},
                         {"ZEB_Execution_Group::messageFlows", "Exit: 0x1"},
                         {"ZEB_Execution_Group::setProcessId", "Exit"},
                         {"ZEB_Execution_Group::getProcessId", "Exit: 0x11"}});
  }
  expectTraced(kUnit, {{"ZEB_Execution_Group::cleanup", "Exit"},
                       {"ZEB_Execution_Group::~ZEB_Execution_Group", "Exit"}});
  host().forget();
  const ZEB_Execution_Group one(&id);
  expectTraced(kUnit, {{"ZEB_Execution_Group::ZEB_Execution_Group", "Exit"}});
}

}  // namespace

}  // namespace execution_group_test
