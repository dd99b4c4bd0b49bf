// SPDX-License-Identifier: Apache-2.0
// Every sentence of what is wrong and what to do.
#include "agent/render/words.h"

#include <gtest/gtest.h>

#include <cerrno>

#include "agent/render/size_screens.h"

namespace words_test {

namespace {

using model::SeenBroker;
using model::Snapshot;
using reader::State;

SeenBroker in(State state) {
  SeenBroker broker;
  broker.segment.state = state;
  broker.segment.keyFile = "/tmp/1-2-3.zebcshme";
  broker.segment.uuid = "1-2-3";
  broker.segment.id = 42;
  return broker;
}

// A snapshot of brokers with these labels.
Snapshot among(const std::vector<std::string>& labels) {
  Snapshot snapshot;
  snapshot.directory = "/tmp/";
  for (const std::string& label : labels) {
    SeenBroker broker = in(State::ok);
    broker.tree.emplace().label = label;
    snapshot.brokers.push_back(std::make_shared<const SeenBroker>(std::move(broker)));
  }
  return snapshot;
}

}  // namespace

TEST(Words, AStateHasItsNameAndSaysWhatToDo) {
  EXPECT_EQ("", render::problemOf(in(State::ok)));
  EXPECT_EQ("the key file /tmp/1-2-3.zebcshme is gone: the broker has just stopped",
            render::problemOf(in(State::noKeyFile)));
  EXPECT_EQ(
      "key file /tmp/1-2-3.zebcshme without shared memory: the broker has just stopped, or was "
      "killed and the memory removed. While the broker is down, the file can be deleted",
      render::problemOf(in(State::noSegment)));
  EXPECT_EQ(
      "shared memory without a header: the broker is just starting, so try again. If that stays "
      "so, its first process died: stop the broker and remove it with ipcrm -m 42",
      render::problemOf(in(State::notInitialised)));
}

TEST(Words, WithoutPermissionTheGroupIsNamedIfItIsKnown) {
  SeenBroker broker = in(State::noPermission);
  EXPECT_EQ(
      "no permission to look at /tmp/1-2-3.zebcshme: you need search permission on its directory",
      render::problemOf(broker));
  broker.segment.group = "brokers";
  EXPECT_EQ(
      "no permission to read its shared memory, which belongs to group brokers: run zebmon as a "
      "member of that group (sg brokers -c zebmon)",
      render::problemOf(broker));
}

TEST(Words, AFailedCallIsNamedWithItsError) {
  SeenBroker broker = in(State::failed);
  broker.segment.call = "shmat";
  broker.segment.error = ENOMEM;
  EXPECT_EQ("shmat failed: Cannot allocate memory", render::problemOf(broker));
}

TEST(Words, DamageIsCountedAsFarAsItWasListed) {
  const std::string rest =
      "; what could be read is shown. Stopping all processes of the broker removes the memory, "
      "and starting them makes a new one";
  SeenBroker broker = in(State::ok);
  broker.damage.add("statistics", 7, "bad");
  EXPECT_EQ("damaged in 1 place" + rest, render::problemOf(broker));
  EXPECT_EQ(std::vector<std::string>{"statistics, offset 7: bad"}, render::damageOf(broker));
  broker.damage.add("segment", 8, "worse");
  EXPECT_EQ("damaged in 2 places" + rest, render::problemOf(broker));
  for (int i = 0; i < 200; ++i) broker.damage.add("segment", 8, "worse");
  EXPECT_EQ("damaged in at least 100 places" + rest, render::problemOf(broker));
}

TEST(Words, WhyNothingWasSelected) {
  Snapshot snapshot;
  snapshot.directory = "/tmp/";
  EXPECT_EQ(
      "no broker has a key file (*.zebcshme) in /tmp/. Deploy a node, or name the directory that "
      "the brokers use with --temp-directory",
      render::problemOf(snapshot, {}));
  EXPECT_EQ("", render::problemOf(among({"BRK1"}), {}));
}

TEST(Words, OfAnUnknownNameItIsSaidWhatThereIs) {
  const auto problem = [](const Snapshot& snapshot, const std::string& name) {
    model::Selection selection;
    selection.broker = name;
    return render::problemOf(snapshot, selection);
  };
  const std::string remedy =
      ". Name one of these, or the directory of its key files with --temp-directory (a service may "
      "have a private one)";
  EXPECT_EQ("no broker \"B\" in /tmp/: there are BRK1, BRK2 (2 in all)" + remedy,
            problem(among({"BRK2", "BRK1"}), "B"));
  std::vector<std::string> labels;
  for (char c = 'A'; c <= 'K'; ++c) labels.push_back(std::string("L") + c);
  EXPECT_EQ(
      "no broker \"B\" in /tmp/: there are LA, LB, LC, LD, LE, LF, LG, LH, LI, LJ, ... (11 in "
      "all)" +
          remedy,
      problem(among(labels), "B"));
  EXPECT_EQ("", problem(among(labels), "L*"));
}

TEST(Words, OfAFileOnlyWhatHelpsThereIsAdvised) {
  model::Selection selection;
  selection.broker = "B";
  EXPECT_EQ(
      "no broker \"B\" in s.tar: there are BRK1 (1 in all). Name one of these, or another "
      "file with --from",
      render::problemOf(among({"BRK1"}), selection, "s.tar"));
  Snapshot snapshot;
  snapshot.directory = "/tmp/";
  EXPECT_EQ(
      "no broker had a key file (*.zebcshme) in /tmp/ when standard input was taken. Give "
      "another snapshot to --from",
      render::problemOf(snapshot, {}, "-"));
  snapshot.error = EACCES;
  EXPECT_EQ(
      "the directory /tmp/ could not be read when s.tar was taken: Permission denied. Take "
      "another one",
      render::problemOf(snapshot, {}, "s.tar"));
}

TEST(Words, GroupsFlowsAndNodesAreNamedInTheirTurn) {
  SeenBroker broker = in(State::ok);
  broker.tree.emplace();
  broker.tree->executionGroups.emplace_back().label = "G";
  Snapshot snapshot;
  snapshot.brokers = {std::make_shared<const SeenBroker>(broker)};
  model::Selection selection;
  const std::string remedy = ". Name one of these, or a pattern such as \"*in*\"";
  selection.group = "X";
  EXPECT_EQ("no execution group \"X\": there are G (1 in all)" + remedy,
            render::problemOf(snapshot, selection));
  selection.group = "G";
  selection.flow = "F";
  const std::string none = "there is none at all. Leave out what narrows the selection";
  EXPECT_EQ("no message flow \"F\": " + none, render::problemOf(snapshot, selection));
  selection.flow = "";
  selection.node = "N";
  EXPECT_EQ("no node \"N\": " + none, render::problemOf(snapshot, selection));
}

TEST(Words, ADirectoryThatCannotBeReadComesBeforeAllElse) {
  Snapshot snapshot;
  snapshot.directory = "/absent/";
  snapshot.error = ENOENT;
  EXPECT_EQ(
      "can't read the directory /absent/: No such file or directory. Name the directory that the "
      "brokers use with --temp-directory; you need read and search permission on it",
      render::problemOf(snapshot, {.broker = "B"}));
}

TEST(Words, ABrokerIsNamedByItsLabelElseByItsUuid) {
  SeenBroker broker = in(State::ok);
  EXPECT_EQ("uuid 1-2-3", render::nameOf(broker));
  broker.segment.uuid.clear();
  EXPECT_EQ("without a uuid", render::nameOf(broker));
  broker.tree.emplace();
  broker.tree->uuid = "7-8-9";
  EXPECT_EQ("uuid 7-8-9", render::nameOf(broker));
  broker.tree->label = "BRK1";
  EXPECT_EQ("BRK1", render::nameOf(broker));
}

TEST(Words, MissedEventsAreToldOnlyAfterAnOverrun) {
  SeenBroker broker = in(State::ok);
  EXPECT_EQ("", render::missedOf(broker));
  broker.events.emplace();
  broker.events->missed = 5;
  broker.events->perTurn = 28;
  EXPECT_EQ("", render::missedOf(broker));
  broker.events->overrun = true;
  EXPECT_EQ(
      "broker uuid 1-2-3: at least 5 events may have been overwritten before they could be read, "
      "and 28 more for each further turn of the ring",
      render::missedOf(broker));
}

TEST(Words, EveryConditionHasItsName) {
  using model::Condition;
  const std::pair<Condition, const char*> names[] = {{Condition::ok, "ok"},
                                                     {Condition::noKeyFile, "noKeyFile"},
                                                     {Condition::noSegment, "noSegment"},
                                                     {Condition::noPermission, "noPermission"},
                                                     {Condition::notInitialised, "notInitialised"},
                                                     {Condition::damaged, "damaged"},
                                                     {Condition::failed, "failed"},
                                                     {Condition::noProcess, "noProcess"},
                                                     {Condition::stopped, "stopped"},
                                                     {Condition::full, "full"}};
  for (const auto& [condition, name] : names) EXPECT_STREQ(name, model::nameOf(condition));
}

TEST(Words, ABrokerWithoutRunningProcessesSaysWhatToDo) {
  SeenBroker broker = in(State::ok);
  EXPECT_EQ(
      "no process has its shared memory attached: all of them were killed. The figures are the "
      "last "
      "ones; starting the broker goes on with them",
      render::conditionText(broker, nullptr));
  broker.segment.attached = 1;
  EXPECT_EQ("", render::conditionText(broker, nullptr));
  model::Machine machine;
  machine.processes[7].stopped = true;
  machine.processes[8] = machine.processes[7];
  broker.tree.emplace().executionGroups.resize(2);
  broker.tree->executionGroups[0].processId = 8;
  broker.tree->executionGroups[1].processId = 7;
  EXPECT_EQ("processes 7, 8 are stopped, so messages wait: let them go on with kill -CONT 7 8",
            render::conditionText(broker, &machine));
  broker.segment.state = State::failed;
  EXPECT_EQ(render::problemOf(broker), render::conditionText(broker, &machine));
}

TEST(Words, AFullAreaSaysWhatToDo) {
  SeenBroker broker = in(State::ok);
  broker.segment.attached = 1;
  reader::Area& area = broker.segment.copy.areas.emplace_back();
  area.name = "statistics";
  area.size = 4096;
  area.last = 4000;
  EXPECT_EQ(
      "its statistics area is full: nodes that are deployed now are measured, but nobody sees "
      "their "
      "figures. zebmon doctor tells which ZEBMemorySize is enough",
      render::conditionText(broker, nullptr));
}

TEST(Words, AnOddityNamesTheFilesAndSaysWhatToDo) {
  using Kind = model::Oddity::Kind;
  Snapshot snapshot = among({"A", "B"});
  SeenBroker second = *snapshot.brokers[1];
  second.segment.keyFile = "/tmp/x.zebcshme";
  second.segment.owner = 1000;
  second.segment.fileOwner = 0;
  snapshot.brokers[1] = std::make_shared<const SeenBroker>(second);
  const auto text = [&snapshot](Kind kind) { return render::oddityText(snapshot, {kind, 1, 0}); };
  EXPECT_EQ(
      "/tmp/x.zebcshme leads to the same shared memory as /tmp/1-2-3.zebcshme; other commands show "
      "it once. Remove the one that is not named after the broker's uuid while the broker is down",
      text(Kind::sameSegment));
  EXPECT_EQ(
      "/tmp/x.zebcshme and /tmp/1-2-3.zebcshme belong to brokers of one uuid with two segments, so "
      "neither has all figures. Restart the broker's processes with one temporary directory and "
      "one "
      "uuid",
      text(Kind::sameUuid));
  EXPECT_EQ(
      "/tmp/x.zebcshme and /tmp/1-2-3.zebcshme belong to two brokers of one label: choose one by "
      "its "
      "uuid",
      text(Kind::sameLabel));
  EXPECT_EQ(
      "/tmp/x.zebcshme belongs to user 0, its shared memory to user 1000: only the broker's own "
      "user "
      "should own both. Look who made the file",
      text(Kind::foreignOwner));
  EXPECT_EQ(
      "/tmp/x.zebcshme has no uuid: all brokers without one share it. Make the registry's file "
      "BrokerUUID readable for the broker's user and restart its processes",
      text(Kind::noUuid));
}

TEST(Words, NodeTypesAndKindsOfEventsHaveNames) {
  EXPECT_STREQ("input", render::nodeTypeName(1));
  EXPECT_STREQ("output", render::nodeTypeName(2));
  EXPECT_STREQ("other", render::nodeTypeName(3));
  EXPECT_STREQ("subFlowInput", render::nodeTypeName(4));
  EXPECT_STREQ("subFlowOutput", render::nodeTypeName(5));
  EXPECT_STREQ("unknown", render::nodeTypeName(0));
  EXPECT_STREQ("unknown", render::nodeTypeName(6));
  EXPECT_STREQ("unknown", render::nodeTypeName(0xFFFFFFFF));
  EXPECT_STREQ("message", render::kindName(reader::EventKind::message));
  EXPECT_STREQ("exception", render::kindName(reader::EventKind::exception));
  EXPECT_STREQ("unknown", render::kindName(reader::EventKind::unknown));
}

TEST(Words, AGapSaysHowMuchIsKnownOfIt) {
  using Kind = model::Missed::Kind;
  model::SeenBroker broker;
  broker.tree.emplace().label = "BRK1";
  const auto of = [&broker](Kind kind, std::uint64_t least, std::uint64_t most) {
    return render::gapText(
        broker, {.group = "g", .flow = "f\n", .node = "n", .missed = {kind, least, most}});
  };
  EXPECT_EQ("broker BRK1: exactly 3 of them are events of g/f\\x0A/n", of(Kind::exact, 3, 3));
  EXPECT_EQ("broker BRK1: between 3 and 5 of them are events of g/f\\x0A/n",
            of(Kind::between, 3, 5));
  EXPECT_EQ(
      "broker BRK1: at least 3 events may have been overwritten before they could be read, and 28 "
      "more for each further turn of the ring",
      render::gapText(broker, {.missed = {Kind::atLeast, 3, 0}, .perTurn = 28}));
  EXPECT_EQ(
      "broker BRK1: its shared memory is a new one: the last events of the old one may be missing",
      render::gapText(broker, {.cause = model::Gap::Cause::restart}));
}

TEST(Words, AForecastSaysWhatItRestsOn) {
  constexpr std::int64_t kDay = 86400000;
  const auto said = [](std::int64_t from, std::uint64_t before, std::uint64_t used,
                       std::int64_t now = 30 * 86400) {
    return render::forecastText(
        {.from = from, .until = 30 * kDay, .before = before, .used = used, .size = 1000}, now);
  };
  EXPECT_EQ("it grew by 100 bytes in 10 d, and is full in 20 d if that goes on",
            said(20 * kDay, 700, 800));
  EXPECT_EQ("it grew by 100 bytes in 24 h, and is full in 2 d if that goes on",
            said(29 * kDay, 700, 800));
  EXPECT_EQ("a forecast needs a day, and there is 23 h", said(29 * kDay + 1, 700, 800));
  EXPECT_EQ("it has not grown in 10 d", said(20 * kDay, 800, 800));
  EXPECT_EQ("it has not grown in 10 d", said(20 * kDay, 900, 800));
  EXPECT_EQ("it is full", said(20 * kDay, 700, 1000));
  EXPECT_EQ("it has not grown in 10 d", said(20 * kDay, 800, 800, 30 * 86400 + 599));
  EXPECT_EQ("it has not grown in 10 d; its last look was 10 min ago",
            said(20 * kDay, 800, 800, 30 * 86400 + 600));
  EXPECT_EQ(
      "it grew by 100 bytes in 10 d, and is full in 20 d if that goes on; its last look was "
      "3 d ago",
      said(20 * kDay, 700, 800, 33 * 86400));
}

}  // namespace words_test
