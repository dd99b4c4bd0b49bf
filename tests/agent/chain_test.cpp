// SPDX-License-Identifier: Apache-2.0
// A chain of nodes as people write it.
#include "agent/model/chain.h"

#include <gtest/gtest.h>

namespace chain_test {

namespace {

using model::Chain;
using model::parseChain;

std::string problemOf(const std::string& text) {
  const model::ChainText parsed = parseChain(text);
  EXPECT_TRUE(parsed.problem.empty() || parsed.chain.empty());
  return parsed.problem;
}

// So many levels.
std::string nested(std::size_t levels) {
  std::string text = "n";
  for (std::size_t i = 0; i < levels; ++i) text += "(n" + std::to_string(i);
  return text + std::string(levels, ')');
}

}  // namespace

TEST(ChainText, BracketsPutNodesInsideOneAnother) {
  EXPECT_EQ((Chain{{"A", {}}, {"B", 0}, {"C", 0}, {"D", 2}}), parseChain("A(B,C(D))").chain);
  EXPECT_EQ((Chain{{"A", {}}, {"B", 0}, {"C", {}}}), parseChain("A(B),C").chain);
  EXPECT_EQ((Chain{{"A", {}}}), parseChain("A").chain);
  EXPECT_EQ((Chain{{"A", {}}, {"B", 0}, {"C", 1}, {"D", 0}}), parseChain("A(B(C),D)").chain);
}

TEST(ChainText, LabelsMayHoldBlanksAndEscapedSigns) {
  EXPECT_EQ((Chain{{"Order in", {}}, {"Before pricing", 0}}),
            parseChain("  Order in ( Before pricing ) ").chain);
  EXPECT_EQ((Chain{{"a,b", {}}, {"c(d)", 0}, {"e\\", 0}}),
            parseChain("a\\,b(c\\(d\\),e\\\\)").chain);
  EXPECT_EQ((Chain{{"a\\", {}}}), parseChain("a\\").chain);
}

TEST(ChainText, SaysWhereItIsWrong) {
  EXPECT_EQ("column 1: a node's label is missing", problemOf(""));
  EXPECT_EQ("column 3: a node's label is missing", problemOf("A("));
  EXPECT_EQ("column 3: a node's label is missing", problemOf("A()"));
  EXPECT_EQ("column 5: a node's label is missing", problemOf("A(B,)"));
  EXPECT_EQ("column 2: \")\" without a \"(\"", problemOf("A)"));
  EXPECT_EQ("column 5: \")\" without a \"(\"", problemOf("A(B))"));
  EXPECT_EQ("column 4: 1 \")\" is missing", problemOf("A(B"));
  EXPECT_EQ("column 6: 2 \")\" are missing", problemOf("A(B(C"));
  EXPECT_EQ("column 6: a \",\" or \")\" is missing", problemOf("A(B) C"));
  EXPECT_EQ("column 5: a \",\" or \")\" is missing", problemOf("A(B)(C)"));
  EXPECT_EQ("column 5: \"B\" is there twice", problemOf("A(B,B)"));
}

TEST(ChainText, ColumnsCountCharacters) {
  EXPECT_EQ("column 3: \")\" without a \"(\"", problemOf("\xC3\xA4\xE2\x82\xAC)"));
}

TEST(ChainText, IsBounded) {
  EXPECT_EQ("", problemOf(nested(model::kMostChainLevels)));
  EXPECT_EQ("column 392: more than 100 levels", problemOf(nested(model::kMostChainLevels + 1)));
  std::string wide = "n";
  for (std::size_t i = 1; i < model::kMostChainNodes; ++i) wide += ",n" + std::to_string(i);
  EXPECT_EQ(model::kMostChainNodes, parseChain(wide).chain.size());
  EXPECT_TRUE(problemOf(wide + ",one more").ends_with("more than 1000 nodes"));
}

TEST(ChainText, OfNodesOneInsideTheOtherIsReadAsTheyAre) {
  const std::vector<std::string> labels = {"Order in", "a,b(c)", " \\ ", "x\\", "("};
  Chain chain;
  for (const std::string& label : labels) {
    chain.push_back({label, chain.empty() ? std::nullopt : std::optional(chain.size() - 1)});
  }
  EXPECT_EQ("Order in(a\\,b\\(c\\)(\\ \\\\\\ (x\\\\(\\())))", model::chainTextOf(labels));
  EXPECT_EQ(chain, parseChain(model::chainTextOf(labels)).chain);
  EXPECT_EQ("", model::chainTextOf({}));
}

}  // namespace chain_test
