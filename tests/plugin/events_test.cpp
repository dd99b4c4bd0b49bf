// SPDX-License-Identifier: Apache-2.0
// Events as they are posted, and the two areas that hold them.
#include <gtest/gtest.h>
#include <pthread.h>

#include <algorithm>
#include <thread>

#include "tests/support/plugin.h"
#include "tests/support/scripted_clock.h"

namespace events_test {

using namespace support;

namespace {

constexpr std::uint32_t kNow = 1767322800;

void failWith(const char* text) {
  host().script.exception.text = text;
  host().script.propagate = [](int& code, HostMessage*) { code = 64; };
}

void fail(NodeContext& node, const char* text = "TEXT") {
  failWith(text);
  EXPECT_THROW(node.send(), Rethrown);
  host().script.propagate = nullptr;
}

Block area(const std::string& eyecatcher) {
  return findBlock(sharedMemory(), eyecatcher).value();
}

class Events : public PluginTest {
 protected:
  Events() { setClock(kNow); }
};

// Areas of 4096 bytes: room for 28 events, and 32 bytes more.
class SmallEvents : public PluginBeforeStart {
 protected:
  SmallEvents() {
    setClock(kNow);
    startLibrary("ZEBMemorySize 4096\n");
  }
};

TEST_F(Events, WithoutAnEventMessageNoAreaIsMade) {
  const auto node = deploy({});
  node->send();
  const auto blocks = blocksOf(sharedMemory());
  ASSERT_EQ(1U, blocks.size());
  EXPECT_EQ("zebcstar", blocks[0].eyecatcher);
  EXPECT_EQ(32U + 32768U, blockAt(sharedMemory(), 0).next);
}

TEST_F(Events, AreasLieBehindTheStatisticsTemplatesFirst) {
  const auto node = deploy({.eventMessage = u"text"});
  const auto blocks = blocksOf(sharedMemory());
  ASSERT_EQ(3U, blocks.size());
  EXPECT_EQ("zebcstar", blocks[0].eyecatcher);
  EXPECT_EQ("zebcetar", blocks[1].eyecatcher);
  EXPECT_EQ("zebcedar", blocks[2].eyecatcher);
  for (const Block& block : blocks) {
    EXPECT_EQ(1, block.mark);
    EXPECT_EQ(32768U, block.size);
  }
  EXPECT_EQ(32U, blocks[2].next);
  EXPECT_EQ(32U, blocks[2].last);
  EXPECT_EQ(32U + 3 * 32768U, blockAt(sharedMemory(), 0).next);
}

TEST_F(Events, ATemplateIsStoredOnceAndEachMessagePostsAnEvent) {
  const auto node = deploy({.eventMessage = u"text"});
  for (int i = 0; i < 3; ++i) node->send();
  ASSERT_EQ(1U, templates().size());
  ASSERT_EQ(3U, events().size());
  for (const StoredRecord& event : events()) EXPECT_TRUE(event.isChildOf(templates()[0]));
  EXPECT_NE(events()[0].id(), events()[1].id());
}

TEST_F(Events, AnEventIsPostedBeforeTheMessageGoesOn) {
  const auto node = deploy({.eventMessage = u"text"});
  std::size_t posted = 0;
  host().script.propagate = [&](int&, HostMessage*) { posted = events().size(); };
  node->send();
  EXPECT_EQ(1U, posted);
}

TEST_F(Events, AnEventTellsItsTimeAndItsThread) {
  const auto node = deploy({.eventMessage = u"text"});
  setClock(kNow + 9, 999);
  std::int32_t id = 0;
  std::thread([&] {
    id = static_cast<std::int32_t>(pthread_self());
    node->send();
  }).join();
  ASSERT_EQ(1U, events().size());
  EXPECT_EQ(kNow + 9 + kCalendarOffset, events()[0].eventTime());
  EXPECT_EQ(id, events()[0].threadId());
  EXPECT_EQ(kNow + 9, unsignedAt(events()[0].bytes(), 12));
  EXPECT_EQ(999U, unsignedAt(events()[0].bytes(), 16));
}

TEST_F(Events, EachMessageHasItsOwnDescriptor) {
  const auto node = deploy({.eventMessage = u"text"});
  for (const char fill : {'x', 'y'}) {
    ScriptedMessage message;
    message.bits = bitStream({.messageIdFill = fill});
    node->send(message);
  }
  ScriptedMessage none;
  node->send(none);
  ASSERT_EQ(3U, events().size());
  EXPECT_EQ(std::string(24, 'x'), charactersAt(events()[0].bytes(), 48, 24));
  EXPECT_EQ(std::string(24, 'y'), charactersAt(events()[1].bytes(), 48, 24));
  EXPECT_EQ(std::string(24, '\0'), charactersAt(events()[2].bytes(), 48, 24));
}

TEST_F(Events, ARedeployedNodeFindsItsTemplate) {
  const auto keeper = deploy({.label = u"KEEPER"});
  deploy({.eventMessage = u"text"})->send();
  const StoredRecord before = templates().at(0);
  deploy({.eventMessage = u"text"})->send();
  ASSERT_EQ(1U, templates().size());
  EXPECT_EQ(before.bytes(), templates()[0].bytes());
  ASSERT_EQ(2U, events().size());
  EXPECT_TRUE(events()[1].isChildOf(templates()[0]));
}

TEST_F(Events, ATemplateThatDiffersInAnythingIsAnother) {
  std::vector<std::unique_ptr<NodeContext>> nodes;
  const NodePlan plan{.type = u"other", .eventMessage = u"text", .activateNode = u"eventOnly"};
  const auto expectAnother = [&](const NodePlan& other, const ScriptedNode& where = {}) {
    const std::size_t before = templates().size();
    advanceClock(1);
    nodes.push_back(deploy(other, where));
    EXPECT_EQ(before + 1, templates().size());
  };
  expectAnother(plan);
  NodePlan other = plan;
  other.label = u"NODE2";
  expectAnother(other);
  other = plan;
  other.eventMessage = u"Text";
  expectAnother(other);
  other = plan;
  other.type = u"subFlowInput";
  expectAnother(other);
  expectAnother(plan, {.executionGroup = u"second"});
  expectAnother(plan, {.messageFlow = u"FLOW2"});
  advanceClock(1);
  nodes.push_back(deploy(plan));
  EXPECT_EQ(6U, templates().size());
  EXPECT_EQ(4U, templates()[3].templateNodeType());
}

// A sub-flow name is no part of it.
TEST_F(Events, NodesThatDifferInTheirSubFlowOnlyShareATemplate) {
  const auto first = deploy({.eventMessage = u"text", .subFlowName = u"A"});
  advanceClock(1);
  const auto second = deploy({.eventMessage = u"text", .subFlowName = u"B"});
  EXPECT_EQ(1U, templates().size());
}

TEST_F(Events, AnExceptionNamesOriginCodeAndText) {
  const auto node = deploy({});
  host().script.exception = {"the node", "BIP\xE9", "it %s broke"};
  failWith("it %s broke");
  EXPECT_THROW(node->send(), Rethrown);
  ASSERT_EQ(1U, templates().size());
  EXPECT_EQ(u"Exception found in the node(BIP\xFFE9). it %s broke", templates()[0].templateText());
  EXPECT_EQ(u"default", templates()[0].string(0));
  EXPECT_EQ(u"FLOW1", templates()[0].string(1));
  EXPECT_EQ(u"NODE1", templates()[0].string(2));
  EXPECT_EQ(3U, templates()[0].templateNodeType());
  ASSERT_EQ(1U, events().size());
  EXPECT_TRUE(events()[0].isChildOf(templates()[0]));
}

TEST_F(Events, TheDataOfAnExceptionAreAskedForWithZeroedBytes) {
  const auto node = deploy({});
  bool zero = false;
  host().script.exceptionData = [&](int&, HostExceptionData& data) {
    const auto* bytes = reinterpret_cast<const unsigned char*>(&data);
    zero = std::all_of(bytes, bytes + sizeof data, [](unsigned char byte) { return byte == 0; });
  };
  fail(*node);
  EXPECT_TRUE(zero);
  EXPECT_EQ(u"Exception found in (). ", templates().at(0).templateText());
}

TEST_F(Events, EqualExceptionsShareATemplateAndOthersHaveTheirOwn) {
  const auto node = deploy({});
  for (const char* text : {"one", "two", "one", "one"}) {
    advanceClock(1);
    fail(*node, text);
  }
  ASSERT_EQ(2U, templates().size());
  ASSERT_EQ(4U, events().size());
  EXPECT_TRUE(events()[0].isChildOf(templates()[0]));
  EXPECT_TRUE(events()[1].isChildOf(templates()[1]));
  EXPECT_TRUE(events()[2].isChildOf(templates()[0]));
  EXPECT_TRUE(events()[3].isChildOf(templates()[0]));
}

TEST_F(Events, ANodeWithAnEventMessagePostsBothForAFailure) {
  const auto node = deploy({.eventMessage = u"text"});
  fail(*node);
  ASSERT_EQ(2U, events().size());
  ASSERT_EQ(2U, templates().size());
  EXPECT_TRUE(events()[0].isChildOf(templates()[0]));
  EXPECT_TRUE(events()[1].isChildOf(templates()[1]));
}

TEST_F(Events, AFailureOfAMessageWithoutBitsIsPostedToo) {
  const auto node = deploy({});
  failWith("TEXT");
  EXPECT_THROW(node->sendNothing(), Rethrown);
  ASSERT_EQ(1U, events().size());
  EXPECT_EQ(Bytes(96, 0), slice(events()[0].bytes(), 48, 96));
}

TEST_F(Events, AFailureAfterTheDataAreaWasMadeElsewhereUsesIt) {
  const auto first = deploy({.eventMessage = u"text"});
  first->send();
  const auto second = deploy({.label = u"NODE2"});
  fail(*second);
  EXPECT_EQ(3U, blocksOf(sharedMemory()).size());
  EXPECT_EQ(2U, templates().size());
  EXPECT_EQ(2U, events().size());
}

TEST_F(Events, EveryPostMovesTheHeaderOfItsArea) {
  const auto node = deploy({.eventMessage = u"text"});
  setClock(kNow + 50, 7);
  node->send();
  const Block data = area("zebcedar");
  EXPECT_EQ(32U + 144U, data.next);
  EXPECT_EQ(32U + 144U, data.last);
  EXPECT_EQ(kNow + 50, data.seconds);
  EXPECT_EQ(7U, data.milliseconds);
  EXPECT_EQ(kNow, area("zebcetar").seconds);
}

// Event k of a run: its message ID is filled with its number.
void post(NodeContext& node, int number) {
  ScriptedMessage message;
  message.bits = bitStream({.messageIdFill = static_cast<char>(number)});
  node.send(message);
}

int numberOf(const StoredRecord& event) {
  return event.bytes()[48];
}

TEST_F(SmallEvents, TheDataAreaFillsWithoutAWrap) {
  const auto node = deploy({.eventMessage = u"text"});
  for (int number = 1; number <= 28; ++number) post(*node, number);
  EXPECT_EQ(32U + 28 * 144U, area("zebcedar").next);
  const auto stored = events();
  ASSERT_EQ(28U, stored.size());
  for (int i = 0; i < 28; ++i) EXPECT_EQ(i + 1, numberOf(stored[static_cast<std::size_t>(i)]));
}

TEST_F(SmallEvents, TheEventThatDoesNotFitGoesToTheStartAndTheRestStays) {
  const auto node = deploy({.eventMessage = u"text"});
  for (int number = 1; number <= 28; ++number) post(*node, number);
  const Bytes full = sharedMemory();
  post(*node, 29);
  const Block data = area("zebcedar");
  EXPECT_EQ(32U + 144U, data.next);
  EXPECT_EQ(32U + 28 * 144U, data.last);
  const Bytes wrapped = sharedMemory();
  EXPECT_EQ(29, wrapped[data.at + 32 + 48]);
  EXPECT_EQ(slice(full, data.at + 32 + 144, 4096 - 32 - 144),
            slice(wrapped, data.at + 32 + 144, 4096 - 32 - 144));
}

TEST_F(SmallEvents, AfterManyWrapsTheNewestAreThereInOrder) {
  const auto node = deploy({.eventMessage = u"text"});
  for (int number = 1; number <= 100; ++number) post(*node, number);
  const auto stored = events();
  ASSERT_EQ(28U, stored.size());
  // 84 fill it three times; 85 to 100 are in front of what is left of 73 to 84.
  for (int i = 0; i < 28; ++i) {
    EXPECT_EQ(i < 16 ? 85 + i : 57 + i, numberOf(stored[static_cast<std::size_t>(i)]));
  }
  EXPECT_EQ(32U + 16 * 144U, area("zebcedar").next);
}

TEST_F(SmallEvents, ATemplateThatDoesNotFitGoesToTheStart) {
  const auto node = deploy({});
  std::vector<std::string> texts;
  for (int i = 0; i < 3; ++i) texts.push_back(std::string(550, static_cast<char>('a' + i)));
  for (const std::string& text : texts) {
    advanceClock(1);
    fail(*node, text.c_str());
  }
  const std::uint32_t fixed = 68 + 2 * (7 + 5 + 5);
  const auto bytes = [&](const std::string& text) {
    return fixed + 2 * static_cast<std::uint32_t>(
                           std::string("Exception found in ORIGIN(CODE). ").size() + text.size());
  };
  EXPECT_EQ(32 + 3 * bytes(texts[0]), area("zebcetar").last);
  advanceClock(1);
  const std::string longer(700, 'd');
  fail(*node, longer.c_str());
  const Block wrapped = area("zebcetar");
  EXPECT_EQ(32 + bytes(longer), wrapped.next);
  EXPECT_EQ(32 + 3 * bytes(texts[0]), wrapped.last);
  const auto first = recordsUpTo(sharedMemory(), wrapped, wrapped.next);
  ASSERT_EQ(1U, first.size());
  EXPECT_TRUE(first[0].templateText().ends_with(std::u16string(700, u'd')));
  ASSERT_EQ(4U, events().size());
  EXPECT_TRUE(events()[3].isChildOf(first[0]));
}

// The second template is cut by the first one of another length; what is behind the cut can't
// be found any more and is stored again, never taken for half of something else.
TEST_F(SmallEvents, TemplatesCutByAWrapAreStoredAnew) {
  const auto node = deploy({});
  const std::string texts[] = {std::string(550, 'a'), std::string(550, 'b'), std::string(550, 'c'),
                               std::string(570, 'd')};
  for (const std::string& text : texts) {
    advanceClock(1);
    fail(*node, text.c_str());
  }
  advanceClock(1);
  fail(*node, texts[1].c_str());
  const Block wrapped = area("zebcetar");
  const auto front = recordsUpTo(sharedMemory(), wrapped, wrapped.next);
  ASSERT_EQ(2U, front.size());
  EXPECT_TRUE(front[1].templateText().ends_with(std::u16string(550, u'b')));
  EXPECT_TRUE(events().back().isChildOf(front[1]));
}

TEST_F(SmallEvents, ATemplateOfExactlyTheRoomIsWritten) {
  const auto node = deploy({});
  const std::size_t room = 4096 - 32 - (68 + 2 * (7 + 5 + 5));
  const std::string text(room / 2 - std::string("Exception found in ORIGIN(CODE). ").size(), 'x');
  fail(*node, text.c_str());
  EXPECT_EQ(4096U, area("zebcetar").next);
  EXPECT_EQ(1U, events().size());
}

TEST_F(SmallEvents, OtherTemplatesOverwriteWhatARunningNodeStillRefersTo) {
  const auto node = deploy({.eventMessage = u"text"});
  const StoredRecord own = templates().at(0);
  for (const char letter : {'a', 'b', 'c', 'd'}) {
    advanceClock(1);
    fail(*node, std::string(700, letter).c_str());
  }
  node->send();
  EXPECT_EQ(own.id(), events().back().parent()) << "its messages keep the template's name";
}

TEST_F(Events, AFailedInitialisationPostsNothing) {
  // An area that can't be read: its first record is of no known type.
  const auto keeper = deploy({.label = u"KEEPER"});
  {
    WritableSegment segment;
    segment.put(32 + 32 + 8, 77);
  }
  const auto node = deploy({.eventMessage = u"text"});
  node->send();
  fail(*node);
  EXPECT_TRUE(templates().empty());
  EXPECT_TRUE(events().empty());
  WritableSegment().put(32 + 32 + 8, kBroker);
}

}  // namespace

}  // namespace events_test
