// SPDX-License-Identifier: Apache-2.0
// Whole runs in which something goes wrong on purpose: what the agent's doctor finds meanwhile, and
// what the host says at the end.
#include <gtest/gtest.h>
#include <signal.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <string>

#include "tests/host/programs.h"
#include "tests/support/leftovers.h"

namespace drill_run_test {

namespace fs = std::filesystem;
using Json = nlohmann::json;

namespace {

std::string group(const std::string& label, const std::string& generated) {
  return "[[execution-group]]\nlabel = \"" + label +
         "\"\n[[execution-group.flow]]\nlabel = \"Flow\"\nthreads = 2\n"
         "[execution-group.flow.input]\ngenerated = {" +
         generated +
         "}\nrate = 500\n"
         "[[execution-group.flow.node]]\nmonitor = \"in\"\ntype = \"input\"\n"
         "eventMessage = \"seen\"\n"
         "[[execution-group.flow.node]]\nmonitor = \"out\"\ntype = \"output\"\n";
}

std::string drill(const std::string& at, const std::string& keys) {
  return "[[drill]]\nat = \"" + at + "\"\ngroup = \"two\"\n" + keys + "\n";
}

// Two groups whose messages flow without end, or as many as that.
class DrillRun : public testing::Test {
 protected:
  void SetUp() override { fs::create_directories(folder_); }
  void TearDown() override { fs::remove_all(folder_); }

  std::vector<std::string> arguments(const std::string& drills, const std::string& generated = "") {
    const fs::path file = folder_ / "f.toml";
    std::ofstream(file) << "[broker]\nlabel = \"B\"\nuuid = \"u-1\"\nmemory-size = \"4MiB\"\n"
                        << group("one", generated) << group("two", generated) << drills;
    return {"run",
            file.string(),
            "--verify",
            "--log",
            "/dev/null",
            "--summary-json",
            (folder_ / "s.json").string()};
  }

  static std::string agent(const std::string& command) {
    return outputOf(ZEB_AGENT_PROGRAM " " + command);
  }

  // Looks until the doctor finds that, as long as the host runs; null when it never did.
  static Json finding(const std::string& id, const Started& host) {
    while (host.runs()) {
      const std::string text = agent("doctor --format json");
      if (text.empty()) continue;
      const Json document = Json::parse(text);
      for (const Json& found : document["findings"]) {
        if (found["id"] == id) return found;
      }
    }
    return nullptr;
  }

  // Waits until so many messages of the first group are counted; false when the host ends before.
  static bool flows(std::uint64_t messages, const Started& host) {
    while (host.runs()) {
      if (countOfFirst() >= messages) return true;
    }
    return false;
  }

  static std::uint64_t countOfFirst() {
    const std::string line = agent(
        "stats --format csv --columns messageCount --group one --node in "
        "--no-header");
    return std::strtoull(line.c_str(), nullptr, 10);
  }

  Json summary() const {
    std::ifstream stream(folder_ / "s.json");
    return Json::parse(std::string(std::istreambuf_iterator<char>(stream), {}));
  }

  // The doctor finds that in the second group's process, and the host stops well at a signal.
  Json found(const std::string& keys, const std::string& id, int code = 0) {
    Started host(arguments(drill("200ms", keys)));
    Json result = finding(id, host);
    host.signal(SIGTERM);
    EXPECT_EQ(host.end(), code);
    EXPECT_EQ(summary()["drills"][0]["done"], true) << summary()["drills"];
    return result;
  }

  const fs::path folder_ = "/tmp/host_drills";
};

// By group: "one" or "two".
Json nodesOf(const Json& summary, const std::string& group) {
  Json nodes = Json::array();
  for (const Json& node : summary["verification"]["nodes"]) {
    if (node["executionGroup"] == group) nodes.push_back(node);
  }
  return nodes;
}

void expectOneAgreesAndTwoIsNotCompared(const Json& summary) {
  ASSERT_EQ(nodesOf(summary, "one").size(), 2U);
  const Json first = nodesOf(summary, "one");
  for (const Json& node : first) EXPECT_EQ(node["agrees"], true) << node;
  const Json second = nodesOf(summary, "two");
  for (const Json& node : second) {
    EXPECT_EQ(node["agrees"], nullptr) << node;
    EXPECT_EQ(node["notCompared"], "its process was killed");
    EXPECT_GT(node["host"]["messages"], 0) << "what it counted is kept";
  }
  EXPECT_EQ(summary["verification"]["agrees"], true);
  EXPECT_EQ(summary["verification"]["events"]["agrees"], nullptr);
}

bool tells(const Json& list, const std::string& text) {
  return list.dump().find(text) != std::string::npos;
}

}  // namespace

TEST_F(DrillRun, AStuckLockOfAnAreaIsFoundAndMendedAndMessagesFlowAgain) {
  support::leavesThingsBehind();
  Started host(arguments(drill("200ms", "kill-holding = \"area\"")));
  const Json stuck = finding("lock.stuck", host);
  ASSERT_TRUE(stuck.is_object());
  EXPECT_EQ(stuck["object"], "lock of the events area of broker B");
  const std::uint64_t before = countOfFirst();
  EXPECT_EQ(countOfFirst(), before) << "nothing flows";
  agent("doctor --repair lock.stuck --yes");
  EXPECT_TRUE(flows(before + 100, host));
  host.signal(SIGTERM);
  EXPECT_EQ(host.end(), 0);
  const Json document = summary();
  EXPECT_EQ(document["drills"][0]["drill"], "kill-holding area");
  EXPECT_EQ(document["drills"][0]["done"], true);
  expectOneAgreesAndTwoIsNotCompared(document);
  EXPECT_TRUE(tells(document["verification"]["leftBehind"], "execution group two of broker B"));
}

TEST_F(DrillRun, AStuckLockOfARecordIsFoundByItsNode) {
  support::leavesThingsBehind();
  const Json stuck = found("kill-holding = \"record\"", "lock.stuck");
  EXPECT_TRUE(tells(stuck["object"], "lock of the statistics of two/Flow/")) << stuck;
  expectOneAgreesAndTwoIsNotCompared(summary());
  EXPECT_TRUE(tells(summary()["verification"]["leftBehind"], "lock of the statistics of two/"));
}

TEST_F(DrillRun, ADeadGroupIsFound) {
  support::leavesThingsBehind();
  const Json dead = found("kill = true", "process.dead");
  EXPECT_EQ(dead["object"], "execution group two of broker B");
  expectOneAgreesAndTwoIsNotCompared(summary());
}

TEST_F(DrillRun, AStoppedGroupIsFoundAndGoesOnAtTheEnd) {
  const Json stopped = found("stop = true", "process.stopped");
  EXPECT_EQ(stopped["object"], "execution group two of broker B");
  EXPECT_EQ(summary()["verification"]["agrees"], true);
  EXPECT_EQ(nodesOf(summary(), "two")[0]["agrees"], true) << "all of it is compared";
}

TEST_F(DrillRun, AKeyFileThatIsGoneIsFoundAndNothingIsCompared) {
  support::leavesThingsBehind();
  const Json replaced = found("remove-key-file = true", "keyfile.replaced");
  EXPECT_TRUE(replaced.is_object());
  const Json verification = summary()["verification"];
  EXPECT_EQ(verification["agrees"], nullptr);
  EXPECT_EQ(verification["notDone"], "a drill removed its key file");
}

TEST_F(DrillRun, AClockThatWentBackIsFound) {
  const Json back = found("clock-back = \"1h\"", "clock.set-back");
  EXPECT_EQ(back["object"], "clock of this machine");
  EXPECT_TRUE(tells(back["evidence"], "two/Flow/")) << back;
  EXPECT_TRUE(tells(back["evidence"], "had its last message before its first one")) << back;
  EXPECT_EQ(summary()["verification"]["agrees"], true) << "counts are compared all the same";
}

TEST_F(DrillRun, ADeploymentLosesNoMessageAndIsNotCompared) {
  const std::string drills = drill("300ms", "redeploy = true") + drill("400ms", "redeploy = true");
  Started host(arguments(drills, "count = 400"));
  EXPECT_EQ(host.end(), 0);
  const Json document = summary();
  for (const Json& flow : document["messageFlows"]) EXPECT_EQ(flow["handled"], 400);
  for (const Json& node : document["verification"]["nodes"]) {
    EXPECT_EQ(node["agrees"], nullptr);
    EXPECT_LT(node["sharedMemory"]["messages"], 400) << "it was set back to zero";
    EXPECT_EQ(node["host"]["messages"], 400);
  }
  EXPECT_EQ(document["verification"]["agrees"], nullptr);
}

TEST_F(DrillRun, AStoppedGroupGoesOnAfterItsTime) {
  Started host(arguments(drill("100ms", "stop = true\nfor = \"50ms\""), "count = 200"));
  EXPECT_EQ(host.end(), 0);
  EXPECT_EQ(summary()["verification"]["nodes"].size(), 4U);
  EXPECT_EQ(summary()["verification"]["agrees"], true);
}

TEST_F(DrillRun, AStoppedGroupGoesOnWhenNobodyElseDoesAnything) {
  Started host(arguments(drill("10ms", "stop = true"), "count = 50"));
  EXPECT_EQ(host.end(), 0);
  EXPECT_EQ(summary()["messageFlows"][1]["handled"], 50);
}

TEST_F(DrillRun, WithoutARepairTheRunEndsAndSaysSo) {
  support::leavesThingsBehind();
  auto line = arguments(drill("200ms", "kill-holding = \"area\""));
  line.insert(line.end(), {"--duration", "400ms"});
  Started host(line);
  EXPECT_TRUE(host.says("messages stand still since a process is gone; all processes were ended"));
  EXPECT_EQ(host.end(), 1);
  EXPECT_EQ(summary()["verification"]["notDone"], "messages were still in the flows");
  EXPECT_EQ(summary()["verification"]["agrees"], nullptr);
}

TEST_F(DrillRun, ADrillAfterTheEndIsSaid) {
  auto line = arguments(drill("1h", "kill = true") + drill("1ms", "stop = true\nfor = \"1ms\""));
  line.insert(line.end(), {"--duration", "100ms"});
  Started host(line);
  EXPECT_TRUE(host.says("1 drill won't happen: the run ends after 100ms"));
  EXPECT_EQ(host.end(), 0);
  EXPECT_EQ(summary()["drills"][0]["done"], true);
  EXPECT_EQ(summary()["drills"][1]["problem"], "not done: the flows had ended before");
}

TEST_F(DrillRun, ADrillThatFailsIsNoSuccess) {
  const std::string twice = drill("10ms", "remove-key-file = true");
  auto line = arguments(twice + twice, "count = 50");
  support::leavesThingsBehind();
  Started host(line);
  EXPECT_EQ(host.end(), 1);
  EXPECT_EQ(summary()["drills"][1]["problem"],
            "NOT DONE: can't remove the key file /tmp/u-1.zebcshme: No such file or directory");
}

TEST_F(DrillRun, TenThousandDrillsHappen) {
  std::string drills;
  for (int i = 0; i < 10000; ++i) drills += drill("1ms", "clock-back = \"250000h\"");
  Started host(arguments(drills, "count = 500"));
  EXPECT_EQ(host.end(), 0);
  const Json document = summary();
  EXPECT_EQ(document["drills"].size(), 10000U);
  for (const Json& one : document["drills"]) ASSERT_EQ(one["done"], true);
  EXPECT_EQ(document["messageFlows"][1]["handled"], 500);
}

}  // namespace drill_run_test
