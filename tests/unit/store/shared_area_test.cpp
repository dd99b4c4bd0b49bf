// SPDX-License-Identifier: Apache-2.0
// A named block of records.
#include "store/shared_area.h"

#include <pthread.h>
#include <sys/sem.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <filesystem>
#include <thread>

#include "records/broker_record.h"
#include "records/event_information.h"
#include "records/execution_group_record.h"
#include "records/node_record.h"
#include "tests/support/ipc_objects.h"
#include "tests/support/leftovers.h"
#include "tests/support/processes.h"
#include "tests/unit/store/store_test.h"

namespace shared_area_test {

namespace fs = std::filesystem;
using namespace support;

namespace {

constexpr char kUnit[] = "zebcshar";
constexpr char kMutexPath[] = "/tmp/AREA.zebmutx";
constexpr std::uint32_t kStatistics = 168;

struct Area : ZEB_Shared_Area {
  explicit Area(ZEB_Shared_Memory* segment, const char* eyecatcher = "areaarea")
      : ZEB_Shared_Area(ZEB_String("AREA")) {
    setEyecatcher(eyecatcher);
    if (segment) init(segment);
  }
};

using Records = OwnedRecords<ZEB_Ordered_Record_Set>;

class SharedArea : public StoreTest {
 protected:
  Block block() const { return StoreTest::block("areaarea"); }
  std::vector<StoredRecord> records() const { return StoreTest::records("areaarea"); }
  int semaphore() const { return semaphoreOf(kMutexPath)->value; }
  void poke(std::size_t offset, std::uint32_t number) {
    std::memcpy(at(offset), &number, sizeof number);
  }
};

TEST_F(SharedArea, IsNamedBelowTheTemporaryDirectoryAndNotYetBound) {
  const Area area(nullptr);
  EXPECT_STREQ("/tmp/AREA", area.getAreaName());
  EXPECT_EQ(32768U, area.getSize());
  EXPECT_EQ(0, area.getType());
  EXPECT_EQ(nullptr, area.getAddress());
  EXPECT_TRUE(area.OK());
  EXPECT_FALSE(fs::exists(kMutexPath));
}

TEST_F(SharedArea, IsAsLargeAsTheSettingWithinItsBounds) {
  const std::pair<const char*, std::uint32_t> sizes[] = {{"ZEBMemorySize 100\n", 4096},
                                                         {"ZEBMemorySize 4097\n", 4097},
                                                         {"ZEBMemorySize -1\n", 2147483647}};
  for (const auto& [setting, size] : sizes) {
    configure(setting);
    EXPECT_EQ(size, Area(nullptr).getSize()) << setting;
  }
}

TEST_F(SharedArea, InitBindsItToItsBlockAndMakesItsMutex) {
  const Area area(segment.get());
  EXPECT_EQ(at(32), area.getAddress());
  EXPECT_EQ(32768U, block().size);
  EXPECT_EQ(32U, block().next);
  EXPECT_EQ(1, semaphore());
}

TEST_F(SharedArea, CleanupDeletesTheMutexAndLeavesTheBlock) {
  Area area(segment.get());
  ZEB_STIR record(1);
  area.put(&record);
  const Bytes before = bytes();
  area.cleanup();
  EXPECT_FALSE(fs::exists(kMutexPath));
  EXPECT_EQ(before, bytes());
  EXPECT_TRUE(area.OK());
}

TEST_F(SharedArea, ItsDestructorNeverTouchesTheBlock) {
  auto area = std::make_unique<Area>(segment.get());
  segment.reset();
  area.reset();
  EXPECT_FALSE(fs::exists(kMutexPath));
}

// --- put ---

TEST_F(SharedArea, PutRefusesNull) {
  EXPECT_EQ(3, Area(segment.get()).put(nullptr));
  EXPECT_EQ(3, Area(nullptr).put(nullptr));
}

TEST_F(SharedArea, NothingWorksOnAnAreaThatIsNotUsable) {
  ZEB_STIR record(1);
  Records read;
  Area notBound(nullptr);
  EXPECT_EQ(8, notBound.put(&record));
  EXPECT_EQ(8, notBound.get(&record));
  EXPECT_EQ(8, notBound.read(&read));
  notBound.copyTo(&record, 0);
  Area failed(segment.get());
  failed.ZEB_Memory_Manager::cleanup();
  EXPECT_EQ(8, failed.put(&record));
  EXPECT_EQ(8, failed.get(&record));
  EXPECT_EQ(8, failed.read(&read));
  EXPECT_EQ(32U, block().last);
  EXPECT_EQ(nullptr, record.getAddress());
  record.setAddress(at(64));
  EXPECT_EQ(8, failed.put(&record));
  EXPECT_EQ(Bytes(168, 0), bytesAt(at(64), 168));
}

TEST_F(SharedArea, PutAppendsOneBehindTheOther) {
  Area area(segment.get());
  ZEB_STIR first(1);
  const auto second = flowOfBytes(60);
  ZEB_STIR third(1);
  advanceClock(4);
  EXPECT_EQ(0, area.put(&first));
  EXPECT_EQ(0, area.put(second.get()));
  EXPECT_EQ(0, area.put(&third));
  EXPECT_EQ(at(64), first.getAddress());
  EXPECT_EQ(at(64 + 168), second->getAddress());
  EXPECT_EQ(at(64 + 168 + 60), third.getAddress());
  EXPECT_EQ(32U + 168 + 60 + 168, block().next);
  EXPECT_EQ(block().next, block().last);
  EXPECT_EQ(4U, block().milliseconds);
  const std::vector<StoredRecord> stored = records();
  ASSERT_EQ(3U, stored.size());
  EXPECT_EQ(idOf(first), stored[0].id());
  EXPECT_EQ(idOf(*second), stored[1].id());
  EXPECT_EQ(u"xxxx", stored[1].label());
  EXPECT_EQ(idOf(third), stored[2].id());
}

TEST_F(SharedArea, PuttingTheSameRecordAgainRewritesItInPlace) {
  Area area(segment.get());
  ZEB_STIR record(1);
  ZEB_STIR behind(1);
  area.put(&record);
  area.put(&behind);
  const Block before = block();
  advanceClock(10);
  record.updateStatistics({0, 0}, {0, 0}, 99);
  EXPECT_EQ(0, area.put(&record));
  ASSERT_EQ(2U, records().size());
  EXPECT_EQ(99, records()[0].sumSize());
  EXPECT_EQ(0, records()[1].sumSize());
  EXPECT_EQ(before.next, block().next);
  EXPECT_EQ(before.milliseconds, block().milliseconds);
}

TEST_F(SharedArea, OnlyAppendingTakesTheLock) {
  Area area(segment.get());
  ZEB_STIR record(1);
  Records read;
  const Tracing on;
  area.put(&record);
  EXPECT_EQ(1U, entriesOf("ZEB_Shared_Area::lock"));
  EXPECT_EQ(1U, entriesOf("ZEB_Shared_Area::unlock"));
  host().forget();
  area.put(&record);
  area.get(&record);
  area.read(&read);
  EXPECT_EQ(0U, entriesOf("ZEB_Shared_Area::lock"));
  EXPECT_EQ(0U, entriesOf("ZEB_Name_Mutex::get"));
}

TEST_F(SharedArea, AppendingHoldsTheLockFromReadingThePositionToSettingIt) {
  Area area(segment.get());
  ZEB_STIR record(1);
  std::vector<int> values;
  bool listening = true;
  host().script.log = [&](const LogEntry& entry) {
    if (!listening || entry.text != "Entry") return;
    listening = false;
    if (entry.function == "ZEB_Memory_Manager::getNextPosition" ||
        entry.function == "ZEB_Memory_Manager::setNextPosition")
      values.push_back(semaphore());
    listening = true;
  };
  const Tracing on;
  area.put(&record);
  EXPECT_EQ((std::vector<int>{0, 0}), values);
  listening = false;
  EXPECT_EQ(1, semaphore());
}

TEST_F(SharedArea, SeesWhatOthersAppended) {
  Area area(segment.get());
  Area other(segment.get());
  ZEB_STIR first(1);
  ZEB_STIR second(1);
  area.put(&first);
  other.put(&second);
  EXPECT_EQ(at(64 + kStatistics), second.getAddress());
  EXPECT_EQ(2U, records().size());
}

TEST_F(SharedArea, ARecordMayEndExactlyAtTheEnd) {
  beginWith("ZEBMemorySize 4096\n");
  Area area(segment.get());
  const auto filler = flowOfBytes(4000);
  const auto exact = flowOfBytes(64);
  EXPECT_EQ(0, area.put(filler.get()));
  EXPECT_EQ(0, area.put(exact.get()));
  EXPECT_EQ(4096U, block().next);
  EXPECT_EQ(0U, area.getAvailableBytes());
  EXPECT_EQ(0, area.put(exact.get()));
}

TEST_F(SharedArea, ARecordThatDoesNotFitOnlyStampsTheHeader) {
  beginWith("ZEBMemorySize 4096\n");
  Area area(segment.get());
  const auto filler = flowOfBytes(4000);
  const auto tooLarge = flowOfBytes(66);
  area.put(filler.get());
  const Bytes before = bytes();
  advanceClock(20);
  EXPECT_EQ(2, area.put(tooLarge.get()));
  EXPECT_EQ(nullptr, tooLarge->getAddress());
  EXPECT_EQ(4032U, block().next);
  EXPECT_EQ(4032U, block().last);
  EXPECT_EQ(20U, block().milliseconds);
  Bytes after = bytes();
  std::memcpy(after.data() + 32 + 24, before.data() + 32 + 24, 8);
  EXPECT_EQ(before, after);
  EXPECT_EQ(1, semaphore());
}

TEST_F(SharedArea, ARecordIsNotRewrittenOutsideTheBlock) {
  Area area(segment.get());
  ZEB_STIR record(1);
  area.put(&record);
  for (void* const outside :
       {at(32 + 32768 - kStatistics + 1), at(63), segment->getAddress(), at(32 + 32768)}) {
    record.setAddress(outside);
    const Bytes before = bytes();
    EXPECT_EQ(2, area.put(&record));
    EXPECT_EQ(before, bytes());
  }
}

// --- writeRecord ---

TEST_F(SharedArea, WriteRecordTellsTheEnd) {
  Area area(segment.get());
  ZEB_STIR record(1);
  void* end = nullptr;
  EXPECT_EQ(0, area.writeRecord(at(100), &record, &end));
  EXPECT_EQ(at(100 + kStatistics), end);
  EXPECT_EQ(at(100), record.getAddress());
  EXPECT_EQ(32U, block().next);
  void* const last = at(32 + 32768 - kStatistics);
  EXPECT_EQ(0, area.writeRecord(last, &record, &end));
  EXPECT_EQ(at(32 + 32768), end);
  void* const tooFar = static_cast<char*>(last) + 1;
  EXPECT_EQ(2, area.writeRecord(tooFar, &record, &end));
  EXPECT_EQ(tooFar, end);
  EXPECT_EQ(last, record.getAddress());
  EXPECT_EQ(3, area.writeRecord(at(100), nullptr, &end));
  EXPECT_EQ(at(100), end);
  EXPECT_EQ(0, area.writeRecord(at(100), &record));
}

TEST_F(SharedArea, WriteRecordReportsMissingMemory) {
  Area area(segment.get());
  const auto large = flowOfBytes(2000);
  failAllocations(2000);
  EXPECT_EQ(6, area.put(large.get()));
  EXPECT_EQ(Texts{message1(kUnit, "ZEB_Shared_Area::writeRecord")}, messageLines());
  succeedAgain();
  EXPECT_EQ(32U, block().next);
  EXPECT_EQ(1, semaphore());
}

// --- get ---

TEST_F(SharedArea, GetRefreshesTheRecord) {
  Area area(segment.get());
  ZEB_STIR record(1);
  EXPECT_EQ(3, area.get(nullptr));
  EXPECT_EQ(0, area.get(&record));
  EXPECT_EQ(nullptr, record.getAddress());
  area.put(&record);
  ZEB_STIR other(record);
  other.updateStatistics({0, 0}, {0, 0}, 42);
  area.put(&other);
  EXPECT_EQ(0, record.getSumSize());
  EXPECT_EQ(0, area.get(&record));
  EXPECT_EQ(42, record.getSumSize());
  EXPECT_EQ(at(64), record.getAddress());
}

TEST_F(SharedArea, GetTakesNothingThatIsNotTheRecord) {
  Area area(segment.get());
  ZEB_STIR record(1);
  area.put(&record);
  record.updateStatistics({0, 0}, {0, 0}, 7);
  for (const auto& [offset, number] :
       {std::pair<std::size_t, std::uint32_t>{0, 0x44524358}, {8, 8}, {8, 10}}) {
    const Bytes before = bytes();
    poke(64 + offset, number);
    EXPECT_EQ(1, area.get(&record)) << offset;
    EXPECT_EQ(7, record.getSumSize());
    std::memcpy(at(64), before.data() + 64, 40);
  }
  EXPECT_EQ(0, area.get(&record));
  EXPECT_EQ(0, record.getSumSize());
  record.setAddress(at(32 + 32768 - kStatistics + 1));
  EXPECT_EQ(1, area.get(&record));
  const auto flow = flowOfBytes(60);
  area.put(flow.get());
  poke(64 + kStatistics + 46, 3);
  EXPECT_EQ(1, area.get(flow.get()));
}

TEST_F(SharedArea, GetReportsMissingMemory) {
  Area area(segment.get());
  const auto large = flowOfBytes(2000);
  area.put(large.get());
  failAllocations(2000);
  EXPECT_EQ(6, area.get(large.get()));
  EXPECT_EQ(Texts{message1(kUnit, "ZEB_Shared_Area::get")}, messageLines());
}

// --- read ---

TEST_F(SharedArea, ReadRebuildsEveryRecordByItsClass) {
  Area area(segment.get());
  const ZEB_String text("L");
  const ZEB_Resource_ID id(&text, &text);
  std::vector<std::unique_ptr<ZEB_Record>> written;
  written.push_back(std::make_unique<ZEB_REIR>(ZEB_REIR_RECORD, &id));
  written.push_back(std::make_unique<ZEB_BRIR>(&id));
  written.push_back(std::make_unique<ZEB_EGIR>(&id));
  written.push_back(std::make_unique<ZEB_MFIR>(&id));
  written.push_back(std::make_unique<ZEB_NOIR>(&id));
  written.push_back(std::make_unique<ZEB_STIR>(1));
  auto kind = templateOf("text");
  auto event = eventOf(*kind);
  written.push_back(std::make_unique<ZEB_EVIR>(kind.get(), event.get()));
  written.push_back(std::move(kind));
  written.push_back(std::move(event));
  for (const auto& record : written) EXPECT_EQ(0, area.put(record.get()));
  Records read;
  EXPECT_EQ(0, area.read(&read));
  ASSERT_EQ(written.size(), read.entries());
  ZEB_Ordered_Record_Set_Iterator next(read);
  for (const auto& record : written) {
    const ZEB_Record* const copy = next.getNext();
    const ZEB_Record& original = *record;
    EXPECT_TRUE(typeid(*copy) == typeid(original)) << record->type();
    EXPECT_EQ(idOf(*record), idOf(*copy));
    EXPECT_EQ(record->getAddress(), copy->getAddress());
    EXPECT_EQ(record->size(), copy->size());
  }
}

TEST_F(SharedArea, ReadGivesOnlyWhatIsNewer) {
  Area area(segment.get());
  setClock(kNow, 500);
  ZEB_STIR old(1);
  setClock(kNow, 501);
  ZEB_STIR young(1);
  area.put(&old);
  area.put(&young);
  const auto newerThan = [&area](_TimeStamp stamp) {
    Records read;
    EXPECT_EQ(0, area.read(&read, stamp));
    return read.entries();
  };
  EXPECT_EQ(2U, newerThan({0, 0}));
  EXPECT_EQ(2U, newerThan({kNow, 499}));
  EXPECT_EQ(1U, newerThan({kNow, 500}));
  EXPECT_EQ(0U, newerThan({kNow, 501}));
  EXPECT_EQ(0U, newerThan({kNow + 1, 0}));
}

TEST_F(SharedArea, ReadNeedsASet) {
  EXPECT_EQ(3, Area(segment.get()).read(nullptr));
  EXPECT_EQ(3, Area(nullptr).read(nullptr, {1, 1}));
}

TEST_F(SharedArea, AnEmptyAreaReadsAsNothing) {
  Records read;
  EXPECT_EQ(0, Area(segment.get()).read(&read));
  EXPECT_TRUE(read.isEmpty());
}

TEST_F(SharedArea, ReadGoesUpToTheLastPositionAndNotTheNext) {
  Area area(segment.get());
  ZEB_STIR first(1);
  ZEB_STIR second(1);
  area.put(&first);
  area.put(&second);
  area.setNextPosition(area.getFirstPosition());
  Records read;
  EXPECT_EQ(0, area.read(&read));
  EXPECT_EQ(2U, read.entries());
  poke(32 + 20, 32 + kStatistics);
  Records fewer;
  EXPECT_EQ(0, area.read(&fewer));
  EXPECT_EQ(1U, fewer.entries());
}

TEST_F(SharedArea, ReadEndsAtTheFirstThatIsNoRecord) {
  struct Damage {
    const char* what;
    std::size_t at;
    std::uint32_t number;
  };
  const Damage damages[] = {{"eyecatcher", 0, 0x44524358},
                            {"type 0", 8, 0},
                            {"type 10", 8, 10},
                            {"type -1", 8, 0xFFFFFFFFU}};
  for (const Damage& damage : damages) {
    begin();
    Area area(segment.get());
    ZEB_STIR first(1);
    ZEB_STIR second(1);
    ZEB_STIR third(1);
    area.put(&first);
    area.put(&second);
    area.put(&third);
    poke(64 + kStatistics + damage.at, damage.number);
    Records read;
    EXPECT_EQ(1, area.read(&read)) << damage.what;
    EXPECT_EQ(1U, read.entries()) << damage.what;
  }
}

TEST_F(SharedArea, ReadNeverLeavesTheBlock) {
  Area area(segment.get());
  Area next(segment.get(), "nextarea");
  ZEB_STIR record(1);
  ZEB_STIR foreign(1);
  next.put(&foreign);
  area.put(&record);
  for (const std::uint32_t last : {1U << 30, 0x80000020U, 0xFFFFFFFFU, 32769U}) {
    poke(32 + 20, last);
    Records read;
    EXPECT_EQ(1, area.read(&read)) << last;
    EXPECT_EQ(1U, read.entries()) << last;
  }
  poke(32 + 20, 32 + kStatistics - 1);
  Records cut;
  EXPECT_EQ(1, area.read(&cut));
  EXPECT_TRUE(cut.isEmpty());
  poke(32 + 20, 31);
  Records none;
  EXPECT_EQ(0, area.read(&none));
  EXPECT_TRUE(none.isEmpty());
}

TEST_F(SharedArea, ASizeThatChangesAfterTheBindingIsNotBelieved) {
  Area area(segment.get());
  Area next(segment.get(), "nextarea");
  for (const std::uint32_t size : {33U, 65536U, 0xFFFFFFFFU}) {
    ZEB_STIR record(1);
    poke(32 + 12, size);
    area.getHeader();
    EXPECT_EQ(32768U, area.getSize()) << size;
    EXPECT_EQ(0, area.put(&record)) << size;
    EXPECT_EQ(32768U, block().size);
  }
}

TEST_F(SharedArea, ABlockSmallerThanAnyAreaIsNotUsed) {
  for (const auto& [size, usable] : {std::pair<std::uint32_t, bool>{4095, false}, {4096, true}}) {
    segment.reset();
    begin();
    ZEB_Memory_Manager damaged;
    damaged.setEyecatcher("areaarea");
    damaged.setSize(size);
    segment->allocate(&damaged);
    Area area(segment.get());
    EXPECT_EQ(usable, area.usable());
    EXPECT_EQ(usable, area.getAddress() != nullptr);
    ZEB_STIR record(1);
    EXPECT_EQ(usable ? 0 : 8, area.put(&record));
  }
}

TEST_F(SharedArea, AStringThatEndsBehindTheAreaEndsTheWalk) {
  Area area(segment.get());
  const auto flow = flowOfBytes(60);
  area.put(flow.get());
  for (const std::uint32_t count : {5U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
    poke(64 + 46, count);
    Records read;
    EXPECT_EQ(1, area.read(&read)) << count;
    EXPECT_TRUE(read.isEmpty());
  }
}

TEST_F(SharedArea, ReadReportsMissingMemory) {
  Area area(segment.get());
  ZEB_STIR first(1);
  ZEB_STIR second(1);
  area.put(&first);
  area.put(&second);
  failAllocations(sizeof(ZEB_STIR), 1);
  Records read;
  EXPECT_EQ(6, area.read(&read));
  EXPECT_EQ(1U, read.entries());
  EXPECT_EQ(Texts{message1(kUnit, "ZEB_Shared_Area::read")}, messageLines());
  succeedAgain();
  host().forget();
  const auto large = flowOfBytes(1000);
  area.put(large.get());
  failAllocations(2 * kStatistics + 1000);
  Records none;
  EXPECT_EQ(6, area.read(&none));
  EXPECT_EQ(1U, messageLines().size());
}

// --- copyTo ---

TEST_F(SharedArea, CopyToCopiesTheWholeBlockWhateverTheLength) {
  Area area(segment.get());
  ZEB_STIR record(1);
  area.put(&record);
  Bytes copy(32768 + 1, 0xCC);
  {
    const Tracing on;
    area.copyTo(copy.data(), 5);
  }
  EXPECT_EQ(Texts{"memcpy 0x" + hex(copy.data()) + " 0x" + hex(at(32)) + " 32768"},
            ownTextsOf(kUnit, "ZEB_Shared_Area::copyTo"));
  EXPECT_EQ(1U, entriesOf("ZEB_Shared_Area::lock"));
  EXPECT_EQ(1U, entriesOf("ZEB_Shared_Area::unlock"));
  EXPECT_EQ(slice(bytes(), 32, 32768), slice(copy, 0, 32768));
  EXPECT_EQ(0xCC, copy[32768]);
  area.copyTo(nullptr, 5);
}

// --- lock ---

TEST_F(SharedArea, AThreadMayTakeTheLockAgain) {
  Area area(segment.get());
  area.lock();
  EXPECT_EQ(0, semaphore());
  area.lock();
  area.lock();
  area.unlock();
  area.unlock();
  EXPECT_EQ(0, semaphore());
  area.unlock();
  EXPECT_EQ(1, semaphore());
  area.lock();
  EXPECT_EQ(0, semaphore());
  area.unlock();
  EXPECT_EQ(1, semaphore());
}

TEST_F(SharedArea, AnotherThreadWaits) {
  Area area(segment.get());
  area.lock();
  bool released = false;
  bool seen = false;
  std::atomic<pid_t> id = 0;
  std::thread other([&] {
    id = gettid();
    area.lock();
    seen = released;
    area.unlock();
  });
  while (id == 0) std::this_thread::yield();
  awaitSleeping(id);
  released = true;
  area.unlock();
  other.join();
  EXPECT_TRUE(seen);
  EXPECT_EQ(1, semaphore());
}

TEST_F(SharedArea, UnlockDoesNotAskWhoCalls) {
  Area area(segment.get());
  area.lock();
  std::thread([&area] { area.unlock(); }).join();
  EXPECT_EQ(1, semaphore());
  area.lock();
  EXPECT_EQ(0, semaphore());
  area.unlock();
}

TEST_F(SharedArea, WithoutAMutexTheThreadsOfTheProcessExcludeEachOther) {
  failAllocations(sizeof(ZEB_Name_Mutex));
  Area area(segment.get());
  succeedAgain();
  EXPECT_EQ(Texts{message1(kUnit, "ZEB_Shared_Area::init")}, messageLines());
  EXPECT_FALSE(fs::exists(kMutexPath));
  long sum = 0;
  const auto add = [&] {
    for (int i = 0; i < 20000; ++i) {
      area.lock();
      area.lock();
      const long before = sum;
      if (i % 64 == 0) std::this_thread::yield();
      sum = before + 1;
      area.unlock();
      area.unlock();
    }
  };
  std::thread other(add);
  add();
  other.join();
  EXPECT_EQ(40000, sum);
}

TEST_F(SharedArea, AMutexThatIsNotOkIsNotUsed) {
  const ZEB_String name("missing/AREA");
  ZEB_Shared_Area area(name);
  area.setEyecatcher("areaarea");
  area.init(segment.get());
  host().forget();
  const Tracing on;
  area.lock();
  area.unlock();
  EXPECT_EQ(0U, entriesOf("ZEB_Name_Mutex::get"));
  EXPECT_EQ(0U, entriesOf("ZEB_Name_Mutex::release"));
}

TEST_F(SharedArea, ReloadingTheHeaderLosesNoAppend) {
  beginWith("ZEBMemorySize 600000\n");
  Area area(segment.get());
  std::atomic<bool> appending = true;
  std::thread reader([&] {
    while (appending) area.getLastUpdate();
  });
  for (int i = 0; i < 3000; ++i) {
    ZEB_STIR record(1);
    EXPECT_EQ(0, area.put(&record));
  }
  appending = false;
  reader.join();
  EXPECT_EQ(32U + 3000 * kStatistics, block().next);
  EXPECT_EQ(3000U, records().size());
}

TEST_F(SharedArea, KnowsTheCallingThread) {
  EXPECT_EQ(pthread_self(), ZEB_Shared_Area::getThreadId());
}

// --- several processes ---

constexpr int kAppends = 150;

int appendMany(Steps& parent, const std::vector<std::string>&) {
  useOwnConfiguration();
  const ZEB_String uuid("UUID1");
  ZEB_Shared_Memory segment(&uuid);
  segment.init();
  Area area(&segment);
  parent.tell("ready");
  parent.hear();
  int failures = 0;
  for (int i = 0; i < kAppends; ++i) {
    const auto record = flowOfBytes(52 + 2 * static_cast<std::size_t>(i % 7));
    if (area.put(record.get()) != ZEB_SUCCESS) ++failures;
  }
  return failures;
}

const Role kAppender("appender", appendMany);

TEST_F(SharedArea, ProcessesNeverInterleaveTheirRecords) {
  beginWith("ZEBMemorySize 100000\n");
  const Area area(segment.get());
  Child first("appender");
  Child second("appender");
  Child third("appender");
  for (Child* child : {&first, &second, &third}) EXPECT_EQ("ready", child->hear());
  for (Child* child : {&first, &second, &third}) child->tell("go");
  for (Child* child : {&first, &second, &third}) EXPECT_EQ(0, child->wait());
  const std::vector<StoredRecord> stored = records();
  EXPECT_EQ(3U * kAppends, stored.size());
  EXPECT_EQ(block().next, block().last);
  std::size_t units = 0;
  for (const StoredRecord& record : stored) units += record.label().size();
  EXPECT_EQ(32 + stored.size() * 52 + 2 * units, block().next);
}

// --- trace ---

TEST_F(SharedArea, EveryOperationTraces) {
  Bytes copy(32768);
  ZEB_STIR record(1);
  Records read;
  const Tracing on;
  const char* areaName = nullptr;
  {
    Area area(segment.get());
    area.put(&record);
    area.get(&record);
    area.read(&read);
    area.copyTo(copy.data(), 0);
    area.getType();
    areaName = area.getAreaName();
    expectTraced(kUnit, {{"ZEB_Shared_Area::getAreaName", exitOf(areaName)}});
    ZEB_Shared_Area::getThreadId();
    area.dump();
  }
  expectTraced(kUnit, {{"ZEB_Shared_Area::ZEB_Shared_Area", "Exit"},
                       {"ZEB_Shared_Area::init", "Exit"},
                       {"ZEB_Shared_Area::put", "Exit: 0x0"},
                       {"ZEB_Shared_Area::writeRecord", "Exit: 0x0"},
                       {"ZEB_Shared_Area::get", "Exit: 0x0"},
                       {"ZEB_Shared_Area::read", "Exit: 0x0"},
                       {"ZEB_Shared_Area::copyTo", "Exit"},
                       {"ZEB_Shared_Area::getType", "Exit: 0x0"},
                       {"ZEB_Shared_Area::getThreadId", exitOf(pthread_self())},
                       {"ZEB_Shared_Area::lock", "Exit"},
                       {"ZEB_Shared_Area::unlock", "Exit"},
                       {"ZEB_Shared_Area::dump", "Exit"},
                       {"ZEB_Shared_Area::cleanup", "Exit"},
                       {"ZEB_Shared_Area::~ZEB_Shared_Area", "Exit"}});
}

TEST_F(SharedArea, TracesBindingAndWriting) {
  ZEB_STIR record(1);
  const Tracing on;
  Area area(segment.get());
  area.put(&record);
  EXPECT_EQ((Texts{"Initializing shared area /tmp/AREA",
                   "Shared area /tmp/AREA mapped. ADDRESS = 0x" + hex(at(32))}),
            ownTextsOf(kUnit, "ZEB_Shared_Area::init"));
  EXPECT_EQ(Texts{"Inserting record in shared area /tmp/AREA"},
            ownTextsOf(kUnit, "ZEB_Shared_Area::put"));
  EXPECT_EQ(Texts{"Writing a record in position 0x" + hex(at(64)) + " of shared area /tmp/AREA"},
            ownTextsOf(kUnit, "ZEB_Shared_Area::writeRecord"));
}

TEST_F(SharedArea, DumpsItselfWhileTracing) {
  Area area(segment.get());
  host().forget();
  area.dump();
  EXPECT_TRUE(host().log().empty());
  const Tracing on;
  area.dump();
  EXPECT_EQ(
      (Texts{"Entry", "Area : /tmp/AREA", "address = 0x" + hex(at(32)) + ", size = 32768", "Exit"}),
      textsOf(kUnit, "ZEB_Shared_Area::dump"));
  EXPECT_EQ(32768U / 8, linesOf("ZEB_DumpMemory").size());
}

}  // namespace

}  // namespace shared_area_test
