// SPDX-License-Identifier: Apache-2.0
// How much fits, how much is needed, and when it is full.
#include "agent/model/capacity.h"

#include <gtest/gtest.h>

#include <cmath>

namespace capacity_test {

namespace {

using model::Need;
using model::needOf;
using model::NewNode;
using model::Plan;
using model::planOf;
using model::roomFor;
using model::Seconds;

reader::Area area(std::uint32_t size, std::uint32_t last) {
  reader::Area area;
  area.size = size;
  area.last = last;
  return area;
}

// One flow of broker BRK1 with these nodes, and so many messages a second.
flowfile::File file(std::vector<flowfile::Node> nodes, double rate) {
  flowfile::File file;
  file.broker.label = "BRK1";
  file.broker.uuid = "U";
  flowfile::Flow flow;
  flow.label = "Fulfil";
  flow.input.rate = rate;
  flow.nodes = std::move(nodes);
  file.groups.push_back({.label = "orders", .flows = {flow}});
  return file;
}

flowfile::MonitorNode monitor(const std::string& label) {
  flowfile::MonitorNode node;
  node.label = label;
  return node;
}

}  // namespace

TEST(Room, IsForNodesWithTheirStatistics) {
  EXPECT_EQ(1U, roomFor({}, area(4096, 4096 - 230)));
  EXPECT_EQ(0U, roomFor({}, area(4096, 4096 - 229))) << "the record would fit";
  EXPECT_EQ(2U, roomFor({.units = 16}, area(4096, 4096 - 524)));
  EXPECT_EQ(1U, roomFor({.units = 16}, area(4096, 4096 - 523)));
  EXPECT_EQ(0U, roomFor({.units = UINT64_MAX}, area(4096, 32)));
  EXPECT_EQ(0U, roomFor({}, area(4096, 5000)));
}

TEST(Room, OfANewFlowAndANewGroupIsTakenFirst) {
  NewNode node{.flowUnits = 4, .groupUnits = 5, .newFlow = true};
  EXPECT_EQ(1U, roomFor(node, area(4096, 4096 - 290)));
  EXPECT_EQ(0U, roomFor(node, area(4096, 4096 - 289)));
  node.newGroup = true;
  EXPECT_EQ(1U, roomFor(node, area(4096, 4096 - 356)));
  EXPECT_EQ(0U, roomFor(node, area(4096, 4096 - 355)));
  node.newFlow = false;
  EXPECT_EQ(0U, roomFor(node, area(4096, 4096 - 355))) << "a new group has no flow yet";
  node.groupUnits = UINT64_MAX;
  EXPECT_EQ(0U, roomFor(node, area(4096, 32)));
}

TEST(Room, ANodeTakesWhatItsRoomIsCountedBy) {
  EXPECT_EQ(230U + 2 * 5, model::bytesOf({.units = 5}));
  EXPECT_EQ(230U + 2 * 5 + 52 + 2 * 7,
            model::bytesOf({.units = 5, .flowUnits = 7, .newFlow = true}));
}

TEST(Room, IsToldForNodesLikeTheLargestThere) {
  model::SeenBroker broker;
  const NewNode usual = model::largestNewNode(broker);
  EXPECT_EQ(16U, usual.units);
  EXPECT_EQ(16U, usual.flowUnits);
  EXPECT_EQ(16U, usual.groupUnits);
  reader::Node node;
  node.label = "Reserve";
  node.subFlowName = "Sub";
  reader::MessageFlow flow;
  flow.label = "Fulfilment";
  flow.nodes = {node};
  broker.tree.emplace();
  auto& groups = broker.tree->executionGroups;
  groups.resize(2);
  groups[0].label = "orders";
  groups[0].messageFlows = {flow};
  groups[1].label = "g";
  const NewNode largest = model::largestNewNode(broker);
  EXPECT_EQ(10U, largest.units);
  EXPECT_EQ(10U, largest.flowUnits);
  EXPECT_EQ(6U, largest.groupUnits);
  EXPECT_FALSE(largest.newFlow || largest.newGroup);
}

TEST(Room, OfTextsAndEvents) {
  EXPECT_EQ(1998U, model::longestText(4096));
  EXPECT_EQ(0U, model::longestText(100));
  EXPECT_EQ(0U, model::longestText(0));
  EXPECT_EQ(1U, model::longestText(102));
  EXPECT_EQ(227U, model::eventsIn(32768));
  EXPECT_EQ(0U, model::eventsIn(0));
}

TEST(Need, IsThatOfTheLargestArea) {
  const Need need = needOf({.records = 5000, .templates = 6000, .longestText = 10});
  EXPECT_EQ(6032U, need.area);
  EXPECT_EQ(3 * 6032U + 32, need.segment);
  EXPECT_EQ(7032U, needOf({.records = 7000}).area);
  EXPECT_EQ(32U + 1000 * 144, needOf({.eventsPerSecond = 100, .keepSeconds = 10}).area);
  EXPECT_EQ(144U, needOf({.eventsPerSecond = 0.01, .keepSeconds = 1}).events);
  EXPECT_EQ(4096U, needOf({}).area);
  EXPECT_EQ(0U, needOf({}).events);
  EXPECT_EQ(32U + 68 + 2 * 3000, needOf({.longestText = 3000}).area);
}

TEST(Need, MayBeMoreThanThereIs) {
  EXPECT_FALSE(needOf({.records = 1431655754 - 32}).tooMuch);
  EXPECT_TRUE(needOf({.records = 1431655755 - 32}).tooMuch);
  for (const double huge : {1e300, static_cast<double>(INFINITY)}) {
    const Need need = needOf({.records = UINT64_MAX, .eventsPerSecond = huge, .keepSeconds = huge});
    EXPECT_TRUE(need.tooMuch);
    EXPECT_EQ(UINT64_MAX, need.segment);
  }
  EXPECT_EQ(0U, needOf({.eventsPerSecond = NAN, .keepSeconds = 1}).events);
  EXPECT_EQ(0U, needOf({.eventsPerSecond = -1, .keepSeconds = 1}).events);
}

TEST(Need, OfSoManyNodesWithSuchLabels) {
  const Plan plan = planOf(10, 16);
  EXPECT_EQ(10U, plan.nodes);
  EXPECT_EQ(10U * 262 + (56 + 72 + 32) + (56 + 32) + (52 + 32), plan.records);
  EXPECT_EQ(UINT64_MAX, planOf(UINT64_MAX, 16).records);
  EXPECT_EQ(UINT64_MAX, planOf(1, UINT64_MAX).records);
}

TEST(Need, OfAFlowFile) {
  flowfile::MonitorNode outer = monitor("First");
  outer.eventMessage = "seen";
  flowfile::MonitorNode inner = monitor("Second");
  inner.subFlowName = "Sub";
  flowfile::WorkNode work;
  work.failure = {.probability = 0.25, .every = 4, .origin = "O", .code = "C", .texts = {"broken"}};
  const Plan plan = planOf(file({outer, inner, work, monitor("Third")}, 10));
  EXPECT_EQ(3U, plan.nodes);
  EXPECT_EQ(
      (56U + 2 * 5) + (56 + 2 * 6) + (52 + 2 * 6) + (230 + 2 * 5) + (230 + 2 * 9) + (230 + 2 * 5),
      plan.records);
  const std::uint64_t exception = 19 + 1 + 1 + 1 + 3 + 6;  // "Exception found in O(C). broken"
  const std::uint64_t first = 6 + 6 + 5;
  const std::uint64_t second = 6 + 6 + 6;
  EXPECT_EQ(
      (68 + 2 * (first + 4)) + (68 + 2 * (first + exception)) + (68 + 2 * (second + exception)),
      plan.templates)
      << "the third node is in front of no failure";
  EXPECT_EQ(second + exception, plan.longestText);
  EXPECT_DOUBLE_EQ(10 * 1 + 10 * 0.5 * 2, plan.eventsPerSecond);
  EXPECT_FALSE(plan.rateUnknown);
}

TEST(Need, OfAFlowThatRunsAsFastAsItCanHasNoKnownRate) {
  flowfile::MonitorNode node = monitor("First");
  EXPECT_FALSE(planOf(file({node}, 0)).rateUnknown) << "it posts nothing";
  node.eventMessage = "";
  EXPECT_FALSE(planOf(file({node}, 0)).rateUnknown);
  node.eventMessage = "seen";
  EXPECT_TRUE(planOf(file({node}, 0)).rateUnknown);
  EXPECT_EQ(0, planOf(file({node}, 0)).eventsPerSecond);
}

TEST(Time, UntilAnAreaIsFullFollowsTheGrowthThatWasSeen) {
  EXPECT_EQ(Seconds(20), model::untilFull(1000, 1100, 1300, Seconds(10)));
  EXPECT_EQ(Seconds(0), model::untilFull(0, 1300, 1300, Seconds(10)));
  EXPECT_FALSE(model::untilFull(1000, 1000, 1300, Seconds(10)));
  EXPECT_FALSE(model::untilFull(1100, 1000, 1300, Seconds(10)));
  EXPECT_FALSE(model::untilFull(1000, 1100, 1300, Seconds(0)));
  EXPECT_FALSE(model::untilFull(1000, 1100, 1300, Seconds(-1)));
  EXPECT_FALSE(model::untilFull(0, 1, UINT64_MAX, Seconds(1)));
}

TEST(Time, UntilTheForcedResetFollowsTheGrowthOfTheCount) {
  EXPECT_EQ(Seconds(10), model::untilForcedReset(2147483447, 2147483547, Seconds(10)));
  EXPECT_EQ(Seconds(0), model::untilForcedReset(1, 2147483647, Seconds(10)));
  EXPECT_FALSE(model::untilForcedReset(5, 5, Seconds(10)));
  EXPECT_FALSE(model::untilForcedReset({}, 5, Seconds(10)));
  EXPECT_FALSE(model::untilForcedReset(5, {}, Seconds(10)));
  EXPECT_FALSE(model::untilForcedReset(-5, 5, Seconds(10)));
  EXPECT_FALSE(model::untilForcedReset(5, -5, Seconds(10)));
}

}  // namespace capacity_test
