// SPDX-License-Identifier: Apache-2.0
#include "agent/cli/show.h"

#include <gtest/gtest.h>

#include "agent/cli/table.h"

TEST(Printable, NothingReachesTheTerminalThatCouldMoveItsCursor) {
  EXPECT_EQ("a%nb", cli::printable("a%nb"));
  EXPECT_EQ("\\x1B[31m\\x0A\\x00", cli::printable(std::string_view("\x1B[31m\n\0", 7)));
  EXPECT_EQ("\\x7F\\x9B", cli::printable("\x7F\u009B"));
  EXPECT_EQ("a\\u202Eb\\u2066", cli::printable("a\u202Eb\u2066"));
  EXPECT_EQ("\\U000E0041", cli::printable("\U000E0041"));
  EXPECT_EQ("\u00f6\u65e5\U0001F600", cli::printable("\u00f6\u65e5\U0001F600"));
}

TEST(Columns, WideAndCombiningCharactersAreCountedAsTheyAreDrawn) {
  EXPECT_EQ(3U, cli::columns("abc"));
  EXPECT_EQ(1U, cli::columns("\u00f6"));
  EXPECT_EQ(1U, cli::columns("o\u0308"));
  EXPECT_EQ(4U, cli::columns("\u65e5\u672c"));
}

TEST(Shortened, EndsInAnEllipsisWithinTheWidth) {
  EXPECT_EQ("abcd", cli::shortened("abcd", 4));
  EXPECT_EQ("abc…", cli::shortened("abcde", 4));
  EXPECT_EQ("\u65e5…", cli::shortened("\u65e5\u672c\u8a9e", 4));
  EXPECT_EQ(40U, cli::columns(cli::shortened(std::string(3000, 'x'), 40)));
}

TEST(Scaled, TakesFiveCharactersAtMost) {
  EXPECT_EQ("0", cli::scaled(0));
  EXPECT_EQ("-7", cli::scaled(-7));
  EXPECT_EQ("9999", cli::scaled(9999));
  EXPECT_EQ("10.0k", cli::scaled(10000));
  EXPECT_EQ("99.9k", cli::scaled(99940));
  EXPECT_EQ("100k", cli::scaled(99960));
  EXPECT_EQ("999k", cli::scaled(999499));
  EXPECT_EQ("1.0M", cli::scaled(999500));
  EXPECT_EQ("2.1G", cli::scaled(2147483647));
  EXPECT_EQ("9.2E", cli::scaled(9223372036854775807));
}

TEST(Average, HasADecimalWhileItIsSmallAndNeedsMessages) {
  EXPECT_EQ("-", cli::average(10, 0));
  EXPECT_EQ("-", cli::average(10, -1));
  EXPECT_EQ("3.3", cli::average(10, 3));
  EXPECT_EQ("333", cli::average(1000, 3));
  EXPECT_EQ("33.3k", cli::average(100000, 3));
}

TEST(Time, IsShownInUtc) {
  EXPECT_EQ("1970-01-01T00:00:00Z", cli::isoTime(0));
  EXPECT_EQ("1901-01-01T00:00:01Z", cli::isoTime(1 - 2177452800));
  EXPECT_EQ("2026-11-21 04:09:31", cli::dateAndTime(1795234171));
  EXPECT_EQ("2026-11-21", cli::dateOnly(1795234171));
  EXPECT_EQ("04:09:31", cli::timeOnly(1795234171));
}

TEST(ParseTime, TakesUtcTimesAndAges) {
  EXPECT_EQ(1795234171, cli::parseTime("2026-11-21T04:09:31Z", 0));
  EXPECT_EQ(1795234171, cli::parseTime("2026-11-21T04:09:31", 0));
  EXPECT_EQ(1795234171, cli::parseTime("2026-11-21 04:09:31", 0));
  EXPECT_EQ(1795219200, cli::parseTime("2026-11-21", 0));
  EXPECT_EQ(1000 - 90, cli::parseTime("90s", 1000));
  EXPECT_EQ(100000 - 900, cli::parseTime("15m", 100000));
  EXPECT_EQ(100000 - 7200, cli::parseTime("2h", 100000));
  EXPECT_EQ(100000 - 86400, cli::parseTime("1d", 100000));
}

TEST(ParseTime, RefusesEverythingElse) {
  for (const char* text :
       {"", "s", "yesterday", "12", "-5m", "5 m", "1.5h", "5mm", "2026-13-01",
        "2026-11-21T04:09:31+01:00", "2026-11-21T25:00:00Z", "99999999999999999s"}) {
    EXPECT_FALSE(cli::parseTime(text, 1000)) << text;
  }
}

TEST(Table, AlignsColumnsUnderTheirTitles) {
  cli::Table table({{.title = "name"},
                    {.title = "avg", .right = true, .group = "size"},
                    {.title = "max", .right = true, .gap = 1},
                    {.title = "note", .gap = 1}});
  table.addRow({"\u00f6", "7", "1000", ""});
  table.addLine("a line that is much longer than all columns");
  table.addRow({"second", "12", "3", "x"});
  EXPECT_EQ(
      "        size\n"
      "name    avg  max note\n"
      "\u00f6         7 1000\n"
      "a line that is much longer than all columns\n"
      "second   12    3 x\n",
      table.text());
}
