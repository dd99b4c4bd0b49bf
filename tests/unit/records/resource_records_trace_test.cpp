// SPDX-License-Identifier: Apache-2.0
// Information records whole: every byte, records that failed, prints and traces.
#include "records/broker_record.h"
#include "records/execution_group_record.h"
#include "records/message_flow_record.h"
#include "records/node_record.h"
#include "tests/unit/records/records_test.h"

namespace resource_records_trace_test {

using namespace support;

namespace {

Image common(std::uint32_t type) {
  return headerImage(type, 1).string(u"UU").string(u"Label");
}

const Bytes kCommon = common(1).bytes();
const Bytes kBroker = common(2).number(0x87654321U).bytes();
const Bytes kGroup = common(3).number(-4711).bytes();
const Bytes kFlow = common(4).bytes();
const Bytes kNode = common(5).number(0x10203U).string(u"sub").bytes();

template <typename Record>
Spoiled<Record> spoiled() {
  Spoiled<Record> record(nullptr);
  record.spoil();
  return record;
}

class InformationRecords : public LibraryTest {
 protected:
  const ZEB_String uuid{"UU"};
  const ZEB_String label{"Label"};
  const ZEB_Resource_ID id{&uuid, &label};
};

TEST_F(InformationRecords, AreReadAndStoredWhole) {
  const ZEB_String other("what was held before");
  const ZEB_Resource_ID before(&other, &other);
  ZEB_REIR reir(ZEB_REIR_RECORD, &before);
  ZEB_BRIR brir(&before);
  ZEB_EGIR egir(&before);
  ZEB_MFIR mfir(&before);
  ZEB_NOIR noir(&before);
  const std::pair<ZEB_Record*, Bytes> cases[] = {
      {&reir, kCommon}, {&brir, kBroker}, {&egir, kGroup}, {&mfir, kFlow}, {&noir, kNode}};
  for (const auto& [record, image] : cases) {
    fill(*record, image);
    EXPECT_EQ(image, storedForm(*record));
    expectUsesTheCopyOnly(*record, image);
    expectIgnoresNull(*record);
  }
  EXPECT_EQ(0x87654321U, brir.getResetTime());
  EXPECT_EQ(-4711, egir.getProcessId());
  EXPECT_EQ(0x10203U, static_cast<std::uint32_t>(noir.getNodeType()));
  EXPECT_TRUE(noir.getSubFlowName() == "sub");
}

TEST_F(InformationRecords, AssignmentTakesEverything) {
  ZEB_BRIR brir(nullptr), otherBrir(&id);
  fill(brir, kBroker);
  EXPECT_EQ(&otherBrir, &(otherBrir = brir));
  EXPECT_EQ(kBroker, storedForm(otherBrir));
  ZEB_EGIR egir(nullptr), otherEgir(&id);
  fill(egir, kGroup);
  EXPECT_EQ(&otherEgir, &(otherEgir = egir));
  EXPECT_EQ(egir.getAddress(), otherEgir.getAddress());
  EXPECT_EQ(kGroup, storedForm(otherEgir));
  ZEB_NOIR noir(nullptr), otherNoir(&id);
  fill(noir, kNode);
  EXPECT_EQ(&otherNoir, &(otherNoir = noir));
  EXPECT_EQ(kNode, storedForm(otherNoir));
  ZEB_NOIR copy(noir);
  EXPECT_EQ(kNode, storedForm(copy));
}

TEST_F(InformationRecords, FailedOnesDoNothing) {
  ZEB_BRIR brir(nullptr);
  fill(brir, kBroker);
  auto failedBrir = spoiled<ZEB_BRIR>();
  failedBrir = brir;
  EXPECT_EQ(0U, failedBrir.getResetTime());
  EXPECT_TRUE(failedBrir.getUuid() == "");
  expectDoesNothing(failedBrir, kBroker);
  ZEB_EGIR egir(nullptr);
  fill(egir, kGroup);
  auto failedEgir = spoiled<ZEB_EGIR>();
  failedEgir = egir;
  EXPECT_EQ(0, failedEgir.getProcessId());
  expectDoesNothing(failedEgir, kGroup);
  ZEB_NOIR noir(nullptr);
  fill(noir, kNode);
  auto failedNoir = spoiled<ZEB_NOIR>();
  failedNoir = noir;
  EXPECT_EQ(ZEB_OTHER_NODE, failedNoir.getNodeType());
  expectDoesNothing(failedNoir, kNode);
  auto failedMfir = spoiled<ZEB_MFIR>();
  expectDoesNothing(failedMfir, kFlow);
  EXPECT_EQ(0U, failedNoir.isDeleted());
}

TEST_F(InformationRecords, OnesThatLoseAStringAreNotOk) {
  ZEB_NOIR byUuid(&id), byLabel(&id), byName(&id);
  const ZEB_String lost = failedString();
  byUuid.setUuid(&lost);
  EXPECT_EQ(301, byUuid.getStatus());
  byLabel.setLabel(&lost);
  EXPECT_EQ(301, byLabel.getStatus());
  byName.setSubFlowName(&lost);
  EXPECT_EQ(301, byName.getStatus());
  EXPECT_EQ(0U, byName.size());
}

TEST_F(InformationRecords, OnesThatCannotReadAStringAreNotOk) {
  const std::size_t lengths[] = {2, 5, 3};
  for (const std::size_t length : lengths) {
    ZEB_NOIR record(nullptr);
    Bytes image = kNode;
    failAllocations(2 * (length + 1));
    record.get(image.data());
    succeedAgain();
    EXPECT_EQ(301, record.getStatus()) << length;
  }
}

TEST_F(InformationRecords, AreAlikeOnlyInBothStringsWhole) {
  ZEB_REIR record(ZEB_REIR_RECORD, nullptr);
  fill(record, kCommon);
  EXPECT_EQ(1U, record.alike(&id));
  const ZEB_Resource_ID swapped(&label, &uuid);
  EXPECT_EQ(0U, record.alike(&swapped));
  EXPECT_EQ(1U, record.getResourceId().alike(&id));
  EXPECT_TRUE(record.getResourceId().getLabel() == "Label");
}

TEST_F(InformationRecords, PrintUnderTheirUnits) {
  useLocalTime();
  ZEB_BRIR brir(&id);
  brir.setResetTime(kCalendarNow);
  brir.print();
  EXPECT_EQ(Texts{"Reset Time          : Wed Nov 15 00:13:20 2023"},
            textsOf("zebcbrir", "ZEB_BRIR::print"));
  EXPECT_EQ((Texts{"UUID                : UU", "Label               : Label"}),
            textsOf("zebcreir", "ZEB_REIR::print"));
  host().forget();
  brir.setResetTime(1);
  brir.print();
  EXPECT_EQ(Texts{"Reset Time          : Tue Jan  1 02:00:01 1901"},
            textsOf("zebcbrir", "ZEB_BRIR::print"));
  ZEB_EGIR egir(&id);
  host().forget();
  egir.print();
  EXPECT_EQ(Texts{"Process ID          : n/a"}, textsOf("zebcegir", "ZEB_EGIR::print"));
  host().forget();
  egir.setProcessId(-1);
  egir.print();
  EXPECT_EQ(Texts{"Process ID          : -1"}, textsOf("zebcegir", "ZEB_EGIR::print"));
  EXPECT_EQ("ZEB_EGIR::print", host().trace()[0].function);
  EXPECT_EQ("   R E C O R D   I D", host().trace()[1].text);
  host().forget();
  ZEB_NOIR noir(&id);
  noir.print();
  EXPECT_EQ("   R E C O R D   I D", host().trace()[0].text);
  EXPECT_EQ(Texts{"Node type           : 3"}, textsOf("zebcnoir", "ZEB_NOIR::print"));
}

TEST_F(InformationRecords, TraceWhatIsCommon) {
  ZEB_REIR other(ZEB_REIR_RECORD, nullptr);
  Bytes image = kCommon;
  const char* const end = reinterpret_cast<const char*>(image.data()) + image.size();
  const Tracing on;
  ZEB_REIR record(ZEB_REIR_RECORD, nullptr);
  record.get(image.data());
  record.put(image.data());
  record.size();
  record.print();
  other = record;
  record.getUuid();
  record.getLabel();
  record.setUuid(nullptr);
  record.setLabel(nullptr);
  record.getResourceId();
  record.alike(&id);
  expectTraced("zebcreir", {{"ZEB_REIR::ZEB_REIR", "Exit"},
                            {"ZEB_REIR::operator=", "Exit"},
                            {"ZEB_REIR::get", exitOf(end)},
                            {"ZEB_REIR::put", exitOf(end)},
                            {"ZEB_REIR::size", exitOf(66)},
                            {"ZEB_REIR::print", "Exit"},
                            {"ZEB_REIR::getUuid", "Exit"},
                            {"ZEB_REIR::getLabel", "Exit"},
                            {"ZEB_REIR::setUuid", "Exit"},
                            {"ZEB_REIR::setLabel", "Exit"},
                            {"ZEB_REIR::getResourceId", "Exit"},
                            {"ZEB_REIR::alike", "Exit: 0x1"}});
}

// Runs the operations that each derived class has and looks at their traces.
template <typename Record>
void expectTracesOfClass(const char* unit, const std::string& name, Bytes image,
                         const std::vector<Traced>& own, void (*use)(Record&)) {
  const Tracing on;
  Record record(nullptr);
  record.get(image.data());
  record.put(image.data());
  record.size();
  record.print();
  Record other(nullptr);
  other = record;
  use(record);
  const std::string end = exitOf(image.data() + image.size());
  const std::string names[] = {name + "::" + name, name + "::operator=", name + "::get",
                               name + "::put",     name + "::size",      name + "::print"};
  expectTraced(unit, {{names[0].c_str(), "Exit"},
                      {names[1].c_str(), "Exit"},
                      {names[2].c_str(), end},
                      {names[3].c_str(), end},
                      {names[4].c_str(), exitOf(image.size())},
                      {names[5].c_str(), "Exit"}});
  expectTraced(unit, own);
}

TEST_F(InformationRecords, TraceWhatIsTheirOwn) {
  expectTracesOfClass<ZEB_BRIR>(
      "zebcbrir", "ZEB_BRIR", kBroker,
      {{"ZEB_BRIR::setResetTime", "Exit"}, {"ZEB_BRIR::getResetTime", "Exit: 0x7"}},
      [](ZEB_BRIR& record) {
        record.setResetTime(7);
        record.getResetTime();
      });
  expectTracesOfClass<ZEB_EGIR>(
      "zebcegir", "ZEB_EGIR", kGroup,
      {{"ZEB_EGIR::setProcessId", "Exit"}, {"ZEB_EGIR::getProcessId", "Exit: 0x7"}},
      [](ZEB_EGIR& record) {
        record.setProcessId(7);
        record.getProcessId();
      });
  expectTracesOfClass<ZEB_NOIR>("zebcnoir", "ZEB_NOIR", kNode,
                                {{"ZEB_NOIR::setNodeType", "Exit"},
                                 {"ZEB_NOIR::getNodeType", "Exit: 0x5"},
                                 {"ZEB_NOIR::setSubFlowName", "Exit"},
                                 {"ZEB_NOIR::getSubFlowName", "Exit"}},
                                [](ZEB_NOIR& record) {
                                  record.setNodeType(ZEB_SUB_FLOW_OUTPUT_NODE);
                                  record.getNodeType();
                                  record.setSubFlowName(nullptr);
                                  record.getSubFlowName();
                                });
}

}  // namespace

}  // namespace resource_records_trace_test
