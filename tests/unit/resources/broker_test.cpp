// SPDX-License-Identifier: Apache-2.0
// The root of a tree, which knows where records live.
#include "resources/broker.h"

#include <atomic>
#include <filesystem>
#include <thread>

#include "tests/support/leftovers.h"
#include "tests/support/processes.h"
#include "tests/unit/resources/broker_test.h"

namespace broker_test {

namespace fs = std::filesystem;
using namespace support;

namespace {

constexpr const char* kUnit = kBrokerUnit;

using Broker = BrokerTest;

// --- construction ---

TEST_F(Broker, AttachesItsSegmentAndOpensTheStatisticsArea) {
  const auto broker = makeBroker();
  EXPECT_TRUE(broker->OK());
  EXPECT_EQ(2U, broker->getType());
  EXPECT_EQ("BRK1", textOf(broker->getLabel()));
  EXPECT_EQ("UUID1", textOf(broker->getUuid()));
  EXPECT_EQ(1U, segmentOf(kSegment)->attached);
  const std::vector<Block> blocks = blocksOf(bytes());
  ASSERT_EQ(1U, blocks.size());
  EXPECT_EQ("zebcstar", blocks[0].eyecatcher);
  EXPECT_EQ(1, areaSemaphore());
  EXPECT_EQ(1U, broker->isEmpty());
  EXPECT_EQ(0U, broker->lastResetTime());
  EXPECT_TRUE(host().log().empty());
}

TEST_F(Broker, LeavesNothingBehind) {
  makeBroker().reset();
  EXPECT_FALSE(fs::exists(kSegment));
  EXPECT_EQ(1U, segments().size());
}

TEST_F(Broker, TellsTheTemporaryDirectory) {
  EXPECT_EQ("/tmp/", textOf(ZEB_Broker::getTempDirectory()));
}

TEST_F(Broker, IsNotOkWithoutASegment) {
  failCalls("shmat", ENOMEM);
  const auto broker = makeBroker();
  succeedAgain();
  EXPECT_EQ(301, broker->getStatus());
  EXPECT_EQ(1U, broker->isEmpty());
  EXPECT_FALSE(fs::exists(kAreaMutex));
  leavesThingsBehind();
}

TEST_F(Broker, WithoutMemoryForTheSegmentItAnswersEveryCall) {
  failAllocations(sizeof(ZEB_Shared_Memory));
  const auto broker = makeBroker();
  succeedAgain();
  EXPECT_TRUE(broker->OK());
  EXPECT_TRUE(messageLines().empty());
  ZEB_STIR record(1);
  fold(record, 1, 10);
  EXPECT_EQ(0, broker->putRecord(&record));
  EXPECT_EQ(0, broker->getRecord(&record));
  EXPECT_EQ(0, broker->putRecord(nullptr));
  EXPECT_EQ(nullptr, record.getAddress());
  EXPECT_EQ(0, broker->readStatsArea(1));
  EXPECT_EQ(0, broker->populateStatsArea());
  EXPECT_EQ(0, broker->updateStatistics(&record, kNoTime, kNoTime, 5));
  EXPECT_EQ(2, record.getMessageCount());
  EXPECT_EQ(0, broker->resetStatistics(&record));
  EXPECT_EQ(0, record.getMessageCount());
  EXPECT_EQ(1U, broker->isEmpty());
  EXPECT_EQ(1U, broker->isEventAreaEmpty());
  ZEB_Ordered_Record_Set events;
  EXPECT_EQ(8, broker->getEvents(&events)) << "there is an events area, without a segment";
  ZEB_EVTR kind(nullptr, nullptr, nullptr, ZEB_OTHER_NODE, nullptr);
  EXPECT_EQ(nullptr, broker->setEventTemplate(&kind));
  const MessageDescriptor descriptor{};
  ZEB_EVDR event(&descriptor, 1);
  EXPECT_EQ(8, broker->postEvent(&event));
  EXPECT_TRUE(broker->OK());
  Branch branch(*broker, "EG");
  broker->resetStatistics(0);
  broker->deleteNode(branch.node);
  EXPECT_EQ(1U, branch.node->isDeleted());
  broker->dump();
}

TEST_F(Broker, IsNotOkWithoutMemoryForTheStatisticsArea) {
  failStatisticsArea();
  const auto broker = makeBroker();
  EXPECT_EQ(301, broker->getStatus());
  EXPECT_EQ(Texts{message1(kUnit, "ZEB_Broker::createStatisticsArea")}, messageLines());
  EXPECT_FALSE(fs::exists(kSegment));
}

TEST_F(Broker, TakesTheStatusOfItsUuidAndWorksOnWithoutARecord) {
  failAllocations(sizeof(ZEB_BRIR), 0, 1);
  const auto broker = makeBroker();
  succeedAgain();
  EXPECT_TRUE(broker->OK());
  EXPECT_EQ(nullptr, broker->getInformationRecord());
  ZEB_Record_Set out;
  EXPECT_EQ(10, broker->getRecords(&out));
  EXPECT_TRUE(out.isEmpty());
  EXPECT_EQ(0U, broker->lastResetTime());
  broker->resetStatistics(0);
  broker->resetStatistics(1);
  EXPECT_EQ(0, broker->readStatsArea(0));
  EXPECT_EQ(1U, broker->isEmpty());
}

TEST_F(Broker, CleanupLetsGoOfEverything) {
  const auto broker = makeBroker();
  Branch branch(*broker, "EG");
  broker->cleanup();
  EXPECT_FALSE(fs::exists(kSegment));
  EXPECT_FALSE(fs::exists(kAreaMutex));
  EXPECT_EQ(nullptr, findGroup(*broker, "EG"));
  EXPECT_EQ(0, broker->readStatsArea(1));
}

TEST_F(Broker, CleansUpTheSegmentThenTheAreasThenTheTree) {
  const auto broker = makeBroker();
  Branch branch(*broker, "EG");
  ZEB_EVTR kind(nullptr, nullptr, nullptr, ZEB_OTHER_NODE, nullptr);
  broker->setEventTemplate(&kind);
  const Tracing on;
  broker->cleanup();
  Texts order;
  for (const LogEntry& entry : host().trace()) {
    if (entry.text != "Entry") continue;
    for (const char* name :
         {"ZEB_Shared_Memory::~ZEB_Shared_Memory", "ZEB_Events_Area::~ZEB_Events_Area",
          "ZEB_Execution_Group::~ZEB_Execution_Group"})
      if (entry.function == name) order.push_back(name);
    if (entry.function == "ZEB_Shared_Area::~ZEB_Shared_Area" && order.size() == 1)
      order.push_back("statistics area");
  }
  EXPECT_EQ(
      (Texts{"ZEB_Shared_Memory::~ZEB_Shared_Memory", "statistics area",
             "ZEB_Events_Area::~ZEB_Events_Area", "ZEB_Execution_Group::~ZEB_Execution_Group"}),
      order);
}

// --- tree ---

TEST_F(Broker, AnInsertedGroupIsItsChildInThisProcessOnly) {
  const auto broker = makeBroker();
  const ZEB_Resource_ID id = resourceId("EG");
  const ZEB_Execution_Group* const group = broker->insertExecutionGroup(&id);
  ASSERT_NE(nullptr, group);
  EXPECT_EQ("EG", textOf(group->getLabel()));
  EXPECT_EQ(1U, group->isChildOf(broker.get()));
  EXPECT_EQ(group, findGroup(*broker, "EG"));
  EXPECT_EQ(nullptr, broker->findExecutionGroup(nullptr));
  EXPECT_EQ(nullptr, broker->insertExecutionGroup(static_cast<const ZEB_EGIR*>(nullptr)));
  ZEB_EGIR record(&id);
  record.setProcessId(31);
  const ZEB_Execution_Group* const second = broker->insertExecutionGroup(&record);
  EXPECT_EQ(idOf(record), idOf(second->getRecordId()));
  EXPECT_EQ(31, second->getProcessId());
  EXPECT_EQ(1U, second->isChildOf(broker.get()));
  EXPECT_EQ(1U, broker->isEmpty());
}

TEST_F(Broker, AGroupThatCannotBeMadeIsNotInserted) {
  const auto broker = makeBroker();
  const ZEB_Resource_ID id = resourceId("EG");
  failAllocations(sizeof(ZEB_Execution_Group));
  EXPECT_EQ(nullptr, broker->insertExecutionGroup(&id));
  EXPECT_EQ(Texts{message1(kUnit, "ZEB_Broker::insertExecutionGroup2")}, messageLines());
  succeedAgain();
  failAllocations(sizeof(ZEB_EGIR));
  host().forget();
  EXPECT_EQ(nullptr, broker->insertExecutionGroup(&id));
  EXPECT_EQ(Texts{message1("zebcmsre", "ZEB_ORVA_Resource::setInformationRecord")}, messageLines());
  EXPECT_EQ(nullptr, findGroup(*broker, "EG"));
}

TEST_F(Broker, RebuildsItsOwnGroupsOnly) {
  const auto broker = makeBroker();
  StoredSet stored;
  const ZEB_BRIR foreign(nullptr);
  ZEB_EGIR* const own = stored.add<ZEB_EGIR>("OWN", broker->getRecordId());
  own->setProcessId(5);
  stored.add<ZEB_EGIR>("FOREIGN", foreign.getRecordId());
  stored.add<ZEB_MFIR>("NO GROUP", broker->getRecordId());
  stored.addStatistics(broker->getRecordId());
  EXPECT_EQ(0, broker->findExecutionGroups(&stored, 1));
  ASSERT_NE(nullptr, findGroup(*broker, "OWN"));
  EXPECT_EQ(idOf(*own), idOf(findGroup(*broker, "OWN")->getRecordId()));
  EXPECT_EQ(5, findGroup(*broker, "OWN")->getProcessId());
  EXPECT_EQ(nullptr, findGroup(*broker, "FOREIGN"));
  EXPECT_EQ(nullptr, findGroup(*broker, "NO GROUP"));
  EXPECT_EQ(3, broker->findExecutionGroups(nullptr, 1));
  const StoredSet empty;
  EXPECT_EQ(0, broker->findExecutionGroups(&empty, 0));
  EXPECT_NE(nullptr, findGroup(*broker, "OWN"));
  EXPECT_EQ(0, broker->findExecutionGroups(&stored, 0));
  EXPECT_EQ(nullptr, findGroup(*broker, "OWN"));
}

TEST_F(Broker, AGroupWithFlowsStays) {
  const auto broker = makeBroker();
  StoredSet stored;
  const ZEB_EGIR* const group = stored.add<ZEB_EGIR>("EG", broker->getRecordId());
  const ZEB_MFIR* const flow = stored.add<ZEB_MFIR>("FLOW", group->getRecordId());
  ZEB_NOIR* const node = stored.add<ZEB_NOIR>("NODE", flow->getRecordId());
  EXPECT_EQ(0, broker->findExecutionGroups(&stored, 0));
  ASSERT_NE(nullptr, findGroup(*broker, "EG"));
  EXPECT_EQ(1U, findGroup(*broker, "EG")->messageFlows());
  broker->flush();
  EXPECT_EQ(nullptr, findGroup(*broker, "EG"));
  node->markDeleted();
  EXPECT_EQ(0, broker->findExecutionGroups(&stored, 0));
  EXPECT_EQ(nullptr, findGroup(*broker, "EG"));
  EXPECT_EQ(0, broker->findExecutionGroups(&stored, 1));
  EXPECT_NE(nullptr, findGroup(*broker, "EG"));
}

TEST_F(Broker, AGroupThatCannotBeMadeIsReportedAndTheRestRebuilt) {
  const auto broker = makeBroker();
  Branch known(*broker, "B");
  StoredSet stored;
  stored.add<ZEB_EGIR>("A", broker->getRecordId());
  stored.add<ZEB_EGIR>("B", broker->getRecordId());
  stored.add<ZEB_MFIR>("ANOTHER FLOW", known.group->getRecordId());
  failAllocations(sizeof(ZEB_Execution_Group), 0, 1);  // a flow may be as large
  EXPECT_EQ(1, broker->findExecutionGroups(&stored, 1));
  succeedAgain();
  EXPECT_EQ(nullptr, findGroup(*broker, "A"));
  EXPECT_EQ(known.group, findGroup(*broker, "B"));
  const ZEB_Resource_ID flow = resourceId("ANOTHER FLOW");
  EXPECT_NE(nullptr, known.group->findMessageFlow(&flow));
}

TEST_F(Broker, GivesItsRecordThenThoseOfItsGroups) {
  const auto broker = makeBroker();
  const Branch first(*broker, "EG2");
  const Branch second(*broker, "EG1");
  ZEB_Record_Set out;
  EXPECT_EQ(0, broker->getRecords(&out));
  const std::vector<ZEB_Record*> expected = {broker->getInformationRecord(),
                                             first.group->getInformationRecord(),
                                             first.flow->getInformationRecord(),
                                             first.node->getInformationRecord(),
                                             first.statistics,
                                             second.group->getInformationRecord(),
                                             second.flow->getInformationRecord(),
                                             second.node->getInformationRecord(),
                                             second.statistics};
  EXPECT_EQ(expected, std::vector<ZEB_Record*>(out.begin(), out.end()));
  EXPECT_EQ(3, broker->getRecords(nullptr));
}

// --- store ---

TEST_F(Broker, PopulatingWritesTheWholeTreeInOrder) {
  const auto broker = makeBroker();
  const Branch branch(*broker, "EG");
  EXPECT_EQ(0, broker->populateStatsArea());
  EXPECT_EQ((std::vector<std::uint32_t>{kBroker, kGroup, kFlow, kNode, kStatistics}), types());
  const std::vector<StoredRecord> stored = records();
  EXPECT_EQ(u"UUID1", stored[0].uuid());
  EXPECT_EQ(u"BRK1", stored[0].label());
  EXPECT_EQ(RecordId{}, stored[0].parent());
  for (std::size_t i = 1; i < stored.size(); ++i) EXPECT_TRUE(stored[i].isChildOf(stored[i - 1]));
  EXPECT_EQ(u"NODE", stored[3].label());
  EXPECT_EQ(0U, broker->isEmpty());
  EXPECT_EQ(0, broker->populateStatsArea());
  EXPECT_EQ(5U, records().size());
}

TEST_F(Broker, PopulatingIgnoresWhatDoesNotFit) {
  configure("ZEBMemorySize 100\n");
  const auto broker = makeBroker();
  for (int i = 0; i < 40; ++i) Branch(*broker, "EG", "NODE" + std::to_string(i));
  EXPECT_EQ(0, broker->populateStatsArea());
  EXPECT_TRUE(messageLines().empty());
}

TEST_F(Broker, ABrokerThatIsNotOkWritesNothing) {
  const auto broker = makeBroker();
  failAllocations(sizeof(ZEB_Events_Area));
  ZEB_Ordered_Record_Set out;
  broker->getEvents(&out);
  succeedAgain();
  ASSERT_FALSE(broker->OK());
  EXPECT_EQ(0, broker->populateStatsArea());
  EXPECT_EQ(1U, broker->isEmpty());
}

TEST_F(Broker, RecordsGoToTheAreaAndComeBack) {
  const auto broker = makeBroker();
  ZEB_STIR record(1);
  EXPECT_EQ(3, broker->putRecord(nullptr));
  EXPECT_EQ(3, broker->getRecord(nullptr));
  EXPECT_EQ(0, broker->putRecord(&record));
  EXPECT_EQ(1U, records().size());
  ZEB_STIR other(record);
  fold(other, 3, 10);
  broker->putRecord(&other);
  EXPECT_EQ(0, broker->getRecord(&record));
  EXPECT_EQ(3, record.getMessageCount());
}

TEST_F(Broker, ReadingTakesOverTheFirstStoredBroker) {
  const auto first = makeBroker("BRK1");
  first->resetStatistics(0);
  const ZEB_Resource_ID otherId = resourceId("OTHER", "OTHER");
  ZEB_BRIR other(&otherId);
  first->putRecord(&other);
  const auto second = makeBroker("BRK2");
  EXPECT_EQ(0, second->readStatsArea(1));
  EXPECT_EQ(idOf(first->getRecordId()), idOf(second->getRecordId()));
  EXPECT_EQ("BRK1", textOf(second->getLabel()));
  EXPECT_EQ("UUID1", textOf(second->getUuid()));
  EXPECT_EQ(first->lastResetTime(), second->lastResetTime());
  EXPECT_EQ(first->getInformationRecord()->getAddress(),
            second->getInformationRecord()->getAddress());
}

TEST_F(Broker, ReadingRebuildsTheTreeOfAnother) {
  const auto first = makeBroker();
  const Branch branch(*first, "EG");
  first->populateStatsArea();
  const auto second = makeBroker();
  EXPECT_EQ(0, second->readStatsArea(0));
  const Branch copy(*second, "EG");
  EXPECT_EQ(idOf(branch.group->getRecordId()), idOf(copy.group->getRecordId()));
  EXPECT_EQ(idOf(branch.flow->getRecordId()), idOf(copy.flow->getRecordId()));
  EXPECT_EQ(idOf(branch.node->getRecordId()), idOf(copy.node->getRecordId()));
  EXPECT_EQ(idOf(*branch.statistics), idOf(*copy.statistics));
  EXPECT_EQ(branch.statistics->getAddress(), copy.statistics->getAddress());
}

TEST_F(Broker, ReadingDropsAGroupWithoutFlowsUnlessKept) {
  const auto first = makeBroker();
  const ZEB_Resource_ID id = resourceId("EG");
  first->insertExecutionGroup(&id);
  first->populateStatsArea();
  const auto second = makeBroker();
  EXPECT_EQ(0, second->readStatsArea(0));
  EXPECT_EQ(nullptr, findGroup(*second, "EG"));
  EXPECT_EQ(0, second->readStatsArea(1));
  EXPECT_NE(nullptr, findGroup(*second, "EG"));
  second->flush();
  EXPECT_EQ(nullptr, findGroup(*second, "EG"));
  EXPECT_EQ(2U, records().size());
}

TEST_F(Broker, ReadingADamagedAreaLeavesTheTreeAlone) {
  const auto first = makeBroker();
  const Branch branch(*first, "EG");
  first->populateStatsArea();
  const auto second = makeBroker("BRK2");
  std::memset(branch.statistics->getAddress(), 'X', 4);
  EXPECT_EQ(1, second->readStatsArea(1));
  EXPECT_EQ(nullptr, findGroup(*second, "EG"));
  EXPECT_EQ("BRK2", textOf(second->getLabel()));
}

// Both saw an empty area before the first of them wrote.
TEST_F(Broker, GroupsBegunBelowAnotherBrokerRecordMoveToTheStoredOne) {
  const auto first = makeBroker();
  const auto second = makeBroker();
  first->readStatsArea(1);
  second->readStatsArea(1);
  Branch one(*first, "EG1");
  Branch two(*second, "EG2");
  first->resetStatistics(0);
  second->resetStatistics(0);
  const std::vector<StoredRecord> brokers = ofType(kBroker);
  const std::vector<StoredRecord> groups = ofType(kGroup);
  ASSERT_EQ(1U, brokers.size());
  ASSERT_EQ(2U, groups.size());
  EXPECT_TRUE(groups[0].isChildOf(brokers[0]));
  EXPECT_TRUE(groups[1].isChildOf(brokers[0]));
  first->readStatsArea(0);
  EXPECT_NE(nullptr, findGroup(*first, "EG2"));
}

TEST_F(Broker, AStoredGroupOfAnotherBrokerStaysWhereItIs) {
  const auto broker = makeBroker();
  Branch branch(*broker, "EG");
  broker->populateStatsArea();
  const ZEB_BRIR foreign(nullptr);
  branch.group->getInformationRecord()->setParent(foreign.getRecordId());
  broker->readStatsArea(1);
  EXPECT_EQ(idOf(foreign), idOf(branch.group->getParentId()));
}

TEST_F(Broker, ReadingTakesNoLock) {
  const auto broker = makeBroker();
  Branch branch(*broker, "EG");
  broker->populateStatsArea();
  const Tracing on;
  broker->readStatsArea(1);
  EXPECT_EQ(0U, entriesOf("ZEB_Shared_Area::lock"));
}

TEST_F(Broker, DeletingANodeMarksItHereAndInTheArea) {
  const auto broker = makeBroker();
  Branch branch(*broker, "EG");
  broker->populateStatsArea();
  const Tracing on;
  broker->deleteNode(branch.node);
  EXPECT_EQ(1U, entriesOf("ZEB_Shared_Area::lock"));
  EXPECT_EQ(1U, entriesOf("ZEB_Shared_Area::unlock"));
  EXPECT_EQ(1U, branch.node->isDeleted());
  EXPECT_EQ(1U, ofType(kNode).at(0).deleted());
  EXPECT_EQ(0U, ofType(kStatistics).at(0).deleted());
  EXPECT_EQ(5U, records().size());
  EXPECT_EQ(1, areaSemaphore());
  host().forget();
  broker->deleteNode(nullptr);
  EXPECT_EQ(0U, entriesOf("ZEB_Shared_Area::lock"));
}

// --- statistics ---

TEST_F(Broker, SumsItsGroupsOnceUntilInitStatistics) {
  const auto broker = makeBroker();
  fold(*Branch(*broker, "EG1").statistics, 2, 10);
  fold(*Branch(*broker, "EG2").statistics, 3, 10);
  Sums none;
  EXPECT_EQ(4, none.of(*broker));
  broker->initStatistics();
  Sums sums;
  EXPECT_EQ(0, sums.of(*broker));
  EXPECT_EQ((std::vector<long>{0, 0, 5}), sums.counts());
  EXPECT_EQ(0, sums.of(*broker));
  EXPECT_EQ((std::vector<long>{0, 0, 10}), sums.counts());
  broker->initStatistics();
  Sums fresh;
  fresh.of(*broker);
  EXPECT_EQ((std::vector<long>{0, 0, 5}), fresh.counts());
}

TEST_F(Broker, AnUpdateFoldsIntoWhatIsStored) {
  const auto broker = makeBroker();
  Branch branch(*broker, "EG");
  broker->resetStatistics(0);
  const auto other = makeBroker();
  other->readStatsArea(1);
  Branch same(*other, "EG");
  setClock(kNow + 50);
  EXPECT_EQ(0, broker->updateStatistics(branch.statistics, {1, 5}, {2, 7}, 100));
  EXPECT_EQ(0, other->updateStatistics(same.statistics, {0, 1}, {0, 2}, 50));
  const StoredRecord stored = ofType(kStatistics).at(0);
  EXPECT_EQ(2, stored.count());
  EXPECT_EQ(150, stored.sumSize());
  EXPECT_EQ(100, stored.maxSize());
  EXPECT_EQ(50, stored.minSize());
  EXPECT_EQ(1006, stored.sumQueued());
  EXPECT_EQ(2009, stored.sumElapsed());
  EXPECT_EQ(kNow + 50 + kCalendarOffset, stored.firstCollection());
}

TEST_F(Broker, AnUpdateNeedsAnOkBrokerAndARecord) {
  const auto broker = makeBroker();
  EXPECT_EQ(3, broker->updateStatistics(nullptr, kNoTime, kNoTime, 1));
  EXPECT_EQ(3, broker->resetStatistics(nullptr));
  failStatisticsArea();
  const auto failed = makeBroker();
  succeedAgain();
  ZEB_STIR record(1);
  EXPECT_EQ(8, failed->updateStatistics(&record, kNoTime, kNoTime, 1));
  EXPECT_EQ(8, failed->updateStatistics(nullptr, kNoTime, kNoTime, 1));
  EXPECT_EQ(8, failed->resetStatistics(&record));
  EXPECT_EQ(8, failed->resetStatistics(nullptr));
  EXPECT_EQ(0, record.getMessageCount());
}

TEST_F(Broker, AnUpdateThatCannotBeWrittenIsASuccess) {
  configure("ZEBMemorySize 100\n");
  const auto broker = makeBroker();
  std::vector<std::unique_ptr<ZEB_STIR>> fill;
  for (int i = 0; i < 24; ++i) {
    fill.push_back(std::make_unique<ZEB_STIR>(1));
    broker->putRecord(fill.back().get());
  }
  ZEB_STIR record(1);
  EXPECT_EQ(0, broker->updateStatistics(&record, kNoTime, kNoTime, 1));
  EXPECT_EQ(nullptr, record.getAddress());
  EXPECT_EQ(0, broker->updateStatistics(&record, kNoTime, kNoTime, 1));
  EXPECT_EQ(2, record.getMessageCount());
}

TEST_F(Broker, AnUpdateHoldsTheRecordsLockAndNoOther) {
  const auto broker = makeBroker();
  Branch branch(*broker, "EG");
  broker->resetStatistics(0);
  const Tracing on;
  broker->updateStatistics(branch.statistics, kNoTime, kNoTime, 1);
  EXPECT_EQ(0U, entriesOf("ZEB_Shared_Area::lock"));
  const Texts order{"ZEB_Record::lock", "ZEB_Broker::getRecord", "ZEB_STIR::updateStatistics",
                    "ZEB_Broker::putRecord", "ZEB_Record::unlock"};
  EXPECT_EQ(order, orderOf(order));
}

TEST_F(Broker, AtTheMaximumEverythingIsResetAndTheMessageCountedAnew) {
  const auto broker = makeBroker();
  Branch branch(*broker, "EG");
  Branch neighbour(*broker, "EG", "NEIGHBOUR");
  broker->resetStatistics(0);
  broker->updateStatistics(neighbour.statistics, kNoTime, kNoTime, 9);
  storeCount(*branch.statistics, "2147483646");
  EXPECT_EQ(0, broker->updateStatistics(branch.statistics, kNoTime, kNoTime, 5));
  EXPECT_EQ(2147483647, ofType(kStatistics).at(0).count());
  EXPECT_TRUE(messageLines().empty());
  setClock(kNow + 500);
  EXPECT_EQ(0, broker->updateStatistics(branch.statistics, kNoTime, kNoTime, 5));
  EXPECT_EQ(Texts{"3 zebcbrkr ZEB_Broker::updateStatistics | Maximum reached. Reset statistics. | "
                  "BRK1"},
            messageLines());
  EXPECT_EQ(1, ofType(kStatistics).at(0).count());
  EXPECT_EQ(5, ofType(kStatistics).at(0).sumSize());
  EXPECT_EQ(0, ofType(kStatistics).at(1).count());
  EXPECT_EQ(kNow + 500 + kCalendarOffset, ofType(kBroker).at(0).ownNumber());
  EXPECT_EQ(
      1, semaphoreOf("/tmp/" + textOf(branch.statistics->getStringRecordId()) + ".zebmutx")->value);
  EXPECT_EQ(1, areaSemaphore());
}

TEST_F(Broker, AFullRecordThatIsInNoTreeIsResetByItselfWithOneMessage) {
  const auto broker = makeBroker();
  Branch neighbour(*broker, "EG");
  broker->resetStatistics(0);
  broker->updateStatistics(neighbour.statistics, kNoTime, kNoTime, 9);
  ZEB_STIR alone(1);
  broker->putRecord(&alone);
  storeCount(alone, "2147483647");
  EXPECT_EQ(0, broker->updateStatistics(&alone, kNoTime, kNoTime, 5));
  EXPECT_EQ(1U, messageLines().size());
  EXPECT_EQ(0, ofType(kStatistics).at(0).count()) << "the tree is reset all the same";
  EXPECT_EQ(1, ofType(kStatistics).at(1).count());
  EXPECT_EQ(5, ofType(kStatistics).at(1).sumSize());
  EXPECT_EQ(1, semaphoreOf("/tmp/" + textOf(alone.getStringRecordId()) + ".zebmutx")->value);
}

TEST_F(Broker, AFullRecordThatIsInNoTreeIsWrittenEmptyBeforeItCountsAgain) {
  const auto broker = makeBroker();
  ZEB_STIR alone(1);
  broker->putRecord(&alone);
  storeCount(alone, "2147483647");
  const Tracing on;
  broker->updateStatistics(&alone, kNoTime, kNoTime, 5);
  const Texts order = orderOf({"ZEB_Broker::getRecord", "ZEB_STIR::reset", "ZEB_Broker::putRecord",
                               "ZEB_STIR::updateStatistics", "ZEB_Record::unlock"});
  const Texts last{"ZEB_STIR::updateStatistics", "ZEB_STIR::reset",       "ZEB_Broker::putRecord",
                   "ZEB_STIR::updateStatistics", "ZEB_Broker::putRecord", "ZEB_Record::unlock"};
  ASSERT_LE(last.size(), order.size());
  EXPECT_EQ(last, Texts(order.end() - static_cast<std::ptrdiff_t>(last.size()), order.end()));
}

TEST_F(Broker, AFullRecordIsResetWithoutAStatisticsAreaToo) {
  failAllocations(sizeof(ZEB_Shared_Memory));
  const auto broker = makeBroker();
  succeedAgain();
  const auto store = makeBroker();
  ZEB_STIR record(1);
  store->putRecord(&record);
  storeCount(record, "2147483647");
  store->getRecord(&record);
  EXPECT_EQ(0, broker->updateStatistics(&record, kNoTime, kNoTime, 5));
  EXPECT_EQ(1, record.getMessageCount());
  EXPECT_EQ(1U, messageLines().size());
}

// The message tells the host, which can do anything then: another thread's events need an area.
TEST_F(Broker, ABrokerThatFailsWhileItIsResetFoldsNothingIn) {
  const auto broker = makeBroker();
  Branch branch(*broker, "EG");
  broker->resetStatistics(0);
  storeCount(*branch.statistics, "2147483647");
  failAllocations(sizeof(ZEB_Events_Area), 0, 1);
  host().script.log = [&](const LogEntry& entry) {
    ZEB_Ordered_Record_Set none;
    if (entry.number == 3) broker->getEvents(&none);
  };
  EXPECT_EQ(8, broker->updateStatistics(branch.statistics, kNoTime, kNoTime, 5));
  host().script.log = nullptr;
  succeedAgain();
  EXPECT_EQ(Texts{"3 zebcbrkr ZEB_Broker::updateStatistics | Maximum reached. Reset statistics. | "
                  "BRK1"},
            messageLines());
  EXPECT_EQ(2147483647, ofType(kStatistics).at(0).count());
  EXPECT_EQ(
      1, semaphoreOf("/tmp/" + textOf(branch.statistics->getStringRecordId()) + ".zebmutx")->value);
}

TEST_F(Broker, TheMaximumIsReportedBeforeTheReset) {
  const auto broker = makeBroker();
  Branch branch(*broker, "EG");
  broker->resetStatistics(0);
  storeCount(*branch.statistics, "2147483647");
  const Tracing on;
  broker->updateStatistics(branch.statistics, kNoTime, kNoTime, 5);
  EXPECT_EQ(
      (Texts{"ZEB_Record::lock", "message", "ZEB_Broker::resetStatistics", "ZEB_Record::unlock"}),
      orderOf({"ZEB_Record::lock", "ZEB_Broker::resetStatistics", "ZEB_Record::unlock"}));
}

TEST_F(Broker, ResettingDropsWhatIsEmptyAndDeleted) {
  const auto broker = makeBroker();
  const ZEB_Resource_ID id = resourceId("EMPTY");
  broker->insertExecutionGroup(&id);
  Branch branch(*broker, "EG");
  Branch dead(*broker, "EG", "DEAD");
  broker->populateStatsArea();
  broker->deleteNode(dead.node);
  const auto other = makeBroker();
  other->resetStatistics(0);
  EXPECT_EQ(nullptr, findGroup(*other, "EMPTY"));
  EXPECT_EQ(1U, Branch(*other, "EG").flow->nodes());
}

TEST_F(Broker, ResettingZeroesEveryNodeAndStampsTheTime) {
  const auto broker = makeBroker();
  const auto other = makeBroker();
  Branch own(*broker, "EG1");
  broker->resetStatistics(0);
  other->readStatsArea(1);
  Branch foreign(*other, "EG2");
  other->resetStatistics(0);
  broker->updateStatistics(own.statistics, kNoTime, kNoTime, 5);
  other->updateStatistics(foreign.statistics, kNoTime, kNoTime, 6);
  setClock(kNow + 70);
  broker->resetStatistics(0);
  for (const StoredRecord& record : ofType(kStatistics)) {
    EXPECT_EQ(0, record.count());
    EXPECT_EQ(0, record.sumSize());
    EXPECT_EQ(0U, record.firstCollection());
  }
  EXPECT_EQ(2U, ofType(kStatistics).size());
  EXPECT_EQ(kNow + 70 + kCalendarOffset, broker->lastResetTime());
  EXPECT_EQ(kNow + 70 + kCalendarOffset, ofType(kBroker).at(0).ownNumber());
  EXPECT_EQ(1, areaSemaphore());
}

TEST_F(Broker, TheResetTimeCountsFrom1901) {
  setClock(0);
  const auto broker = makeBroker();
  broker->resetStatistics(0);
  EXPECT_EQ(2177452800U, broker->lastResetTime());
}

TEST_F(Broker, ResettingReadsAndWritesUnderTheAreasLock) {
  const auto broker = makeBroker();
  Branch branch(*broker, "EG");
  std::vector<int> values;
  bool listening = true;
  host().script.log = [&](const LogEntry& entry) {
    if (!listening || entry.text != "Entry") return;
    listening = false;
    if (entry.function == "ZEB_Broker::readStatsArea" ||
        entry.function == "ZEB_Broker::populateStatsArea" ||
        entry.function == "ZEB_Execution_Group::resetStatistics")
      values.push_back(areaSemaphore());
    listening = true;
  };
  const Tracing on;
  broker->resetStatistics(0);
  listening = false;
  EXPECT_EQ((std::vector<int>{0, 0, 0}), values);
  EXPECT_EQ(0U, entriesOf("ZEB_Record::lock"));
  EXPECT_EQ(1, areaSemaphore());
}

TEST_F(Broker, ResettingPerRecordWritesOnlyTheBrokerAndTheStatistics) {
  const auto broker = makeBroker();
  Branch branch(*broker, "EG");
  broker->resetStatistics(0);
  broker->updateStatistics(branch.statistics, kNoTime, kNoTime, 5);
  branch.node->setNodeType(ZEB_INPUT_NODE);
  const Tracing on;
  setClock(kNow + 80);
  broker->resetStatistics(1);
  EXPECT_EQ(1U, entriesOf("ZEB_Broker::resetStatistics_2"));
  EXPECT_EQ(1U, entriesOf("ZEB_Record::lock"));
  EXPECT_EQ(0U, entriesOf("ZEB_Broker::populateStatsArea"));
  EXPECT_EQ(0, ofType(kStatistics).at(0).count());
  EXPECT_EQ(static_cast<std::uint32_t>(ZEB_OTHER_NODE), ofType(kNode).at(0).ownNumber());
  EXPECT_EQ(kNow + 80 + kCalendarOffset, ofType(kBroker).at(0).ownNumber());
}

TEST_F(Broker, ResettingOneRecordKeepsTheOthers) {
  const auto broker = makeBroker();
  Branch first(*broker, "EG");
  Branch second(*broker, "EG", "SECOND");
  broker->resetStatistics(0);
  broker->updateStatistics(first.statistics, kNoTime, kNoTime, 5);
  broker->updateStatistics(second.statistics, kNoTime, kNoTime, 6);
  const Tracing on;
  EXPECT_EQ(0, broker->resetStatistics(first.statistics));
  EXPECT_EQ(0, ofType(kStatistics).at(0).count());
  EXPECT_EQ(1, ofType(kStatistics).at(1).count());
  const Texts order{"ZEB_Record::lock", "ZEB_Broker::getRecord", "ZEB_STIR::reset",
                    "ZEB_Broker::putRecord", "ZEB_Record::unlock"};
  EXPECT_EQ(order, orderOf(order));
  EXPECT_EQ((Texts{"Entry", "Exit: 0x0"}), textsOf(kUnit, "ZEB_Broker::resetStatistics_2"));
}

TEST_F(Broker, ThreadsLoseNoMessage) {
  const auto broker = makeBroker();
  Branch branch(*broker, "EG");
  broker->resetStatistics(0);
  std::vector<std::thread> threads;
  for (int t = 0; t < 8; ++t)
    threads.emplace_back([&] {
      for (int i = 0; i < 100; ++i) broker->updateStatistics(branch.statistics, {0, 1}, {0, 2}, 3);
    });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(800, ofType(kStatistics).at(0).count());
  EXPECT_EQ(2400, ofType(kStatistics).at(0).sumSize());
  EXPECT_EQ(1600, ofType(kStatistics).at(0).sumElapsed());
}

// --- events ---

TEST_F(Broker, EventsNeedATemplateFirst) {
  const auto broker = makeBroker();
  const MessageDescriptor descriptor{};
  ZEB_EVDR event(&descriptor, 1);
  EXPECT_EQ(8, broker->postEvent(&event));
  EXPECT_EQ(4, broker->postEvent(nullptr));
  EXPECT_EQ(1U, blocksOf(bytes()).size());
  const ZEB_String group("EG");
  ZEB_EVTR kind(&group, nullptr, nullptr, ZEB_OTHER_NODE, nullptr);
  EXPECT_EQ(nullptr, broker->setEventTemplate(nullptr));
  EXPECT_EQ(1U, blocksOf(bytes()).size());
  EXPECT_EQ(&kind, broker->setEventTemplate(&kind));
  EXPECT_EQ(3U, blocksOf(bytes()).size());
  EXPECT_EQ(0, broker->postEvent(&event));
  EXPECT_EQ(1U, records("zebcedar").size());
}

TEST_F(Broker, EventsAreCollectedThroughIt) {
  const auto broker = makeBroker();
  ZEB_Ordered_Record_Set out;
  EXPECT_EQ(0, broker->getEvents(&out));
  EXPECT_EQ(3U, blocksOf(bytes()).size());
  EXPECT_EQ(3, broker->getEvents(nullptr));
  const ZEB_String group("EG");
  ZEB_EVTR kind(&group, nullptr, nullptr, ZEB_OTHER_NODE, nullptr);
  broker->setEventTemplate(&kind);
  advanceClock(1);
  const MessageDescriptor descriptor{};
  ZEB_EVDR event(&descriptor, 1);
  event.setParent(kind.getRecordId());
  broker->postEvent(&event);
  EXPECT_EQ(0, broker->getEvents(&out));
  EXPECT_EQ(1U, out.entries());
  out.clearAndDestroy();
}

TEST_F(Broker, WithoutMemoryForTheEventsAreaItIsNotOk) {
  const auto broker = makeBroker();
  const auto other = makeBroker();
  failAllocations(sizeof(ZEB_Events_Area));
  ZEB_Ordered_Record_Set out;
  EXPECT_EQ(6, broker->getEvents(&out));
  EXPECT_EQ(301, broker->getStatus());
  EXPECT_TRUE(messageLines().empty());
  EXPECT_EQ(8, broker->getEvents(&out));
  ZEB_EVTR kind(nullptr, nullptr, nullptr, ZEB_OTHER_NODE, nullptr);
  EXPECT_EQ(nullptr, other->setEventTemplate(&kind));
  EXPECT_EQ(301, other->getStatus());
  succeedAgain();
  EXPECT_EQ(nullptr, other->setEventTemplate(&kind));
  EXPECT_EQ(1U, other->isEventAreaEmpty());
  const MessageDescriptor descriptor{};
  ZEB_EVDR event(&descriptor, 1);
  EXPECT_EQ(8, other->postEvent(&event));
}

TEST_F(Broker, AnEventsAreaThatIsNotUsableIsReported) {
  const auto broker = makeBroker();
  // The object that holds both areas, and is made first, may be as large as either of them.
  failAllocations(sizeof(ZEB_Events_Data_Area),
                  sizeof(ZEB_Events_Area) == sizeof(ZEB_Events_Data_Area) ? 1 : 0);
  EXPECT_EQ(1U, broker->isEventAreaEmpty());
  succeedAgain();
  EXPECT_TRUE(broker->OK());
  ZEB_Ordered_Record_Set out;
  EXPECT_EQ(8, broker->getEvents(&out));
  ZEB_EVTR kind(nullptr, nullptr, nullptr, ZEB_OTHER_NODE, nullptr);
  EXPECT_EQ(nullptr, broker->setEventTemplate(&kind));
  const MessageDescriptor descriptor{};
  ZEB_EVDR event(&descriptor, 1);
  EXPECT_EQ(8, broker->postEvent(&event));
}

TEST_F(Broker, TheEventAreaIsEmptyUntilATemplateIsSet) {
  const auto broker = makeBroker();
  EXPECT_EQ(1U, broker->isEventAreaEmpty());
  EXPECT_EQ(3U, blocksOf(bytes()).size());
  ZEB_EVTR kind(nullptr, nullptr, nullptr, ZEB_OTHER_NODE, nullptr);
  broker->setEventTemplate(&kind);
  EXPECT_EQ(0U, broker->isEventAreaEmpty());
}

TEST_F(Broker, ThreadsMakeOneEventsArea) {
  const auto broker = makeBroker();
  std::atomic<std::size_t> begun = 0;
  host().script.log = [&](const LogEntry& entry) {
    if (entry.function == "ZEB_Events_Area::ZEB_Events_Area" && entry.text == "Entry") ++begun;
  };
  host().recording = false;
  bZEBTracing = 1;
  std::vector<std::thread> threads;
  std::atomic<int> waiting = 8;
  for (int t = 0; t < 8; ++t)
    threads.emplace_back([&] {
      for (--waiting; waiting > 0;) {
      }
      const ZEB_String group("EG");
      ZEB_EVTR kind(&group, nullptr, nullptr, ZEB_OTHER_NODE, nullptr);
      EXPECT_EQ(&kind, broker->setEventTemplate(&kind));
    });
  for (std::thread& thread : threads) thread.join();
  bZEBTracing = 0;
  host().recording = true;
  EXPECT_EQ(1U, begun);
  EXPECT_EQ(1U, records("zebcetar").size());
}

// --- several processes ---

constexpr int kUpdates = 250;

int updateManyTimes(Steps& parent, const std::vector<std::string>& arguments) {
  useOwnConfiguration();
  const auto broker = makeBroker();
  broker->readStatsArea(1);
  Branch own(*broker, arguments.at(0));
  Branch shared(*broker, "SHARED");
  broker->resetStatistics(0);
  parent.tell("ready");
  parent.hear();
  for (int i = 0; i < kUpdates; ++i) {
    broker->updateStatistics(own.statistics, kNoTime, kNoTime, 1);
    broker->updateStatistics(shared.statistics, kNoTime, kNoTime, 1);
  }
  parent.tell("done");
  parent.hear();
  return 0;
}

const Role kUpdater("updater", updateManyTimes);

TEST_F(Broker, ProcessesLoseNoMessage) {
  const auto broker = makeBroker();
  Branch shared(*broker, "SHARED");
  broker->resetStatistics(0);
  Child first("updater", {"EG1"});
  Child second("updater", {"EG2"});
  Child third("updater", {"EG3"});
  for (Child* child : {&first, &second, &third}) EXPECT_EQ("ready", child->hear());
  for (Child* child : {&first, &second, &third}) child->tell("go");
  for (Child* child : {&first, &second, &third}) EXPECT_EQ("done", child->hear());
  const std::vector<StoredRecord> statistics = ofType(kStatistics);
  ASSERT_EQ(4U, statistics.size());
  EXPECT_EQ(3 * kUpdates, statistics[0].count());
  for (std::size_t i = 1; i < 4; ++i) EXPECT_EQ(kUpdates, statistics[i].count());
  EXPECT_EQ(1U, ofType(kBroker).size());
  for (const StoredRecord& group : ofType(kGroup)) EXPECT_TRUE(group.isChildOf(records()[0]));
  for (Child* child : {&first, &second, &third}) child->tell("end");
  for (Child* child : {&first, &second, &third}) EXPECT_EQ(0, child->wait());
}

// --- log ---

TEST_F(Broker, PrintsItselfThenItsGroups) {
  const auto broker = makeBroker();
  const ZEB_Resource_ID id = resourceId("EG");
  broker->insertExecutionGroup(&id);
  host().forget();
  broker->print();
  Texts expected = printed("Broker", "BRK1", "UUID1");
  for (const std::string& line : printed("Execution Group", "EG", "")) expected.push_back(line);
  EXPECT_EQ(expected, linesOf("ZEB_ORVA_Resource::print"));
}

TEST_F(Broker, DumpsBothAreas) {
  const auto broker = makeBroker();
  const Tracing on;
  broker->dump();
  EXPECT_EQ((Texts{"Statistics area", "Events area"}), ownTextsOf(kUnit, "ZEB_Broker::dump"));
  const Texts dumped = linesOf("ZEB_Shared_Area::dump");
  ASSERT_EQ(6U, dumped.size());
  EXPECT_EQ("Area : /tmp/UUID1.zebcstar", dumped[0]);
  EXPECT_EQ("Area : /tmp/UUID1.zebcetar", dumped[2]);
  EXPECT_EQ("Area : /tmp/UUID1.zebcedar", dumped[4]);
  EXPECT_EQ(3U, blocksOf(bytes()).size());
  EXPECT_EQ(0U, entriesOf("ZEB_Broker::createStatisticsArea")) << "there is one already";
}

TEST_F(Broker, SaysThatNoAreaCanBeDumped) {
  failAllocations(sizeof(ZEB_Shared_Memory));
  const auto broker = makeBroker();
  const Tracing on;
  failAllocations(sizeof(ZEB_Events_Area));
  broker->dump();
  EXPECT_EQ((Texts{"Statistics area unavailable", "Events area unavailable"}),
            ownTextsOf(kUnit, "ZEB_Broker::dump"));
  EXPECT_EQ(1U, entriesOf("ZEB_Broker::createStatisticsArea"));
}

TEST_F(Broker, EveryOperationTraces) {
  const ZEB_Resource_ID id = resourceId("BRK1", "UUID1");
  const ZEB_Resource_ID groupId = resourceId("EG");
  const StoredSet none;
  Sums sums;
  const MessageDescriptor descriptor{};
  ZEB_EVDR event(&descriptor, 1);
  ZEB_EVTR kind(nullptr, nullptr, nullptr, ZEB_OTHER_NODE, nullptr);
  const Tracing on;
  {
    ZEB_Broker broker(&id);
    const ZEB_Execution_Group* const group = broker.insertExecutionGroup(&groupId);
    broker.findExecutionGroup(&groupId);
    expectTraced(kUnit, {{"ZEB_Broker::insertExecutionGroup", exitOf(group)},
                         {"ZEB_Broker::insertExecutionGroup2", exitOf(group)},
                         {"ZEB_Broker::findExecutionGroup", exitOf(group)}});
    Branch branch(broker, "EG");
    broker.isEmpty();
    expectTraced(kUnit, {{"ZEB_Broker::isEmpty", "Exit: 0x1"}});
    broker.findExecutionGroups(&none, 1);
    broker.populateStatsArea();
    broker.readStatsArea(1);
    ZEB_Record_Set out;
    broker.getRecords(&out);
    broker.putRecord(branch.statistics);
    broker.getRecord(branch.statistics);
    broker.initStatistics();
    sums.of(broker);
    broker.updateStatistics(branch.statistics, kNoTime, kNoTime, 1);
    broker.resetStatistics(branch.statistics);
    broker.resetStatistics(0);
    broker.lastResetTime();
    broker.deleteNode(branch.node);
    broker.isEventAreaEmpty();
    broker.setEventTemplate(&kind);
    broker.postEvent(&event);
    ZEB_Ordered_Record_Set events;
    broker.getEvents(&events);
    broker.print();
    broker.dump();
    broker.flush();
    const auto reset = exitOf(kNow + kCalendarOffset);
    expectTraced(kUnit, {{"ZEB_Broker::lastResetTime", reset},
                         {"ZEB_Broker::isEventAreaEmpty", "Exit: 0x1"},
                         {"ZEB_Broker::setEventTemplate", exitOf(&kind)}});
    EXPECT_EQ((Texts{"Entry", "Exit"}), textsOf(kUnit, "ZEB_Broker::createEventsArea"));
  }
  expectTraced(kUnit, {{"ZEB_Broker::ZEB_Broker", "Exit"},
                       {"ZEB_Broker::init", "Exit"},
                       {"ZEB_Broker::createStatisticsArea", "Exit"},
                       {"ZEB_Broker::getTempDirectory", "Exit"},
                       {"ZEB_Broker::findExecutionGroups", "Exit: 0x0"},
                       {"ZEB_Broker::populateStatsArea", "Exit: 0x0"},
                       {"ZEB_Broker::readStatsArea", "Exit: 0x0"},
                       {"ZEB_Broker::getRecords", "Exit: 0x0"},
                       {"ZEB_Broker::putRecord", "Exit: 0x0"},
                       {"ZEB_Broker::getRecord", "Exit: 0x0"},
                       {"ZEB_Broker::initStatistics", "Exit"},
                       {"ZEB_Broker::getStatistics", "Exit: 0x0"},
                       {"ZEB_Broker::updateStatistics", "Exit: 0x0"},
                       {"ZEB_Broker::resetStatistics", "Exit"},
                       {"ZEB_Broker::resetStatistics_2", "Exit: 0x0"},
                       {"ZEB_Broker::deleteNode", "Exit"},
                       {"ZEB_Broker::postEvent", "Exit: 0x0"},
                       {"ZEB_Broker::getEvents", "Exit: 0x0"},
                       {"ZEB_Broker::print", "Exit"},
                       {"ZEB_Broker::dump", "Exit"},
                       {"ZEB_Broker::flush", "Exit"},
                       {"ZEB_Broker::cleanup", "Exit"},
                       {"ZEB_Broker::~ZEB_Broker", "Exit"}});
}

}  // namespace

}  // namespace broker_test
