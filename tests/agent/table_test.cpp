// SPDX-License-Identifier: Apache-2.0
#include "agent/render/table.h"

#include <gtest/gtest.h>

TEST(Table, AlignsColumnsUnderTheirTitles) {
  render::Table table({{.title = "name"},
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

TEST(Table, WhateverACellHoldsItIsOneCellOfOneRow) {
  render::Table table({{.title = "name"}, {.title = "next"}});
  table.addRow({"a\nb\x1B", "x"});
  table.addLine("c\nd\xE9");
  EXPECT_EQ(
      "name        next\n"
      "a\\x0Ab\\x1B  x\n"
      "c\\x0Ad\\xE9\n",
      table.text());
}
