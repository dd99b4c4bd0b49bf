// SPDX-License-Identifier: Apache-2.0
// The program zebmon as people and scripts start it.
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <optional>
#include <regex>
#include <sstream>

#include "format/version.h"
#include "tests/agent/zebmon.h"
#include "tests/support/image.h"
#include "tests/support/live_segment.h"

namespace command_test {

namespace {

using image::Block;
using image::Bytes;
using nlohmann::json;

int count(const std::string& text, const std::string& part) {
  int found = 0;
  for (std::size_t at = text.find(part); at != text.npos; at = text.find(part, at + 1)) ++found;
  return found;
}

constexpr image::Id kTemplate{7, 500, 1, 1};
constexpr image::Id kFailure{7, 500, 2, 2};
constexpr std::uint32_t kEventTime = 0xEA600000;

Bytes event(std::uint32_t n, const image::Id& ofTemplate) {
  return image::event({8, kEventTime + n - 2177452800u, 250, n}, ofTemplate, kEventTime + n);
}

// The orders broker with `count` events; every third is an exception.
Bytes ordersWithEvents(std::uint32_t count) {
  Block templates{.eyecatcher = "zebcetar", .contents = {}};
  templates.add(
      image::eventTemplate(kTemplate, u"orders", u"Fulfil", u"Reserve", 1, u"order seen"));
  templates.add(image::eventTemplate(kFailure, u"orders", u"Fulfil", u"Reserve", 1,
                                     u"Exception found in Reserve(42). no stock"));
  Block data{.eyecatcher = "zebcedar", .contents = {}};
  for (std::uint32_t n = 1; n <= count; ++n) data.add(event(n, n % 3 == 0 ? kFailure : kTemplate));
  return image::segment({image::ordersBlock(), templates, data});
}

}  // namespace

// A document without the time at which it was collected, which must be there.
json withoutTime(const std::string& text) {
  json document = json::parse(text);
  EXPECT_EQ(1U, document.erase("collectedAt"));
  return document;
}

TEST(Zebmon, TellsItsVersion) {
  const Result result = run({"--version"});
  EXPECT_EQ(0, result.code);
  EXPECT_EQ(std::string("zebmon ") + layout::kVersion + "\n", result.out);
  EXPECT_EQ("", result.errors);
}

TEST(ZebmonStats, PrintsOneRowANode) {
  const LiveSegment live("1-2-3", image::segment({image::ordersBlock()}));
  const Result result = run({"stats"});
  EXPECT_EQ(0, result.code);
  EXPECT_EQ("", result.errors);
  EXPECT_EQ(
      "Broker BRK1  (uuid 1-2-3)\n"
      "segment 4128 bytes, statistics area 508 of 4096 bytes used (12 %)\n"
      "reset 2025-08-09 02:39:59Z, AGE ago; min and max are since then\n"
      "collected on 2025-08-09\n"
      "\n"
      "                 messages     size bytes   elapsed ms    queued ms    collected\n"
      " node     type   count bytes  avg min max   avg min max  avg min max  first     last\n"
      "orders (pid 1234) / Fulfil\n"
      " Reserve  input      3   600  200 100 300  15.0  10  20  3.0   2   4  02:40:00Z "
      "02:40:16Z\n",
      std::regex_replace(result.out, std::regex(", [0-9]+ d ago"), ", AGE ago"));
}

TEST(ZebmonStats, JsonHoldsEveryFieldUnderItsDocumentedName) {
  const LiveSegment live("1-2-3", image::segment({image::ordersBlock()}));
  const Result result = run({"stats", "--format", "json"});
  EXPECT_EQ(0, result.code);
  const json document = withoutTime(result.out);
  const json expected = json::parse(R"({"schema":"zebmon.stats","version":2,"brokers":[
    {"label":"BRK1","uuid":"1-2-3","state":"noProcess","keyFile":"/tmp/1-2-3.zebcshme",
     "resetTime":"2025-08-09T02:39:59Z",
     "problem":"no process has its shared memory attached: all of them were killed. The figures are the last ones; starting the broker goes on with them",
     "executionGroups":[
      {"label":"orders","uuid":"group-uuid","processId":1234,"deleted":false,
       "recordId":"03000000E8030000020000000C000000","messageFlows":[
        {"label":"Fulfil","deleted":false,"recordId":"04000000E8030000030000000D000000","nodes":[
          {"label":"Reserve","type":"input","nodeType":1,"subFlowName":"sub","deleted":false,
           "recordId":"05000000E8030000040000000E000000","statistics":
            {"recordId":"06000000E8030000050000000F000000","messageCount":3,
             "sizeSumBytes":600,"sizeMaxBytes":300,"sizeMinBytes":100,
             "elapsedSumMs":45,"elapsedMaxMs":20,"elapsedMinMs":10,
             "queuedSumMs":9,"queuedMaxMs":4,"queuedMinMs":2,
             "firstCollection":"2025-08-09T02:40:00Z",
             "lastCollection":"2025-08-09T02:40:16Z"}}]}]}]}]})");
  EXPECT_EQ(expected, document);
}

TEST(ZebmonStats, MarksADeletedNodeAndShowsNoNumbersBeforeTheFirstMessage) {
  Block block = image::ordersBlock();
  block.add(image::node({5, 1, 1, 1}, image::kFlow, u"Gone", 2, u"", 1));
  block.add(image::statistics({6, 1, 1, 1}, {5, 1, 1, 1}, {.count = "0", .first = 0, .last = 0}));
  const LiveSegment live("1-2-3", image::segment({block}));
  const Result result = run({"stats"});
  EXPECT_EQ(0, result.code);
  EXPECT_TRUE(contains(result.out, " Gone     output      0     -    -   -   -")) << result.out;
  EXPECT_TRUE(contains(result.out, " deleted\n"));
  const json document = json::parse(run({"stats", "--format", "json"}).out);
  const json node = document["brokers"][0]["executionGroups"][0]["messageFlows"][0]["nodes"][1];
  EXPECT_TRUE(node["deleted"]);
  EXPECT_TRUE(node["statistics"]["firstCollection"].is_null());
}

TEST(ZebmonStats, QueuedTimeIsShownWhereItIsMeasured) {
  Block block = image::ordersBlock();
  block.add(image::node({5, 1, 1, 1}, image::kFlow, u"Quick", 1, u"", 0));
  block.add(image::statistics({6, 1, 1, 1}, {5, 1, 1, 1},
                              {.sumQueued = "0", .maxQueued = 0, .minQueued = 0}));
  block.add(image::node({5, 1, 1, 2}, image::kFlow, u"Inner", 3, u"", 0));
  block.add(image::statistics({6, 1, 1, 2}, {5, 1, 1, 2}));
  const LiveSegment live("1-2-3", image::segment({block}));
  const auto queued = [](const std::string& node, const std::string& format) {
    const std::string out = run({"stats", "--node", node, "--no-header", "--format", format,
                                 "--columns", "queuedSumMs,queuedMeanMs,queuedMinMs,queuedMaxMs"})
                                .out;
    return std::regex_replace(out, std::regex(" +"), " ");
  };
  EXPECT_EQ(" 9 3.0 2 4\n", queued("Reserve", "table"));
  EXPECT_EQ(" - - - -\n", queued("Quick", "table"));
  EXPECT_EQ(" - - - -\n", queued("Inner", "table"));
  EXPECT_EQ("9,3,2,4\n", queued("Inner", "csv")) << "as it is stored";
}

TEST(ZebmonStats, EveryTypeOfNodeHasAName) {
  Block block{.eyecatcher = "zebcstar", .contents = {}};
  block.add(image::broker(image::kBroker, u"1-2-3", u"BRK1"));
  block.add(image::group(image::kGroup, image::kBroker, u"g", 0));
  block.add(image::flow(image::kFlow, image::kGroup, u"f"));
  for (const std::uint32_t type : {1U, 2U, 3U, 4U, 5U, 6U}) {
    block.add(image::node({5, 1, 1, type}, image::kFlow, u"n", type));
  }
  const LiveSegment live("1-2-3", image::segment({block}));
  const std::string out = run({"stats"}).out;
  std::string types;
  std::istringstream lines(out);
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with(" n  ") && !contains(line, "type")) types += line.substr(7, 7) + "|";
  }
  EXPECT_EQ("input  |output |other  |sub in |sub out|unknown|", types) << out;
  EXPECT_TRUE(contains(out, "\nnever reset; min and max are of all messages\n")) << out;
}

TEST(ZebmonStats, TheHeadTellsWhatWasEverUsedOfTheArea) {
  Block block = image::ordersBlock();
  block.next = 32;
  block.last = 32 + static_cast<std::int64_t>(block.contents.size());
  const LiveSegment live("1-2-3", image::segment({block}));
  EXPECT_TRUE(contains(run({"stats"}).out, "statistics area 508 of 4096 bytes used (12 %)\n"));
}

TEST(ZebmonStats, WhatIsDeletedIsMarkedAndNothingElse) {
  Block block{.eyecatcher = "zebcstar", .contents = {}};
  block.add(image::broker(image::kBroker, u"1-2-3", u"BRK1"));
  block.add(image::group(image::kGroup, image::kBroker, u"g", 7));
  Bytes gone = image::flow(image::kFlow, image::kGroup, u"gone");
  image::set32(gone, 4, 1);
  block.add(gone);
  block.add(image::flow({4, 1, 1, 1}, image::kGroup, u"here"));
  const LiveSegment live("1-2-3", image::segment({block}));
  const std::string out = run({"stats"}).out;
  EXPECT_TRUE(contains(out, "\ng (pid 7) / gone (deleted)\ng (pid 7) / here\n")) << out;
}

TEST(ZebmonStats, Needs102ColumnsWithUsualNamesAndNumbers) {
  image::Block block = image::ordersBlock();
  block.contents.resize(block.contents.size() - 168);
  block.add(image::node({5, 1, 1, 1}, image::kFlow, u"Into authorisation", 5));
  block.add(image::statistics(image::kStatistics, {5, 1, 1, 1},
                              {.count = "99999",
                               .sumSize = "99999000",
                               .maxSize = 2023,
                               .sumElapsed = "9999900",
                               .maxElapsed = 999,
                               .sumQueued = "99999",
                               .maxQueued = 999}));
  const LiveSegment live("1-2-3", image::segment({block}));
  std::istringstream lines(run({"stats"}).out);
  for (std::string line; std::getline(lines, line);) EXPECT_LE(line.size(), 103U) << line;
}

TEST(ZebmonStats, CollectionsOnSeveralDaysShowTheDate) {
  Block block = image::ordersBlock();
  block.contents.resize(block.contents.size() - 168);
  block.add(image::statistics(image::kStatistics, image::kNode, {.last = 0xEA600000 + 86400}));
  const LiveSegment live("1-2-3", image::segment({block}));
  EXPECT_TRUE(contains(run({"stats"}).out, "2025-08-09 02:40:00Z 2025-08-10 02:40:00Z\n"));
}

TEST(ZebmonStats, LabelsCanNeitherFormatNorObeyNorBreakJson) {
  Block block{.eyecatcher = "zebcstar", .size = 16384, .contents = {}};
  block.add(image::broker(image::kBroker, u"1-2-3", u"%n%s\x1b[2J\u009b" + std::u16string{0xD800}));
  block.add(image::group(image::kGroup, image::kBroker, std::u16string(3000, u'x'), 1));
  block.add(image::flow(image::kFlow, image::kGroup, u""));
  block.add(image::node(image::kNode, image::kFlow, u"a\nb", 77));
  const LiveSegment live("1-2-3", image::segment({block}));
  const Result table = run({"stats"});
  EXPECT_TRUE(contains(table.out, "Broker %n%s\\x1B[2J\\x9B\uFFFD")) << table.out;
  EXPECT_TRUE(contains(table.out, " a\\x0Ab  unknown"));
  EXPECT_FALSE(contains(table.out, "\x1b"));
  const Result document = run({"stats", "--format", "json"});
  for (const char c : document.out) EXPECT_TRUE(c == '\n' || (c >= ' ' && c < 0x7F));
  const json broker = json::parse(document.out)["brokers"][0];
  EXPECT_EQ("%n%s\\x1B[2J\\x9B\uFFFD", broker["label"]);
  EXPECT_EQ(3000U, broker["executionGroups"][0]["label"].get<std::string>().size());
}

TEST(ZebmonStats, DamageIsNamedWithItsPlaceAndTheRestIsShown) {
  Block block = image::ordersBlock();
  block.contents[block.contents.size() - 168] = 'X';
  const LiveSegment live("1-2-3", image::segment({block}));
  const Result table = run({"stats"});
  EXPECT_EQ(65, table.code);
  EXPECT_TRUE(contains(table.out, "Reserve"));
  EXPECT_TRUE(contains(table.errors, "broker BRK1: damaged in 1 place;")) << table.errors;
  EXPECT_TRUE(contains(table.errors, "statistics, offset 340: no record begins here"));
  const Result document = run({"stats", "--format", "json"});
  EXPECT_EQ(65, document.code);
  const json broker = json::parse(document.out)["brokers"][0];
  EXPECT_EQ("damaged", broker["state"]);
  EXPECT_EQ(json::parse(R"([{"area":"statistics","offset":340,"reason":"no record begins here"}])"),
            broker["damage"]);
  EXPECT_TRUE(broker["executionGroups"][0]["messageFlows"][0]["nodes"][0]["statistics"].is_null());
}

TEST(ZebmonStats, ANumberThatCannotBeReadIsNoZeroAndTheReasonIsTold) {
  Block block = image::ordersBlock();
  block.contents.resize(block.contents.size() - 168);
  block.add(
      image::statistics(image::kStatistics, image::kNode,
                        {.count = "3x", .sumSize = "-6", .sumElapsed = "45", .sumQueued = "9 9"}));
  const LiveSegment live("1-2-3", image::segment({block}));
  const Result table = run({"stats"});
  EXPECT_EQ(65, table.code);
  EXPECT_TRUE(
      contains(table.out, " Reserve  input      ?     ?    ? 100 300    ?  10  20    ?   2   4  "))
      << table.out;
  EXPECT_TRUE(contains(table.errors, "offset 380: message count is not a decimal number"))
      << table.errors;
  const Result document = run({"stats", "--format", "json"});
  EXPECT_EQ(65, document.code);
  const json node =
      json::parse(document.out)["brokers"][0]["executionGroups"][0]["messageFlows"][0]["nodes"][0];
  const json statistics = node["statistics"];
  EXPECT_TRUE(statistics["messageCount"].is_null());
  EXPECT_TRUE(statistics["sizeSumBytes"].is_null());
  EXPECT_EQ(45, statistics["elapsedSumMs"]);
  EXPECT_TRUE(statistics["queuedSumMs"].is_null());
  EXPECT_TRUE(contains(document.out, "message count is not a decimal number"));
}

TEST(ZebmonStats, OfTwoStatisticsRecordsOfANodeTheFirstIsShown) {
  Block block = image::ordersBlock();
  block.add(image::statistics({6, 9, 9, 9}, image::kNode, {.count = "77"}));
  const LiveSegment live("1-2-3", image::segment({block}));
  const std::string out = run({"stats"}).out;
  EXPECT_TRUE(contains(out, " Reserve  input      3 ")) << out;
  EXPECT_FALSE(contains(out, "77")) << out;
}

TEST(ZebmonStats, ABrokerIsChosenByLabelOrUuid) {
  Block other{.eyecatcher = "zebcstar", .contents = {}};
  other.add(image::broker({2, 1, 1, 1}, u"4-5-6", u"BRK2"));
  const LiveSegment first("1-2-3", image::segment({image::ordersBlock()}));
  const LiveSegment second("4-5-6", image::segment({other}));
  const auto chosen = [](const char* broker) {
    const Result result = run({"stats", "--format", "json", "--broker", broker});
    std::string uuids;
    const json brokers = json::parse(result.out)["brokers"];
    for (const json& one : brokers) uuids += one["uuid"].get<std::string>();
    return uuids + " " + std::to_string(result.code);
  };
  EXPECT_EQ("1-2-3 0", chosen("BRK1"));
  EXPECT_EQ("4-5-6 0", chosen("BRK2"));
  EXPECT_EQ("4-5-6 0", chosen("4-5-6"));
  EXPECT_EQ(" 69", chosen("BRK3"));
  const Result both = run({"stats"});
  EXPECT_TRUE(contains(both.out, "Broker BRK1") && contains(both.out, "\nBroker BRK2"));
}

TEST(ZebmonStats, NoBrokerAtAllIsSaidWithTheRemedy) {
  const Result result = run({"stats"});
  EXPECT_EQ(69, result.code);
  EXPECT_EQ("", result.out);
  EXPECT_TRUE(contains(result.errors, "no broker has a key file (*.zebcshme) in /tmp/"));
  EXPECT_TRUE(contains(result.errors, "--temp-directory"));
}

TEST(ZebmonBrokers, NoBrokerAtAllIsAnEmptyListAndEndsWithSixtyNine) {
  const Result result = run({"brokers"});
  EXPECT_EQ(69, result.code);
  EXPECT_EQ("", result.out);
  EXPECT_TRUE(contains(result.errors, "no broker has a key file (*.zebcshme) in /tmp/."));
  const Result document = run({"brokers", "--format", "json"});
  EXPECT_EQ(69, document.code);
  EXPECT_EQ(
      json::parse(
          R"({"schema":"zebmon.brokers","version":2,"temporaryDirectory":"/tmp/","brokers":[],"oddities":[]})"),
      withoutTime(document.out));
}

TEST(ZebmonBrokers, AnUnknownBrokerEndsWithSixtyNine) {
  const LiveSegment live("1-2-3", image::segment({image::ordersBlock()}));
  const Result result = run({"brokers", "--broker", "BRK2"});
  EXPECT_EQ(69, result.code);
  EXPECT_EQ("", result.out);
  EXPECT_TRUE(contains(result.errors, "no broker \"BRK2\" in /tmp/: there are BRK1 (1 in all)."))
      << result.errors;
  EXPECT_EQ(69, run({"brokers", "--broker", "BRK2", "--format", "json"}).code);
  EXPECT_EQ(0, run({"brokers", "--broker", "BRK1"}).code);
}

TEST(ZebmonBrokers, ListsBrokersInEveryState) {
  const LiveSegment good("1-2-3", image::segment({image::ordersBlock()}));
  LiveSegment leftover("2-leftover", image::segment({}));
  leftover.removeSegment();
  const LiveSegment starting("3-starting", Bytes(98336));
  Bytes bytes = image::segment({});
  image::set32(bytes, 8, 5);
  const LiveSegment damaged("4-damaged", bytes);
  // Not the groups: a process of their number may run here.
  const Result table =
      run({"brokers", "--columns",
           "label,uuid,state,messageFlowCount,nodeCount,statisticsPercent,eventTemplatesPercent,"
           "eventDataPercent,attached,lastCollectionAgeSeconds,segmentBytes"});
  EXPECT_EQ(65, table.code);
  EXPECT_EQ(
      "                                                  filled %\n"
      "broker  uuid        state           flows  nodes  stats texts events  attached  last "
      "message  bytes\n"
      "BRK1    1-2-3       noProcess           1      1     12     -      -         0         470 "
      "d   4128\n"
      "-       2-leftover  noSegment           -      -      -     -      -         -             "
      "-      -\n"
      "-       3-starting  notInitialised      -      -      -     -      -         0             "
      "-  98.3k\n"
      "-       4-damaged   damaged             -      -      -     -      -         0             "
      "-     32\n",
      std::regex_replace(table.out, std::regex("[0-9]+ d "), "470 d "));
  EXPECT_TRUE(contains(table.errors, "2-leftover: key file /tmp/2-leftover.zebcshme without"));
  EXPECT_TRUE(contains(table.errors, "ipcrm -m " + std::to_string(starting.id())));
  EXPECT_TRUE(contains(table.errors, "segment, offset 8: the header mark is not 1"));
  const json list = json::parse(run({"brokers", "--format", "json"}).out)["brokers"];
  ASSERT_EQ(4U, list.size());
  EXPECT_EQ("noProcess", list[0]["state"]);
  EXPECT_TRUE(contains(table.errors, "broker BRK1: no process has its shared memory attached"));
  EXPECT_EQ(4128, list[0]["segment"]["sizeBytes"]);
  EXPECT_EQ("statistics", list[0]["segment"]["areas"][0]["name"]);
  EXPECT_TRUE(list[1]["segment"].is_null());
  EXPECT_TRUE(list[1]["label"].is_null());
}

TEST(ZebmonBrokers, TwoKeyFilesOfOneSegmentAreSaidAndShownOnceByTheOthers) {
  const LiveSegment live("1-2-3", image::segment({image::ordersBlock()}));
  std::filesystem::create_hard_link("/tmp/1-2-3.zebcshme", "/tmp/other.zebcshme");
  const Result brokers = run({"brokers", "--format", "json"});
  const json document = json::parse(brokers.out);
  EXPECT_EQ(2U, document["brokers"].size());
  EXPECT_EQ("sameSegment", document["oddities"].at(0)["kind"]);
  EXPECT_TRUE(contains(brokers.errors, "/tmp/other.zebcshme leads to the same shared memory"));
  EXPECT_EQ(1U, json::parse(run({"stats", "--format", "json"}).out)["brokers"].size());
  EXPECT_TRUE(run({"check", "area=90%"}).out.starts_with("OK: 1 of 1 "));
  const Result plan = run({"reset", "--format", "csv", "--no-header", "--columns", "node"});
  EXPECT_EQ("Reserve\n", plan.out);
  std::filesystem::remove("/tmp/other.zebcshme");
}

TEST(ZebmonBrokers, TheSameSegmentIsMeantByEitherKeyFilesName) {
  const LiveSegment live("1-2-3", image::segment({image::ordersBlock()}));
  std::filesystem::create_hard_link("/tmp/1-2-3.zebcshme", "/tmp/other.zebcshme");
  EXPECT_EQ(0, run({"stats", "--broker", "other"}).code);
  std::filesystem::remove("/tmp/other.zebcshme");
}

TEST(ZebmonBrokers, ALeftoverKeyFileAloneIsNoFailure) {
  LiveSegment leftover("1-2-3", image::segment({}));
  leftover.removeSegment();
  EXPECT_EQ(0, run({"brokers"}).code);
}

TEST(ZebmonStats, WithKeyFilesAloneNoBrokerIsThere) {
  LiveSegment leftover("1-2-3", image::segment({}));
  leftover.removeSegment();
  for (const char* const command : {"stats", "events", "size"}) {
    const Result result = run({command});
    EXPECT_EQ(69, result.code) << command;
  }
}

TEST(ZebmonBrokers, OfManyWithAProblemTheFirstAreNamedAndTheOthersCounted) {
  for (int i = 0; i < 50; ++i) std::ofstream("/tmp/" + std::to_string(i) + ".zebcshme");
  for (const char* const command : {"stats", "brokers", "events", "reset"}) {
    const Result result = run({command});
    EXPECT_EQ(20, count(result.errors, "without shared memory")) << command;
    EXPECT_TRUE(contains(result.errors, "zebmon: 30 more like these")) << result.errors;
  }
  for (int i = 0; i < 50; ++i) std::filesystem::remove("/tmp/" + std::to_string(i) + ".zebcshme");
}

TEST(ZebmonBrokers, WithoutPermissionTheGroupIsNamed) {
  const LiveSegment live("1-2-3", image::segment({image::ordersBlock()}), 0);
  const Result result = run(Start{.arguments = {"brokers"}, .ownsAll = false});
  EXPECT_EQ(77, result.code);
  EXPECT_TRUE(contains(result.out, "noPermission")) << result.out;
  EXPECT_TRUE(contains(result.errors, "belongs to group root: run zebmon as a member"))
      << result.errors;
  EXPECT_TRUE(contains(result.errors, "uuid 1-2-3"));
}

TEST(ZebmonBrokers, AMissingDirectoryIsAFailure) {
  const Result result = run({"brokers", "--temp-directory", "/tmp/absent"});
  EXPECT_EQ(66, result.code);
  EXPECT_TRUE(contains(result.errors, "can't read the directory /tmp/absent/: No such file"));
}

TEST(ZebmonBrokers, LooksWhereTheConfigurationSays) {
  std::filesystem::create_directories("/opt/holt/lil");
  std::ofstream("/opt/holt/lil/zebpnode.cfg") << "ZEBTempDirectory /opt/holt/keys\n";
  std::filesystem::create_directories("/opt/holt/keys");
  const json document = json::parse(run({"brokers", "--format", "json"}).out);
  EXPECT_EQ("/opt/holt/keys/", document["temporaryDirectory"]);
  const Result other = run({"brokers", "--format", "json", "--temp-directory", "/tmp"});
  EXPECT_EQ("/tmp/", json::parse(other.out)["temporaryDirectory"]);
  std::filesystem::remove_all("/opt/holt");
}

TEST(ZebmonUsage, AWrongCommandLineEndsWithSixtyFour) {
  for (const std::vector<std::string>& arguments : {std::vector<std::string>{},
                                                    {"nothing"},
                                                    {"stats", "--format", "xml"},
                                                    {"stats", "extra"},
                                                    {"stats", "--sort", "x"},
                                                    {"stats", "--columns", "node,x"},
                                                    {"stats", "--columns", ""},
                                                    {"stats", "--color", "x"},
                                                    {"stats", "--format", "1"},
                                                    {"events", "--format", "json"},
                                                    {"events", "--since", "then"},
                                                    {"events", "--kind", "x"},
                                                    {"events", "--interval", "0"}}) {
    const Result result = run(arguments);
    EXPECT_EQ(64, result.code);
    EXPECT_EQ("", result.out);
    EXPECT_NE("", result.errors);
  }
}

// A script whose variable is not set must not mean everything.
TEST(ZebmonUsage, AnEmptyNameIsNobodys) {
  const LiveSegment live("1-2-3", image::segment({image::ordersBlock()}));
  for (const std::string option : {"--broker", "--group", "--flow", "--node"}) {
    const Result result = run({"reset", option, "", "--yes"});
    EXPECT_EQ(64, result.code) << option;
    EXPECT_EQ("", result.out);
    EXPECT_EQ("zebmon: " + option +
                  ": nothing has an empty name. Give one, or * for all of them.\n"
                  "Run with --help for more information.\n",
              result.errors);
  }
  EXPECT_EQ(64, run({"flow", ""}).code);
  EXPECT_EQ(64, run({"brokers", "--broker", ""}).code);
  EXPECT_EQ(0, run({"brokers", "--broker", "*"}).code);
}

TEST(ZebmonUsage, AWrongWordIsNamedBesideThoseThatThereAre) {
  const std::string more =
      ": there are brokers, stats, flow, top, events, message, locks, doctor, check, metrics, "
      "serve, record, size, changes, config, snapshot, diff, reset.\nRun with --help for more "
      "information.\n";
  EXPECT_EQ("zebmon: a command is missing" + more, run(std::vector<std::string>{}).errors);
  EXPECT_EQ("zebmon: \"stat\" is no command" + more, run({"stat"}).errors);
  EXPECT_EQ("zebmon: \"--broker\" is no command" + more, run({"--broker", "B"}).errors);
  const std::string help = ".\nRun with --help for more information.\n";
  EXPECT_EQ("zebmon: stats has no option \"--colums\"" + help,
            run({"stats", "--colums", "node"}).errors);
  EXPECT_EQ("zebmon: \"extra\" is one word too many for stats" + help,
            run({"stats", "extra"}).errors);
  EXPECT_TRUE(
      contains(run({"events", "--interval", "0"}).errors,
               "zebmon: --interval: \"0\" is no time from 10ms to 24h, like 500ms, 5s or 2m.\n"));
}

TEST(ZebmonUsage, WhatShowsWholeBrokersSaysSoWhenAPartIsNamed) {
  for (const std::string command : {"brokers", "size", "snapshot", "metrics", "config"}) {
    for (const std::string option : {"--group", "--flow", "--node"}) {
      const Result result = run({command, option, "x"});
      EXPECT_EQ(64, result.code) << command;
      EXPECT_EQ("zebmon: " + option +
                    ": what this shows belongs to whole brokers. Choose one with --broker.\n"
                    "Run with --help for more information.\n",
                result.errors);
    }
    EXPECT_FALSE(contains(run({command, "--help"}).out, "--node NAME"));
  }
}

TEST(ZebmonUsage, HelpFitsEightyColumns) {
  for (const std::vector<std::string>& arguments : {std::vector<std::string>{"--help"},
                                                    {"brokers", "--help"},
                                                    {"stats", "--help"},
                                                    {"flow", "--help"},
                                                    {"top", "--help"},
                                                    {"events", "--help"}}) {
    std::istringstream lines(run(arguments).out);
    for (std::string line; std::getline(lines, line);) EXPECT_LE(line.size(), 80U) << line;
  }
}

TEST(ZebmonUsage, HelpListsTheExitCodes) {
  const Result result = run({"stats", "--help"});
  EXPECT_EQ(0, result.code);
  EXPECT_TRUE(contains(result.out, "Exit codes:"));
}

class UnusableOutput : public testing::TestWithParam<std::vector<std::string>> {
 protected:
  const LiveSegment live{"1-2-3", ordersWithEvents(1)};
};

TEST_P(UnusableOutput, AClosedOneIsAFailureThatIsSaid) {
  const Result result = run(Start{.arguments = GetParam(), .output = "-"});
  EXPECT_EQ(74, result.code);
  EXPECT_TRUE(
      result.errors.ends_with("zebmon: can't write to standard output: Bad file descriptor.\n"))
      << result.errors;
}

TEST_P(UnusableOutput, AFullOneIsAFailureThatIsSaid) {
  const Result result = run(Start{.arguments = GetParam(), .output = "/dev/full"});
  EXPECT_EQ(74, result.code);
  EXPECT_TRUE(
      result.errors.ends_with("zebmon: can't write to standard output: No space left on device.\n"))
      << result.errors;
}

INSTANTIATE_TEST_SUITE_P(Commands, UnusableOutput,
                         testing::Values(std::vector<std::string>{"brokers"},
                                         std::vector<std::string>{"stats"},
                                         std::vector<std::string>{"stats", "--format", "json"},
                                         std::vector<std::string>{"events"},
                                         std::vector<std::string>{"events", "--follow"},
                                         std::vector<std::string>{"--help"},
                                         std::vector<std::string>{"--version"},
                                         std::vector<std::string>{"stats", "--help"}));

TEST(ZebmonUsage, AClosedOutputIsAFailureAlsoWhenThereIsNothingToWrite) {
  const LiveSegment live("1-2-3", image::segment({image::ordersBlock()}));
  EXPECT_EQ(74, run(Start{.arguments = {"events"}, .output = "-"}).code);
}

TEST(ZebmonUsage, WithoutStandardErrorTheExitCodeStillTells) {
  const std::string command = std::string(ZEBMON) + " stats 2>&-";
  EXPECT_EQ(69, WEXITSTATUS(std::system(command.c_str())));
  const std::string full = std::string(ZEBMON) + " stats 2>/dev/full";
  EXPECT_EQ(69, WEXITSTATUS(std::system(full.c_str())));
}

TEST(ZebmonEvents, PrintsEachEventWithItsTemplateTheNewestLast) {
  const LiveSegment live("1-2-3", ordersWithEvents(3));
  const Result result = run({"events"});
  EXPECT_EQ(0, result.code);
  EXPECT_EQ("", result.errors);
  const std::string rest =
      "    put 2026-11-21 04:09:31.120Z by order-entry, thread 00000007\n"
      "    message A0A1A2A3A4A5A6A7A8A9AAABACADAEAFB0B1B2B3B4B5B6B7\n";
  EXPECT_EQ(
      "Broker BRK1\n"
      "time                      kind       node\n"
      "2025-08-09 02:40:01.250Z  message    orders/Fulfil/Reserve\n    order seen\n" +
          rest + "2025-08-09 02:40:02.250Z  message    orders/Fulfil/Reserve\n    order seen\n" +
          rest +
          "2025-08-09 02:40:03.250Z  exception  orders/Fulfil/Reserve\n"
          "    Exception found in Reserve(42). no stock\n" +
          rest,
      result.out);
}

TEST(ZebmonEvents, JsonIsOneDocumentALine) {
  const LiveSegment live("1-2-3", ordersWithEvents(1));
  const Result result = run({"events", "--format", "jsonl"});
  EXPECT_EQ(1, std::count(result.out.begin(), result.out.end(), '\n'));
  const json expected = json::parse(R"({"schema":"zebmon.event","version":1,
    "broker":{"label":"BRK1","uuid":"1-2-3"},"kind":"message","time":"2025-08-09T02:40:01Z",
    "recordId":"0800000001B59668FA00000001000000","created":"2025-08-09T02:40:01.250Z",
    "threadId":7,"messageId":"A0A1A2A3A4A5A6A7A8A9AAABACADAEAFB0B1B2B3B4B5B6B7",
    "correlationId":"000000000000000000000000000000000000000000000000",
    "putApplicationType":6,"putApplicationName":"order-entry","putDate":"20261121",
    "putTime":"04093112","template":{"recordId":"07000000F40100000100000001000000",
      "executionGroup":"orders","messageFlow":"Fulfil","node":"Reserve","type":"input",
      "nodeType":1,"text":"order seen"}})");
  EXPECT_EQ(expected, withoutTime(result.out));
}

TEST(ZebmonEvents, MillisecondsAreShownOnlyWhenTimeAndIdFallIntoOneSecond) {
  Block data{.eyecatcher = "zebcedar", .contents = {}};
  data.add(image::event({8, kEventTime - 2177452800u, 250, 1}, kTemplate, kEventTime));
  data.add(image::event({8, kEventTime + 1 - 2177452800u, 3, 2}, kTemplate, kEventTime));
  data.add(image::event({8, kEventTime - 2177452800u, 7, 3}, kTemplate, kEventTime));
  data.add(image::event({8, kEventTime - 2177452800u, 7, 4}, kTemplate, 0));
  const LiveSegment live("1-2-3", image::segment({image::ordersBlock(), data}));
  const std::string out = run({"events"}).out;
  EXPECT_TRUE(contains(out, "\n2025-08-09 02:40:00.250Z  unknown ")) << out;
  EXPECT_TRUE(contains(out, "\n2025-08-09 02:40:00Z      unknown ")) << out;
  EXPECT_TRUE(contains(out, "\n2025-08-09 02:40:00.007Z  unknown ")) << out;
  EXPECT_TRUE(contains(out, "\n-                         unknown ")) << out;
}

TEST(ZebmonEvents, ACorrelationIsShownWhenThereIsOne) {
  Bytes record = event(1, kTemplate);
  record[40 + 4 + 4 + 24 + 23] = 0x5A;
  Block data{.eyecatcher = "zebcedar", .contents = {}};
  data.add(record);
  const LiveSegment live("1-2-3", image::segment({image::ordersBlock(), data}));
  EXPECT_TRUE(contains(run({"events"}).out, "\n    correlation " + std::string(46, '0') + "5A\n"));
}

TEST(ZebmonEvents, EachBrokersEventsStandBelowItsName) {
  const LiveSegment first("1-2-3", ordersWithEvents(1));
  const LiveSegment second("4-5-6", ordersWithEvents(1));
  const std::string out = run({"events"}).out;
  EXPECT_TRUE(out.starts_with("Broker BRK1\ntime ")) << out;
  EXPECT_TRUE(contains(out, "B7\n\nBroker BRK1\ntime ")) << out;
}

TEST(ZebmonEvents, InShortAreALineEachBelowTheirBrokerAndDay) {
  const LiveSegment live("1-2-3", ordersWithEvents(3));
  EXPECT_EQ(
      "Broker BRK1, 2025-08-09\n"
      "time          node               put       thread   text\n"
      "02:40:01.250Z Fulfil/Reserve     11-21Z    00000007 order seen\n"
      "02:40:02.250Z Fulfil/Reserve     11-21Z    00000007 order seen\n"
      "02:40:03.250Z Fulfil/Reserve     11-21Z    00000007 ! Reserve(42). no stock\n",
      run({"events", "--short"}).out);
  EXPECT_TRUE(run({"events", "--short", "--no-header"}).out.starts_with("02:40:01.250Z "));
}

TEST(ZebmonEvents, InShortEachDayHasItsHeading) {
  Block data{.eyecatcher = "zebcedar", .contents = {}};
  data.add(event(1, kTemplate)).add(event(86401, kTemplate)).add(event(86402, kTemplate));
  const LiveSegment live("1-2-3", image::segment({image::ordersBlock(), data}));
  const std::string out = run({"events", "--short"}).out;
  EXPECT_EQ(1, count(out, "Broker BRK1, 2025-08-09\n"));
  EXPECT_EQ(1, count(out, "\n\nBroker BRK1, 2025-08-10\n"));
  EXPECT_EQ(2, count(out, "Broker"));
}

TEST(ZebmonEvents, AsCsvAreARowEachWithTheColumnsThatWereChosen) {
  const LiveSegment live("1-2-3", ordersWithEvents(3));
  const Result all = run({"events", "--format", "csv"});
  EXPECT_TRUE(all.out.starts_with("broker,uuid,time,created,kind,")) << all.out;
  EXPECT_EQ(4, count(all.out, "\n"));
  EXPECT_EQ(
      "kind,time\nexception,2025-08-09T02:40:03Z\nmessage,2025-08-09T02:40:02Z\n"
      "message,2025-08-09T02:40:01Z\n",
      run({"events", "--format", "csv", "--columns", "kind,time", "--sort", "-time"}).out);
  EXPECT_EQ("exception\n", run({"events", "--format", "csv", "--columns", "kind", "--kind",
                                "exception", "--no-header"})
                               .out);
}

TEST(ZebmonEvents, AreCountedByTextNodeOrHour) {
  const LiveSegment live("1-2-3", ordersWithEvents(3));
  EXPECT_EQ(
      "events  failed  first                 last                  broker  text\n"
      "     2       0  2025-08-09 02:40:01Z  2025-08-09 02:40:02Z  BRK1    order seen\n"
      "     1       1  2025-08-09 02:40:03Z  2025-08-09 02:40:03Z  BRK1    Exception found in "
      "Reserve(42). no stock\n",
      run({"events", "--count-by", "text"}).out);
  EXPECT_EQ(
      "events,failed,first,last,broker,executionGroup,messageFlow,node\n"
      "3,1,2025-08-09T02:40:01Z,2025-08-09T02:40:03Z,BRK1,orders,Fulfil,Reserve\n",
      run({"events", "--count-by", "node", "--format", "csv"}).out);
  const json hour = withoutTime(
      run({"events", "--count-by", "hour", "--format", "jsonl", "--kind", "message"}).out);
  EXPECT_EQ(json::parse(R"({"schema":"zebmon.event.count","version":1,
    "hour":"2025-08-09T02:00:00Z","events":2,"failed":0,"first":"2025-08-09T02:40:01Z",
    "last":"2025-08-09T02:40:02Z","broker":"BRK1"})"),
            hour);
  EXPECT_EQ(69, run({"events", "--count-by", "hour", "--node", "x"}).code);
  EXPECT_EQ("hour\n2025-08-09 02:00:00Z\n",
            run({"events", "--count-by", "hour", "--columns", "hour"}).out);
}

TEST(ZebmonEvents, KindAndTimeSelect) {
  const LiveSegment live("1-2-3", ordersWithEvents(7));
  const auto count = [](std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"events", "--format", "jsonl"});
    const std::string out = run(arguments).out;
    return std::count(out.begin(), out.end(), '\n');
  };
  EXPECT_EQ(7, count({}));
  EXPECT_EQ(2, count({"--kind", "exception"}));
  EXPECT_EQ(5, count({"--kind", "message"}));
  EXPECT_EQ(3, count({"--since", "2025-08-09T02:40:05Z"}));
  EXPECT_EQ(1, count({"--since", "2025-08-09T02:40:04Z", "--kind", "exception"}));
  EXPECT_EQ(0, count({"--since", "2025-08-10"}));
  EXPECT_EQ(2, count({"--grep", "NO STOCK"}));
  EXPECT_EQ(7, count({"--grep", "no stock", "--grep", "seen"}));
  EXPECT_EQ(0, count({"--grep", "no stock", "--kind", "message"}));
  EXPECT_EQ(7, count({"--message-id", "a0A1"}));
  EXPECT_EQ(0, count({"--message-id", "A1"}));
  EXPECT_EQ(0, count({"--correlation", "00"}));
}

TEST(ZebmonEvents, WhatCannotBeAskedForTogetherIsSaidInWords) {
  const auto refused = [](std::vector<std::string> arguments, const std::string& why) {
    arguments.insert(arguments.begin(), "events");
    const Result result = run(arguments);
    EXPECT_EQ(64, result.code) << why;
    EXPECT_EQ("", result.out);
    EXPECT_TRUE(contains(result.errors, why)) << result.errors;
  };
  refused({"--count-by", "text", "--follow"}, "Leave out --follow.");
  refused({"--count-by", "text", "--short"}, "Leave out --short.");
  refused({"--short", "--format", "csv"}, "--short is a form for people.");
  refused({"--format", "jsonl", "--no-header"}, "Leave out --no-header.");
  refused({"--columns", "kind"}, "only --format csv and --count-by have columns.");
  refused({"--format", "csv", "--sort", "kind", "--follow"}, "can't be sorted.");
  refused({"--format", "csv", "--columns", "hour"}, "there is no column \"hour\": there are");
  refused({"--count-by", "text", "--columns", "hour"}, "there is no column \"hour\"");
  refused({"--interval", "5s"}, "--interval requires --follow");
  refused({"--threads", "2"}, "--threads requires --follow");
  refused({"--flows", "x"}, "--flows requires --follow");
  refused({"--grep", ""}, "\"\" is in every event");
  refused({"--grep", "**"}, "\"**\" is in every event");
  refused({"--grep", std::string(1001, 'x')}, "a text of 1001 bytes is too long");
  refused({"--grep", "a\x1B[2J"}, "Give \"a\\x1B[2J\"");
  refused({"--message-id", "x"}, "--message-id: \"x\" is not 1 to 48 hexadecimal digits");
  refused({"--correlation", ""}, "--correlation: \"\" is not 1 to 48 hexadecimal digits");
  refused({"--count-by", "day"}, "--count-by");
}

class Following : public testing::Test {
 protected:
  std::optional<LiveSegment> live{std::in_place, "1-2-3", ordersWithEvents(1)};
  Zebmon zebmon{{.arguments = {"events", "--follow", "--interval", "10ms", "--format", "jsonl"}}};

  void waitFor(const std::string& message, int times) {
    while (count(zebmon.errors(), message) < times) {
      ASSERT_FALSE(zebmon.hasEnded()) << zebmon.errors();
      sched_yield();
    }
  }
  static constexpr char kProblem[] = "broker BRK1: damaged in 1 place;";
  void waitForProblems(int times) { waitFor(kProblem, times); }
  int problems() const { return count(zebmon.errors(), kProblem); }

  int nextNumber() {
    const std::string line = zebmon.line();
    const std::string id = json::parse(line)["recordId"];
    return std::stoi(id.substr(24, 2), nullptr, 16);
  }
};

TEST(FollowingWithFewBytes, SaysOnceWhatIsTooMuch) {
  LiveSegment live{"1-2-3", ordersWithEvents(1)};
  const auto start = [](const char* most) {
    return Start{.arguments = {"events", "--follow", "--interval", "10ms", "--format", "csv",
                               "--no-header", "--max-bytes", most}};
  };
  Zebmon all{start("200000")};
  EXPECT_TRUE(all.line().find("order seen") != std::string::npos);
  live.write(ordersWithEvents(4));
  for (int n = 2; n <= 4; ++n) all.line();
  all.signal(SIGINT);
  EXPECT_EQ(0, all.wait());
  EXPECT_EQ("", all.rest());
  EXPECT_EQ("", all.errors());

  Zebmon cut{start("1000")};
  while (cut.errors().find("Allow more with --max-bytes") == std::string::npos) {
    ASSERT_FALSE(cut.hasEnded());
    sched_yield();
  }
  cut.signal(SIGINT);
  EXPECT_EQ(0, cut.wait());
  const std::string said = cut.errors();
  EXPECT_EQ(said.find("--max-bytes"), said.rfind("--max-bytes")) << said;
}

TEST_F(Following, ShowsEachNewEventOnceAndEndsCleanlyOnAnInterrupt) {
  EXPECT_EQ(1, nextNumber());
  live->write(ordersWithEvents(2));
  EXPECT_EQ(2, nextNumber());
  live->write(ordersWithEvents(4));
  EXPECT_EQ(3, nextNumber());
  EXPECT_EQ(4, nextNumber());
  zebmon.signal(SIGINT);
  EXPECT_EQ("", zebmon.rest());
  EXPECT_EQ(0, zebmon.wait());
  EXPECT_EQ("", zebmon.errors());
  EXPECT_EQ(0U, live->attached());
}

TEST_F(Following, EndsCleanlyWhenTheReaderOfItsPipeGoesAwayEvenWithoutEvents) {
  EXPECT_EQ(1, nextNumber());
  zebmon.closeOutput();
  EXPECT_EQ(0, zebmon.wait());
}

TEST_F(Following, EndsOnAnInterruptAlsoWhileNobodyReadsItsPipe) {
  EXPECT_EQ(1, nextNumber());
  for (std::uint32_t n = 2; n < 28; ++n) live->write(ordersWithEvents(n));
  zebmon.signal(SIGTERM);
  EXPECT_EQ(0, zebmon.wait());
}

TEST_F(Following, SaysHowManyEventsItMayHaveMissed) {
  EXPECT_EQ(1, nextNumber());
  // A whole turn and five more since: events 7 to 34, of which 29 stands in the first slot.
  Bytes bytes = ordersWithEvents(28);
  const std::size_t data = 32 + 2 * 4096;
  for (std::uint32_t n = 29; n <= 34; ++n) {
    const Bytes record = event(n, kTemplate);
    std::copy(record.begin(), record.end(),
              bytes.begin() + static_cast<std::ptrdiff_t>(data + 32 + 144 * (n - 29)));
  }
  image::set32(bytes, data + 16, 32 + 144 * 6);
  live->write(bytes);
  const json gap = withoutTime(zebmon.line());
  EXPECT_EQ(json::parse(R"({"schema":"zebmon.event.gap","version":1,
    "broker":{"label":"BRK1","uuid":"1-2-3"},"cause":"overwritten","kind":"atLeast",
    "missedAtLeast":5,"missedAtMost":null,"missedPerTurn":28,
    "executionGroup":null,"messageFlow":null,"node":null})"),
            gap);
  EXPECT_EQ(7, nextNumber());
  for (int n = 8; n <= 34; ++n) EXPECT_EQ(n, nextNumber());
  zebmon.signal(SIGINT);
  EXPECT_EQ(0, zebmon.wait());
  EXPECT_TRUE(contains(zebmon.errors(), "at least 5 events may have been overwritten"))
      << zebmon.errors();
  EXPECT_TRUE(contains(zebmon.errors(), "28 more for each further turn"));
}

TEST_F(Following, GoesOnWithABrokerThatRestarts) {
  EXPECT_EQ(1, nextNumber());
  live.reset();
  live.emplace("1-2-3", ordersWithEvents(2));
  const json gap = json::parse(zebmon.line());
  EXPECT_EQ("zebmon.event.gap", gap["schema"]);
  EXPECT_EQ("restart", gap["cause"]);
  EXPECT_EQ(1, nextNumber());
  EXPECT_EQ(2, nextNumber());
  live->write(ordersWithEvents(3));
  EXPECT_EQ(3, nextNumber());
  zebmon.signal(SIGINT);
  EXPECT_EQ(0, zebmon.wait());
  EXPECT_TRUE(contains(zebmon.errors(), "broker BRK1: its shared memory is a new one:"));
}

TEST_F(Following, AProblemIsSaidOnceAndAgainWhenItComesBack) {
  const auto damaged = [](std::uint32_t events) {
    Bytes bytes = ordersWithEvents(events);
    image::set32(bytes, 8, 5);
    return bytes;
  };
  const auto shows = [this](const Bytes& bytes, int number) {
    live->write(bytes);
    EXPECT_EQ(number, nextNumber());
  };
  EXPECT_EQ(1, nextNumber());
  for (const std::uint32_t n : {2U, 3U, 4U}) shows(damaged(n), static_cast<int>(n));
  waitForProblems(1);
  // The look that shows the last of these began when the segment was whole again.
  for (const std::uint32_t n : {5U, 6U, 7U}) shows(ordersWithEvents(n), static_cast<int>(n));
  EXPECT_EQ(1, problems());
  for (const std::uint32_t n : {8U, 9U, 10U}) shows(damaged(n), static_cast<int>(n));
  waitForProblems(2);
  zebmon.signal(SIGINT);
  EXPECT_EQ(0, zebmon.wait());
  EXPECT_EQ(2, problems());
}

TEST_F(Following, AProblemOfABrokerThatWentAndCameBackIsSaidAgain) {
  const Bytes damaged = [] {
    Bytes bytes = ordersWithEvents(2);
    image::set32(bytes, 8, 5);
    return bytes;
  }();
  EXPECT_EQ(1, nextNumber());
  live->write(damaged);
  waitForProblems(1);
  live.reset();
  waitFor("no broker has a key file", 1);
  live.emplace("1-2-3", damaged);
  waitForProblems(2);
}

TEST(ZebmonEvents, FollowWritesTheTitlesOfCsvOnce) {
  LiveSegment live("1-2-3", ordersWithEvents(1));
  Zebmon zebmon({.arguments = {"events", "--follow", "--interval", "10ms", "--format", "csv",
                               "--columns", "kind"}});
  EXPECT_EQ("kind\n", zebmon.line());
  EXPECT_EQ("message\n", zebmon.line());
  live.write(ordersWithEvents(3));
  EXPECT_EQ("message\n", zebmon.line());
  EXPECT_EQ("exception\n", zebmon.line());
  zebmon.signal(SIGINT);
  EXPECT_EQ("", zebmon.rest());
  EXPECT_EQ(0, zebmon.wait());
}

TEST(ZebmonEvents, FollowWithAFlowFileThatIsNotThereEndsWithSixtySix) {
  const Result result = run({"events", "--follow", "--flows", "/tmp/absent.toml"});
  EXPECT_EQ(66, result.code);
  EXPECT_TRUE(contains(result.errors, "/tmp/absent.toml")) << result.errors;
}

TEST(ZebmonEvents, FollowWaitsForABrokerAndSaysSoOnce) {
  Zebmon zebmon({.arguments = {"events", "--follow", "--interval", "10ms", "--format", "jsonl"}});
  while (zebmon.errors().empty()) sched_yield();
  const LiveSegment live("1-2-3", ordersWithEvents(1));
  EXPECT_EQ("zebmon.event", json::parse(zebmon.line())["schema"]);
  zebmon.signal(SIGINT);
  EXPECT_EQ(0, zebmon.wait());
  const std::string errors = zebmon.errors();
  EXPECT_EQ(errors.find("no broker has a key file"), errors.rfind("no broker has a key file"));
}

}  // namespace command_test
