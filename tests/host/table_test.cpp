// SPDX-License-Identifier: Apache-2.0
#include "host/report/table.h"

#include <gtest/gtest.h>

namespace table_test {

using host::table;

TEST(Table, ColumnsAreAsWideAsTheirWidestCell) {
  EXPECT_EQ(table({{"name", "n"}, {"a", "1"}, {"bcdefg", "1,000"}}, 1),
            "name        n\n"
            "a           1\n"
            "bcdefg  1,000\n");
}

TEST(Table, NoLineEndsInBlanks) {
  EXPECT_EQ(table({{"a", "heading"}, {"b", ""}}, 2), "a  heading\nb\n");
}

TEST(Table, WidthsAreThoseOnTheTerminal) {
  EXPECT_EQ(table({{"h", "|"}, {"\xE6\x97\xA5", "|"}, {"\x1B", "|"}}, 1),
            "h     |\n"
            "\xE6\x97\xA5    |\n"
            "\\x1B  |\n");
}

}  // namespace table_test
