// SPDX-License-Identifier: Apache-2.0
// What the doctor finds in made facts, and what it doesn't say.
#include "agent/model/findings.h"
#include "agent/model/findings/whereabouts.h"

#include <gtest/gtest.h>

#include "agent/model/capacity.h"
#include "agent/render/findings_screen.h"
#include "format/layout.h"
#include "tests/support/image.h"
#include "text/printable.h"

namespace findings_test {

namespace {

using model::Finding;
using model::Findings;
using model::Severity;
using reader::Presence;

constexpr std::int64_t kNow = 1'800'000'000;  // wall time of the later look
constexpr char kFile[] = "/tmp/1-2-3.zebcshme";
constexpr std::int32_t kHolder = 42;
constexpr char kReserve[] = "06000000010000000100000001000000";
constexpr char kPack[] = "06000000010000000100000002000000";

// One machine with one broker BRK1, whose group "orders" is process 42, and one lock of the events
// area. All is well with it.
struct Made {
  model::SeenBroker broker;
  model::Machine machine;

  Made() {
    broker.segment.state = reader::State::ok;
    broker.segment.keyFile = kFile;
    broker.segment.uuid = "1-2-3";
    broker.segment.key = 0x01010203;
    broker.segment.id = 7;
    broker.segment.size = 100'000;
    broker.segment.attached = 1;
    reader::Area area;
    area.name = reader::kStatistics;
    area.size = 32768;
    area.next = area.last = 1000;
    broker.segment.copy.areas.push_back(area);
    broker.tree.emplace();
    broker.tree->label = "BRK1";
    reader::ExecutionGroup group;
    group.label = "orders";
    group.processId = kHolder;
    broker.tree->executionGroups.push_back(group);
    machine.clocks = {std::chrono::seconds(kNow), std::chrono::seconds(5000), kNow - 5000, 100};
    reader::Process& process = machine.processes[kHolder];
    process.id = kHolder;
    process.exists = true;
    process.ended = process.stopped = false;
    process.startTicks = 1000;
    process.segments = {{0x01010203, 7}};
    machine.locks.locks.push_back(lock("1-2-3.zebcedar"));
    machine.keyFiles = {{.path = kFile, .regular = true, .device = 1, .inode = 0x0203}};
    for (auto* most :
         {&machine.limits.segments, &machine.limits.memoryPages, &machine.limits.queues,
          &machine.limits.semaphores, &machine.limits.semaphoreSets}) {
      *most = 1000;
    }
    for (auto* used :
         {&machine.limits.usedSegments, &machine.limits.usedPages, &machine.limits.usedQueues,
          &machine.limits.usedSemaphores, &machine.limits.usedSemaphoreSets}) {
      *used = 10;
    }
    machine.directory.emplace();
    machine.directory->path = "/tmp/";
    machine.directory->directory = true;
    machine.directory->mode = 01777;
    machine.directory->freeBytes = machine.directory->freeFiles = 1'000'000'000;
    machine.cleaners.emplace();
    machine.views.emplace();
    machine.logins.emplace();
    machine.keyless.emplace();
    machine.keyless->readable = true;
  }

  static reader::Lock lock(const std::string& name) {
    reader::Lock made;
    made.name = name;
    made.file.path = "/tmp/" + name + ".zebmutx";
    made.file.regular = true;
    made.file.device = 1;
    made.file.inode = 0x0303;
    made.semaphore.presence = made.queue.presence = Presence::there;
    made.semaphore.id = 5;
    made.semaphore.semaphores = 1;
    made.semaphore.value = 1;
    made.semaphore.lastProcess = kHolder;
    made.semaphore.lastOperation = kNow - 100;
    made.semaphore.changed = kNow - 4000;
    made.queue.references = made.queue.bytes = 2;
    made.queue.mostBytes = 16384;
    return made;
  }

  reader::Lock& its() { return machine.locks.locks[0]; }
  reader::Area& area() { return broker.segment.copy.areas[0]; }

  // The area of event templates with `next` as its next offset, and its lock, which the holder used
  // so many seconds ago.
  void templates(std::uint32_t next, int secondsAgo) {
    reader::Area area;
    area.name = reader::kEventTemplates;
    area.size = area.last = 4096;
    area.next = next;
    broker.segment.copy.areas.resize(1);
    broker.segment.copy.areas.push_back(area);
    machine.locks.locks.resize(1);
    machine.locks.locks.push_back(lock("1-2-3.zebcetar"));
    machine.locks.locks[1].semaphore.lastOperation = kNow - secondsAgo;
    machine.processes[kHolder].processorTicks = static_cast<std::uint64_t>(1000 - 90 * secondsAgo);
  }

  // The ring of events, wrapped, with so many of them, each so many milliseconds after the other.
  void ring(int events, int apart) {
    image::Block block{.eyecatcher = "zebcedar", .contents = {}};
    std::uint32_t at = 5000;
    for (int i = 0; i < events; ++i, at += static_cast<std::uint32_t>(apart)) {
      const auto number = static_cast<std::uint32_t>(i + 1);
      block.add(image::event({8, kEvents + at / 1000, at % 1000, number}, {7, 1, 1, 1}, 0));
    }
    const auto bytes = block.bytes();
    reader::Area area;
    area.name = reader::kEventData;
    area.size = static_cast<std::uint32_t>(bytes.size());
    area.last = static_cast<std::uint32_t>(32 + 144 * events);
    area.next = 32;
    area.bytes.assign(bytes.begin(), bytes.begin() + area.last);
    broker.segment.copy.areas.resize(1);
    broker.segment.copy.areas.push_back(area);
  }
  static constexpr std::uint32_t kEvents = 1'799'999'000;

  // One more process that lives. Nothing is attached to it.
  reader::Process& start(std::int32_t id) {
    reader::Process& process = machine.processes[id];
    process.id = id;
    process.exists = true;
    process.ended = process.stopped = false;
    process.segments.emplace();
    return process;
  }

  // A node in a group, which a process with the number 4321 runs unless it is there.
  void addNode(const std::string& group, const std::string& flow, const std::string& node,
               const std::string& record) {
    auto& groups = broker.tree->executionGroups;
    auto place = std::ranges::find(groups, group, &reader::ExecutionGroup::label);
    if (place == groups.end()) {
      reader::ExecutionGroup& added = groups.emplace_back();
      added.label = group;
      added.processId = 4321;
      place = groups.end() - 1;
    }
    reader::MessageFlow& deployed = place->messageFlows.emplace_back();
    deployed.label = flow;
    reader::Node& measured = deployed.nodes.emplace_back();
    measured.label = node;
    measured.statistics.emplace().recordId = reader::RecordId::fromHex(record);
  }

  void kill() {
    machine.processes[kHolder] = {};
    machine.processes[kHolder].id = kHolder;
    machine.processes[kHolder].exists = false;
  }

  model::Snapshot snapshot(int secondsBefore = 0) const {
    model::Snapshot made;
    made.directory = "/tmp/";
    made.wall = std::chrono::system_clock::time_point(std::chrono::seconds(kNow - secondsBefore));
    made.brokers = {std::make_shared<const model::SeenBroker>(broker)};
    auto facts = std::make_shared<model::Machine>(machine);
    facts->clocks.wall -= std::chrono::seconds(secondsBefore);
    facts->clocks.sinceBoot -= std::chrono::seconds(secondsBefore);
    made.machine = facts;
    return made;
  }

  // By two looks at which all is the same.
  Findings found() const {
    const model::Snapshot before = snapshot(1);
    return model::findingsOf(&before, snapshot());
  }
};

const Finding* find(const Findings& findings, const std::string& wanted) {
  for (const Finding& finding : findings.found) {
    if (finding.is(wanted)) return &finding;
  }
  return nullptr;
}

std::string idsOf(const Findings& findings) {
  std::string ids;
  for (const Finding& finding : findings.found) ids += finding.id + " ";
  return ids;
}

reader::Node node(std::int64_t count, std::int64_t first) {
  reader::Node made;
  made.label = "Order in";
  made.statistics.emplace();
  made.statistics->messageCount = count;
  made.statistics->firstCollection = first;
  return made;
}

}  // namespace

TEST(Findings, OfAHealthyMachineAreNone) {
  const Made made;
  const Findings findings = made.found();
  EXPECT_EQ("", idsOf(findings));
  EXPECT_TRUE(findings.notChecked.empty());
  EXPECT_EQ(1U, findings.locks);
  EXPECT_FALSE(model::needsSecondLook(made.snapshot()));
}

TEST(Findings, ALockThatADeadProcessHoldsIsStuck) {
  Made made;
  made.its().semaphore.value = 0;
  made.its().semaphore.waiting = 2;
  made.kill();
  EXPECT_TRUE(model::needsSecondLook(made.snapshot()));
  const Findings findings = made.found();
  const Finding* const finding = find(findings, "lock.stuck");
  ASSERT_NE(nullptr, finding);
  EXPECT_EQ(Severity::critical, finding->severity);
  EXPECT_EQ("lock.stuck:/tmp/1-2-3.zebcedar.zebmutx", finding->key());
  EXPECT_EQ("lock of the events area of broker BRK1", finding->object);
  EXPECT_EQ("process 42 took it and is dead; held for 100 s; 2 processes wait for it",
            finding->evidence);
  EXPECT_EQ("messages stop at each node that posts an event", finding->effect);
  EXPECT_EQ("zebmon doctor --repair lock.stuck:/tmp/1-2-3.zebcedar.zebmutx --yes",
            finding->command);
}

TEST(Findings, WhoWaitsForAKeptLockIsNamedWhereItIsKnown) {
  Made made;
  made.its().semaphore.value = 0;
  made.its().semaphore.waiting = 3;
  made.kill();
  const auto waiting = [&made] {
    const std::string evidence = find(made.found(), "lock.stuck")->evidence;
    return evidence.substr(evidence.rfind("; ") + 2);
  };
  EXPECT_EQ("3 processes wait for it", waiting()) << "nobody could look";
  reader::ExecutionGroup group;
  group.label = "billing";
  group.processId = 43;
  made.broker.tree->executionGroups.push_back(group);
  made.start(43);
  made.start(44).command = "zebhost";
  made.machine.waits.emplace();
  made.machine.waits->waiters = {{43, 5}, {44, 5}, {45, 6}};
  EXPECT_EQ(
      "3 processes wait for it: 43 of group billing and 44 (zebhost), and others that can't be "
      "seen from here",
      waiting());
  EXPECT_EQ((std::vector<std::int32_t>{43, 44}), find(made.found(), "lock.stuck")->waiting);
  made.its().semaphore.waiting = 2;
  EXPECT_EQ("2 processes wait for it: 43 of group billing and 44 (zebhost)", waiting());
}

TEST(Findings, WhoOnlyMayWaitIsNamedAsSuchIfTheBrokersMemoryIsIts) {
  Made made;
  made.its().semaphore.value = 0;
  made.its().semaphore.waiting = 1;
  made.kill();
  for (const std::int32_t id : {50, 51, 52}) made.start(id).command = "flow";
  made.machine.processes[50].segments = made.machine.processes[52].segments = {{0x01010203, 7}};
  made.machine.waits.emplace();
  made.machine.waits->unsure = {50, 51, 52};
  const Findings findings = made.found();
  const Finding& finding = *find(findings, "lock.stuck");
  EXPECT_TRUE(finding.evidence.ends_with("1 process waits for it, perhaps 50 (flow) or 52 (flow)"))
      << finding.evidence;
  EXPECT_TRUE(finding.waiting.empty());
}

TEST(Findings, AnAreasLockStopsTheFlowsThatPostEventsInGroupsThatRun) {
  Made made;
  made.its().semaphore.value = 0;
  made.kill();
  image::Block block{.eyecatcher = "zebcetar", .contents = {}};
  const auto deploy = [&](const char* label, const std::u16string& group, std::int32_t process) {
    const auto number = static_cast<std::uint32_t>(process);
    block.add(image::eventTemplate({7, 1, 1, number}, group, u"Fulfil", u"Reserve", 1, u"seen"));
    reader::MessageFlow flow;
    flow.label = "Fulfil";
    flow.nodes.emplace_back().label = "Reserve";
    reader::ExecutionGroup its;
    its.label = label;
    its.processId = process;
    its.messageFlows.push_back(flow);
    made.broker.tree->executionGroups.push_back(its);
  };
  made.broker.tree->executionGroups.clear();
  deploy("dead", u"dead", kHolder);
  const image::Bytes bytes = image::segment({block});
  made.broker.segment.copy = reader::copySegment(bytes, bytes.size());
  const auto stops = [&made] { return find(made.found(), "lock.stuck")->stops; };
  EXPECT_EQ((std::vector<model::Place>{{"dead", "Fulfil", "Reserve"}}), stops());
  deploy("billing", u"billing", 43);
  const image::Bytes more = image::segment({block});
  made.broker.segment.copy = reader::copySegment(more, more.size());
  made.start(43).segments = {{made.broker.segment.key, 7}};
  EXPECT_EQ((std::vector<model::Place>{{"billing", "Fulfil", "Reserve"}}), stops());
  EXPECT_EQ("messages stop at each node that posts an event: of Fulfil at Reserve",
            find(made.found(), "lock.stuck")->effect);
  deploy("before", u"before", 44);
  const image::Bytes all = image::segment({block});
  made.broker.segment.copy = reader::copySegment(all, all.size());
  made.start(44);
  EXPECT_EQ((std::vector<model::Place>{{"billing", "Fulfil", "Reserve"}}), stops())
      << "44 is another process now";
}

TEST(Findings, OneLookTellsAStuckLockThatIsNotNew) {
  Made made;
  made.its().semaphore.value = 0;
  made.kill();
  EXPECT_NE(nullptr, find(model::findingsOf(nullptr, made.snapshot()), "lock.stuck"));
  made.its().semaphore.lastOperation = kNow - 4;
  const Findings findings = model::findingsOf(nullptr, made.snapshot());
  EXPECT_EQ(nullptr, find(findings, "lock"));
  ASSERT_EQ(1U, findings.notChecked.size());
  EXPECT_EQ("1 held lock: one look can't tell a stuck lock from one in use",
            findings.notChecked[0].why);
}

TEST(Findings, ALockThatWasUsedBetweenTheLooksIsInUse) {
  Made made;
  made.its().semaphore.value = 0;
  made.kill();
  const model::Snapshot before = made.snapshot(1);
  ++made.its().semaphore.lastOperation;
  EXPECT_EQ(nullptr, find(model::findingsOf(&before, made.snapshot()), "lock"));
}

TEST(Findings, ALockHeldLongByALivingProcessIsAWarning) {
  Made made;
  made.its().semaphore.value = 0;
  EXPECT_EQ("lock.held-long ", idsOf(made.found()));
  EXPECT_EQ(Severity::warning, made.found().found[0].severity);
  made.its().semaphore.lastOperation = kNow - 4;
  EXPECT_EQ("", idsOf(made.found())) << "not yet";
}

TEST(Findings, ALockOfAStoppedProcessIsCritical) {
  Made made;
  made.its().semaphore.value = 0;
  made.machine.processes[kHolder].stopped = true;
  const Findings findings = made.found();
  EXPECT_EQ("lock.held-long process.stopped ", idsOf(findings));
  EXPECT_EQ(Severity::critical, findings.found[0].severity);
  EXPECT_EQ("kill -CONT 42", findings.found[0].command);
  EXPECT_EQ("kill -CONT 42", findings.found[1].command);
}

TEST(Findings, AHolderThatCannotBeSeenIsNeverCalledDead) {
  Made made;
  made.its().semaphore.value = 0;
  made.its().semaphore.lastProcess = 0;
  const Findings findings = made.found();
  EXPECT_EQ("lock.unknown-holder ", idsOf(findings));
  EXPECT_NE(std::string::npos, findings.found[0].remedy.find("PID namespace"));
}

TEST(Findings, AGroupWhoseProcessIsGoneOrAnotherOneIsDead) {
  Made made;
  made.machine.processes[kHolder].segments = {{1, 1}};
  EXPECT_EQ("process.dead ", idsOf(made.found()));
  made.kill();
  EXPECT_EQ("process.dead ", idsOf(made.found()));
  made.broker.tree->executionGroups[0].deleted = true;
  EXPECT_EQ("", idsOf(made.found()));
}

// Its number means another process here, or none.
TEST(Findings, AGroupWhoseProcessRunsInAnotherPidNamespaceIsNotCalledDead) {
  for (const char* const name : {"zeb_attach_42", "1-2-3.zebcshme"}) {
    Made made;
    made.kill();
    reader::Lock lock = made.lock(name);
    lock.queue.lastSent = kNow - 50;
    made.machine.locks.locks.push_back(lock);
    const Findings findings = made.found();
    EXPECT_EQ("", idsOf(findings));
    ASSERT_FALSE(findings.notChecked.empty());
    EXPECT_EQ("1 process in another PID namespace: run this in theirs",
              findings.notChecked.back().why);
    made.machine.locks.locks.back().queue.lastSender = kHolder;
    EXPECT_TRUE(idsOf(made.found()).ends_with("process.dead "));
  }
}

TEST(Findings, ASegmentThatNobodyUsesIsAbandoned) {
  Made made;
  made.broker.segment.attached = 0;
  made.its().semaphore.presence = made.its().queue.presence = Presence::absent;
  EXPECT_EQ("segment.abandoned ", idsOf(made.found()));
}

TEST(Findings, ALockThatOnlyDeadProcessesUsedIsLeftOver) {
  Made made;
  made.broker.segment.attached = 0;
  made.kill();
  EXPECT_NE(nullptr, find(made.found(), "leftover.lock:/tmp/1-2-3.zebcedar.zebmutx"));
  made.its().queue.lastReceiver = 43;
  EXPECT_EQ(nullptr, find(made.found(), "leftover.lock")) << "43 was not looked at";
}

// Its broker may be one of those that were not looked at, and in use.
TEST(Findings, ALockOfNoKnownBrokerIsNotLeftOverWhileBrokersAreLeftOut) {
  Made made;
  made.broker.segment.attached = 0;
  made.kill();
  made.its().name = "9-9-9.zebcedar";
  model::Snapshot before = made.snapshot(1);
  model::Snapshot now = made.snapshot();
  EXPECT_NE(nullptr, find(model::findingsOf(&before, now), "leftover.lock"));
  now.leftOut.tooMany = 1;
  EXPECT_EQ(nullptr, find(model::findingsOf(&before, now), "leftover.lock"));
}

TEST(Findings, AnAreaIsFullBeforeItIsDamaged) {
  Made made;
  made.area().last = made.area().size - 3000;
  EXPECT_EQ("area.nearly-full ", idsOf(made.found()));
  made.area().last = made.area().size - 229;
  EXPECT_EQ("area.full ", idsOf(made.found()));
  EXPECT_EQ("ZEBMemorySize=65536", made.found().found[0].command);
  made.area().last = made.area().size - 1000;
  made.broker.damage.add(reader::kStatistics, 500, "a record of type 5 has no parent", true);
  EXPECT_EQ("area.full ", idsOf(made.found())) << "its parent didn't fit";
  EXPECT_EQ(Severity::critical, made.found().found[0].severity);
  made.area().last = 2000;
  EXPECT_EQ("segment.damaged ", idsOf(made.found()));
}

// Their locks are all that there is of them.
TEST(Findings, NodesThatRunAndFoundNoRoomAreCounted) {
  Made made;
  made.area().last = made.area().size - 200;
  made.area().cut = 0;
  made.start(kHolder).segments = {made.broker.segment.mapped()};
  for (const char* const record :
       {"06000000E8030000050000000F0000AA", "06000000E8030000050000000F0000AB"}) {
    made.machine.locks.locks.push_back(made.lock(record));
    made.machine.locks.locks.back().semaphore.lastProcess = kHolder;
  }
  const Findings findings = made.found();
  ASSERT_EQ("area.full ", idsOf(findings));
  const Finding& finding = findings.found[0];
  EXPECT_EQ(Severity::critical, finding.severity);
  EXPECT_TRUE(finding.evidence.ends_with("; 2 nodes that run have no record there"))
      << finding.evidence;
  EXPECT_EQ("nobody sees the figures of these nodes, and of those that are deployed now",
            finding.effect);
  model::NewNode largest = model::largestNewNode(made.broker);
  largest.newFlow = true;
  EXPECT_EQ("ZEBMemorySize=" + std::to_string(2 * (made.area().size + 2 * model::bytesOf(largest))),
            finding.command);
  made.machine.processes[kHolder].segments->clear();
  made.machine.processes[kHolder].segments->push_back({1, 1});
  EXPECT_EQ(Severity::warning, find(made.found(), "area.full")->severity)
      << "they may be of another broker";
  made.machine.processes[kHolder].segments = {made.broker.segment.mapped()};
  made.area().cut = 1;
  EXPECT_EQ(Severity::warning, find(made.found(), "area.full")->severity)
      << "their records may be in what was left out";
  made.area().cut = 0;
  made.broker.damage.add(reader::kStatistics, 500, "a record is cut", false);
  EXPECT_EQ(Severity::warning, find(made.found(), "area.full")->severity)
      << "their records may be what can't be read";
}

TEST(Findings, AClockThatWasSetBackIsSaid) {
  Made made;
  made.area().lastUpdate.seconds = kNow + 5;
  EXPECT_EQ("", idsOf(made.found()));
  made.area().lastUpdate.seconds = kNow + 6;
  EXPECT_EQ("clock.set-back ", idsOf(made.found()));
}

TEST(Findings, AClockThatWentBackBetweenTheLooksIsSaid) {
  const Made made;
  const model::Snapshot before = made.snapshot(1);
  model::Snapshot now = made.snapshot();
  auto machine = std::make_shared<model::Machine>(*now.machine);
  now.machine = machine;
  for (const int back : {0, 400, 600, -600}) {
    machine->clocks.wall = std::chrono::seconds(kNow) - std::chrono::milliseconds(back);
    EXPECT_EQ(back == 600 ? "clock.set-back " : "", idsOf(model::findingsOf(&before, now))) << back;
  }
}

TEST(Findings, ANodeWhoseLastMessageIsBeforeItsFirstOneShowsAClockThatWasSetBack) {
  Made made;
  auto& flows = made.broker.tree->executionGroups[0].messageFlows;
  flows.push_back({.label = "OrderEntry", .deleted = false, .recordId = {}, .nodes = {}});
  flows[0].nodes.push_back(node(5, kNow - 100));
  flows[0].nodes[0].statistics->lastCollection = kNow - 105;
  EXPECT_EQ("", idsOf(made.found()));
  flows[0].nodes[0].statistics->lastCollection = kNow - 106;
  EXPECT_EQ("clock.set-back ", idsOf(made.found()));
  EXPECT_NE(std::string::npos, made.found().found[0].evidence.find("orders/OrderEntry/Order in"));
  flows[0].nodes[0].statistics->lastCollection = INT64_MIN;
  flows[0].nodes[0].statistics->firstCollection = INT64_MIN;
  EXPECT_EQ("", idsOf(made.found()));
}

TEST(Findings, ATextLargerThanItsAreaKeepsAProcessBusy) {
  Made made;
  made.templates(layout::block::bytes, 1);
  const model::Snapshot before = made.snapshot(1);
  EXPECT_TRUE(model::needsSecondLook(before));
  EXPECT_EQ("", idsOf(model::findingsOf(nullptr, before)));
  made.templates(layout::block::bytes, 0);
  const Findings findings = model::findingsOf(&before, made.snapshot());
  ASSERT_EQ("record.too-large ", idsOf(findings));
  EXPECT_EQ(Severity::critical, findings.found[0].severity);
  EXPECT_EQ(
      "process 42 (orders) takes the area's lock again and again, with 90 % of a core, and the "
      "area is empty at both looks",
      findings.found[0].evidence);
  EXPECT_EQ("ZEBMemorySize=8192", findings.found[0].command);
}

TEST(Findings, AnAreaThatOthersFillOrNobodyUsesIsNotTooSmall) {
  Made made;
  made.templates(layout::block::bytes, 1);
  const model::Snapshot before = made.snapshot(1);
  made.templates(200, 0);
  EXPECT_EQ("", idsOf(model::findingsOf(&before, made.snapshot()))) << "it has a record";
  made.templates(layout::block::bytes, 0);
  made.machine.locks.locks[1].semaphore.lastOperation = kNow - 1;
  EXPECT_EQ("", idsOf(model::findingsOf(&before, made.snapshot()))) << "nobody took the lock";
  made.templates(layout::block::bytes, 0);
  made.machine.processes[kHolder].processorTicks = 915;
  EXPECT_EQ("", idsOf(model::findingsOf(&before, made.snapshot()))) << "5 % of a core";
  made.machine.processes[kHolder].processorTicks = 10;
  EXPECT_EQ("record.too-large ", idsOf(model::findingsOf(&before, made.snapshot())))
      << "another process has its number, or the ticks are unknown";
  made.templates(layout::block::bytes, 0);
  made.kill();
  EXPECT_EQ("process.dead ", idsOf(model::findingsOf(&before, made.snapshot())));
  made.templates(layout::block::bytes, 6);
  EXPECT_FALSE(model::needsSecondLook(made.snapshot()));
}

TEST(Findings, ATornRecordIsSaidWithItsNode) {
  Made made;
  made.area().torn = {300};
  EXPECT_EQ("record.torn ", idsOf(made.found()));
  auto& flows = made.broker.tree->executionGroups[0].messageFlows;
  flows.push_back({.label = "OrderEntry", .deleted = false, .recordId = {}, .nodes = {}});
  flows[0].nodes.push_back(node(5, 0));
  flows[0].nodes[0].statistics->torn = true;
  EXPECT_EQ("1 record was being written at each of 5 copies: orders/OrderEntry/Order in",
            made.found().found[0].evidence);
}

TEST(Findings, EventsThatAreOverwrittenSoonAreMissed) {
  Made made;
  made.ring(20, 200);
  EXPECT_EQ("", idsOf(made.found())) << "it holds 3.8 s";
  made.ring(20, 100);
  const Findings findings = made.found();
  ASSERT_EQ("events.missed ", idsOf(findings));
  EXPECT_EQ("20 events of the last 1.9 s fill the area", findings.found[0].evidence);
  EXPECT_EQ("ZEBMemorySize=91040", findings.found[0].command)
      << "632 events of 144 bytes and a header";
  made.broker.segment.copy.areas[1].next = made.broker.segment.copy.areas[1].last;
  EXPECT_EQ("", idsOf(made.found())) << "it has not begun again";
}

TEST(Findings, EventsThatWereAllOverwrittenBetweenTheLooksAreSaid) {
  Made made;
  made.ring(20, 100);
  const model::Snapshot before = made.snapshot(1);
  made.ring(19, 101);
  EXPECT_NE(std::string::npos, model::findingsOf(&before, made.snapshot())
                                   .found[0]
                                   .evidence.find("all were overwritten between two looks"));
}

TEST(Findings, DamageInTheAreasOfEventsIsFoundWithoutDecodingThem) {
  Made made;
  made.ring(3, 10000);
  reader::Area& area = made.broker.segment.copy.areas[1];
  area.next = area.last;
  area.bytes[32 + 144] = 'X';
  EXPECT_EQ("segment.damaged ", idsOf(made.found()));
  EXPECT_NE(std::string::npos, made.found().found[0].evidence.find("in eventData at offset 176"));
}

TEST(Findings, WhatWasTooMuchToBeLookedAtIsNoDamage) {
  Made made;
  made.ring(3, 10000);
  reader::Area& area = made.broker.segment.copy.areas[1];
  area.next = area.last;
  area.bytes.resize(32 + 144 + 20);
  EXPECT_EQ("", idsOf(made.found()));
}

TEST(Findings, ADirectoryThatIsFullOrWrongIsSaid) {
  Made made;
  made.broker.segment.fileOwner = 1000;
  reader::Directory& directory = *made.machine.directory;
  directory.freeFiles = 999;
  EXPECT_EQ("directory.full ", idsOf(made.found()));
  EXPECT_EQ("df -i /tmp/", made.found().found[0].command);
  EXPECT_EQ(Severity::warning, made.found().found[0].severity);
  directory.freeFiles = 0;
  EXPECT_EQ(Severity::critical, made.found().found[0].severity);
  directory.freeFiles.reset();
  EXPECT_EQ("", idsOf(made.found())) << "files are not counted there";
  directory.freeBytes = 0;
  EXPECT_EQ("df -h /tmp/", made.found().found[0].command);
  directory.freeBytes = 1 << 20;
  EXPECT_EQ("", idsOf(made.found()));
  directory.mode = 0700;
  EXPECT_EQ("directory.wrong ", idsOf(made.found())) << "user 1000 can't write";
  directory.mode = 01777;
  directory.readOnly = true;
  EXPECT_EQ("directory.wrong ", idsOf(made.found()));
  directory.readOnly = directory.directory = false;
  EXPECT_EQ("it is no directory", made.found().found[0].evidence);
  directory.error = ENOENT;
  EXPECT_EQ("install -d -m 1777 /tmp/", made.found().found[0].command);
}

TEST(Findings, CleanersAreSaidWithTheLineToWrite) {
  Made made;
  using Kind = reader::Cleaner::Kind;
  made.machine.cleaners->cleaners = {{Kind::tmpfiles, "/usr/lib/tmpfiles.d/tmp.conf", 11, "q /tmp"},
                                     {Kind::cron, "/etc/crontab", 3, "find /tmp -delete"},
                                     {Kind::tmpreaper, "/etc/tmpreaper.conf", 0, ""}};
  made.machine.cleaners->unreadable = {"/var/spool/cron/crontabs"};
  const Findings findings = made.found();
  EXPECT_EQ("directory.cleaned directory.cleaned directory.cleaned ", idsOf(findings));
  EXPECT_EQ("printf 'x %s\\n' /tmp/'*.zebcshme' /tmp/'*.zebmutx' > /etc/tmpfiles.d/zeb.conf",
            find(findings, "directory.cleaned:/usr/lib/tmpfiles.d/tmp.conf")->command);
  EXPECT_EQ("TMPREAPER_PROTECT_EXTRA='/tmp/*.zebcshme /tmp/*.zebmutx'",
            find(findings, "directory.cleaned:/etc/tmpreaper.conf")->command);
  EXPECT_EQ("! -name '*.zebcshme' ! -name '*.zebmutx'",
            find(findings, "directory.cleaned:/etc/crontab")->command);
  ASSERT_EQ(1U, findings.notChecked.size());
  EXPECT_EQ("cleaners in /var/spool/cron/crontabs: run sudo zebmon doctor",
            findings.notChecked[0].why);
}

TEST(Findings, ServicesThatSeeOtherThingsAreSaidWithTheirDropIn) {
  Made made;
  made.machine.views->others = {
      {.process = 7, .command = "e", .unit = "b.service", .otherDirectory = true, .otherIpc = true},
      {.process = 8, .command = "e", .unit = "", .otherDirectory = false, .otherIpc = true},
      {.process = 9, .command = "e", .unit = "", .otherDirectory = {}, .otherIpc = false}};
  made.machine.views->hidden = 2;
  const Findings findings = made.found();
  EXPECT_EQ("view.private-directory view.private-ipc ", idsOf(findings));
  EXPECT_EQ(
      "mkdir -p /etc/systemd/system/b.service.d && printf "
      "'[Service]\\nPrivateTmp=no\\nPrivateIPC=no\\n' > /etc/systemd/system/b.service.d/zeb.conf "
      "&& systemctl daemon-reload && systemctl restart b.service",
      findings.found[0].command);
  EXPECT_EQ("nsenter -t 8 -m -i zebmon doctor", findings.found[1].command);
  ASSERT_EQ(1U, findings.notChecked.size());
  EXPECT_TRUE(findings.notChecked[0].why.starts_with("3 processes: "))
      << findings.notChecked[0].why;
  EXPECT_TRUE(findings.notChecked[0].why.ends_with("run sudo zebmon doctor"));
}

TEST(Findings, AUserWhoseObjectsGoWithTheLastSessionIsSaid) {
  Made made;
  made.broker.segment.fileOwner = 1000;
  made.machine.logins->managed = true;
  EXPECT_EQ("login.removes-ipc ", idsOf(made.found()));
  made.broker.segment.fileOwner = 999;
  EXPECT_EQ("", idsOf(made.found())) << "a system user";
  made.machine.logins->unreadable = {"/etc/systemd/logind.conf"};
  EXPECT_EQ(1U, made.found().notChecked.size());
}

TEST(Findings, ObjectsWithoutAKeyFileAreToldAndNeverMended) {
  Made made;
  using Kind = reader::Keyless::Kind;
  made.machine.keyless->objects = {{.kind = Kind::segment, .key = 1, .id = 5, .users = 0},
                                   {.kind = Kind::segment, .key = 2, .id = 6, .users = 3},
                                   {.kind = Kind::lock, .key = 3, .id = 8, .queue = 9},
                                   {.kind = Kind::lock, .key = 4, .lastProcess = kHolder}};
  const Findings findings = made.found();
  EXPECT_EQ("keyfile.replaced leftover.unknown leftover.unknown ", idsOf(findings));
  EXPECT_EQ("shared memory 5", findings.found[1].object) << "6 is used";
  EXPECT_EQ("semaphore 8 with queue 9", findings.found[2].object);
  model::Snapshot nobody = made.snapshot();
  nobody.brokers.clear();
  EXPECT_NE(nullptr, find(model::findingsOf(nullptr, nobody), "leftover.unknown:2"))
      << "its key file may have gone";
}

TEST(Findings, WhatNobodyLookedAtIsNotChecked) {
  Made made;
  made.machine.directory.reset();
  made.machine.cleaners.reset();
  made.machine.views.reset();
  made.machine.logins.reset();
  made.machine.keyless.reset();
  EXPECT_EQ("", idsOf(made.found()));
  EXPECT_EQ(5U, made.found().notChecked.size());
}

TEST(Findings, OfOtherUsersAreLeftOut) {
  Made made;
  made.machine.locks.locks[0].name = "unknown";
  made.its().semaphore.value = 0;
  made.its().file.owner = made.its().semaphore.owner = 7;
  made.kill();
  made.broker.segment.fileOwner = 7;
  model::Selection selection;
  selection.owners = {7};
  const model::Snapshot snapshot = made.snapshot();
  EXPECT_EQ("lock.stuck process.dead ",
            idsOf(model::select(made.found(), model::select(snapshot, selection), selection)));
  selection.owners = {8, 9};
  EXPECT_EQ("", idsOf(model::select(made.found(), model::select(snapshot, selection), selection)));
  EXPECT_EQ(1U, model::foreignIn(snapshot, selection.owners));
}

TEST(Findings, AKeyFileOfAnotherUserThanTheMemoryIsSaid) {
  Made made;
  made.machine.keyFiles[0].owner = 1000;
  made.broker.segment.owner = 1001;
  ASSERT_EQ("keyfile.owner ", idsOf(made.found()));
  EXPECT_EQ("it belongs to user 1000, and its shared memory to user 1001",
            made.found().found[0].evidence);
  EXPECT_TRUE(made.found().found[0].effect.starts_with("only user 1000 can remove it from /tmp/"));
}

TEST(Findings, AForcedResetWithinAWeekIsSaid) {
  Made made;
  auto& flows = made.broker.tree->executionGroups[0].messageFlows;
  flows.push_back({.label = "OrderEntry", .deleted = false, .recordId = {}, .nodes = {}});
  flows[0].nodes.push_back(node(2147483647LL / 2, kNow - 3 * 24 * 3600));
  EXPECT_EQ("reset.forced ", idsOf(made.found()));
  flows[0].nodes[0] = node(2147483647LL / 2, kNow - 8 * 24 * 3600);
  EXPECT_EQ("", idsOf(made.found()));
  for (const std::int64_t odd : {INT64_MIN, std::int64_t{-1}, std::int64_t{0}}) {
    flows[0].nodes[0] = node(odd, odd);
    EXPECT_EQ("", idsOf(made.found())) << odd;
  }
}

TEST(Findings, LimitsThatAreNearAreSaidAndUnreadableOnesToo) {
  Made made;
  made.machine.limits.usedQueues = 899;
  EXPECT_EQ("", idsOf(made.found()));
  made.machine.limits.usedQueues = 900;
  EXPECT_EQ("limits.near ", idsOf(made.found()));
  EXPECT_EQ("sysctl -w kernel.msgmni='2000'", made.found().found[0].command);
  made.machine.limits.usedQueues.reset();
  EXPECT_EQ("", idsOf(made.found()));
  EXPECT_EQ(1U, made.found().notChecked.size());
  made.its().queue.references = 14746;
  EXPECT_EQ("lock.references ", idsOf(made.found()));
}

TEST(Findings, OneSettingHasTheNumbersOfSemaphoresAndOfTheirSets) {
  Made made;
  made.machine.limits.semaphoresPerSet = 250;
  made.machine.limits.operationsPerCall = 32;
  made.machine.limits.usedSemaphores = 950;
  const Findings one = made.found();
  ASSERT_EQ("limits.near ", idsOf(one));
  EXPECT_EQ("semaphores of this machine", one.found[0].object);
  EXPECT_EQ("limits.near:kernel.sem 2", one.found[0].key());
  EXPECT_EQ("sysctl -w kernel.sem='250 2000 32 1000'", one.found[0].command);
  made.machine.limits.usedSemaphoreSets = 1000;
  const Findings both = made.found();
  ASSERT_EQ("limits.near limits.near ", idsOf(both));
  for (const Finding& finding : both.found) {
    EXPECT_EQ("sysctl -w kernel.sem='250 2000 32 2000'", finding.command);
  }
}

TEST(Findings, ASegmentWithoutItsKeyFileHasTwoSides) {
  Made made;
  made.its().file.inode = 0x0303;
  made.machine.processes[43] = made.machine.processes[kHolder];
  made.machine.processes[43].id = 43;
  made.machine.processes[43].segments = {{0x01010909, 3}};
  const Findings findings = made.found();
  const Finding* const finding = find(findings, "keyfile.replaced:3");
  ASSERT_NE(nullptr, finding);
  EXPECT_NE(std::string::npos, finding->evidence.find("process 43 uses it"));
  EXPECT_NE(std::string::npos, finding->evidence.find("with a key file: 42 of broker BRK1"));
  made.machine.processes[43].segments = {{0x02010909, 3}};
  EXPECT_EQ("", idsOf(made.found())) << "another program's";
}

TEST(Findings, AProcessIsNeverSaidToBeOfAnotherBroker) {
  Made made;
  made.its().file.inode = 0x0303;
  model::SeenBroker other = made.broker;
  other.segment.keyFile = "/tmp/4-5-6.zebcshme";
  other.segment.uuid = "4-5-6";
  other.segment.key = 0x01010999;
  other.tree->label = "BRK2";
  for (const int id : {43, 44}) {
    made.machine.processes[id] = made.machine.processes[kHolder];
    made.machine.processes[id].id = id;
  }
  made.machine.processes[43].segments = {{0x01010909, 3}};
  made.machine.processes[44].segments = {{0x01010999, 9}};
  model::Snapshot snapshot = made.snapshot();
  snapshot.brokers.push_back(std::make_shared<const model::SeenBroker>(other));
  const Findings findings = model::findingsOf(nullptr, snapshot);
  const Finding* const finding = find(findings, "keyfile.replaced:3");
  ASSERT_NE(nullptr, finding);
  EXPECT_NE(std::string::npos,
            finding->evidence.find("with a key file: 42 of broker BRK1; 44 of broker BRK2"))
      << finding->evidence;
}

TEST(Findings, ALockInUseWithoutItsKeyFileIsSaidWithItsBroker) {
  Made made;
  made.its().file.inode = 0x0303;
  reader::Keyless lock;
  lock.kind = reader::Keyless::Kind::lock;
  lock.key = 0x01010404;
  lock.id = 8;
  lock.queue = 9;
  lock.firstProcess = lock.lastProcess = kHolder;
  made.machine.keyless->objects.push_back(lock);
  const model::Snapshot snapshot = made.snapshot();
  EXPECT_TRUE(model::needsSecondLook(snapshot));
  EXPECT_EQ("", idsOf(model::findingsOf(nullptr, snapshot))) << "it may have just been made";
  const Findings findings = model::findingsOf(&snapshot, snapshot);
  const Finding* const finding = find(findings, "keyfile.replaced:semaphore-8");
  ASSERT_NE(nullptr, finding);
  EXPECT_EQ("a lock of broker BRK1, whose key file is gone", finding->object);
  EXPECT_NE(nullptr, finding->broker);
  made.machine.processes[kHolder].segments->clear();
  const model::Snapshot others = made.snapshot();
  EXPECT_EQ(nullptr, find(model::findingsOf(&others, others), "keyfile.replaced:semaphore-8"));
}

TEST(Findings, KeyFilesOfOthersAndLinksAreSaid) {
  Made made;
  made.its().file.owner = 1000;
  EXPECT_EQ("keyfile.owner ", idsOf(made.found()));
  made.its().file.owner = 0;
  made.its().file.link = true;
  EXPECT_EQ("keyfile.link ", idsOf(made.found()));
}

TEST(Findings, TwoBrokersOfOneKeyOrOneLabelAreSaid) {
  Made made;
  model::Snapshot snapshot = made.snapshot();
  model::SeenBroker other = made.broker;
  other.segment.keyFile = "/tmp/4-5-6.zebcshme";
  snapshot.brokers.push_back(std::make_shared<const model::SeenBroker>(other));
  EXPECT_EQ("keyfile.duplicate ", idsOf(model::findingsOf(nullptr, snapshot)));
  other.segment.key = 0x01010999;
  other.segment.uuid = "4-5-6";
  other.tree->executionGroups.clear();
  snapshot.brokers.back() = std::make_shared<const model::SeenBroker>(other);
  EXPECT_EQ("broker.same-label ", idsOf(model::findingsOf(nullptr, snapshot)));
}

TEST(Findings, SettingsThatMeanSomethingElseAreSaid) {
  Made made;
  made.machine.configuration.exists = true;
  made.machine.configuration.path = "/opt/holt/lil/zebpnode.cfg";
  made.machine.configuration.text = "ZEBMemorySize = 65536\n";
  const Findings findings = made.found();
  const Finding* const finding = find(findings, "settings.trap");
  ASSERT_NE(nullptr, finding);
  EXPECT_EQ("settings.trap:/opt/holt/lil/zebpnode.cfg:1", finding->key());
  EXPECT_EQ("ZEBMemorySize=65536", finding->command);
}

TEST(Findings, AreThoseOfTheSelectedBrokersAlone) {
  Made made;
  made.its().semaphore.value = 0;
  made.kill();
  made.machine.limits.usedQueues = 1000;
  model::Selection selection;
  selection.broker = "BRK1";
  const model::Snapshot snapshot = made.snapshot();
  EXPECT_EQ("lock.stuck process.dead ", idsOf(model::select(made.found(), snapshot, selection)));
  selection.broker = "other";
  model::Snapshot none = snapshot;
  none.brokers.clear();
  EXPECT_EQ("", idsOf(model::select(made.found(), none, selection)));
  EXPECT_EQ("limits.near ", idsOf(model::select(made.found(), none, {})));
}

TEST(Findings, AreThoseOfTheSelectedGroupsFlowsAndNodesAndOfWhatABrokerShares) {
  Made made;
  made.addNode("orders", "Fulfil", "Reserve", kReserve);
  made.addNode("other", "Ship", "Pack", kPack);
  made.machine.locks.locks = {Made::lock(kReserve), Made::lock(kPack), Made::lock("1-2-3.zebcedar"),
                              Made::lock("zeb_attach_4321")};
  for (reader::Lock& lock : made.machine.locks.locks) lock.semaphore.value = 0;
  made.kill();
  made.machine.limits.usedQueues = 1000;
  const model::Snapshot snapshot = made.snapshot();
  const auto of = [&](const model::Selection& selection) {
    std::string objects;
    const Findings findings =
        model::select(made.found(), model::select(snapshot, selection), selection);
    for (const auto& finding : findings.found) objects += finding.object + "; ";
    return objects + std::to_string(findings.locks);
  };
  const std::string area = "lock of the events area of broker BRK1; ";
  const std::string reserve = "lock of the statistics of orders/Fulfil/Reserve; ";
  const std::string pack = "lock of the statistics of other/Ship/Pack; ";
  const std::string group = "execution group orders of broker BRK1; ";
  const std::string table = "lock of the segments that process 4321 uses; ";
  EXPECT_EQ(reserve + area + group + "2", of({.group = "orders"}));
  EXPECT_EQ(reserve + area + group + "2", of({.flow = "Fulfil"}));
  EXPECT_EQ(reserve + area + group + "2", of({.node = "Res*"}));
  EXPECT_EQ(pack + area + table + "3", of({.group = "other", .node = "Pack"}));
  EXPECT_EQ("0", of({.group = "orders", .node = "Pack"}));
}

TEST(Findings, AreMeantByKeyKindAndTheKindsBeginning) {
  Finding finding;
  finding.id = "lock.stuck";
  finding.of = "/tmp/a";
  for (const char* const wanted : {"lock", "lock.stuck", "lock.stuck:/tmp/a"}) {
    EXPECT_TRUE(finding.is(wanted)) << wanted;
  }
  for (const char* const wanted : {"", "loc", "lock.stuc", "lock.stuck:/tmp/b", "lock.stuck:"}) {
    EXPECT_FALSE(finding.is(wanted)) << wanted;
  }
}

TEST(FindingsScreen, HasLinesOf80ColumnsWhateverTheLabelsHold) {
  Made made;
  made.its().semaphore.value = 0;
  made.kill();
  made.broker.tree->label = "a \x1B[31m label " + std::string(30, 'x') + "\n and more";
  const model::Snapshot snapshot = made.snapshot();
  const std::string text =
      render::findingsScreen(made.found(), snapshot, {.width = 80}, "zebmon doctor --only");
  EXPECT_EQ(std::string::npos, text.find('\x1B'));
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with("    ")) continue;  // a command
    EXPECT_GE(80U, text::columns(line)) << line;
  }
  EXPECT_TRUE(text.ends_with("1 critical, 1 warning in 1 broker and 1 lock.\n")) << text;
}

TEST(FindingsScreen, ARepairHasLinesOf80ColumnsAndItsCommandOnOne) {
  Finding finding;
  finding.id = "lock.stuck";
  finding.of = "/tmp/a";
  finding.object = "lock of a long name " + std::string(40, 'x') + " and more of it behind that";
  const std::string text = render::repairText(
      finding,
      "done: it is free. " + std::string("What may be half done: many words that don't ") +
          "fit in a line of 80 columns",
      "zebmon reset --yes --broker " + std::string(70, 'u'), {.width = 80});
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with("    zebmon")) continue;
    EXPECT_GE(80U, line.size()) << line;
  }
  EXPECT_NE(std::string::npos, text.find("columns:\n    zebmon reset --yes --broker u"));
}

TEST(FindingsScreen, SaysInOneLineThatNothingIsWrong) {
  const Made made;
  EXPECT_EQ("Nothing is wrong in 1 broker and 1 lock, processes, settings and limits.\n",
            render::findingsScreen(made.found(), made.snapshot(), {}, "zebmon doctor --only"));
}

TEST(FindingsScreen, WhatCouldNotBeCheckedIsNotCalledFine) {
  const Made made;
  Findings findings = made.found();
  findings.leaveUnchecked("view", "views: run sudo zebmon doctor");
  for (const char* const more : {"", "zebmon doctor --only"}) {
    EXPECT_EQ(
        "Not checked: views: run sudo zebmon doctor.\n"
        "Nothing wrong was found in 1 broker and 1 lock, as far as it could be checked.\n",
        render::findingsScreen(findings, made.snapshot(), {}, more));
  }
}

TEST(FindingsScreen, OfChosenKindsItIsNotSaidThatNothingElseIsWrong) {
  const Made made;
  EXPECT_EQ("Nothing of that kind is wrong in 1 broker and 1 lock.\n",
            render::findingsScreen(made.found(), made.snapshot(), {}, ""));
}

TEST(FindingsScreen, OfManyThatWereNotCheckedTheFirstAreShown) {
  Findings findings;
  for (int i = 0; i < 25; ++i) findings.notChecked.push_back({"", "sentence " + std::to_string(i)});
  const std::string text = render::findingsScreen(findings, {}, {}, "");
  EXPECT_NE(std::string::npos, text.find("Not checked: sentence 19.\n")) << text;
  EXPECT_NE(std::string::npos, text.find("Not checked: 5 more; --format json has all")) << text;
  EXPECT_EQ(std::string::npos, text.find("sentence 20")) << text;
}

TEST(Findings, OfChosenKindsOnlyWhatMayHideThemIsLeftUnchecked) {
  Findings all;
  for (const char* const kind : {"lock.stuck", "lock.held-long", "view.private-ipc"}) {
    all.found.emplace_back().id = kind;
    all.found.back().of = "/a";
  }
  all.notChecked = {{"lock", "1"}, {"view", "2"}, {"install.link", "3"}, {"", "4"}};
  const auto kept = [&all](const std::vector<std::string>& wanted) {
    const Findings some = model::keepOnly(all, wanted);
    std::string text;
    for (const Finding& finding : some.found) text += finding.id + " ";
    for (const model::Unchecked& unchecked : some.notChecked) text += unchecked.why;
    return text;
  };
  EXPECT_EQ("lock.stuck lock.held-long view.private-ipc 1234", kept({}));
  EXPECT_EQ("lock.stuck lock.held-long 14", kept({"lock"}));
  EXPECT_EQ("lock.stuck 14", kept({"lock.stuck"}));
  EXPECT_EQ("lock.stuck 14", kept({"lock.stuck:/a"}));
  EXPECT_EQ("14", kept({"lock.stuck:/b"}));
  EXPECT_EQ("view.private-ipc 234", kept({"install", "view"}));
  EXPECT_EQ("4", kept({"loc"}));
}

TEST(Findings, LocksAreThoseOfTheChosenBroker) {
  Made made;
  made.machine.locks.locks.push_back(Made::lock("7-8-9.zebcedar"));
  model::Selection selection;
  EXPECT_EQ(2U, model::select(made.found(), made.snapshot(), selection).locks);
  selection.broker = "BRK1";
  EXPECT_EQ(1U, model::select(made.found(), made.snapshot(), selection).locks);
}

TEST(Whereabouts, StandBehindEachCommandOfZebmon) {
  Findings findings;
  findings.found.resize(3);
  findings.found[0].command = "zebmon locks --all";
  findings.found[1].command = "zebmon doctor --repair a --yes";
  findings.found[2].command = "rm a";
  findings.notChecked = {{"view", "views: run sudo zebmon doctor"}, {"lock", "locks: too many"}};
  Findings ofFile = findings;
  model::complete(findings, {.directory = "/a b/"});
  EXPECT_EQ("zebmon locks --all --temp-directory '/a b/'", findings.found[0].command);
  EXPECT_EQ("zebmon doctor --repair a --yes --temp-directory '/a b/'", findings.found[1].command);
  EXPECT_EQ("rm a", findings.found[2].command);
  EXPECT_EQ("views: run sudo zebmon doctor --temp-directory '/a b/'", findings.notChecked[0].why);
  EXPECT_EQ("locks: too many", findings.notChecked[1].why);
  model::complete(ofFile, {.file = "s.tar"});
  EXPECT_EQ("zebmon locks --all --from s.tar", ofFile.found[0].command);
  EXPECT_EQ("zebmon doctor --repair a --yes", ofFile.found[1].command) << "no file can be changed";
  EXPECT_EQ("views: run sudo zebmon doctor", ofFile.notChecked[0].why);
}

TEST(FindingsScreen, ShowsTheFirstOfManyOfOneKind) {
  Made made;
  made.broker.segment.attached = 0;
  made.kill();
  for (int i = 0; i < 9; ++i) made.machine.locks.locks.push_back(made.its());
  for (std::size_t i = 0; i < 10; ++i) {
    made.machine.locks.locks[i].name = "1-2-3.zebcedar" + std::to_string(i);
    made.machine.locks.locks[i].file.path = "/tmp/" + std::to_string(i);
  }
  const model::Snapshot snapshot = made.snapshot();
  const std::string text =
      render::findingsScreen(made.found(), snapshot, {}, "zebmon doctor --only");
  EXPECT_NE(std::string::npos,
            text.find("and 7 more of these: zebmon doctor --only leftover.lock"));
  EXPECT_EQ(std::string::npos, text.find("/tmp/5 "));
  EXPECT_NE(std::string::npos,
            render::findingsScreen(made.found(), snapshot, {}, "").find("/tmp/5 "));
}

}  // namespace findings_test
