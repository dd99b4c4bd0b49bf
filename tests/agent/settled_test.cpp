// SPDX-License-Identifier: Apache-2.0
// Statistics records that change while they are copied.
#include "agent/reader/settled.h"

#include <gtest/gtest.h>

#include <cstring>

#include "agent/reader/tree.h"
#include "tests/support/image.h"

namespace settled_test {

namespace {

using image::Bytes;

// What is done to the shared bytes before each look at them; counts the looks at single records.
struct Busy {
  static inline std::function<void()> between;
  static inline int recordsRead;

  static void read(std::uint8_t* to, const std::uint8_t* shared, std::size_t bytes) {
    ++recordsRead;
    if (between) between();
    std::memcpy(to, shared, bytes);
  }
  static bool same(const std::uint8_t* copied, const std::uint8_t* shared, std::size_t bytes) {
    if (between) between();
    return std::memcmp(copied, shared, bytes) == 0;
  }
};

class Settle : public testing::Test {
 protected:
  void SetUp() override {
    Busy::between = nullptr;
    Busy::recordsRead = 0;
    shared = image::ordersBlock().bytes();
    area.name = reader::kStatistics;
    area.size = static_cast<std::uint32_t>(shared.size());
    const Bytes segment = image::segment({image::ordersBlock()});
    copy = reader::copySegment(segment, segment.size());
    area = copy.areas.at(0);
    count = area.last - 168 + 40;
  }

  reader::SegmentCopy copy;
  reader::Area area;
  Bytes shared;
  std::size_t count;  // where the only statistics record has its message count
};

}  // namespace

TEST_F(Settle, CopiesNothingAgainWhenNothingChanged) {
  EXPECT_TRUE(reader::settle<Busy>(area, shared).empty());
  EXPECT_EQ(0, Busy::recordsRead);
}

TEST_F(Settle, CopiesTheRecordThatChangedAgain) {
  shared[count] = '9';
  EXPECT_TRUE(reader::settle<Busy>(area, shared).empty());
  EXPECT_EQ(1, Busy::recordsRead);
  EXPECT_EQ('9', area.bytes[count]);
  EXPECT_TRUE(std::equal(area.bytes.begin() + 32, area.bytes.end(), shared.begin() + 32));
}

TEST_F(Settle, ARecordThatChangesAtEachLookIsTorn) {
  Busy::between = [this] { ++shared[count]; };
  EXPECT_EQ((std::vector<std::uint32_t>{area.last - 168}), reader::settle<Busy>(area, shared));
  EXPECT_EQ(reader::kMostCopies - 1, Busy::recordsRead);
}

TEST_F(Settle, ARecordThatComesToRestIsNotTorn) {
  int changes = 0;
  Busy::between = [&] {
    if (++changes < 8) ++shared[count];
  };
  EXPECT_TRUE(reader::settle<Busy>(area, shared).empty());
  EXPECT_EQ(shared[count], area.bytes[count]);
}

TEST_F(Settle, ARecordThatIsOverwrittenBySomethingElseDoesNotEndTheWalk) {
  std::fill(shared.begin() + 32, shared.begin() + 40, std::uint8_t{0});  // of the broker's record
  shared[count] = '9';
  EXPECT_TRUE(reader::settle<Busy>(area, shared).empty());
  EXPECT_EQ('9', area.bytes[count]);
}

TEST_F(Settle, HeadersMayDiffer) {
  shared[12] ^= 1;
  EXPECT_TRUE(reader::settle<Busy>(area, shared).empty());
  EXPECT_EQ(0, Busy::recordsRead);
}

TEST_F(Settle, ATornRecordIsFlaggedInTheTree) {
  reader::DamageList damage;
  EXPECT_FALSE(
      reader::readTree(copy, damage)->executionGroups[0].messageFlows[0].nodes[0].statistics->torn);
  copy.areas[0].torn = {copy.areas[0].last - 168};
  EXPECT_TRUE(
      reader::readTree(copy, damage)->executionGroups[0].messageFlows[0].nodes[0].statistics->torn);
}

}  // namespace settled_test
