// SPDX-License-Identifier: Apache-2.0
// One monitoring node of a message flow.
#include "resources/node.h"

#include "tests/unit/resources/resource_test.h"

namespace node_test {

using namespace support;

namespace {

constexpr char kUnit[] = "zebcnode";

struct Store : ZEB_Statistics_Store {
  ZEB_ReturnCode resetStatistics(ZEB_STIR* record) override {
    asked.push_back(record);
    return ZEB_SUCCESS;
  }
  std::vector<ZEB_STIR*> asked;
};

class Node : public LibraryTest {
 protected:
  ZEB_Resource_ID id = resourceId("NODE");
  ZEB_Node node{&id};
};

TEST_F(Node, BeginsAsAnOtherNodeWithStatisticsOfItsOwn) {
  EXPECT_TRUE(node.OK());
  EXPECT_EQ(5U, node.getType());
  EXPECT_EQ(ZEB_OTHER_NODE, node.getNodeType());
  EXPECT_EQ("", textOf(node.getSubFlowName()));
  EXPECT_EQ(0U, node.isDeleted());
  ASSERT_NE(nullptr, node.getStatsRecord());
  EXPECT_EQ(6U, node.getStatsRecord()->type());
  EXPECT_EQ(1U, node.getStatsRecord()->isChildOf(node.getInformationRecord()));
  EXPECT_NE(0U, node.getStatsRecord()->timeStamp().seconds);
}

TEST_F(Node, IsBuiltFromARecordWithAllItsFields) {
  ZEB_NOIR record(&id);
  const ZEB_String subFlow("SUB");
  record.setSubFlowName(&subFlow);
  record.setNodeType(ZEB_SUB_FLOW_OUTPUT_NODE);
  record.markDeleted();
  const ZEB_Node copy(&record);
  EXPECT_EQ(idOf(record), idOf(copy.getRecordId()));
  EXPECT_EQ(ZEB_SUB_FLOW_OUTPUT_NODE, copy.getNodeType());
  EXPECT_EQ("SUB", textOf(copy.getSubFlowName()));
  EXPECT_EQ(1U, copy.isDeleted());
  EXPECT_EQ(idOf(record), idOf(copy.getStatsRecord()->getParentId()));
}

TEST_F(Node, IsNotOkWithoutMemoryForItsStatistics) {
  failAllocations(sizeof(ZEB_STIR));
  const ZEB_Node failed(&id);
  EXPECT_EQ(301, failed.getStatus());
  EXPECT_EQ(nullptr, failed.getStatsRecord());
  EXPECT_EQ(Texts{message1(kUnit, "ZEB_Node::init")}, messageLines());
  const ZEB_NOIR record(&id);
  EXPECT_EQ(301, ZEB_Node(&record).getStatus());
}

TEST_F(Node, WithoutMemoryForItsRecordItHasNoStatisticsEither) {
  const ZEB_NOIR record(&id);
  failAllocations(sizeof(ZEB_NOIR));
  const ZEB_Node fromId(&id);
  EXPECT_EQ(301, fromId.getStatus());
  EXPECT_EQ(nullptr, fromId.getStatsRecord());
  const ZEB_Node fromRecord(&record);
  EXPECT_EQ(301, fromRecord.getStatus());
  EXPECT_EQ(nullptr, fromRecord.getStatsRecord());
}

TEST_F(Node, WithoutAnInformationRecordItIsAnOtherNode) {
  node.setNodeType(ZEB_INPUT_NODE);
  node.markDeleted();
  node.ZEB_ORVA_Resource::cleanup();
  EXPECT_EQ(ZEB_OTHER_NODE, node.getNodeType());
  EXPECT_EQ(0U, node.getSubFlowName().size());
  EXPECT_EQ(0U, node.isDeleted());
  const ZEB_String text("X");
  node.setNodeType(ZEB_INPUT_NODE);
  node.setSubFlowName(&text);
  node.setLabel(&text);
  node.markDeleted();
  node.undelete();
  node.assign(ZEB_NOIR(&id));
  EXPECT_EQ(ZEB_OTHER_NODE, node.getNodeType());
}

TEST_F(Node, SettersChangeTheInformationRecord) {
  const ZEB_String subFlow("SUB");
  const ZEB_String label("NEW LABEL");
  node.setNodeType(ZEB_OUTPUT_NODE);
  node.setSubFlowName(&subFlow);
  node.setLabel(&label);
  const auto* const record = static_cast<ZEB_NOIR*>(node.getInformationRecord());
  EXPECT_EQ(ZEB_OUTPUT_NODE, record->getNodeType());
  EXPECT_EQ("SUB", textOf(record->getSubFlowName()));
  EXPECT_EQ("NEW LABEL", textOf(record->getLabel()));
  node.setSubFlowName(nullptr);
  node.setLabel(nullptr);
  EXPECT_EQ("SUB", textOf(node.getSubFlowName()));
  EXPECT_EQ("NEW LABEL", textOf(node.getLabel()));
}

TEST_F(Node, IsMarkedDeletedAndRevived) {
  node.markDeleted();
  EXPECT_EQ(1U, node.isDeleted());
  EXPECT_EQ(1U, node.getInformationRecord()->isDeleted());
  node.undelete();
  EXPECT_EQ(0U, node.isDeleted());
}

TEST_F(Node, GivesItsInformationRecordThenItsStatistics) {
  ZEB_Record_Set out;
  EXPECT_EQ(0, node.getRecords(&out));
  ASSERT_EQ(2U, out.entries());
  ZEB_Record_Set_Iterator next(out);
  EXPECT_EQ(node.getInformationRecord(), next.getNext());
  EXPECT_EQ(node.getStatsRecord(), next.getNext());
  EXPECT_EQ(3, node.getRecords(nullptr));
}

TEST_F(Node, ReportsAMissingRecordAndGivesTheOther) {
  ZEB_Record_Set out;
  node.cleanup();
  EXPECT_EQ(nullptr, node.getStatsRecord());
  EXPECT_EQ(10, node.getRecords(&out));
  EXPECT_EQ(1U, out.entries());
  ZEB_Node another(&id);
  another.ZEB_ORVA_Resource::cleanup();
  out.clear();
  EXPECT_EQ(10, another.getRecords(&out));
  EXPECT_EQ(1U, out.entries());
}

TEST_F(Node, TakesTheFirstStatisticsThatAreItsOwn) {
  const ZEB_Node other(&id);
  StoredSet stored;
  stored.add<ZEB_NOIR>("CHILD", node.getRecordId());
  fold(*stored.addStatistics(other.getRecordId()), 1, 10);
  ZEB_STIR* const own = stored.addStatistics(node.getRecordId());
  fold(*own, 2, 10);
  fold(*stored.addStatistics(node.getRecordId()), 3, 10);
  EXPECT_EQ(0, node.findStatistics(&stored));
  EXPECT_EQ(2, node.getStatsRecord()->getMessageCount());
  EXPECT_EQ(idOf(*own), idOf(*node.getStatsRecord()));
}

TEST_F(Node, ReportsThatItHasNoStatisticsInTheSet) {
  const ZEB_Node other(&id);
  StoredSet stored;
  EXPECT_EQ(0, node.findStatistics(nullptr));
  EXPECT_EQ(0, node.findStatistics(&stored));
  fold(*stored.addStatistics(other.getRecordId()), 1, 10);
  const RecordId before = idOf(*node.getStatsRecord());
  EXPECT_EQ(1, node.findStatistics(&stored));
  EXPECT_EQ(before, idOf(*node.getStatsRecord()));
  EXPECT_EQ(0, node.getStatsRecord()->getMessageCount());
}

TEST_F(Node, InsertsStatisticsWithTheirIdentifiers) {
  ZEB_STIR* const own = node.getStatsRecord();
  const RecordId before = idOf(*own);
  EXPECT_EQ(own, node.insertStatistics(nullptr));
  EXPECT_EQ(before, idOf(*own));
  ZEB_STIR other(1);
  other.setParent(other.getRecordId());
  fold(other, 4, 10);
  EXPECT_EQ(own, node.insertStatistics(&other));
  EXPECT_EQ(idOf(other), idOf(*own));
  EXPECT_EQ(idOf(other), idOf(own->getParentId()));
  EXPECT_EQ(4, own->getMessageCount());
  node.cleanup();
  EXPECT_EQ(nullptr, node.insertStatistics(&other));
}

TEST_F(Node, ItsTypeChoosesTheAccumulator) {
  const std::vector<std::vector<long>> counts = {{0, 0, 0}, {2, 0, 0}, {0, 2, 0}, {0, 0, 2},
                                                 {0, 0, 2}, {0, 0, 2}, {0, 0, 0}};
  for (std::uint32_t type = 0; type < counts.size(); ++type) {
    ZEB_Node one(&id);
    one.setNodeType(static_cast<ZEB_NodeType>(type));
    fold(*one.getStatsRecord(), 2, 10);
    one.initStatistics();
    Sums sums;
    EXPECT_EQ(0, sums.of(one));
    EXPECT_EQ(counts[type], sums.counts()) << type;
  }
}

TEST_F(Node, CopiesItsStatisticsOnceUntilInitStatistics) {
  fold(*node.getStatsRecord(), 2, 10);
  node.initStatistics();
  Sums sums;
  sums.of(node);
  fold(*node.getStatsRecord(), 5, 10);
  sums.of(node);
  EXPECT_EQ((std::vector<long>{0, 0, 4}), sums.counts());
  node.initStatistics();
  Sums fresh;
  fresh.of(node);
  EXPECT_EQ((std::vector<long>{0, 0, 7}), fresh.counts());
}

TEST_F(Node, WithoutAccumulatorsItGivesNothing) {
  fold(*node.getStatsRecord(), 2, 10);
  Sums sums;
  EXPECT_EQ(4, sums.of(node));
  EXPECT_EQ((std::vector<long>{0, 0, 0}), sums.counts());
}

TEST_F(Node, WithoutItsRecordsItGivesNothing) {
  node.initStatistics();
  fold(*node.getStatsRecord(), 2, 10);
  node.cleanup();
  Sums sums;
  EXPECT_EQ(0, sums.of(node));
  EXPECT_EQ((std::vector<long>{0, 0, 0}), sums.counts());
}

TEST_F(Node, ResetsInTheStoreOrInTheProcess) {
  Store store;
  fold(*node.getStatsRecord(), 2, 10);
  node.resetStatistics(&store);
  EXPECT_EQ(std::vector<ZEB_STIR*>{node.getStatsRecord()}, store.asked);
  EXPECT_EQ(2, node.getStatsRecord()->getMessageCount());
  node.resetStatistics(nullptr);
  EXPECT_EQ(0, node.getStatsRecord()->getMessageCount());
  EXPECT_EQ(1U, store.asked.size());
  node.cleanup();
  node.resetStatistics(&store);
  node.resetStatistics(nullptr);
  EXPECT_EQ(1U, store.asked.size());
}

TEST_F(Node, PrintsAsAResource) {
  host().forget();
  node.print();
  EXPECT_EQ(printed("ComDravikMonitorNode", "NODE", ""), linesOf("ZEB_ORVA_Resource::print"));
}

TEST_F(Node, EveryOperationTraces) {
  ZEB_Record_Set out;
  StoredSet none;
  Sums sums;
  const ZEB_String text("X");
  const ZEB_NOIR record(&id);
  const Tracing on;
  {
    ZEB_Node one(&record);
    one.getRecords(&out);
    one.findStatistics(&none);
    one.insertStatistics(nullptr);
    one.initStatistics();
    sums.of(one);
    one.resetStatistics(nullptr);
    one.markDeleted();
    one.isDeleted();
    one.undelete();
    one.setNodeType(ZEB_OUTPUT_NODE);
    one.getNodeType();
    one.setSubFlowName(&text);
    one.getSubFlowName();
    one.setLabel(&text);
    const ZEB_STIR* const statistics = one.getStatsRecord();
    expectTraced(kUnit, {{"ZEB_Node::ZEB_Node", "Exit"},
                         {"ZEB_Node::init", "Exit"},
                         {"ZEB_Node::getRecords", "Exit: 0x0"},
                         {"ZEB_Node::findStatistics", "Exit: 0x0"},
                         {"ZEB_Node::insertStatistics", exitOf(statistics)},
                         {"ZEB_Node::initStatistics", "Exit"},
                         {"ZEB_Node::getStatistics", "Exit: 0x0"},
                         {"ZEB_Node::resetStatistics", "Exit"},
                         {"ZEB_Node::markDeleted", "Exit"},
                         {"ZEB_Node::isDeleted", "Exit: 0x1"},
                         {"ZEB_Node::undelete", "Exit"},
                         {"ZEB_Node::setNodeType", "Exit"},
                         {"ZEB_Node::getNodeType", "Exit: 0x2"},
                         {"ZEB_Node::setSubFlowName", "Exit"},
                         {"ZEB_Node::getSubFlowName", "Exit"},
                         {"ZEB_Node::setLabel", "Exit"},
                         {"ZEB_Node::getStatsRecord", exitOf(statistics)}});
  }
  expectTraced(kUnit, {{"ZEB_Node::cleanup", "Exit"}, {"ZEB_Node::~ZEB_Node", "Exit"}});
  {
    host().forget();
    const ZEB_Node one(&id);
    expectTraced(kUnit, {{"ZEB_Node::ZEB_Node", "Exit"}});
  }
}

}  // namespace

}  // namespace node_test
