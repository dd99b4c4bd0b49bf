// SPDX-License-Identifier: Apache-2.0
// What a record says of itself, and how it behaves once it failed.
#include "tests/unit/records/records_test.h"

namespace record_trace_test {

using namespace support;

namespace {

constexpr char kUnit[] = "zebcrcrd";

class RecordBase : public LibraryTest {};

TEST_F(RecordBase, AnyNonZeroNumberMakesAnIdentifier) {
  setClock(kNow, 7);
  for (const int makeId : {1, 2, -1}) {
    const ZEB_Record record(ZEB_EVDR_RECORD, makeId);
    EXPECT_EQ((_TimeStamp{kNow, 7}), record.timeStamp());
    EXPECT_NE(0U, record.getRecordId()->random);
    EXPECT_EQ(8U, record.type());
  }
}

TEST_F(RecordBase, OnesMadeInOneMillisecondDiffer) {
  const ZEB_Record first(ZEB_EVDR_RECORD, 1);
  const ZEB_Record second(ZEB_EVDR_RECORD, 1);
  EXPECT_EQ(first.timeStamp(), second.timeStamp());
  EXPECT_NE(first.getRecordId()->random, second.getRecordId()->random);
}

TEST_F(RecordBase, IsReadAndStoredAsTheHeaderStands) {
  ZEB_Record record(ZEB_RECORD, 1);
  fill(record, headerImage(6, 1).bytes());
  EXPECT_EQ(6U, record.type());
  EXPECT_EQ((_TimeStamp{11, 22}), record.timeStamp());
  EXPECT_EQ((ZEB_Record_ID{6, {11, 22}, 33}), *record.getRecordId());
  EXPECT_EQ((ZEB_Record_ID{5, {44, 55}, 66}), *record.getParentId());
  EXPECT_EQ(1U, record.isDeleted());
  EXPECT_EQ(headerImage(6, 1).bytes(), storedForm(record));
  expectUsesTheCopyOnly(record, headerImage(9).bytes());
  expectIgnoresNull(record);
}

TEST_F(RecordBase, AFailedOneIsNeitherReadNorWrittenButKeepsItsSize) {
  Spoiled<ZEB_Record> record(ZEB_EGIR_RECORD, 0);
  record.spoil();
  EXPECT_FALSE(record.OK());
  EXPECT_EQ(301, record.getStatus());
  EXPECT_EQ(40U, record.size());
  Bytes image = headerImage(6).bytes();
  EXPECT_EQ(image.data(), record.get(image.data()));
  EXPECT_EQ(3U, record.type());
  EXPECT_EQ(image.data(), record.put(image.data()));
  EXPECT_EQ(headerImage(6).bytes(), image);
  EXPECT_EQ(nullptr, record.getAddress());
  const ZEB_Record copy(record);
  EXPECT_EQ(301, copy.getStatus());
}

TEST_F(RecordBase, AReadIsTracedAlsoOfAFailedOne) {
  Spoiled<ZEB_Record> record(ZEB_EGIR_RECORD, 0);
  record.spoil();
  Bytes image = headerImage(6).bytes();
  const Tracing on;
  record.get(image.data());
  EXPECT_EQ((Texts{"Entry", "GET 40 bytes from 0x" + hex(image.data()), exitOf(image.data())}),
            textsOf(kUnit, "ZEB_Record::get"));
}

TEST_F(RecordBase, NothingIsTracedWhileTheSwitchIsOff) {
  ZEB_Record record(ZEB_EGIR_RECORD, 1);
  fill(record, headerImage(6).bytes());
  record.getStringRecordId();
  EXPECT_TRUE(host().log().empty());
}

TEST_F(RecordBase, IsAChildOnlyOfTheWholeIdentifier) {
  ZEB_Record parent(ZEB_RECORD, 0);
  fill(parent, headerImage(5).bytes());
  ZEB_Record child(ZEB_RECORD, 0);
  child.setParent(parent.getRecordId());
  EXPECT_EQ(1U, child.isChildOf(&parent));
  for (std::size_t byte = 8; byte < 24; ++byte) {
    Bytes other = headerImage(5).bytes();
    other[byte] = static_cast<unsigned char>(other[byte] ^ 0x80);
    fill(parent, other);
    EXPECT_EQ(0U, child.isChildOf(&parent)) << byte;
  }
}

TEST_F(RecordBase, OneWithoutAParentIsAChildOfBlanksOfNoTypeOnly) {
  const ZEB_Record child(ZEB_NOIR_RECORD, 1);
  const ZEB_Record blank(ZEB_NOIR_RECORD, 0);
  const ZEB_Record plain(ZEB_RECORD, 0);
  EXPECT_EQ(0U, child.isChildOf(&blank));
  EXPECT_EQ(1U, child.isChildOf(&plain));
}

TEST_F(RecordBase, CopiesKeepTheAddress) {
  ZEB_Record record(ZEB_RECORD, 1);
  record.setAddress(&record);
  const ZEB_Record copy(record);
  EXPECT_EQ(&record, copy.getAddress());
  EXPECT_EQ(*record.getRecordId(), *copy.getRecordId());
}

TEST_F(RecordBase, PrintsTheFortyBytes) {
  ZEB_Record record(ZEB_RECORD, 0);
  fill(record, headerImage(6, 1).bytes());
  host().forget();
  record.print();
  Texts parts;
  for (const LogEntry& entry : host().trace()) {
    EXPECT_EQ(parts.empty() ? kUnit : "zebctool", entry.unit);
    const std::size_t second = entry.text.find('|', 1);
    parts.push_back(second == std::string::npos ? entry.text : entry.text.substr(second));
  }
  EXPECT_EQ(
      (Texts{"   R E C O R D   I D", "| 52 43 52 44 01 00 00 00  | RCRD.... |",
             "| 06 00 00 00 0B 00 00 00  | ........ |", "| 16 00 00 00 21 00 00 00  | ....!... |",
             "| 05 00 00 00 2C 00 00 00  | ....,... |", "| 37 00 00 00 42 00 00 00  | 7...B... |"}),
      parts);
}

TEST_F(RecordBase, EveryOperationTraces) {
  Bytes image = headerImage(6, 1).bytes();
  setClock(kNow, 5);
  const Tracing on;
  {
    ZEB_Record record(ZEB_MFIR_RECORD, 1);
    ZEB_Record copy(record);
    copy = record;
    record.get(image.data());
    record.put(image.data());
    record.size();
    record.print();
    record.OK();
    record.getStatus();
    record.type();
    record.timeStamp();
    record.getStringRecordId();
    record.setParent(nullptr);
    record.isChildOf(&copy);
    record.isDeleted();
    record.markDeleted();
    record.undelete();
    record.isNewer({1, 1});
    record.setAddress(image.data());
    record.getAddress();
    expectTraced(kUnit, {{"ZEB_Record::getRecordId", exitOf(record.getRecordId())},
                         {"ZEB_Record::getParentId", exitOf(record.getParentId())}});
  }
  EXPECT_EQ((Texts{"Entry", "Exit", "Entry", "Exit"}), textsOf(kUnit, "ZEB_Record::ZEB_Record"));
  EXPECT_EQ((Texts{"Entry", "Exit", "Entry", "Exit"}), textsOf(kUnit, "ZEB_Record::~ZEB_Record"));
  expectTraced(kUnit, {{"ZEB_Record::operator=", "Exit"},
                       {"ZEB_Record::get", exitOf(image.data() + 40)},
                       {"ZEB_Record::put", exitOf(image.data() + 40)},
                       {"ZEB_Record::size", "Exit: 0x28"},
                       {"ZEB_Record::print", "Exit"},
                       {"ZEB_Record::OK", "Exit: 0x1"},
                       {"ZEB_Record::getStatus", "Exit: 0x0"},
                       {"ZEB_Record::type", "Exit: 0x6"},
                       {"ZEB_Record::timeStamp", "Exit"},
                       {"ZEB_Record::getStringRecordId", "Exit"},
                       {"ZEB_Record::setParent", "Exit"},
                       {"ZEB_Record::isChildOf", "Exit: 0x0"},
                       {"ZEB_Record::isDeleted", "Exit: 0x1"},
                       {"ZEB_Record::markDeleted", "Exit"},
                       {"ZEB_Record::undelete", "Exit"},
                       {"ZEB_Record::isNewer", "Exit: 0x1"},
                       {"ZEB_Record::setAddress", "Exit"},
                       {"ZEB_Record::getAddress", exitOf(image.data())},
                       {"ZEB_Record::cleanup", "Exit"}});
}

}  // namespace

}  // namespace record_trace_test
