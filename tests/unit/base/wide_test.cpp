// SPDX-License-Identifier: Apache-2.0
// Zero-terminated strings of 16-bit units.
#include "base/wide.h"

#include <gtest/gtest.h>

#include "tests/support/library_test.h"

namespace wide_test {

using namespace support;

namespace {

using Units = std::vector<zebchar>;

class Wide : public LibraryTest {};

TEST_F(Wide, LengthCountsTheUnitsBeforeTheFirstZero) {
  const zebchar text[] = {'a', 0x100, 'c', 0, 'd', 0};
  EXPECT_EQ(3U, zeblen(text));
  EXPECT_EQ(0U, zeblen(text + 3));
  EXPECT_EQ(0U, zeblen(nullptr));
}

TEST_F(Wide, ACopyOfNUnitsTakesThemWhateverTheyHold) {
  const zebchar text[] = {'a', 0, 'c', 'd', 0};
  Units to(5, 0xEEEE);
  EXPECT_EQ(to.data(), zebncpy(to.data(), text, 3));
  EXPECT_EQ((Units{'a', 0, 'c', 0xEEEE, 0xEEEE}), to);
  zebncpy(to.data(), text + 3, 0);
  EXPECT_EQ('a', to[0]);
}

TEST_F(Wide, ACopyTakesTheTerminatorAndNoMore) {
  const zebchar text[] = {'a', 'b', 0, 'd'};
  Units to(4, 0xEEEE);
  EXPECT_EQ(to.data(), zebcpy(to.data(), text));
  EXPECT_EQ((Units{'a', 'b', 0, 0xEEEE}), to);
  zebcpy(to.data(), text + 2);
  EXPECT_EQ((Units{0, 'b', 0, 0xEEEE}), to);
}

TEST_F(Wide, AppendingBeginsAtTheTerminator) {
  const zebchar text[] = {'c', 'd', 0};
  Units to{'a', 'b', 0, 0xEEEE, 0xEEEE, 0xEEEE};
  EXPECT_EQ(to.data(), zebcat(to.data(), text));
  EXPECT_EQ((Units{'a', 'b', 'c', 'd', 0, 0xEEEE}), to);
}

TEST_F(Wide, ComparisonTakesTheLengthsFirst) {
  const zebchar two[] = {'z', 'z', 0};
  const zebchar three[] = {'a', 'a', 'a', 0};
  EXPECT_EQ(-1, zebcmp(two, three));
  EXPECT_EQ(1, zebcmp(three, two));
  EXPECT_EQ(3, zebcmp(three, nullptr));
  EXPECT_EQ(-2, zebcmp(nullptr, two));
  EXPECT_EQ(0, zebcmp(nullptr, nullptr));
  EXPECT_EQ(0, zebcmp(nullptr, two + 2));
}

TEST_F(Wide, ComparisonThenTakesTheBytesInMemory) {
  const zebchar low[] = {0x0002, 0};
  const zebchar high[] = {0x0101, 0};
  EXPECT_GT(zebcmp(low, high), 0) << "the low byte comes first";
  EXPECT_LT(zebcmp(high, low), 0);
  EXPECT_EQ(0, zebcmp(low, low));
  const zebchar last[] = {'a', 0x0161, 0};
  const zebchar other[] = {'a', 0x0061, 0};
  EXPECT_GT(zebcmp(last, other), 0) << "the high byte of the last unit counts";
}

TEST_F(Wide, WideningExtendsTheSign) {
  const char text[] = {'a', '\x7F', '\x80', '\xE9', '\xFF', 'x'};
  Units to(7, 0xEEEE);
  EXPECT_EQ(0, strtozeb(to.data(), text, 5));
  EXPECT_EQ((Units{'a', 0x7F, 0xFF80, 0xFFE9, 0xFFFF, 0, 0xEEEE}), to);
  EXPECT_EQ(0, strtozeb(to.data(), text, 0));
  EXPECT_EQ((Units{0, 0x7F}), Units(to.begin(), to.begin() + 2));
}

TEST_F(Wide, NarrowingDropsTheHighByte) {
  const zebchar text[] = {'a', 0xFFE9, 0x1234, 0x0100, 'e'};
  std::string to(6, 'E');
  EXPECT_EQ(0, zebtostr(to.data(), text, 4));
  EXPECT_EQ(std::string("a\xE9\x34\0\0E", 6), to);
  EXPECT_EQ(0, zebtostr(to.data(), text, 0));
  EXPECT_EQ('\0', to[0]);
  EXPECT_EQ('\xE9', to[1]);
}

TEST_F(Wide, EachFunctionTraces) {
  const zebchar text[] = {'a', 'b', 0};
  zebchar wide[5] = {};
  char narrow[5] = {};
  const Tracing on;
  zebcat(wide, text);
  zebcmp(text, text + 1);
  strtozeb(wide, "a", 1);
  zebtostr(narrow, text, 1);
  zebncpy(wide, text, 1);
  zebcpy(wide, text);
  zeblen(text);
  const char unit[] = "zebcstrn";
  expectTraced(unit, {{"zeblen", "Exit: 0x2"},
                      {"zebncpy", exitOf(wide)},
                      {"zebcpy", exitOf(wide)},
                      {"zebcat", exitOf(wide)},
                      {"zebcmp", "Exit: 0x1"},
                      {"strtozeb", "Exit: 0x0"},
                      {"zebtostr", "Exit: 0x0"}});
  host().forget();
  zebcmp(text, text);
  expectTraced(unit, {{"zebcmp", "Exit: 0x0"}});
}

}  // namespace

}  // namespace wide_test
