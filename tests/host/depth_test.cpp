// SPDX-License-Identifier: Apache-2.0
#include "flowfile/depth.h"

#include <gtest/gtest.h>

#include <string>

namespace depth_test {

using flowfile::Place;
using flowfile::tooDeep;

namespace {

std::string times(const std::string& text, std::size_t count) {
  std::string all;
  for (std::size_t i = 0; i < count; ++i) all += text;
  return all;
}

std::string keyOf(std::size_t parts) {
  return "a" + times(".a", parts - 1);
}

}  // namespace

TEST(Depth, AHundredPartsOfAKeyAreTheMost) {
  EXPECT_FALSE(tooDeep(keyOf(100) + " = 1\n"));
  EXPECT_FALSE(tooDeep("[" + keyOf(100) + "]\n"));
  EXPECT_FALSE(tooDeep("[[" + keyOf(100) + "]]\n"));
  for (const std::string& text :
       {keyOf(101) + " = 1", "[" + keyOf(101) + "]", "a = { " + keyOf(101) + " = 1 }",
        times("a . ", 101) + "a = 1", "'a'" + times(".\"b\"", 100) + " = 1"}) {
    const auto finding = tooDeep("# first\n" + text);
    ASSERT_TRUE(finding) << text;
    EXPECT_EQ(finding->text, "a key of more than 100 parts; a flow file needs no more than 6");
    EXPECT_EQ(finding->place.line, 2U);
  }
}

TEST(Depth, AHundredLevelsOfNestingAreTheMost) {
  EXPECT_FALSE(tooDeep("a = " + times("[", 100) + times("]", 100)));
  EXPECT_FALSE(tooDeep("a = " + times("{ a = ", 100) + "1" + times("}", 100)));
  for (const std::string& text : {"a = " + times("[", 101), "a = " + times("{ a = ", 101),
                                  "a = " + times("[{ a = ", 51), "a = " + times("[\n", 101)}) {
    const auto finding = tooDeep(text);
    ASSERT_TRUE(finding) << text;
    EXPECT_EQ(finding->text, "more than 100 levels of nesting; a flow file needs no more than 6");
  }
}

TEST(Depth, PartsOfAKeyAreLevelsForItsValue) {
  EXPECT_FALSE(tooDeep(keyOf(100) + " = [ 1 ]"));
  EXPECT_TRUE(tooDeep(keyOf(100) + " = [ [ 1 ] ]"));
  EXPECT_TRUE(tooDeep("a = " + times("{ " + keyOf(50) + " = ", 4)));
}

TEST(Depth, WhatIsClosedOrBegunAgainDoesNotAddUp) {
  EXPECT_FALSE(tooDeep(times("a = [ 1.5, { b.c = 2 } ]\n", 200)));
  EXPECT_FALSE(tooDeep("a = [ " + times("1.5, ", 200) + "]"));
  EXPECT_FALSE(tooDeep(times("[a.b.c]\nd.e = 1.5\n", 200)));
  EXPECT_FALSE(tooDeep(times("]", 200) + "a = [ 1 ]"));
}

TEST(Depth, NothingInAStringOrACommentCounts) {
  const std::string deep = times("[", 200) + times(".a", 200);
  EXPECT_FALSE(tooDeep("a = \"" + deep + "\"\nb = '" + deep + "'\n# " + deep + "\n"));
  EXPECT_FALSE(tooDeep("a = \"\"\"\n" + deep + "\"\n\"\"\"\nb = '''\n" + deep + "\n'''\n"));
  EXPECT_FALSE(tooDeep(R"(a = "\")" + deep + "\"\n"));
  EXPECT_TRUE(tooDeep("a = '\\'\nb = " + deep)) << "a literal string knows no escapes";
  EXPECT_TRUE(tooDeep("a = \"open\nb = " + deep)) << "a string of one line ends with it";
}

TEST(Depth, ThePlaceCountsCharactersAndLines) {
  EXPECT_EQ(tooDeep("x = 1\ny = '\xC3\xA9\xC3\xA9' # \xC3\xA9\nz = [\n" + times("[", 100))->place,
            (Place{4, 101}));
  EXPECT_EQ(tooDeep("a = ['\xC3\xA9', " + times("[", 100))->place, (Place{1, 111}));
}

}  // namespace depth_test
