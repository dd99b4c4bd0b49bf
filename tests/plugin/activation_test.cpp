// SPDX-License-Identifier: Apache-2.0
// What a node collects, told by what it asks of the host and by what it stores.
#include <gtest/gtest.h>

#include "tests/support/plugin.h"

namespace activation_test {

using namespace support;

namespace {

using Names = std::vector<std::string>;

const Names kMeasured{"hnxBufferSize", "hnxBufferPointer", "hnxPropagate"};
const Names kEventsOnly{"hnxBufferPointer", "hnxPropagate"};
const Names kNothing{"hnxPropagate"};

Names callsOfOneMessage(NodeContext& node) {
  host().forget();
  node.send();
  return host().callNames();
}

struct Case {
  std::u16string activate;
  std::u16string type;
  std::u16string eventMessage;
  const Names& calls;
  std::size_t events;
};

void expectCase(const Case& expected) {
  const std::size_t before = events().size();
  const auto node = deploy({.label = u"N",
                            .type = expected.type,
                            .eventMessage = expected.eventMessage,
                            .activateNode = expected.activate});
  EXPECT_EQ(callsOfOneMessage(*node), expected.calls);
  EXPECT_EQ(events().size() - before, expected.events);
  EXPECT_EQ(ofType(statisticsRecords(), kNode).size(), &expected.calls == &kMeasured ? 1U : 0U);
}

class Activation : public PluginTest {};

TEST_F(Activation, YesCollectsEverything) {
  expectCase({u"yes", u"other", u"text", kMeasured, 1});
}
TEST_F(Activation, YesWithoutAnEventMessagePostsNone) {
  expectCase({u"yes", u"other", u"", kMeasured, 0});
}
TEST_F(Activation, NoCollectsNothing) {
  expectCase({u"no", u"input", u"text", kNothing, 0});
}
TEST_F(Activation, EventOnlyInCapitalsPostsEventsOnly) {
  expectCase({u"EVENTONLY", u"input", u"text", kEventsOnly, 1});
}
TEST_F(Activation, EventOnlyWithoutAnEventMessageDoesNothing) {
  expectCase({u"eventOnly", u"input", u"", kNothing, 0});
}
TEST_F(Activation, InputOutputOnlyTakesInputNodes) {
  expectCase({u"inputOutputOnly", u"input", u"text", kMeasured, 1});
}
TEST_F(Activation, InputOutputOnlyTakesOutputNodes) {
  expectCase({u"inputOutputOnly", u"output", u"text", kMeasured, 1});
}
TEST_F(Activation, InputOutputOnlyLeavesOthersOutWithTheirEventMessages) {
  expectCase({u"inputOutputOnly", u"other", u"text", kNothing, 0});
}
TEST_F(Activation, SubFlowNodesCountAsNeitherInputNorOutput) {
  expectCase({u"inputOutputOnly", u"subFlowInput", u"text", kNothing, 0});
}
TEST_F(Activation, SubFlowOutputNodesCountAsNeither) {
  expectCase({u"inputOutputAndEventOnly", u"subFlowOutput", u"", kNothing, 0});
}
TEST_F(Activation, InputOutputAndEventOnlyTakesNodesWithAnEventMessage) {
  expectCase({u"inputOutputAndEventOnly", u"other", u"text", kMeasured, 1});
}
TEST_F(Activation, InputOutputAndEventOnlyTakesInputNodesWithoutOne) {
  expectCase({u"inputOutputAndEventOnly", u"input", u"", kMeasured, 0});
}
TEST_F(Activation, AnUnknownTextCollectsEverything) {
  expectCase({u"perhaps", u"other", u"text", kMeasured, 1});
}
TEST_F(Activation, TypesAreMatchedWithTheirLetterCase) {
  expectCase({u"inputOutputOnly", u"Input", u"text", kNothing, 0});
}

TEST_F(Activation, AnInputNodeWithoutEventMessagePostsItsExceptions) {
  const auto node = deploy({.type = u"input", .activateNode = u"inputOutputOnly"});
  host().script.propagate = [](int& code, HostMessage*) { code = 64; };
  EXPECT_THROW(node->send(), Rethrown);
  EXPECT_EQ(events().size(), 1U);
}

TEST_F(Activation, ANodeThatWasNeverCompletedIsMeasuredForNothing) {
  NodeContext node;
  node.set("label", u"N");
  EXPECT_EQ(callsOfOneMessage(node), kMeasured);
  EXPECT_TRUE(statisticsRecords().empty());
  host().script.propagate = [](int& code, HostMessage*) { code = 64; };
  EXPECT_THROW(node.send(), Rethrown);
  // Its messages post nothing, for want of a template, but its exceptions do.
  ASSERT_EQ(events().size(), 1U);
  EXPECT_EQ(templates()[0].templateText(), u"Exception found in ORIGIN(CODE). TEXT");
}

// The host's list of attributes completes it, whatever index or buffer it asks with.
TEST_F(Activation, AskingForAnyAttributeNameCompletesANodeWithALabel) {
  NodeContext node;
  node.set("label", u"N");
  EXPECT_EQ(table().getAttributeName(node.context(), 99, nullptr, 0), 1);
  EXPECT_EQ(nodeRecord(u"N").ownNumber(), 3U);
}

TEST_F(Activation, AskingForANameDoesNotCompleteANodeWithoutALabel) {
  NodeContext node;
  EXPECT_EQ(table().getAttributeName(node.context(), 0, nullptr, 0), 1);
  EXPECT_TRUE(statisticsRecords().empty());
}

TEST_F(Activation, EachOfTheFiveIsNeeded) {
  const Attributes all = attributesOf({});
  for (std::size_t missing = 0; missing < all.size(); ++missing) {
    NodeContext node;
    for (std::size_t i = 0; i < all.size(); ++i)
      if (i != missing) node.set(all[i].first, all[i].second);
    node.set("collectQueueTime", u"yes");
    EXPECT_TRUE(statisticsRecords().empty()) << "without " << all[missing].first;
    node.set(all[missing].first, all[missing].second);
    EXPECT_EQ(ofType(statisticsRecords(), kNode).size(), 1U);
  }
}

TEST_F(Activation, AttributesSetAfterwardsChangeNothingThatIsStored) {
  const auto node = deploy({.type = u"input", .eventMessage = u"before"});
  const auto records = statisticsRecords();
  node->set(attributesOf({.label = u"NEW",
                          .type = u"output",
                          .eventMessage = u"after",
                          .subFlowName = u"s",
                          .activateNode = u"no"}));
  EXPECT_EQ(statisticsRecords().size(), records.size());
  EXPECT_EQ(nodeRecord(u"NODE1").ownNumber(), 1U);
  EXPECT_EQ(callsOfOneMessage(*node), kMeasured);
  ASSERT_EQ(templates().size(), 1U);
  EXPECT_EQ(templates()[0].templateText(), u"before");
}

TEST_F(Activation, QueuedTimesAreSwitchedOffAtOnceByAnythingButYes) {
  const auto node = deploy({.type = u"input"});
  ScriptedMessage message;
  message.bits = bitStream({.putDate = "20200101", .putTime = "00000000"});
  node->send(message);
  const auto queued = statisticsOf(u"NODE1").sumQueued();
  EXPECT_GT(queued, 0);
  node->set("collectQueueTime", u"Yes");
  node->send(message);
  EXPECT_EQ(statisticsOf(u"NODE1").sumQueued(), queued);
  EXPECT_EQ(statisticsOf(u"NODE1").minQueued(), 0);
  node->set("collectQueueTime", u"yes");
  node->send(message);
  EXPECT_GT(statisticsOf(u"NODE1").sumQueued(), queued);
}

class Override : public PluginBeforeStart {};

TEST_F(Override, BeatsTheAttributeForEveryNode) {
  startLibrary("ZEBActivateNode No\n");
  expectCase({u"yes", u"input", u"text", kNothing, 0});
}
TEST_F(Override, IsMatchedInAnyLetterCase) {
  startLibrary("ZEBActivateNode=eventonly\n");
  expectCase({u"yes", u"input", u"text", kEventsOnly, 1});
}
TEST_F(Override, OfTheBrokerBeatsTheOneForAll) {
  startLibrary("ZEBActivateNode No\nZEBActivateNodeForBRK1 Yes\n");
  expectCase({u"no", u"other", u"text", kMeasured, 1});
}
TEST_F(Override, NoOverrideForTheBrokerSwitchesTheOneForAllOff) {
  startLibrary("ZEBActivateNode No\nZEBActivateNodeForBRK1 NoOverride\n");
  expectCase({u"eventOnly", u"other", u"text", kEventsOnly, 1});
}
TEST_F(Override, AnUnknownWordForTheBrokerLeavesTheOneForAll) {
  startLibrary("ZEBActivateNodeForBRK1 Maybe\nZEBActivateNode InputOutputOnly\n");
  expectCase({u"yes", u"other", u"text", kNothing, 0});
}
TEST_F(Override, ALineForAnotherBrokerThatBeginsAlikeHidesThisOne) {
  startLibrary("ZEBActivateNodeForBRK12 No\nZEBActivateNodeForBRK1 No\n");
  expectCase({u"yes", u"other", u"text", kMeasured, 1});
}
TEST_F(Override, SurvivesALaterReadThatFindsNothing) {
  startLibrary("ZEBActivateNode No\n");
  writeFile(kConfiguration, "ZEBActivateNode Nonsense\n");
  readCommonValues();
  expectCase({u"yes", u"input", u"text", kNothing, 0});
}

}  // namespace

}  // namespace activation_test
