// SPDX-License-Identifier: Apache-2.0
// The attributes of a node: setting them, reading them back, and asking for their names.
#include "node/common_values.h"
#include "node/node_context.h"
#include "tests/unit/node/node_test.h"

namespace node_context_attributes_test {

namespace fs = std::filesystem;
using namespace support;

namespace {

constexpr char kUnit[] = "zebpcont";
constexpr std::uint16_t kUntouched = 0x2A2A;

class NodeAttributes : public NodeTest {
 protected:
  void SetUp() override {
    NodeTest::SetUp();
    overrideActivateNodeForAll = 0;
    fs::remove_all("/var/holt");
    fs::create_directories("/var/holt/registry/BRK1");
    std::ofstream("/var/holt/registry/BRK1/BrokerUUID") << "UUID1\n";
    context = std::make_unique<ZEB_Node_Context>(instance.handle());
    clear();
  }
  void TearDown() override {
    context.reset();
    NodeTest::TearDown();
  }

  void clear() { std::fill(std::begin(buffer), std::end(buffer), kUntouched); }

  int set(const std::u16string& name, const std::u16string& value) {
    return context->setAttributeValue(units(name), units(value));
  }
  int get(const std::u16string& name, int length = 40) {
    clear();
    return context->getAttributeValue(units(name), buffer, length);
  }
  int name(int index, int length = 40) {
    clear();
    return context->getAttributeName(index, buffer, length);
  }
  // What is in the buffer, up to its terminator.
  std::u16string text() const { return reinterpret_cast<const char16_t*>(buffer); }
  bool untouched() const {
    return std::all_of(std::begin(buffer), std::end(buffer),
                       [](std::uint16_t unit) { return unit == kUntouched; });
  }

  ScriptedNode instance;
  std::unique_ptr<ZEB_Node_Context> context;
  std::uint16_t buffer[64];
};

const std::u16string kNames[] = {u"type", u"eventMessage", u"collectQueueTime", u"subFlowName",
                                 u"activateNode"};

TEST_F(NodeAttributes, SettingGivesOneForTheFiveAndZeroForOthers) {
  for (const std::u16string& known : kNames) EXPECT_EQ(1, set(known, u"x"));
  EXPECT_EQ(0, set(u"label", u"NODE"));
  EXPECT_EQ(0, set(u"unknown", u"x"));
  EXPECT_EQ(0, set(u"Type", u"x"));
  EXPECT_EQ(0, set(u"", u""));
  EXPECT_EQ(0, context->setAttributeValue(nullptr, nullptr));
  EXPECT_EQ(1, context->setAttributeValue(units(u"type"), nullptr));
}

TEST_F(NodeAttributes, ReadingGivesZeroForTheFiveAndOneForOthers) {
  for (const std::u16string& known : kNames) EXPECT_EQ(0, get(known));
  set(u"label", u"NODE");
  set(u"unknown", u"x");
  for (const char16_t* const other : {u"label", u"unknown", u"TYPE", u""}) {
    EXPECT_EQ(1, get(other));
    EXPECT_TRUE(untouched());
  }
  EXPECT_EQ(1, context->getAttributeValue(nullptr, buffer, 40));
}

TEST_F(NodeAttributes, WhatWasNeverSetReadsAsItsDefault) {
  const std::u16string defaults[] = {u"other", u"", u"yes", u"", u"yes"};
  for (std::size_t i = 0; i < 5; ++i) {
    EXPECT_EQ(0, get(kNames[i]));
    EXPECT_EQ(defaults[i], text());
    EXPECT_EQ(kUntouched, buffer[defaults[i].size() + 1]);
  }
}

TEST_F(NodeAttributes, TheFirstValueIsReadAndTheLatestIsUsed) {
  set(u"type", u"input");
  set(u"type", u"output");
  get(u"type");
  EXPECT_EQ(u"input", text());
  set(u"label", u"NODE");
  name(0);
  EXPECT_EQ(2U, ofType(kNode).at(0).ownNumber());
}

TEST_F(NodeAttributes, AnEmptyValueIsAValue) {
  set(u"type", u"");
  EXPECT_EQ(0, get(u"type"));
  EXPECT_EQ(0, buffer[0]);
  EXPECT_EQ(kUntouched, buffer[1]);
}

TEST_F(NodeAttributes, AShortBufferGetsNoTerminator) {
  set(u"type", u"input");
  EXPECT_EQ(0, get(u"type", 3));
  EXPECT_EQ(u'p', buffer[2]);
  EXPECT_EQ(kUntouched, buffer[3]);
  EXPECT_EQ(0, get(u"type", 5));
  EXPECT_EQ(u't', buffer[4]);
  EXPECT_EQ(kUntouched, buffer[5]);
  EXPECT_EQ(0, get(u"type", 6));
  EXPECT_EQ(0, buffer[5]);
  EXPECT_EQ(0, get(u"activateNode", 2));
  EXPECT_EQ(kUntouched, buffer[2]);
  for (const int none : {0, -1}) {
    EXPECT_EQ(0, get(u"type", none));
    EXPECT_TRUE(untouched());
  }
}

TEST_F(NodeAttributes, WithoutABufferNothingIsCopied) {
  set(u"type", u"input");
  EXPECT_EQ(0, context->getAttributeValue(units(u"type"), nullptr, 40));
  EXPECT_EQ(1, context->getAttributeValue(units(u"label"), nullptr, 40));
  EXPECT_EQ(1, context->getAttributeName(0, nullptr, 40));
}

TEST_F(NodeAttributes, NamesAreEnumerated) {
  for (int index = 0; index < 5; ++index) {
    EXPECT_EQ(0, name(index));
    EXPECT_EQ(kNames[index], text());
  }
  for (const int index : {-1, 5, 99}) {
    EXPECT_EQ(1, name(index));
    EXPECT_TRUE(untouched());
  }
  EXPECT_EQ(0, name(0, 2));
  EXPECT_EQ(kUntouched, buffer[2]);
}

TEST_F(NodeAttributes, AnyQueryForANameInitialisesALabelledNode) {
  EXPECT_EQ(0, name(0));
  EXPECT_TRUE(records().empty());
  set(u"label", u"NODE");
  EXPECT_TRUE(records().empty());
  EXPECT_EQ(1, name(99));
  EXPECT_EQ(5U, records().size());
}

TEST_F(NodeAttributes, AQueryWithoutBufferInitialisesToo) {
  set(u"label", u"NODE");
  EXPECT_EQ(1, context->getAttributeName(0, nullptr, 0));
  EXPECT_EQ(5U, records().size());
}

TEST_F(NodeAttributes, AQueryInitialisesOnlyOnce) {
  set(u"label", u"NODE");
  const Tracing on;
  name(0);
  name(1);
  EXPECT_EQ(1U, entriesOf("ZEB_Monitoring_Node::initializeNode"));
}

TEST_F(NodeAttributes, EachReachesItsSetter) {
  set(u"label", u"NODE");
  set(u"type", u"subFlowInput");
  set(u"eventMessage", u"EVENT");
  set(u"collectQueueTime", u"no");
  set(u"subFlowName", u"SUB");
  EXPECT_TRUE(records().empty());
  set(u"activateNode", u"YES");
  const std::vector<StoredRecord> nodes = ofType(kNode);
  ASSERT_EQ(1U, nodes.size());
  EXPECT_EQ(u"NODE", nodes[0].label());
  EXPECT_EQ(4U, nodes[0].ownNumber());
  EXPECT_EQ(u"SUB", nodes[0].subFlowName());
  EXPECT_EQ(u"EVENT", templates().at(0).templateText());
}

TEST_F(NodeAttributes, QueuedTimesAreSwitchedOffAtOnce) {
  for (const std::u16string& known : kNames) set(known, known == u"type" ? u"input" : u"");
  set(u"label", u"NODE");
  set(u"collectQueueTime", u"yes");
  ScriptedMessage message;
  message.bits.assign(400, 0);
  std::memcpy(message.bits.data() + 304, "2023111422131900", 16);
  context->processMessage(nullptr, nullptr, message.handle());
  EXPECT_EQ(1000, ofType(kStatistics).at(0).sumQueued());
  set(u"collectQueueTime", u"Yes");
  context->processMessage(nullptr, nullptr, message.handle());
  EXPECT_EQ(1000, ofType(kStatistics).at(0).sumQueued());
  EXPECT_EQ(2, ofType(kStatistics).at(0).count());
}

TEST_F(NodeAttributes, AFailedContextKeepsThemToo) {
  failAllocations(sizeof(ZEB_Monitoring_Node));
  context = std::make_unique<ZEB_Node_Context>(instance.handle());
  succeedAgain();
  EXPECT_EQ(0, set(u"label", u"NODE"));
  for (const std::u16string& known : kNames) EXPECT_EQ(1, set(known, u"value"));
  for (const std::u16string& known : kNames) {
    EXPECT_EQ(0, get(known));
    EXPECT_EQ(u"value", text());
  }
  EXPECT_EQ(0, name(4));
  EXPECT_EQ(u"activateNode", text());
}

TEST_F(NodeAttributes, ANodeThatIsNotOkGetsNoAttributes) {
  set(u"label", u"NODE");
  failAllocations(sizeof(ZEB_Node));
  name(0);
  succeedAgain();
  const Tracing on;
  set(u"label", u"OTHER");
  for (const std::u16string& known : kNames) EXPECT_EQ(1, set(known, u"value"));
  name(0);
  for (const char* function :
       {"ZEB_Monitoring_Node::setNodeLabel", "ZEB_Monitoring_Node::setNodeType",
        "ZEB_Monitoring_Node::setEventMessage", "ZEB_Monitoring_Node::setQueueTimeCollection",
        "ZEB_Monitoring_Node::setActivateNode", "ZEB_Monitoring_Node::initializeNode"})
    EXPECT_EQ(0U, entriesOf(function)) << function;
}

TEST_F(NodeAttributes, MissingMemoryForOneIsReported) {
  failAllocations(sizeof(ZEB_Attribute));
  EXPECT_EQ(1, set(u"type", u"input"));
  succeedAgain();
  EXPECT_EQ(Texts{message1(kUnit, "ZEB_Node_Context::insertAttribute")}, messageLines());
  get(u"type");
  EXPECT_EQ(u"other", text());
}

TEST_F(NodeAttributes, SettersTrace) {
  const Tracing on;
  set(u"label", u"NODE");
  EXPECT_EQ((Texts{"Entry", "Attribute Name = <label>  Attribute Value = <NODE>", "Exit: 0x0"}),
            textsOf(kUnit, "ZEB_Node_Context::setAttributeValue"));
  const char* const setters[] = {
      "ZEB_Node_Context::setNodeType", "ZEB_Node_Context::setEventMessage",
      "ZEB_Node_Context::setQueueTimeCollection", "ZEB_Node_Context::setSubFlowName",
      "ZEB_Node_Context::setActivateNode"};
  expectTraced(kUnit, {{"ZEB_Node_Context::setNodeLabel", "Exit"},
                       {"ZEB_Node_Context::insertAttribute", "Exit"}});
  for (int i = 0; i < 5; ++i) {
    host().forget();
    set(kNames[i], u"v");
    EXPECT_EQ("Exit: 0x1", textsOf(kUnit, "ZEB_Node_Context::setAttributeValue").back());
    for (int j = 0; j < 5; ++j) EXPECT_EQ(i == j ? 1U : 0U, entriesOf(setters[j]));
    expectTraced(kUnit, {{setters[i], "Exit"}});
  }
}

TEST_F(NodeAttributes, ReadingTraces) {
  const Tracing on;
  get(u"type", 33);
  EXPECT_EQ((Texts{"Entry", "Attribute Name = <type>  Buffer size = <33>",
                   "Attribute Value (Default) = <other>", "Exit: 0x0"}),
            textsOf(kUnit, "ZEB_Node_Context::getAttributeValue"));
  set(u"type", u"input");
  host().forget();
  get(u"type", 33);
  EXPECT_EQ((Texts{"Entry", "Attribute Name = <type>  Buffer size = <33>",
                   "Attribute Value = <input>", "Exit: 0x0"}),
            textsOf(kUnit, "ZEB_Node_Context::getAttributeValue"));
  host().forget();
  get(u"label", 33);
  EXPECT_EQ((Texts{"Entry", "Attribute Name = <label>  Buffer size = <33>", "Exit: 0x1"}),
            textsOf(kUnit, "ZEB_Node_Context::getAttributeValue"));
  host().forget();
  context->getAttributeValue(units(u"type"), nullptr, 33);
  EXPECT_EQ((Texts{"Entry", "Attribute Name = <type>  Buffer size = <33>", "Exit: 0x0"}),
            textsOf(kUnit, "ZEB_Node_Context::getAttributeValue"));
}

TEST_F(NodeAttributes, ATextIsNeverAFormat) {
  const Tracing on;
  set(u"eventMessage", u"%n%s%n%999999d");
  EXPECT_EQ("Attribute Name = <eventMessage>  Attribute Value = <%n%s%n%999999d>",
            textsOf(kUnit, "ZEB_Node_Context::setAttributeValue").at(1));
  get(u"eventMessage");
  EXPECT_EQ(u"%n%s%n%999999d", text());
}

TEST_F(NodeAttributes, ALongTextIsStoredWholeAndTracedCut) {
  const std::u16string value(3000, u'v');
  {
    const Tracing on;
    set(u"eventMessage", value);
  }
  const std::string traced = textsOf(kUnit, "ZEB_Node_Context::setAttributeValue").at(1);
  EXPECT_EQ(1023U, traced.size());
  EXPECT_TRUE(traced.starts_with("Attribute Name = <eventMessage>  Attribute Value = <vvvv"));
  std::vector<std::uint16_t> large(3001, kUntouched);
  EXPECT_EQ(0, context->getAttributeValue(units(u"eventMessage"), large.data(), 3001));
  EXPECT_EQ(value, std::u16string(reinterpret_cast<const char16_t*>(large.data())));
}

TEST_F(NodeAttributes, QueriesForNamesTrace) {
  const Tracing on;
  name(2, 17);
  EXPECT_EQ((Texts{"Entry", "Index = <2> Buffer size = <17>", "Attribute Name = <collectQueueTime>",
                   "Exit: 0x0"}),
            textsOf(kUnit, "ZEB_Node_Context::getAttributeName"));
  host().forget();
  name(5, 17);
  EXPECT_EQ((Texts{"Entry", "Index = <5> Buffer size = <17>", "Exit: 0x1"}),
            textsOf(kUnit, "ZEB_Node_Context::getAttributeName"));
}

}  // namespace

}  // namespace node_context_attributes_test
