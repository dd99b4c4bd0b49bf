// SPDX-License-Identifier: Apache-2.0
// Collections of records, and blank records by type.
#include "records/record_set.h"

#include "records/record_factory.h"
#include "records/statistics_record.h"
#include "tests/unit/records/records_test.h"

namespace record_set_test {

using namespace support;

namespace {

constexpr char kUnit[] = "zebcrcst";

template <typename Set>
class RecordSet : public LibraryTest {
 protected:
  static constexpr bool kOrdered = std::is_same_v<Set, ZEB_Ordered_Record_Set>;
  using Iterator =
      std::conditional_t<kOrdered, ZEB_Ordered_Record_Set_Iterator, ZEB_Record_Set_Iterator>;

  static std::string setName() { return kOrdered ? "ZEB_Ordered_Record_Set" : "ZEB_Record_Set"; }
  static std::string printName() { return setName() + "::print"; }

  Set set;
};
using Sets = testing::Types<ZEB_Record_Set, ZEB_Ordered_Record_Set>;
TYPED_TEST_SUITE(RecordSet, Sets);

TYPED_TEST(RecordSet, KeepsTheOrderOfInsertion) {
  ZEB_Record records[] = {{ZEB_RECORD, 1}, {ZEB_RECORD, 1}, {ZEB_RECORD, 1}};
  EXPECT_TRUE(this->set.isEmpty());
  EXPECT_EQ(0U, this->set.entries());
  for (ZEB_Record* record : {&records[2], &records[0], &records[1]})
    EXPECT_TRUE(this->set.insert(record));
  EXPECT_FALSE(this->set.isEmpty());
  EXPECT_EQ(3U, this->set.entries());
  typename TestFixture::Iterator next(this->set);
  EXPECT_EQ(&records[2], next.getNext());
  EXPECT_EQ(&records[0], next.getNext());
  EXPECT_EQ(&records[1], next.getNext());
  EXPECT_EQ(nullptr, next.getNext());
  EXPECT_EQ(nullptr, next.getNext());
}

TYPED_TEST(RecordSet, HoldsRecordsByIdentity) {
  ZEB_Record record(ZEB_RECORD, 1);
  ZEB_Record copy(record);
  this->set.insert(&record);
  this->set.insert(&copy);
  EXPECT_EQ(2U, this->set.entries());
}

TYPED_TEST(RecordSet, OnlyAnOrderedOneHoldsARecordTwice) {
  ZEB_Record records[] = {{ZEB_RECORD, 1}, {ZEB_RECORD, 1}};
  for (ZEB_Record* record : {&records[0], &records[1], &records[0]})
    EXPECT_TRUE(this->set.insert(record));
  EXPECT_EQ(TestFixture::kOrdered ? 3U : 2U, this->set.entries());
  typename TestFixture::Iterator next(this->set);
  EXPECT_EQ(&records[0], next.getNext());
  EXPECT_EQ(&records[1], next.getNext());
  this->set.clear();
  EXPECT_TRUE(this->set.insert(&records[0]));
  EXPECT_EQ(1U, this->set.entries());
}

TYPED_TEST(RecordSet, TellsWhenThereIsNoMemoryForOneMore) {
  ZEB_Record record(ZEB_RECORD, 1);
  refuseMemory();
  EXPECT_FALSE(this->set.insert(&record));
  succeedAgain();
  EXPECT_EQ(0U, this->set.entries());
  EXPECT_TRUE(this->set.insert(&record));
  EXPECT_EQ(1U, this->set.entries());
}

TYPED_TEST(RecordSet, ItAndItsIteratorTrace) {
  ZEB_Record record(ZEB_RECORD, 1);
  const std::string name = TestFixture::setName();
  const std::string iterator = name + "_Iterator";
  const Tracing on;
  {
    TypeParam other;
    other.insert(&record);
    typename TestFixture::Iterator next(other);
    next.getNext();
  }
  const auto exitsOf = [](const std::string& function) { return textsOf(kUnit, function); };
  EXPECT_EQ((Texts{"Entry", "Exit"}), exitsOf(name + "::" + name));
  EXPECT_EQ((Texts{"Entry", "Exit"}), exitsOf(name + "::~" + name));
  EXPECT_EQ((Texts{"Entry", "Exit"}), exitsOf(iterator + "::" + iterator));
  EXPECT_EQ((Texts{"Entry", exitOf(&record)}), exitsOf(iterator + "::getNext"));
  EXPECT_EQ((Texts{"Entry", "Exit"}), exitsOf(iterator + "::~" + iterator));
}

TYPED_TEST(RecordSet, DestroysItsRecordsOnlyWhenTold) {
  auto* const first = new ZEB_STIR(1);
  auto* const second = new ZEB_STIR(1);
  const Tracing on;
  {
    TypeParam other;
    other.insert(first);
    other.insert(second);
    other.clear();
    EXPECT_TRUE(other.isEmpty());
    other.insert(first);
    other.insert(second);
  }
  EXPECT_EQ(0U, entriesOf("ZEB_Record::~ZEB_Record"));
  this->set.insert(first);
  this->set.insert(second);
  this->set.clearAndDestroy();
  EXPECT_EQ(2U, entriesOf("ZEB_Record::~ZEB_Record"));
  EXPECT_TRUE(this->set.isEmpty());
  this->set.clearAndDestroy();
  EXPECT_EQ(2U, entriesOf("ZEB_Record::~ZEB_Record"));
}

TYPED_TEST(RecordSet, PrintsEachRecordBehindItsPosition) {
  ZEB_Record records[] = {{ZEB_RECORD, 1}, {ZEB_RECORD, 1}, {ZEB_RECORD, 1}};
  for (ZEB_Record& record : records) this->set.insert(&record);
  host().forget();
  this->set.print();
  EXPECT_EQ((Texts{"Record 1 of 3", "Record 2 of 3", "Record 3 of 3"}),
            textsOf(kUnit, this->printName()));
  const auto log = host().trace();
  ASSERT_EQ(3U * 7, log.size());
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_EQ("Record " + std::to_string(i + 1) + " of 3", log[7 * i].text);
    EXPECT_EQ("   R E C O R D   I D", log[7 * i + 1].text);
  }
}

TYPED_TEST(RecordSet, PrintsNothingWhenEmpty) {
  this->set.print();
  EXPECT_TRUE(host().log().empty());
  const Tracing on;
  this->set.print();
  EXPECT_EQ((Texts{"Entry", "Exit"}), textsOf(kUnit, this->printName()));
  EXPECT_EQ(2U, host().log().size());
}

TEST(RecordChildren, AreFoundWithAndWithoutMemoryForTheIndex) {
  ZEB_Record parent(ZEB_RECORD, 1);
  ZEB_Record other(ZEB_RECORD, 1);
  ZEB_Record records[] = {{ZEB_RECORD, 1}, {ZEB_RECORD, 1}, {ZEB_RECORD, 1}, {ZEB_RECORD, 1}};
  for (const std::size_t first : {0U, 1U}) {
    ZEB_Record_Set set;
    for (std::size_t i = 0; i < std::size(records); ++i) {
      records[i].setParent((i % 2 == first ? parent : other).getRecordId());
      set.insert(&records[i]);
    }
    for (const bool refused : {true, false}) {
      const ZEB_Record* found[std::size(records)] = {};
      std::size_t count = 0;
      if (refused) refuseMemory();
      for (const ZEB_Record* child : set.childrenOf(&parent))
        if (count < std::size(found)) found[count++] = child;
      succeedAgain();
      ASSERT_EQ(2U, count);
      EXPECT_EQ(&records[first], found[0]);
      EXPECT_EQ(&records[first + 2], found[1]);
    }
  }
}

TEST(RecordChildren, AreFoundHoweverOftenWhereThereAreMany) {
  constexpr std::size_t kChildren = 3000;
  ZEB_Record parent(ZEB_RECORD, 1);
  const std::vector<std::unique_ptr<ZEB_Record>> children = [&parent] {
    std::vector<std::unique_ptr<ZEB_Record>> made;
    for (std::size_t i = 0; i < kChildren; ++i) {
      made.push_back(std::make_unique<ZEB_Record>(ZEB_RECORD, 1));
      made.back()->setParent(parent.getRecordId());
    }
    return made;
  }();
  ZEB_Record_Set set;
  for (const auto& child : children) set.insert(child.get());
  for (int time = 0; time < 10; ++time) {
    std::size_t found = 0;
    for ([[maybe_unused]] const ZEB_Record* each : set.childrenOf(&parent)) ++found;
    ASSERT_EQ(kChildren, found);
  }
  EXPECT_FALSE(set.isTangled());
}

struct BlankCase {
  std::uint32_t type;
  std::uint32_t size;
  std::string unit;
  std::string constructor;
};

class BlankRecord : public LibraryTest {};

TEST_F(BlankRecord, IsOfTheClassOfItsType) {
  const BlankCase cases[] = {
      {1, 52, "zebcreir", "ZEB_REIR::ZEB_REIR"}, {2, 56, "zebcbrir", "ZEB_BRIR::ZEB_BRIR"},
      {3, 56, "zebcegir", "ZEB_EGIR::ZEB_EGIR"}, {4, 52, "zebcreir", "ZEB_MFIR::ZEB_MFIR"},
      {5, 62, "zebcnoir", "ZEB_NOIR::ZEB_NOIR"}, {6, 168, "zebcstir", "ZEB_STIR::ZEB_STIR"},
      {7, 68, "zebcevtr", "ZEB_EVTR::ZEB_EVTR"}, {8, 144, "zebcevdr", "ZEB_EVDR::ZEB_EVDR"},
      {9, 252, "zebcevir", "ZEB_EVIR::ZEB_EVIR"}};
  for (const BlankCase& blank : cases) {
    const Tracing on;
    const std::unique_ptr<ZEB_Record> record = ZEB_MakeBlankRecord(blank.type);
    ASSERT_NE(nullptr, record);
    EXPECT_TRUE(record->OK());
    EXPECT_EQ(blank.type, record->type());
    EXPECT_EQ(blank.size, record->size());
    EXPECT_EQ((_TimeStamp{0, 0}), record->timeStamp());
    EXPECT_EQ(0U, record->getRecordId()->random);
    EXPECT_EQ((Texts{"Entry", "Exit"}), textsOf(blank.unit, blank.constructor));
  }
}

TEST_F(BlankRecord, IsNullForPlainAndUnknownTypes) {
  for (const std::uint32_t type : {0U, 10U, 11U, 0x80000006U, 0xFFFFFFFFU})
    EXPECT_EQ(nullptr, ZEB_MakeBlankRecord(type)) << type;
}

TEST_F(BlankRecord, IsNullWithoutMemory) {
  failAllocations(sizeof(ZEB_STIR));
  EXPECT_EQ(nullptr, ZEB_MakeBlankRecord(6));
}

}  // namespace

}  // namespace record_set_test
