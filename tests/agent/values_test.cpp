// SPDX-License-Identifier: Apache-2.0
#include "agent/render/values.h"

#include <gtest/gtest.h>

#include <cerrno>

TEST(Scaled, TakesFiveCharactersAtMost) {
  EXPECT_EQ("0", render::scaled(0));
  EXPECT_EQ("-7", render::scaled(-7));
  EXPECT_EQ("9999", render::scaled(9999));
  EXPECT_EQ("10.0k", render::scaled(10000));
  EXPECT_EQ("99.9k", render::scaled(99940));
  EXPECT_EQ("100k", render::scaled(99960));
  EXPECT_EQ("999k", render::scaled(999499));
  EXPECT_EQ("1.0M", render::scaled(999500));
  EXPECT_EQ("2.1G", render::scaled(2147483647));
  EXPECT_EQ("9.2E", render::scaled(9223372036854775807));
}

TEST(Average, HasADecimalWhileItIsSmallAndNeedsMessages) {
  EXPECT_EQ("-", render::average(10, 0));
  EXPECT_EQ("-", render::average(10, -1));
  EXPECT_EQ("3.3", render::average(10, 3));
  EXPECT_EQ("333", render::average(1000, 3));
  EXPECT_EQ("33.3k", render::average(100000, 3));
}

TEST(Time, IsShownInUtc) {
  EXPECT_EQ("1970-01-01T00:00:00Z", render::isoTime(0));
  EXPECT_EQ("1901-01-01T00:00:01Z", render::isoTime(1 - 2177452800));
  EXPECT_EQ("2026-11-21 04:09:31", render::dateAndTime(1795234171));
  EXPECT_EQ("2026-11-21", render::dateOnly(1795234171));
  EXPECT_EQ("04:09:31", render::timeOnly(1795234171));
}

TEST(Values, ANumberThatCouldNotBeReadIsNoZero) {
  EXPECT_EQ("0", render::whole(0));
  EXPECT_EQ("10000", render::whole(10000));
  EXPECT_EQ("?", render::whole(std::nullopt));
  EXPECT_EQ("?", render::scaled(std::nullopt));
  EXPECT_EQ("?", render::average(std::nullopt, 1));
  EXPECT_EQ("?", render::average(1, std::nullopt));
  EXPECT_EQ("?", render::average(std::nullopt, 0));
}

TEST(Values, BytesAreTwoUpperCaseDigitsEach) {
  const std::uint8_t bytes[] = {0x00, 0x0A, 0xFF};
  EXPECT_EQ("000AFF", render::hex(bytes));
}

TEST(Values, AnErrorIsWordedAsTheSystemDoes) {
  EXPECT_EQ("Permission denied", render::errorText(EACCES));
}
