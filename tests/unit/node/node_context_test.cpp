// SPDX-License-Identifier: Apache-2.0
// What the host holds for one node instance: its construction, and its messages.
#include "node/node_context.h"

#include <sys/resource.h>

#include <climits>

#include "node/common_values.h"
#include "tests/support/leftovers.h"
#include "tests/unit/node/node_test.h"

namespace node_context_test {

namespace fs = std::filesystem;
using namespace support;

namespace {

constexpr char kUnit[] = "zebpcont";
constexpr char kConstructor[] = "ZEB_Node_Context::ZEB_Node_Context";
constexpr char kNames[] = "ZEB_Node_Context::getResourceNames";

void writeUuid(const std::string& directory, const std::string& uuid) {
  fs::create_directories(directory);
  std::ofstream(directory + "/BrokerUUID") << uuid;
}

// A message with a descriptor that says when it was put into its queue.
ScriptedMessage& put(ScriptedMessage& message, const char* date, const char* time,
                     std::size_t bytes = 500) {
  message.bits.assign(bytes, 0);
  std::memcpy(message.bits.data() + 304, date, std::min<std::size_t>(8, std::strlen(date)));
  std::memcpy(message.bits.data() + 312, time, std::min<std::size_t>(8, std::strlen(time)));
  return message;
}

class NodeContext : public NodeTest {
 protected:
  void SetUp() override {
    NodeTest::SetUp();
    overrideActivateNodeForAll = 0;
    for (const char* registry : {"/var/holt", "/var/orva"}) fs::remove_all(registry);
    writeUuid("/var/holt/registry/BRK1", "UUID1\n");
  }

  void TearDown() override {
    context.reset();
    NodeTest::TearDown();
  }

  void create() { context = std::make_unique<ZEB_Node_Context>(instance.handle()); }

  void setAttribute(const std::u16string& name, const std::u16string& value) {
    context->setAttributeValue(units(name), units(value));
  }

  void deploy(const std::u16string& type = u"other", const std::u16string& activateNode = u"yes",
              const std::u16string& eventMessage = u"") {
    if (!context) create();
    setAttribute(u"label", u"NODE");
    setAttribute(u"type", type);
    setAttribute(u"eventMessage", eventMessage);
    setAttribute(u"subFlowName", u"");
    setAttribute(u"activateNode", activateNode);
    host().forget();
  }

  void process(ScriptedMessage& message) {
    context->processMessage(reinterpret_cast<HostTree*>(&firstTree),
                            reinterpret_cast<HostTree*>(&secondTree), message.handle());
  }
  void processNull() {
    context->processMessage(reinterpret_cast<HostTree*>(&firstTree),
                            reinterpret_cast<HostTree*>(&secondTree), nullptr);
  }

  StoredRecord statistics() { return ofType(kStatistics).at(0); }

  int firstTree = 0;
  int secondTree = 0;
  ScriptedNode instance;
  std::unique_ptr<ZEB_Node_Context> context;
};

const Texts kAsked{"hnxCreateInputTerminal", "hnxCreateOutputTerminal", "hnxGetBrokerInfo",
                   "hnxGetBrokerInfo"};

// --- construction ---

TEST_F(NodeContext, AsksTheHostForTerminalsAndNames) {
  create();
  EXPECT_TRUE(context->OK());
  EXPECT_EQ(0, context->getStatus());
  EXPECT_EQ(kAsked, host().callNames());
  const std::vector<Call> calls = host().calls();
  EXPECT_EQ(u"in", calls[0].name);
  EXPECT_EQ(u"out", calls[1].name);
  for (const Call& call : calls) {
    EXPECT_EQ(0, call.codeBefore);
    ASSERT_EQ(1U, call.handles.size());
    EXPECT_EQ(instance.handle(), call.handles[0]);
  }
  EXPECT_EQ(std::vector<int>(8, 0), calls[2].numbers);
  EXPECT_EQ((std::vector<int>{4, 4, 7, 7, 5, 5, 6, 6}), calls[3].numbers);
  EXPECT_TRUE(messageLines().empty());
}

TEST_F(NodeContext, LearnsItsLabels) {
  create();
  deploy();
  const std::vector<StoredRecord> stored = records();
  ASSERT_EQ(5U, stored.size());
  EXPECT_EQ(u"BRK1", stored[0].label());
  EXPECT_EQ(u"UUID1", stored[0].uuid());
  EXPECT_EQ(u"default", stored[1].label());
  EXPECT_EQ(u"", stored[1].uuid());
  EXPECT_EQ(u"FLOW1", stored[2].label());
  EXPECT_EQ(u"NODE", stored[3].label());
}

TEST_F(NodeContext, ALabelEndsAtItsFirstZeroWhateverTheHostCounts) {
  instance.lengthExtra = 1;
  deploy();
  EXPECT_EQ(u"BRK1", records().at(0).label());
  context.reset();
  instance.lengthExtra = 0;
  instance.fillRest = u'Z';
  deploy();
  EXPECT_EQ(u"FLOW1", records().at(2).label());
}

TEST_F(NodeContext, ANegativeLengthIsNone) {
  host().script.brokerInfo = [](int&, HostBrokerInfo& info) {
    info.broker.length = -1;
    info.executionGroup.length = 0;
  };
  create();
  EXPECT_TRUE(context->OK());
  EXPECT_TRUE(segmentOf("/tmp/.zebcshme"));
  EXPECT_EQ((std::vector<int>{0, 0, 0, 0, 0, 0, 0, 0}), host().calls()[3].numbers);
}

// A sanitizer needs more addresses than this test leaves.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
TEST_F(NodeContext, AHugeLengthIsReportedAsMissingMemory) {
  host().script.brokerInfo = [](int&, HostBrokerInfo& info) {
    info.executionGroup.length = INT_MAX;
  };
  rlimit before{};
  getrlimit(RLIMIT_AS, &before);
  rlimit lower = before;
  lower.rlim_cur = 2UL << 30;
  setrlimit(RLIMIT_AS, &lower);
  create();
  setrlimit(RLIMIT_AS, &before);
  EXPECT_EQ(301, context->getStatus());
  EXPECT_EQ(Texts{message1(kUnit, kNames)}, messageLines());
  EXPECT_EQ(1U, host().countOf("hnxGetBrokerInfo"));
}
#endif

TEST_F(NodeContext, ReportsAnInputTerminalThatCannotBeMade) {
  host().script.createInputTerminal = [](int& code) {
    code = 5;
    return static_cast<HostTerminal*>(nullptr);
  };
  create();
  EXPECT_EQ(301, context->getStatus());
  EXPECT_FALSE(context->OK());
  const std::string error = "Error 5.";
  EXPECT_EQ(Texts{std::string("2 zebpcont ") + kConstructor +
                  " | Function hnxCreateInputTerminal failed in " + kConstructor + ". " + error +
                  ". | hnxCreateInputTerminal | " + kConstructor + " | " + error},
            messageLines());
  EXPECT_EQ(Texts{"hnxCreateInputTerminal"}, host().callNames());
}

TEST_F(NodeContext, ReportsAnOutputTerminalThatCannotBeMade) {
  host().script.createOutputTerminal = [](int& code) {
    code = 77;
    return static_cast<HostTerminal*>(nullptr);
  };
  create();
  EXPECT_EQ(301, context->getStatus());
  const std::string error = "Error 77.";
  EXPECT_EQ(Texts{std::string("2 zebpcont ") + kConstructor +
                  " | Function hnxCreateOutputTerminal failed in " + kConstructor + ". " + error +
                  ". | hnxCreateOutputTerminal | " + kConstructor + " | " + error},
            messageLines());
  EXPECT_EQ((Texts{"hnxCreateInputTerminal", "hnxCreateOutputTerminal"}), host().callNames());
}

TEST_F(NodeContext, ReturnCodesOfTheNamesAreNotLookedAt) {
  host().script.brokerInfo = [](int& code, HostBrokerInfo&) { code = 9; };
  create();
  EXPECT_TRUE(context->OK());
  EXPECT_TRUE(messageLines().empty());
}

TEST_F(NodeContext, ReportsMissingMemoryForTheMonitoringNode) {
  failAllocations(sizeof(ZEB_Monitoring_Node));
  create();
  EXPECT_EQ(301, context->getStatus());
  EXPECT_EQ(Texts{message1(kUnit, kConstructor)}, messageLines());
}

TEST_F(NodeContext, AMonitoringNodeThatIsNotOkHasReportedItsCause) {
  failAllocations(sizeof(ZEB_Broker));
  create();
  EXPECT_EQ(301, context->getStatus());
  EXPECT_EQ(Texts{message1("zebpmono", "ZEB_Monitoring_Node::init")}, messageLines());
}

TEST_F(NodeContext, AFailedContextPassesMessagesOnUnmeasured) {
  failAllocations(sizeof(ZEB_Monitoring_Node));
  create();
  succeedAgain();
  host().forget();
  ScriptedMessage message;
  message.bits.assign(400, 0);
  process(message);
  EXPECT_EQ(Texts{"hnxPropagate"}, host().callNames());
  EXPECT_TRUE(records().empty());
}

TEST_F(NodeContext, WithoutTerminalsMessagesAreStillHandedToTheHost) {
  host().script.createInputTerminal = [](int&) { return static_cast<HostTerminal*>(nullptr); };
  create();
  host().forget();
  ScriptedMessage message;
  process(message);
  ASSERT_EQ(Texts{"hnxPropagate"}, host().callNames());
  EXPECT_EQ(nullptr, host().calls()[0].handles[0]);
  EXPECT_EQ(message.handle(), host().calls()[0].handles[3]);
}

// --- the broker's registry ---

TEST_F(NodeContext, FindsTheUuidInTheFirstOfThreeDirectories) {
  writeUuid("/var/orva/registry/BRK1", "UUID2\n");
  writeUuid("/var/orva/registry/BRK1/CurrentVersion", "UUID3\n");
  create();
  EXPECT_TRUE(segmentOf("/tmp/UUID1.zebcshme"));
  writeUuid("/var/holt/registry/BRK1", "");
  create();
  EXPECT_TRUE(segmentOf("/tmp/UUID2.zebcshme"));
  fs::remove("/var/orva/registry/BRK1/BrokerUUID");
  create();
  EXPECT_TRUE(segmentOf("/tmp/UUID3.zebcshme"));
  EXPECT_TRUE(messageLines().empty());
}

TEST_F(NodeContext, WithoutAUuidItsIdentifierIsEmpty) {
  fs::remove_all("/var/holt");
  create();
  EXPECT_TRUE(context->OK());
  EXPECT_TRUE(segmentOf("/tmp/.zebcshme"));
  EXPECT_TRUE(messageLines().empty());
}

TEST_F(NodeContext, LooksUnderItsOwnBrokersLabel) {
  writeUuid("/var/holt/registry/BRK2", "UUID2\n");
  instance.broker = u"BRK2";
  create();
  EXPECT_TRUE(segmentOf("/tmp/UUID2.zebcshme"));
}

// Bytes of a string of so many units, and of its narrow view.
constexpr std::size_t wide(std::size_t units) {
  return 2 * (units + 1);
}
constexpr std::size_t narrow(std::size_t units) {
  return 3 * units + 1;
}

TEST_F(NodeContext, ANameThatFindsNoMemoryIsReportedAndNothingIsMeasured) {
  configure("ZEBActivateNodeForBRK1 No\n");
  for (const std::size_t bytes : {wide(4),                         // the broker's label
                                  wide(19), wide(23), narrow(23),  // a folder of the registry
                                  wide(5),                         // the UUID
                                  wide(18), wide(22), narrow(22),  // the broker's key
                                  wide(2), narrow(2)}) {           // its value
    failAllocations(bytes);
    create();
    succeedAgain();
    EXPECT_EQ(301, context->getStatus()) << bytes;
    EXPECT_EQ(Texts{message1(kUnit, kNames)}, messageLines()) << bytes;
    EXPECT_FALSE(segmentOf("/tmp/.zebcshme")) << bytes;
    host().forget();
  }
}

TEST_F(NodeContext, NoSingleLackOfMemoryLeadsToAnotherSegmentOrLosesTheOverride) {
  configure("ZEBActivateNodeForBRK1 No\n");
  int reported = 0;
  for (std::size_t bytes = 1; bytes < 100; ++bytes) {
    for (int after = 0; after < 8; ++after) {
      failAllocations(bytes, after, 1);
      create();
      succeedAgain();
      EXPECT_FALSE(segmentOf("/tmp/.zebcshme")) << bytes << ", " << after;
      for (const std::string& line : messageLines()) reported += line == message1(kUnit, kNames);
      if (context->OK()) deploy();
      EXPECT_TRUE(records().empty()) << bytes << ", " << after;
      host().forget();
    }
  }
  EXPECT_GE(reported, 20);
}

// --- the activation override ---

struct Override {
  const char* configuration;
  int forAll;
  bool active;  // of a node whose attribute says "yes"
};

TEST_F(NodeContext, TheKeyOfItsBrokerBeatsTheOneForAll) {
  const Override overrides[] = {{"", 0, true},
                                {"", 2, false},
                                {"ZEBActivateNodeForBRK1 No\n", 0, false},
                                {"ZEBActivateNodeForBRK1 no\n", 1, false},
                                {"ZEBActivateNodeForBRK1 Yes\n", 2, true},
                                {"ZEBActivateNodeForBRK1 NoOverride\n", 2, true},
                                {"ZEBActivateNodeForBRK1 nonsense\n", 2, false},
                                {"ZEBActivateNodeForBRK2 Yes\n", 2, false}};
  for (const Override& one : overrides) {
    configure(one.configuration);
    overrideActivateNodeForAll = one.forAll;
    context.reset();
    deploy();
    EXPECT_EQ(one.active, !records().empty()) << one.configuration << one.forAll;
  }
  overrideActivateNodeForAll = 0;
}

TEST_F(NodeContext, TheOverrideIsFixedAtItsConstruction) {
  create();
  configure("ZEBActivateNodeForBRK1 No\n");
  overrideActivateNodeForAll = 2;
  deploy();
  EXPECT_EQ(5U, records().size());
  overrideActivateNodeForAll = 0;
}

// --- messages ---

TEST_F(NodeContext, MeasuresAndPropagates) {
  deploy();
  ScriptedMessage message;
  message.bits.assign(1234, 0);
  host().script.propagate = [](int&, HostMessage*) { advanceClock(1500); };
  process(message);
  EXPECT_EQ((Texts{"hnxBufferSize", "hnxBufferPointer", "hnxPropagate"}), host().callNames());
  const Call call = host().calls()[2];
  const std::vector<const void*> handles{instance.handle(), &firstTree, &secondTree,
                                         message.handle()};
  EXPECT_EQ(handles, call.handles);
  EXPECT_EQ(1, statistics().count());
  EXPECT_EQ(1234, statistics().sumSize());
  EXPECT_EQ(1500, statistics().sumElapsed());
  EXPECT_EQ(0, statistics().sumQueued());
}

TEST_F(NodeContext, TheTimerRunsFromTheFirstCallOfTheHost) {
  deploy(u"other", u"yes", u"event");
  host().script.bufferSize = [](int&, HostMessage*) {
    advanceClock(10);
    return 0;
  };
  host().script.writeBuffer = [](int&, HostMessage*) { advanceClock(200); };
  host().script.propagate = [](int&, HostMessage*) { advanceClock(3000); };
  ScriptedMessage message;
  process(message);
  EXPECT_EQ(3220, statistics().sumElapsed());
}

TEST_F(NodeContext, AMessageWithoutSizeIsSerialisedOnce) {
  deploy();
  for (const int second : {800, 0, -5}) {
    ScriptedMessage message;
    message.bits.assign(400, 0);
    message.sizes = {0, second};
    host().forget();
    const long long before = statistics().sumSize();
    process(message);
    EXPECT_EQ((Texts{"hnxBufferSize", "hnxWriteBuffer", "hnxBufferSize", "hnxBufferPointer",
                     "hnxPropagate"}),
              host().callNames());
    EXPECT_EQ(second, statistics().sumSize() - before);
  }
}

TEST_F(NodeContext, AnySizeButZeroIsTaken) {
  deploy();
  for (const int size : {-1, 1}) {
    ScriptedMessage message;
    message.sizes = {size};
    host().forget();
    process(message);
    EXPECT_EQ((Texts{"hnxBufferSize", "hnxBufferPointer", "hnxPropagate"}), host().callNames());
  }
}

TEST_F(NodeContext, ANullMessageIsCountedAndPropagated) {
  deploy(u"input", u"yes", u"event");
  processNull();
  EXPECT_EQ(Texts{"hnxPropagate"}, host().callNames());
  EXPECT_EQ(nullptr, host().calls()[0].handles[3]);
  EXPECT_EQ(1, statistics().count());
  EXPECT_EQ(0, statistics().sumSize());
  ASSERT_EQ(1U, events().size());
  EXPECT_EQ(Bytes(96, 0), slice(events()[0].bytes(), 48, 96));
}

TEST_F(NodeContext, WithoutABitStreamEventsAreStillPosted) {
  deploy(u"input", u"yes", u"event");
  ScriptedMessage message;
  message.sizes = {50};
  process(message);
  EXPECT_EQ(50, statistics().sumSize());
  EXPECT_EQ(0, statistics().sumQueued());
  EXPECT_EQ(1U, events().size());
}

TEST_F(NodeContext, TheDescriptorGoesIntoTheEvent) {
  for (const char16_t* const mode : {u"yes", u"eventOnly"}) {
    context.reset();
    deploy(u"other", mode, u"event");
    ScriptedMessage message;
    message.bits.assign(364, 0);
    for (std::size_t i = 0; i < 364; ++i) message.bits[i] = static_cast<std::uint8_t>(i);
    process(message);
    ASSERT_EQ(1U, events().size());
    const Bytes event = events()[0].bytes();
    EXPECT_EQ(Bytes(message.bits.begin() + 48, message.bits.begin() + 96), slice(event, 48, 48));
    EXPECT_EQ(Bytes(message.bits.begin() + 272, message.bits.begin() + 320), slice(event, 96, 48));
  }
}

TEST_F(NodeContext, ForEventsOnlyTheSizeIsNotAsked) {
  deploy(u"other", u"eventOnly", u"event");
  ScriptedMessage message;
  message.bits.assign(400, 0);
  process(message);
  EXPECT_EQ((Texts{"hnxBufferPointer", "hnxPropagate"}), host().callNames());
  EXPECT_TRUE(records().empty());
  EXPECT_EQ(1U, events().size());
  host().forget();
  processNull();
  EXPECT_EQ(Texts{"hnxPropagate"}, host().callNames());
  EXPECT_EQ(2U, events().size());
}

TEST_F(NodeContext, AnInactiveNodeOnlyPropagates) {
  deploy(u"input", u"no", u"event");
  ScriptedMessage message;
  message.bits.assign(400, 0);
  process(message);
  EXPECT_EQ(Texts{"hnxPropagate"}, host().callNames());
}

TEST_F(NodeContext, AnUninitialisedNodeIsMeasuredForNobody) {
  create();
  host().forget();
  ScriptedMessage message;
  message.bits.assign(400, 0);
  process(message);
  EXPECT_EQ((Texts{"hnxBufferSize", "hnxBufferPointer", "hnxPropagate"}), host().callNames());
  EXPECT_TRUE(records().empty());
}

TEST_F(NodeContext, TheEventIsPostedBeforeThePropagation) {
  deploy(u"other", u"yes", u"event");
  std::size_t posted = 0;
  long long counted = 0;
  host().script.propagate = [&](int&, HostMessage*) {
    posted = events().size();
    counted = statistics().count();
  };
  ScriptedMessage message;
  process(message);
  EXPECT_EQ(1U, posted);
  EXPECT_EQ(0, counted);
}

TEST_F(NodeContext, EveryCallGetsAFreshReturnCode) {
  deploy(u"other", u"yes", u"event");
  host().script.bufferSize = [](int& code, HostMessage*) {
    code = 64;
    return 0;
  };
  host().script.writeBuffer = [](int& code, HostMessage*) { code = 64; };
  host().script.bufferPointer = [](int& code, HostMessage*) {
    code = 64;
    return static_cast<const std::uint8_t*>(nullptr);
  };
  ScriptedMessage message;
  process(message);
  EXPECT_EQ((Texts{"hnxBufferSize", "hnxWriteBuffer", "hnxBufferSize", "hnxBufferPointer",
                   "hnxPropagate"}),
            host().callNames());
  host().script.propagate = [](int& code, HostMessage*) { code = 64; };
  host().script.rethrow = [](int&) {};
  process(message);
  for (const Call& call : host().calls()) EXPECT_EQ(0, call.codeBefore) << call.function;
}

// --- queued time ---

struct Queued {
  const char* date;
  const char* time;
  long long milliseconds;
};

// Now is 2023-11-14 22:13:20.000 UTC.
constexpr Queued kQueuedTimes[] = {{"20231114", "22132000", 0},
                                   {"20231114", "22131900", 1000},
                                   {"20231114", "22131999", 10},
                                   {"20231114", "22131901", 990},
                                   {"20231114", "21132000", 3600000},
                                   {"20231113", "22132000", 86400000},
                                   {"20231031", "22132000", 14 * 86400000LL},
                                   {"20231114", "22132001", 0},
                                   {"20231115", "22132000", 0},
                                   {"20231114", "2213", 0},
                                   {"20231114", "221319", 0},
                                   {"2023", "22131900", 0},
                                   {"202311", "22131900", 0},
                                   {"nonsense", "22131900", 0},
                                   {"20231114", "nonsense", 0},
                                   {"", "22131900", 0},
                                   {"20231114", "", 0}};

TEST_F(NodeContext, QueuedTimesGoFromPutToNow) {
  deploy(u"input");
  long long before = 0;
  for (const Queued& queued : kQueuedTimes) {
    ScriptedMessage message;
    process(put(message, queued.date, queued.time));
    const long long after = statistics().sumQueued();
    EXPECT_EQ(queued.milliseconds, after - before) << queued.date << " " << queued.time;
    before = after;
  }
  EXPECT_TRUE(messageLines().empty());
}

TEST_F(NodeContext, APutDateIsCalendarTimeInUtc) {
  deploy(u"input");
  ScriptedMessage message;
  put(message, "20071231", "23595999");
  setClock(1199145600, 0);
  process(message);
  EXPECT_EQ(10, statistics().sumQueued());
}

TEST_F(NodeContext, OnlyInputNodesHaveQueuedTimes) {
  for (const char16_t* const type : {u"output", u"other", u"subFlowInput", u"subFlowOutput"}) {
    context.reset();
    deploy(type);
    ScriptedMessage message;
    process(put(message, "20231114", "22131900"));
    EXPECT_EQ(1, statistics().count());
    EXPECT_EQ(0, statistics().sumQueued());
  }
}

TEST_F(NodeContext, TheQueuedTimeEndsBeforeThePropagation) {
  deploy(u"input");
  host().script.propagate = [](int&, HostMessage*) { advanceClock(5000); };
  ScriptedMessage message;
  process(put(message, "20231114", "22131900"));
  EXPECT_EQ(1000, statistics().sumQueued());
}

// --- exceptions ---

TEST_F(NodeContext, AnExceptionIsCountedThenPostedThenRaisedAgain) {
  deploy(u"other", u"yes", u"event");
  host().script.propagate = [](int& code, HostMessage*) {
    advanceClock(40);
    code = 64;
  };
  long long counted = 0;
  std::size_t posted = 0;
  host().script.exceptionData = [&](int&, HostExceptionData& data) {
    counted = statistics().count();
    data.text = "TEXT";
  };
  host().script.rethrow = [&](int&) {
    posted = events().size();
    throw Rethrown{};
  };
  ScriptedMessage message;
  message.bits.assign(400, 0);
  EXPECT_THROW(process(message), Rethrown);
  EXPECT_EQ((Texts{"hnxBufferSize", "hnxBufferPointer", "hnxPropagate", "hcxGetLastExceptionData",
                   "hcxRethrowLastException"}),
            host().callNames());
  EXPECT_EQ(1, counted);
  EXPECT_EQ(2U, posted);
  EXPECT_EQ(40, statistics().sumElapsed());
  EXPECT_EQ(u"Exception found in (). TEXT", templates().at(1).templateText());
}

TEST_F(NodeContext, ANodeThatPostsNoEventsOnlyRaisesAgain) {
  deploy(u"other", u"no");
  host().script.propagate = [](int& code, HostMessage*) { code = 64; };
  ScriptedMessage message;
  EXPECT_THROW(process(message), Rethrown);
  EXPECT_EQ((Texts{"hnxPropagate", "hcxRethrowLastException"}), host().callNames());
}

TEST_F(NodeContext, AFailedContextRaisesAgainToo) {
  failAllocations(sizeof(ZEB_Monitoring_Node));
  create();
  host().forget();
  host().script.propagate = [](int& code, HostMessage*) { code = 64; };
  ScriptedMessage message;
  EXPECT_THROW(process(message), Rethrown);
  EXPECT_EQ((Texts{"hnxPropagate", "hcxRethrowLastException"}), host().callNames());
}

TEST_F(NodeContext, OtherReturnCodesAreOnlyTraced) {
  deploy();
  for (const int code : {1, 63, 65, -64}) {
    host().script.propagate = [code](int& result, HostMessage*) { result = code; };
    const Tracing on;
    ScriptedMessage message;
    process(message);
    EXPECT_EQ((Texts{"Entry", "hnxPropagate rc=" + std::to_string(code), "Exit"}),
              textsOf(kUnit, "ZEB_Node_Context::processMessage"));
    EXPECT_EQ(0U, host().countOf("hcxRethrowLastException"));
    EXPECT_EQ(0U, host().countOf("hcxGetLastExceptionData"));
  }
  EXPECT_EQ(4, statistics().count());
  EXPECT_TRUE(messageLines().empty());
}

TEST_F(NodeContext, AHostThatReturnsFromRaisingIsReturnedTo) {
  deploy();
  host().script.propagate = [](int& code, HostMessage*) { code = 64; };
  host().script.rethrow = [](int& code) { code = 3; };
  ScriptedMessage message;
  EXPECT_NO_THROW(process(message));
  EXPECT_EQ(1U, host().countOf("hcxRethrowLastException"));
}

TEST_F(NodeContext, NothingIsTracedWhileTheHostsExceptionPasses) {
  deploy();
  host().script.propagate = [](int& code, HostMessage*) { code = 64; };
  const Tracing on;
  ScriptedMessage message;
  EXPECT_THROW(process(message), Rethrown);
  EXPECT_EQ((Texts{"Entry", "hnxPropagate rc=64"}),
            textsOf(kUnit, "ZEB_Node_Context::processMessage"));
}

// --- end, trace ---

TEST_F(NodeContext, ItsEndMarksTheNodeDeleted) {
  deploy();
  ScriptedNode other;
  ZEB_Node_Context keeper(other.handle());
  context.reset();
  EXPECT_EQ(1U, ofType(kNode).at(0).deleted());
}

TEST_F(NodeContext, TracesItsNames) {
  const Tracing on;
  create();
  EXPECT_EQ((Texts{"Entry", "Broker Label = BRK1", "Broker Uuid = UUID1",
                   "Execution Group Label = default", "Message Flow Label = FLOW1", "Exit"}),
            textsOf(kUnit, kNames));
}

TEST_F(NodeContext, EveryOperationTraces) {
  create();
  setAttribute(u"type", u"input");
  deploy(u"input");
  const Tracing on;
  ScriptedMessage message;
  process(put(message, "20231114", "22131900"));
  context->OK();
  context->getStatus();
  context = std::make_unique<ZEB_Node_Context>(instance.handle());
  context.reset();
  expectTraced(kUnit, {{"ZEB_Node_Context::processMessage", "Exit"},
                       {"ZEB_Node_Context::getQueuedTime", "Exit"},
                       {"ZEB_Node_Context::OK", "Exit: 0x1"},
                       {"ZEB_Node_Context::getStatus", "Exit: 0x0"},
                       {kConstructor, "Exit"},
                       {"ZEB_Node_Context::cleanup", "Exit"},
                       {"ZEB_Node_Context::~ZEB_Node_Context", "Exit"}});
}

}  // namespace

}  // namespace node_context_test
