// SPDX-License-Identifier: Apache-2.0
// Copying a segment: what is believed of its headers, and what state it is in.
#include "agent/reader/segment.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/shm.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "tests/support/image.h"
#include "tests/support/ipc_objects.h"
#include "tests/support/live_segment.h"

namespace segment_test {

namespace {

using image::Block;
using image::Bytes;
using reader::State;

reader::SegmentCopy copy(const Bytes& bytes) {
  return reader::copySegment(bytes, bytes.size());
}

std::string damageOf(const reader::SegmentCopy& copy) {
  std::string text;
  for (const reader::Damage& damage : copy.damage.list()) {
    text += damage.area + " " + std::to_string(damage.offset) + ": " + damage.reason + "\n";
  }
  return text;
}

Block area(const char* eyecatcher, std::uint32_t size = 4096) {
  return {.eyecatcher = eyecatcher, .size = size, .contents = {}};
}

}  // namespace

TEST(SegmentCopy, TakesNoMemoryForWhatAnAreaDoesNotUse) {
  constexpr std::uint32_t kArea = 16 << 20;
  constexpr std::size_t kMost = 64 << 10;
  const Bytes bytes = image::segment({area("zebcstar", kArea)});
  const int file = memfd_create("segment", 0);
  ASSERT_EQ(0, ftruncate(file, static_cast<off_t>(bytes.size())));
  ASSERT_EQ(4096, pwrite(file, bytes.data(), 4096, 0));
  void* const shared = mmap(nullptr, bytes.size(), PROT_READ, MAP_SHARED, file, 0);
  ASSERT_NE(MAP_FAILED, shared);
  const auto read =
      reader::copySegment({static_cast<const std::uint8_t*>(shared), bytes.size()}, bytes.size());
  struct stat present {};
  fstat(file, &present);
  munmap(shared, bytes.size());
  close(file);
  ASSERT_EQ(1U, read.areas.size());
  EXPECT_EQ(kArea, read.areas[0].size);
  EXPECT_LT(read.areas[0].bytes.capacity(), kMost);
  EXPECT_LT(static_cast<std::size_t>(present.st_blocks) * 512, kMost);
}

TEST(SegmentCopy, HoldsAllThreeAreasUpToTheirLastOffset) {
  Block statistics = image::ordersBlock();
  const Bytes bytes = image::segment({statistics, area("zebcetar"), area("zebcedar")});
  const reader::SegmentCopy result = copy(bytes);
  EXPECT_EQ("", damageOf(result));
  EXPECT_EQ(32U + 3 * 4096, result.size);
  EXPECT_EQ(3U, result.areas.size());
  const reader::Area* found = result.find(reader::kStatistics);
  ASSERT_NE(nullptr, found);
  EXPECT_EQ(4096U, found->size);
  EXPECT_EQ(32 + statistics.contents.size(), found->last);
  EXPECT_EQ(found->last, found->bytes.size());
  EXPECT_EQ(found->last, found->next);
  EXPECT_EQ((reader::Stamp{1'700'000'000, 123}), found->lastUpdate);
  EXPECT_NE(nullptr, result.find(reader::kEventTemplates));
  EXPECT_NE(nullptr, result.find(reader::kEventData));
}

TEST(SegmentCopy, EventDataIsCopiedBeforeTheTemplatesItNeeds) {
  const reader::SegmentCopy result =
      copy(image::segment({image::ordersBlock(), area("zebcetar"), area("zebcedar")}));
  ASSERT_EQ(3U, result.areas.size());
  EXPECT_EQ(reader::kEventData, result.areas[0].name);
  EXPECT_EQ(reader::kEventTemplates, result.areas[1].name);
}

TEST(SegmentCopy, ASegmentWithoutAreasIsWhole) {
  const reader::SegmentCopy result = copy(image::segment({}));
  EXPECT_TRUE(result.initialised);
  EXPECT_EQ("", damageOf(result));
  EXPECT_TRUE(result.areas.empty());
}

TEST(SegmentCopy, OneByteIsTooShortForAHeader) {
  EXPECT_EQ("segment 0: too short for a header: 1 bytes\n", damageOf(copy({'z'})));
  EXPECT_EQ("segment 0: too short for a header: 0 bytes\n", damageOf(copy({})));
}

TEST(SegmentCopy, ZerosAreASegmentThatNobodyInitialised) {
  const reader::SegmentCopy result = copy(Bytes(4096));
  EXPECT_FALSE(result.initialised);
  EXPECT_EQ("", damageOf(result));
}

TEST(SegmentCopy, SomebodyElsesSegmentIsNotRead) {
  Bytes bytes = image::segment({image::ordersBlock()});
  bytes[7] = 'X';
  const reader::SegmentCopy result = copy(bytes);
  EXPECT_EQ("segment 0: the eyecatcher is not \"zebcshme\"\n", damageOf(result));
  EXPECT_TRUE(result.areas.empty());
}

TEST(SegmentCopy, WrongMarkAndSizeAreReportedAndTheAreasAreRead) {
  Bytes bytes = image::segment({image::ordersBlock()});
  image::set32(bytes, 8, 2);
  image::set32(bytes, 12, 77);
  const reader::SegmentCopy result = copy(bytes);
  EXPECT_EQ(
      "segment 8: the header mark is not 1\n"
      "segment 12: the header says 77 bytes, the system 4128\n",
      damageOf(result));
  EXPECT_EQ(1U, result.areas.size());
}

TEST(SegmentCopy, ANextOffsetOutsideTheSegmentIsReportedAndTheAreasAreRead) {
  for (const std::uint32_t offset : {0U, 31U, 4129U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
    Bytes bytes = image::segment({image::ordersBlock()});
    image::set32(bytes, 16, offset);
    const reader::SegmentCopy result = copy(bytes);
    EXPECT_EQ(1U, result.damage.list().size()) << offset;
    EXPECT_EQ(1U, result.areas.size()) << offset;
  }
}

TEST(SegmentCopy, ABlockSmallerThanItsHeaderEndsTheChain) {
  for (const std::uint32_t size : {0U, 1U, 31U}) {
    Bytes bytes = image::segment({image::ordersBlock(), area("zebcetar")});
    image::set32(bytes, 32 + 4096 + 12, size);
    const reader::SegmentCopy result = copy(bytes);
    EXPECT_EQ("segment 4140: block of " + std::to_string(size) + " bytes, less than its header\n",
              damageOf(result));
    EXPECT_EQ(1U, result.areas.size());
  }
}

TEST(SegmentCopy, ABlockBeyondTheEndIsReadAsFarAsItIsThere) {
  for (const std::uint32_t size : {4097U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
    Bytes bytes = image::segment({image::ordersBlock()});
    image::set32(bytes, 32 + 12, size);
    const reader::SegmentCopy result = copy(bytes);
    EXPECT_EQ("segment 44: block of " + std::to_string(size) + " bytes, only 4096 are left\n",
              damageOf(result));
    ASSERT_EQ(1U, result.areas.size());
    EXPECT_EQ(4096U, result.areas[0].size);
  }
}

TEST(SegmentCopy, AHeaderCutByTheEndIsReported) {
  Bytes bytes = image::segment({image::ordersBlock()});
  bytes.resize(bytes.size() + 20, 1);
  image::set32(bytes, 12, static_cast<std::uint32_t>(bytes.size()));
  image::set32(bytes, 16, static_cast<std::uint32_t>(bytes.size()));
  EXPECT_EQ("segment 4128: no room for a block header\n", damageOf(copy(bytes)));
}

TEST(SegmentCopy, UnknownAndSecondBlocksAreSteppedOver) {
  const reader::SegmentCopy result =
      copy(image::segment({area("whatever"), image::ordersBlock(), area("zebcstar")}));
  EXPECT_EQ(
      "segment 32: block of an unknown name\n"
      "segment 8224: second block statistics\n",
      damageOf(result));
  ASSERT_EQ(1U, result.areas.size());
  EXPECT_GT(result.areas[0].last, 32U);
}

TEST(SegmentCopy, AChainOfTinyBlocksIsGivenUp) {
  const std::vector<Block> blocks(1000, area("zebcetar", 32));
  const reader::SegmentCopy result = copy(image::segment(blocks));
  EXPECT_EQ("more than 16 blocks", result.damage.list().back().reason);
}

TEST(SegmentCopy, OffsetsOutsideAnAreaAreReportedAndClamped) {
  for (const std::int64_t offset : {0LL, 31LL, 4097LL, 0x7FFFFFFFLL, 0x80000000LL, 0xFFFFFFFFLL}) {
    Block block = image::ordersBlock();
    block.last = offset;
    const reader::SegmentCopy result = copy(image::segment({block}));
    EXPECT_EQ("statistics 20: last offset " + std::to_string(static_cast<std::int32_t>(offset)) +
                  " is outside the area\n",
              damageOf(result));
    EXPECT_EQ(4096U, result.areas[0].last);
    block = image::ordersBlock();
    block.last = static_cast<std::int64_t>(32 + block.contents.size());
    block.next = offset;
    const reader::SegmentCopy other = copy(image::segment({block}));
    EXPECT_EQ(16U, other.damage.list().at(0).offset);
    EXPECT_EQ(other.areas[0].last, other.areas[0].next);
  }
}

TEST(SegmentCopy, TheLastBlockMayEndInTheRestOfTheLastPage) {
  Bytes bytes = image::segment({image::ordersBlock()});
  image::set32(bytes, 12, static_cast<std::uint32_t>(bytes.size() - 2));
  EXPECT_EQ("", damageOf(reader::copySegment(bytes, bytes.size() - 2)));
}

TEST(ReadSegment, LeavesNoAttachmentAndNoObjectBehind) {
  const LiveSegment live("1-2-3", image::segment({image::ordersBlock()}));
  const auto objects = [] {
    return support::segments().size() + support::semaphoreSets().size() +
           support::messageQueues().size();
  };
  const std::size_t before = objects();
  const reader::Segment segment = reader::readSegment(live.keyFile());
  EXPECT_EQ(State::ok, segment.state);
  EXPECT_EQ("1-2-3", segment.uuid);
  EXPECT_EQ(live.id(), segment.id);
  EXPECT_EQ(4128U, segment.size);
  EXPECT_EQ(0U, segment.attached);
  EXPECT_EQ(0U, live.attached());
  EXPECT_EQ(before, objects());
}

TEST(ReadSegment, CountsTheAttachmentsOfOthersOnly) {
  const LiveSegment live("1-2-3", image::segment({}));
  void* const own = shmat(live.id(), nullptr, 0);
  EXPECT_EQ(1U, reader::readSegment(live.keyFile()).attached);
  shmdt(own);
}

TEST(ReadSegment, WithoutKeyFileThereIsNoneAndNoneIsMade) {
  EXPECT_EQ(State::noKeyFile, reader::readSegment("/tmp/absent.zebcshme").state);
  EXPECT_FALSE(std::filesystem::exists("/tmp/absent.zebcshme"));
}

TEST(ReadSegment, AKeyFileWithoutSegmentIsALeftover) {
  LiveSegment live("1-2-3", image::segment({}));
  live.removeSegment();
  EXPECT_EQ(State::noSegment, reader::readSegment(live.keyFile()).state);
}

TEST(ReadSegment, AZeroSegmentIsNotInitialised) {
  const LiveSegment live("1-2-3", Bytes(98336));
  EXPECT_EQ(State::notInitialised, reader::readSegment(live.keyFile()).state);
}

TEST(ReadSegment, ASegmentOfOneByteHasNoRoomForAnyAreaAndIsNeverInitialised) {
  const LiveSegment live("1-2-3", Bytes(1));
  EXPECT_EQ(State::notInitialised, reader::readSegment(live.keyFile()).state);
}

TEST(ReadSegment, ADamagedHeaderIsDamaged) {
  Bytes bytes = image::segment({});
  image::set32(bytes, 8, 0);
  const LiveSegment live("1-2-3", bytes);
  EXPECT_EQ(State::damaged, reader::readSegment(live.keyFile()).state);
}

TEST(FindKeyFiles, TakesSegmentKeyFilesOnlySorted) {
  for (const char* name : {"b.zebcshme", "a.zebcshme", ".zebcshme", "a.zebcshme.zebmutx",
                           "a.zebcstar.zebmutx", "zebcshme", "other"}) {
    std::ofstream{std::string("/opt/") + name};
  }
  const reader::KeyFiles found = reader::findKeyFiles("/opt/");
  EXPECT_EQ(0, found.error);
  EXPECT_EQ((std::vector<std::string>{"/opt/.zebcshme", "/opt/a.zebcshme", "/opt/b.zebcshme"}),
            found.paths);
}

TEST(FindKeyFiles, AMissingDirectoryIsAnError) {
  EXPECT_EQ(ENOENT, reader::findKeyFiles("/tmp/absent/").error);
}

}  // namespace segment_test
