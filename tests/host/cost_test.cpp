// SPDX-License-Identifier: Apache-2.0
// What monitoring nodes cost: the arithmetic, the files that are run, and whole measurements, of
// which no number is asserted.
#include "host/cost/cost.h"

#include <gtest/gtest.h>
#include <signal.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>

#include "host/cost/report.h"
#include "host/cost/variants.h"
#include "host/sources/source.h"
#include "tests/host/programs.h"
#include "text/printable.h"

namespace cost_test {

namespace fs = std::filesystem;
using namespace host;
using Json = nlohmann::json;

namespace {

flowfile::Flow flowOf(SourceSettings source) {
  flowfile::Flow flow;
  flow.label = "F";
  flow.threads = 3;
  flow.input.source = std::move(source);
  flow.input.rate = 5;
  flow.input.queue = 1000;
  flow.nodes = {flowfile::MonitorNode{"M", {}, {}, {}, {}, {}},
                flowfile::WorkNode{"W",
                                   {flowfile::Distribution::Kind::uniform, 1, 2},
                                   flowfile::Failure{1, 0, "", "", {"t"}}},
                flowfile::WorkNode{"X", {flowfile::Distribution::Kind::exponential, 4, 0}, {}}};
  flow.output = flowfile::Output{"/tmp/out", {}};
  return flow;
}

flowfile::File fileOf(SourceSettings source) {
  flowfile::File file;
  file.path = "f.toml";
  file.broker.label = "B";
  file.groups.push_back({"G", {flowOf(std::move(source))}});
  file.drills.resize(1);
  return file;
}

SourceSettings endlessSource(SourceSettings source) {
  return settingsOf(endless(fileOf(std::move(source))).groups[0].flows[0].input);
}

Cost costOf(std::size_t flows, const Quartiles& each) {
  Cost cost;
  for (std::size_t i = 0; i < flows; ++i) {
    cost.flows.push_back({"G", "F" + std::to_string(i), 2, 3, each, each, each});
  }
  cost.throughput = {6, {90, 100, 110}, {89, 99, 109}, {0.0101, 0.0102, 0.0104}, ""};
  return cost;
}

constexpr char kFile[] =
    "[broker]\nlabel = \"B\"\nuuid = \"u-1\"\n[[execution-group]]\nlabel = \"G\"\n"
    "[[execution-group.flow]]\nlabel = \"F\"\n[execution-group.flow.input]\n"
    "generated = { count = 1 }\n";
constexpr char kMonitor[] =
    "[[execution-group.flow.node]]\nmonitor = \"M\"\neventMessage = \"e\"\n";

class CostRun : public testing::Test {
 protected:
  void SetUp() override { fs::create_directories(folder_); }
  void TearDown() override { fs::remove_all(folder_); }

  std::string file(const std::string& rest) const {
    std::ofstream(folder_ / "f.toml") << kFile << rest;
    return (folder_ / "f.toml").string();
  }

  // The program's document; its exit code goes to code_.
  Json cost(const std::string& rest, const std::string& options = " --time 100ms") {
    const std::string text =
        outputOf(ZEB_HOST_PROGRAM " cost --format json " + file(rest) + options, &code_);
    return text.empty() ? Json() : Json::parse(text);
  }

  const fs::path folder_ = "/tmp/host_cost";
  int code_ = -1;
};

}  // namespace

TEST(Quartiles, LieBetweenTheValues) {
  const Quartiles five = quartilesOf({5, 1, 4, 2, 3});
  EXPECT_EQ(five.low, 2);
  EXPECT_EQ(five.median, 3);
  EXPECT_EQ(five.high, 4);
  const Quartiles two = quartilesOf({2, 1});
  EXPECT_EQ(two.low, 1.25);
  EXPECT_EQ(two.median, 1.5);
  EXPECT_EQ(two.high, 1.75);
  EXPECT_EQ(quartilesOf({7}).low, 7);
  EXPECT_EQ(quartilesOf({7}).high, 7);
  EXPECT_EQ(quartilesOf({}).median, 0);
}

TEST(Quartiles, AreNoiseWhenTheyReachZeroOrAreFarApart) {
  EXPECT_FALSE((Quartiles{90, 100, 110}.noisy()));
  EXPECT_FALSE((Quartiles{50, 100, 150}.noisy()));
  EXPECT_TRUE((Quartiles{50, 100, 151}.noisy()));
  EXPECT_TRUE((Quartiles{0, 100, 100}.noisy()));
  EXPECT_TRUE((Quartiles{-2, -1, 0}.noisy()));
}

TEST(CostVariants, InputsNeverEndAndNothingIsWritten) {
  const flowfile::File made = endless(fileOf(Generated{5, {}}));
  const flowfile::Flow& flow = made.groups[0].flows[0];
  EXPECT_EQ(std::get<Generated>(settingsOf(flow.input)).count, 0U);
  EXPECT_EQ(flow.input.queue, 3U) << "as many as there are threads";
  EXPECT_EQ(flow.input.rate, 5) << "as it is written";
  EXPECT_FALSE(flow.output);
  EXPECT_TRUE(made.drills.empty());
}

TEST(CostVariants, WhatCannotBeReadAgainIsReplaced) {
  fs::create_directories("/tmp/cost_inputs/empty");
  std::ofstream("/tmp/cost_inputs/full") << "line\n";
  std::ofstream("/tmp/cost_inputs/nothing").flush();
  const auto isGenerated = [](const SourceSettings& source) {
    const auto* generated = std::get_if<Generated>(&source);
    return generated != nullptr && generated->size.first == 100;
  };
  EXPECT_TRUE(isGenerated(endlessSource(Lines{"-", 1})));
  EXPECT_TRUE(isGenerated(endlessSource(Lines{"/dev/null", 1})));
  EXPECT_TRUE(isGenerated(endlessSource(Lines{"/tmp/cost_inputs/nothing", 1})));
  EXPECT_TRUE(isGenerated(endlessSource(Files{"/tmp/cost_inputs/empty", 1})));
  EXPECT_EQ(replacedInputs(fileOf(Lines{"-", 1})), std::vector<std::string>{"G/F"});
  EXPECT_EQ(std::get<Lines>(endlessSource(Lines{"/tmp/cost_inputs/full", 1})).repeat,
            1'000'000'000'000U);
  EXPECT_EQ(std::get<Files>(endlessSource(Files{"/tmp/cost_inputs", 1})).repeat,
            1'000'000'000'000U);
  EXPECT_TRUE(replacedInputs(fileOf(Lines{"/tmp/cost_inputs/full", 1})).empty());
  fs::remove_all("/tmp/cost_inputs");
}

TEST(CostVariants, MonitorsGoAndWorkBecomesFree) {
  const flowfile::File file = fileOf(Generated{});
  EXPECT_EQ(monitorsOf(file.groups[0].flows[0]), 1U);
  const flowfile::File without = withoutMonitors(file);
  const flowfile::Flow& plain = without.groups[0].flows[0];
  ASSERT_EQ(plain.nodes.size(), 2U);
  EXPECT_EQ(monitorsOf(plain), 0U);
  const flowfile::Flow free = bare(plain);
  EXPECT_EQ(free.input.rate, 0);
  const auto& work = std::get<flowfile::WorkNode>(free.nodes[0]);
  EXPECT_EQ(work.latency.second, 0);
  EXPECT_FALSE(work.failure);
  EXPECT_EQ(longestWay(file), 2 + 4);
}

TEST(CostText, FitsOneScreen) {
  const auto fits = [](const std::string& text) {
    std::istringstream lines(text);
    int count = 0;
    for (std::string line; std::getline(lines, line); ++count) {
      EXPECT_LE(text::columns(line), 80U) << line;
      EXPECT_EQ(line, text::printable(line));
    }
    EXPECT_LE(count, 24);
    return text;
  };
  flowfile::File file = fileOf(Generated{});
  EXPECT_EQ(fits(costText(file, costOf(1, {1899.6, 2000, 2100}), 2)),
            "What the monitoring nodes cost here, on 2 processors:\n"
            "f.toml\n\n"
            "Nanoseconds a message and node (rates, latencies and failures off):\n\n"
            "flow    nodes  quartile  median  quartile\n"
            "G / F0      2     1,900   2,000     2,100\n\n"
            "Messages a second, the file as it is written (6 rounds each):\n\n"
            "                   quartile  median  quartile\n"
            "without the nodes        90     100       110\n"
            "with them                89      99       109\n"
            "The nodes take 1.0 % of the throughput (quartiles 1.0 to 1.0 %).\n");
  file.path = std::string(200, 'x') + "\x1B\n";
  Cost many = costOf(20, {-12345678, 12345678, 99999999});
  many.left = 7;
  many.throughput.share = {-1, 0, 1};
  for (FlowCost& flow : many.flows) flow.group = std::string(50, 'g') + "\x1B[31m\n";
  const std::string text = fits(costText(file, many, 1));
  EXPECT_NE(text.find("6 of 20 flows, those whose nodes cost most"), std::string::npos) << text;
  EXPECT_NE(text.find("7 more flows not measured"), std::string::npos);
  EXPECT_NE(text.find("The share of throughput is smaller than the noise"), std::string::npos);
  EXPECT_NE(text.find("noise\n"), std::string::npos);
}

TEST(CostText, OfManyFlowsShowsTheDearest) {
  Cost cost = costOf(9, {1, 1, 1});
  cost.flows[8].perNode = {5, 5, 5};
  cost.throughput = {0, {}, {}, {}, "too slow"};
  const std::string text = costText(fileOf(Generated{}), cost, 1);
  EXPECT_NE(text.find("G / F8"), std::string::npos) << text;
  EXPECT_EQ(text.find("G / F7"), std::string::npos) << text;
  EXPECT_NE(text.find("was not measured: too slow."), std::string::npos) << text;
  EXPECT_EQ(text.find("noise"), std::string::npos) << text;
}

TEST(CostText, IsADocumentToo) {
  Cost cost = costOf(1, {1, 2, 3});
  cost.left = 4;
  const Json document = Json::parse(costJson(fileOf(Generated{}), cost, 2));
  EXPECT_EQ(document["schema"], "zebhost.cost");
  EXPECT_EQ(document["version"], 1);
  EXPECT_EQ(document["processors"], 2);
  EXPECT_EQ(document["flowsNotMeasured"], 4);
  EXPECT_EQ(document["messageFlows"][0]["nanosecondsPerMessageAndNode"],
            Json::parse(R"({"lowerQuartile":1.0,"median":2.0,"upperQuartile":3.0,"noisy":false})"));
  EXPECT_EQ(document["throughput"]["share"]["median"], 0.0102);
  cost.throughput = {0, {}, {}, {}, "\x1B"};
  EXPECT_EQ(Json::parse(costJson(fileOf(Generated{}), cost, 2))["throughput"]["notMeasured"],
            "\\x1B");
}

TEST_F(CostRun, MeasuresNodesAndThroughputAndLeavesNothing) {
  const Json document = cost(kMonitor);
  EXPECT_EQ(code_, 0);
  ASSERT_EQ(document["messageFlows"].size(), 1U);
  const Json& flow = document["messageFlows"][0];
  EXPECT_EQ(flow["nodes"], 1);
  EXPECT_GE(flow["rounds"], 3);
  EXPECT_GT(flow["nanosecondsPerMessageWith"]["median"], 0);
  EXPECT_GT(flow["nanosecondsPerMessageWithout"]["median"], 0);
  EXPECT_GE(document["throughput"]["rounds"], 1);
  EXPECT_GT(document["throughput"]["messagesPerSecondWith"]["median"], 0);
}

TEST_F(CostRun, DoesNotTouchABrokerOfTheSameName) {
  const std::string flows = file(std::string("rate = 500\n") + kMonitor);
  std::ofstream(folder_ / "run.toml")
      << "[broker]\nlabel = \"B\"\nuuid = \"u-1\"\n[[execution-group]]\nlabel = \"G\"\n"
         "[[execution-group.flow]]\nlabel = \"F\"\n[execution-group.flow.input]\n"
         "generated = {}\nrate = 500\n"
      << kMonitor;
  Started host({"run", (folder_ / "run.toml").string(), "--verify"});
  while (host.runs() && outputOf(ZEB_AGENT_PROGRAM " stats").find(" M ") == std::string::npos) {
  }
  cost(kMonitor);
  EXPECT_EQ(code_, 0);
  host.signal(SIGTERM);
  EXPECT_EQ(host.end(), 0) << "its figures would have been set back";
}

TEST_F(CostRun, AMessageThatTakesTooLongIsSaid) {
  const Json document = cost(std::string(kMonitor) +
                             "[[execution-group.flow.node]]\nwork = \"W\"\nlatency = \"10h\"\n");
  EXPECT_EQ(code_, 0);
  EXPECT_EQ(document["throughput"]["rounds"], 0);
  EXPECT_NE(document["throughput"]["notMeasured"].dump().find("a message takes up to 3.6e+04 s"),
            std::string::npos)
      << document;
  EXPECT_GT(document["messageFlows"][0]["nanosecondsPerMessageWith"]["median"], 0);
}

TEST_F(CostRun, WithoutMonitorsOrAPluginThereIsNothingToTell) {
  cost("[[execution-group.flow.node]]\nwork = \"W\"\n");
  EXPECT_EQ(code_, 65);
  cost(kMonitor, " --library /nosuch.lil");
  EXPECT_EQ(code_, 69);
  for (const char* wrong : {" --time 5", " --format xml", " --time -1s"}) {
    cost(kMonitor, wrong);
    EXPECT_EQ(code_, 64) << wrong;
  }
}

TEST_F(CostRun, ASignalStopsItAndLeavesNothing) {
  Started host({"cost", file(std::string("serialise = \"x\"\n")), "--time", "1h"});
  EXPECT_EQ(host.end(), 65);
  Started measuring({"cost", file(kMonitor), "--time", "1h"});
  while (measuring.runs() && outputOf("ls -d /tmp/zebhost.*/*").empty()) {
  }
  measuring.signal(SIGTERM);
  EXPECT_EQ(measuring.end(), 128 + SIGTERM);
}

}  // namespace cost_test
