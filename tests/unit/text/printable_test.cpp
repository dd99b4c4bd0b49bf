// SPDX-License-Identifier: Apache-2.0
#include "text/printable.h"

#include <gtest/gtest.h>

#include "text/utf8.h"

namespace printable_test {

TEST(Printable, NothingReachesTheTerminalThatCouldMoveItsCursor) {
  EXPECT_EQ("a%nb\\", text::printable("a%nb\\"));
  EXPECT_EQ("\\x1B[31m\\x0A\\x00", text::printable(std::string_view("\x1B[31m\n\0", 7)));
  EXPECT_EQ("\\x7F\\x9B", text::printable("\x7F\u009B"));
  EXPECT_EQ("a\\u202Eb\\u2066", text::printable("a\u202Eb\u2066"));
  EXPECT_EQ("\\U000E0041", text::printable("\U000E0041"));
  EXPECT_EQ("\u00f6\u65e5\U0001F600", text::printable("\u00f6\u65e5\U0001F600"));
}

TEST(Printable, AByteThatIsNoUtf8IsShownAsItsNumber) {
  EXPECT_EQ("caf\\xE9.key", text::printable("caf\xE9.key"));
  EXPECT_EQ("\\x9B31m", text::printable("\x9B"
                                        "31m"));
  EXPECT_EQ("\\xF0\\x9F\\x98", text::printable("\xF0\x9F\x98"));
}

TEST(Printable, TheResultIsWellFormedAndPrintableForAnyPairOfBytes) {
  for (int first = 0; first < 256; ++first)
    for (int second = 0; second < 256; ++second) {
      const char bytes[] = {static_cast<char>(first), static_cast<char>(second)};
      const std::string shown = text::printable({bytes, sizeof bytes});
      ASSERT_TRUE(text::wellFormed(shown)) << first << " " << second;
      ASSERT_EQ(shown, text::printable(shown)) << first << " " << second;
    }
}

TEST(Columns, WideAndCombiningCharactersAreCountedAsTheyAreDrawn) {
  EXPECT_EQ(3U, text::columns("abc"));
  EXPECT_EQ(1U, text::columns("\u00f6"));
  EXPECT_EQ(1U, text::columns("o\u0308"));
  EXPECT_EQ(4U, text::columns("\u65e5\u672c"));
}

TEST(Shortened, EndsInAnEllipsisWithinTheWidth) {
  EXPECT_EQ("abcd", text::shortened("abcd", 4));
  EXPECT_EQ("abc…", text::shortened("abcde", 4));
  EXPECT_EQ("\u65e5…", text::shortened("\u65e5\u672c\u8a9e", 4));
  EXPECT_EQ("\\x1B…", text::shortened("\x1B[31m", 5));
  EXPECT_EQ(40U, text::columns(text::shortened(std::string(3000, 'x'), 40)));
}

}  // namespace printable_test
