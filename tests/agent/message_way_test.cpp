// SPDX-License-Identifier: Apache-2.0
// One message's events, found by an ID or its first digits.
#include "agent/model/message_way.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "agent/render/message_screens.h"
#include "tests/agent/zebmon.h"
#include "tests/support/broken.h"
#include "tests/support/live_segment.h"

namespace message_way_test {

namespace {

using Id = decltype(reader::Event::messageId);

reader::RecordId recordOf(std::uint32_t seconds, std::uint32_t milliseconds) {
  image::Bytes bytes;
  image::putId(bytes, {8, seconds, milliseconds, 1});
  return reader::RecordId(bytes);
}

reader::Event event(std::uint32_t milliseconds, Id message, Id correlation = {}) {
  reader::Event made;
  made.recordId = recordOf(100, milliseconds);
  made.messageId = message;
  made.correlationId = correlation;
  made.threadId = static_cast<std::int32_t>(milliseconds);
  return made;
}

std::shared_ptr<const model::SeenBroker> broker(std::vector<reader::Event> events) {
  auto seen = std::make_shared<model::SeenBroker>();
  seen->events.emplace().events = std::move(events);
  return seen;
}

const Id kA{0xAB, 0x01};
const Id kB{0xAB, 0x12};

}  // namespace

TEST(IdPrefix, IsHexadecimalOfAtMost24Bytes) {
  EXPECT_EQ("AB0", model::idPrefixOf("ab0"));
  EXPECT_EQ("AB0", model::idPrefixOf("0xAb0"));
  EXPECT_EQ(std::string(48, 'F'), model::idPrefixOf(std::string(48, 'f')));
  EXPECT_FALSE(model::idPrefixOf(std::string(49, 'f')));
  EXPECT_FALSE(model::idPrefixOf(""));
  EXPECT_FALSE(model::idPrefixOf("0x"));
  EXPECT_FALSE(model::idPrefixOf("G"));
  EXPECT_FALSE(model::idPrefixOf(" 1"));
}

TEST(MessageWay, GoesOverAllBrokersInTheOrderOfTime) {
  model::Snapshot snapshot;
  snapshot.brokers = {broker({event(5, kA), event(30, kA), event(31, kB)}), broker({event(17, kA)}),
                      std::make_shared<model::SeenBroker>()};
  const auto ways = model::waysOf(snapshot, "AB0");
  ASSERT_EQ(1U, ways.size());
  EXPECT_EQ("AB01" + std::string(44, '0'), ways[0].id);
  ASSERT_EQ(3U, ways[0].steps.size());
  EXPECT_EQ(0, ways[0].steps[0].afterMs);
  EXPECT_EQ(12, ways[0].steps[1].afterMs);
  EXPECT_EQ(13, ways[0].steps[2].afterMs);
  EXPECT_EQ(snapshot.brokers[1].get(), ways[0].steps[1].broker);
  EXPECT_EQ(100005, ways[0].steps[0].createdMs);
}

TEST(MessageWay, HoldsAnswersThatCarryItsIdAsCorrelationId) {
  model::Snapshot snapshot;
  snapshot.brokers = {broker({event(1, kA), event(2, Id{0x99}, kA), event(3, kA, kA)})};
  const auto ways = model::waysOf(snapshot, "AB01");
  ASSERT_EQ(1U, ways.size());
  ASSERT_EQ(3U, ways[0].steps.size());
  EXPECT_FALSE(ways[0].steps[0].byCorrelation);
  EXPECT_TRUE(ways[0].steps[1].byCorrelation);
  EXPECT_FALSE(ways[0].steps[2].byCorrelation);
}

TEST(MessageWay, AnIdOfZerosIsNone) {
  model::Snapshot snapshot;
  snapshot.brokers = {broker({event(1, Id{}), event(2, Id{0x01})})};
  const auto ways = model::waysOf(snapshot, "0");
  ASSERT_EQ(1U, ways.size());
  EXPECT_EQ(1U, ways[0].steps.size());
}

TEST(MessageWay, EachIdThatBeginsSoHasOne) {
  model::Snapshot snapshot;
  snapshot.brokers = {broker({event(1, kB), event(2, kA)})};
  const auto ways = model::waysOf(snapshot, "AB");
  ASSERT_EQ(2U, ways.size());
  EXPECT_LT(ways[0].id, ways[1].id);
  const std::string problem = render::problemOf(ways, "AB");
  EXPECT_TRUE(problem.starts_with("2 IDs begin with AB: AB01")) << problem;
}

TEST(MessageWay, GoesOverTheSelectedNodesAlone) {
  const auto at = [](std::uint32_t number, const std::string& flow, const std::string& node) {
    reader::Event posted = event(number, kA);
    auto origin = std::make_shared<reader::EventTemplate>();
    origin->executionGroup = "orders";
    origin->messageFlow = flow;
    origin->node = node;
    posted.origin = origin;
    return posted;
  };
  model::Snapshot snapshot;
  snapshot.brokers = {broker(
      {at(1, "Fulfil", "Reserve"), at(2, "Fulfil", "Pack"), at(3, "Ship", "Pack"), event(4, kA)})};
  const auto steps = [&snapshot](const model::Selection& selection) {
    const auto ways = model::waysOf(snapshot, "AB01", selection);
    return ways.empty() ? 0 : ways.front().steps.size();
  };
  EXPECT_EQ(4U, steps({}));
  EXPECT_EQ(2U, steps({.flow = "Fulfil"}));
  EXPECT_EQ(2U, steps({.node = "Pack"}));
  EXPECT_EQ(1U, steps({.flow = "Ship", .node = "P*"}));
  EXPECT_EQ(0U, steps({.group = "other"}));
}

TEST(MessageCommand, ShowsTheWayOfOneMessage) {
  const LiveSegment live("UUID1", broken::healthy());
  const auto events = nlohmann::json::parse("[" + [] {
    std::string lines = run({"events", "--format", "jsonl"}).out;
    lines.pop_back();
    for (char& c : lines)
      if (c == '\n') c = ',';
    return lines;
  }() + "]");
  const std::string id = events.at(0).at("messageId");
  const auto document = nlohmann::json::parse(run({"message", id, "--format", "json"}).out);
  EXPECT_EQ("zebmon.message", document.at("schema"));
  EXPECT_EQ(id, document.at("id"));
  std::size_t expected = 0;
  for (const auto& event : events)
    if (event.at("messageId") == id || event.at("correlationId") == id) ++expected;
  EXPECT_EQ(expected, document.at("events").size());
  EXPECT_EQ(0, document.at("events").at(0).at("afterMs"));
  const Result table = run({"message", id});
  EXPECT_EQ(0, table.code);
  EXPECT_TRUE(table.out.starts_with("Message " + id + "\n5 events in 1 broker")) << table.out;
}

TEST(MessageCommand, KeepsToTheNodesThatAreNamed) {
  const LiveSegment live("UUID1", broken::healthy());
  const auto events = run({"events", "--format", "jsonl"}).out;
  const auto first = nlohmann::json::parse(events.substr(0, events.find('\n')));
  const std::string id = first.at("messageId");
  const std::string node = first.at("template").at("node");
  const Result some =
      run({"message", id, "--node", node, "--format", "csv", "--no-header", "--columns", "node"});
  EXPECT_EQ(0, some.code) << some.errors;
  std::istringstream rows(some.out);
  std::size_t number = 0;
  for (std::string row; std::getline(rows, row); ++number) EXPECT_EQ(node, row);
  EXPECT_LT(0U, number);
  const Result other = run({"message", id, "--node", "no such node"});
  EXPECT_EQ(69, other.code);
  EXPECT_EQ("", other.out);
  EXPECT_NE(other.errors.npos, other.errors.find("no node \"no such node\": there are "))
      << other.errors;
}

TEST(MessageCommand, SaysWhenThereIsNoneAndWhenTheIdIsNone) {
  const LiveSegment live("UUID1", broken::healthy());
  const Result none = run({"message", "FFFFFFFFFFFF"});
  EXPECT_EQ(69, none.code);
  EXPECT_TRUE(
      contains(none.errors, "no event has a message or correlation ID that begins with FF"));
  EXPECT_EQ(64, run({"message", "xyz"}).code);
  EXPECT_EQ(64, run({"message"}).code);
}

}  // namespace message_way_test
