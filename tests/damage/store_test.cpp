// SPDX-License-Identifier: Apache-2.0
// An area over damaged bytes: which code each operation returns, and what it has read by then.
#include <gtest/gtest.h>
#include <sys/mman.h>

#include <cstring>
#include <memory>

#include "store/shared_area.h"
#include "tests/support/broken.h"
#include "tests/support/stored_bytes.h"

namespace store_test {

using namespace support;
using broken::kArea;
using broken::Segment;

namespace {

// Memory of one area with an inaccessible page in front of it and behind it.
class AreaMemory {
 public:
  AreaMemory() : pages_(mmap(nullptr, 3 * kArea, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0)) {
    if (pages_ == MAP_FAILED || mprotect(start(), kArea, PROT_READ | PROT_WRITE) != 0)
      throw std::runtime_error("no memory for an area");
  }
  ~AreaMemory() { munmap(pages_, 3 * kArea); }
  AreaMemory(const AreaMemory&) = delete;
  AreaMemory& operator=(const AreaMemory&) = delete;

  std::uint8_t* start() const { return static_cast<std::uint8_t*>(pages_) + kArea; }
  Bytes bytes() const { return {start(), start() + kArea}; }
  void write(const Bytes& segment, std::size_t at) {
    std::memcpy(start(), segment.data() + at, kArea);
  }

 private:
  void* pages_;
};

// One that lies over memory of the test and has no segment.
struct Area : ZEB_Shared_Area {
  Area() : ZEB_Shared_Area(ZEB_String("AREA")) {}
};

template <class Set>
struct Owned : Set {
  Owned() = default;
  Owned(const Owned&) = delete;
  Owned& operator=(const Owned&) = delete;
  ~Owned() { this->clearAndDestroy(); }
};

struct WholeRecords {
  std::size_t count = 0;
  bool toTheEnd = false;
};

// How many whole records lie end to end from the start, and whether they reach the last offset.
WholeRecords wholeRecords(const Bytes& area) {
  const std::uint32_t last = unsignedAt(area, 20);
  const std::size_t end = std::min<std::size_t>(last, kArea);
  const Bytes readable = slice(area, 0, end);
  WholeRecords whole;
  std::size_t at = 32;
  try {
    for (; at < end; ++whole.count) {
      const std::size_t size = recordSizeAt(readable, at);
      slice(readable, at, size);
      at += size;
    }
    whole.toTheEnd = true;
  } catch (const std::exception&) {
  }
  return whole;
}

class BrokenArea : public testing::Test {
 protected:
  BrokenArea() { area_.bindTo(memory_.start(), kArea); }

  // Every one of the records of that area, with its address.
  void readHealthy(Owned<ZEB_Record_Set>& records, std::size_t at) {
    memory_.write(broken::healthy(), at);
    ASSERT_EQ(ZEB_SUCCESS, area_.read(&records));
  }
  static Bytes imageOf(ZEB_Record& record) {
    Bytes image(record.size());
    void* const address = record.getAddress();
    record.put(image.data());
    record.setAddress(address);
    return image;
  }

  AreaMemory memory_;
  Area area_;
};

TEST_F(BrokenArea, IsReadUpToItsFirstBrokenRecordWithCode1OrToItsEndWithCode0) {
  std::size_t broke = 0, whole = 0;
  for (const Segment& segment : broken::all()) {
    for (const std::size_t at : {broken::kStatisticsAt, broken::kTemplatesAt, broken::kEventsAt}) {
      SCOPED_TRACE(segment.what);
      memory_.write(segment.bytes, at);
      Owned<ZEB_Record_Set> records;
      const std::uint32_t code = area_.read(&records).getCode();
      const WholeRecords expected = wholeRecords(memory_.bytes());
      EXPECT_EQ(expected.toTheEnd ? 0U : 1U, code);
      EXPECT_EQ(expected.count, records.entries());
      EXPECT_EQ(slice(segment.bytes, at, kArea), memory_.bytes()) << "reading writes nothing";
      ++(expected.toTheEnd ? whole : broke);
    }
  }
  EXPECT_LT(500U, broke);
  EXPECT_LT(1000U, whole);
}

TEST_F(BrokenArea, RefreshingARecordOfWhichNoneOrAnotherStandsThereIsCode1AndChangesNothing) {
  Owned<ZEB_Record_Set> records;
  readHealthy(records, broken::kStatisticsAt);
  std::size_t refused = 0;
  for (const auto& family : {broken::records(), broken::strings()}) {
    for (const Segment& segment : family) {
      if (segment.at >= broken::kTemplatesAt || segment.what.find("deleted") != std::string::npos)
        continue;
      SCOPED_TRACE(segment.what);
      ZEB_Record& record = *records.begin()[static_cast<long>(segment.record)];
      const Bytes before = imageOf(record);
      memory_.write(segment.bytes, broken::kStatisticsAt);
      EXPECT_EQ(1U, area_.get(&record).getCode());
      EXPECT_EQ(before, imageOf(record));
      ++refused;
    }
  }
  EXPECT_LT(300U, refused);
}

TEST_F(BrokenArea, WritingARecordInPlaceMakesItWholeAgainAndTouchesNoOther) {
  Owned<ZEB_Record_Set> records;
  readHealthy(records, broken::kStatisticsAt);
  for (const auto& family : {broken::records(), broken::strings(), broken::decimals()}) {
    for (const Segment& segment : family) {
      if (segment.at >= broken::kTemplatesAt) continue;
      SCOPED_TRACE(segment.what);
      memory_.write(segment.bytes, broken::kStatisticsAt);
      EXPECT_EQ(0U, area_.put(records.begin()[static_cast<long>(segment.record)]).getCode());
      EXPECT_EQ(slice(broken::healthy(), broken::kStatisticsAt, kArea), memory_.bytes());
    }
  }
}

TEST_F(BrokenArea, ANextOffsetOutsideItIsNoRoomForANewRecord) {
  Owned<ZEB_Record_Set> records;
  readHealthy(records, broken::kStatisticsAt);
  ZEB_Record& record = **records.begin();
  for (const std::uint32_t next :
       {0U, 1U, 31U, kArea - 10, kArea, kArea + 1, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
    memory_.write(broken::healthy(), broken::kStatisticsAt);
    std::memcpy(memory_.start() + 16, &next, sizeof next);
    record.setAddress(nullptr);
    EXPECT_EQ(2U, area_.put(&record).getCode()) << next;
    EXPECT_EQ(nullptr, record.getAddress());
    EXPECT_EQ(slice(broken::healthy(), broken::kStatisticsAt + 32, kArea - 32),
              slice(memory_.bytes(), 32, kArea - 32));
  }
}

TEST_F(BrokenArea, TheLastPlaceThatIsFreeIsStillTaken) {
  Owned<ZEB_Record_Set> records;
  readHealthy(records, broken::kStatisticsAt);
  ZEB_Record& record = **records.begin();
  const std::uint32_t next = kArea - record.size();
  std::memcpy(memory_.start() + 16, &next, sizeof next);
  record.setAddress(nullptr);
  EXPECT_EQ(0U, area_.put(&record).getCode());
  EXPECT_EQ("RCRD", charactersAt(memory_.bytes(), next, 4));
}

TEST(Changes, OfABrokenSegmentMakeItAgain) {
  for (const Segment& segment : broken::all()) {
    const Bytes changes = broken::changesOf(segment.bytes);
    EXPECT_EQ(segment.bytes, broken::patched(changes.data(), changes.size())) << segment.what;
  }
}

}  // namespace

}  // namespace store_test
