// SPDX-License-Identifier: Apache-2.0
// Little's law.
#include "agent/model/load.h"

#include <gtest/gtest.h>

#include "tests/agent/grown.h"

namespace load_test {

namespace {

using model::loadOf;
using model::Seconds;

Grown node(std::uint32_t type, std::int64_t messages, std::int64_t elapsed, std::int64_t queued) {
  return {.label = "n",
          .type = type,
          .after = {.messages = messages, .elapsed = elapsed, .queued = queued}};
}

}  // namespace

TEST(Load, IsTimeSpentASecond) {
  const GrownFlow flow({node(1, 100, 15000, 2000), node(3, 100, 14000, 0)});
  const model::Load load = loadOf(flow.growth(), Seconds(10), {});
  EXPECT_EQ(10.0, load.messages);
  EXPECT_EQ(1.5, load.busy);
  EXPECT_EQ(0.2, load.waiting);
  EXPECT_EQ(std::nullopt, load.utilisation);
  EXPECT_EQ(std::nullopt, load.spare);
  EXPECT_EQ(1.4, model::busyIn(flow.growth().nodes[1], Seconds(10)));
}

TEST(Load, IsSummedOverTheInputNodes) {
  const GrownFlow flow({node(1, 100, 15000, 2000), node(1, 50, 5000, 1000), node(2, 50, 9000, 1)});
  const model::Load load = loadOf(flow.growth(), Seconds(10), {});
  EXPECT_EQ(15.0, load.messages);
  EXPECT_EQ(2.0, load.busy);
  EXPECT_DOUBLE_EQ(0.3, load.waiting.value_or(0));
}

TEST(Load, AnInputNodeThatWentIsNoneAnyMore) {
  const GrownFlow flow({node(1, 100, 15000, 2000), node(1, 50, 5000, 1000)});
  model::FlowGrowth growth = flow.growth();
  growth.nodes[1].change = model::Change::went;
  EXPECT_EQ(10.0, loadOf(growth, Seconds(10), {}).messages);
}

TEST(Load, QueuedTimeIsToldOnlyByInputNodesThatHaveSome) {
  const GrownFlow flow({node(1, 100, 15000, 0), node(3, 100, 14000, 77)});
  EXPECT_FALSE(model::knowsQueued(flow.growth().nodes[0].node()));
  EXPECT_FALSE(model::knowsQueued(flow.growth().nodes[1].node()));
  EXPECT_EQ(std::nullopt, model::waitingFor(flow.growth().nodes[1], Seconds(10)));
  EXPECT_EQ(std::nullopt, loadOf(flow.growth(), Seconds(10), {}).waiting);
  const GrownFlow waits({{.label = "n",
                          .type = 1,
                          .before = {.messages = 1, .queued = 5},
                          .after = {.messages = 2, .queued = 5}}});
  EXPECT_EQ(0.0, loadOf(waits.growth(), Seconds(10), {}).waiting);
}

TEST(Load, AThreadCountTellsHowMuchMoreIsPossible) {
  const GrownFlow flow({node(1, 100, 15000, 0)});
  const model::Load load = loadOf(flow.growth(), Seconds(10), 3);
  EXPECT_EQ(0.5, load.utilisation);
  EXPECT_EQ(10.0, load.spare);
  EXPECT_EQ(0.0, loadOf(flow.growth(), Seconds(10), 1).spare);
  EXPECT_EQ(std::nullopt, loadOf(flow.growth(), Seconds(10), 0).utilisation);
  const GrownFlow idle({node(1, 0, 0, 0)});
  EXPECT_EQ(0.0, loadOf(idle.growth(), Seconds(10), 3).utilisation);
  EXPECT_EQ(std::nullopt, loadOf(idle.growth(), Seconds(10), 3).spare);
}

TEST(Load, WithoutAnInputNodeIsUnknown) {
  const GrownFlow flow({node(3, 100, 15000, 0)});
  const model::Load load = loadOf(flow.growth(), Seconds(10), 3);
  EXPECT_EQ(std::nullopt, load.busy);
  EXPECT_EQ(std::nullopt, load.messages);
  EXPECT_EQ(std::nullopt, load.utilisation);
}

TEST(Load, WhatIsUnknownAtOneInputNodeIsUnknown) {
  const GrownFlow flow({node(1, 100, 15000, 2000), node(1, 50, 5000, 1000)});
  model::FlowGrowth growth = flow.growth();
  growth.nodes[1].growth = {};
  const model::Load load = loadOf(growth, Seconds(10), 3);
  EXPECT_EQ(std::nullopt, load.messages);
  EXPECT_EQ(std::nullopt, load.busy);
  EXPECT_EQ(std::nullopt, load.waiting);
  EXPECT_EQ(std::nullopt, load.utilisation);
}

TEST(Load, DeletedInputNodesAreLeftOut) {
  Grown gone = node(1, 50, 5000, 1000);
  gone.deleted = true;
  const GrownFlow flow({node(1, 100, 15000, 2000), gone});
  EXPECT_EQ(10.0, loadOf(flow.growth(), Seconds(10), {}).messages);
}

TEST(Load, InFlightAreTheThreadsElseAGuess) {
  model::Load load;
  EXPECT_EQ(3U, model::inFlight(load, 3));
  EXPECT_EQ(1U, model::inFlight(load, {}));
  load.busy = 4;
  EXPECT_EQ(9U, model::inFlight(load, {}));
  EXPECT_EQ(9U, model::inFlight(load, 0));
  load.busy = 1e300;
  EXPECT_LT(1000000000000000U, model::inFlight(load, {}));
}

TEST(Load, TheMeanTimeInTheFlowIsThatOfItsInputNodes) {
  model::Load load;
  EXPECT_EQ(std::nullopt, model::meanMs(load));
  load.busy = 2;
  load.messages = 0;
  EXPECT_EQ(std::nullopt, model::meanMs(load));
  load.messages = 100;
  EXPECT_EQ(20.0, model::meanMs(load));
}

}  // namespace load_test
