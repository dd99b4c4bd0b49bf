// SPDX-License-Identifier: Apache-2.0
// All that two looks tell of a flow.
#include "agent/model/flow_view.h"

#include <gtest/gtest.h>

#include "tests/agent/grown.h"
#include "tests/support/image.h"

namespace flow_view_test {

namespace {

using model::NestingSource;
using std::chrono::milliseconds;
using Looks = std::vector<std::shared_ptr<const model::Snapshot>>;

reader::Node node(const std::string& label, std::uint32_t number, std::uint32_t type,
                  const Look& look) {
  reader::Node made = nodeWith(label, number, look);
  made.type = type;
  return made;
}

// Two nodes after so many tenths of what they do between two looks.
std::shared_ptr<model::SeenBroker> broker(std::int64_t tenths) {
  return seenBroker({node("In", 1, 1, {10 * tenths, 900 * tenths}),
                     node("Out", 2, 2, {10 * tenths, 500 * tenths})});
}

std::shared_ptr<const model::Snapshot> look(std::shared_ptr<model::SeenBroker> seen,
                                            milliseconds at) {
  return std::make_shared<const model::Snapshot>(lookAt(std::move(seen), at));
}

Looks twoLooks() {
  return {look(broker(10), milliseconds(0)), look(broker(20), milliseconds(10000))};
}

reader::Event failureAt(const std::string& label) {
  reader::Event event;
  event.origin = std::make_shared<reader::EventTemplate>(
      reader::EventTemplate{"orders", "Fulfil", label, 1, "Exception found in X(1). It failed"});
  return event;
}

flowfile::File fileWith(std::vector<std::string> nodes, unsigned threads) {
  flowfile::Flow flow{
      .label = "Fulfil", .threads = threads, .input = {}, .nodes = {}, .output = {}};
  for (std::string& label : nodes) {
    flowfile::MonitorNode made;
    made.label = std::move(label);
    flow.nodes.push_back(made);
  }
  flowfile::File file;
  file.groups.push_back({"orders", {flow}});
  return file;
}

// The machine at a look, with a lock of the events area that somebody took a minute before.
std::shared_ptr<model::Machine> machineWithALock(bool held) {
  auto machine = std::make_shared<model::Machine>();
  machine->clocks = {std::chrono::seconds(1'000'000), std::chrono::seconds(5000), 995'000, 100};
  reader::Lock& lock = machine->locks.locks.emplace_back();
  lock.name = "uuid.zebcedar";
  lock.file.path = "/tmp/uuid.zebcedar.zebmutx";
  lock.semaphore.presence = reader::Presence::there;
  lock.semaphore.value = held ? 0 : 1;
  lock.semaphore.lastProcess = 42;
  lock.semaphore.lastOperation = lock.semaphore.changed = 999'940;
  machine->processes[42].id = 42;
  machine->processes[42].exists = false;
  return machine;
}

// Both nodes post events, in a broker whose key file is like the lock's.
std::shared_ptr<model::SeenBroker> brokerWithEvents() {
  auto seen = broker(20);
  seen->segment.uuid = "uuid";
  image::Block block{.eyecatcher = "zebcetar", .contents = {}};
  block.add(image::eventTemplate({7, 1, 1, 1}, u"orders", u"Fulfil", u"In", 1, u"seen"));
  block.add(image::eventTemplate({7, 1, 1, 2}, u"orders", u"Fulfil", u"Out", 2, u"sent"));
  const image::Bytes bytes = image::segment({block});
  seen->segment.copy = reader::copySegment(bytes, bytes.size());
  return seen;
}

// Process 42, which is dead, is that of the flow's group.
model::FlowView flowWithLock(bool held) {
  const auto seen = brokerWithEvents();
  seen->tree->executionGroups[0].processId = 42;
  model::Snapshot after = lookAt(seen, milliseconds(10000));
  after.machine = machineWithALock(held);
  model::Snapshot before = after;
  before.steady -= std::chrono::seconds(10);
  const auto pair = Looks{std::make_shared<const model::Snapshot>(before),
                          std::make_shared<const model::Snapshot>(after)};
  return model::viewOf(pair, {}).brokers.at(0).flows.at(0);
}

}  // namespace

TEST(View, NamesTheLockThatKeepsAFlowWhereTheLooksHaveLocks) {
  EXPECT_FALSE(flowWithLock(false).kept);
  const auto lock = flowWithLock(true).kept;
  ASSERT_TRUE(lock);
  EXPECT_EQ("lock.stuck:/tmp/uuid.zebcedar.zebmutx", lock->key());
  EXPECT_EQ((std::vector<model::Place>{{"orders", "Fulfil", "In"}}), lock->stops);
  EXPECT_FALSE(model::viewOf(twoLooks(), {}).brokers.at(0).flows.at(0).kept);
}

TEST(View, TellsWhatTheProcessOfAFlowsGroupDoesWhereTheLooksHaveProcesses) {
  EXPECT_EQ(model::GroupState::gone, flowWithLock(false).group);
  EXPECT_EQ(model::GroupState::unknown,
            model::viewOf(twoLooks(), {}).brokers.at(0).flows.at(0).group);
}

TEST(View, HoldsTheLastIntervalWithAllThatCanBeTold) {
  const Looks looks = twoLooks();
  const model::View view = model::viewOf(looks, {});
  EXPECT_EQ(10.0, view.interval.count());
  EXPECT_EQ(looks[0], view.before);
  EXPECT_EQ(looks[1], view.after);
  const model::FlowView& flow = view.brokers.at(0).flows.at(0);
  EXPECT_EQ(10.0, flow.load.messages);
  EXPECT_EQ(NestingSource::inferred, flow.nesting.source);
  EXPECT_EQ(40.0, flow.times.at(0).self.perMessageMs);
  EXPECT_EQ(50.0, flow.times.at(1).self.perMessageMs);
  EXPECT_EQ(std::nullopt, flow.threads);
  EXPECT_EQ(4U, flow.inFlight);
}

TEST(View, AGivenChainGoesBeforeAFlowFile) {
  const flowfile::File file = fileWith({"Out", "In"}, 3);
  model::FlowKnowledge known{.chain = {}, .file = &file, .threads = {}};
  const model::FlowView fromFile = model::viewOf(twoLooks(), known).brokers.at(0).flows.at(0);
  EXPECT_EQ(NestingSource::flowFile, fromFile.nesting.source);
  EXPECT_EQ(1U, fromFile.nesting.nodes.at(0).outer);
  EXPECT_EQ(3U, fromFile.threads);
  EXPECT_EQ(3U, fromFile.inFlight);
  known.chain = model::parseChain("In(Out)").chain;
  known.threads = 5;
  const model::FlowView given = model::viewOf(twoLooks(), known).brokers.at(0).flows.at(0);
  EXPECT_EQ(NestingSource::given, given.nesting.source);
  EXPECT_EQ(0U, given.nesting.nodes.at(1).outer);
  EXPECT_EQ(5U, given.threads);
}

TEST(View, EarlierLooksHelpToInferTheChain) {
  // At first the middle node takes nearly all of the time, and then too little to tell.
  const auto busy = [](std::int64_t first, std::int64_t middle, std::int64_t last) {
    return seenBroker({node("A", 1, 1, {1000, first}), node("B", 2, 3, {1000, middle}),
                       node("C", 3, 3, {1000, last})});
  };
  Looks looks{look(busy(1000, 600, 300), milliseconds(0)),
              look(busy(21000, 12600, 6300), milliseconds(1000))};
  EXPECT_EQ(NestingSource::unknown,
            model::viewOf(looks, {}).brokers.at(0).flows.at(0).nesting.source);
  looks.insert(looks.begin() + 1, look(busy(11000, 9600, 5300), milliseconds(500)));
  EXPECT_EQ(NestingSource::inferred,
            model::viewOf(looks, {}).brokers.at(0).flows.at(0).nesting.source);
}

TEST(View, TellsFailuresWhereThereAreEvents) {
  const auto second = broker(20);
  const auto first = broker(10);
  const auto flowOf = [&] {
    const Looks looks{look(first, milliseconds(0)), look(second, milliseconds(10000))};
    return model::viewOf(looks, {}).brokers.at(0).flows.at(0);
  };
  EXPECT_FALSE(flowOf().sawAllFailures);
  EXPECT_EQ((std::vector<std::uint64_t>{0, 0}), flowOf().failed);
  second->events = reader::EventLog::Batch{};
  second->events->events = {failureAt("In")};
  EXPECT_TRUE(flowOf().sawAllFailures);
  EXPECT_EQ((std::vector<std::uint64_t>{1, 0}), flowOf().failed);
  second->events->overrun = true;
  EXPECT_FALSE(flowOf().sawAllFailures);
}

TEST(View, NodesComeInTheOrderInWhichMessagesPass) {
  const GrownFlow flow({{.label = "D"},
                        {.label = "B"},
                        {.label = "A"},
                        {.label = "X"},
                        {.label = "C"},
                        {.label = "E"}});
  const auto nesting =
      model::nest(flow.growth(), model::parseChain("A(C(D),B),E").chain, NestingSource::given);
  std::string order;
  for (const model::Placed& placed : model::inOrder(nesting)) {
    order += flow.growth().nodes[placed.node].node().label + std::to_string(placed.level);
  }
  EXPECT_EQ("A0B1C1D2E0X0", order);
}

TEST(View, OfFlowsOfOneNameInDamagedMemoryTakesEachForItself) {
  const auto twice = [](std::int64_t tenths) {
    auto seen = broker(tenths);
    auto& flows = seen->tree->executionGroups.front().messageFlows;
    flows.insert(flows.begin(), flows.front());
    flows.front().nodes.pop_back();
    flows.front().recordId = recordId(4, 2);
    return seen;
  };
  const Looks looks = {look(twice(10), milliseconds(0)), look(twice(20), milliseconds(10000))};
  const model::View view = model::viewOf(looks, {});
  ASSERT_EQ(2U, view.brokers[0].flows.size());
  for (const model::FlowView& flow : view.brokers[0].flows) {
    EXPECT_EQ(flow.growth.nodes.size(), flow.nesting.nodes.size());
    EXPECT_EQ(flow.growth.nodes.size(), flow.times.size());
  }
}

}  // namespace flow_view_test
