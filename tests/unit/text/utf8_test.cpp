// SPDX-License-Identifier: Apache-2.0
#include "text/utf8.h"

#include <gtest/gtest.h>

namespace utf8_test {

namespace {

void expectValid(std::string_view utf8, char32_t point) {
  const text::Step step = text::firstOf(utf8);
  EXPECT_TRUE(step.valid) << utf8;
  EXPECT_EQ(utf8.size(), step.bytes) << utf8;
  EXPECT_EQ(point, step.point) << utf8;
}

void expectStray(std::string_view bytes) {
  const text::Step step = text::firstOf(bytes);
  EXPECT_FALSE(step.valid) << testing::PrintToString(bytes);
  EXPECT_EQ(1U, step.bytes);
}

std::string encoded(char32_t point) {
  std::string utf8;
  text::append(utf8, point);
  return utf8;
}

}  // namespace

TEST(Utf8, TheFirstAndTheLastCharacterOfEachLengthAreRead) {
  expectValid(std::string_view("\0", 1), 0);
  expectValid("\x7F", 0x7F);
  expectValid("\xC2\x80", 0x80);
  expectValid("\xDF\xBF", 0x7FF);
  expectValid("\xE0\xA0\x80", 0x800);
  expectValid("\xED\x9F\xBF", 0xD7FF);
  expectValid("\xEE\x80\x80", 0xE000);
  expectValid("\xEF\xBF\xBF", 0xFFFF);
  expectValid("\xF0\x90\x80\x80", 0x10000);
  expectValid("\xF4\x8F\xBF\xBF", 0x10FFFF);
}

TEST(Utf8, WhatIsNoCharacterIsOneStrayByte) {
  expectStray("\x80");  // nothing before it
  expectStray("\xBF");
  expectStray("\xC1\xBF");  // overlong
  expectStray("\xE0\x9F\xBF");
  expectStray("\xF0\x8F\xBF\xBF");
  expectStray("\xED\xA0\x80");  // a surrogate
  expectStray("\xED\xBF\xBF");
  expectStray("\xF4\x90\x80\x80");  // above the last one
  expectStray("\xF5\x80\x80\x80");
  expectStray("\xFF");
  expectStray("\xC3");  // cut off
  expectStray("\xE2\x82");
  expectStray("\xF0\x9F\x98");
  expectStray("\xC3(");  // another character where a tail should be
  expectStray("\xE2\x82(");
  expectStray("\xF0\x9F\x98(");
}

TEST(Utf8, ATextIsWellFormedWhenEachCharacterIs) {
  EXPECT_TRUE(text::wellFormed(""));
  EXPECT_TRUE(text::wellFormed("a\u00f6\u65e5\U0001F600"));
  EXPECT_FALSE(text::wellFormed("a\xE9"));
  EXPECT_FALSE(
      text::wellFormed("\xE9"
                       "a"));
}

TEST(Utf8, WhatIsAppendedIsReadBack) {
  for (const char32_t point : {U'\0', U'a', char32_t{0x7F}, char32_t{0x80}, char32_t{0x7FF},
                               char32_t{0x800}, char32_t{0xD7FF}, char32_t{0xE000},
                               char32_t{0xFFFF}, char32_t{0x10000}, char32_t{0x10FFFF}})
    expectValid(encoded(point), point);
  EXPECT_EQ("\uFFFD", encoded(0xD800));
  EXPECT_EQ("\uFFFD", encoded(0xDFFF));
  EXPECT_EQ("\uFFFD", encoded(0x110000));
}

}  // namespace utf8_test
