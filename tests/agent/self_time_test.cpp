// SPDX-License-Identifier: Apache-2.0
// What each node spent itself, and what was lost between two.
#include "agent/model/self_time.h"

#include <gtest/gtest.h>

#include <limits>

#include "tests/agent/grown.h"

namespace self_time_test {

namespace {

using model::Loss;
using model::NestingSource;
using model::SelfTime;

constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max();

std::vector<model::NodeTime> timesOf(const GrownFlow& flow, const std::string& chain,
                                     std::uint64_t inFlight = 1) {
  const auto nesting =
      model::nest(flow.growth(), model::parseChain(chain).chain, NestingSource::given);
  return model::timesOf(flow.growth(), nesting, inFlight);
}

Grown node(const std::string& label, std::int64_t messages, std::int64_t elapsed) {
  return {.label = label, .after = {.messages = messages, .elapsed = elapsed}};
}

}  // namespace

TEST(SelfTime, IsANodesTimeWithoutThatOfTheNodesDirectlyInIt) {
  const GrownFlow flow(
      {node("A", 100, 5000), node("B", 100, 2000), node("C", 90, 1000), node("D", 90, 400)});
  const auto times = timesOf(flow, "A(B,C(D))");
  EXPECT_EQ(20.0, times[0].self.perMessageMs);
  EXPECT_EQ(2000.0, times[0].self.totalMs);
  EXPECT_EQ(0.4, times[0].self.share);
  EXPECT_EQ(SelfTime::State::measured, times[0].self.state);
  EXPECT_EQ(20.0, times[1].self.perMessageMs);
  EXPECT_EQ(600.0, times[2].self.totalMs);
  EXPECT_EQ(0.12, times[2].self.share);
  EXPECT_EQ(0.08, times[3].self.share);
}

TEST(SelfTime, NeedsToKnowWhatIsInside) {
  const GrownFlow flow({node("A", 100, 5000), node("B", 100, 2000)});
  const model::Nesting nothing{NestingSource::unknown, std::vector<model::Nest>(2), {}};
  const auto times = model::timesOf(flow.growth(), nothing, 1);
  ASSERT_EQ(2U, times.size());
  EXPECT_EQ(SelfTime::State::unknown, times[0].self.state);
  EXPECT_EQ(std::nullopt, times[0].self.share);
  EXPECT_EQ(Loss::State::unknown, times[1].loss.state);
  EXPECT_EQ(std::nullopt, model::slowest(times));
}

TEST(SelfTime, IsUnknownWhenANumberIs) {
  const GrownFlow flow({node("A", 100, 5000), node("B", 100, 2000)});
  model::FlowGrowth growth = flow.growth();
  growth.nodes[1].growth.elapsedMs.reset();
  const auto nesting = model::nest(growth, model::parseChain("A(B)").chain, NestingSource::given);
  const auto times = model::timesOf(growth, nesting, 1);
  EXPECT_EQ(SelfTime::State::unknown, times[0].self.state);
  EXPECT_EQ(SelfTime::State::unknown, times[1].self.state);
}

TEST(SelfTime, NegativeIsTooShortAnInterval) {
  const auto times = timesOf(GrownFlow({node("A", 10, 500), node("B", 11, 700)}), "A(B)");
  EXPECT_EQ(SelfTime::State::tooShort, times[0].self.state);
  EXPECT_EQ(std::nullopt, times[0].self.share);
}

TEST(SelfTime, LessThanWhatIsInFlightIsTooShortAnInterval) {
  // Inside are 80 ms a message; four in flight are 32 ms of each of the ten messages.
  const GrownFlow flow({node("A", 10, 1100), node("B", 10, 800)});
  EXPECT_EQ(SelfTime::State::tooShort, timesOf(flow, "A(B)", 4)[0].self.state);
  EXPECT_EQ(SelfTime::State::measured, timesOf(flow, "A(B)", 3)[0].self.state);
}

TEST(SelfTime, LessThanAMillisecondIsSaidSoWhereItIsCertain) {
  const GrownFlow flow({node("A", 1000, 50000), node("B", 1000, 49900), node("C", 1000, 300)});
  const auto times = timesOf(flow, "A(B(C))", 4);
  EXPECT_EQ(SelfTime::State::belowOne, times[0].self.state);
  EXPECT_EQ(0.002, times[0].self.share);
  EXPECT_EQ(SelfTime::State::belowOne, times[2].self.state);
  // Slightly negative, and within what is in flight.
  const GrownFlow ahead({node("A", 1000, 49990), node("B", 1000, 50000)});
  EXPECT_EQ(SelfTime::State::belowOne, timesOf(ahead, "A(B)", 4)[0].self.state);
  EXPECT_EQ(0.0, timesOf(ahead, "A(B)", 4)[0].self.share);
}

TEST(SelfTime, NeedsMessages) {
  const auto times = timesOf(GrownFlow({node("A", 0, 0), node("B", 0, 0)}), "A(B)");
  EXPECT_EQ(SelfTime::State::noMessages, times[0].self.state);
  EXPECT_EQ(std::nullopt, times[0].self.share);
  EXPECT_EQ(Loss::State::none, times[1].loss.state);
}

TEST(SelfTime, HostileSumsDoNotOverflow) {
  const auto times =
      timesOf(GrownFlow({node("A", kMost, kMost), node("B", 1, kMost), node("C", 1, kMost)}),
              "A(B,C)", ~std::uint64_t{0});
  EXPECT_EQ(SelfTime::State::unknown, times[0].self.state);
  EXPECT_EQ(Loss::State::tooShort, times[1].loss.state);
}

TEST(SelfTime, TheSlowestNodeSpentMostItself) {
  const auto times = timesOf(
      GrownFlow({node("A", 100, 5000), node("B", 100, 4000), node("C", 10, 500)}), "A(B(C))");
  EXPECT_EQ(1U, model::slowest(times));
}

TEST(Loss, IsTheDifferenceOfTheCounts) {
  const auto times =
      timesOf(GrownFlow({node("A", 100, 5000), node("B", 88, 2000), node("C", 88, 10)}), "A(B(C))");
  EXPECT_EQ(Loss::State::unknown, times[0].loss.state);
  EXPECT_EQ(Loss::State::measured, times[1].loss.state);
  EXPECT_EQ(12, times[1].loss.messages);
  EXPECT_EQ(1U, times[1].loss.bound);
  EXPECT_EQ(Loss::State::none, times[2].loss.state);
}

TEST(Loss, WithinWhatIsInFlightNothingIsSaid) {
  const GrownFlow flow({node("A", 100, 5000), node("B", 96, 2000)});
  EXPECT_EQ(Loss::State::tooShort, timesOf(flow, "A(B)", 4)[1].loss.state);
  EXPECT_EQ(Loss::State::measured, timesOf(flow, "A(B)", 3)[1].loss.state);
  const GrownFlow ahead({node("A", 100, 5000), node("B", 110, 2000)});
  EXPECT_EQ(Loss::State::tooShort, timesOf(ahead, "A(B)", 4)[1].loss.state);
}

}  // namespace self_time_test
