// SPDX-License-Identifier: Apache-2.0
// The inter-process lock of a record.
#include <cerrno>

#include "base/name_mutex.h"
#include "tests/support/ipc_objects.h"
#include "tests/unit/records/records_test.h"

namespace record_lock_test {

using namespace support;

namespace {

constexpr char kUnit[] = "zebcrcrd";

// The identifier of headerImage(6), byte by byte.
constexpr char kKeyFile[] = "/tmp/060000000B0000001600000021000000.zebmutx";

class RecordLock : public LibraryTest {
 protected:
  RecordLock() : image(headerImage(6).bytes()) { record.get(image.data()); }

  static unsigned long users(const char* keyFile = kKeyFile) {
    const auto queue = queueOf(keyFile);
    return queue ? queue->messages : 0;
  }
  static int value() {
    const auto semaphore = semaphoreOf(kKeyFile);
    return semaphore ? semaphore->value : -1;
  }

  Bytes image;
  ZEB_Record record{ZEB_STIR_RECORD, 0};
};

TEST_F(RecordLock, IsBuiltAtTheFirstUse) {
  EXPECT_EQ(-1, value());
  record.unlock();
  EXPECT_EQ(-1, value());
  record.lock();
  EXPECT_EQ(0, value());
  EXPECT_EQ(1U, users());
  record.unlock();
  EXPECT_EQ(1, value());
  record.cleanup();
  EXPECT_EQ(-1, value());
}

TEST_F(RecordLock, StaysForTheSameIdentifier) {
  record.lock();
  const int id = semaphoreOf(kKeyFile)->id;
  record.get(image.data());
  record.unlock();
  record.lock();
  record.unlock();
  EXPECT_EQ(id, semaphoreOf(kKeyFile)->id);
}

TEST_F(RecordLock, FollowsEachPartOfTheIdentifier) {
  const char* const others[] = {"/tmp/070000000B0000001600000021000000.zebmutx",
                                "/tmp/060000000C0000001600000021000000.zebmutx",
                                "/tmp/060000000B0000001700000021000000.zebmutx",
                                "/tmp/060000000B0000001600000022000000.zebmutx"};
  for (std::size_t part = 0; part < 4; ++part) {
    record.get(image.data());
    record.lock();
    record.unlock();
    EXPECT_EQ(1U, users());
    Bytes other = image;
    ++other[8 + 4 * part];
    record.get(other.data());
    record.lock();
    EXPECT_EQ(0U, users());
    EXPECT_EQ(1U, users(others[part]));
    record.unlock();
  }
}

TEST_F(RecordLock, ACopyHasOneOfItsOwn) {
  record.lock();
  ZEB_Record copy(record);
  EXPECT_EQ(1U, users());
  record.unlock();
  copy.lock();
  EXPECT_EQ(2U, users());
  EXPECT_EQ(0, value());
  copy.unlock();
  record.cleanup();
  EXPECT_EQ(1U, users());
}

TEST_F(RecordLock, AssignmentLeavesTheTargetItsOwn) {
  ZEB_Record other(ZEB_STIR_RECORD, 1);
  other.lock();
  other.unlock();
  record.lock();
  record.unlock();
  other = record;
  EXPECT_EQ(1U, users());
  other.lock();
  EXPECT_EQ(2U, users());
  other.unlock();
}

TEST_F(RecordLock, InitializingBuildsItAnew) {
  record.lock();
  record.unlock();
  const int id = semaphoreOf(kKeyFile)->id;
  EXPECT_EQ(0, record.initializeMutex());
  EXPECT_NE(id, semaphoreOf(kKeyFile)->id);
  EXPECT_EQ(1U, users());
  record.lock();
  EXPECT_EQ(1U, users());
  record.unlock();
}

TEST_F(RecordLock, OneThatCannotBeAllocatedIsCode6) {
  record.lock();
  record.unlock();
  host().forget();
  failAllocations(sizeof(ZEB_Name_Mutex));
  EXPECT_EQ(6, record.initializeMutex());
  EXPECT_EQ(Texts{message1(kUnit, "ZEB_Record::initializeMutex")}, messageLines());
  EXPECT_EQ(0U, users());
}

TEST_F(RecordLock, WithoutMemoryTheRecordIsUsedUnlocked) {
  failAllocations(sizeof(ZEB_Name_Mutex));
  host().forget();
  record.lock();
  record.unlock();
  EXPECT_EQ(Texts{"Error 6 building Mutex"}, textsOf(kUnit, "ZEB_Record::lock"));
  EXPECT_EQ(-1, value());
  succeedAgain();
  record.lock();
  EXPECT_EQ(0, value());
  record.unlock();
}

TEST_F(RecordLock, OneThatIsLostWhenBuiltAnewIsNotBuiltByTheNextLock) {
  record.lock();
  record.unlock();
  failAllocations(sizeof(ZEB_Name_Mutex));
  record.initializeMutex();
  succeedAgain();
  host().forget();
  record.lock();
  EXPECT_EQ(-1, value());
  EXPECT_EQ(Texts{}, textsOf(kUnit, "ZEB_Record::lock"));
  record.unlock();
  Bytes other = headerImage(5).bytes();
  record.get(other.data());
  record.get(image.data());
  record.lock();
  EXPECT_EQ(0, value());
  record.unlock();
}

TEST_F(RecordLock, OneThatIsNotOkIsCode9) {
  const std::string path = "/tmp/060000000B0000001600000021000000";
  failAllocations(2 * (path.size() + 1));
  host().forget();
  EXPECT_EQ(9, record.initializeMutex());
  EXPECT_EQ(Texts{message2("zebcmutx", "ZEB_Name_Mutex::ZEB_Name_Mutex", "open", ENOMEM)},
            messageLines());
  host().forget();
  record.lock();
  EXPECT_EQ(Texts{"Error 9 building Mutex"}, textsOf(kUnit, "ZEB_Record::lock"));
  record.unlock();
  EXPECT_EQ(-1, value());
}

TEST_F(RecordLock, AnIdentifierWithoutTextIsAMessage) {
  failAllocations(2 * 33);
  const ZEB_String text = record.getStringRecordId();
  EXPECT_FALSE(text.OK());
  EXPECT_EQ(Texts{message1(kUnit, "ZEB_Record::getStringRecordId")}, messageLines());
}

TEST_F(RecordLock, Traces) {
  {
    const Tracing on;
    record.lock();
    record.unlock();
    record.cleanup();
    expectTraced(kUnit, {{"ZEB_Record::lock", "Exit"},
                         {"ZEB_Record::unlock", "Exit"},
                         {"ZEB_Record::cleanup", "Exit"},
                         {"ZEB_Record::initializeMutex", "Exit: 0x0"}});
    EXPECT_EQ(Texts{"Record ID 060000000B0000001600000021000000"},
              ownTextsOf(kUnit, "ZEB_Record::getStringRecordId"));
    EXPECT_EQ(Texts{}, ownTextsOf(kUnit, "ZEB_Record::lock"));
  }
  failAllocations(sizeof(ZEB_Name_Mutex));
  const Tracing on;
  record.initializeMutex();
  EXPECT_EQ("Exit: 0x6", textsOf(kUnit, "ZEB_Record::initializeMutex").back());
}

}  // namespace

}  // namespace record_lock_test
