// SPDX-License-Identifier: Apache-2.0
// Lines of a screen, and what is drawn in them.
#include "agent/render/line.h"

#include <gtest/gtest.h>

#include "agent/render/drawing.h"
#include "text/printable.h"

namespace line_test {

namespace {

using render::Attribute;
using render::Line;

std::string cut(const Line& line, std::size_t columns) {
  return printed(clipped(line, columns), false);
}

}  // namespace

TEST(Line, IsCutAtAnyColumn) {
  const Line line{{"ab", Attribute::strong}, {"名前"}, {"c"}};
  EXPECT_EQ(7U, columnsOf(line));
  EXPECT_EQ("ab名前c\n", cut(line, 7));
  EXPECT_EQ("ab名…\n", cut(line, 6));
  EXPECT_EQ("ab名…\n", cut(line, 5));
  EXPECT_EQ("ab…\n", cut(line, 4));
  EXPECT_EQ("ab…\n", cut(line, 3));
  EXPECT_EQ("a…\n", cut(line, 2));
  EXPECT_EQ("…\n", cut(line, 1));
  EXPECT_EQ("\n", cut(line, 0));
  EXPECT_EQ(Attribute::strong, clipped(line, 3)[0].attribute);
}

TEST(Line, IsFilledUpWithBlanks) {
  const Line line = padded({{"ab"}}, 5, Attribute::bar);
  EXPECT_EQ(5U, columnsOf(line));
  EXPECT_EQ(Attribute::bar, line.back().attribute);
  EXPECT_EQ(2U, columnsOf(padded({{"ab"}}, 1, Attribute::bar)));
  EXPECT_EQ(Attribute::chosen, all(line, Attribute::chosen)[0].attribute);
}

TEST(Line, IsTextWithoutBlanksAtItsEnd) {
  EXPECT_EQ("a\n", render::printed({{"a "}, {"  "}, {""}}, false));
  EXPECT_EQ("\n", render::printed({{"  "}}, true));
  EXPECT_EQ("\x1B[1ma\x1B[0m \x1B[33mb\x1B[0m \x1B[31mc\x1B[0m \x1B[7md\x1B[0m \x1B[1me\x1B[0m\n",
            render::printed({{"a", Attribute::strong},
                             {" "},
                             {"b", Attribute::warning},
                             {" "},
                             {"c", Attribute::critical},
                             {" "},
                             {"d", Attribute::chosen},
                             {" "},
                             {"e", Attribute::bar}},
                            true));
}

TEST(Line, SentencesAreWrappedAtTheirWords) {
  using Lines = std::vector<std::string>;
  EXPECT_EQ((Lines{"one two", "three"}), render::wrapped("one two  three", 7));
  EXPECT_EQ((Lines{"one", "abcdefgh", "two"}), render::wrapped("one abcdefgh two", 4));
  EXPECT_EQ((Lines{"名前", "名前"}), render::wrapped("名前 名前", 8));
  EXPECT_EQ(Lines{}, render::wrapped("", 8));
}

TEST(Bar, IsAsLongAsTheShare) {
  using render::Signs;
  EXPECT_EQ("#####", render::barOf(0.5, 10, Signs::ascii));
  EXPECT_EQ("███", render::barOf(0.26, 10, Signs::boxes));
  EXPECT_EQ("", render::barOf(0.04, 10, Signs::ascii));
  EXPECT_EQ("", render::barOf(-1, 10, Signs::ascii));
  EXPECT_EQ("####", render::barOf(1e300, 4, Signs::ascii));
}

}  // namespace line_test
