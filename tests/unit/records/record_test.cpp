// SPDX-License-Identifier: Apache-2.0
#include "records/record.h"

#include <cstring>
#include <thread>

#include "records/record_set.h"
#include "records/statistics_record.h"
#include "tests/support/ipc_objects.h"
#include "tests/support/library_test.h"

namespace record_test {

using namespace support;

namespace {

class Record : public LibraryTest {
 protected:
  static Bytes stored(ZEB_Record& record) {
    Bytes bytes(record.size());
    record.put(bytes.data());
    return bytes;
  }
  // The key file of the record's lock.
  static std::string lockFile(const ZEB_Record& record) {
    return std::string("/tmp/") + record.getStringRecordId().getcValue() + ".zebmutx";
  }
};

TEST_F(Record, ANewOneIsStampedWithNowAndARandomNumber) {
  setClock(kNow, 321);
  ZEB_Record record(ZEB_NOIR_RECORD, 1);
  const Bytes bytes = stored(record);
  EXPECT_EQ(charactersAt(bytes, 0, 4), "RCRD");
  EXPECT_EQ(unsignedAt(bytes, 4), 0U);
  EXPECT_EQ(unsignedAt(bytes, 8), 5U);
  EXPECT_EQ(unsignedAt(bytes, 12), kNow);
  EXPECT_EQ(unsignedAt(bytes, 16), 321U);
  EXPECT_EQ(slice(bytes, 24, 16), Bytes(16, 0));
  ZEB_Record other(ZEB_NOIR_RECORD, 1);
  EXPECT_NE(unsignedAt(stored(other), 20), unsignedAt(bytes, 20));
  EXPECT_EQ(record.type(), 5U);
  EXPECT_EQ(record.timeStamp(), (_TimeStamp{kNow, 321}));
}

TEST_F(Record, ABlankOneHasItsTypeOnly) {
  ZEB_Record plain(ZEB_RECORD, 0);
  EXPECT_TRUE(plain.getStringRecordId() == "00000000000000000000000000000000");
  ZEB_Record statistics(ZEB_STIR_RECORD, 0);
  EXPECT_TRUE(statistics.getStringRecordId() == "06000000000000000000000000000000");
  EXPECT_EQ(plain.size(), 40U);
  EXPECT_EQ(plain.getAddress(), nullptr);
  EXPECT_TRUE(plain.OK());
  EXPECT_EQ(plain.getStatus(), 0);
}

TEST_F(Record, TheIdentifierIsWrittenInUpperCaseInStoredOrder) {
  ZEB_Record record(ZEB_RECORD, 0);
  Bytes bytes = stored(record);
  for (unsigned char i = 0; i < 16; ++i) bytes[8U + i] = static_cast<unsigned char>(0xA0 + i);
  record.get(bytes.data());
  EXPECT_TRUE(record.getStringRecordId() == "A0A1A2A3A4A5A6A7A8A9AAABACADAEAF");
}

TEST_F(Record, ReadingAndWritingRememberTheAddress) {
  ZEB_Record record(ZEB_STIR_RECORD, 1);
  Bytes bytes(40);
  EXPECT_EQ(record.put(bytes.data()), bytes.data() + 40);
  EXPECT_EQ(record.getAddress(), bytes.data());
  ZEB_Record other(ZEB_RECORD, 0);
  EXPECT_EQ(other.get(bytes.data()), bytes.data() + 40);
  EXPECT_EQ(other.getAddress(), bytes.data());
  EXPECT_EQ(stored(other), bytes);
  EXPECT_EQ(other.get(nullptr), nullptr);
  EXPECT_EQ(other.put(nullptr), nullptr);
}

TEST_F(Record, TheEyecatcherIsCopiedUnchecked) {
  ZEB_Record record(ZEB_RECORD, 0);
  Bytes bytes(40, 'x');
  record.get(bytes.data());
  EXPECT_EQ(stored(record), bytes);
}

TEST_F(Record, TheMarkOfDeletionTravelsWithTheNextWrite) {
  ZEB_Record record(ZEB_RECORD, 1);
  record.markDeleted();
  EXPECT_EQ(record.isDeleted(), 1U);
  EXPECT_EQ(unsignedAt(stored(record), 4), 1U);
  record.undelete();
  EXPECT_EQ(unsignedAt(stored(record), 4), 0U);
}

TEST_F(Record, AChildNamesItsParent) {
  ZEB_Record parent(ZEB_MFIR_RECORD, 1);
  ZEB_Record child(ZEB_NOIR_RECORD, 1);
  EXPECT_EQ(child.isChildOf(&parent), 0U);
  EXPECT_EQ(child.isChildOf(nullptr), 0U);
  child.setParent(parent.getRecordId());
  EXPECT_EQ(child.isChildOf(&parent), 1U);
  EXPECT_EQ(*child.getParentId(), *parent.getRecordId());
  child.setParent(nullptr);
  EXPECT_EQ(child.isChildOf(&parent), 1U);
  EXPECT_EQ(parent.isChildOf(&child), 0U);
  EXPECT_EQ(idAt(stored(child), 24), idAt(stored(parent), 8));
}

TEST_F(Record, AnEqualStampIsNotNewer) {
  setClock(100, 500);
  const ZEB_Record record(ZEB_RECORD, 1);
  EXPECT_EQ(record.isNewer({100, 500}), 0U);
  EXPECT_EQ(record.isNewer({100, 499}), 1U);
  EXPECT_EQ(record.isNewer({100, 501}), 0U);
  EXPECT_EQ(record.isNewer({99, 999}), 1U);
  EXPECT_EQ(record.isNewer({101, 0}), 0U);
}

TEST_F(Record, AssignmentCopiesHeaderAndAddressAndNeverTheLock) {
  ZEB_Record source(ZEB_STIR_RECORD, 1);
  Bytes bytes = stored(source);
  ZEB_Record target(ZEB_STIR_RECORD, 1);
  target = source;
  EXPECT_EQ(*target.getRecordId(), *source.getRecordId());
  EXPECT_EQ(target.getAddress(), source.getAddress());
  source.lock();
  EXPECT_EQ(queueOf(lockFile(source))->messages, 1U);
  const ZEB_Record copy(source);
  EXPECT_EQ(queueOf(lockFile(source))->messages, 1U);
  source.unlock();
}

TEST_F(Record, TheLockIsNamedByTheIdentifierAndGoesWithTheRecord) {
  std::string file;
  {
    ZEB_Record record(ZEB_STIR_RECORD, 1);
    file = lockFile(record);
    EXPECT_FALSE(semaphoreOf(file)) << "built when it is first needed";
    record.lock();
    EXPECT_EQ(semaphoreOf(file)->value, 0);
    record.unlock();
    EXPECT_EQ(semaphoreOf(file)->value, 1);
  }
  EXPECT_FALSE(semaphoreOf(file));
}

TEST_F(Record, AnotherIdentifierMakesAnotherLockAtTheNextUse) {
  ZEB_Record record(ZEB_STIR_RECORD, 1);
  ZEB_Record other(ZEB_STIR_RECORD, 1);
  const std::string before = lockFile(record);
  record.lock();
  record.unlock();
  record = other;
  EXPECT_TRUE(semaphoreOf(before));
  record.lock();
  EXPECT_FALSE(semaphoreOf(before));
  EXPECT_EQ(semaphoreOf(lockFile(other))->value, 0);
  record.unlock();
}

TEST_F(Record, AReadThatBringsAnotherIdentifierMakesAnotherLockToo) {
  ZEB_Record record(ZEB_STIR_RECORD, 1);
  const std::string before = lockFile(record);
  record.lock();
  record.unlock();
  ZEB_Record other(ZEB_STIR_RECORD, 1);
  Bytes bytes = stored(other);
  record.get(bytes.data());
  record.lock();
  EXPECT_FALSE(semaphoreOf(before));
  record.unlock();
}

// The semaphore must outlive such an assignment, since others may wait for it.
TEST_F(Record, AnAssignmentOfTheSameIdentifierWhileItIsHeldKeepsTheLock) {
  ZEB_Record record(ZEB_STIR_RECORD, 1);
  const ZEB_Record same(record);
  record.lock();
  const int id = semaphoreOf(lockFile(record))->id;
  record = same;
  record.unlock();
  record.lock();
  EXPECT_EQ(semaphoreOf(lockFile(record))->id, id);
  record.unlock();
  EXPECT_EQ(record.initializeMutex(), ZEB_SUCCESS);
  EXPECT_NE(semaphoreOf(lockFile(record))->id, id);
}

TEST_F(Record, ALockThatCanNotBeBuiltIsLoggedAndThreadsStillExcludeEachOther) {
  ZEB_Record record(ZEB_STIR_RECORD, 1);
  std::string file = lockFile(record);
  ASSERT_EQ(
      std::system(
          ("mkdir -p /tmp/none && chmod 0 /tmp/none && ln -s /nowhere/at/all " + file).c_str()),
      0);
  host().forget();
  EXPECT_EQ(record.initializeMutex(), ZEB_LOCK_NOT_BUILT);
  host().forget();
  record.lock();
  EXPECT_EQ(linesOf("ZEB_Record::lock"), Texts{"Error 9 building Mutex"});
  std::atomic<bool> second = false;
  std::jthread other([&] {
    record.lock();
    second = true;
    record.unlock();
  });
  EXPECT_FALSE(second);
  record.unlock();
  other.join();
  EXPECT_TRUE(second);
  std::remove(file.c_str());
  std::remove("/tmp/none");
}

TEST_F(Record, PrintsItsHeaderAsADump) {
  ZEB_Record record(ZEB_RECORD, 0);
  record.print();
  EXPECT_EQ(linesOf("ZEB_Record::print"), Texts{"   R E C O R D   I D"});
  EXPECT_EQ(host().trace().size(), 6U) << "the line and five runs of eight bytes";
}

TEST_F(Record, SetsPrintEachRecordWithItsPosition) {
  ZEB_Record a(ZEB_RECORD, 0);
  ZEB_Record b(ZEB_RECORD, 0);
  ZEB_Record c(ZEB_RECORD, 0);
  ZEB_Record_Set set;
  ZEB_Ordered_Record_Set ordered;
  set.print();
  EXPECT_TRUE(host().log().empty());
  for (ZEB_Record* record : {&a, &b, &c}) {
    EXPECT_TRUE(set.insert(record));
    EXPECT_TRUE(ordered.insert(record));
  }
  set.print();
  EXPECT_EQ(linesOf("ZEB_Record_Set::print"),
            (Texts{"Record 1 of 3", "Record 2 of 3", "Record 3 of 3"}));
  ordered.print();
  EXPECT_EQ(linesOf("ZEB_Ordered_Record_Set::print").size(), 3U);
  ZEB_Ordered_Record_Set_Iterator next(ordered);
  EXPECT_EQ(next.getNext(), &a);
  EXPECT_EQ(next.getNext(), &b);
  EXPECT_EQ(next.getNext(), &c);
  EXPECT_EQ(next.getNext(), nullptr);
  EXPECT_EQ(set.entries(), 3U);
  set.clear();
  EXPECT_TRUE(set.isEmpty());
}

TEST_F(Record, TracesEachOperation) {
  const Tracing tracing;
  ZEB_Record record(ZEB_STIR_RECORD, 1);
  Bytes bytes(40);
  record.put(bytes.data());
  host().forget();
  record.get(bytes.data());
  EXPECT_EQ(ownTextsOf("zebcrcrd", "ZEB_Record::get"),
            Texts{"GET 40 bytes from 0x" + hex(bytes.data())});
  const ZEB_String id = record.getStringRecordId();
  EXPECT_EQ(ownTextsOf("zebcrcrd", "ZEB_Record::getStringRecordId"),
            Texts{std::string("Record ID ") + id.getcValue()});
  record.markDeleted();
  record.isChildOf(nullptr);
  expectTraced("zebcrcrd", {{"ZEB_Record::get", exitOf(bytes.data() + 40)},
                            {"ZEB_Record::markDeleted", "Exit"},
                            {"ZEB_Record::isChildOf", "Exit: 0x0"},
                            {"ZEB_Record::getStringRecordId", "Exit"}});
}

}  // namespace

}  // namespace record_test
