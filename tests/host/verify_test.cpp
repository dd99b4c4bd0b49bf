// SPDX-License-Identifier: Apache-2.0
#include "host/report/verify.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "host/report/summary.h"

namespace verify_test {

using namespace flowfile;
using namespace host;
using Json = nlohmann::json;

namespace {

MonitorNode node(const char* type, const char* message, const char* activate) {
  MonitorNode made;
  made.label = "M";
  if (type != nullptr) made.type = type;
  if (message != nullptr) made.eventMessage = message;
  if (activate != nullptr) made.activateNode = activate;
  return made;
}

void expectActivity(const Broker& broker, const MonitorNode& made, bool statistics, bool events) {
  const Activity activity = activityOf(broker, made);
  EXPECT_EQ(activity.statistics, statistics);
  EXPECT_EQ(activity.events, events);
}

// Two messages of 10 and 20 bytes through one input node, the second failing behind it.
class Verify : public testing::Test {
 protected:
  Verify() {
    MonitorNode monitor = node("input", "e", nullptr);
    Flow flow;
    flow.label = "F";
    flow.nodes.emplace_back(monitor);
    file_.broker.label = "B";
    file_.groups.push_back({"G", {flow}});
    tally_ = std::make_unique<Tally>(file_);
    tally_->node(0, 0, 0).add(10);
    tally_->node(0, 0, 0).add(20);
    tally_->node(0, 0, 0).failures = 1;
  }

  Verification compareAll() const {
    return compare(file_, *tally_, document_, brokers_, events_, disturbed_);
  }

  Json& statistics() {
    return document_["brokers"][0]["executionGroups"][0]["messageFlows"][0]["nodes"][0]
                    ["statistics"];
  }

  Json& group() { return document_["brokers"][0]["executionGroups"][0]; }

  Disturbed disturbed_;
  flowfile::File file_;
  std::unique_ptr<Tally> tally_;
  Json document_ = Json::parse(R"({"brokers":[{"label":"B","uuid":"","executionGroups":[
    {"label":"G","deleted":false,"messageFlows":[{"label":"F","deleted":false,"nodes":[
      {"label":"M","deleted":false,"statistics":{"messageCount":2,"sizeSumBytes":30,"sizeMaxBytes":20,
       "sizeMinBytes":10,"elapsedSumMs":7,"elapsedMaxMs":4,"elapsedMinMs":3,"queuedSumMs":2,"queuedMaxMs":2,
       "queuedMinMs":0}}]}]}]}]})");
  Json brokers_ = Json::parse(R"({"brokers":[{"segment":{"areas":[{"wrapped":false}]}}]})");
  std::string events_ =
      "{\"kind\":\"message\"}\n{\"kind\":\"message\"}\n{\"kind\":\"exception\"}\n";
};

}  // namespace

TEST_F(Verify, EqualFiguresAgree) {
  const Verification verification = compareAll();
  ASSERT_EQ(verification.nodes.size(), 1U);
  EXPECT_EQ(verification.nodes[0].problem, "");
  EXPECT_TRUE(verification.agrees());
  EXPECT_EQ(verdict(verification, *tally_),
            "The host and shared memory agree: 1 node, 2 measurements.");
}

TEST_F(Verify, ANumberThatTheAgentCannotReadIsNoZero) {
  for (const char* name : {"messageCount", "sizeSumBytes", "elapsedSumMs", "queuedSumMs"}) {
    const Json kept = statistics();
    statistics()[name] = nullptr;
    EXPECT_EQ(compareAll().nodes.at(0).problem, "a number in shared memory that can't be read");
    statistics() = kept;
  }
}

TEST_F(Verify, EachFigureThatDiffersIsNoticed) {
  for (const char* name : {"messageCount", "sizeSumBytes", "sizeMaxBytes", "sizeMinBytes"}) {
    const Json kept = statistics();
    statistics()[name] = statistics()[name].get<int>() + 1;
    EXPECT_FALSE(compareAll().agrees()) << name;
    statistics() = kept;
  }
}

TEST_F(Verify, ImpossibleTimesAreNoticed) {
  for (const auto& [name, value] : {std::pair{"elapsedSumMs", 9},
                                    {"elapsedSumMs", 5},
                                    {"elapsedMinMs", 5},
                                    {"queuedSumMs", 5},
                                    {"queuedMinMs", -1}}) {
    const Json kept = statistics();
    statistics()[name] = value;
    EXPECT_FALSE(compareAll().agrees()) << name << " " << value;
    statistics() = kept;
  }
}

TEST_F(Verify, OnlyAnInputNodeMayHaveQueuedTimes) {
  std::get<MonitorNode>(file_.groups[0].flows[0].nodes[0]).type = "output";
  EXPECT_FALSE(compareAll().agrees());
  std::get<MonitorNode>(file_.groups[0].flows[0].nodes[0]).type = "input";
  std::get<MonitorNode>(file_.groups[0].flows[0].nodes[0]).collectQueueTime = "no";
  EXPECT_FALSE(compareAll().agrees());
}

TEST_F(Verify, ANodeThatIsNotThereIsNoticed) {
  document_["brokers"][0]["executionGroups"][0]["label"] = "other";
  const Verification verification = compareAll();
  EXPECT_FALSE(verification.agrees());
  EXPECT_EQ(verification.nodes[0].problem, "not in shared memory");
}

TEST_F(Verify, ALiveNodeGoesBeforeADeletedOneOfItsLabelWhereverItStands) {
  for (const char* list : {"nodes", "messageFlows", "executionGroups"}) {
    for (const bool deletedFirst : {true, false}) {
      const Json kept = document_;
      Json& parent = list == std::string("nodes")          ? group()["messageFlows"][0]
                     : list == std::string("messageFlows") ? group()
                                                           : document_["brokers"][0];
      Json deleted = parent[list][0];
      deleted["deleted"] = true;
      deleted["messageFlows"] = Json::array();
      deleted["nodes"] = Json::array();
      deleted["statistics"] = Json::object();
      Json& members = parent[list];
      members.insert(deletedFirst ? members.begin() : members.end(), deleted);
      EXPECT_TRUE(compareAll().agrees()) << list << " " << deletedFirst;
      document_ = kept;
    }
  }
}

TEST_F(Verify, ADeletedNodeCountsWhenNoLiveOneHasItsLabel) {
  group()["messageFlows"][0]["nodes"][0]["deleted"] = true;
  EXPECT_TRUE(compareAll().agrees());
}

TEST_F(Verify, TheBrokersUuidGoesBeforeItsLabel) {
  Json other = document_["brokers"][0];
  other["executionGroups"] = Json::array();
  document_["brokers"][0]["uuid"] = "1-2";
  document_["brokers"].push_back(other);
  document_["brokers"].insert(document_["brokers"].begin(), other);
  file_.broker.uuid = "1-2";
  EXPECT_TRUE(compareAll().agrees());
}

TEST_F(Verify, LabelsAreComparedAsTheAgentPrintsThem) {
  file_.groups[0].label = "G\x1B[31m";
  group()["label"] = "G\\x1B[31m";
  EXPECT_TRUE(compareAll().agrees());
}

TEST_F(Verify, MessageAndExceptionEventsAreBothCompared) {
  const std::string kept = events_;
  events_ += "{\"kind\":\"message\"}\n";
  EXPECT_FALSE(compareAll().agrees());
  events_ = kept + "{\"kind\":\"other\"}\n";
  EXPECT_TRUE(compareAll().agrees());
}

TEST_F(Verify, ANodeWithoutStatisticsIsNoticed) {
  statistics() = nullptr;
  EXPECT_EQ(compareAll().nodes[0].problem, "no statistics in shared memory");
}

TEST_F(Verify, ANodeWithoutMessagesHasFiguresOfZero) {
  Tally none(file_);
  statistics() =
      Json::parse(R"({"messageCount":0,"sizeSumBytes":0,"sizeMaxBytes":0,"sizeMinBytes":0,
      "elapsedSumMs":0,"elapsedMaxMs":0,"elapsedMinMs":0,"queuedSumMs":0,"queuedMaxMs":0,"queuedMinMs":0})");
  EXPECT_TRUE(compare(file_, none, document_, brokers_, "").agrees());
}

TEST_F(Verify, TheTableSaysNodeByNodeWhatDiffers) {
  statistics()["sizeSumBytes"] = 31;
  events_ += "{\"kind\":\"message\"}\n";
  EXPECT_EQ(verificationText(compareAll()),
            "       messages          bytes\n"
            "node       host  shared   host  shared  agrees\n"
            "G / F\n"
            " M            2       2     30      31      NO\n"
            "G/F/M: host: 2 messages, 30 bytes, sizes 10 to 20; shared memory: 2, 31, 10 to 20\n"
            "message events: host 2, shared memory 3: NO\n"
            "exception events: host 1, shared memory 1: yes\n");
  tally_->log().byNumber[3] = 1;
  EXPECT_EQ(verdict(compareAll(), *tally_),
            "The host and shared memory DIFFER in 1 of 1 node and in their events. Statistics "
            "were reset because a maximum was reached.");
}

TEST_F(Verify, EventsAreCountedByKind) {
  events_ += "{\"kind\":\"exception\"}\n";
  EXPECT_FALSE(compareAll().agrees());
  brokers_["brokers"][0]["segment"]["areas"][0]["wrapped"] = true;
  EXPECT_TRUE(compareAll().agrees()) << "what was overwritten can't be compared";
}

TEST_F(Verify, OfADeadProcessOneMessageAThreadMayBeMissing) {
  disturbed_.groups = {"it died"};
  file_.groups[0].flows[0].threads = 2;
  const auto expect = [this](int count, int bytes, const char* agrees) {
    statistics()["messageCount"] = count;
    statistics()["sizeSumBytes"] = bytes;
    const Verification verification = compareAll();
    EXPECT_NE(verificationText(verification).find(agrees), std::string::npos) << count << agrees;
    EXPECT_EQ(verification.nodes[0].compared(), verification.nodes[0].notCompared.empty());
    return verification.agrees();
  };
  EXPECT_TRUE(expect(2, 30, "not compared: it died")) << "equal, and still no agreement";
  EXPECT_TRUE(expect(0, 0, "not compared: it died"));
  EXPECT_EQ(verdict(compareAll(), *tally_),
            "The host and shared memory were NOT COMPARED in 1 node.");
  EXPECT_FALSE(expect(3, 30, "G/F/M: host: 2 messages, 30 bytes; shared memory: 3, 30; at most 2"));
  EXPECT_FALSE(expect(2, 31, "shared memory: 2, 31; at most 2 may be missing"));
  file_.groups[0].flows[0].threads = 1;
  EXPECT_FALSE(expect(0, 0, "shared memory: 0, 0; at most 1 may be missing"));
  EXPECT_TRUE(expect(1, 10, "not compared: it died"));
}

TEST_F(Verify, WhatWasSetBackIsNotCompared) {
  disturbed_.statistics = "set back";
  disturbed_.events = "some are gone";
  statistics()["messageCount"] = 1;
  events_ = "";
  const Verification verification = compareAll();
  EXPECT_TRUE(verification.agrees());
  EXPECT_EQ(verification.compared(), 0U);
  EXPECT_EQ(verificationText(verification),
            "       messages          bytes\n"
            "node       host  shared   host  shared        agrees\n"
            "G / F\n"
            " M            2       1     30      30  not compared\n"
            "not compared: set back\n"
            "message events: host 2, shared memory 0: not compared, some are gone\n"
            "exception events: host 1, shared memory 0: not compared, some are gone\n");
  const Json document =
      Json::parse(summaryJson(file_, *tally_, std::chrono::seconds(1), verification));
  EXPECT_EQ(document["verification"]["agrees"], nullptr) << "nothing agrees";
  EXPECT_EQ(document["verification"]["nodes"][0]["agrees"], nullptr);
  EXPECT_EQ(document["verification"]["events"]["agrees"], nullptr);
}

TEST_F(Verify, TheRestAgreesBesideWhatIsNotCompared) {
  flowfile::File two = file_;
  two.groups.push_back(two.groups[0]);
  two.groups[1].label = "H";
  Tally tally(two);
  tally.node(0, 0, 0).add(10);
  tally.node(0, 0, 0).add(20);
  Json second = group();
  second["label"] = "H";
  document_["brokers"][0]["executionGroups"].push_back(second);
  disturbed_.groups = {"", "it died"};
  tally.node(1, 0, 0).add(10);
  tally.node(1, 0, 0).add(20);
  disturbed_.events = "it died";
  const Verification verification = compare(two, tally, document_, brokers_, "", disturbed_);
  EXPECT_EQ(verdict(verification, tally),
            "The host and shared memory agree: 1 node, 2 measurements. Not compared: 1 node.");
}

TEST_F(Verify, WhatWasNotDoneSaysWhy) {
  Verification none;
  none.notDone = "its key file is gone";
  EXPECT_EQ(verdict(none, *tally_), "Shared memory was NOT COMPARED: its key file is gone.");
  EXPECT_EQ(verificationText(none), "");
  none.leftBehind = {"a lock"};
  EXPECT_EQ(verificationText(none), "left behind: a lock\n");
}

TEST_F(Verify, AMissingNodeIsExplainedByTheFullArea) {
  group()["messageFlows"][0]["nodes"] = Json::array();
  const auto problem = [this](std::uint64_t size, std::uint64_t used) {
    brokers_ = Json::parse(R"({"brokers":[{"label":"B","segment":{"areas":[
      {"name":"statistics","wrapped":false}]}}]})");
    Json& area = brokers_["brokers"][0]["segment"]["areas"][0];
    area["sizeBytes"] = size;
    area["usedBytes"] = used;
    return compareAll().nodes[0].problem;
  };
  constexpr std::uint64_t kNode = 62 + 2 + 168;
  EXPECT_EQ(problem(5000, 5000 - kNode), "not in shared memory") << "there is room";
  EXPECT_EQ(problem(5000, 5001 - kNode),
            "not in shared memory: the statistics area is full, with 4769 of 5000 bytes used and "
            "232 needed for the node; set memory-size to 434 or more");
  EXPECT_EQ(problem(5000, 5001), "not in shared memory") << "no sense in these numbers";
  brokers_["brokers"][0]["segment"] = nullptr;
  EXPECT_EQ(compareAll().nodes[0].problem, "not in shared memory");
}

TEST(Activity, FollowsTheNodesAttribute) {
  const Broker broker;
  expectActivity(broker, node(nullptr, nullptr, nullptr), true, true);
  expectActivity(broker, node(nullptr, "e", "no"), false, false);
  expectActivity(broker, node(nullptr, "e", "EVENTONLY"), false, true);
  expectActivity(broker, node(nullptr, nullptr, "eventOnly"), false, false);
  expectActivity(broker, node("input", nullptr, "inputOutputOnly"), true, true);
  expectActivity(broker, node("subFlowInput", "e", "inputOutputOnly"), false, false);
  expectActivity(broker, node("other", "e", "inputOutputAndEventOnly"), true, true);
  expectActivity(broker, node("other", "", "inputOutputAndEventOnly"), false, false);
}

TEST(Activity, OverridesGoBeforeTheAttributeAndTheBrokersOwnBeforeAll) {
  Broker broker;
  broker.activate = "No";
  expectActivity(broker, node("input", "e", "yes"), false, false);
  broker.activateForBroker = "Yes";
  expectActivity(broker, node("input", "e", "no"), true, true);
  broker.activateForBroker = "nooverride";
  expectActivity(broker, node("input", "e", "no"), false, false);
  expectActivity(broker, node("input", "e", "yes"), true, true);
}

}  // namespace verify_test
