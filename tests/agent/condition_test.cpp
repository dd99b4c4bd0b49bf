// SPDX-License-Identifier: Apache-2.0
// What state a broker is in, and what is odd about it.
#include "agent/model/condition.h"

#include <gtest/gtest.h>

namespace condition_test {

namespace {

using model::Condition;
using model::Oddity;
using model::SeenBroker;
using model::Snapshot;
using reader::State;
using Kind = model::Oddity::Kind;

constexpr std::int32_t kProcess = 77;

reader::Area area(std::uint32_t size, std::uint32_t last) {
  reader::Area made;
  made.name = "statistics";
  made.size = size;
  made.last = last;
  return made;
}

// A sound broker with one group, of process kProcess.
SeenBroker running(int segment = 1, const std::string& uuid = "u1",
                   const std::string& label = "B") {
  SeenBroker broker;
  broker.segment.state = State::ok;
  broker.segment.id = segment;
  broker.segment.size = 4128;
  broker.segment.attached = 1;
  broker.segment.uuid = uuid;
  broker.tree.emplace().uuid = uuid;
  broker.tree->label = label;
  broker.tree->executionGroups.emplace_back().processId = kProcess;
  return broker;
}

SeenBroker filled(std::uint32_t last) {
  SeenBroker broker = running();
  broker.segment.copy.areas.push_back(area(4096, last));
  return broker;
}

model::Machine with(std::optional<bool> stopped) {
  model::Machine machine;
  machine.processes[kProcess].stopped = stopped;
  return machine;
}

std::vector<Oddity> odditiesOf(const std::vector<SeenBroker>& brokers) {
  Snapshot snapshot;
  for (const SeenBroker& broker : brokers) {
    snapshot.brokers.push_back(std::make_shared<const SeenBroker>(broker));
  }
  return model::odditiesOf(snapshot);
}

}  // namespace

TEST(Condition, OfARunningBrokerIsOk) {
  const auto machine = with(false);
  EXPECT_EQ(Condition::ok, conditionOf(running(), &machine));
  EXPECT_EQ(Condition::ok, conditionOf(running(), nullptr));
  const auto unknown = with(std::nullopt);
  EXPECT_EQ(Condition::ok, conditionOf(running(), &unknown));
}

TEST(Condition, WithoutAnybodyAttachedThereIsNoProcess) {
  SeenBroker broker = running();
  broker.segment.attached = 0;
  const auto machine = with(true);
  EXPECT_EQ(Condition::noProcess, conditionOf(broker, &machine));
}

TEST(Condition, OneStoppedProcessIsEnough) {
  const auto machine = with(true);
  SeenBroker broker = running();
  broker.tree->executionGroups.emplace_back().processId = 78;
  EXPECT_EQ(Condition::stopped, conditionOf(broker, &machine));
  EXPECT_EQ(std::vector{kProcess}, stoppedProcesses(broker, &machine));
  EXPECT_TRUE(stoppedProcesses(broker, nullptr).empty());
}

// Its number means another process here.
TEST(Condition, AStoppedProcessThatIsAnotherOneDoesNotCount) {
  const SeenBroker broker = running();
  auto machine = with(true);
  machine.processes[kProcess].segments = {broker.segment.mapped()};
  EXPECT_EQ(Condition::stopped, conditionOf(broker, &machine));
  machine.processes[kProcess].segments->clear();
  EXPECT_EQ(Condition::ok, conditionOf(broker, &machine));
  for (const char* const name : {"zeb_attach_77", "u1.zebcshme"}) {
    machine = with(true);
    reader::Lock& lock = machine.locks.locks.emplace_back();
    lock.name = name;
    lock.queue.lastSent = 50;
    EXPECT_EQ(Condition::ok, conditionOf(broker, &machine));
    lock.queue.lastSender = kProcess;
    EXPECT_EQ(Condition::stopped, conditionOf(broker, &machine));
  }
}

TEST(Condition, AnAreaWithoutRoomForTheSmallestNodeIsFull) {
  EXPECT_EQ(Condition::ok, conditionOf(filled(4096 - 230), nullptr));
  EXPECT_EQ(Condition::full, conditionOf(filled(4096 - 229), nullptr));
  EXPECT_EQ(Condition::full, conditionOf(filled(4096), nullptr));
  EXPECT_FALSE(running().full());
}

TEST(Condition, WhatCannotBeReadOrIsDamagedComesFirst) {
  SeenBroker broker = filled(4096);
  broker.segment.attached = 0;
  broker.damage.add("statistics", 1, "bad");
  EXPECT_EQ(Condition::damaged, conditionOf(broker, nullptr));
  for (const auto& [state, condition] :
       {std::pair(State::noKeyFile, Condition::noKeyFile),
        std::pair(State::noSegment, Condition::noSegment),
        std::pair(State::noPermission, Condition::noPermission),
        std::pair(State::notInitialised, Condition::notInitialised),
        std::pair(State::failed, Condition::failed)}) {
    broker.segment.state = state;
    EXPECT_EQ(condition, conditionOf(broker, nullptr));
  }
}

TEST(Oddities, BrokersThatDifferHaveNone) {
  EXPECT_TRUE(odditiesOf({running(1, "u1", "A"), running(2, "u2", "B")}).empty());
}

TEST(Oddities, TheClosestLikenessIsToldAndNotTheOthersToo) {
  EXPECT_EQ((std::vector<Oddity>{{Kind::sameSegment, 1, 0}}), odditiesOf({running(), running()}));
  EXPECT_EQ((std::vector<Oddity>{{Kind::sameUuid, 1, 0}}), odditiesOf({running(1), running(2)}));
  EXPECT_EQ((std::vector<Oddity>{{Kind::sameLabel, 2, 0}}),
            odditiesOf({running(1), running(2, "u2", "C"), running(3, "u3")}));
}

TEST(Oddities, BrokersThatWereNotReadAreNotAlike) {
  SeenBroker unread;
  unread.segment.uuid = "u1";
  EXPECT_TRUE(odditiesOf({unread, unread}).empty());
}

TEST(Oddities, AForeignOwnerIsToldWhenBothAreKnown) {
  SeenBroker broker = running();
  broker.segment.owner = 1000;
  EXPECT_TRUE(odditiesOf({broker}).empty());
  broker.segment.fileOwner = 1000;
  EXPECT_TRUE(odditiesOf({broker}).empty());
  broker.segment.fileOwner = 0;
  EXPECT_EQ((std::vector<Oddity>{{Kind::foreignOwner, 0, 0}}), odditiesOf({broker}));
}

TEST(Oddities, ABrokerWithoutUuidIsTold) {
  EXPECT_EQ((std::vector<Oddity>{{Kind::noUuid, 0, 0}}), odditiesOf({running(1, "")}));
}

TEST(Distinct, HoldsEachSegmentOnceAndAllThatWasNotRead) {
  Snapshot snapshot;
  SeenBroker unread;
  for (const SeenBroker& broker : {running(1), unread, running(1), running(2), unread}) {
    snapshot.brokers.push_back(std::make_shared<const SeenBroker>(broker));
  }
  const Snapshot once = model::distinct(snapshot);
  ASSERT_EQ(4U, once.brokers.size());
  EXPECT_EQ(snapshot.brokers[0], once.brokers[0]);
  EXPECT_EQ(snapshot.brokers[3], once.brokers[2]);
}

TEST(Counts, AreOfAllThatTheTreeHolds) {
  reader::Broker tree;
  EXPECT_FALSE(model::lastCollectionOf(tree));
  tree.executionGroups.resize(2);
  tree.executionGroups[1].messageFlows.resize(3);
  auto& nodes = tree.executionGroups[1].messageFlows[2].nodes;
  nodes.resize(4);
  EXPECT_FALSE(model::lastCollectionOf(tree));
  nodes[1].statistics.emplace().lastCollection = 5;
  nodes[2].statistics.emplace().lastCollection = 9;
  nodes[3].statistics.emplace();
  EXPECT_EQ(9, model::lastCollectionOf(tree));
  const model::Counts counts = model::countsOf(tree);
  EXPECT_EQ(2U, counts.groups);
  EXPECT_EQ(3U, counts.flows);
  EXPECT_EQ(4U, counts.nodes);
}

TEST(Fill, IsInWholePercent) {
  EXPECT_EQ(0, model::fillPercentOf({}));
  EXPECT_EQ(99, model::fillPercentOf(area(4096, 4095)));
  EXPECT_EQ(100, model::fillPercentOf(area(0xFFFFFFFF, 0xFFFFFFFF)));
}

}  // namespace condition_test
