// SPDX-License-Identifier: Apache-2.0
// What is different between two looks.
#include "agent/model/diff.h"

#include <gtest/gtest.h>

#include "agent/render/diff_screens.h"
#include "tests/agent/grown.h"
#include "tests/agent/zebmon.h"

namespace diff_test {

namespace {

using namespace std::chrono_literals;
using model::Apart;
using model::Difference;
using Of = Apart::Kind;

constexpr std::int64_t kWall = 1000000;  // seconds, of the first look

// A look `time` after the first one, of a machine that started `boot` seconds after 1970.
model::Snapshot look(std::chrono::milliseconds time, std::int64_t boot,
                     std::shared_ptr<model::SeenBroker> broker = nullptr) {
  model::Snapshot snapshot = lookAt(std::move(broker), time);
  model::Machine machine;
  machine.clocks.wall = std::chrono::seconds(kWall) + time;
  machine.clocks.bootTime = boot;
  machine.clocks.sinceBoot = machine.clocks.wall - std::chrono::seconds(boot);
  snapshot.machine = std::make_shared<const model::Machine>(machine);
  return snapshot;
}

// Changes what the machine said of a look.
template <class Change>
void changeMachine(model::Snapshot& snapshot, const Change& change) {
  model::Machine machine = *snapshot.machine;
  change(machine);
  snapshot.machine = std::make_shared<const model::Machine>(machine);
}

std::vector<reader::Node> twoNodes() {
  return {nodeWith("In", 1, {10, 100}), nodeWith("Out", 2, {10, 50})};
}

reader::ExecutionGroup& groupOf(model::SeenBroker& broker) {
  return broker.tree->executionGroups.front();
}

reader::Process process(std::int32_t id, bool exists, bool stopped = false) {
  reader::Process process;
  process.id = id;
  process.exists = exists;
  process.ended = !exists;
  process.stopped = stopped;
  process.threads = 1;
  return process;
}

// "node changed NAME: BEFORE > AFTER" for each.
std::vector<std::string> told(const model::Differences& differences) {
  std::vector<std::string> lines;
  for (const render::Row& row : render::changesSheet(differences, render::Zone::utc).rows) {
    std::string line;
    for (std::size_t i = 0; i < 5; ++i) {
      const auto* text = std::get_if<std::string>(&row.cells[i].value);
      line += (i == 0 ? "" : "|") + (text == nullptr ? "-" : *text);
    }
    lines.push_back(line);
  }
  return lines;
}

using Lines = std::vector<std::string>;

Lines differences(const model::Snapshot& before, const model::Snapshot& after,
                  Of apart = Of::sameRun, const model::Selection& selection = {}) {
  return told(differencesOf(before, after, apart, selection));
}

}  // namespace

TEST(Apart, OneLookIsTheSameAndALaterOneIsLaterByTheSteadyClock) {
  EXPECT_EQ(Of::sameLook, apart(look(0ms, 5), look(0ms, 5), true).kind);
  const Apart later = apart(look(0ms, 5), look(2500ms, 6), true);
  EXPECT_EQ(Of::sameRun, later.kind);
  EXPECT_EQ(2.5, later.time.count());
  EXPECT_EQ(0, later.clockSet.count());
  EXPECT_EQ(-2.5, apart(look(2500ms, 5), look(0ms, 5), true).time.count());
  EXPECT_TRUE(later.comparesFigures());
  model::Snapshot first = look(0ms, 5);
  model::Snapshot last = first;
  first.steady = std::chrono::steady_clock::time_point::min();
  last.steady = std::chrono::steady_clock::time_point::max();
  EXPECT_LT(1e10, apart(first, last, true).time.count());
}

TEST(Apart, AMachineThatStartedAfterTheFirstLookStartedAgain) {
  const Apart again = apart(look(0ms, 5), look(600s, kWall + 100), true);
  EXPECT_EQ(Of::startedAgain, again.kind);
  EXPECT_EQ(600, again.time.count());
  EXPECT_FALSE(again.comparesFigures());
  const Apart back = apart(look(600s, kWall + 100), look(0ms, 5), true);
  EXPECT_EQ(Of::startedAgain, back.kind);
  EXPECT_EQ(-600, back.time.count());
  EXPECT_EQ(Of::startedAgain, apart(look(0ms, 5), look(600s, kWall), true).kind);
  EXPECT_EQ(Of::startedAgain, apart(look(600s, kWall), look(0ms, 5), true).kind);
}

TEST(Apart, AClockThatWasSetIsNoNewStart) {
  model::Snapshot after = look(10s, 5 + 3600);
  after.wall += 3600s;
  changeMachine(after, [](model::Machine& machine) { machine.clocks.sinceBoot += 3600s; });
  const Apart set = apart(look(0ms, 5), after, true);
  EXPECT_EQ(Of::sameRun, set.kind);
  EXPECT_EQ(10, set.time.count());
  EXPECT_EQ(3600, set.clockSet.count());
}

TEST(Apart, WithoutFactsOfTheMachineTheClocksDecide) {
  EXPECT_EQ(Of::sameRun, apart(lookAt(nullptr, 0s), lookAt(nullptr, 5s), true).kind);
  model::Snapshot other = lookAt(nullptr, 5s);
  other.steady += 100s;
  EXPECT_EQ(Of::startedAgain, apart(lookAt(nullptr, 0s), other, true).kind);
}

TEST(Apart, OfTwoMachinesNoFigureIsCompared) {
  const Apart other = apart(look(0ms, 5), look(5s, 5), false);
  EXPECT_EQ(Of::otherMachine, other.kind);
  EXPECT_FALSE(other.comparesFigures());
}

TEST(Differences, AreNoneOfTheSameThings) {
  EXPECT_EQ(Lines{},
            differences(look(0ms, 5, seenBroker(twoNodes())), look(5s, 5, seenBroker(twoNodes()))));
}

TEST(Differences, WhatCameAndWentIsToldWithoutWhatItHolds) {
  const auto before = seenBroker(twoNodes());
  const auto after = seenBroker(twoNodes());
  groupOf(*after).messageFlows.front().nodes.pop_back();
  groupOf(*after).messageFlows.front().nodes.push_back(nodeWith("New", 3, {}));
  reader::MessageFlow flow = groupOf(*before).messageFlows.front();
  flow.label = "Other";
  groupOf(*after).messageFlows.push_back(flow);
  reader::ExecutionGroup group = groupOf(*before);
  group.label = "spare";
  before->tree->executionGroups.push_back(group);
  EXPECT_EQ((Lines{"executionGroup|went|SHOP/spare|1 flow, 2 nodes|-",
                   "messageFlow|came|SHOP/orders/Other|-|2 nodes",
                   "node|went|SHOP/orders/Fulfil/Out|-|-", "node|came|SHOP/orders/Fulfil/New|-|-"}),
            differences(look(0ms, 5, before), look(5s, 5, after)));
  EXPECT_EQ((Lines{"broker|went|SHOP|2 groups|-"}), differences(look(0ms, 5, before), look(5s, 5)));
  EXPECT_EQ((Lines{"broker|came|SHOP|-|2 groups"}), differences(look(0ms, 5), look(5s, 5, before)));
}

TEST(Differences, WhatIsDeletedIsGone) {
  const auto after = seenBroker(twoNodes());
  groupOf(*after).messageFlows.front().nodes.back().deleted = true;
  const auto before = look(0ms, 5, seenBroker(twoNodes()));
  EXPECT_EQ((Lines{"node|went|SHOP/orders/Fulfil/Out|-|-"}),
            differences(before, look(5s, 5, after)));
  groupOf(*after).deleted = true;
  EXPECT_EQ((Lines{"executionGroup|went|SHOP/orders|1 flow, 2 nodes|-"}),
            differences(before, look(5s, 5, after)));
}

TEST(Differences, ABrokerThatStartedAgainWasResetAndItsResourcesStay) {
  std::vector<reader::Node> fresh = twoNodes();
  for (reader::Node& node : fresh) node.recordId = recordId(5, 77);
  const auto after = seenBroker(fresh);
  after->segment.id = 9;
  after->segment.size = 4096;
  after->segment.attached = 1;
  const auto before = seenBroker(twoNodes());
  before->segment.attached = 1;
  const model::Differences found =
      differencesOf(look(0ms, 5, before), look(5s, 5, after), Of::sameRun, {});
  EXPECT_EQ((Lines{"broker|reset|SHOP|shared memory 7 of 0 bytes|shared memory 9 of 4096 bytes"}),
            told(found));
  EXPECT_EQ(900, found.list.front().resetTime);
}

TEST(Differences, AResetIsToldForTheBrokerOrNodeByNode) {
  const auto before = seenBroker(twoNodes());
  const auto after = seenBroker({nodeWith("In", 1, {2, 10}), nodeWith("Out", 2, {10, 50})});
  EXPECT_EQ((Lines{"node|reset|SHOP/orders/Fulfil/In|-|-"}),
            differences(look(0ms, 5, before), look(5s, 5, after)));
  after->tree->resetTime = 1000003;
  EXPECT_EQ((Lines{"broker|reset|SHOP|-|-"}),
            differences(look(0ms, 5, before), look(5s, 5, after)));
  EXPECT_EQ(Lines{}, differences(look(0ms, 5, before), look(5s, 5, after), Of::otherMachine));
}

TEST(Differences, ProcessesOfGroupsAreToldWithTheirGroups) {
  const auto before = seenBroker(twoNodes());
  const auto after = seenBroker(twoNodes());
  groupOf(*before).processId = groupOf(*after).processId = 862;
  model::Snapshot first = look(0ms, 5, before);
  model::Snapshot second = look(5s, 5, after);
  changeMachine(first, [](auto& machine) { machine.processes = {{862, process(862, true)}}; });
  EXPECT_EQ(Lines{}, differences(first, second)) << "one look doesn't tell";
  changeMachine(second, [](auto& machine) {
    machine.processes = {{862, process(862, true, true)}};
  });
  EXPECT_EQ((Lines{"process|changed|SHOP/orders|process 862 runs|process 862 is stopped"}),
            differences(first, second));
  groupOf(*after).processId = 901;
  EXPECT_EQ((Lines{"process|changed|SHOP/orders|process 862 runs|process 901"}),
            differences(first, look(5s, 5, after)));
  EXPECT_EQ(Lines{}, differences(first, look(5s, 5, after), Of::otherMachine));
}

TEST(Differences, OtherProcessesAreToldWhenBothLooksKnowThem) {
  model::Snapshot first = look(0ms, 5);
  model::Snapshot second = look(5s, 5);
  reader::Process hidden;
  hidden.id = 9;
  changeMachine(first, [&hidden](auto& machine) {
    machine.processes = {{7, process(7, true)}, {8, process(8, true)}, {9, hidden}};
  });
  changeMachine(second, [](auto& machine) {
    machine.processes = {{7, process(7, false)}, {9, process(9, true)}};
  });
  EXPECT_EQ((Lines{"process|changed|process 7|runs|has ended"}), differences(first, second));
}

TEST(Differences, LocksThatAreHeldInOneLookAreTold) {
  model::Snapshot first = look(0ms, 5);
  model::Snapshot second = look(5s, 5);
  changeMachine(second, [](auto& machine) {
    reader::Lock lock;
    lock.file.path = "/tmp/a.zebmutx";
    lock.name = "a";
    lock.semaphore.presence = reader::Presence::there;
    lock.semaphore.semaphores = 1;
    lock.semaphore.value = 0;
    lock.semaphore.lastProcess = 7;
    lock.queue.presence = reader::Presence::there;
    lock.queue.mostBytes = 16384;
    machine.locks.locks = {lock};
    machine.processes = {{7, process(7, false)}};
  });
  const std::string held = "held by process 7, which has ended";
  const std::string stuck = "critical: lock of something unknown";
  EXPECT_EQ((Lines{"finding|came|lock.stuck:/tmp/a.zebmutx|-|" + stuck,
                   "lock|came|/tmp/a.zebmutx|-|" + held}),
            differences(first, second));
  EXPECT_EQ((Lines{"finding|went|lock.stuck:/tmp/a.zebmutx|" + stuck + "|-",
                   "lock|went|/tmp/a.zebmutx|" + held + "|-"}),
            differences(second, first));
  EXPECT_EQ(Lines{}, differences(first, second, Of::sameRun, {.node = "*"}));
}

TEST(Differences, FindingsAreToldWhenTheyComeAndWhenTheyGo) {
  model::Snapshot first = look(0ms, 5, seenBroker(twoNodes()));
  model::Snapshot second = look(5s, 5, seenBroker(twoNodes()));
  const auto linked = [](bool link) {
    return [link](model::Machine& machine) {
      machine.keyFiles = {{.path = "/tmp/1-2-3.zebcshme", .link = link}};
    };
  };
  changeMachine(first, linked(false));
  changeMachine(second, linked(true));
  const std::string key = "keyfile.link:/tmp/1-2-3.zebcshme";
  const std::string text = "warning: key file /tmp/1-2-3.zebcshme";
  EXPECT_EQ((Lines{"finding|came|" + key + "|-|" + text}), differences(first, second));
  EXPECT_EQ((Lines{"finding|went|" + key + "|" + text + "|-"}), differences(second, first));
  EXPECT_EQ(Lines{}, differences(first, second, Of::sameRun, {.broker = "SHOP", .flow = "*"}));
}

TEST(Differences, SettingsAreComparedByWhatTheyComeTo) {
  model::Snapshot first = look(0ms, 5, seenBroker(twoNodes()));
  model::Snapshot second = look(5s, 5, seenBroker(twoNodes()));
  const auto with = [](const std::string& text) {
    return [text](model::Machine& machine) {
      machine.configuration.exists = true;
      machine.configuration.path = "/etc/zebpnode.cfg";
      machine.configuration.text = text;
    };
  };
  changeMachine(first, with("ZEBMemorySize=8192\n"));
  changeMachine(second, with("ZEBMemorySize=08192\nZEBNodeTrace=On\n"));
  const Lines changed = differences(first, second);
  Lines settings;
  for (const std::string& line : changed)
    if (line.starts_with("setting")) settings.push_back(line);
  EXPECT_EQ((Lines{"setting|changed|ZEBNodeTrace|off (default)|on"}), settings);
}

TEST(Differences, WhatCouldNotBeReadIsNotCompared) {
  const auto broken = seenBroker({});
  broken->damage.add("statistics", 32, "no record");
  const auto found =
      differencesOf(look(0ms, 5, seenBroker(twoNodes())), look(5s, 5, broken), Of::sameRun, {});
  ASSERT_EQ(1U, found.notCompared.size());
  EXPECT_EQ("what broker SHOP holds: a look could not read all of it", found.notCompared[0]);
  ASSERT_LE(1U, found.list.size());
  EXPECT_EQ("broker|changed|SHOP|noProcess|damaged", told(found).back());
  const auto bare = differencesOf(lookAt(nullptr, 0s), lookAt(nullptr, 5s), Of::sameRun, {});
  ASSERT_EQ(1U, bare.notCompared.size());
  EXPECT_EQ("locks, processes, settings and findings: a look lacks what the machine said",
            bare.notCompared[0]);
}

TEST(Differences, OfASelectionAreOfItAlone) {
  const auto after = seenBroker(twoNodes());
  groupOf(*after).messageFlows.front().nodes.clear();
  const auto before = look(0ms, 5, seenBroker(twoNodes()));
  EXPECT_EQ((Lines{"node|went|SHOP/orders/Fulfil/In|-|-", "node|went|SHOP/orders/Fulfil/Out|-|-"}),
            differences(before, look(5s, 5, after), Of::sameRun, {.flow = "Ful*"}));
  EXPECT_EQ((Lines{"node|went|SHOP/orders/Fulfil/In|-|-"}),
            differences(before, look(5s, 5, seenBroker({nodeWith("Out", 2, {10, 50})})),
                        Of::sameRun, {.node = "*"}));
  EXPECT_EQ(Lines{}, differences(before, look(5s, 5, after), Of::sameRun, {.broker = "none"}));
}

TEST(AnythingMeasured, MeansAGrowthOfWhatIsSelected) {
  const model::Snapshot before = look(0ms, 5, seenBroker(twoNodes()));
  const auto same = between(before, look(5s, 5, seenBroker(twoNodes())));
  EXPECT_FALSE(anythingMeasured(same, {}));
  const auto grown = between(
      before,
      look(5s, 5, seenBroker({nodeWith("In", 1, {11, 100}), nodeWith("Out", 2, {10, 50})})));
  EXPECT_TRUE(anythingMeasured(grown, {}));
  EXPECT_TRUE(anythingMeasured(grown, {.group = "orders", .flow = "F*", .node = "In"}));
  EXPECT_FALSE(anythingMeasured(grown, {.node = "Out"}));
  EXPECT_FALSE(anythingMeasured(grown, {.flow = "X"}));
  EXPECT_FALSE(anythingMeasured(grown, {.group = "X"}));
}

}  // namespace diff_test
