// SPDX-License-Identifier: Apache-2.0
// What happened between two looks.
#include "agent/model/rates.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <limits>
#include <numeric>

#include "tests/agent/grown.h"

namespace rates_test {

namespace {

using model::Change;
using std::chrono::milliseconds;

constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max();
const Look kFirst{.messages = 100, .elapsed = 5000, .queued = 300, .bytes = 20000};
const Look kSecond{.messages = 160, .elapsed = 8000, .queued = 480, .bytes = 35000};

model::Growths between(std::shared_ptr<model::SeenBroker> before,
                       std::shared_ptr<model::SeenBroker> after) {
  return model::between(lookAt(std::move(before), milliseconds(1000)),
                        lookAt(std::move(after), milliseconds(6000)));
}

// Of the only node, when the second look is changed like this.
model::NodeGrowth growthWhen(const std::function<void(reader::Statistics&)>& change) {
  static reader::Node before, after;
  before = nodeWith("Reserve", 1, kFirst);
  after = nodeWith("Reserve", 1, kSecond);
  change(*after.statistics);
  return model::growthOf(before, after, false);
}

std::vector<Change> changesOf(const model::Growths& growths) {
  std::vector<Change> changes;
  for (const auto& seen : growths.brokers) {
    for (const auto& flow : seen.flows) {
      for (const auto& node : flow.nodes) changes.push_back(node.change);
    }
  }
  return changes;
}

}  // namespace

TEST(Rates, GrowthIsWhatWasAddedBetweenTheLooks) {
  const auto growths = between(seenBroker({nodeWith("Reserve", 1, kFirst)}),
                               seenBroker({nodeWith("Reserve", 1, kSecond)}));
  EXPECT_EQ(5.0, growths.interval.count());
  ASSERT_EQ(1U, growths.brokers.size());
  EXPECT_FALSE(growths.brokers[0].reset);
  const model::FlowGrowth& flow = growths.brokers[0].flows.at(0);
  EXPECT_EQ("orders", flow.group);
  EXPECT_EQ("Fulfil", flow.flow);
  const model::NodeGrowth& node = flow.nodes.at(0);
  EXPECT_EQ(Change::measured, node.change);
  EXPECT_EQ("Reserve", node.node().label);
  EXPECT_EQ(60, node.growth.messages);
  EXPECT_EQ(15000, node.growth.bytes);
  EXPECT_EQ(3000, node.growth.elapsedMs);
  EXPECT_EQ(180, node.growth.queuedMs);
}

TEST(Rates, AreASecondAndMeansAMessage) {
  EXPECT_EQ(12.0, model::perSecond(60, model::Seconds(5)));
  EXPECT_EQ(50.0, model::mean(3000, 60));
  EXPECT_EQ(std::nullopt, model::perSecond(60, model::Seconds(0)));
  EXPECT_EQ(std::nullopt, model::perSecond({}, model::Seconds(5)));
  EXPECT_EQ(std::nullopt, model::mean(3000, 0));
  EXPECT_EQ(std::nullopt, model::mean(3000, -1));
  EXPECT_EQ(std::nullopt, model::mean({}, 60));
  EXPECT_EQ(std::nullopt, model::mean(3000, {}));
}

TEST(Rates, TheIntervalIsNeverNegative) {
  const auto seen = seenBroker({nodeWith("Reserve", 1, kFirst)});
  const auto growths =
      model::between(lookAt(seen, milliseconds(6000)), lookAt(seen, milliseconds(1000)));
  EXPECT_EQ(0.0, growths.interval.count());
}

TEST(Rates, ANumberThatFellMeansReset) {
  using S = reader::Statistics;
  for (const auto& change : std::vector<std::function<void(S&)>>{
           [](S& s) { s.messageCount = 99; }, [](S& s) { s.sumSize = 19999; },
           [](S& s) { s.sumElapsed = 4999; }, [](S& s) { s.sumQueued = 299; },
           [](S& s) { s.maxSize = 19; }, [](S& s) { s.maxElapsed = 19; },
           [](S& s) { s.maxQueued = 19; }, [](S& s) { s.minSize = 11; },
           [](S& s) { s.minElapsed = 11; }, [](S& s) { s.minQueued = 11; },
           [](S& s) { s.firstCollection = 1001; }, [](S& s) { s.firstCollection = {}; },
           [](S& s) { s.recordId = recordId(6, 2); }}) {
    const model::NodeGrowth node = growthWhen(change);
    EXPECT_EQ(Change::reset, node.change);
    EXPECT_EQ(std::nullopt, node.growth.messages);
    EXPECT_EQ(std::nullopt, node.growth.elapsedMs);
  }
}

TEST(Rates, NumbersThatStayedOrMovedOnAreNoReset) {
  using S = reader::Statistics;
  EXPECT_EQ(Change::measured, growthWhen([](S& s) { s.maxElapsed = 21; }).change);
  EXPECT_EQ(Change::measured, growthWhen([](S& s) { s.minElapsed = 9; }).change);
  EXPECT_EQ(0, growthWhen([](S& s) { s.messageCount = 100; }).growth.messages);
}

TEST(Rates, TheFirstMessageIsNoReset) {
  reader::Node before = nodeWith("Reserve", 1, {});
  before.statistics->firstCollection.reset();
  before.statistics->maxSize = before.statistics->minSize = 0;
  const reader::Node after = nodeWith("Reserve", 1, kSecond);
  const model::NodeGrowth node = model::growthOf(before, after, false);
  EXPECT_EQ(Change::measured, node.change);
  EXPECT_EQ(160, node.growth.messages);
}

TEST(Rates, ABrokersResetTimeResetsAllItsNodes) {
  const auto before = seenBroker({nodeWith("Reserve", 1, kFirst)});
  const auto after = seenBroker({nodeWith("Reserve", 1, kSecond)});
  after->tree->resetTime = 901;
  const auto growths = between(before, after);
  EXPECT_TRUE(growths.brokers[0].reset);
  EXPECT_EQ(std::vector{Change::reset}, changesOf(growths));
}

TEST(Rates, AnotherSegmentIsAReset) {
  const auto before = seenBroker({nodeWith("Reserve", 1, kFirst)});
  const auto after = seenBroker({nodeWith("Reserve", 1, kSecond)});
  after->segment.id = 8;
  EXPECT_EQ(std::vector{Change::reset}, changesOf(between(before, after)));
}

TEST(Rates, NodesThatCameOrWentAreSaid) {
  const auto growths =
      between(seenBroker({nodeWith("Went", 1, kFirst), nodeWith("Stays", 2, kFirst)}),
              seenBroker({nodeWith("Stays", 2, kSecond), nodeWith("Came", 3, kSecond)}));
  EXPECT_EQ((std::vector{Change::measured, Change::came, Change::went}), changesOf(growths));
  EXPECT_EQ(1U, growths.brokers[0].flows.size());
  const auto& nodes = growths.brokers[0].flows[0].nodes;
  EXPECT_EQ("Came", nodes.at(1).node().label);
  EXPECT_EQ("Went", nodes.at(2).node().label);
  EXPECT_EQ(std::nullopt, nodes.at(1).growth.messages);
}

TEST(Rates, NodesAreMatchedByRecordIdAndNotByLabel) {
  const auto growths = between(seenBroker({nodeWith("Reserve", 1, kFirst)}),
                               seenBroker({nodeWith("Reserve", 2, kSecond)}));
  EXPECT_EQ((std::vector{Change::came, Change::went}), changesOf(growths));
}

TEST(Rates, ANodeThatADamagedLookLacksDidNotCome) {
  const auto empty = seenBroker({});
  const auto whole = seenBroker({nodeWith("Reserve", 1, kFirst)});
  empty->damage.add("statistics", 32, "no record begins here");
  EXPECT_EQ(std::vector{Change::unknown}, changesOf(between(empty, whole)));
  EXPECT_EQ(std::vector{Change::unknown}, changesOf(between(whole, empty)));
}

TEST(Rates, BrokersThatCameOrWentAreSaid) {
  const auto seen = seenBroker({nodeWith("Reserve", 1, kFirst)});
  const auto came = between(nullptr, seen);
  ASSERT_EQ(1U, came.brokers.size());
  EXPECT_EQ(nullptr, came.brokers[0].before);
  EXPECT_EQ(std::vector{Change::came}, changesOf(came));
  const auto went = between(seen, nullptr);
  ASSERT_EQ(1U, went.brokers.size());
  EXPECT_EQ(nullptr, went.brokers[0].after);
  EXPECT_EQ(seen.get(), &went.brokers[0].broker());
  EXPECT_EQ(std::vector{Change::went}, changesOf(went));
}

TEST(Rates, DamagedNumbersAreUnknownAndTheOthersAreNot) {
  const auto node = growthWhen([](reader::Statistics& s) { s.sumSize.reset(); });
  EXPECT_EQ(Change::measured, node.change);
  EXPECT_EQ(std::nullopt, node.growth.bytes);
  EXPECT_EQ(60, node.growth.messages);
}

TEST(Rates, HostileNumbersDoNotOverflow) {
  reader::Node before = nodeWith("Reserve", 1, kFirst);
  before.statistics->sumSize = -kMost;
  const reader::Node after = nodeWith("Reserve", 1, {kMost, kMost, kMost, kMost});
  const model::NodeGrowth node = model::growthOf(before, after, false);
  EXPECT_EQ(std::nullopt, node.growth.bytes);
  EXPECT_EQ(kMost - 100, node.growth.messages);
}

TEST(Rates, ATornRecordTellsNothing) {
  const auto node = growthWhen([](reader::Statistics& s) { s.torn = true; });
  EXPECT_EQ(Change::torn, node.change);
  EXPECT_EQ(std::nullopt, node.growth.messages);
}

TEST(Rates, ANodeWithoutStatisticsIsNotCollected) {
  reader::Node before = nodeWith("Reserve", 1, kFirst);
  before.statistics.reset();
  const reader::Node after = nodeWith("Reserve", 1, kSecond);
  EXPECT_EQ(Change::notCollected, model::growthOf(before, after, false).change);
  EXPECT_EQ(Change::notCollected, model::growthOf(after, before, false).change);
}

TEST(Rates, NodesOfOneIdAreAllCompared) {
  const auto growths = between(seenBroker({nodeWith("A", 1, kFirst), nodeWith("B", 1, kSecond)}),
                               seenBroker({nodeWith("A", 1, kSecond), nodeWith("B", 1, kSecond)}));
  EXPECT_EQ((std::vector{Change::measured, Change::measured}), changesOf(growths));
}

// The place in the area is a hint, no more: whatever moved, came or went between the looks, each
// node is compared with itself.
TEST(Rates, NodesAreFoundWhereverTheyWereBefore) {
  constexpr std::uint32_t kNodes = 6;
  std::vector<std::uint32_t> order(kNodes);
  std::iota(order.begin(), order.end(), 1U);
  do {
    std::vector<reader::Node> before, after;
    for (std::uint32_t number = 1; number < kNodes; ++number) {
      before.push_back(nodeWith("", number, {.messages = 10}));
    }
    for (const std::uint32_t number : order) {
      if (number == 2) continue;
      after.push_back(nodeWith("", number, {.messages = 10 + number}));
    }
    const auto growths = between(seenBroker(before), seenBroker(after));
    const auto& nodes = growths.brokers.at(0).flows.at(0).nodes;
    ASSERT_EQ(after.size() + 1, nodes.size());
    EXPECT_EQ(Change::went, nodes.back().change);
    EXPECT_EQ(before[1].recordId, nodes.back().node().recordId);
    for (std::size_t i = 0; i < after.size(); ++i) {
      const std::int64_t number = *after[i].statistics->messageCount - 10;
      if (number == kNodes) {
        EXPECT_EQ(Change::came, nodes[i].change);
      } else {
        EXPECT_EQ(number, nodes[i].growth.messages);
      }
    }
  } while (std::next_permutation(order.begin(), order.end()));
}

}  // namespace rates_test
