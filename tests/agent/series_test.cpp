// SPDX-License-Identifier: Apache-2.0
// A snapshot as time series need it.
#include "agent/model/series.h"

#include <gtest/gtest.h>

#include "tests/agent/grown.h"

namespace series_test {

namespace {

using model::BrokerSeries;
using reader::Node;

constexpr std::int64_t kLargest = std::numeric_limits<std::int64_t>::max();

std::shared_ptr<model::SeenBroker> readable(const std::vector<Node>& nodes) {
  auto broker = seenBroker(nodes);
  broker->segment.size = 4096;
  broker->segment.key = 5;
  return broker;
}

std::shared_ptr<model::SeenBroker> brokerNamed(const std::string& label, const std::string& uuid,
                                               int segment) {
  auto broker = readable({});
  broker->segment.keyFile = "/tmp/" + uuid + ".zebcshme";
  broker->segment.id = segment;
  broker->tree->label = label;
  broker->tree->uuid = uuid;
  return broker;
}

// A living process that has that segment attached.
reader::Process processWith(std::uint64_t segment) {
  reader::Process process;
  process.id = 12;
  process.exists = true;
  process.startTicks = 400000;
  process.segments = {{.key = 5, .id = segment}};
  return process;
}

BrokerSeries seriesOf(const std::shared_ptr<model::SeenBroker>& broker) {
  return model::seriesOf(lookAt(broker, {})).at(0);
}

// A snapshot of a broker whose group has the process 12, of which that is known.
BrokerSeries seriesWith(const reader::Process& process) {
  auto broker = readable({});
  broker->tree->executionGroups[0].processId = 12;
  model::Snapshot snapshot = lookAt(broker, {});
  auto machine = std::make_shared<model::Machine>();
  machine->clocks = {.wall = std::chrono::seconds(1000000),
                     .sinceBoot = std::chrono::seconds(5000),
                     .bootTime = 995000,
                     .ticksPerSecond = 100};
  machine->processes[12] = process;
  snapshot.machine = machine;
  return model::seriesOf(snapshot).at(0);
}

std::vector<std::string> namesOf(const std::vector<std::shared_ptr<model::SeenBroker>>& brokers) {
  model::Snapshot snapshot = lookAt(nullptr, {});
  snapshot.brokers.assign(brokers.begin(), brokers.end());
  std::vector<std::string> names;
  for (const BrokerSeries& series : model::seriesOf(snapshot)) names.push_back(series.name);
  return names;
}

}  // namespace

TEST(Series, NodesOfOneNameAreAddedUp) {
  Node one = nodeWith("Reserve", 1, {.messages = 3, .elapsed = 30, .queued = 5, .bytes = 300});
  Node two = nodeWith("Reserve", 2, {.messages = 4, .elapsed = 50, .queued = 6, .bytes = 100});
  one.statistics->maxSize = 90;
  one.statistics->minSize = 10;
  two.statistics->maxSize = 80;
  two.statistics->minSize = 5;
  one.statistics->lastCollection = 2000;
  two.statistics->lastCollection = 3000;
  const BrokerSeries series = seriesOf(readable({one, two}));
  ASSERT_EQ(1U, series.nodes.size());
  EXPECT_EQ(1U, series.duplicates);
  EXPECT_EQ("Fulfil", series.nodes[0].flow);
  EXPECT_EQ("orders", series.nodes[0].group);
  const auto all = series.nodes[0].statistics();
  ASSERT_TRUE(all);
  EXPECT_EQ(7, all->messageCount);
  EXPECT_EQ(80, all->sumElapsed);
  EXPECT_EQ(11, all->sumQueued);
  EXPECT_EQ(400, all->sumSize);
  EXPECT_EQ(90, all->maxSize);
  EXPECT_EQ(5, all->minSize);
  EXPECT_EQ(3000, all->lastCollection);
}

TEST(Series, ASumThatCantBeKnownIsNothing) {
  Node damaged = nodeWith("Reserve", 1, {.messages = 3, .elapsed = 30});
  damaged.statistics->messageCount = {};
  Node huge = nodeWith("Reserve", 2, {.messages = 4, .elapsed = kLargest});
  const auto all = seriesOf(readable({damaged, huge})).nodes.at(0).statistics();
  ASSERT_TRUE(all);
  EXPECT_FALSE(all->messageCount);
  EXPECT_FALSE(all->sumElapsed);
  EXPECT_TRUE(all->sumSize);
}

TEST(Series, WhatIsBeingWrittenHasNoNumbers) {
  Node torn = nodeWith("Reserve", 1, {.messages = 3});
  torn.statistics->torn = true;
  EXPECT_FALSE(seriesOf(readable({torn})).nodes.at(0).statistics());
  const Node whole = nodeWith("Reserve", 2, {.messages = 3});
  EXPECT_FALSE(seriesOf(readable({whole, torn})).nodes.at(0).statistics());
}

TEST(Series, ANodeWithoutStatisticsCountsForNothing) {
  Node empty = nodeWith("Reserve", 1, {});
  empty.statistics.reset();
  EXPECT_FALSE(seriesOf(readable({empty})).nodes.at(0).statistics());
  const Node whole = nodeWith("Reserve", 2, {.messages = 3});
  EXPECT_EQ(3, seriesOf(readable({empty, whole})).nodes.at(0).statistics()->messageCount);
}

TEST(Series, OtherTypesAndFlowsAreOtherSeriesInTheOrderOfTheirNames) {
  Node input = nodeWith("Reserve", 1, {});
  input.type = 1;
  const Node other = nodeWith("Reserve", 2, {});
  const Node first = nodeWith("Look up", 3, {});
  const BrokerSeries series = seriesOf(readable({other, input, first}));
  ASSERT_EQ(3U, series.nodes.size());
  EXPECT_EQ("Look up", series.nodes[0].node);
  EXPECT_EQ(1U, series.nodes[1].type);
  EXPECT_EQ(3U, series.nodes[2].type);
  EXPECT_EQ(0U, series.duplicates);
}

TEST(Series, OfWhatIsDeletedEnd) {
  Node deleted = nodeWith("Reserve", 1, {.messages = 3});
  deleted.deleted = true;
  const BrokerSeries series = seriesOf(readable({deleted, nodeWith("Look up", 2, {})}));
  EXPECT_EQ(1U, series.nodes.size());
  EXPECT_EQ(1U, series.deleted);
  EXPECT_EQ(3U, series.live);

  auto gone = readable({nodeWith("Look up", 2, {})});
  gone->tree->executionGroups[0].deleted = true;
  EXPECT_TRUE(seriesOf(gone).nodes.empty());
  EXPECT_TRUE(seriesOf(gone).groups.empty());
  EXPECT_EQ(3U, seriesOf(gone).deleted);
}

TEST(Series, AGroupIsUpWhileItsProcessUsesTheSegment) {
  reader::Process process = processWith(7);
  const BrokerSeries up = seriesWith(process);
  EXPECT_EQ(true, up.groups.at(0).up);
  EXPECT_EQ(999000000, up.groups.at(0).started);

  process = processWith(8);
  EXPECT_EQ(false, seriesWith(process).groups.at(0).up);
  EXPECT_FALSE(seriesWith(process).groups.at(0).started);
  process.exists = false;
  EXPECT_EQ(false, seriesWith(process).groups.at(0).up);
  process.exists = true;
  process.segments.reset();
  EXPECT_FALSE(seriesWith(process).groups.at(0).up);
}

TEST(Series, OneDeadProcessOfTwoGroupsOfOneNameShows) {
  auto broker = readable({});
  auto& groups = broker->tree->executionGroups;
  groups.push_back(groups[0]);
  groups[0].processId = 12;
  groups[1].processId = 13;
  for (const bool firstLives : {true, false}) {
    model::Snapshot snapshot = lookAt(broker, {});
    auto machine = std::make_shared<model::Machine>();
    machine->processes[12] = machine->processes[13] = processWith(7);
    machine->processes[firstLives ? 13 : 12].exists = false;
    snapshot.machine = machine;
    const BrokerSeries series = model::seriesOf(snapshot).at(0);
    ASSERT_EQ(1U, series.groups.size());
    EXPECT_EQ(false, series.groups[0].up);
  }
}

// Its number means another process here, or none.
TEST(Series, OfAGroupInAnotherPidNamespaceNobodyKnowsWhetherItIsUp) {
  auto broker = readable({});
  broker->tree->executionGroups[0].processId = 12;
  model::Snapshot snapshot = lookAt(broker, {});
  auto machine = std::make_shared<model::Machine>();
  machine->processes[12] = processWith(7);
  machine->processes[12].exists = false;
  reader::Lock& lock = machine->locks.locks.emplace_back();
  lock.name = "zeb_attach_12";
  lock.queue.lastSent = 50;
  snapshot.machine = machine;
  EXPECT_FALSE(model::seriesOf(snapshot).at(0).groups.at(0).up.has_value());
  lock.queue.lastSender = 12;
  EXPECT_EQ(false, model::seriesOf(snapshot).at(0).groups.at(0).up);
}

TEST(Series, BrokersOfOneLabelAreToldApart) {
  EXPECT_EQ((std::vector<std::string>{"SHOP (11111111)", "BANK", "SHOP (22222222)"}),
            namesOf({brokerNamed("SHOP", "11111111-2", 1), brokerNamed("BANK", "33333333-2", 2),
                     brokerNamed("SHOP", "22222222-2", 3)}));
  EXPECT_EQ((std::vector<std::string>{"SHOP (11111111)", "SHOP (11111111) #2"}),
            namesOf({brokerNamed("SHOP", "11111111-2", 1), brokerNamed("SHOP", "11111111-3", 3)}));
  EXPECT_EQ((std::vector<std::string>{"11111111-2"}), namesOf({brokerNamed("", "11111111-2", 1)}));
}

TEST(Series, ASegmentCountsOnceAndOnlyWhenItCouldBeRead) {
  auto unreadable = brokerNamed("BANK", "33333333-2", 2);
  unreadable->segment.size = 0;
  EXPECT_EQ((std::vector<std::string>{"SHOP"}),
            namesOf({brokerNamed("SHOP", "11111111-2", 1), brokerNamed("SHOP", "11111111-3", 1),
                     unreadable}));
}

}  // namespace series_test
