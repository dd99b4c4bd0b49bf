// SPDX-License-Identifier: Apache-2.0
// Which part of a snapshot is meant.
#include "agent/model/selection.h"

#include <gtest/gtest.h>

#include "tests/support/image.h"

namespace selection_test {

namespace {

using model::Snapshot;

std::shared_ptr<const model::SeenBroker> broker(const std::string& fileUuid,
                                                const std::string& uuid, const std::string& label) {
  model::SeenBroker made;
  made.segment.uuid = fileUuid;
  if (!label.empty()) {
    made.tree.emplace();
    made.tree->uuid = uuid;
    made.tree->label = label;
  }
  return std::make_shared<const model::SeenBroker>(std::move(made));
}

Snapshot all() {
  Snapshot snapshot;
  snapshot.directory = "/tmp/";
  snapshot.steady += std::chrono::seconds(7);
  snapshot.brokers = {broker("file1", "uuid1", "BRK1"), broker("file2", "uuid2", "BRK2"),
                      broker("file3", "", "")};
  return snapshot;
}

// The key files' names of those that are selected.
std::string selected(const std::string& name) {
  std::string names;
  for (const auto& one : model::select(all(), {.broker = name}).brokers) {
    names += one->segment.uuid + " ";
  }
  return names;
}

std::shared_ptr<const model::SeenBroker> tree(
    const std::string& label,
    const std::vector<std::pair<std::string, std::map<std::string, std::vector<std::string>>>>&
        groups) {
  auto made = std::make_shared<model::SeenBroker>();
  made->tree.emplace().label = label;
  for (const auto& [name, flows] : groups) {
    auto& group = made->tree->executionGroups.emplace_back();
    group.label = name;
    for (const auto& [flowName, nodes] : flows) {
      auto& flow = group.messageFlows.emplace_back();
      flow.label = flowName;
      for (const std::string& node : nodes) flow.nodes.emplace_back().label = node;
    }
  }
  return made;
}

Snapshot trees() {
  Snapshot snapshot;
  snapshot.brokers = {
      tree("T1", {{"g1", {{"f1", {"in", "out"}}, {"f2", {"in"}}}}, {"g2", {{"f1", {"in"}}}}}),
      tree("T2", {{"g1", {{"f3", {"in"}}}}})};
  return snapshot;
}

// The nodes that are selected of these.
std::string narrowed(const model::Selection& selection) {
  std::string nodes;
  for (const auto& broker : model::select(trees(), selection).brokers) {
    for (const auto& group : broker->tree->executionGroups) {
      for (const auto& flow : group.messageFlows) {
        for (const auto& node : flow.nodes) {
          nodes += broker->label() + "/" + group.label + "/" + flow.label + "/" + node.label + " ";
        }
      }
    }
  }
  return nodes;
}

std::string unknown(const model::Selection& selection) {
  constexpr const char* kKinds[] = {"broker", "group", "flow", "node"};
  const auto found = model::findUnknown(trees(), selection);
  if (!found) return "";
  std::string text = kKinds[static_cast<int>(found->kind)] + (" " + found->pattern) + ": ";
  for (const std::string& name : found->names) text += name + " ";
  return text;
}

reader::Event event(std::optional<std::int64_t> time, std::uint32_t created, const char* text) {
  image::Bytes id;
  image::putId(id, {8, created, 0, 1});
  reader::Event made;
  made.recordId = reader::RecordId(id);
  made.time = time;
  if (text != nullptr) {
    made.origin =
        std::make_shared<reader::EventTemplate>(reader::EventTemplate{"", "", "", 1, text});
  }
  return made;
}

}  // namespace

TEST(Selection, ABrokerIsMeantByItsLabelItsUuidOrItsKeyFile) {
  EXPECT_EQ("file1 file2 file3 ", selected(""));
  EXPECT_EQ("file1 ", selected("BRK1"));
  EXPECT_EQ("file1 ", selected("uuid1"));
  EXPECT_EQ("file1 ", selected("file1"));
  EXPECT_EQ("file3 ", selected("file3"));
  EXPECT_EQ("", selected("BRK"));
  EXPECT_EQ("", selected("brk1"));
}

TEST(Selection, AStarInABrokersNameStandsForAnything) {
  EXPECT_EQ("file1 file2 ", selected("BRK*"));
  EXPECT_EQ("file2 ", selected("*2"));
  EXPECT_EQ("file1 file2 file3 ", selected("*"));
}

TEST(Selection, TwoBrokersOfOneLabelAreBothMeant) {
  Snapshot snapshot = all();
  snapshot.brokers.push_back(broker("file4", "uuid4", "BRK1"));
  EXPECT_EQ(2U, model::select(snapshot, {.broker = "BRK1"}).brokers.size());
}

TEST(Selection, GroupsFlowsAndNodesNarrowABroker) {
  EXPECT_EQ("T1/g1/f1/in T1/g1/f1/out T1/g1/f2/in T1/g2/f1/in T2/g1/f3/in ", narrowed({}));
  EXPECT_EQ("T1/g1/f1/in T1/g1/f2/in T1/g2/f1/in T2/g1/f3/in ", narrowed({.node = "in"}));
  EXPECT_EQ("T1/g1/f1/out ", narrowed({.node = "o*"}));
  EXPECT_EQ("T1/g2/f1/in ", narrowed({.group = "g2"}));
  EXPECT_EQ("T1/g1/f1/in T1/g1/f1/out T1/g2/f1/in ", narrowed({.flow = "f1"}));
  EXPECT_EQ("T1/g1/f1/out ",
            narrowed({.broker = "T1", .group = "g1", .flow = "f*", .node = "out"}));
  EXPECT_EQ("", narrowed({.broker = "T2", .node = "out"}));
  EXPECT_EQ("", narrowed({.group = "g2", .flow = "f2"}));
}

TEST(Selection, WhatHoldsNoSelectedNodeIsLeftOutAndWhatIsEmptyAnywayStaysWithItsName) {
  Snapshot snapshot = trees();
  const Snapshot out = model::select(snapshot, {.node = "out"});
  ASSERT_EQ(1U, out.brokers.size());
  ASSERT_EQ(1U, out.brokers[0]->tree->executionGroups.size());
  EXPECT_EQ(1U, out.brokers[0]->tree->executionGroups[0].messageFlows.size());
  auto empty = std::make_shared<model::SeenBroker>(*snapshot.brokers[1]);
  empty->tree->executionGroups.emplace_back().label = "empty";
  snapshot.brokers[1] = empty;
  EXPECT_EQ(1U, model::select(snapshot, {.group = "empty"}).brokers.size());
  EXPECT_EQ(0U, model::select(snapshot, {.group = "empty", .node = "*"}).brokers.size());
}

TEST(Selection, TheSnapshotItselfStaysWhole) {
  const Snapshot snapshot = trees();
  model::select(snapshot, {.node = "out"});
  EXPECT_EQ(2U, snapshot.brokers[0]->tree->executionGroups.size());
}

TEST(Selection, ABrokerThatCouldNotBeReadMayHoldAnyNodeAndOneThatIsGoneHoldsNone) {
  Snapshot snapshot;
  for (const auto state :
       {reader::State::noPermission, reader::State::noSegment, reader::State::notInitialised,
        reader::State::noKeyFile, reader::State::failed}) {
    model::SeenBroker broker;
    broker.segment.state = state;
    snapshot.brokers.push_back(std::make_shared<const model::SeenBroker>(broker));
  }
  EXPECT_EQ(3U, model::select(snapshot, {.node = "in"}).brokers.size());
  EXPECT_EQ(5U, model::select(snapshot, {}).brokers.size());
}

TEST(Unknown, IsTheFirstPatternThatMeansNothingWithWhatThereIs) {
  EXPECT_EQ("", unknown({}));
  EXPECT_EQ("", unknown({.broker = "T*", .group = "g2", .flow = "f1", .node = "in"}));
  EXPECT_EQ("broker X: T1 T2 ", unknown({.broker = "X", .node = "Y"}));
  EXPECT_EQ("group X: g1 g2 ", unknown({.group = "X"}));
  EXPECT_EQ("group g2: g1 ", unknown({.broker = "T2", .group = "g2"}));
  EXPECT_EQ("flow f2: f1 ", unknown({.group = "g2", .flow = "f2"}));
  EXPECT_EQ("node X: in out ", unknown({.flow = "f1", .node = "X"}));
  EXPECT_FALSE(model::findUnknown({}, {.broker = "X"}));
}

TEST(EventSelection, ByPlace) {
  reader::Event seen = event(1, 1, "seen");
  seen.origin =
      std::make_shared<reader::EventTemplate>(reader::EventTemplate{"g", "f", "n", 1, "seen"});
  using model::Selection;
  EXPECT_TRUE(model::selects(Selection{}, seen));
  EXPECT_TRUE(model::selects(Selection{.group = "g", .flow = "f", .node = "*"}, seen));
  EXPECT_FALSE(model::selects(Selection{.group = "x"}, seen));
  EXPECT_FALSE(model::selects(Selection{.flow = "x"}, seen));
  EXPECT_FALSE(model::selects(Selection{.node = "x"}, seen));
  EXPECT_TRUE(model::selects(Selection{}, event(1, 1, nullptr)));
  EXPECT_FALSE(model::selects(Selection{.node = "*"}, event(1, 1, nullptr)));
}

TEST(Selection, KeepsTheFactsOfTheSnapshotAndSharesItsBrokers) {
  const Snapshot snapshot = all();
  const Snapshot one = model::select(snapshot, {.broker = "BRK2"});
  EXPECT_EQ(snapshot.directory, one.directory);
  EXPECT_EQ(snapshot.steady, one.steady);
  EXPECT_EQ(snapshot.brokers[1], one.brokers.at(0));
}

TEST(EventSelection, ByKind) {
  const model::EventSelection exceptions{.since = {}, .kind = reader::EventKind::exception};
  EXPECT_TRUE(model::selects(exceptions, event(1, 1, "Exception found in a(b). c")));
  EXPECT_FALSE(model::selects(exceptions, event(1, 1, "seen")));
  EXPECT_FALSE(model::selects(exceptions, event(1, 1, nullptr)));
  EXPECT_TRUE(model::selects(model::EventSelection(), event(1, 1, nullptr)));
}

TEST(EventSelection, ByTheEventsTimeOrItsRecords) {
  const model::EventSelection later{.since = 100, .kind = {}};
  EXPECT_TRUE(model::selects(later, event(100, 1, "seen")));
  EXPECT_FALSE(model::selects(later, event(99, 200, "seen")));
  EXPECT_TRUE(model::selects(later, event(std::nullopt, 100, "seen")));
  EXPECT_FALSE(model::selects(later, event(std::nullopt, 99, "seen")));
}

TEST(Owner, OfABrokerIsThatOfItsSegmentElseOfItsKeyFile) {
  model::SeenBroker broker;
  EXPECT_TRUE(model::isOwned(broker, {}));
  EXPECT_TRUE(model::isOwned(broker, {8})) << "nobody knows whose it is";
  broker.segment.fileOwner = 7;
  EXPECT_FALSE(model::isOwned(broker, {8}));
  EXPECT_TRUE(model::isOwned(broker, {8, 7}));
  broker.segment.owner = 8;
  EXPECT_TRUE(model::isOwned(broker, {8}));
  EXPECT_FALSE(model::isOwned(broker, {7}));
}

}  // namespace selection_test
