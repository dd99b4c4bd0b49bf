// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "records/broker_record.h"
#include "records/execution_group_record.h"
#include "records/message_flow_record.h"
#include "records/node_record.h"
#include "tests/support/library_test.h"

namespace resource_records_test {

using namespace support;

namespace {

class ResourceRecords : public LibraryTest {
 protected:
  const ZEB_String uuid{"UU"};
  const ZEB_String label{"Label"};
  const ZEB_Resource_ID id{&uuid, &label};

  static Bytes stored(ZEB_Record& record) {
    Bytes bytes(record.size() + 1, 0xEE);
    EXPECT_EQ(record.put(bytes.data()), bytes.data() + record.size());
    EXPECT_EQ(bytes.back(), 0xEE);
    bytes.pop_back();
    return bytes;
  }

  // Stores the record, reads it into the other and expects the same bytes.
  static void expectRoundTrip(ZEB_Record& record, ZEB_Record& other) {
    Bytes bytes = stored(record);
    EXPECT_EQ(other.get(bytes.data()), bytes.data() + bytes.size());
    EXPECT_EQ(other.getAddress(), bytes.data());
    EXPECT_EQ(stored(other), bytes);
    EXPECT_EQ(record.get(nullptr), nullptr);
    EXPECT_EQ(record.put(nullptr), nullptr);
  }
};

TEST_F(ResourceRecords, TheCommonPartIsUuidThenLabel) {
  ZEB_REIR record(ZEB_REIR_RECORD, &id);
  EXPECT_EQ(record.size(), 52U + 4 + 10);
  const Bytes bytes = stored(record);
  EXPECT_EQ(unsignedAt(bytes, 8), 1U);
  EXPECT_EQ(unsignedAt(bytes, 12), kNow);
  EXPECT_EQ(slice(bytes, 40, 10), (Bytes{2, 0, 0, 0, 'U', 0, 'U', 0, 0, 0}));
  EXPECT_EQ(slice(bytes, 50, 16),
            (Bytes{5, 0, 0, 0, 'L', 0, 'a', 0, 'b', 0, 'e', 0, 'l', 0, 0, 0}));
  ZEB_REIR other(ZEB_REIR_RECORD, nullptr);
  EXPECT_EQ(other.size(), 52U);
  EXPECT_EQ(unsignedAt(stored(other), 12), 0U) << "without an identifier it is blank";
  expectRoundTrip(record, other);
  EXPECT_TRUE(other.getUuid() == "UU");
  EXPECT_TRUE(other.getLabel() == "Label");
  EXPECT_EQ(other.getResourceId().alike(&id), 1U);
}

TEST_F(ResourceRecords, AMessageFlowAddsNothing) {
  const ZEB_String one("1");
  const ZEB_Resource_ID short_(&one, &one);
  ZEB_MFIR record(&short_);
  EXPECT_EQ(record.type(), 4U);
  EXPECT_EQ(record.size(), 56U);
  ZEB_MFIR other(nullptr);
  expectRoundTrip(record, other);
}

TEST_F(ResourceRecords, ABrokerAddsItsResetTime) {
  ZEB_BRIR record(&id);
  EXPECT_EQ(record.type(), 2U);
  EXPECT_EQ(record.getResetTime(), 0U);
  record.setResetTime(0x87654321U);
  EXPECT_EQ(record.size(), 56U + 14);
  EXPECT_EQ(unsignedAt(stored(record), 66), 0x87654321U);
  ZEB_BRIR other(nullptr);
  expectRoundTrip(record, other);
  EXPECT_EQ(other.getResetTime(), 0x87654321U);
  ZEB_BRIR assigned(nullptr);
  assigned = record;
  EXPECT_EQ(stored(assigned), stored(record));
}

TEST_F(ResourceRecords, AGroupAddsItsProcess) {
  ZEB_EGIR record(&id);
  EXPECT_EQ(record.type(), 3U);
  EXPECT_EQ(record.getProcessId(), 0);
  record.setProcessId(-2);
  EXPECT_EQ(record.size(), 56U + 14);
  EXPECT_EQ(signedAt(stored(record), 66), -2);
  ZEB_EGIR other(nullptr);
  expectRoundTrip(record, other);
  EXPECT_EQ(other.getProcessId(), -2);
  ZEB_EGIR assigned(nullptr);
  assigned = record;
  EXPECT_EQ(stored(assigned), stored(record));
}

TEST_F(ResourceRecords, ANodeAddsTypeAndSubFlowName) {
  ZEB_NOIR record(&id);
  EXPECT_EQ(record.type(), 5U);
  EXPECT_EQ(record.size(), 62U + 14);
  EXPECT_EQ(unsignedAt(stored(record), 66), 3U);
  const ZEB_String sub("sub");
  record.setSubFlowName(&sub);
  record.setSubFlowName(nullptr);
  record.setNodeType(ZEB_SUB_FLOW_INPUT_NODE);
  EXPECT_EQ(record.size(), 62U + 14 + 6);
  EXPECT_EQ(unsignedAt(stored(record), 66), 4U);
  EXPECT_EQ(slice(stored(record), 70, 12), (Bytes{3, 0, 0, 0, 's', 0, 'u', 0, 'b', 0, 0, 0}));
  ZEB_NOIR other(nullptr);
  expectRoundTrip(record, other);
  EXPECT_EQ(other.getNodeType(), ZEB_SUB_FLOW_INPUT_NODE);
  EXPECT_TRUE(other.getSubFlowName() == "sub");
  ZEB_NOIR assigned(nullptr);
  assigned = record;
  EXPECT_EQ(stored(assigned), stored(record));
}

TEST_F(ResourceRecords, AlikeNeedsBothStrings) {
  const ZEB_REIR record(ZEB_REIR_RECORD, &id);
  const ZEB_String other("other");
  const ZEB_Resource_ID sameUuid(&uuid, &other);
  const ZEB_Resource_ID sameLabel(&other, &label);
  const ZEB_Resource_ID noLabel(&uuid, nullptr);
  EXPECT_EQ(record.alike(&id), 1U);
  EXPECT_EQ(record.alike(&sameUuid), 0U);
  EXPECT_EQ(record.alike(&sameLabel), 0U);
  EXPECT_EQ(record.alike(&noLabel), 0U);
  EXPECT_EQ(record.alike(nullptr), 0U);
}

TEST_F(ResourceRecords, NullChangesNoString) {
  ZEB_REIR record(ZEB_REIR_RECORD, &id);
  record.setLabel(nullptr);
  record.setUuid(nullptr);
  EXPECT_EQ(record.alike(&id), 1U);
  const ZEB_String other("x");
  record.setLabel(&other);
  record.setUuid(&other);
  EXPECT_TRUE(record.getLabel() == "x");
  EXPECT_TRUE(record.getUuid() == "x");
}

TEST_F(ResourceRecords, AStoredEmptyStringEmptiesTheOneThatWasHeld) {
  ZEB_REIR empty(ZEB_REIR_RECORD, nullptr);
  Bytes bytes = stored(empty);
  ZEB_REIR record(ZEB_REIR_RECORD, &id);
  record.get(bytes.data());
  EXPECT_EQ(record.size(), 52U);
}

TEST_F(ResourceRecords, PrintTheirLinesInTheirOrder) {
  ZEB_BRIR broker(&id);
  broker.print();
  EXPECT_EQ(linesOf("ZEB_BRIR::print"), Texts{"Reset Time          : n/a"});
  EXPECT_EQ(linesOf("ZEB_REIR::print"),
            (Texts{"UUID                : UU", "Label               : Label"}));
  EXPECT_EQ(host().trace().front().function, "ZEB_BRIR::print") << "its own line comes first";
  host().forget();
  broker.setResetTime(kNow + kCalendarOffset);
  broker.print();
  EXPECT_NE(linesOf("ZEB_BRIR::print"), Texts{"Reset Time          : n/a"});

  host().forget();
  ZEB_EGIR group(&id);
  group.print();
  EXPECT_EQ(linesOf("ZEB_EGIR::print"), Texts{"Process ID          : n/a"});
  EXPECT_EQ(host().trace().front().function, "ZEB_EGIR::print");
  host().forget();
  group.setProcessId(4711);
  group.print();
  EXPECT_EQ(linesOf("ZEB_EGIR::print"), Texts{"Process ID          : 4711"});

  host().forget();
  ZEB_NOIR node(&id);
  const ZEB_String sub("hidden");
  node.setSubFlowName(&sub);
  node.setNodeType(ZEB_OUTPUT_NODE);
  node.print();
  EXPECT_EQ(host().trace().back().text, "Node type           : 2") << "and no sub-flow name";
  EXPECT_EQ(host().trace().back().function, "ZEB_NOIR::print");

  host().forget();
  ZEB_MFIR flow(&id);
  flow.print();
  EXPECT_EQ(host().trace().back().text, "Label               : Label");
}

TEST_F(ResourceRecords, TraceUnderTheirUnits) {
  const Tracing tracing;
  ZEB_BRIR broker(&id);
  ZEB_EGIR group(&id);
  ZEB_NOIR node(&id);
  ZEB_MFIR flow(&id);
  Bytes bytes(200);
  broker.put(bytes.data());
  expectTraced("zebcbrir",
               {{"ZEB_BRIR::ZEB_BRIR", "Exit"}, {"ZEB_BRIR::put", exitOf(bytes.data() + 70)}});
  expectTraced("zebcegir", {{"ZEB_EGIR::ZEB_EGIR", "Exit"}});
  expectTraced("zebcnoir", {{"ZEB_NOIR::ZEB_NOIR", "Exit"}});
  expectTraced("zebcreir",
               {{"ZEB_MFIR::ZEB_MFIR", "Exit"}, {"ZEB_REIR::put", exitOf(bytes.data() + 66)}});
}

}  // namespace

}  // namespace resource_records_test
