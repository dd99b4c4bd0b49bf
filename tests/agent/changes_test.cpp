// SPDX-License-Identifier: Apache-2.0
#include "agent/model/changes.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "agent/model/level_changes.h"
#include "agent/model/load.h"

namespace changes_test {

namespace {

using model::Measure;

constexpr std::int64_t kDay = 1440;
constexpr std::int64_t kFirst = 20000 * kDay;
constexpr model::LevelTest kTest{.least = 0.18, .noise = 0.02, .price = 19, .surcharge = 4};

// A little up and down that isn't noise: the same in every run.
double wobble(std::size_t minute) {
  return 1 + 0.02 * (static_cast<double>(minute * 7 % 5) - 2);
}

// Two nodes, the second one in the first, with 30 messages in every minute of two days.
model::FlowMinutes steadyFlow() {
  model::FlowMinutes flow{
      .group = "orders", .flow = "Fulfil", .first = kFirst, .nodes = {}, .nesting = {}};
  flow.nodes.resize(2);
  flow.nodes[0].type = model::kInputNode;
  flow.nodes[1].type = 3;
  flow.nesting.nodes = {{.placed = true, .outer = {}, .inner = {1}},
                        {.placed = true, .outer = 0, .inner = {}}};
  for (std::size_t i = 0; i < 2 * kDay; ++i) {
    const double inside = 30 * 9 * wobble(i);
    flow.nodes[0].minutes.push_back({60, 30, inside + 30 * 5 * wobble(i + 1), 30 * 2 * wobble(i)});
    flow.nodes[1].minutes.push_back({60, 30, inside, 0});
  }
  return flow;
}

void addEarlierDays(model::FlowMinutes& flow, int days) {
  for (model::NodeMinutes& node : flow.nodes) {
    const model::Added& minute = node.minutes.front();
    node.hours.assign(static_cast<std::size_t>(24 * days),
                      {3600, 60 * minute.messages, 60 * minute.elapsedMs, 60 * minute.queuedMs});
  }
}

std::vector<double> levels(std::initializer_list<std::pair<int, double>> parts) {
  std::vector<double> values;
  for (const auto& [count, level] : parts) {
    for (int i = 0; i < count; ++i) values.push_back(level + wobble(values.size()) - 1);
  }
  return values;
}

}  // namespace

TEST(LevelChanges, AStepIsFoundWhereItIs) {
  EXPECT_EQ(std::vector<std::size_t>{700}, levelChanges(levels({{700, 1}, {300, 1.3}}), kTest));
  EXPECT_EQ((std::vector<std::size_t>{700, 1000}),
            levelChanges(levels({{700, 1}, {300, 1.3}, {200, 1}}), kTest));
}

TEST(LevelChanges, AFewMinutesAreNoLevel) {
  EXPECT_TRUE(levelChanges(levels({{700, 1}, {4, 9}, {300, 1}}), kTest).empty());
}

TEST(LevelChanges, ASmallStepIsNone) {
  EXPECT_TRUE(levelChanges(levels({{700, 1}, {300, 1.1}}), kTest).empty());
}

TEST(LevelChanges, MinutesWithoutAValueAreLeftOut) {
  std::vector<double> values = levels({{700, 1}, {300, 1.3}});
  for (std::size_t i = 400; i < 500; ++i) values[i] = std::numeric_limits<double>::quiet_NaN();
  EXPECT_EQ(std::vector<std::size_t>{700}, levelChanges(values, kTest));
}

TEST(LevelChanges, LessThanTwoHoursHaveNoLevel) {
  EXPECT_TRUE(levelChanges(levels({{60, 1}, {50, 2}}), kTest).empty());
  EXPECT_TRUE(levelChanges({}, kTest).empty());
}

TEST(LevelChanges, AValueThatNeverMovesIsALevelToo) {
  std::vector<double> values(300, 0);
  EXPECT_TRUE(levelChanges(values, kTest).empty());
  std::fill(values.begin() + 200, values.end(), 1);
  EXPECT_EQ(std::vector<std::size_t>{200}, levelChanges(values, kTest));
}

TEST(LevelChanges, ARhythmTakesThreeDaysToBeKnown) {
  std::vector<double> hours;
  for (int i = 0; i < 48; ++i) hours.push_back(i % 24 < 12 ? 1 : 2);
  EXPECT_FALSE(model::hasRhythm(hours));
  for (int i = 0; i < 24; ++i) hours.push_back(i < 12 ? 1.01 : 2.01);
  EXPECT_TRUE(model::hasRhythm(hours));
  const std::vector<double> left = model::withoutRhythm(std::vector<double>(60, 2), 6 * 60, hours);
  for (const double value : left) EXPECT_NEAR(1, value, 0.02);
}

TEST(LevelChanges, AnHourThatWasSeldomSeenIsNotCompared) {
  const std::vector<double> hours(48, 1);
  const std::vector<double> left = model::withoutRhythm(std::vector<double>(10, 2), 0, hours);
  for (const double value : left) EXPECT_TRUE(std::isnan(value));
}

TEST(Changes, NothingIsSaidOfASteadyFlow) {
  model::FlowMinutes flow = steadyFlow();
  addEarlierDays(flow, 3);
  EXPECT_TRUE(changesOf(flow, kFirst).empty());
}

TEST(Changes, ASlowerNodeIsNamedAndNotTheOneAroundIt) {
  model::FlowMinutes flow = steadyFlow();
  for (std::size_t i = 2000; i < 2 * kDay; ++i) {
    const double more = flow.nodes[1].minutes[i].elapsedMs;
    flow.nodes[1].minutes[i].elapsedMs += more;
    flow.nodes[0].minutes[i].elapsedMs += more;
  }
  const auto found = changesOf(flow, kFirst);
  ASSERT_EQ(1u, found.size());
  EXPECT_EQ(1u, found[0].node);
  EXPECT_EQ(Measure::self, found[0].measure);
  EXPECT_EQ(kFirst + 2000, found[0].minute);
  EXPECT_NEAR(9, found[0].before, 0.1);
  EXPECT_NEAR(18, found[0].after, 0.1);
}

TEST(Changes, WithoutAChainTheWholeTimeIsJudged) {
  model::FlowMinutes flow = steadyFlow();
  flow.nesting.nodes = {{}, {}};
  for (std::size_t i = 2000; i < 2 * kDay; ++i) flow.nodes[1].minutes[i].elapsedMs *= 2;
  const auto found = changesOf(flow, kFirst);
  ASSERT_EQ(1u, found.size());
  EXPECT_EQ(Measure::elapsed, found[0].measure);
}

TEST(Changes, QueuedTimeIsToldOfInputNodesAlone) {
  model::FlowMinutes flow = steadyFlow();
  for (std::size_t i = 2000; i < 2 * kDay; ++i) {
    flow.nodes[0].minutes[i].queuedMs *= 10;
    flow.nodes[1].minutes[i].queuedMs = 9000;
  }
  const auto found = changesOf(flow, kFirst);
  ASSERT_EQ(1u, found.size());
  EXPECT_EQ(0u, found[0].node);
  EXPECT_EQ(Measure::queued, found[0].measure);
}

TEST(Changes, TimesBelowAMillisecondAreNotTold) {
  model::FlowMinutes flow = steadyFlow();
  for (std::size_t i = 0; i < 2 * kDay; ++i) {
    flow.nodes[0].minutes[i].queuedMs = i < 2000 ? 3 : 27;
  }
  EXPECT_TRUE(changesOf(flow, kFirst).empty());
  for (std::size_t i = 2000; i < 2 * kDay; ++i) flow.nodes[0].minutes[i].queuedMs = 90;
  const auto found = changesOf(flow, kFirst);
  ASSERT_EQ(1u, found.size());
  EXPECT_EQ(1, found[0].before);
  EXPECT_NEAR(3, found[0].after, 0.01);
}

TEST(Changes, RatesAreJudgedAfterThreeDays) {
  model::FlowMinutes flow = steadyFlow();
  for (std::size_t i = 2000; i < 2 * kDay; ++i) {
    for (model::NodeMinutes& node : flow.nodes) {
      node.minutes[i].messages = 10;
      node.minutes[i].elapsedMs /= 3;
      node.minutes[i].queuedMs /= 3;
    }
  }
  addEarlierDays(flow, 2);
  EXPECT_TRUE(changesOf(flow, kFirst).empty());
  addEarlierDays(flow, 3);
  const auto found = changesOf(flow, kFirst);
  ASSERT_EQ(1u, found.size());
  EXPECT_EQ(Measure::rate, found[0].measure);
  EXPECT_EQ(0u, found[0].node);
  EXPECT_NEAR(0.5, found[0].before, 0.001);
  EXPECT_NEAR(10.0 / 60, found[0].after, 0.001);
}

TEST(Changes, AStallIsAChangeOfRate) {
  model::FlowMinutes flow = steadyFlow();
  addEarlierDays(flow, 3);
  for (std::size_t i = 2000; i < 2 * kDay; ++i) {
    for (model::NodeMinutes& node : flow.nodes) node.minutes[i] = {60, 0, 0, 0};
  }
  const auto found = changesOf(flow, kFirst);
  ASSERT_EQ(1u, found.size());
  EXPECT_EQ(Measure::rate, found[0].measure);
  EXPECT_EQ(0, found[0].after);
}

TEST(Changes, MinutesThatNobodyLookedAtAreNoStall) {
  model::FlowMinutes flow = steadyFlow();
  addEarlierDays(flow, 3);
  for (std::size_t i = 2000; i < 2200; ++i) {
    for (model::NodeMinutes& node : flow.nodes) node.minutes[i] = {};
  }
  EXPECT_TRUE(changesOf(flow, kFirst).empty());
}

TEST(Changes, MessagesThatStayAwayAreALossOfTheInnerNode) {
  model::FlowMinutes flow = steadyFlow();
  for (std::size_t i = 2000; i < 2 * kDay; ++i) {
    flow.nodes[1].minutes[i].messages = 24;
    flow.nodes[1].minutes[i].elapsedMs *= 0.8;
  }
  const auto found = changesOf(flow, kFirst);
  ASSERT_FALSE(found.empty());
  const auto loss = std::ranges::find(found, Measure::loss, &model::LevelChange::measure);
  ASSERT_NE(found.end(), loss);
  EXPECT_EQ(1u, loss->node);
  EXPECT_EQ(0, loss->before);
  EXPECT_NEAR(0.2, loss->after, 0.001);
}

TEST(Changes, WithoutAChainALossIsThatOfTheInputNodesMessages) {
  model::FlowMinutes flow = steadyFlow();
  flow.nesting.nodes = {{}, {}};
  addEarlierDays(flow, 3);
  for (std::size_t i = 2000; i < 2 * kDay; ++i) {
    flow.nodes[1].minutes[i].messages = 24;
    flow.nodes[1].minutes[i].elapsedMs *= 0.8;
  }
  const auto found = changesOf(flow, kFirst);
  ASSERT_EQ(1u, found.size());
  EXPECT_EQ(1u, found[0].node);
  EXPECT_EQ(Measure::loss, found[0].measure);
}

TEST(Changes, OnlyTheLatestOnesAreTold) {
  model::FlowMinutes flow = steadyFlow();
  for (std::size_t i = 1000; i < 2 * kDay; ++i) {
    flow.nodes[0].minutes[i].queuedMs *= i < 2000 ? 3 : 9;
  }
  EXPECT_EQ(2u, changesOf(flow, kFirst).size());
  const auto found = changesOf(flow, kFirst + kDay);
  ASSERT_EQ(1u, found.size());
  EXPECT_NEAR(6, found[0].before, 0.1);
  EXPECT_NEAR(18, found[0].after, 0.1);
}

}  // namespace changes_test
