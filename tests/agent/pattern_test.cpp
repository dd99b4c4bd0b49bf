// SPDX-License-Identifier: Apache-2.0
#include "agent/model/pattern.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

namespace pattern_test {

using model::matches;

namespace {

// The plain definition, which takes forever on some patterns.
bool meant(std::string_view pattern, std::string_view name) {
  if (pattern.empty()) return name.empty();
  if (pattern[0] == '*')
    return meant(pattern.substr(1), name) || (!name.empty() && meant(pattern, name.substr(1)));
  return !name.empty() && name[0] == pattern[0] && meant(pattern.substr(1), name.substr(1));
}

}  // namespace

TEST(Pattern, WithoutAStarIsTheNameItself) {
  EXPECT_TRUE(matches("Order in", "Order in"));
  EXPECT_FALSE(matches("Order in", "Order inn"));
  EXPECT_FALSE(matches("Order in", "order in"));
  EXPECT_FALSE(matches("Order", ""));
  EXPECT_FALSE(matches("a?c", "abc"));
  EXPECT_FALSE(matches("[a]", "a"));
}

TEST(Pattern, AStarStandsForAnything) {
  EXPECT_TRUE(matches("*", ""));
  EXPECT_TRUE(matches("*", "x"));
  EXPECT_TRUE(matches("Order*", "Order"));
  EXPECT_TRUE(matches("*in", "Order in"));
  EXPECT_TRUE(matches("O*r*n", "Order in"));
  EXPECT_FALSE(matches("O*x*n", "Order in"));
  EXPECT_FALSE(matches("*in", "Order in "));
  EXPECT_FALSE(matches("a*a", "a"));
  EXPECT_FALSE(matches("ab*bc", "abc"));
}

TEST(Pattern, AnEmptyOneMeansEveryNameAndANameWithAStarMeansItself) {
  EXPECT_TRUE(matches("", ""));
  EXPECT_TRUE(matches("", "x"));
  EXPECT_TRUE(matches("a*b", "a*b"));
  EXPECT_TRUE(matches("*", {}));
  EXPECT_TRUE(matches("**", {}));
}

TEST(Pattern, AgreesWithThePlainDefinition) {
  std::mt19937 random(1);
  const auto text = [&random](const char* letters, std::size_t kinds) {
    std::string made;
    for (auto length = random() % 7; length > 0; --length) made += letters[random() % kinds];
    return made;
  };
  int matched = 0;
  for (int i = 0; i < 20000; ++i) {
    const std::string pattern = "b" + text("ab*", 3);
    const std::string name = "b" + text("ab", 2);
    ASSERT_EQ(meant(pattern, name), matches(pattern, name)) << pattern << " " << name;
    matched += matches(pattern, name);
  }
  EXPECT_LT(1000, matched);
  EXPECT_GT(19000, matched);
}

// Backtracking would not end in a lifetime; looking for each piece from each place would take
// hours.
TEST(Pattern, AHostileOneEndsSoon) {
  constexpr std::size_t kLength = 1 << 20;
  const std::string name(kLength, 'a');
  std::string pattern;
  for (std::size_t i = 0; i < kLength / 8; ++i) pattern += "a*";
  EXPECT_TRUE(matches(pattern, name));
  EXPECT_FALSE(matches(pattern + "b", name));
  EXPECT_FALSE(matches("*" + std::string(kLength / 2, 'a') + "b*", name));
}

}  // namespace pattern_test
