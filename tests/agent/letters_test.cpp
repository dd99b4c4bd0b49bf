// SPDX-License-Identifier: Apache-2.0
#include "agent/reader/letters.h"

#include <gtest/gtest.h>

namespace letters_test {

TEST(Letters, OnlyThoseOfAsciiLoseTheirCase) {
  EXPECT_EQ("az09@[`{ \xC3\x84", reader::lowered("AZ09@[`{ \xC3\x84"));
  EXPECT_EQ("", reader::lowered(""));
}

TEST(Letters, TextsAreTheSameInAnyCase) {
  EXPECT_TRUE(reader::sameLetters("EventOnly", "eVENToNLY"));
  EXPECT_TRUE(reader::sameLetters("", ""));
  EXPECT_FALSE(reader::sameLetters("Yes", "Yes "));
  EXPECT_FALSE(reader::sameLetters("@", "`"));
}

}  // namespace letters_test
