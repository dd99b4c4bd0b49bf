// SPDX-License-Identifier: Apache-2.0
// What a search says besides the value: the line, and why. What it finds, tests/unit/base and
// tests/agent look at through the lookups.
#include "format/settings.h"

#include <gtest/gtest.h>

#include <string>

namespace settings_test {

namespace {

using layout::findSetting;
using Reason = layout::Setting::Reason;

struct Case {
  std::string text;
  Reason reason;
  std::size_t line;
  std::string word;
};

TEST(Settings, ASearchTellsLineAndReason) {
  const Case cases[] = {{"", Reason::noLine, 0, ""},
                        {"OTHER a\n", Reason::noLine, 0, ""},
                        {"KEY a\nKEY b\n", Reason::found, 1, "a"},
                        {"KEY =a\n", Reason::found, 1, "=a"},
                        {"OTHER a\n\n\n  KEY b\n", Reason::found, 4, "b"},
                        {"\nKEY a", Reason::found, 2, "a"},
                        {"KEY\n\nKEY \t\nKEY a\n", Reason::found, 4, "a"},
                        {"OTHER\nKEY\n KEY\n", Reason::noWord, 2, ""},
                        {"OTHER\nKEY = a\nKEY b\n", Reason::onlyAnEquals, 2, "="},
                        {"KEY=\n", Reason::onlyAnEquals, 1, "="},
                        {std::string("KEY\0 a\nKEY b", 12), Reason::found, 2, "b"},
                        {std::string("KEY a\0b", 7), Reason::found, 1, "a"}};
  for (const Case& expected : cases) {
    const layout::Setting seen = findSetting(expected.text, "KEY");
    EXPECT_EQ(expected.reason, seen.reason) << expected.text;
    EXPECT_EQ(expected.line, seen.line) << expected.text;
    EXPECT_EQ(expected.word, seen.word) << expected.text;
  }
}

TEST(Settings, ALineOfOneBrokerIsNoneForAll) {
  EXPECT_EQ(Reason::noLine, findSetting("ZEBActivateNodeForB No\n", "ZEBActivateNode").reason);
  const auto found = findSetting("ZEBActivateNodeForB No\nZEBActivateNode Yes", "ZEBActivateNode");
  EXPECT_EQ(2U, found.line);
  EXPECT_EQ("Yes", found.value());
}

TEST(Settings, OnlyWhatMatchedCounts) {
  EXPECT_TRUE(findSetting("KEY a", "KEY").matched());
  EXPECT_TRUE(findSetting("KEY =", "KEY").matched());
  EXPECT_FALSE(findSetting("KEY", "KEY").matched());
  EXPECT_FALSE(findSetting("", "KEY").matched());
}

TEST(Settings, TheValueIsTheWordLessOneEqualsSign) {
  EXPECT_EQ("a", findSetting("KEY a", "KEY").value());
  EXPECT_EQ("a", findSetting("KEY=a", "KEY").value());
  EXPECT_EQ("=a", findSetting("KEY==a", "KEY").value());
  EXPECT_EQ("", findSetting("KEY = a", "KEY").value());
  EXPECT_EQ("", findSetting("KEY", "KEY").value());
}

TEST(Settings, AnEmptyKeyGivesTheFirstWord) {
  EXPECT_EQ("uuid", findSetting("\n  =uuid rest", "").value());
  EXPECT_FALSE(findSetting(" \n \n", "").matched());
}

}  // namespace

}  // namespace settings_test
