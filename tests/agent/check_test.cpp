// SPDX-License-Identifier: Apache-2.0
// What alerting systems ask, and the line that they get.
#include "agent/model/check.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>

#include "agent/front/cli/check_state.h"
#include "agent/render/check_line.h"
#include "tests/agent/grown.h"

namespace check_test {

namespace {

using model::Level;
using model::Why;
using std::chrono::milliseconds;

model::Check checked(const std::string& text) {
  const model::CheckText parsed = model::parseCheck(text);
  EXPECT_EQ("", parsed.problem);
  return parsed.check;
}

reader::Event event(const std::string& node, std::uint8_t number, const std::string& text) {
  reader::Event event;
  event.recordId = recordId(8, number);
  event.messageId[0] = number;
  event.time = 1000000 + number;
  event.origin = std::make_shared<reader::EventTemplate>(
      reader::EventTemplate{"orders", "Fulfil", node, 1, text});
  return event;
}

reader::Event failure(std::uint8_t number) {
  return event("In", number, "Exception found in X(1). It failed");
}

// One input node with these numbers.
std::shared_ptr<model::SeenBroker> brokerWith(const Look& look,
                                              std::vector<reader::Event> events = {}) {
  reader::Node node = nodeWith("In", 1, look);
  node.type = 1;
  auto broker = seenBroker({node});
  broker->events = reader::EventLog::Batch{};
  broker->events->events = std::move(events);
  return broker;
}

model::Snapshot at(std::shared_ptr<model::SeenBroker> broker, int seconds = 10) {
  return lookAt(std::move(broker), milliseconds(1000 * seconds));
}

std::string line(const std::string& check, const model::Snapshot& now,
                 const model::Snapshot* before = nullptr, bool keepsState = false,
                 const std::vector<model::LockView>& locks = {},
                 const model::Selection& selection = {}) {
  return render::checkLine(model::readingsOf({checked(check)}, {.now = now,
                                                                .before = before,
                                                                .keepsState = keepsState,
                                                                .locks = locks,
                                                                .selection = selection}));
}

// The memory of events, empty, that came to its end once or did not.
reader::Area ring(bool turned) {
  reader::Area area;
  area.name = reader::kEventData;
  area.next = 100;
  area.last = turned ? 200 : 100;
  area.cut = 0;
  return area;
}

model::LockView heldBy(model::Fate fate) {
  model::LockView view;
  view.lock.semaphore.presence = reader::Presence::there;
  view.lock.semaphore.semaphores = 1;
  view.lock.semaphore.value = 0;
  view.lock.semaphore.lastProcess = 4711;
  view.lastUser.fate = fate;
  view.guarded.node = "In";
  return view;
}

}  // namespace

TEST(CheckText, HasAFormForEachKind) {
  EXPECT_EQ(90, checked("area=90%").critical);
  EXPECT_EQ(80, checked("area=80%,90%").warning);
  EXPECT_EQ(2, checked("queued=2s").critical);
  EXPECT_EQ(0.5, checked("queued=500ms").critical);
  EXPECT_EQ("a:b", checked("silent=a:b:60s").node);
  EXPECT_EQ(60, checked("silent=a:b:60s").critical);
  EXPECT_EQ(3600, checked("exceptions=5/h").period);
  EXPECT_EQ(5, checked("exceptions=5/h").critical);
  EXPECT_EQ(model::Check::Kind::locks, checked("locks").kind);
}

TEST(CheckText, EverythingElseIsWrong) {
  for (const char* text : {"",
                           "area",
                           "area=",
                           "area=90",
                           "area=101%",
                           "area=-1%",
                           "area=nan%",
                           "area=90%,80%",
                           "area=90%,",
                           "locks=1",
                           "groups-up=",
                           "silent=60s",
                           "silent=:60s",
                           "silent=a:60",
                           "queued=2",
                           "failed=5",
                           "exceptions=1",
                           "exceptions=1/d",
                           "exceptions=1/s,1/min",
                           "x=1"}) {
    EXPECT_NE("", model::parseCheck(text).problem) << text;
  }
  EXPECT_EQ("\"area=90\" is not like area=90%, or with a warning first: LIMIT,LIMIT",
            model::parseCheck("area=90").problem);
}

TEST(Check, TellsTheWorstLevel) {
  EXPECT_EQ(Level::critical, model::worse(Level::critical, Level::unknown));
  EXPECT_EQ(Level::warning, model::worse(Level::unknown, Level::warning));
  EXPECT_EQ(Level::unknown, model::worse(Level::ok, Level::unknown));
}

TEST(Check, AreaIsThatOfTheStatistics) {
  const auto broker = brokerWith({});
  reader::Area area;
  area.name = reader::kStatistics;
  area.size = 1000;
  area.last = 900;
  broker->segment.copy.areas = {area};
  EXPECT_EQ("OK: 1 of 1 as it should be | 'area SHOP'=90%;;91;0;100\n",
            line("area=91%", at(broker)));
  EXPECT_EQ("CRITICAL: area of SHOP 90% (limit 90%) | 'area SHOP'=90%;;90;0;100\n",
            line("area=90%", at(broker)));
  EXPECT_EQ("WARNING: area of SHOP 90% (limit 85%) | 'area SHOP'=90%;85;95;0;100\n",
            line("area=85%,95%", at(broker)));
}

TEST(Check, SilenceIsTheTimeSinceTheLastMessage) {
  const auto broker = brokerWith({});
  auto& node = broker->tree->executionGroups[0].messageFlows[0].nodes[0];
  node.statistics->lastCollection = 999950;
  EXPECT_EQ("CRITICAL: silent of In 60s (limit 60s) | 'silent In'=60s;;60;0\n",
            line("silent=In:60s", at(broker)));
  EXPECT_EQ("OK: 1 of 1 as it should be | 'silent In'=60s;;61;0\n",
            line("silent=I*:61s", at(broker)));
  EXPECT_EQ("UNKNOWN: silent of Out: no such node or group\n", line("silent=Out:60s", at(broker)));
  node.statistics->lastCollection.reset();
  broker->tree->resetTime = 999910;
  EXPECT_EQ("CRITICAL: silent of In 100s (limit 60s), no message | 'silent In'=100s;;60;0\n",
            line("silent=In:60s", at(broker)));
}

TEST(Check, QueuedIsSinceTheEarlierRunElseSinceTheReset) {
  const auto first = brokerWith({.messages = 10, .queued = 100});
  const auto second = brokerWith({.messages = 20, .queued = 40100});
  EXPECT_EQ("CRITICAL: queued of Fulfil 2.005s (limit 2s) | 'queued Fulfil'=2.005s;;2;0\n",
            line("queued=2s", at(second)));
  const model::Snapshot before = at(first, 5);
  EXPECT_EQ("CRITICAL: queued of Fulfil 4s (limit 4s) | 'queued Fulfil'=4s;;4;0\n",
            line("queued=4s", at(second), &before));
}

TEST(Check, FailedNeedsAnEarlierRun) {
  const auto first = brokerWith({.messages = 100}, {failure(1)});
  const auto second = brokerWith({.messages = 200}, {failure(1), failure(2), failure(3)});
  EXPECT_EQ("UNKNOWN: failed of Fulfil: give --state FILE\n", line("failed=5%", at(second)));
  EXPECT_EQ("OK: 1 of 1 as it should be\n", line("failed=5%", at(second), nullptr, true));
  const model::Snapshot before = at(first, 5);
  EXPECT_EQ("CRITICAL: failed of Fulfil 2% (limit 2%) | 'failed Fulfil'=2%;;2;0;100\n",
            line("failed=2%", at(second), &before));
  const auto silent = brokerWith({.messages = 200});
  EXPECT_EQ(
      "UNKNOWN: failed of Fulfil: the input nodes post no events, so failures can't be seen\n",
      line("failed=2%", at(silent), &before));
}

TEST(Check, ExceptionsAreARate) {
  const auto first = brokerWith({}, {failure(1)});
  const auto second = brokerWith({}, {failure(1), failure(2), failure(3)});
  // In the last second by their own time, else since the earlier run.
  EXPECT_EQ("OK: 1 of 1 as it should be | 'exceptions SHOP'=0;;1;0\n",
            line("exceptions=1/s", at(second)));
  EXPECT_EQ("CRITICAL: exceptions of SHOP 3/min (limit 3/min) | 'exceptions SHOP'=3;;3;0\n",
            line("exceptions=3/min", at(second)));
  const model::Snapshot before = at(first, 0);
  EXPECT_EQ("CRITICAL: exceptions of SHOP 12/min (limit 12/min) | 'exceptions SHOP'=12;;12;0\n",
            line("exceptions=12/min", at(second), &before));
  const auto overrun = brokerWith({}, {failure(8), failure(9)});
  EXPECT_EQ(
      "CRITICAL: exceptions of SHOP 12/min (limit 12/min), at least: events were overwritten | "
      "'exceptions SHOP'=12;;12;0\n",
      line("exceptions=12/min", at(overrun), &before));
}

TEST(Check, AShortRingTellsTheRateOfItsOwnTime) {
  const auto broker = brokerWith({}, {failure(0), failure(3)});
  broker->segment.copy.areas = {ring(false)};
  EXPECT_EQ("OK: 1 of 1 as it should be | 'exceptions SHOP'=2;;12;0\n",
            line("exceptions=12/min", at(broker)));
  broker->segment.copy.areas = {ring(true)};
  EXPECT_EQ(
      "CRITICAL: exceptions of SHOP 12/min (limit 12/min), told from less time: older events were "
      "overwritten | 'exceptions SHOP'=12;;12;0\n",
      line("exceptions=12/min", at(broker)));
  EXPECT_EQ("OK: 1 of 1 as it should be | 'exceptions SHOP'=0;;1;0\n",
            line("exceptions=1/s", at(broker)))
      << "the ring holds more than a second";
}

TEST(Check, EventsThatWereOverwrittenBetweenTwoRunsAreNeverLeftOut) {
  const model::Snapshot before = at(brokerWith({.messages = 100}, {failure(99)}), 0);
  const auto broker = brokerWith({.messages = 200}, {failure(5), failure(6)});
  EXPECT_EQ(
      "UNKNOWN: exceptions of SHOP 12/min (limit 13/min), at least: events were overwritten | "
      "'exceptions SHOP'=12;;13;0\n",
      line("exceptions=13/min", at(broker), &before))
      << "nobody knows of what time those in memory are";
  EXPECT_TRUE(line("failed=3%", at(broker), &before)
                  .starts_with("UNKNOWN: failed of Fulfil 2% (limit 3%), at least: "));
  broker->segment.copy.areas = {ring(true)};
  EXPECT_EQ(
      "CRITICAL: exceptions of SHOP 24/min (limit 24/min), told from less time: older events were "
      "overwritten | 'exceptions SHOP'=24;;24;0\n",
      line("exceptions=24/min", at(broker), &before))
      << "two in the five seconds that are in memory";
  EXPECT_TRUE(line("failed=4%", at(broker), &before)
                  .starts_with("CRITICAL: failed of Fulfil 4% (limit 4%), told from less time"));
}

TEST(Check, ARingThatTurnsWithinASecondIsMeasuredByItsRecords) {
  const auto stamped = [](std::uint8_t number, std::uint32_t milliseconds) {
    reader::Event event = failure(number);
    event.time = 1000010;
    const std::array<std::uint32_t, 4> numbers{8, 1000, milliseconds, number};
    std::array<std::uint8_t, reader::RecordId::kBytes> bytes;
    std::memcpy(bytes.data(), numbers.data(), bytes.size());
    event.recordId = reader::RecordId(bytes);
    return event;
  };
  const auto broker = brokerWith({}, {stamped(1, 100), stamped(2, 300)});
  broker->segment.copy.areas = {ring(true)};
  EXPECT_TRUE(line("exceptions=10/s", at(broker)).starts_with("CRITICAL: exceptions of SHOP 10/s"))
      << line("exceptions=10/s", at(broker));
}

TEST(Check, LocksAreThoseOfDeadProcesses) {
  const model::Snapshot now = at(brokerWith({}));
  EXPECT_EQ("CRITICAL: 1 lock is held by a dead process: In, see zebmon doctor | 'locks'=1;;1;0\n",
            line("locks", now, nullptr, false, {heldBy(model::Fate::dead)}));
  model::LockView ofArea = heldBy(model::Fate::dead);
  ofArea.guarded = {};
  ofArea.guarded.what = model::Guarded::What::eventsArea;
  ofArea.guarded.broker = now.brokers[0];
  EXPECT_TRUE(line("locks", now, nullptr, false, {ofArea})
                  .starts_with("CRITICAL: 1 lock is held by a dead process: the events area of "
                               "broker SHOP, see"));
  EXPECT_EQ("OK: 1 of 1 as it should be | 'locks'=0;;1;0\n",
            line("locks", now, nullptr, false, {heldBy(model::Fate::alive)}));
  EXPECT_TRUE(line("locks", now, nullptr, false, {heldBy(model::Fate::unknown)})
                  .starts_with("UNKNOWN: locks: "));
}

TEST(Check, LocksThatCannotBeReadAreNotFree) {
  model::Snapshot now = at(brokerWith({}));
  model::LockView refused = heldBy(model::Fate::unknown);
  refused.lock.semaphore.presence = reader::Presence::refused;
  EXPECT_EQ("UNKNOWN: locks: can't be read\n", line("locks", now, nullptr, false, {refused}));
  EXPECT_TRUE(line("locks", now, nullptr, false, {refused, heldBy(model::Fate::dead)})
                  .starts_with("CRITICAL: 1 lock is held by a dead process"));
  auto machine = std::make_shared<model::Machine>();
  now.machine = machine;
  EXPECT_TRUE(line("locks", now).starts_with("OK: "));
  machine->locks.cut = true;
  EXPECT_EQ("UNKNOWN: locks: can't be read\n", line("locks", now));
  machine->locks.cut = false;
  machine->locks.error = EACCES;
  EXPECT_EQ("UNKNOWN: locks: can't be read\n", line("locks", now));
}

TEST(Check, OfWhatIsNotThereNothingIsAsItShouldBe) {
  const model::Snapshot none;
  EXPECT_TRUE(line("locks", none).starts_with("OK: ")) << "nothing was named";
  EXPECT_EQ("UNKNOWN: locks: no broker of that name has shared memory\n",
            line("locks", none, nullptr, false, {}, {.broker = "SHAP"}));
  EXPECT_EQ("CRITICAL: groups-up: no broker of that name has shared memory\n",
            line("groups-up", none));
  model::Snapshot unreadable;
  unreadable.error = EACCES;
  for (const char* const check : {"groups-up", "locks", "area=90%"}) {
    EXPECT_EQ(std::string("UNKNOWN: ") +
                  std::string(check).substr(0, std::string(check).find('=')) + ": can't be read\n",
              line(check, unreadable));
  }
}

TEST(Check, ExceptionsAreThoseOfTheSelectedNodes) {
  const model::Snapshot now = at(brokerWith(
      {}, {event("Inner", 1, "Exception found in X(1). It failed"), failure(1), failure(2)}));
  const auto exceptions = [&now](const model::Selection& selection) {
    return line("exceptions=9/min", now, nullptr, false, {}, selection);
  };
  EXPECT_TRUE(exceptions({}).ends_with("'exceptions SHOP'=2;;9;0\n")) << exceptions({});
  EXPECT_TRUE(exceptions({.flow = "Fulfil"}).ends_with("=2;;9;0\n"));
  EXPECT_TRUE(exceptions({.flow = "Other"}).ends_with("=0;;9;0\n"));
  EXPECT_TRUE(exceptions({.node = "Inner"}).ends_with("=1;;9;0\n"));
}

TEST(Check, GroupsAreUpWhileTheirProcessesLive) {
  const auto broker = brokerWith({});
  broker->tree->executionGroups[0].processId = 4711;
  model::Snapshot now = at(broker);
  EXPECT_EQ("UNKNOWN: groups-up of orders: the process can't be looked at\n",
            line("groups-up", now));
  auto machine = std::make_shared<model::Machine>();
  machine->processes[4711].id = 4711;
  machine->processes[4711].exists = false;
  now.machine = machine;
  EXPECT_EQ("CRITICAL: groups-up of orders: its process is gone | 'groups-up orders'=1;;1;0\n",
            line("groups-up", now));
  reader::Process& process = machine->processes[4711];
  process.exists = true;
  process.ended = process.stopped = false;
  process.segments = {broker->segment.mapped()};
  EXPECT_EQ("OK: 1 of 1 as it should be | 'groups-up orders'=0;;1;0\n", line("groups-up", now));
  process.stopped = true;
  EXPECT_EQ("CRITICAL: groups-up of orders: its process is stopped | 'groups-up orders'=1;;1;0\n",
            line("groups-up", now));
  process.segments->clear();
  EXPECT_TRUE(line("groups-up", now)
                  .starts_with("CRITICAL: groups-up of orders: its process is "
                               "gone"))
      << "its number belongs to another one";
  EXPECT_TRUE(line("groups-up", at(nullptr)).starts_with("CRITICAL: groups-up: no broker"));
  EXPECT_TRUE(line("area=90%", at(nullptr)).starts_with("UNKNOWN: area: no broker"));
}

TEST(CheckLine, TellsApartWhatHasOneName) {
  const auto broker = brokerWith({.messages = 10, .queued = 40000});
  auto& groups = broker->tree->executionGroups;
  groups.push_back(groups[0]);
  groups[1].label = "backup";
  EXPECT_EQ(
      "CRITICAL: queued of orders/Fulfil 4s (limit 2s); queued of backup/Fulfil 4s (limit 2s) | "
      "'queued orders/Fulfil'=4s;;2;0 'queued backup/Fulfil'=4s;;2;0\n",
      line("queued=2s", at(broker)));
  groups[1].messageFlows[0].nodes[0].label = "Other";
  auto& flows = groups[0].messageFlows;
  flows.push_back(flows[0]);
  flows[1].label = "Again";
  const std::string silent = line("silent=*:1h", at(broker));
  for (const char* label : {"'silent Fulfil/In'=", "'silent Again/In'=", "'silent Other'="}) {
    EXPECT_NE(std::string::npos, silent.find(label)) << silent;
  }
}

TEST(CheckLine, HostileLabelsEndNothing) {
  const auto broker = brokerWith({});
  broker->tree->executionGroups[0].messageFlows[0].nodes[0].label = "a|b'c=d\n";
  broker->tree->executionGroups[0].messageFlows[0].nodes[0].statistics->lastCollection = 999950;
  EXPECT_EQ("CRITICAL: silent of a/b`c-d\\x0A 60s (limit 1s) | 'silent a/b`c-d\\x0A'=60s;;1;0\n",
            line("silent=*:1s", at(broker)));
}

TEST(CheckState, IsRestoredAsItWas) {
  const auto first = brokerWith({10, 20, 30, 40}, {failure(1), failure(2)});
  const model::Snapshot then = at(first, 3);
  const model::Snapshot now = at(brokerWith({12, 25, 36, 47}), 13);
  const auto before = cli::restored(cli::stateOf(then), now);
  ASSERT_TRUE(before);
  const model::Growths growths = model::between(*before, now);
  EXPECT_EQ(10.0, growths.interval.count());
  const model::NodeGrowth& node = growths.brokers.at(0).flows.at(0).nodes.at(0);
  EXPECT_EQ(model::Change::measured, node.change);
  EXPECT_EQ(2, node.growth.messages);
  EXPECT_EQ(5, node.growth.elapsedMs);
  EXPECT_EQ(6, node.growth.queuedMs);
  EXPECT_EQ(7, node.growth.bytes);
  EXPECT_EQ(recordId(8, 2), before->brokers[0]->events->events.back().recordId);
}

TEST(CheckState, AnythingElseIsNone) {
  const model::Snapshot now = at(brokerWith({}), 13);
  for (const char* text : {"", "{", "[]", "{}", "null", "{\"schema\":\"zebmon.state\"}",
                           "{\"schema\":\"zebmon.state\",\"version\":1,\"milliseconds\":\"x\"}",
                           "{\"schema\":\"zebmon.state\",\"version\":1,\"milliseconds\":1,"
                           "\"brokers\":[{\"keyFile\":1}]}"}) {
    EXPECT_FALSE(cli::restored(text, now)) << text;
  }
  EXPECT_FALSE(cli::restored(cli::stateOf(at(brokerWith({}), 14)), now));
}

}  // namespace check_test
