// SPDX-License-Identifier: Apache-2.0
// What a node instance asks of the host: at its making, and for every message.
#include <gtest/gtest.h>

#include <cstring>

#include "tests/support/ipc_objects.h"
#include "tests/support/plugin.h"
#include "tests/support/scripted_clock.h"

namespace context_test {

using namespace support;

namespace {

using Names = std::vector<std::string>;
using Context = PluginTest;
using Registry = PluginBeforeStart;
using Messages = PluginTest;
using QueuedTime = PluginTest;

// 2026-01-02 03:04:05.060 UTC, the put time of the default descriptor.
constexpr long long kPut = 1767323045;

TEST_F(Context, MakesBothTerminalsThenAsksTwiceForTheNames) {
  host().forget();
  NodeContext context;
  const std::vector<Call> calls = host().calls();
  ASSERT_EQ((Names{"hnxCreateInputTerminal", "hnxCreateOutputTerminal", "hnxGetBrokerInfo",
                   "hnxGetBrokerInfo"}),
            host().callNames());
  EXPECT_EQ(u"in", calls[0].name);
  EXPECT_EQ(u"out", calls[1].name);
  for (const Call& call : calls) {
    EXPECT_EQ(context.node().handle(), call.handles[0]);
    EXPECT_EQ(0, call.codeBefore);
  }
}

TEST_F(Context, AsksForTheLengthsWithAZeroedStructureThenEntersThem) {
  host().forget();
  NodeContext context({.broker = u"BRK1",
                       .executionGroup = u"default",
                       .messageFlow = u"FLOW1",
                       .fourth = u"FOURTH"});
  const std::vector<Call> calls = host().calls();
  EXPECT_EQ(std::vector<int>(8, 0), calls[2].numbers);
  EXPECT_EQ((std::vector<int>{4, 4, 7, 7, 5, 5, 6, 6}), calls[3].numbers);
}

TEST_F(Context, AllStructureBytesAreZeroAtTheFirstQuestion) {
  bool zero = false;
  host().script.brokerInfo = [&, first = true](int&, HostBrokerInfo& info) mutable {
    const HostBrokerInfo empty{};
    if (first) zero = std::memcmp(&empty, &info, sizeof info) == 0;
    first = false;
  };
  NodeContext context;
  EXPECT_TRUE(zero);
}

TEST_F(Context, WithoutAnInputTerminalItIsReturnedAndPropagatesUnmeasured) {
  host().forget();
  host().script.createInputTerminal = [](int& code) -> HostTerminal* {
    code = 5;
    return nullptr;
  };
  NodeContext context;
  ASSERT_NE(nullptr, context.context());
  EXPECT_EQ((Names{"hnxCreateInputTerminal"}), host().callNames());
  ASSERT_EQ(1U, host().log().size());
  const LogEntry entry = host().log()[0];
  EXPECT_EQ(2, entry.number);
  EXPECT_EQ("zebpcont", entry.unit);
  EXPECT_EQ("ZEB_Node_Context::ZEB_Node_Context", entry.function);
  EXPECT_EQ(
      "Function hnxCreateInputTerminal failed in ZEB_Node_Context::ZEB_Node_Context. Error 5..",
      entry.text);
  EXPECT_EQ((Names{"hnxCreateInputTerminal", "ZEB_Node_Context::ZEB_Node_Context", "Error 5."}),
            entry.inserts);
  host().forget();
  context.set(attributesOf({.eventMessage = u"text"}));
  context.send();
  EXPECT_EQ((Names{"hnxPropagate"}), host().callNames());
  EXPECT_EQ(nullptr, host().calls()[0].handles[0]);
  EXPECT_TRUE(sharedMemory().empty());
}

TEST_F(Context, WithoutAnOutputTerminalItPropagatesToNone) {
  host().forget();
  host().script.createOutputTerminal = [](int& code) -> HostTerminal* {
    code = 6;
    return nullptr;
  };
  NodeContext context;
  EXPECT_EQ((Names{"hnxCreateInputTerminal", "hnxCreateOutputTerminal"}), host().callNames());
  ASSERT_EQ(1U, host().log().size());
  EXPECT_EQ(
      "Function hnxCreateOutputTerminal failed in ZEB_Node_Context::ZEB_Node_Context. Error 6..",
      host().log()[0].text);
  context.send();
  EXPECT_EQ(1U, host().countOf("hnxPropagate"));
}

TEST_F(Context, NamesArriveWholeWhetherOrNotTheLengthCountsATerminator) {
  for (const int extra : {0, 1, 5}) {
    ScriptedNode node;
    node.lengthExtra = extra;
    node.fillRest = u'#';
    const auto context = deploy({}, node);
    const auto records = statisticsRecords();
    EXPECT_EQ(u"BRK1", ofType(records, kBroker).at(0).label()) << extra;
    EXPECT_EQ(u"default", ofType(records, kGroup).at(0).label()) << extra;
    EXPECT_EQ(u"FLOW1", ofType(records, kFlow).at(0).label()) << extra;
  }
}

TEST_F(Context, ANegativeLengthIsAnEmptyName) {
  host().script.brokerInfo = [](int&, HostBrokerInfo& info) {
    for (HostName* name : {&info.broker, &info.executionGroup, &info.messageFlow, &info.fourth}) {
      name->length = -3;
    }
  };
  const auto context = deploy({});
  EXPECT_EQ(u"", ofType(statisticsRecords(""), kBroker).at(0).label());
}

TEST_F(Context, CodesOfTheNameQuestionsAreNotExamined) {
  ScriptedNode node;
  host().script.brokerInfo = [](int& code, HostBrokerInfo& info) {
    code = 12;
    info.broker.length = 4;
    if (info.broker.buffer != nullptr) std::memcpy(info.broker.buffer, u"BRK1", 8);
  };
  const auto context = deploy({}, node);
  EXPECT_EQ(u"BRK1", ofType(statisticsRecords(), kBroker).at(0).label());
  EXPECT_TRUE(host().messages().empty());
}

TEST_F(Registry, TheIdentifierComesFromTheFirstFolderThatHasOne) {
  startLibrary();
  writeFile("/var/orva/registry/BRK1/BrokerUUID", "UUID2");
  writeFile("/var/orva/registry/BRK1/CurrentVersion/BrokerUUID", "UUID3");
  {
    const auto context = deploy({});
    EXPECT_FALSE(sharedMemory("UUID1").empty());
  }
  writeFile("/var/holt/registry/BRK1/BrokerUUID", "\n");
  {
    const auto context = deploy({});
    EXPECT_FALSE(sharedMemory("UUID2").empty());
  }
  writeFile("/var/orva/registry/BRK1/BrokerUUID", "");
  const auto context = deploy({});
  EXPECT_FALSE(sharedMemory("UUID3").empty());
  EXPECT_EQ(u"UUID3", ofType(statisticsRecords("UUID3"), kBroker).at(0).uuid());
  EXPECT_TRUE(host().messages().empty());
}

TEST_F(Registry, AnEqualsSignInFrontOfTheIdentifierIsDropped) {
  writeFile("/var/holt/registry/BRK1/BrokerUUID", "=UUID9 and more\n");
  startLibrary();
  const auto context = deploy({});
  EXPECT_FALSE(sharedMemory("UUID9").empty());
}

TEST_F(Registry, WithoutAnIdentifierItStaysEmptyWithoutAMessage) {
  writeFile("/var/holt/registry/BRK1/BrokerUUID", "");
  startLibrary();
  const auto context = deploy({});
  EXPECT_FALSE(sharedMemory("").empty());
  EXPECT_EQ(u"", ofType(statisticsRecords(""), kBroker).at(0).uuid());
  EXPECT_TRUE(host().messages().empty());
}

TEST_F(Messages, StatisticsAndEventsAskForSizeAndBits) {
  const auto context = deploy({.eventMessage = u"text"});
  host().forget();
  context->send(500);
  EXPECT_EQ((Names{"hnxBufferSize", "hnxBufferPointer", "hnxPropagate"}), host().callNames());
  EXPECT_EQ(500, statisticsOf(u"NODE1").sumSize());
  EXPECT_EQ(1U, events().size());
}

TEST_F(Messages, AnUnserialisedMessageIsWrittenOnceAndTheSecondSizeCounts) {
  const auto context = deploy({});
  ScriptedMessage message;
  message.bits = bitStream();
  message.sizes = {0, 700};
  host().forget();
  context->send(message);
  EXPECT_EQ((Names{"hnxBufferSize", "hnxWriteBuffer", "hnxBufferSize", "hnxBufferPointer",
                   "hnxPropagate"}),
            host().callNames());
  EXPECT_EQ(700, statisticsOf(u"NODE1").sumSize());
}

TEST_F(Messages, TheSecondSizeIsUsedAsItIs) {
  const auto context = deploy({});
  for (const int second : {0, -5}) {
    ScriptedMessage message;
    message.bits = bitStream();
    message.sizes = {0, second};
    host().forget();
    context->send(message);
    EXPECT_EQ(1U, host().countOf("hnxWriteBuffer"));
  }
  const StoredRecord statistics = statisticsOf(u"NODE1");
  EXPECT_EQ(2, statistics.count());
  EXPECT_EQ(-5, statistics.minSize());
  EXPECT_EQ(0, statistics.maxSize());
  EXPECT_EQ(Bytes(24, 0), slice(statistics.bytes(), 64, 24)) << "a negative sum is empty text";
}

TEST_F(Messages, ANegativeFirstSizeAsksForNoSerialisation) {
  const auto context = deploy({});
  host().forget();
  context->send(-1);
  EXPECT_EQ((Names{"hnxBufferSize", "hnxBufferPointer", "hnxPropagate"}), host().callNames());
}

TEST_F(Messages, EventsAloneAskForTheBitsOnly) {
  const auto context = deploy({.eventMessage = u"text", .activateNode = u"eventOnly"});
  host().forget();
  context->send();
  EXPECT_EQ((Names{"hnxBufferPointer", "hnxPropagate"}), host().callNames());
  EXPECT_EQ(1U, events().size());
}

TEST_F(Messages, AnInactiveNodeOnlyPropagates) {
  const auto context = deploy({.eventMessage = u"text", .activateNode = u"no"});
  host().forget();
  context->send();
  EXPECT_EQ((Names{"hnxPropagate"}), host().callNames());
  EXPECT_TRUE(events().empty());
}

TEST_F(Messages, ANullMessageIsAskedNothingButCounts) {
  const auto context = deploy({.eventMessage = u"text"});
  host().forget();
  context->sendNothing();
  EXPECT_EQ((Names{"hnxPropagate"}), host().callNames());
  EXPECT_EQ(1, statisticsOf(u"NODE1").count());
  EXPECT_EQ(0, statisticsOf(u"NODE1").sumSize());
  ASSERT_EQ(1U, events().size());
  EXPECT_EQ(Bytes(96, 0), slice(events()[0].bytes(), 48, 96));
}

TEST_F(Messages, ANullBitStreamStillCountsItsSize) {
  const auto context = deploy({.type = u"input", .eventMessage = u"text"});
  ScriptedMessage message;
  message.sizes = {44};
  context->send(message);
  EXPECT_EQ(44, statisticsOf(u"NODE1").sumSize());
  EXPECT_EQ(0, statisticsOf(u"NODE1").sumQueued());
  ASSERT_EQ(1U, events().size());
  EXPECT_EQ(Bytes(96, 0), slice(events()[0].bytes(), 48, 96));
}

TEST_F(Messages, TheWholeDescriptorIsTakenWhateverTheSize) {
  const auto context = deploy({.eventMessage = u"text"});
  context->send(10);
  EXPECT_EQ(10, statisticsOf(u"NODE1").sumSize());
  EXPECT_EQ("03040506", charactersAt(events().at(0).bytes(), 136, 8));
}

TEST_F(Messages, ANeverInitialisedNodeAsksButStoresNothing) {
  NodeContext context;
  context.set("label", u"NODE1");
  host().forget();
  context.send();
  EXPECT_EQ((Names{"hnxBufferSize", "hnxBufferPointer", "hnxPropagate"}), host().callNames());
  EXPECT_TRUE(statisticsRecords().empty());
  EXPECT_TRUE(events().empty());
  EXPECT_TRUE(host().messages().empty());
}

TEST_F(Messages, HandlesArePassedOnInOrder) {
  const auto context = deploy({});
  ScriptedMessage message;
  message.bits = bitStream();
  int first = 0;
  int second = 0;
  host().forget();
  table().evaluate(context->context(), reinterpret_cast<HostTree*>(&first),
                   reinterpret_cast<HostTree*>(&second), message.handle());
  const Call propagated = host().calls().back();
  ASSERT_EQ("hnxPropagate", propagated.function);
  EXPECT_EQ((std::vector<const void*>{context->node().handle(), &first, &second, &message}),
            propagated.handles);
}

TEST_F(Messages, EachHostCallStartsFromCodeZero) {
  host().script.propagate = [](int& code, HostMessage*) { code = 64; };
  host().script.bufferSize = [](int& code, HostMessage*) {
    code = 64;
    return 0;
  };
  host().script.writeBuffer = [](int& code, HostMessage*) { code = 64; };
  const auto context = deploy({.eventMessage = u"text"});
  host().forget();
  EXPECT_THROW(context->send(), Rethrown);
  EXPECT_EQ(7U, host().calls().size());
  for (const Call& call : host().calls()) EXPECT_EQ(0, call.codeBefore) << call.function;
}

TEST_F(Messages, ACodeLeftByABufferCallIsNoException) {
  host().script.bufferSize = [](int& code, HostMessage*) {
    code = 64;
    return 9;
  };
  host().script.propagate = [](int&, HostMessage*) {};
  const auto context = deploy({});
  context->send();
  EXPECT_EQ(0U, host().countOf("hcxRethrowLastException"));
}

TEST_F(Messages, AnExceptionBelowIsCountedThenPostedThenRaisedAgain) {
  const auto context = deploy({});
  host().script.propagate = [](int& code, HostMessage*) {
    EXPECT_EQ(0, statisticsOf(u"NODE1").count());
    code = 64;
  };
  host().script.exceptionData = [](int&, HostExceptionData&) {
    EXPECT_EQ(1, statisticsOf(u"NODE1").count());
    EXPECT_TRUE(events().empty());
  };
  host().script.rethrow = [](int&) {
    EXPECT_EQ(1U, events().size());
    throw Rethrown{};
  };
  host().forget();
  EXPECT_THROW(context->send(), Rethrown);
  EXPECT_EQ((Names{"hnxBufferSize", "hnxBufferPointer", "hnxPropagate", "hcxGetLastExceptionData",
                   "hcxRethrowLastException"}),
            host().callNames());
}

TEST_F(Messages, AnInactiveNodeRaisesAgainWithoutALook) {
  host().script.propagate = [](int& code, HostMessage*) { code = 64; };
  const auto context = deploy({.activateNode = u"no"});
  host().forget();
  EXPECT_THROW(context->send(), Rethrown);
  EXPECT_EQ((Names{"hnxPropagate", "hcxRethrowLastException"}), host().callNames());
}

TEST_F(Registry, ANodeThatBecomesInactiveDuringAMessageRaisesAgainWithoutALook) {
  startLibrary("ZEBActivateNode=No\n");
  NodeContext context;
  context.set("label", u"NODE1");
  host().script.propagate = [&](int& code, HostMessage*) {
    std::uint16_t name[16];
    table().getAttributeName(context.context(), 0, name, 16);  // which completes the node
    code = 64;
  };
  host().forget();
  EXPECT_THROW(context.send(), Rethrown);
  EXPECT_EQ((Names{"hnxBufferSize", "hnxBufferPointer", "hnxPropagate", "hcxRethrowLastException"}),
            host().callNames());
}

TEST_F(Messages, AContextThatFailedRaisesAgainToo) {
  host().script.createInputTerminal = [](int&) -> HostTerminal* { return nullptr; };
  host().script.propagate = [](int& code, HostMessage*) { code = 64; };
  NodeContext context;
  host().forget();
  EXPECT_THROW(context.send(), Rethrown);
  EXPECT_EQ((Names{"hnxPropagate", "hcxRethrowLastException"}), host().callNames());
}

TEST_F(Messages, ARaiseThatReturnsEndsTheMessage) {
  host().script.propagate = [](int& code, HostMessage*) { code = 64; };
  host().script.rethrow = [](int&) {};
  const auto context = deploy({});
  EXPECT_NO_THROW(context->send());
  EXPECT_NO_THROW(context->send());
  EXPECT_EQ(2, statisticsOf(u"NODE1").count());
}

TEST_F(Messages, AnExceptionOutOfThePropagationPassesUncaughtAndUncounted) {
  host().script.propagate = [](int&, HostMessage*) { throw std::string("of the host"); };
  const auto context = deploy({});
  EXPECT_THROW(context->send(), std::string);
  EXPECT_EQ(0, statisticsOf(u"NODE1").count());
  host().script.propagate = nullptr;
  context->send();
  EXPECT_EQ(1, statisticsOf(u"NODE1").count());
}

TEST_F(Messages, AnyOtherCodeIsAHandledMessage) {
  for (const int code : {1, 63, 65, -64}) {
    host().script.propagate = [code](int& left, HostMessage*) { left = code; };
    const auto context = deploy({});
    context->send();
    EXPECT_EQ(1, statisticsOf(u"NODE1").count());
  }
  EXPECT_EQ(0U, host().countOf("hcxRethrowLastException"));
  EXPECT_TRUE(host().messages().empty());
}

TEST_F(Messages, TheTimeOfSerialisationAndPropagationIsMeasured) {
  setClock(kPut);
  const auto context = deploy({});
  host().script.writeBuffer = [](int&, HostMessage*) { advanceClock(50); };
  host().script.propagate = [](int&, HostMessage*) { advanceClock(1234); };
  ScriptedMessage message;
  message.bits = bitStream();
  message.sizes = {0, 364};
  context->send(message);
  EXPECT_EQ(1284, statisticsOf(u"NODE1").sumElapsed());
}

TEST_F(Messages, AClockThatIsSetBackMeasuresNothing) {
  setClock(kPut, 500);
  const auto context = deploy({});
  host().script.propagate = [](int&, HostMessage*) { setClock(kPut, 400); };
  context->send();
  setClock(kPut, 900);
  host().script.propagate = [](int&, HostMessage*) { setClock(kPut - 1, 950); };
  context->send();
  EXPECT_EQ(2, statisticsOf(u"NODE1").count());
  EXPECT_EQ(0, statisticsOf(u"NODE1").sumElapsed());
}

// How long a message with this put date and time waited until the given moment, as stored.
long long queued(const NodePlan& plan, const std::string& date, const std::string& time,
                 long long seconds, int milliseconds) {
  setClock(seconds, milliseconds);
  const auto context = deploy(plan);
  ScriptedMessage message;
  message.bits = bitStream({.putDate = date, .putTime = time});
  context->send(message);
  const StoredRecord statistics = statisticsOf(plan.label);
  EXPECT_EQ(statistics.sumQueued(), statistics.maxQueued());
  EXPECT_EQ(statistics.sumQueued(), statistics.minQueued());
  return statistics.sumQueued();
}

const NodePlan kInput{.type = u"input"};

TEST_F(QueuedTime, RunsFromThePutTimeInHundredthsToNow) {
  // 2007-12-31 23:59:59.99 UTC is 1199145599.990.
  EXPECT_EQ(10, queued(kInput, "20071231", "23595999", 1199145600, 0));
  EXPECT_EQ(0, queued(kInput, "20071231", "23595999", 1199145599, 990));
  EXPECT_EQ(86400000 - 990, queued(kInput, "20071231", "23595999", 1199145599 + 86400, 0));
  EXPECT_EQ(1, queued(kInput, "20260102", "03040506", kPut, 61));
}

TEST_F(QueuedTime, IsZeroForAPutTimeInTheFuture) {
  EXPECT_EQ(0, queued(kInput, "20260102", "03040506", kPut, 50));
  EXPECT_EQ(0, queued(kInput, "20260102", "03040506", kPut - 100, 0));
}

TEST_F(QueuedTime, IsZeroForWhatIsNoTime) {
  for (const auto& [date, time] :
       std::vector<std::pair<std::string, std::string>>{{"20260102", "0304"},
                                                        {"20260102", "030405"},
                                                        {"202601", "03040506"},
                                                        {"2026", "03040506"},
                                                        {"notadate", "03040506"},
                                                        {"20260102", "notatime"},
                                                        {"", "03040506"},
                                                        {"20260102", ""}}) {
    EXPECT_EQ(0, queued(kInput, date, time, kPut + 10, 0)) << date << " " << time;
  }
  EXPECT_TRUE(host().messages().empty());
}

TEST_F(QueuedTime, IsZeroForEveryOtherType) {
  for (const char16_t* type : {u"output", u"other", u"subFlowInput", u"subFlowOutput", u"Input"}) {
    EXPECT_EQ(0, queued({.type = type}, "20260102", "03040506", kPut + 10, 0));
  }
}

TEST_F(QueuedTime, IsCollectedOnlyForExactlyYesAndAtOnce) {
  setClock(kPut, 60);
  const auto context = deploy({.type = u"input"});
  advanceClock(100);
  context->send();
  EXPECT_EQ(100, statisticsOf(u"NODE1").sumQueued());
  for (const char16_t* text : {u"Yes", u"no", u"", u"YES", u"yes "}) {
    EXPECT_EQ(1, context->set("collectQueueTime", text));
    context->send();
    EXPECT_EQ(100, statisticsOf(u"NODE1").sumQueued());
  }
  context->set("collectQueueTime", u"yes");
  context->send();
  EXPECT_EQ(200, statisticsOf(u"NODE1").sumQueued());
  EXPECT_EQ(0, statisticsOf(u"NODE1").minQueued());
}

}  // namespace

}  // namespace context_test
