// SPDX-License-Identifier: Apache-2.0
#include "host/report/summary.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

namespace summary_test {

using namespace host;
using namespace std::chrono_literals;
using Json = nlohmann::json;

namespace {

// Two messages entered one flow at a rate: one was handled, one failed in the working node.
class Summary : public testing::Test {
 protected:
  Summary() {
    flowfile::Flow flow;
    flow.label = "F";
    flow.input.rate = 2.5;
    flow.nodes = {flowfile::MonitorNode{"M", {}, {}, {}, {}, {}}, flowfile::WorkNode{"W", {}, {}}};
    file_.broker.label = "B";
    file_.groups.push_back({"G", {flow}});
    tally_ = std::make_unique<Tally>(file_);
    FlowCount& count = tally_->flow(0, 0);
    count.entered = 2;
    count.handled = 1;
    count.failed = 1;
    count.lagMillis = 17;
    tally_->node(0, 0, 0).add(1200);
    tally_->node(0, 0, 0).add(364);
    tally_->log().byNumber[2] = 1234;
  }

  flowfile::File file_;
  std::unique_ptr<Tally> tally_;
};

}  // namespace

TEST_F(Summary, TellsFlowsAndNodes) {
  EXPECT_EQ(summaryText(file_, *tally_, 1540ms),
            "2 messages in 1.5 s, 1 of them failed.\n"
            "G/F kept 2.5 messages/s; the latest message was 17 ms behind.\n"
            "group  flow  node      messages  failed  bytes\n"
            "G      F     M                2       0  1,564\n"
            "G      F     W (work)         0       0      0\n"
            "The nodes logged message 2 1,234 times.\n");
}

TEST_F(Summary, IsADocumentToo) {
  const Json document = Json::parse(summaryJson(file_, *tally_, 1540ms, std::nullopt));
  EXPECT_EQ(document, Json::parse(R"({"schema":"zebhost.summary","version":1,"broker":"B",
    "seconds":1.54,"logged":{"trace":0,"1":0,"2":1234,"3":0},"messageFlows":[
      {"executionGroup":"G","messageFlow":"F","entered":2,"handled":1,"failed":1,"swallowed":0,
       "lagMilliseconds":17,"nodes":[
        {"label":"M","kind":"monitor","messages":2,"failures":0,"bytes":1564,"largest":1200,
         "smallest":364},
        {"label":"W","kind":"work","messages":0,"failures":0,"bytes":0,"largest":0,
         "smallest":0}]}],"drills":[],"verification":null})"));
}

TEST_F(Summary, TellsWhatBecameOfEachDrill) {
  using flowfile::Drill;
  using State = DrillResult::State;
  file_.drills = {{Drill::Kind::stop, 1500ms, 0, 2s},
                  {Drill::Kind::redeploy, 2s, 0, {}},
                  {Drill::Kind::removeKeyFile, 3s, 0, {}},
                  {Drill::Kind::kill, 4s, 0, {}}};
  const std::vector<DrillResult> results{
      {State::done, ""}, {State::begun, ""}, {State::failed, "no file"}, {State::waiting, ""}};
  EXPECT_EQ(drillsText(file_, results),
            "at    group  drill            what happened\n"
            "1.5s  G      stop for 2s      done\n"
            "2s    G      redeploy         NOT DONE: it had not come to an end\n"
            "3s    G      remove-key-file  NOT DONE: no file\n"
            "4s    G      kill             not done: the flows had ended before\n");
  EXPECT_EQ(drillsText(file_, {}), "");
  const Json document = Json::parse(summaryJson(file_, *tally_, 1s, std::nullopt, results));
  EXPECT_EQ(document["drills"][0], Json::parse(R"({"atSeconds":1.5,"executionGroup":"G",
    "drill":"stop for 2s","done":true,"problem":""})"));
  EXPECT_EQ(document["drills"][2]["problem"], "NOT DONE: no file");
}

}  // namespace summary_test
