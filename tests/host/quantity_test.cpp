// SPDX-License-Identifier: Apache-2.0
#include "flowfile/quantity.h"

#include <gtest/gtest.h>

#include "flowfile/numbers.h"

namespace quantity_test {

using namespace flowfile;
using namespace std::chrono_literals;

TEST(Quantity, DurationsNeedTheirUnit) {
  EXPECT_EQ(parseDuration("250us"), 250us);
  EXPECT_EQ(parseDuration("1.5s"), 1500ms);
  EXPECT_EQ(parseDuration("2m"), 120s);
  EXPECT_EQ(parseDuration("1 h"), 3600s);
  for (const char* wrong : {"", "5", "ms", "5 sec", "-1s", "nan", "1e300h", "5ms "}) {
    EXPECT_FALSE(parseDuration(wrong)) << wrong;
  }
}

TEST(Quantity, BytesMayGoWithoutUnit) {
  EXPECT_EQ(parseBytes("200"), 200);
  EXPECT_EQ(parseBytes("200B"), 200);
  EXPECT_EQ(parseBytes("4KiB"), 4096);
  EXPECT_EQ(parseBytes("1MiB"), 1048576);
  for (const char* wrong : {"", "KiB", "4kb", "-4", "4 GB"})
    EXPECT_FALSE(parseBytes(wrong)) << wrong;
}

TEST(Quantity, NumbersAreGroupedByThousands) {
  EXPECT_EQ(flowfile::grouped(0), "0");
  EXPECT_EQ(flowfile::grouped(999), "999");
  EXPECT_EQ(flowfile::grouped(1000), "1,000");
  EXPECT_EQ(flowfile::grouped(1234567), "1,234,567");
}

}  // namespace quantity_test
