// SPDX-License-Identifier: Apache-2.0
// zebmon looks more than once.
#include <gtest/gtest.h>

#include <csignal>
#include <fstream>
#include <nlohmann/json.hpp>
#include <regex>

#include "tests/agent/live_lock.h"
#include "tests/agent/zebmon.h"
#include "tests/support/image.h"
#include "tests/support/live_segment.h"

namespace rates_command_test {

namespace {

using image::Block;
using image::Bytes;
using nlohmann::json;

// The orders broker, whose node has seen so many messages.
Bytes ordersAfter(const std::string& messages) {
  Block block{.eyecatcher = "zebcstar", .contents = {}};
  block.add(image::broker(image::kBroker, u"1-2-3", u"BRK1", 0xEA5FFFFF));
  block.add(image::group(image::kGroup, image::kBroker, u"orders", 1234));
  block.add(image::flow(image::kFlow, image::kGroup, u"Fulfil"));
  block.add(image::node(image::kNode, image::kFlow, u"Reserve", 1));
  block.add(image::statistics(image::kStatistics, image::kNode, {.count = messages}));
  return image::segment({block});
}

class RatesCommand : public testing::Test {
 protected:
  LiveSegment segment{"1-2-3", ordersAfter("100")};
};

}  // namespace

TEST_F(RatesCommand, GoOnUntilASignalAndShowWhatHappenedInBetween) {
  Zebmon zebmon({{"stats", "--interval", "10ms", "--count", "0", "--format", "jsonl"}});
  json row = json::parse(zebmon.line());
  EXPECT_EQ("zebmon.rates.node", row["schema"]);
  EXPECT_EQ("Reserve", row["node"]);
  EXPECT_EQ(0.0, row["messagesPerSecond"]);
  segment.write(ordersAfter("150"));
  while (row["messagesPerSecond"] == 0.0) row = json::parse(zebmon.line());
  EXPECT_LT(0.0, row["messagesPerSecond"]);
  segment.write(ordersAfter("20"));
  while (row["change"] == "measured") row = json::parse(zebmon.line());
  EXPECT_EQ("reset", row["change"]);
  EXPECT_TRUE(row["messagesPerSecond"].is_null());
  zebmon.signal(SIGINT);
  EXPECT_EQ(0, zebmon.wait());
  EXPECT_EQ("", zebmon.errors());
}

TEST_F(RatesCommand, ASignalEndsTheWait) {
  Zebmon zebmon({{"stats", "--interval", "10ms", "--count", "0", "--format", "jsonl"}});
  zebmon.line();
  zebmon.signal(SIGTERM);
  EXPECT_EQ(0, zebmon.wait());
}

TEST_F(RatesCommand, AreATableOnceUnlessMoreWereAskedFor) {
  const Result once = run({"stats", "--interval", "10ms"});
  EXPECT_EQ(0, once.code);
  EXPECT_TRUE(contains(once.out, "Broker BRK1, "));
  EXPECT_TRUE(contains(once.out, "orders / Fulfil\n"));
  const Result twice = run({"stats", "--interval", "10ms", "--count", "2", "--format", "csv"});
  EXPECT_EQ(4, std::count(twice.out.begin(), twice.out.end(), '\n'));
}

TEST_F(RatesCommand, AFlowIsATreeOrADocument) {
  const Result screen = run({"flow", "Ful*", "--interval", "10ms"});
  EXPECT_EQ(0, screen.code);
  EXPECT_TRUE(
      std::regex_search(screen.out, std::regex("^orders / Fulfil of BRK1: [0-9.]+ s until ")))
      << screen.out;
  EXPECT_TRUE(contains(screen.out, "No message was counted"));
  const json document =
      json::parse(run({"flow", "Fulfil", "--interval", "10ms", "--format", "json"}).out);
  EXPECT_EQ("zebmon.flow", document["schema"]);
  EXPECT_EQ("Reserve", document["brokers"][0]["flows"][0]["nodes"][0]["label"]);
}

TEST_F(RatesCommand, AFlowThatADeadProcessKeepsFromItsRecordNamesItsLock) {
  const LiveLock lock("06000000E8030000050000000F000000");
  const std::string dead = std::to_string(lock.takenByADeadProcess());
  const Result result = run({"flow", "Fulfil", "--interval", "1s", "--temp-directory", "/tmp"});
  EXPECT_EQ(0, result.code);
  EXPECT_TRUE(contains(result.out,
                       "\nMessages stop at \"Reserve\", at the lock of the statistics of "
                       "orders/Fulfil/Reserve: process " +
                           dead + " took it and is dead; held for "))
      << result.out;
  EXPECT_TRUE(result.out.ends_with("\n  zebmon doctor --only lock --temp-directory /tmp\n"))
      << result.out;
  const Result document = run({"flow", "Fulfil", "--interval", "1s", "--format", "json"});
  const json flow = json::parse(document.out)["brokers"][0]["flows"][0];
  EXPECT_EQ("lock.stuck:" + lock.keyFile(), flow["finding"]);
}

TEST_F(RatesCommand, WrongOptionsAreWrongCommandLines) {
  for (const char* interval : {"500", "9ms", "25h", "-1s", "", "x"}) {
    const Result result = run({"stats", "--interval", interval});
    EXPECT_EQ(64, result.code) << interval;
    EXPECT_TRUE(contains(result.errors, "is no time from 10ms to 24h")) << result.errors;
  }
  const Result chain = run({"flow", "Fulfil", "--chain", "A(B"});
  EXPECT_EQ(64, chain.code);
  EXPECT_TRUE(contains(chain.errors, "column 4: 1 \")\" is missing"));
  EXPECT_EQ(64, run({"flow", "--interval", "10ms"}).code);
  EXPECT_EQ(64, run({"flow", "Fulfil", "--chain", "A", "--flows", "f.toml"}).code);
  EXPECT_EQ(64, run({"stats", "--columns", "selfMeanMs"}).code);
  EXPECT_EQ(64, run({"stats", "--interval", "10ms", "--columns", "sizeMaxBytes"}).code);
}

TEST_F(RatesCommand, AChainThatDoesNotFitTheFlowIsSaid) {
  const Result result = run({"flow", "Fulfil", "--interval", "10ms", "--chain", "Reserve(X)"});
  EXPECT_EQ(64, result.code);
  EXPECT_EQ("zebmon: flow \"Fulfil\" has no node \"X\": its nodes are \"Reserve\".\n",
            result.errors);
  EXPECT_EQ(0, run({"flow", "Fulfil", "--interval", "10ms", "--chain", "Reserve"}).code);
}

TEST_F(RatesCommand, AFlowFileIsReadOrSaidToBeWrong) {
  EXPECT_EQ(66, run({"flow", "Fulfil", "--flows", "/tmp/none.toml"}).code);
  const std::string path = "/tmp/flows.toml";
  std::ofstream(path) << "[broker]\n";
  const Result wrong = run({"flow", "Fulfil", "--flows", path});
  EXPECT_EQ(65, wrong.code);
  EXPECT_TRUE(contains(wrong.errors, "zebmon: /tmp/flows.toml:1:1: ")) << wrong.errors;
  std::ofstream(path) << "[broker]\nlabel = \"BRK1\"\n[[execution-group]]\nlabel = \"orders\"\n"
                         "[[execution-group.flow]]\nlabel = \"Fulfil\"\nthreads = 3\n"
                         "[execution-group.flow.input]\ngenerated = { count = 1, size = 10 }\n"
                         "[[execution-group.flow.node]]\nmonitor = \"Reserve\"\n";
  const Result right = run({"flow", "Fulfil", "--interval", "10ms", "--flows", path});
  EXPECT_EQ(0, right.code) << right.errors;
  EXPECT_TRUE(contains(right.out, " of 3 threads busy"));
  EXPECT_TRUE(contains(right.out, "chain from the flow file"));
  std::filesystem::remove(path);
}

TEST_F(RatesCommand, NamesThatThereAreNotEndWithoutWaiting) {
  EXPECT_EQ(69, run({"flow", "Other", "--interval", "24h"}).code);
  EXPECT_EQ(69, run({"stats", "--broker", "none", "--interval", "24h"}).code);
}

TEST_F(RatesCommand, TreesAreDrawnAsTheLocaleCan) {
  const auto outOf = [](const std::string& locale) {
    Start start{{"flow", "Fulfil", "--interval", "10ms", "--chain", "Reserve"}};
    start.environment.push_back(locale);
    return run(start).code;
  };
  EXPECT_EQ(0, outOf("LC_ALL=C.UTF-8"));
  EXPECT_EQ(0, outOf("LANG=C"));
}

}  // namespace rates_command_test
