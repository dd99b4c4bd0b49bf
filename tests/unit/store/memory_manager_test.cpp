// SPDX-License-Identifier: Apache-2.0
// One block of shared memory, here a buffer of the test.
#include "store/memory_manager.h"

#include <cstring>

#include "tests/support/library_test.h"

namespace memory_manager_test {

using namespace support;

namespace {

constexpr char kUnit[] = "zebcmema";
constexpr std::size_t kBytes = 128;

class MemoryManager : public LibraryTest {
 protected:
  void SetUp() override {
    LibraryTest::SetUp();
    std::memset(block, 0xAB, sizeof block);
  }

  void initialise() {
    manager.setSize(kBytes);
    manager.setEyecatcher("eyecatch");
    manager.setAddress(block);
    manager.setNextPosition(manager.getFirstPosition());
  }

  Block stored() const { return blockAt(bytesAt(block, sizeof block), 0); }
  void store(std::size_t at, std::uint32_t number) {
    std::memcpy(block + at, &number, sizeof number);
  }

  alignas(8) unsigned char block[256];
  ZEB_Memory_Manager manager;
};

TEST_F(MemoryManager, StartsUsableWithoutABlock) {
  EXPECT_TRUE(manager.OK());
  EXPECT_EQ(0, manager.getStatus());
  EXPECT_EQ(nullptr, manager.getAddress());
  EXPECT_EQ(0U, manager.getSize());
  EXPECT_EQ(Bytes(8, 0), bytesAt(manager.getEyecatcher(), 8));
}

TEST_F(MemoryManager, CleanupMakesItUnusable) {
  manager.cleanup();
  EXPECT_FALSE(manager.OK());
  EXPECT_EQ(301, manager.getStatus());
}

TEST_F(MemoryManager, AnInitialisedBlockHoldsItsWholeHeader) {
  setClock(kNow + 5, 678);
  initialise();
  const Block header = stored();
  EXPECT_EQ("eyecatch", header.eyecatcher);
  EXPECT_EQ(1, header.mark);
  EXPECT_EQ(kBytes, header.size);
  EXPECT_EQ(32U, header.next);
  EXPECT_EQ(32U, header.last);
  EXPECT_EQ(kNow + 5, header.seconds);
  EXPECT_EQ(678U, header.milliseconds);
  EXPECT_EQ(Bytes(sizeof block - 32, 0xAB), bytesAt(block + 32, sizeof block - 32));
  EXPECT_TRUE(manager.isEmpty());
}

TEST_F(MemoryManager, PositionsCountFromTheBlock) {
  initialise();
  EXPECT_EQ(block + 32, manager.getFirstPosition());
  EXPECT_EQ(block + kBytes, manager.getLastAvailablePosition());
  manager.setNextPosition(block + 48);
  EXPECT_EQ(block + 48, manager.getNextPosition());
  EXPECT_EQ(block + 48, manager.getLastPosition());
  EXPECT_EQ(kBytes - 48, manager.getAvailableBytes());
  EXPECT_FALSE(manager.isEmpty());
}

TEST_F(MemoryManager, EmptyingKeepsTheHighWaterMark) {
  initialise();
  manager.setNextPosition(block + 90);
  manager.setNextPosition(manager.getFirstPosition());
  EXPECT_EQ(32U, stored().next);
  EXPECT_EQ(90U, stored().last);
  EXPECT_FALSE(manager.isEmpty());
  manager.setNextPosition(block + 60);
  EXPECT_EQ(60U, stored().next);
  EXPECT_EQ(90U, stored().last);
  manager.setNextPosition(block + 91);
  EXPECT_EQ(91U, stored().last);
}

TEST_F(MemoryManager, EveryMoveStampsTheHeader) {
  initialise();
  setClock(kNow + 1, 2);
  manager.setNextPosition(block + 40);
  EXPECT_EQ(kNow + 1, stored().seconds);
  EXPECT_EQ(2U, stored().milliseconds);
  setClock(kNow + 3, 4);
  manager.putHeader();
  EXPECT_EQ(kNow + 3, stored().seconds);
  EXPECT_EQ(4U, stored().milliseconds);
  EXPECT_EQ((_TimeStamp{kNow + 3, 4}), manager.getLastUpdate());
}

TEST_F(MemoryManager, WhatOtherProcessesWroteIsReloaded) {
  initialise();
  store(16, 64);
  EXPECT_EQ(block + 64, manager.getNextPosition());
  store(20, 72);
  EXPECT_EQ(block + 72, manager.getLastPosition());
  store(20, 80);
  EXPECT_FALSE(manager.isEmpty());
  store(24, 111);
  store(28, 222);
  EXPECT_EQ((_TimeStamp{111, 222}), manager.getLastUpdate());
  store(16, 100);
  EXPECT_EQ(kBytes - 100, manager.getAvailableBytes());
}

TEST_F(MemoryManager, MovingAndTheEndGoByTheCopy) {
  initialise();
  store(12, 64);
  store(20, 100);
  EXPECT_EQ(block + kBytes, manager.getLastAvailablePosition());
  EXPECT_TRUE(manager.isEnoughSpace(block + 32, kBytes - 32));
  manager.setNextPosition(block + 40);
  EXPECT_EQ(40U, stored().last);
  EXPECT_EQ(kBytes, stored().size);
}

TEST_F(MemoryManager, TheHighWaterMarkIsComparedAsSigned) {
  initialise();
  manager.setNextPosition(block + 0x80000010UL);
  EXPECT_EQ(0x80000010U, stored().next);
  EXPECT_EQ(32U, stored().last);
  EXPECT_EQ(block + 0x80000010UL, manager.getNextPosition());
}

TEST_F(MemoryManager, SpaceEndsExactlyAtTheEnd) {
  initialise();
  EXPECT_TRUE(manager.isEnoughSpace(block + 100, kBytes - 100));
  EXPECT_FALSE(manager.isEnoughSpace(block + 100, kBytes - 100 + 1));
  EXPECT_TRUE(manager.isEnoughSpace(block + kBytes, 0));
  EXPECT_FALSE(manager.isEnoughSpace(block + kBytes, 1));
  EXPECT_FALSE(manager.isEnoughSpace(block + kBytes + 1, 0));
  EXPECT_FALSE(manager.isEnoughSpace(block + 100, 0xFFFFFFFFU));
}

TEST_F(MemoryManager, ThereIsNoSpaceInFrontOfTheFirstPosition) {
  initialise();
  EXPECT_TRUE(manager.isEnoughSpace(block + 32, 1));
  EXPECT_FALSE(manager.isEnoughSpace(block + 31, 1));
  EXPECT_FALSE(manager.isEnoughSpace(nullptr, 1));
}

TEST_F(MemoryManager, EyecatchersAreCutAtEightAndPaddedWithZeros) {
  initialise();
  manager.setEyecatcher("12345678");
  EXPECT_EQ("12345678", std::string(manager.getEyecatcher(), 8));
  manager.putHeader();
  EXPECT_EQ("12345678", stored().eyecatcher);
  EXPECT_EQ(1, stored().mark);
  manager.setEyecatcher("abcdefghi");
  EXPECT_EQ("abcdefgh", std::string(manager.getEyecatcher(), 8));
  manager.putHeader();
  EXPECT_EQ(1, stored().mark);
  manager.setEyecatcher(nullptr);
  EXPECT_EQ("abcdefgh", std::string(manager.getEyecatcher(), 8));

  ZEB_Memory_Manager fresh;
  fresh.setEyecatcher("xyz");
  EXPECT_EQ(std::string("xyz\0\0\0\0\0", 8), std::string(fresh.getEyecatcher(), 8));
}

TEST_F(MemoryManager, AStoredSizeBeyondWhatIsMappedIsCut) {
  initialise();
  manager.setAddress(block, 100);
  manager.getHeader();
  EXPECT_EQ(100U, manager.getSize());
  manager.setAddress(block, kBytes);
  manager.getHeader();
  EXPECT_EQ(kBytes, manager.getSize());
  manager.setAddress(block, 200);
  manager.getHeader();
  EXPECT_EQ(kBytes, manager.getSize());
}

TEST_F(MemoryManager, WithoutABlockNothingIsReadOrWritten) {
  manager.setSize(77);
  manager.getHeader();
  EXPECT_EQ(77U, manager.getSize());
  manager.putHeader();
  EXPECT_EQ((_TimeStamp{kNow, 0}), manager.getLastUpdate());
}

TEST_F(MemoryManager, EveryOperationTraces) {
  initialise();
  const Tracing on;
  {
    ZEB_Memory_Manager another;
    another.cleanup();
  }
  manager.OK();
  manager.getStatus();
  manager.getHeader();
  manager.putHeader();
  manager.getFirstPosition();
  manager.getNextPosition();
  manager.getLastPosition();
  manager.getLastAvailablePosition();
  manager.setNextPosition(block + 40);
  manager.getAvailableBytes();
  manager.isEnoughSpace(block + 40, 4);
  manager.isEmpty();
  manager.getLastUpdate();
  manager.setSize(kBytes);
  manager.setEyecatcher("a");
  manager.setAddress(block);
  manager.getSize();
  const void* const eyecatcher = manager.getEyecatcher();
  expectTraced(kUnit, {{"ZEB_Memory_Manager::ZEB_Memory_Manager", "Exit"},
                       {"ZEB_Memory_Manager::~ZEB_Memory_Manager", "Exit"},
                       {"ZEB_Memory_Manager::cleanup", "Exit"},
                       {"ZEB_Memory_Manager::OK", "Exit: 0x1"},
                       {"ZEB_Memory_Manager::getStatus", "Exit: 0x0"},
                       {"ZEB_Memory_Manager::getHeader", "Exit"},
                       {"ZEB_Memory_Manager::putHeader", "Exit"},
                       {"ZEB_Memory_Manager::getFirstPosition", exitOf(block + 32)},
                       {"ZEB_Memory_Manager::getNextPosition", exitOf(block + 40)},
                       {"ZEB_Memory_Manager::getLastPosition", exitOf(block + 40)},
                       {"ZEB_Memory_Manager::getLastAvailablePosition", exitOf(block + kBytes)},
                       {"ZEB_Memory_Manager::setNextPosition", "Exit"},
                       {"ZEB_Memory_Manager::getAvailableBytes", "Exit: 0x58"},
                       {"ZEB_Memory_Manager::isEnoughSpace", "Exit: 0x1"},
                       {"ZEB_Memory_Manager::isEmpty", "Exit: 0x0"},
                       {"ZEB_Memory_Manager::getLastUpdate", "Exit"},
                       {"ZEB_Memory_Manager::setSize", "Exit"},
                       {"ZEB_Memory_Manager::setEyecatcher", "Exit"},
                       {"ZEB_Memory_Manager::setAddress", "Exit"},
                       {"ZEB_Memory_Manager::getSize", "Exit: 0x80"},
                       {"ZEB_Memory_Manager::getEyecatcher", exitOf(eyecatcher)}});
}

TEST_F(MemoryManager, ReloadingDumpsTheHeader) {
  initialise();
  const Tracing on;
  manager.getHeader();
  const std::vector<Bytes> dumps = dumpsTitled("Header");
  ASSERT_EQ(1U, dumps.size());
  EXPECT_EQ(bytesAt(block, 32), dumps[0]);
}

TEST_F(MemoryManager, ReloadingIsSilentWithTracingOff) {
  initialise();
  host().forget();
  manager.getHeader();
  EXPECT_TRUE(host().log().empty());
}

TEST_F(MemoryManager, TracesItsNumbers) {
  initialise();
  const Tracing on;
  manager.setSize(99);
  EXPECT_EQ(Texts{"Size = 99"}, ownTextsOf(kUnit, "ZEB_Memory_Manager::setSize"));
  manager.setEyecatcher("name");
  EXPECT_EQ(Texts{"Eyecatcher = name"}, ownTextsOf(kUnit, "ZEB_Memory_Manager::setEyecatcher"));
  manager.setAddress(block);
  EXPECT_EQ(Texts{"Address = " + hex(block)}, ownTextsOf(kUnit, "ZEB_Memory_Manager::setAddress"));
  manager.getLastAvailablePosition();
  EXPECT_EQ(Texts{hex(block) + " 63 " + hex(block + 99)},
            ownTextsOf(kUnit, "ZEB_Memory_Manager::getLastAvailablePosition"));
}

TEST_F(MemoryManager, TracesAMove) {
  initialise();
  manager.setNextPosition(block + 0x5A);
  const Tracing on;
  manager.setNextPosition(block + 0x2C);
  EXPECT_EQ((Texts{"Parameter " + hex(block + 0x2C), "Next : 2C  Last : 5A"}),
            ownTextsOf(kUnit, "ZEB_Memory_Manager::setNextPosition"));
  EXPECT_EQ(2U, textsOf(kUnit, "ZEB_Memory_Manager::putHeader").size());
}

TEST_F(MemoryManager, TracesTheAnswerToWhetherThereIsSpace) {
  initialise();
  const Tracing on;
  manager.isEnoughSpace(block + 64, 64);
  EXPECT_EQ((Texts{"Entry", "isEnough " + hex(block + 64) + " 64",
                   "Enough space to write 64 bytes in the memory location " + hex(block + 64),
                   "Exit: 0x1"}),
            textsOf(kUnit, "ZEB_Memory_Manager::isEnoughSpace"));
  host().forget();
  manager.isEnoughSpace(block + 64, 65);
  EXPECT_EQ((Texts{"Entry", "isEnough " + hex(block + 64) + " 65", "No more space", "Exit: 0x0"}),
            textsOf(kUnit, "ZEB_Memory_Manager::isEnoughSpace"));
}

}  // namespace

}  // namespace memory_manager_test
