// SPDX-License-Identifier: Apache-2.0
#include "format/sizes.h"

#include <gtest/gtest.h>

namespace sizes_test {

namespace {

TEST(Sizes, ARecordIsItsFieldsAndTheUnitsOfItsStrings) {
  EXPECT_EQ(52U + 2 * 7, layout::recordSize(ZEB_REIR_RECORD, 7));
  EXPECT_EQ(56U + 2 * 7, layout::recordSize(ZEB_BRIR_RECORD, 7));
  EXPECT_EQ(56U + 2 * 7, layout::recordSize(ZEB_EGIR_RECORD, 7));
  EXPECT_EQ(52U + 2 * 7, layout::recordSize(ZEB_MFIR_RECORD, 7));
  EXPECT_EQ(62U + 2 * 7, layout::recordSize(ZEB_NOIR_RECORD, 7));
  EXPECT_EQ(68U + 2 * 7, layout::recordSize(ZEB_EVTR_RECORD, 7));
  EXPECT_EQ(68U + (std::uint64_t{1} << 33), layout::recordSize(ZEB_EVTR_RECORD, 1ULL << 32));
}

TEST(Sizes, ARecordWithoutStringsHasOneSize) {
  EXPECT_EQ(168U, layout::recordSize(ZEB_STIR_RECORD, 7));
  EXPECT_EQ(144U, layout::recordSize(ZEB_EVDR_RECORD, 7));
}

TEST(Sizes, ARecordOfNoTypeHasNone) {
  EXPECT_EQ(0U, layout::recordSize(ZEB_RECORD, 7));
  EXPECT_EQ(0U, layout::recordSize(ZEB_EVIR_RECORD, 7));
  EXPECT_EQ(0U, layout::recordSize(10, 7));
}

TEST(Sizes, AnAreaIsBounded) {
  EXPECT_EQ(4096U, layout::areaSize(0));
  EXPECT_EQ(4096U, layout::areaSize(4095));
  EXPECT_EQ(4097U, layout::areaSize(4097));
  EXPECT_EQ(2147483647U, layout::areaSize(2147483648));
  EXPECT_EQ(32768U, layout::kDefaultArea);
}

TEST(Sizes, ASegmentIsAHeaderAndThreeAreas) {
  EXPECT_EQ(786464U, layout::segmentSize(262144));
  EXPECT_EQ(4294967294U, layout::segmentSize(1431655754));
  EXPECT_EQ(1U, layout::segmentSize(1431655755));
  EXPECT_EQ(2147483677U, layout::segmentSize(layout::kLargestArea));
}

TEST(Sizes, AHeaderTakesRoomOfAnArea) {
  EXPECT_EQ(4064U, layout::roomIn(4096));
  EXPECT_EQ(0U, layout::roomIn(32));
  EXPECT_EQ(0U, layout::roomIn(31));
}

}  // namespace

}  // namespace sizes_test
