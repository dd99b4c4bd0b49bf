// SPDX-License-Identifier: Apache-2.0
// The commands "locks", "config" and "size", as they are started.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "tests/agent/live_lock.h"
#include "tests/agent/zebmon.h"
#include "tests/support/image.h"
#include "tests/support/live_segment.h"

namespace machine_command_test {

namespace {

namespace fs = std::filesystem;
using nlohmann::json;

constexpr char kRecordLock[] = "06000000E8030000050000000F000000";
constexpr char kConfiguration[] = "/opt/holt/lil/zebpnode.cfg";

class ZebmonMachine : public testing::Test {
 protected:
  ~ZebmonMachine() override { fs::remove_all("/opt/holt"); }

  static void configure(const std::string& text) {
    fs::create_directories("/opt/holt/lil");
    std::ofstream(kConfiguration) << text;
  }

  const LiveSegment live_{"1-2-3", image::segment({image::ordersBlock()})};
};

using ZebmonLocks = ZebmonMachine;
using ZebmonConfig = ZebmonMachine;
using ZebmonSize = ZebmonMachine;

void expectLine(const std::string& text, const std::string& line) {
  EXPECT_TRUE(contains("\n" + text, "\n" + line + "\n")) << line << "\n---\n" << text;
}

}  // namespace

TEST_F(ZebmonLocks, ThatAreFreeAreCountedAndShownOnlyWhenAskedFor) {
  const LiveLock record(kRecordLock);
  record.refer();
  const Result some = run({"locks"});
  EXPECT_EQ("", some.out);
  EXPECT_EQ("zebmon: 1 lock is free. See it with --all.\n", some.errors);
  EXPECT_EQ(0, some.code);
  const Result all = run({"locks", "--all", "--columns",
                          "guards,broker,state,value,lastProcessId,fate,references,waiting"});
  const std::string pid = std::to_string(getpid());
  EXPECT_TRUE(contains(all.out, "Reserve of Fulfil, orders  BRK1    free ")) << all.out;
  EXPECT_TRUE(contains(all.out, " " + pid + "  alive ")) << all.out;
  EXPECT_EQ("", all.errors);
}

TEST_F(ZebmonLocks, AHeldOneTellsItsHolderAndWhoWaits) {
  const LiveLock record(kRecordLock);
  const LiveLock free("1-2-3.zebcshme");
  const pid_t holder = record.takenByADeadProcess();
  const Waiting waiting(record);
  const Result result = run({"locks", "--format", "csv", "--columns",
                             "guards,state,value,lastProcessId,fate,waiting,keyFile"});
  EXPECT_EQ(
      "guards,state,value,lastProcessId,fate,waiting,keyFile\n"
      "\"Reserve of Fulfil, orders\",held,0," +
          std::to_string(holder) + ",dead,1,/tmp/" + kRecordLock + ".zebmutx\n",
      result.out);
  EXPECT_EQ(
      "zebmon: the other lock is free. See it with --all.\n"
      "zebmon: 1 lock is held by a process that is dead. zebmon doctor --only lock "
      "--temp-directory /tmp tells what stops there and how to free it.\n",
      run({"locks", "--temp-directory", "/tmp"}).errors);
}

TEST_F(ZebmonLocks, JsonHoldsAllFacts) {
  const LiveLock record(kRecordLock);
  record.refer();
  const pid_t holder = record.takenByADeadProcess();
  const json document = json::parse(run({"locks", "--format", "json"}).out);
  EXPECT_EQ("zebmon.locks", document["schema"]);
  EXPECT_EQ(1, document["version"]);
  EXPECT_TRUE(document["collectedAt"].is_string());
  ASSERT_EQ(1U, document["locks"].size());
  const json& lock = document["locks"][0];
  EXPECT_EQ("held", lock["state"]);
  EXPECT_EQ("statistics", lock["guards"]["kind"]);
  EXPECT_EQ("BRK1", lock["guards"]["broker"]["label"]);
  EXPECT_EQ("orders", lock["guards"]["executionGroup"]);
  EXPECT_EQ("Fulfil", lock["guards"]["messageFlow"]);
  EXPECT_EQ("Reserve", lock["guards"]["node"]);
  EXPECT_EQ(nullptr, lock["guards"]["processId"]);
  EXPECT_EQ("there", lock["semaphore"]["presence"]);
  EXPECT_EQ(record.semaphore(), lock["semaphore"]["id"]);
  EXPECT_EQ(0, lock["semaphore"]["value"]);
  EXPECT_EQ(holder, lock["semaphore"]["lastProcessId"]);
  EXPECT_EQ("0640", lock["semaphore"]["mode"]);
  EXPECT_TRUE(lock["semaphore"]["lastOperation"].is_string());
  EXPECT_EQ("dead", lock["lastUser"]["fate"]);
  EXPECT_EQ(1, lock["queue"]["references"]);
  EXPECT_EQ(getpid(), lock["queue"]["lastSenderProcessId"]);
  EXPECT_EQ(nullptr, lock["queue"]["lastReceived"]);
}

TEST_F(ZebmonLocks, OfNoBrokerAreShownUnlessOneIsChosen) {
  const LiveLock foreign("x");
  foreign.change(-1);
  EXPECT_TRUE(contains(run({"locks"}).out, "No broker that is known here\n unknown"));
  EXPECT_EQ("", run({"locks", "--broker", "BRK1"}).out);
  const Result none = run({"locks", "--broker", "X"});
  EXPECT_EQ(69, none.code);
  EXPECT_TRUE(contains(none.errors, "\"X\"")) << none.errors;
}

TEST_F(ZebmonLocks, ADirectoryThatCannotBeReadIsSaid) {
  const Result result = run({"locks", "--temp-directory", "/tmp/absent"});
  EXPECT_EQ(66, result.code);
  EXPECT_TRUE(contains(result.errors, "can't read the directory /tmp/absent/"));
}

TEST(ZebmonWithoutBrokers, LocksThatSomebodyLeftAreAnAnswer) {
  const LiveLock left("x");
  EXPECT_EQ("zebmon: 1 lock is free. See it with --all.\n", run({"locks"}).errors);
  const Result result = run({"locks", "--all"});
  EXPECT_EQ(0, result.code);
  EXPECT_TRUE(contains(result.out, "unknown"));
}

TEST(ZebmonWithoutBrokers, ThereAreNoLocksAndIsNothingToMeasure) {
  for (const char* const command : {"locks", "size"}) {
    const Result result = run({command});
    EXPECT_EQ(69, result.code) << command;
    EXPECT_TRUE(contains(result.errors, "no broker has a key file")) << result.errors;
    EXPECT_EQ("", result.out);
  }
}

TEST(ZebmonWithoutBrokers, TheConfigurationIsThereAllTheSame) {
  const Result result = run({"config"});
  EXPECT_EQ(0, result.code);
  expectLine(result.out, "No configuration file can be opened: every key has its default.");
  EXPECT_TRUE(contains(result.out, "\nZEBMemorySize        -  32768 (default)       -\n"))
      << result.out;
  EXPECT_EQ("", result.errors);
}

TEST_F(ZebmonConfig, ShowsTheFileEveryKeyAndWhatIsWrong) {
  configure("# ours\nZEBMemorySize = 65536\nZEBNodeTrace On\n");
  const Result result = run({"config"});
  EXPECT_EQ(0, result.code);
  EXPECT_TRUE(result.out.starts_with("Configuration /opt/holt/lil/zebpnode.cfg, changed 20"));
  expectLine(result.out, "/opt/holt/lil/zebpnode.cfg  in force");
  expectLine(result.out, "/opt/orva/lil/zebpnode.cfg  not there");
  expectLine(result.out, "ZEBNodeTrace               3  on                    ZEBNodeTrace On");
  expectLine(result.out, "ZEBActivateNodeForBRK1     -  NoOverride (default)  -");
  expectLine(result.out,
             "ZEBMemorySize              2  32768 (default)       ZEBMemorySize = 65536");
  expectLine(result.out,
             "line 2: a blank behind \"=\" makes the value of ZEBMemorySize empty, so its default "
             "counts.");
  expectLine(result.out, "  write: ZEBMemorySize=65536");
  expectLine(result.out,
             "broker BRK1: its areas have 4096 bytes, and 32768 are configured. Stop all its "
             "execution groups, then start them.");
}

TEST_F(ZebmonConfig, JsonHoldsTheSame) {
  configure("ZEBNodeTrace on\n");
  const json document = json::parse(run({"config", "--format", "json"}).out);
  EXPECT_EQ("zebmon.config", document["schema"]);
  EXPECT_EQ(kConfiguration, document["file"]);
  EXPECT_EQ("in force", document["places"][0]["state"]);
  EXPECT_EQ("ZEBNodeTrace", document["settings"][0]["key"]);
  EXPECT_EQ(1, document["settings"][0]["line"]);
  EXPECT_EQ("ZEBNodeTrace on", document["settings"][0]["raw"]);
  EXPECT_EQ("off", document["settings"][0]["effective"]);
  EXPECT_EQ(true, document["settings"][0]["default"]);
  EXPECT_EQ("valueCase", document["traps"][0]["kind"]);
  EXPECT_EQ("ZEBNodeTrace=On", document["traps"][0]["write"]);
  EXPECT_EQ("otherSize", document["restarts"][0]["kind"]);
  EXPECT_EQ("BRK1", document["restarts"][0]["broker"]["label"]);
}

TEST_F(ZebmonConfig, AnUnknownBrokerIsSaidBehindIt) {
  const Result result = run({"config", "--broker", "X"});
  EXPECT_EQ(69, result.code);
  EXPECT_TRUE(contains(result.out, "ZEBMemorySize"));
  EXPECT_TRUE(contains(result.errors, "\"X\""));
}

TEST_F(ZebmonSize, ShowsHowFullEachAreaIs) {
  const Result result = run({"size"});
  EXPECT_EQ(0, result.code);
  EXPECT_TRUE(contains(result.out, "Broker BRK1\n statistics ")) << result.out;
  EXPECT_TRUE(contains(result.out, " more nodes of ")) << result.out;
  const json document = json::parse(run({"size", "--format", "json"}).out);
  EXPECT_EQ("zebmon.size", document["schema"]);
  EXPECT_EQ(nullptr, document["plan"]);
  const json& area = document["brokers"][0]["areas"][0];
  EXPECT_EQ("statistics", area["name"]);
  EXPECT_EQ(4096, area["sizeBytes"]);
  const int used = area["usedBytes"];
  const int units = area["nodeCharacters"];
  EXPECT_EQ(10, units) << "Reserve, and its sub-flow's name";
  EXPECT_EQ((4096 - used) / (230 + 2 * units), area["roomForNodes"]);
  const int flow = 52 + 2 * 6;   // Fulfil
  const int group = 56 + 2 * 6;  // orders
  EXPECT_EQ((4096 - used - flow) / (230 + 2 * units), area["roomForNodesInNewFlow"]);
  EXPECT_EQ((4096 - used - flow - group) / (230 + 2 * units), area["roomForNodesInNewGroup"]);
  EXPECT_TRUE(contains(result.out, "\nBRK1: of these nodes, ")) << result.out;
}

TEST_F(ZebmonSize, OfAPlanHasTheLineToWriteAndTheKernelsLimits) {
  const Result result = run({"size", "--nodes", "10", "--label", "abcdefghijklmnop",
                             "--events-per-s", "100", "--keep", "10s"});
  EXPECT_EQ(0, result.code);
  expectLine(result.out, "ZEBMemorySize=144032");
  expectLine(result.out, "Configured here: 32768, which is not enough.");
  EXPECT_TRUE(contains(result.out, "\nstatistics        2952  10 nodes in 1 execution group\n"))
      << result.out;
  EXPECT_TRUE(contains(result.out, "kernel.msgmnb "));
  EXPECT_FALSE(contains(result.out, "too low"));
}

TEST_F(ZebmonSize, OfAFlowFileCountsItsNodesAndTexts) {
  std::ofstream("/tmp/flows.toml") << "[broker]\nlabel = \"BRK1\"\n[[execution-group]]\n"
                                      "label = \"orders\"\n[[execution-group.flow]]\n"
                                      "label = \"Fulfil\"\n[execution-group.flow.input]\n"
                                      "rate = 10\n[[execution-group.flow.node]]\n"
                                      "monitor = \"Reserve\"\ntype = \"input\"\n"
                                      "eventMessage = \"seen\"\n";
  const Result result =
      run({"size", "--flows", "/tmp/flows.toml", "--keep", "1h", "--format", "json"});
  EXPECT_EQ(0, result.code) << result.errors;
  const json plan = json::parse(result.out)["plan"];
  EXPECT_EQ(1, plan["nodeCount"]);
  EXPECT_EQ((56 + 8) + (56 + 12) + (52 + 12) + (230 + 14), plan["statisticsBytes"]);
  EXPECT_EQ(68 + 2 * (6 + 6 + 7 + 4), plan["eventTemplatesBytes"]);
  EXPECT_EQ(10 * 3600 * 144, plan["eventDataBytes"]);
  EXPECT_EQ(10 * 3600 * 144 + 32, plan["memorySizeBytes"]);
  std::ofstream("/tmp/flows.toml") << "[broker\n";
  const Result wrong = run({"size", "--flows", "/tmp/flows.toml"});
  EXPECT_EQ(65, wrong.code);
  EXPECT_TRUE(contains(wrong.errors, "/tmp/flows.toml:1:")) << wrong.errors;
  fs::remove("/tmp/flows.toml");
  EXPECT_EQ(66, run({"size", "--flows", "/tmp/flows.toml"}).code);
}

TEST_F(ZebmonSize, ThatNoSettingGivesIsSaid) {
  const Result result = run({"size", "--nodes", "100000000"});
  EXPECT_TRUE(contains(result.out, "No ZEBMemorySize is large enough")) << result.out;
  const json document = json::parse(run({"size", "--nodes", "100000000", "--format", "json"}).out);
  EXPECT_EQ(nullptr, document["plan"]["memorySizeBytes"]);
  EXPECT_EQ(64, run({"size", "--nodes", "0"}).code);
  EXPECT_EQ(64, run({"size", "--nodes", "1", "--flows", "x"}).code);
  EXPECT_EQ(64, run({"size", "--nodes", "1", "--keep", "soon"}).code);
  EXPECT_EQ(64, run({"size", "--label", "x"}).code);
}

}  // namespace machine_command_test
