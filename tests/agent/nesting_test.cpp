// SPDX-License-Identifier: Apache-2.0
// Which node is inside which.
#include "agent/model/nesting.h"

#include <gtest/gtest.h>

#include <array>

#include "flowfile/reader.h"
#include "tests/agent/grown.h"

namespace nesting_test {

namespace {

using model::NestingSource;

// "A>B" says that B is directly in A, "A" alone that it is outermost, "?A" that nobody knows.
std::string inWords(const GrownFlow& flow, const model::Nesting& nesting) {
  std::string words;
  const auto label = [&flow](std::size_t i) { return flow.growth().nodes.at(i).node().label; };
  for (std::size_t i = 0; i < nesting.nodes.size(); ++i) {
    words += words.empty() ? "" : " ";
    if (!nesting.nodes[i].placed) words += "?";
    if (nesting.nodes[i].outer) words += label(*nesting.nodes[i].outer) + ">";
    words += label(i);
  }
  return words;
}

std::string nested(const GrownFlow& flow, const std::string& chain) {
  return inWords(flow,
                 model::nest(flow.growth(), model::parseChain(chain).chain, NestingSource::given));
}

std::string inferred(const GrownFlow& flow, std::uint64_t inFlight = 1) {
  const model::Nesting nesting = model::infer(std::array{&flow.growth()}, inFlight);
  EXPECT_EQ(nesting.nodes.size(), flow.growth().nodes.size());
  return nesting.source == NestingSource::unknown ? "unknown" : inWords(flow, nesting);
}

// A node that grew from (1000 messages, 10 times its time) by these numbers.
Grown node(const std::string& label, std::uint32_t type, std::int64_t messages,
           std::int64_t elapsed) {
  return {.label = label,
          .type = type,
          .before = {.messages = 10 * messages, .elapsed = 10 * elapsed},
          .after = {.messages = 11 * messages, .elapsed = 11 * elapsed}};
}

flowfile::File fileOf(const std::string& nodes) {
  flowfile::ReadResult read = flowfile::read(
      "[broker]\nlabel = \"BRK1\"\n[[execution-group]]\nlabel = \"orders\"\n"
      "[[execution-group.flow]]\nlabel = \"Fulfil\"\nthreads = 3\n"
      "[execution-group.flow.input]\ngenerated = { count = 1, size = \"100B\" }\n" +
          nodes,
      "flows.toml");
  for (const auto& finding : read.findings) ADD_FAILURE() << finding.text;
  return read.file;
}

}  // namespace

TEST(Nesting, AGivenChainPlacesNodesByTheirLabels) {
  const GrownFlow flow({node("C", 3, 1, 1), node("A", 1, 1, 1), node("B", 3, 1, 1)});
  EXPECT_EQ("B>C A A>B", nested(flow, "A(B(C))"));
  EXPECT_EQ("A>C A A>B", nested(flow, "A(B,C)"));
  EXPECT_EQ("?C A A>B", nested(flow, "A(B)"));
}

TEST(Nesting, InnerNodesOfAnOuterOne) {
  const GrownFlow flow({node("A", 1, 1, 1), node("B", 3, 1, 1), node("C", 3, 1, 1)});
  const auto nesting =
      model::nest(flow.growth(), model::parseChain("A(B,C)").chain, NestingSource::given);
  EXPECT_EQ((std::vector<std::size_t>{1, 2}), nesting.nodes[0].inner);
  EXPECT_TRUE(nesting.nodes[1].inner.empty());
}

TEST(Nesting, AnUnknownLabelInAGivenChainIsAProblem) {
  const GrownFlow flow({node("A", 1, 1, 1), node("B", 3, 1, 1)});
  const auto nesting =
      model::nest(flow.growth(), model::parseChain("A(X)").chain, NestingSource::given);
  EXPECT_EQ(NestingSource::unknown, nesting.source);
  EXPECT_EQ("flow \"Fulfil\" has no node \"X\": its nodes are \"A\", \"B\"", nesting.problem);
  EXPECT_EQ("?A ?B", inWords(flow, nesting));
}

TEST(Nesting, OfTwoNodesOfOneLabelTheLivingOneIsMeant) {
  Grown gone = node("B", 3, 1, 1);
  gone.deleted = true;
  const GrownFlow flow({node("A", 1, 1, 1), gone, node("B", 3, 1, 1)});
  EXPECT_EQ("A ?B A>B", nested(flow, "A(B)"));
}

TEST(Nesting, AFlowFileGivesTheMonitorsInTheirOrder) {
  const flowfile::File file = fileOf(
      "[[execution-group.flow.node]]\nmonitor = \"A\"\n"
      "[[execution-group.flow.node]]\nwork = \"W\"\nlatency = \"1ms\"\n"
      "[[execution-group.flow.node]]\nmonitor = \"Off\"\n"
      "[[execution-group.flow.node]]\nmonitor = \"B\"\n");
  const GrownFlow flow({node("A", 1, 1, 1), node("B", 3, 1, 1)});
  const flowfile::Flow* found = model::findFlow(file, flow.growth());
  ASSERT_NE(nullptr, found);
  const model::Chain chain = model::chainOf(*found);
  EXPECT_EQ((model::Chain{{"A", {}}, {"Off", 0}, {"B", 1}}), chain);
  const auto nesting = model::nest(flow.growth(), chain, NestingSource::flowFile);
  EXPECT_EQ(NestingSource::flowFile, nesting.source);
  EXPECT_EQ("A A>B", inWords(flow, nesting));
}

TEST(Nesting, AFlowFileWithoutTheFlowTellsNothing) {
  const flowfile::File file = fileOf("[[execution-group.flow.node]]\nmonitor = \"A\"\n");
  EXPECT_EQ(nullptr, model::findFlow(file, {"orders", "Other", {}}));
  EXPECT_EQ(nullptr, model::findFlow(file, {"others", "Fulfil", {}}));
  const GrownFlow flow({node("X", 1, 1, 1)});
  const auto nesting =
      model::nest(flow.growth(), model::chainOf(file.groups[0].flows[0]), NestingSource::flowFile);
  EXPECT_EQ(NestingSource::unknown, nesting.source);
}

TEST(Nesting, TwoNodesCanOnlyBeInOneAnother) {
  const GrownFlow flow({node("Out", 2, 1000, 100), node("In", 1, 1000, 9000)});
  EXPECT_EQ("In>Out In", inferred(flow));
}

TEST(Nesting, IsInferredWhereTheTimesLeaveOneWay) {
  // B and C don't fit into A beside one another.
  const GrownFlow flow(
      {node("A", 1, 1000, 10000), node("B", 3, 1000, 9000), node("C", 3, 1000, 7000)});
  EXPECT_EQ("A A>B B>C", inferred(flow));
}

TEST(Nesting, IsInferredWhateverTheOrderOfTheNodes) {
  const GrownFlow flow(
      {node("A", 1, 1000, 10000), node("B", 3, 500, 6000), node("C", 3, 900, 9000)});
  EXPECT_EQ("A C>B A>C", inferred(flow));
}

TEST(Nesting, IsUnknownWhereTwoWaysFit) {
  const GrownFlow flow(
      {node("A", 1, 1000, 10000), node("B", 3, 1000, 6000), node("C", 3, 1000, 3000)});
  EXPECT_EQ("unknown", inferred(flow));
}

TEST(Nesting, CountsDecideWhereTimesDoNot) {
  // More messages reached C than B: it can't be in B, though its time fits there.
  const GrownFlow flow(
      {node("A", 1, 1000, 10000), node("B", 3, 500, 6000), node("C", 3, 900, 3000)});
  EXPECT_EQ("A A>B A>C", inferred(flow));
}

TEST(Nesting, WhatIsInFlightIsNoProof) {
  // The same with no more messages than may be in flight.
  const GrownFlow flow(
      {node("A", 1, 100000, 10000), node("B", 3, 99999, 6000), node("C", 3, 100000, 3000)});
  EXPECT_EQ("A A>B A>C", inferred(flow, 0));
  EXPECT_EQ("unknown", inferred(flow, 50));
  // Nor is time: 30 messages of 20 ms.
  const GrownFlow tight(
      {node("A", 1, 1000, 10000), node("B", 3, 1000, 6000), node("C", 3, 1000, 4100)});
  EXPECT_EQ("A A>B B>C", inferred(tight, 1));
  EXPECT_EQ("unknown", inferred(tight, 30));
}

TEST(Nesting, IsUnknownWhereNoWayFits) {
  const GrownFlow flow({node("A", 1, 1000, 1000), node("B", 3, 1000, 9000)});
  EXPECT_EQ("unknown", inferred(flow));
}

TEST(Nesting, EachLookCounts) {
  // The interval alone would let B into A; what was collected before doesn't.
  Grown outer = node("A", 1, 1000, 9000);
  Grown inner = node("B", 3, 1000, 8000);
  EXPECT_EQ("A A>B", inferred(GrownFlow({outer, inner})));
  inner.before.elapsed += 90000;
  inner.after.elapsed += 90000;
  EXPECT_EQ("unknown", inferred(GrownFlow({outer, inner})));
}

TEST(Nesting, WhatWasAddedCounts) {
  // What was collected in all would let B into A; the interval doesn't.
  const GrownFlow flow(
      {{.label = "A", .type = 1, .before = {10000, 100000}, .after = {11000, 101000}},
       {.label = "B", .type = 3, .before = {10000, 50000}, .after = {11000, 55000}}});
  EXPECT_EQ("unknown", inferred(flow));
}

TEST(Nesting, EarlierIntervalsCount) {
  const GrownFlow clear(
      {node("A", 1, 1000, 10000), node("B", 3, 1000, 9000), node("C", 3, 1000, 7000)});
  const GrownFlow vague(
      {node("A", 1, 1000, 10000), node("B", 3, 1000, 6000), node("C", 3, 1000, 3000)});
  EXPECT_EQ("A A>B B>C",
            inWords(vague, model::infer(std::array{&clear.growth(), &vague.growth()}, 1)));
}

TEST(Nesting, TotalsOfANodeThatAloneWasResetAreNoProof) {
  // A was reset long after B began: its totals are smaller, its growth is not.
  GrownFlow flow({{.label = "A", .type = 1, .before = {10, 90}, .after = {1010, 9090}},
                  {.label = "B", .type = 3, .before = {9000, 80000}, .after = {10000, 88000}}});
  EXPECT_EQ("unknown", inferred(flow));
  for (const reader::Node* node : {flow.growth().nodes[0].before, flow.growth().nodes[0].after}) {
    const_cast<reader::Node*>(node)->statistics->firstCollection = 5000;
  }
  EXPECT_EQ("A A>B", inferred(flow));
}

TEST(Nesting, WithoutAnInputNodeOneNodeIsOutermost) {
  const GrownFlow flow({node("B", 3, 1000, 1000), node("A", 3, 1000, 9000)});
  EXPECT_EQ("A>B A", inferred(flow));
}

TEST(Nesting, NodesWithoutMessagesAreNotPlaced) {
  const GrownFlow flow({node("A", 1, 1000, 9000), node("B", 3, 1000, 8000)});
  const_cast<reader::Node*>(flow.growth().nodes[1].after)->statistics->firstCollection.reset();
  EXPECT_EQ("unknown", inferred(flow));
}

TEST(Nesting, DeletedNodesTakeNoPart) {
  Grown gone = node("X", 3, 1000, 500);
  gone.deleted = true;
  const GrownFlow flow({node("A", 1, 1000, 9000), gone, node("B", 3, 1000, 8000)});
  EXPECT_EQ("A ?X A>B", inferred(flow));
}

TEST(Nesting, TooManyNodesAreUnknownSoon) {
  std::vector<Grown> nodes{node("in", 1, 1000, 1000000)};
  for (int i = 0; i < 39; ++i) nodes.push_back(node("n" + std::to_string(i), 3, 1000, 1000 * i));
  EXPECT_EQ("unknown", inferred(GrownFlow(nodes)));
  nodes.push_back(node("one more", 3, 1000, 1));
  EXPECT_EQ("unknown", inferred(GrownFlow(nodes)));
  EXPECT_TRUE(model::infer({}, 1).nodes.empty());
}

}  // namespace nesting_test
