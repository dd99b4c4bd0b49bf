// SPDX-License-Identifier: Apache-2.0
// What all resources have in common.
#include "resources/resource.h"

#include <cstring>

#include "records/broker_record.h"
#include "tests/unit/resources/resource_test.h"

namespace resource_test {

using namespace support;

namespace {

constexpr char kUnit[] = "zebcmsre";

// Lets a test look at the accumulators.
struct Probe : ZEB_ORVA_Resource {
  using ZEB_ORVA_Resource::collected_;
  using ZEB_ORVA_Resource::first_;
  using ZEB_ORVA_Resource::second_;
  using ZEB_ORVA_Resource::third_;
  using ZEB_ORVA_Resource::ZEB_ORVA_Resource;
};

using Resource = LibraryTest;

template <typename Record>
bool holds(const ZEB_ORVA_Resource& resource) {
  const ZEB_REIR* const record = resource.getInformationRecord();
  return record && typeid(*record) == typeid(Record);
}

TEST_F(Resource, HasARecordOfItsType) {
  const ZEB_Resource_ID id = resourceId("LABEL", "UUID");
  EXPECT_TRUE(holds<ZEB_REIR>(ZEB_ORVA_Resource(ZEB_REIR_RECORD, &id)));
  EXPECT_TRUE(holds<ZEB_BRIR>(ZEB_ORVA_Resource(ZEB_BRIR_RECORD, &id)));
  EXPECT_TRUE(holds<ZEB_EGIR>(ZEB_ORVA_Resource(ZEB_EGIR_RECORD, &id)));
  EXPECT_TRUE(holds<ZEB_MFIR>(ZEB_ORVA_Resource(ZEB_MFIR_RECORD, &id)));
  EXPECT_TRUE(holds<ZEB_NOIR>(ZEB_ORVA_Resource(ZEB_NOIR_RECORD, &id)));
  const ZEB_ORVA_Resource unlisted(ZEB_EVDR_RECORD, &id);
  EXPECT_TRUE(holds<ZEB_REIR>(unlisted));
  EXPECT_EQ(8U, unlisted.getType());
}

TEST_F(Resource, IsWhatItsIdentifierSays) {
  const ZEB_Resource_ID id = resourceId("LABEL", "UUID");
  const ZEB_ORVA_Resource resource(ZEB_MFIR_RECORD, &id);
  EXPECT_TRUE(resource.OK());
  EXPECT_EQ(0, resource.getStatus());
  EXPECT_EQ(4U, resource.getType());
  EXPECT_EQ("LABEL", textOf(resource.getLabel()));
  EXPECT_EQ("UUID", textOf(resource.getUuid()));
  EXPECT_EQ(1U, resource.getResourceId().alike(&id));
  EXPECT_EQ(idOf(*resource.getInformationRecord()), idOf(resource.getRecordId()));
  EXPECT_NE(0U, resource.getRecordId()->created.seconds);
  EXPECT_EQ(RecordId{}, idOf(resource.getParentId()));
}

TEST_F(Resource, IsFoundByUuidAndLabelTogether) {
  const ZEB_Resource_ID id = resourceId("LABEL", "UUID");
  const ZEB_ORVA_Resource resource(ZEB_MFIR_RECORD, &id);
  const ZEB_Resource_ID otherLabel = resourceId("OTHER", "UUID");
  const ZEB_Resource_ID otherUuid = resourceId("LABEL", "OTHER");
  EXPECT_EQ(1U, resource.alike(&id));
  EXPECT_EQ(0U, resource.alike(&otherLabel));
  EXPECT_EQ(0U, resource.alike(&otherUuid));
  EXPECT_EQ(0U, resource.alike(nullptr));
}

TEST_F(Resource, ACopyOfARecordKeepsItsIdsAndItsFields) {
  const ZEB_Resource_ID id = resourceId("LABEL", "UUID");
  const ZEB_BRIR parent(&id);
  ZEB_EGIR group(&id);
  group.setParent(parent.getRecordId());
  group.setProcessId(4711);
  group.markDeleted();
  const ZEB_ORVA_Resource copy(&group);
  EXPECT_EQ(3U, copy.getType());
  EXPECT_TRUE(holds<ZEB_EGIR>(copy));
  EXPECT_EQ(idOf(group), idOf(copy.getRecordId()));
  EXPECT_EQ(idOf(parent), idOf(copy.getParentId()));
  EXPECT_EQ(1U, copy.getInformationRecord()->isDeleted());
  EXPECT_EQ(4711, static_cast<ZEB_EGIR*>(copy.getInformationRecord())->getProcessId());
  EXPECT_EQ("LABEL", textOf(copy.getLabel()));
  EXPECT_EQ("UUID", textOf(copy.getUuid()));
}

TEST_F(Resource, CopiesWhatEachClassHasOfItsOwn) {
  const ZEB_Resource_ID id = resourceId("LABEL");
  ZEB_BRIR broker(&id);
  broker.setResetTime(77);
  const ZEB_ORVA_Resource brokerCopy(&broker);
  EXPECT_EQ(77U, static_cast<ZEB_BRIR*>(brokerCopy.getInformationRecord())->getResetTime());
  ZEB_NOIR node(&id);
  const ZEB_String subFlow("SUB");
  node.setSubFlowName(&subFlow);
  node.setNodeType(ZEB_OUTPUT_NODE);
  const ZEB_ORVA_Resource nodeCopy(&node);
  const auto* const copied = static_cast<ZEB_NOIR*>(nodeCopy.getInformationRecord());
  EXPECT_EQ("SUB", textOf(copied->getSubFlowName()));
  EXPECT_EQ(ZEB_OUTPUT_NODE, copied->getNodeType());
  const ZEB_MFIR flow(&id);
  EXPECT_EQ(idOf(flow), idOf(ZEB_ORVA_Resource(&flow).getRecordId()));
}

TEST_F(Resource, WithoutARecordToCopyItIsGeneric) {
  const ZEB_ORVA_Resource resource(static_cast<const ZEB_REIR*>(nullptr));
  EXPECT_TRUE(resource.OK());
  EXPECT_EQ(1U, resource.getType());
  EXPECT_EQ("", textOf(resource.getLabel()));
}

TEST_F(Resource, IsNotOkWithoutMemoryForItsRecord) {
  const ZEB_Resource_ID id = resourceId("LABEL");
  failAllocations(sizeof(ZEB_MFIR));
  const ZEB_ORVA_Resource resource(ZEB_MFIR_RECORD, &id);
  succeedAgain();
  EXPECT_FALSE(resource.OK());
  EXPECT_EQ(301, resource.getStatus());
  EXPECT_EQ(nullptr, resource.getInformationRecord());
  EXPECT_EQ(Texts{message1(kUnit, "ZEB_ORVA_Resource::setInformationRecord")}, messageLines());
  const ZEB_MFIR record(&id);
  failAllocations(sizeof(ZEB_MFIR));
  EXPECT_EQ(301, ZEB_ORVA_Resource(&record).getStatus());
}

TEST_F(Resource, IsNotOkAndHasNoRecordWhenThatLosesItsLabel) {
  constexpr std::size_t kUnits = 37;
  const ZEB_Resource_ID id = resourceId(std::string(kUnits, 'L').c_str());
  const ZEB_MFIR record(&id);
  failAllocations(sizeof(zebchar) * (kUnits + 1));
  const ZEB_ORVA_Resource resource(&record);
  succeedAgain();
  EXPECT_EQ(301, resource.getStatus());
  EXPECT_EQ(nullptr, resource.getInformationRecord());
}

TEST_F(Resource, WithoutARecordItIsNobody) {
  const ZEB_Resource_ID id = resourceId("", "");
  ZEB_ORVA_Resource resource(ZEB_MFIR_RECORD, &id);
  ZEB_ORVA_Resource other(ZEB_EGIR_RECORD, &id);
  resource.setParent(&other);
  resource.cleanup();
  EXPECT_TRUE(resource.OK());
  EXPECT_EQ(nullptr, resource.getInformationRecord());
  EXPECT_EQ(nullptr, resource.getRecordId());
  EXPECT_EQ(nullptr, resource.getParentId());
  EXPECT_EQ(0U, resource.getType());
  EXPECT_EQ(0U, resource.alike(&id));
  EXPECT_EQ(0U, resource.isChildOf(&other));
  EXPECT_EQ(0U, other.isChildOf(&resource));
  EXPECT_EQ(0U, resource.getLabel().size());
  EXPECT_EQ(0U, resource.getUuid().size());
  EXPECT_EQ(0U, resource.getResourceId().getLabel().size());
  resource.setParent(&other);
  const RecordId parent = idOf(other.getParentId());
  other.setParent(&resource);
  EXPECT_EQ(parent, idOf(other.getParentId()));
  host().forget();
  resource.print();
  EXPECT_EQ(printed("n/a", "", ""), linesOf("ZEB_ORVA_Resource::print"));
}

TEST_F(Resource, CleanupDestroysTheAccumulators) {
  const ZEB_Resource_ID id = resourceId("LABEL");
  Probe resource(ZEB_MFIR_RECORD, &id);
  resource.initStatistics();
  resource.cleanup();
  EXPECT_FALSE(resource.first_ || resource.second_ || resource.third_);
}

TEST_F(Resource, IsTheChildOfItsParentOnly) {
  const ZEB_Resource_ID id = resourceId("LABEL");
  ZEB_ORVA_Resource parent(ZEB_EGIR_RECORD, &id);
  ZEB_ORVA_Resource stranger(ZEB_EGIR_RECORD, &id);
  ZEB_ORVA_Resource child(ZEB_MFIR_RECORD, &id);
  EXPECT_EQ(0U, child.isChildOf(&parent));
  child.setParent(&parent);
  EXPECT_EQ(idOf(parent.getRecordId()), idOf(child.getParentId()));
  EXPECT_EQ(1U, child.isChildOf(&parent));
  EXPECT_EQ(0U, child.isChildOf(&stranger));
  EXPECT_EQ(0U, parent.isChildOf(&child));
  EXPECT_EQ(0U, child.isChildOf(nullptr));
  child.setParent(nullptr);
  EXPECT_EQ(1U, child.isChildOf(&parent));
}

// --- statistics ---

TEST_F(Resource, WithoutAccumulatorsThereIsNothingToAdd) {
  ZEB_ORVA_Resource resource(ZEB_MFIR_RECORD, nullptr);
  Sums sums;
  EXPECT_EQ(4, sums.of(resource));
  EXPECT_EQ((std::vector<long>{0, 0, 0}), sums.counts());
}

TEST_F(Resource, AddsItsAccumulatorsPairByPair) {
  Probe resource(ZEB_MFIR_RECORD, nullptr);
  resource.initStatistics();
  fold(*resource.first_, 1, 10);
  fold(*resource.second_, 2, 10);
  fold(*resource.third_, 3, 10);
  Sums sums;
  EXPECT_EQ(0, sums.of(resource));
  EXPECT_EQ((std::vector<long>{1, 2, 3}), sums.counts());
  EXPECT_EQ(0, sums.of(resource));
  EXPECT_EQ((std::vector<long>{2, 4, 6}), sums.counts());
}

TEST_F(Resource, AMissingPairIsReportedAndTheOthersAreAdded) {
  Probe resource(ZEB_MFIR_RECORD, nullptr);
  resource.initStatistics();
  for (ZEB_STIR* one : {resource.first_.get(), resource.second_.get(), resource.third_.get()})
    fold(*one, 1, 10);
  Sums sums;
  EXPECT_EQ(4, resource.getStatistics(nullptr, &sums.second, &sums.third));
  EXPECT_EQ((std::vector<long>{0, 1, 1}), sums.counts());
  EXPECT_EQ(4, resource.getStatistics(&sums.first, nullptr, &sums.third));
  EXPECT_EQ((std::vector<long>{1, 1, 2}), sums.counts());
  EXPECT_EQ(4, resource.getStatistics(&sums.first, &sums.second, nullptr));
  EXPECT_EQ((std::vector<long>{2, 2, 2}), sums.counts());
  resource.second_.reset();
  EXPECT_EQ(4, sums.of(resource));
  EXPECT_EQ((std::vector<long>{3, 2, 3}), sums.counts());
}

TEST_F(Resource, InitStatisticsEmptiesTheAccumulators) {
  Probe resource(ZEB_MFIR_RECORD, nullptr);
  resource.initStatistics();
  const ZEB_STIR* const made = resource.first_.get();
  EXPECT_NE(0U, made->timeStamp().seconds);
  for (ZEB_STIR* one : {resource.first_.get(), resource.second_.get(), resource.third_.get()})
    fold(*one, 2, 10);
  resource.collected_ = 1;
  resource.initStatistics();
  EXPECT_EQ(made, resource.first_.get());
  EXPECT_EQ(0U, resource.collected_);
  Sums sums;
  EXPECT_EQ(0, sums.of(resource));
  EXPECT_EQ((std::vector<long>{0, 0, 0}), sums.counts());
}

TEST_F(Resource, AnAccumulatorThatCannotBeMadeIsAMessageOnly) {
  Probe resource(ZEB_MFIR_RECORD, nullptr);
  failAllocations(sizeof(ZEB_STIR), 1);
  resource.initStatistics();
  succeedAgain();
  EXPECT_TRUE(resource.OK());
  EXPECT_EQ(Texts(2, message1(kUnit, "ZEB_ORVA_Resource::initStatistics")), messageLines());
  EXPECT_TRUE(resource.first_);
  EXPECT_FALSE(resource.second_);
  Sums sums;
  EXPECT_EQ(4, sums.of(resource));
  resource.initStatistics();
  EXPECT_EQ(0, sums.of(resource));
}

TEST_F(Resource, HasNoRecordsToGive) {
  ZEB_ORVA_Resource resource(ZEB_REIR_RECORD, nullptr);
  ZEB_Record_Set out;
  EXPECT_EQ(1, resource.getRecords(&out));
  EXPECT_EQ(1, resource.getRecords(nullptr));
  EXPECT_TRUE(out.isEmpty());
}

// --- log ---

TEST_F(Resource, PrintsTypeLabelAndUuidWithTracingOff) {
  const std::pair<ZEB_RecordType, const char*> names[] = {
      {ZEB_BRIR_RECORD, "Broker"},       {ZEB_EGIR_RECORD, "Execution Group"},
      {ZEB_MFIR_RECORD, "Message Flow"}, {ZEB_NOIR_RECORD, "ComDravikMonitorNode"},
      {ZEB_REIR_RECORD, "n/a"},          {ZEB_STIR_RECORD, "n/a"}};
  const ZEB_Resource_ID id = resourceId("THE LABEL", "THE UUID");
  for (const auto& [type, name] : names) {
    ZEB_ORVA_Resource resource(type, &id);
    host().forget();
    resource.print();
    EXPECT_EQ(printed(name, "THE LABEL", "THE UUID"), textsOf(kUnit, "ZEB_ORVA_Resource::print"));
    EXPECT_EQ(3U, host().log().size());
  }
}

TEST_F(Resource, EveryOperationTraces) {
  const ZEB_Resource_ID id = resourceId("LABEL");
  ZEB_Record_Set out;
  Sums sums;
  const Tracing on;
  {
    ZEB_ORVA_Resource resource(ZEB_MFIR_RECORD, &id);
    resource.initStatistics();
    sums.of(resource);
    resource.print();
    resource.getRecords(&out);
    resource.getInformationRecord();
    resource.getRecordId();
    resource.getParentId();
    resource.setParent(&resource);
    resource.isChildOf(&resource);
    resource.alike(&id);
    resource.getResourceId();
    resource.getLabel();
    resource.getUuid();
    resource.getType();
    resource.getStatus();
    const ZEB_REIR* const record = resource.getInformationRecord();
    expectTraced(kUnit, {{"ZEB_ORVA_Resource::ZEB_ORVA_Resource", "Exit"},
                         {"ZEB_ORVA_Resource::setInformationRecord", "Exit"},
                         {"ZEB_ORVA_Resource::initStatistics", "Exit"},
                         {"ZEB_ORVA_Resource::getStatistics", "Exit: 0x0"},
                         {"ZEB_ORVA_Resource::print", "Exit"},
                         {"ZEB_ORVA_Resource::getRecords", "Exit: 0x1"},
                         {"ZEB_ORVA_Resource::getInformationRecord", exitOf(record)},
                         {"ZEB_ORVA_Resource::getRecordId", exitOf(record->getRecordId())},
                         {"ZEB_ORVA_Resource::getParentId", exitOf(record->getParentId())},
                         {"ZEB_ORVA_Resource::setParent", "Exit"},
                         {"ZEB_ORVA_Resource::isChildOf", "Exit: 0x1"},
                         {"ZEB_ORVA_Resource::alike", "Exit: 0x1"},
                         {"ZEB_ORVA_Resource::getResourceId", "Exit"},
                         {"ZEB_ORVA_Resource::getLabel", "Exit"},
                         {"ZEB_ORVA_Resource::getUuid", "Exit"},
                         {"ZEB_ORVA_Resource::getType", "Exit: 0x4"},
                         {"ZEB_ORVA_Resource::getStatus", "Exit: 0x0"},
                         {"ZEB_ORVA_Resource::OK", "Exit: 0x1"}});
  }
  host().forget();
  {
    const ZEB_ORVA_Resource resource(static_cast<const ZEB_REIR*>(nullptr));
    expectTraced(kUnit, {{"ZEB_ORVA_Resource::ZEB_ORVA_Resource", "Exit"}});
  }
  expectTraced(kUnit, {{"ZEB_ORVA_Resource::cleanup", "Exit"},
                       {"ZEB_ORVA_Resource::~ZEB_ORVA_Resource", "Exit"}});
}

}  // namespace

}  // namespace resource_test
