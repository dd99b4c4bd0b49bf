// SPDX-License-Identifier: Apache-2.0
// The segment of one broker.
#include "store/shared_memory.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/shm.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <memory>

#include "base/name_mutex.h"
#include "tests/support/failing.h"
#include "tests/support/ipc_objects.h"
#include "tests/support/leftovers.h"
#include "tests/support/library_test.h"
#include "tests/support/processes.h"

namespace shared_memory_test {

namespace fs = std::filesystem;
using namespace support;

namespace {

constexpr char kUnit[] = "zebcshme";
constexpr char kPath[] = "/tmp/UUID1.zebcshme";
constexpr char kMutexPath[] = "/tmp/UUID1.zebcshme.zebmutx";
constexpr char kInit[] = "ZEB_Shared_Memory::init";
constexpr char kCleanup[] = "ZEB_Shared_Memory::cleanup";
constexpr std::uint32_t kSize = 98336;

std::string attachMutexPath() {
  return "/tmp/zeb_attach_" + std::to_string(getpid()) + ".zebmutx";
}

std::unique_ptr<ZEB_Shared_Memory> makeSegment(const char* uuid = "UUID1") {
  const ZEB_String name(uuid);
  auto segment = std::make_unique<ZEB_Shared_Memory>(&name);
  segment->init();
  return segment;
}

// A block as an area describes itself.
struct Area : ZEB_Memory_Manager {
  Area(const char* eyecatcher, std::uint32_t size) {
    setEyecatcher(eyecatcher);
    setSize(size);
  }
};

Bytes storedSegment() {
  const auto segment = segmentOf(kPath);
  return segment ? bytesOf(*segment) : Bytes{};
}

std::size_t offsetIn(const ZEB_Shared_Memory& segment, const void* p) {
  return static_cast<std::size_t>(static_cast<const char*>(p) -
                                  static_cast<const char*>(segment.getAddress()));
}

void poke(const ZEB_Shared_Memory& segment, std::size_t at, std::uint32_t number) {
  std::memcpy(static_cast<char*>(segment.getAddress()) + at, &number, sizeof number);
}

using SharedMemory = LibraryTest;

TEST_F(SharedMemory, TheConstructorMakesNothingButTheAttachMutex) {
  const ZEB_String uuid("UUID1");
  const ZEB_Shared_Memory segment(&uuid);
  EXPECT_TRUE(segment.OK());
  EXPECT_EQ(nullptr, segment.getAddress());
  EXPECT_FALSE(fs::exists(kPath));
  EXPECT_FALSE(fs::exists(kMutexPath));
  EXPECT_EQ(1U, segments().size());
  EXPECT_TRUE(semaphoreOf(attachMutexPath()));
}

TEST_F(SharedMemory, IsNamedByTheIdentifier) {
  ZEB_String uuid("UUID1");
  const ZEB_Shared_Memory segment(&uuid);
  uuid = "another";
  EXPECT_STREQ(kPath, segment.getSegmentName());
  EXPECT_TRUE(segment.getUuid() == "UUID1");
  EXPECT_EQ("zebcshme", std::string(segment.getEyecatcher(), 8));
  const ZEB_Shared_Memory nameless(nullptr);
  EXPECT_STREQ("/tmp/.zebcshme", nameless.getSegmentName());
  EXPECT_TRUE(nameless.getUuid() == "");
}

TEST_F(SharedMemory, IsThreeAreasAndAHeaderLarge) {
  const std::pair<const char*, std::uint32_t> sizes[] = {
      {"", kSize},
      {"ZEBMemorySize 100\n", 12320},
      {"ZEBMemorySize 4096\n", 12320},
      {"ZEBMemorySize 4097\n", 12323},
      {"ZEBMemorySize 0\n", 12320},
      {"ZEBMemorySize -1\n", 2147483677},
      {"ZEBMemorySize 1431655754\n", 4294967294},
      {"ZEBMemorySize 1431655755\n", 1},
      {"ZEBMemorySize 2147483646\n", 2147483674},
      {"ZEBMemorySize 2147483647\n", 2147483677},
      {"ZEBMemorySize 2147483648\n", 2147483677}};
  const ZEB_String uuid("UUID1");
  for (const auto& [setting, size] : sizes) {
    configure(setting);
    EXPECT_EQ(size, ZEB_Shared_Memory(&uuid).getSize()) << setting;
  }
}

TEST_F(SharedMemory, TheFirstCreatesTheSegment) {
  const mode_t mask = umask(0);
  setClock(kNow + 7, 89);
  const auto segment = makeSegment();
  umask(mask);
  ASSERT_TRUE(segment->OK());
  const auto system = segmentOf(kPath);
  ASSERT_TRUE(system);
  EXPECT_EQ(kSize, system->size);
  EXPECT_EQ(0660U, system->mode & 0777);
  EXPECT_EQ(1U, system->attached);
  EXPECT_EQ(0660U, fs::status(kPath).permissions() == fs::perms(0660) ? 0660U : 0U);
  EXPECT_EQ(0U, fs::file_size(kPath));
  const Bytes bytes = storedSegment();
  const Block header = blockAt(bytes, 0);
  EXPECT_EQ("zebcshme", header.eyecatcher);
  EXPECT_EQ(1, header.mark);
  EXPECT_EQ(kSize, header.size);
  EXPECT_EQ(32U, header.next);
  EXPECT_EQ(32U, header.last);
  EXPECT_EQ(kNow + 7, header.seconds);
  EXPECT_EQ(89U, header.milliseconds);
  EXPECT_EQ(Bytes(kSize - 32, 0), slice(bytes, 32, kSize - 32));
}

TEST_F(SharedMemory, TheSegmentMutexIsFreeAfterwards) {
  const auto segment = makeSegment();
  EXPECT_EQ(1, semaphoreOf(kMutexPath)->value);
  Area area("areaarea", 64);
  segment->allocate(&area);
  EXPECT_EQ(1, semaphoreOf(kMutexPath)->value);
  EXPECT_EQ(1, semaphoreOf(attachMutexPath())->value);
}

TEST_F(SharedMemory, TheSecondOfAProcessSharesTheAttachment) {
  const auto first = makeSegment();
  const auto second = makeSegment();
  ASSERT_TRUE(second->OK());
  EXPECT_EQ(first->getAddress(), second->getAddress());
  EXPECT_EQ(1U, segmentOf(kPath)->attached);
  first->cleanup();
  EXPECT_EQ(1U, segmentOf(kPath)->attached);
  second->cleanup();
  EXPECT_FALSE(fs::exists(kPath));
}

TEST_F(SharedMemory, TheSecondFindsWhatTheFirstWrote) {
  const auto first = makeSegment();
  Area area("areaarea", 64);
  first->allocate(&area);
  const Bytes before = storedSegment();
  advanceClock(1000);
  const auto second = makeSegment();
  EXPECT_EQ(before, storedSegment());
  Area again("areaarea", 64);
  EXPECT_EQ(area.getAddress(), second->allocate(&again));
  EXPECT_EQ(before, storedSegment());
}

TEST_F(SharedMemory, AJoinerTakesTheStoredSize) {
  const auto first = makeSegment();
  configure("ZEBMemorySize 100\n");
  const auto second = makeSegment();
  ASSERT_TRUE(second->OK());
  EXPECT_EQ(kSize, second->getSize());
}

TEST_F(SharedMemory, AJoinedSegmentWithoutHeaderIsInitialised) {
  close(open(kPath, O_CREAT | O_RDONLY, 0660));
  shmget(ftok(kPath, 1), kSize, IPC_CREAT | 0660);
  const auto segment = makeSegment();
  ASSERT_TRUE(segment->OK());
  const Block header = blockAt(storedSegment(), 0);
  EXPECT_EQ("zebcshme", header.eyecatcher);
  EXPECT_EQ(32U, header.next);
}

TEST_F(SharedMemory, AJoinedSegmentWithAHeaderIsNot) {
  close(open(kPath, O_CREAT | O_RDONLY, 0660));
  const int id = shmget(ftok(kPath, 1), kSize, IPC_CREAT | 0660);
  auto* const bytes = static_cast<char*>(shmat(id, nullptr, 0));
  for (const std::size_t field : {std::size_t{0}, std::size_t{12}}) {
    std::memset(bytes, 0, 32);
    bytes[field] = 7;
    const auto segment = makeSegment();
    EXPECT_EQ(0U, blockAt(storedSegment(), 0).next) << field;
    EXPECT_EQ(field == 0 ? 0U : 7U, segment->getSize());
  }
  shmdt(bytes);
  shmctl(id, IPC_RMID, nullptr);
  fs::remove(kPath);
}

TEST_F(SharedMemory, TheLastRemovesSegmentFilesAndMutexes) {
  const auto segment = makeSegment();
  segment->cleanup();
  EXPECT_EQ(301, segment->getStatus());
  EXPECT_FALSE(segment->OK());
  EXPECT_EQ(nullptr, segment->getAddress());
  EXPECT_EQ(1U, segments().size());
  EXPECT_EQ(1U, semaphoreSets().size());
  EXPECT_EQ(1U, messageQueues().size());
  for (const std::string& file : {std::string(kPath), std::string(kMutexPath), attachMutexPath()})
    EXPECT_FALSE(fs::exists(file)) << file;
  EXPECT_TRUE(messageLines().empty());
}

TEST_F(SharedMemory, TheDestructorCleansUp) {
  makeSegment().reset();
  EXPECT_EQ(1U, segments().size());
  for (const std::string& file : {std::string(kPath), std::string(kMutexPath), attachMutexPath()})
    EXPECT_FALSE(fs::exists(file)) << file;
}

TEST_F(SharedMemory, WhileOthersAreAttachedNothingIsRemoved) {
  const auto segment = makeSegment();
  const auto system = segmentOf(kPath);
  void* const agent = shmat(system->id, nullptr, SHM_RDONLY);
  segment->cleanup();
  EXPECT_TRUE(fs::exists(kPath));
  ASSERT_TRUE(segmentOf(kPath));
  EXPECT_EQ(1U, segmentOf(kPath)->attached);
  EXPECT_FALSE(fs::exists(kMutexPath));
  EXPECT_TRUE(messageLines().empty());
  shmdt(agent);
  makeSegment().reset();
  EXPECT_FALSE(fs::exists(kPath));
}

TEST_F(SharedMemory, AfterTheLastTheNextBeginsAnew) {
  auto segment = makeSegment();
  Area area("areaarea", 64);
  segment->allocate(&area);
  segment.reset();
  segment = makeSegment();
  EXPECT_TRUE(blocksOf(storedSegment()).empty());
}

// --- failures ---

TEST_F(SharedMemory, IsNotOkWithoutASegmentMutex) {
  const ZEB_String uuid("missing/UUID1");
  ZEB_Shared_Memory segment(&uuid);
  const Tracing on;
  segment.init();
  EXPECT_EQ(301, segment.getStatus());
  EXPECT_EQ((Texts{"Initializing shared memory segment", "Mutex NOT OK"}),
            ownTextsOf(kUnit, kInit));
  EXPECT_EQ(nullptr, segment.getAddress());
}

TEST_F(SharedMemory, IsNotOkWithoutMemoryForTheMutex) {
  const ZEB_String uuid("UUID1");
  ZEB_Shared_Memory segment(&uuid);
  const Tracing on;
  failAllocations(sizeof(ZEB_Name_Mutex));
  segment.init();
  EXPECT_EQ(301, segment.getStatus());
  EXPECT_EQ((Texts{"Initializing shared memory segment", "Can't create Mutex"}),
            ownTextsOf(kUnit, kInit));
  EXPECT_EQ(Texts{message1(kUnit, kInit)}, messageLines());
  std::vector<int> numbers;
  for (const LogEntry& entry : host().log())
    if (entry.function == kInit) numbers.push_back(entry.number);
  EXPECT_EQ((std::vector<int>{0, 0, 0, 1, 0}), numbers);  // behind both texts
}

TEST_F(SharedMemory, WorksWithoutAnAttachMutex) {
  failAllocations(sizeof(ZEB_Name_Mutex));
  const ZEB_String uuid("UUID1");
  ZEB_Shared_Memory segment(&uuid);
  succeedAgain();
  EXPECT_EQ(Texts{message1("zebcshme", "ZEB_Shared_Memory::ZEB_Shared_Memory")}, messageLines());
  segment.init();
  EXPECT_TRUE(segment.OK());
  EXPECT_EQ(1U, segmentOf(kPath)->attached);
}

TEST_F(SharedMemory, ReportsAKeyThatCannotBeMade) {
  failCalls("ftok", EACCES, {.suffix = "zebcshme"});
  const Tracing on;
  const auto segment = makeSegment();
  EXPECT_EQ(301, segment->getStatus());
  EXPECT_EQ(Texts{message2(kUnit, kInit, "ftok", EACCES)}, messageLines());
  EXPECT_EQ(
      (Texts{"Initializing shared memory segment", "Mutex OK",
             std::string("ftok = FFFFFFFF ") + kPath, std::string("ftok = FFFFFFFF ") + kPath}),
      ownTextsOf(kUnit, kInit));
  EXPECT_EQ(nullptr, segment->getAddress());
  succeedAgain();
  EXPECT_EQ(1, semaphoreOf(kMutexPath)->value);
  fs::remove(kPath);
}

TEST_F(SharedMemory, ASecondBeginningThatFailsHasNoAddress) {
  const auto segment = makeSegment();
  void* const address = segment->getAddress();
  failCalls("ftok", EACCES, {.suffix = "zebcshme"});
  segment->init();
  EXPECT_EQ(301, segment->getStatus());
  EXPECT_EQ(nullptr, segment->getAddress());
  succeedAgain();
  segment->zeb_dettach(address);
  leavesThingsBehind();
}

TEST_F(SharedMemory, OnlyTracesACreationThatFailed) {
  failCalls("shmget", ENOSPC);
  const Tracing on;
  const auto segment = makeSegment();
  EXPECT_EQ(301, segment->getStatus());
  EXPECT_TRUE(messageLines().empty());
  EXPECT_EQ("shmget failed. ID -1 Error " + std::to_string(ENOSPC),
            ownTextsOf(kUnit, kInit).back());
  EXPECT_EQ(1, semaphoreOf(kMutexPath)->value);
  fs::remove(kPath);
}

TEST_F(SharedMemory, ReportsAJoiningThatFailed) {
  close(open(kPath, O_CREAT | O_RDONLY, 0660));
  const int id = shmget(ftok(kPath, 1), 100, IPC_CREAT | 0660);
  const Tracing on;
  const auto segment = makeSegment();
  EXPECT_EQ(301, segment->getStatus());
  EXPECT_EQ(Texts{message2(kUnit, kInit, "shmget", EINVAL)}, messageLines());
  EXPECT_EQ("shmget failed. ID -1 Error " + std::to_string(EINVAL),
            ownTextsOf(kUnit, kInit).back());
  shmctl(id, IPC_RMID, nullptr);
  fs::remove(kPath);
}

TEST_F(SharedMemory, ReportsAnAttachmentThatFailed) {
  failCalls("shmat", ENOMEM);
  const auto segment = makeSegment();
  EXPECT_EQ(301, segment->getStatus());
  EXPECT_EQ(Texts{message2(kUnit, kInit, "zeb_attach", ENOMEM)}, messageLines());
  EXPECT_EQ(nullptr, segment->getAddress());
  succeedAgain();
  EXPECT_EQ(1, semaphoreOf(kMutexPath)->value);
  shmctl(segmentOf(kPath)->id, IPC_RMID, nullptr);
  fs::remove(kPath);
}

TEST_F(SharedMemory, ReportsADetachmentThatFailed) {
  const auto segment = makeSegment();
  void* const address = segment->getAddress();
  failCalls("shmdt", EINVAL);
  segment->cleanup();
  succeedAgain();
  shmdt(address);
  EXPECT_EQ(Texts{message2(kUnit, kCleanup, "zeb_dettach", EINVAL)}, messageLines());
  EXPECT_EQ(301, segment->getStatus());
  EXPECT_EQ(nullptr, segment->getAddress());
  leavesThingsBehind();
}

TEST_F(SharedMemory, ReportsAStateThatCannotBeRead) {
  const auto segment = makeSegment();
  failCalls("shmctl IPC_STAT", EACCES);
  segment->cleanup();
  EXPECT_EQ(Texts{message2(kUnit, kCleanup, "shmctl IPC_STAT", EACCES)}, messageLines());
  EXPECT_TRUE(fs::exists(kPath));
  EXPECT_EQ(0U, segmentOf(kPath)->attached);
  leavesThingsBehind();
}

TEST_F(SharedMemory, ReportsARemovalThatFailedAndDeletesTheFile) {
  const auto segment = makeSegment();
  failCalls("shmctl IPC_RMID", EPERM);
  segment->cleanup();
  EXPECT_EQ(Texts{message2(kUnit, kCleanup, "shmgctl IPC_RMID", EPERM)}, messageLines());
  EXPECT_FALSE(fs::exists(kPath));
  leavesThingsBehind();
}

TEST_F(SharedMemory, ReportsAFileThatCannotBeDeleted) {
  const auto segment = makeSegment();
  failCalls("unlink", EROFS, {.suffix = ".zebcshme"});
  segment->cleanup();
  EXPECT_EQ(Texts{message2(kUnit, kCleanup, "unlink", EROFS)}, messageLines());
  EXPECT_FALSE(segmentOf(kPath));
  fs::remove(kPath);
}

TEST_F(SharedMemory, AFailedOneDetachesNothing) {
  const auto live = makeSegment();
  failCalls("shmat", ENOMEM);
  {
    const auto other = makeSegment("UUID2");
    EXPECT_FALSE(other->OK());
  }
  EXPECT_EQ(1U, messageLines().size());
  succeedAgain();
  EXPECT_EQ(1U, segmentOf(kPath)->attached);
  leavesThingsBehind();
}

// --- placing areas ---

TEST_F(SharedMemory, AreasLieEndToEnd) {
  const auto segment = makeSegment();
  Area first("firstone", 100);
  Area second("secondon", 64);
  advanceClock(5);
  EXPECT_EQ(32U, offsetIn(*segment, segment->allocate(&first)));
  EXPECT_EQ(132U, offsetIn(*segment, segment->allocate(&second)));
  EXPECT_EQ(first.getAddress(), static_cast<char*>(segment->getAddress()) + 32);
  const Bytes bytes = storedSegment();
  const Block own = blockAt(bytes, 0);
  EXPECT_EQ(196U, own.next);
  EXPECT_EQ(196U, own.last);
  EXPECT_EQ(kNow, own.seconds);
  EXPECT_EQ(5U, own.milliseconds);
  const std::vector<Block> blocks = blocksOf(bytes);
  ASSERT_EQ(2U, blocks.size());
  EXPECT_EQ("firstone", blocks[0].eyecatcher);
  EXPECT_EQ(100U, blocks[0].size);
  EXPECT_EQ(32U, blocks[0].next);
  EXPECT_EQ(32U, blocks[0].last);
  EXPECT_EQ(1, blocks[0].mark);
  EXPECT_EQ(5U, blocks[0].milliseconds);
  EXPECT_EQ("secondon", blocks[1].eyecatcher);
}

TEST_F(SharedMemory, AnAreaIsLookedForAndPlacedWhileTheSegmentIsLocked) {
  const auto segment = makeSegment();
  std::vector<int> semaphore;
  host().script.log = [&](const LogEntry& entry) {
    const bool looks = entry.function == "ZEB_Memory_Manager::getHeader";
    const bool places = entry.function == "ZEB_Memory_Manager::setNextPosition";
    if ((looks || places) && entry.text == "Entry")
      semaphore.push_back(semaphoreOf(std::string(kPath) + ".zebmutx")->value);
  };
  Area area("firstone", 100);
  {
    const Tracing on;
    segment->allocate(&area);
  }
  host().script.log = nullptr;
  EXPECT_EQ((std::vector<int>{0, 0, 0}), semaphore);
}

TEST_F(SharedMemory, AFoundAreaIsLeftAsItIs) {
  const auto segment = makeSegment();
  Area first("firstone", 100);
  Area second("secondon", 64);
  segment->allocate(&first);
  segment->allocate(&second);
  first.setNextPosition(static_cast<char*>(first.getFirstPosition()) + 8);
  const Bytes before = storedSegment();
  advanceClock(9);
  Area again("secondon", 999);
  EXPECT_EQ(second.getAddress(), segment->allocate(&again));
  EXPECT_EQ(second.getAddress(), again.getAddress());
  EXPECT_EQ(64U, again.getSize());
  Area firstAgain("firstone", 999);
  EXPECT_EQ(first.getAddress(), segment->allocate(&firstAgain));
  EXPECT_FALSE(firstAgain.isEmpty());
  EXPECT_EQ(before, storedSegment());
}

TEST_F(SharedMemory, AnAreaIsFoundByAllEightCharacters) {
  const auto segment = makeSegment();
  Area first("zebcedar", 100);
  Area second("zebcetar", 100);
  EXPECT_NE(segment->allocate(&first), segment->allocate(&second));
}

TEST_F(SharedMemory, AJoinerZeroesTheAreaThatItCarves) {
  const auto first = makeSegment();
  const auto second = makeSegment();
  auto* const start = static_cast<char*>(first->getAddress());
  std::memset(start + 40, 0xEE, 200);
  Area area("areaarea", 100);
  ASSERT_NE(nullptr, second->allocate(&area));
  EXPECT_EQ(Bytes(68, 0), bytesAt(start + 64, 68));
  EXPECT_EQ(0xEE, static_cast<unsigned char>(start[132]));
}

TEST_F(SharedMemory, ThreeAreasFitAndAFourthIsRefused) {
  const auto segment = makeSegment();
  Area first("first", 32768);
  Area second("second", 32768);
  Area third("third", 32768);
  EXPECT_NE(nullptr, segment->allocate(&first));
  EXPECT_NE(nullptr, segment->allocate(&second));
  EXPECT_NE(nullptr, segment->allocate(&third));
  const Bytes before = storedSegment();
  Area fourth("fourth", 32768);
  EXPECT_EQ(nullptr, segment->allocate(&fourth));
  EXPECT_EQ(nullptr, fourth.getAddress());
  EXPECT_EQ(before, storedSegment());
}

TEST_F(SharedMemory, WhatFitsIntoTheLastPageIsCarved) {
  const auto segment = makeSegment();
  const auto page = static_cast<std::uint32_t>(sysconf(_SC_PAGESIZE));
  const std::uint32_t mapped = (kSize + page - 1) / page * page;
  Area tooLarge("tolarge", mapped - 32 + 1);
  EXPECT_EQ(nullptr, segment->allocate(&tooLarge));
  Area exact("exact", mapped - 32);
  EXPECT_NE(nullptr, segment->allocate(&exact));
  EXPECT_EQ(mapped, blockAt(storedSegment(), 0).next);
}

TEST_F(SharedMemory, TheLargestSettingHoldsAStatisticsArea) {
  configure("ZEBMemorySize 2147483647\n");
  const auto first = makeSegment();
  if (!first->OK()) GTEST_SKIP() << "the machine has no 2 GiB of shared memory";
  Area area("zebcstar", 2147483647);
  ASSERT_EQ(32U, offsetIn(*first, first->allocate(&area)));
  const Block own = blockAt(bytesAt(first->getAddress(), 32), 0);
  EXPECT_EQ(2147483677U, own.size);
  EXPECT_EQ(2147483679U, own.next);
  EXPECT_EQ(32U, own.last);
  const auto second = makeSegment();
  Area again("zebcstar", 2147483647);
  EXPECT_EQ(area.getAddress(), second->allocate(&again));
}

TEST_F(SharedMemory, PlacesNothingWithoutASegment) {
  const ZEB_String uuid("UUID1");
  ZEB_Shared_Memory notBegun(&uuid);
  Area area("areaarea", 64);
  EXPECT_EQ(nullptr, notBegun.allocate(&area));
  const auto segment = makeSegment();
  EXPECT_EQ(nullptr, segment->allocate(nullptr));
  segment->cleanup();
  EXPECT_EQ(nullptr, segment->allocate(&area));
  EXPECT_EQ(nullptr, area.getAddress());
}

struct Damage {
  const char* what;
  std::size_t at;
  std::uint32_t number;
  bool second;  // the area that is asked for is behind the damage
};

TEST_F(SharedMemory, ADamagedChainPlacesNothing) {
  const Damage damages[] = {{"next in front of the first position", 16, 31, true},
                            {"next at zero", 16, 0, true},
                            {"next behind the segment", 16, 1U << 30, true},
                            {"a negative next", 16, 0x80000020U, true},
                            {"a block without size", 32 + 12, 0, true},
                            {"a block shorter than its header", 32 + 12, 31, true},
                            {"a block that ends behind the next position", 32 + 12, 165, true},
                            {"a huge block", 32 + 12, 0xFFFFFFF0U, true},
                            {"the area itself too short", 132 + 12, 31, true},
                            {"the area itself behind the end", 132 + 12, 1U << 30, true}};
  for (const Damage& damage : damages) {
    const auto segment = makeSegment();
    Area first("firstone", 100);
    Area second("secondon", 64);
    segment->allocate(&first);
    segment->allocate(&second);
    poke(*segment, damage.at, damage.number);
    const Bytes before = storedSegment();
    Area again("secondon", 64);
    EXPECT_EQ(nullptr, segment->allocate(&again)) << damage.what;
    EXPECT_EQ(nullptr, again.getAddress()) << damage.what;
    EXPECT_EQ(before, storedSegment()) << damage.what;
    EXPECT_EQ(1, semaphoreOf(kMutexPath)->value) << damage.what;
  }
}

TEST_F(SharedMemory, TheWalkEndsAtAZeroName) {
  const auto segment = makeSegment();
  Area first("firstone", 100);
  Area second("secondon", 64);
  Area third("thirdone", 64);
  segment->allocate(&first);
  segment->allocate(&second);
  segment->allocate(&third);
  poke(*segment, 132, 0);
  Area again("thirdone", 64);
  EXPECT_EQ(260U, offsetIn(*segment, segment->allocate(&again)));
}

TEST_F(SharedMemory, NothingIsCarvedOverABlock) {
  const auto segment = makeSegment();
  Area first("firstone", 100);
  segment->allocate(&first);
  poke(*segment, 16, 32);
  Area other("otherone", 64);
  EXPECT_EQ(nullptr, segment->allocate(&other));
  EXPECT_EQ("firstone", blockAt(storedSegment(), 32).eyecatcher);
}

// Its maker died, and the segment's lock was given back by hand.
TEST_F(SharedMemory, ABlockThatNobodyCouldUseYetIsCarvedAnew) {
  const auto segment = makeSegment();
  Area first("firstone", 100);
  segment->allocate(&first);
  for (const std::uint32_t halfway : {0U, 32U}) {
    poke(*segment, 16, 32);
    poke(*segment, 32 + 16, halfway);
    poke(*segment, 32 + 20, halfway);
    Area again("firstone", 64);
    EXPECT_EQ(32U, offsetIn(*segment, segment->allocate(&again)));
    const Bytes stored = storedSegment();
    EXPECT_EQ(64U, blockAt(stored, 32).size);
    EXPECT_EQ(32U, blockAt(stored, 32).next);
    EXPECT_EQ(96U, blockAt(stored, 0).next);
  }
}

TEST_F(SharedMemory, ABlockWithRecordsIsNot) {
  const auto segment = makeSegment();
  Area first("firstone", 100);
  segment->allocate(&first);
  poke(*segment, 16, 32);
  poke(*segment, 32 + 20, 72);
  Area again("firstone", 64);
  EXPECT_EQ(nullptr, segment->allocate(&again));
  EXPECT_EQ(100U, blockAt(storedSegment(), 32).size);
}

// --- several processes ---

int useTheSegment(Steps& parent, const std::vector<std::string>&) {
  useOwnConfiguration();
  setClock(kNow + 100);
  auto segment = makeSegment();
  Area area("areaarea", 64);
  segment->allocate(&area);
  parent.tell(std::to_string(offsetIn(*segment, area.getAddress())));
  parent.hear();
  segment.reset();
  parent.tell("gone");
  parent.hear();
  return 0;
}

const Role kSegmentUser("segment user", useTheSegment);

TEST_F(SharedMemory, AnotherProcessJoinsWithoutZeroing) {
  const auto segment = makeSegment();
  Area other("otherone", 100);
  segment->allocate(&other);
  Child child("segment user");
  EXPECT_EQ("132", child.hear());
  EXPECT_EQ(2U, segmentOf(kPath)->attached);
  EXPECT_EQ("otherone", blockAt(storedSegment(), 32).eyecatcher);
  child.tell("go");
  EXPECT_EQ("gone", child.hear());
  EXPECT_EQ(1U, segmentOf(kPath)->attached);
  Area area("areaarea", 64);
  EXPECT_EQ(132U, offsetIn(*segment, segment->allocate(&area)));
  child.tell("end");
  EXPECT_EQ(0, child.wait());
}

TEST_F(SharedMemory, TheLastProcessRemovesTheSegment) {
  auto segment = makeSegment();
  Child child("segment user");
  child.hear();
  segment.reset();
  ASSERT_TRUE(segmentOf(kPath));
  child.tell("go");
  EXPECT_EQ("gone", child.hear());
  EXPECT_FALSE(segmentOf(kPath));
  EXPECT_FALSE(fs::exists(kPath));
  child.tell("end");
  EXPECT_EQ(0, child.wait());
}

// --- trace ---

TEST_F(SharedMemory, EveryOperationTraces) {
  const Tracing on;
  const ZEB_String uuid("UUID1");
  const void* address = nullptr;
  {
    ZEB_Shared_Memory segment(&uuid);
    segment.init();
    Area area("areaarea", 64);
    address = segment.allocate(&area);
    segment.getUuid();
    const char* const name = segment.getSegmentName();
    expectTraced(kUnit, {{"ZEB_Shared_Memory::getSegmentName", exitOf(name)}});
  }
  expectTraced(kUnit, {{"ZEB_Shared_Memory::ZEB_Shared_Memory", "Exit"},
                       {"ZEB_Shared_Memory::init", "Exit"},
                       {"ZEB_Shared_Memory::allocate", exitOf(address)},
                       {"ZEB_Shared_Memory::zeb_dettach", "Exit: 0x0"},
                       {"ZEB_Shared_Memory::getUuid", "Exit"},
                       {"ZEB_Shared_Memory::cleanup", "Exit"},
                       {"ZEB_Shared_Memory::~ZEB_Shared_Memory", "Exit"}});
}

TEST_F(SharedMemory, TracesTheCreation) {
  const Tracing on;
  const auto segment = makeSegment();
  char key[16];
  std::snprintf(key, sizeof key, "%08X", static_cast<unsigned>(ftok(kPath, 1)));
  const std::string address = hex(segment->getAddress());
  EXPECT_EQ(
      (Texts{"Entry", "Initializing shared memory segment", "Mutex OK",
             std::string("ftok = FFFFFFFF ") + kPath, std::string("ftok = ") + key + " " + kPath,
             "Shared area successfully created. ID " + std::to_string(segmentOf(kPath)->id),
             "zeb_attach adddress = 0x" + address, "Exit"}),
      textsOf(kUnit, kInit));
}

TEST_F(SharedMemory, TracesAttachmentsWithTheTable) {
  const Tracing on;
  const auto segment = makeSegment();
  const std::string address = hex(segment->getAddress());
  EXPECT_EQ((Texts{"Entry", "shmat adddress = 0x" + address, "Exit: 0x" + address}),
            textsOf(kUnit, "ZEB_Shared_Memory::zeb_attach"));
  std::vector<Bytes> tables = dumpsTitled("zebshmsegments table");
  ASSERT_EQ(2U, tables.size());
  EXPECT_NE(tables[0], tables[1]);
  host().forget();
  const auto second = makeSegment();
  EXPECT_EQ((Texts{"Entry", "Exit: 0x" + address}),
            textsOf(kUnit, "ZEB_Shared_Memory::zeb_attach"));
  host().forget();
  second->cleanup();
  EXPECT_EQ((Texts{"Entry", "Exit: 0x0"}), textsOf(kUnit, "ZEB_Shared_Memory::zeb_dettach"));
  tables = dumpsTitled("zebshmsegments table");
  ASSERT_EQ(2U, tables.size());
  EXPECT_NE(tables[0], tables[1]);
}

TEST_F(SharedMemory, IsSilentWithTracingOff) {
  makeSegment().reset();
  EXPECT_TRUE(host().log().empty());
}

TEST_F(SharedMemory, DumpsTheTableUnderTheAttachMutex) {
  const Tracing on;
  makeSegment().reset();
  const std::string mutex = attachMutexPath();
  Texts seen;
  for (const LogEntry& entry : host().trace())
    if (entry.text == "Got mutex " + mutex || entry.text == "About to release mutex " + mutex ||
        entry.text == "zebshmsegments table")
      seen.push_back(entry.text.substr(0, entry.text.find(" mutex")));
  const Texts oneRound{"Got", "zebshmsegments table", "zebshmsegments table", "About to release"};
  Texts expected = oneRound;
  expected.insert(expected.end(), oneRound.begin(), oneRound.end());
  EXPECT_EQ(expected, seen);
}

TEST_F(SharedMemory, AnAreaIsReadyBeforeTheSegmentLeadsToIt) {
  const auto segment = makeSegment();
  Area area("areaarea", 64);
  const Tracing on;
  segment->allocate(&area);
  const std::string function = "ZEB_Memory_Manager::setNextPosition";
  auto* const start = static_cast<char*>(segment->getAddress());
  EXPECT_EQ((Texts{"Parameter " + hex(start + 64), "Next : 20  Last : 20",
                   "Parameter " + hex(start + 96), "Next : 60  Last : 60"}),
            ownTextsOf("zebcmema", function));
}

// In a fresh namespace the first object of each kind has id 0.
int useTheFirstIds(Steps& parent, const std::vector<std::string>&) {
  useOwnConfiguration();
  if (unshare(CLONE_NEWIPC) != 0) return 1;
  const auto first = makeSegment();
  const auto second = makeSegment();
  parent.tell(std::to_string(segmentOf(kPath)->id));
  for (const std::string& line : messageLines()) parent.tell(line.substr(0, line.find(" |")));
  parent.tell("no more");
  return first->OK() && second->OK() ? 0 : 2;
}

const Role kFirstUser("user of the first ids", useTheFirstIds);

TEST_F(SharedMemory, AnIdOfZeroIsASegmentLikeAnyOther) {
  Child child("user of the first ids");
  EXPECT_EQ("0", child.hear());
  EXPECT_EQ("2 zebcmutx ZEB_Name_Mutex::ZEB_Name_Mutex", child.hear());
  std::string line = child.hear();
  while (line != "no more") {
    EXPECT_FALSE(line.starts_with("2 zebcshme")) << line;
    line = child.hear();
  }
  EXPECT_EQ(0, child.wait());
  leavesThingsBehind();
}

// A free entry of the process's table has id 0, too.
int joinTheFirstIdAgain(Steps& parent, const std::vector<std::string>&) {
  useOwnConfiguration();
  if (unshare(CLONE_NEWIPC) != 0) return 1;
  auto segment = makeSegment();
  const int id = segmentOf(kPath)->id;
  void* const other = shmat(id, nullptr, 0);  // keeps the segment
  segment.reset();
  segment = makeSegment();
  parent.tell(std::to_string(id));
  if (!segment->OK() || segmentOf(kPath)->attached != 2) return 2;
  if (std::memcmp(segment->getAddress(), other, 8) != 0) return 3;
  shmdt(other);
  return 0;
}

const Role kReturningUser("user who comes back", joinTheFirstIdAgain);

TEST_F(SharedMemory, ASegmentOfIdZeroIsLeftAndJoinedAgain) {
  Child child("user who comes back");
  EXPECT_EQ("0", child.hear());
  EXPECT_EQ(0, child.wait());
  leavesThingsBehind();
}

// The segment mutex is taken before the attach mutex, never the other way round.
TEST_F(SharedMemory, TakesTheSegmentMutexFirst) {
  const ZEB_String uuid("UUID1");
  const Tracing on;
  ZEB_Shared_Memory segment(&uuid);
  segment.init();
  segment.cleanup();
  const std::string segmentMutex = kMutexPath;
  const std::string attachMutex = attachMutexPath();
  const Texts oneRound{"Got mutex " + segmentMutex, "Got mutex " + attachMutex,
                       "Released mutex " + attachMutex, "Released mutex " + segmentMutex};
  Texts seen;
  for (const LogEntry& entry : host().trace())
    if (entry.text.starts_with("Got mutex") || entry.text.starts_with("Released mutex"))
      seen.push_back(entry.text);
  Texts expected = oneRound;
  expected.insert(expected.end(), oneRound.begin(), oneRound.end());
  EXPECT_EQ(expected, seen);
}

}  // namespace

}  // namespace shared_memory_test
