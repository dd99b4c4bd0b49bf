// SPDX-License-Identifier: Apache-2.0
// One message flow of an execution group.
#include "resources/message_flow.h"

#include "tests/unit/resources/resource_test.h"

namespace message_flow_test {

using namespace support;

namespace {

constexpr char kUnit[] = "zebcmefl";

struct Store : ZEB_Statistics_Store {
  ZEB_ReturnCode resetStatistics(ZEB_STIR* record) override {
    asked.push_back(record);
    return ZEB_SUCCESS;
  }
  std::vector<ZEB_STIR*> asked;
};

class MessageFlow : public LibraryTest {
 protected:
  ZEB_Node* insert(const std::string& label, ZEB_NodeType type = ZEB_OTHER_NODE) {
    const ZEB_Resource_ID nodeId = resourceId(label);
    ZEB_Node* const node = flow.insertNode(&nodeId);
    node->setNodeType(type);
    return node;
  }
  ZEB_Node* find(const std::string& label) const {
    const ZEB_Resource_ID nodeId = resourceId(label);
    return flow.findNode(&nodeId);
  }

  ZEB_Resource_ID id = resourceId("FLOW");
  ZEB_Message_Flow flow{&id};
};

TEST_F(MessageFlow, BeginsWithoutNodes) {
  EXPECT_TRUE(flow.OK());
  EXPECT_EQ(4U, flow.getType());
  EXPECT_EQ(0U, flow.nodes());
  EXPECT_EQ(nullptr, find("NODE"));
  EXPECT_EQ(nullptr, flow.findNode(nullptr));
}

TEST_F(MessageFlow, IsBuiltFromARecord) {
  const ZEB_MFIR record(&id);
  const ZEB_Message_Flow copy(&record);
  EXPECT_EQ(idOf(record), idOf(copy.getRecordId()));
  EXPECT_EQ("FLOW", textOf(copy.getLabel()));
  EXPECT_EQ(0U, copy.nodes());
}

TEST_F(MessageFlow, IsNotOkWithoutMemoryForItsRecord) {
  const ZEB_MFIR record(&id);
  failAllocations(sizeof(ZEB_MFIR));
  EXPECT_EQ(301, ZEB_Message_Flow(&id).getStatus());
  EXPECT_EQ(301, ZEB_Message_Flow(&record).getStatus());
}

TEST_F(MessageFlow, AnInsertedNodeIsItsChild) {
  ZEB_Node* const node = insert("NODE");
  ASSERT_NE(nullptr, node);
  EXPECT_EQ("NODE", textOf(node->getLabel()));
  EXPECT_EQ(1U, node->isChildOf(&flow));
  EXPECT_EQ(1U, flow.nodes());
  EXPECT_EQ(node, find("NODE"));
  EXPECT_EQ(nullptr, find("OTHER"));
}

TEST_F(MessageFlow, AnInsertedRecordKeepsItsIdAndChangesItsParent) {
  const ZEB_Resource_ID nodeId = resourceId("NODE");
  ZEB_NOIR record(&nodeId);
  record.setParent(record.getRecordId());
  const ZEB_Node* const node = flow.insertNode(&record);
  EXPECT_EQ(idOf(record), idOf(node->getRecordId()));
  EXPECT_EQ(1U, node->isChildOf(&flow));
  EXPECT_EQ(nullptr, flow.insertNode(static_cast<const ZEB_NOIR*>(nullptr)));
  EXPECT_EQ(1U, flow.nodes());
}

TEST_F(MessageFlow, InsertingAPresentIdentifierMakesASecondMember) {
  ZEB_Node* const first = insert("NODE");
  EXPECT_NE(first, insert("NODE"));
  EXPECT_EQ(2U, flow.nodes());
  EXPECT_EQ(first, find("NODE"));
}

TEST_F(MessageFlow, ANodeThatCannotBeMadeIsNotInserted) {
  const ZEB_Resource_ID nodeId = resourceId("NODE");
  failAllocations(sizeof(ZEB_Node));
  EXPECT_EQ(nullptr, flow.insertNode(&nodeId));
  EXPECT_EQ(Texts{message1(kUnit, "ZEB_Message_Flow::insertNode2")}, messageLines());
  host().forget();
  failAllocations(sizeof(ZEB_STIR));
  EXPECT_EQ(nullptr, flow.insertNode(&nodeId));
  EXPECT_EQ(Texts{message1("zebcnode", "ZEB_Node::init")}, messageLines());
  EXPECT_EQ(0U, flow.nodes());
}

TEST_F(MessageFlow, CleanupDestroysTheNodes) {
  insert("NODE");
  flow.cleanup();
  EXPECT_EQ(0U, flow.nodes());
  EXPECT_NE(nullptr, flow.getInformationRecord());
}

TEST_F(MessageFlow, HandsOutItsNodeSet) {
  const ZEB_Node* const node = insert("NODE");
  const std::unique_ptr<ZEB_ORVA_Resource> removed = flow.getNodes().remove(node);
  EXPECT_EQ(node, removed.get());
  EXPECT_EQ(0U, flow.nodes());
}

// --- rebuilding ---

TEST_F(MessageFlow, RebuildsItsOwnNodesWithTheirStatistics) {
  const ZEB_Message_Flow other(&id);
  StoredSet stored;
  ZEB_NOIR* const own = stored.add<ZEB_NOIR>("OWN", flow.getRecordId());
  own->setNodeType(ZEB_INPUT_NODE);
  stored.add<ZEB_NOIR>("FOREIGN", other.getRecordId());
  stored.add<ZEB_MFIR>("NO NODE", flow.getRecordId());
  fold(*stored.addStatistics(own->getRecordId()), 3, 10);
  EXPECT_EQ(0, flow.findNodes(&stored, 1));
  ASSERT_EQ(1U, flow.nodes());
  ZEB_Node* const node = find("OWN");
  ASSERT_NE(nullptr, node);
  EXPECT_EQ(idOf(*own), idOf(node->getRecordId()));
  EXPECT_EQ(ZEB_INPUT_NODE, node->getNodeType());
  EXPECT_EQ(3, node->getStatsRecord()->getMessageCount());
}

TEST_F(MessageFlow, RebuildingFromNothingIsASuccess) {
  const StoredSet stored;
  EXPECT_EQ(0, flow.findNodes(nullptr, 0));
  EXPECT_EQ(0, flow.findNodes(&stored, 0));
  EXPECT_EQ(0U, flow.nodes());
}

TEST_F(MessageFlow, AKnownNodeGetsNewStatisticsAndNoSecondMember) {
  ZEB_Node* const node = insert("NODE");
  StoredSet stored;
  auto* const record = new ZEB_NOIR(*static_cast<ZEB_NOIR*>(node->getInformationRecord()));
  stored.insert(record);
  record->setNodeType(ZEB_OUTPUT_NODE);
  fold(*stored.addStatistics(record->getRecordId()), 3, 10);
  EXPECT_EQ(0, flow.findNodes(&stored, 0));
  EXPECT_EQ(1U, flow.nodes());
  EXPECT_EQ(3, node->getStatsRecord()->getMessageCount());
  EXPECT_EQ(ZEB_OTHER_NODE, node->getNodeType());
}

struct Life {
  bool deletedHere;
  bool deletedThere;
  bool deletedAfterwards;
  ZEB_NodeType type;  // 3 of the process, 2 of the stored record
};

TEST_F(MessageFlow, ANodeLivesWhenItLivesHereOrThere) {
  const Life lives[] = {{false, false, false, ZEB_OTHER_NODE},
                        {false, true, false, ZEB_OTHER_NODE},
                        {true, false, false, ZEB_OUTPUT_NODE},
                        {true, true, true, ZEB_OTHER_NODE}};
  for (const int keepEmpty : {0, 1}) {
    for (const Life& life : lives) {
      flow.cleanup();
      ZEB_Node* const node = insert("NODE");
      StoredSet stored;
      auto* const record = new ZEB_NOIR(*static_cast<ZEB_NOIR*>(node->getInformationRecord()));
      stored.insert(record);
      record->setNodeType(ZEB_OUTPUT_NODE);
      if (life.deletedHere) node->markDeleted();
      if (life.deletedThere) record->markDeleted();
      flow.findNodes(&stored, keepEmpty);
      ASSERT_EQ(node, find("NODE"));
      EXPECT_EQ(life.deletedAfterwards, node->isDeleted() != 0)
          << life.deletedHere << life.deletedThere;
      EXPECT_EQ(life.type, node->getNodeType()) << life.deletedHere << life.deletedThere;
    }
  }
}

TEST_F(MessageFlow, DeletedNodesThatAreNotKnownAreLeftOutUnlessKept) {
  StoredSet stored;
  stored.add<ZEB_NOIR>("DEAD", flow.getRecordId())->markDeleted();
  stored.add<ZEB_NOIR>("LIVE", flow.getRecordId());
  EXPECT_EQ(0, flow.findNodes(&stored, 0));
  EXPECT_EQ(1U, flow.nodes());
  EXPECT_EQ(nullptr, find("DEAD"));
  EXPECT_EQ(0, flow.findNodes(&stored, 1));
  EXPECT_EQ(2U, flow.nodes());
  EXPECT_EQ(1U, find("DEAD")->isDeleted());
}

TEST_F(MessageFlow, ANodeThatCannotBeMadeIsPassedOver) {
  StoredSet stored;
  stored.add<ZEB_NOIR>("NODE", flow.getRecordId());
  failAllocations(sizeof(ZEB_Node));
  EXPECT_EQ(0, flow.findNodes(&stored, 1));
  EXPECT_EQ(0U, flow.nodes());
}

// --- records, statistics, log ---

TEST_F(MessageFlow, GivesItsRecordThenThoseOfItsNodes) {
  const ZEB_Node* const first = insert("B");
  const ZEB_Node* const second = insert("A");
  ZEB_Record_Set out;
  EXPECT_EQ(0, flow.getRecords(&out));
  const std::vector<ZEB_Record*> expected = {
      flow.getInformationRecord(), first->getInformationRecord(), first->getStatsRecord(),
      second->getInformationRecord(), second->getStatsRecord()};
  EXPECT_EQ(expected, std::vector<ZEB_Record*>(out.begin(), out.end()));
}

TEST_F(MessageFlow, GivesTheResultOfItsLastNode) {
  ZEB_Node* const first = insert("A");
  insert("B");
  ZEB_Record_Set out;
  first->cleanup();
  EXPECT_EQ(0, flow.getRecords(&out));
  insert("C")->cleanup();
  EXPECT_EQ(10, flow.getRecords(&out));
  EXPECT_EQ(3, flow.getRecords(nullptr));
  flow.ZEB_ORVA_Resource::cleanup();
  out.clear();
  EXPECT_EQ(10, flow.getRecords(&out));
  EXPECT_TRUE(out.isEmpty());
}

TEST_F(MessageFlow, SumsItsNodesByTheirType) {
  fold(*insert("A", ZEB_INPUT_NODE)->getStatsRecord(), 1, 10);
  fold(*insert("B", ZEB_OUTPUT_NODE)->getStatsRecord(), 2, 10);
  fold(*insert("C", ZEB_OTHER_NODE)->getStatsRecord(), 4, 10);
  fold(*insert("D", ZEB_SUB_FLOW_INPUT_NODE)->getStatsRecord(), 8, 10);
  flow.initStatistics();
  Sums sums;
  EXPECT_EQ(0, sums.of(flow));
  EXPECT_EQ((std::vector<long>{1, 2, 12}), sums.counts());
}

TEST_F(MessageFlow, CollectsOnceUntilInitStatistics) {
  ZEB_Node* const node = insert("A", ZEB_INPUT_NODE);
  fold(*node->getStatsRecord(), 2, 10);
  flow.initStatistics();
  Sums sums;
  sums.of(flow);
  sums.of(flow);
  EXPECT_EQ((std::vector<long>{4, 0, 0}), sums.counts());
  flow.initStatistics();
  Sums fresh;
  fresh.of(flow);
  EXPECT_EQ((std::vector<long>{2, 0, 0}), fresh.counts());
}

TEST_F(MessageFlow, WithoutAccumulatorsItReportsThem) {
  insert("A");
  Sums sums;
  EXPECT_EQ(4, sums.of(flow));
}

TEST_F(MessageFlow, ResetsEachNode) {
  ZEB_Node* const first = insert("A");
  ZEB_Node* const second = insert("B");
  fold(*second->getStatsRecord(), 1, 10);
  Store store;
  flow.resetStatistics(&store);
  EXPECT_EQ((std::vector<ZEB_STIR*>{first->getStatsRecord(), second->getStatsRecord()}),
            store.asked);
  EXPECT_EQ(1, second->getStatsRecord()->getMessageCount());
  flow.resetStatistics(nullptr);
  EXPECT_EQ(0, second->getStatsRecord()->getMessageCount());
}

TEST_F(MessageFlow, PrintsItselfThenItsNodes) {
  insert("NODE");
  host().forget();
  flow.print();
  Texts expected = printed("Message Flow", "FLOW", "");
  for (const std::string& line : printed("ComDravikMonitorNode", "NODE", ""))
    expected.push_back(line);
  EXPECT_EQ(expected, linesOf("ZEB_ORVA_Resource::print"));
}

TEST_F(MessageFlow, EveryOperationTraces) {
  const StoredSet none;
  ZEB_Record_Set out;
  Sums sums;
  const ZEB_MFIR record(&id);
  const Tracing on;
  {
    ZEB_Message_Flow one(&record);
    const ZEB_Node* const node = one.insertNode(&id);
    one.findNode(&id);
    one.findNodes(&none, 0);
    one.getRecords(&out);
    one.initStatistics();
    sums.of(one);
    one.print();
    one.resetStatistics(nullptr);
    one.nodes();
    one.getNodes();
    expectTraced(kUnit, {{"ZEB_Message_Flow::ZEB_Message_Flow", "Exit"},
                         {"ZEB_Message_Flow::insertNode", exitOf(node)},
                         {"ZEB_Message_Flow::insertNode2", exitOf(node)},
                         {"ZEB_Message_Flow::findNode", exitOf(node)},
                         {"ZEB_Execution_Group::findNodes", "Exit: 0x0"},
                         {"ZEB_Message_Flow::getRecords", "Exit: 0x0"},
                         {"ZEB_Message_Flow::initStatistics", "Exit"},
                         {"ZEB_Message_Flow::getStatistics", "Exit: 0x0"},
                         {"ZEB_Message_Flow::print", "Exit"},
                         {"ZEB_Message_Flow::resetStatistics", "Exit"},
                         {"ZEB_Message_Flow::nodes", "Exit: 0x1"},
                         {"ZEB_Message_Flow::getNodes", "Exit"}});
  }
  EXPECT_EQ(0U, entriesOf("ZEB_Message_Flow::findNodes"));
  expectTraced(kUnit, {{"ZEB_Message_Flow::cleanup", "Exit"},
                       {"ZEB_Message_Flow::~ZEB_Message_Flow", "Exit"}});
  host().forget();
  const ZEB_Message_Flow one(&id);
  expectTraced(kUnit, {{"ZEB_Message_Flow::ZEB_Message_Flow", "Exit"}});
}

}  // namespace

}  // namespace message_flow_test
