// SPDX-License-Identifier: Apache-2.0
// What one node instance measures, and where it puts it.
#include "node/monitoring_node.h"

#include <pthread.h>
#include <sys/shm.h>
#include <unistd.h>

#include "tests/support/leftovers.h"
#include "tests/unit/node/node_test.h"

namespace monitoring_node_test {

using namespace support;

namespace {

constexpr char kUnit[] = "zebpmono";
constexpr _TimeStamp kNoTime{0, 0};

// The attributes that a host sets. A null text is not set.
struct Attributes {
  const char* label = "NODE";
  const char* type = "other";
  const char* eventMessage = "";
  const char* subFlowName = "";
  const char* activateNode = "yes";
};

std::unique_ptr<ZEB_Monitoring_Node> makeNode(int activationOverride = 0) {
  const ZEB_Resource_ID broker = resourceId("BRK1", "UUID1");
  const ZEB_Resource_ID group = resourceId("EG");
  const ZEB_Resource_ID flow = resourceId("FLOW");
  const ZEB_Resource_ID node;
  return std::make_unique<ZEB_Monitoring_Node>(&broker, &group, &flow, &node, activationOverride);
}

void set(ZEB_Monitoring_Node& node, const Attributes& attributes) {
  const ZEB_String label(attributes.label);
  const ZEB_String type(attributes.type);
  const ZEB_String eventMessage(attributes.eventMessage);
  const ZEB_String subFlowName(attributes.subFlowName);
  const ZEB_String activateNode(attributes.activateNode);
  if (attributes.label) node.setNodeLabel(&label);
  if (attributes.type) node.setNodeType(&type);
  if (attributes.eventMessage) {
    EXPECT_EQ(0, node.setEventMessage(&eventMessage));
  }
  if (attributes.subFlowName) node.setSubFlowName(&subFlowName);
  if (attributes.activateNode) node.setActivateNode(&activateNode);
}

std::unique_ptr<ZEB_Monitoring_Node> deploy(const Attributes& attributes,
                                            int activationOverride = 0) {
  auto node = makeNode(activationOverride);
  set(*node, attributes);
  return node;
}

std::int32_t thisThread() {
  return static_cast<std::int32_t>(pthread_self());
}

using MonitoringNode = NodeTest;

// --- construction ---

TEST_F(MonitoringNode, BeginsActiveAndUninitialised) {
  const auto node = makeNode();
  EXPECT_TRUE(node->OK());
  EXPECT_EQ(0, node->getStatus());
  EXPECT_TRUE(node->isActiveForStats());
  EXPECT_TRUE(node->isActiveForEvents());
  EXPECT_FALSE(node->isNodeLabelSet());
  EXPECT_FALSE(node->isInitialized());
  EXPECT_EQ(ZEB_OTHER_NODE, node->getNodeType());
  EXPECT_TRUE(segmentOf(kSegment));
  EXPECT_TRUE(records().empty());
}

TEST_F(MonitoringNode, NeedsAllFourIdentifiers) {
  const ZEB_Resource_ID id = resourceId("BRK1", "UUID1");
  EXPECT_EQ(301, ZEB_Monitoring_Node(nullptr, &id, &id, &id, 0).getStatus());
  EXPECT_EQ(301, ZEB_Monitoring_Node(&id, nullptr, &id, &id, 0).getStatus());
  EXPECT_EQ(301, ZEB_Monitoring_Node(&id, &id, nullptr, &id, 0).getStatus());
  EXPECT_EQ(301, ZEB_Monitoring_Node(&id, &id, &id, nullptr, 0).getStatus());
  EXPECT_TRUE(messageLines().empty());
}

TEST_F(MonitoringNode, IsNotOkWithoutMemoryForItsBroker) {
  failAllocations(sizeof(ZEB_Broker));
  const auto node = makeNode();
  EXPECT_EQ(301, node->getStatus());
  EXPECT_EQ(Texts{message1(kUnit, "ZEB_Monitoring_Node::init")}, messageLines());
}

TEST_F(MonitoringNode, IsNotOkWithABrokerThatIsNot) {
  failCalls("shmat", ENOMEM);
  const auto node = makeNode();
  EXPECT_EQ(301, node->getStatus());
  EXPECT_EQ(1U, messageLines().size());
  node->updateStatistics(kNoTime, kNoTime, 1);
  leavesThingsBehind();
}

TEST_F(MonitoringNode, CleansUpAtOnceWhenItIsNotOk) {
  const ZEB_Resource_ID id = resourceId("BRK1", "UUID1");
  const Tracing on;
  const ZEB_Monitoring_Node failed(nullptr, &id, &id, &id, 0);
  EXPECT_EQ(1U, entriesOf("ZEB_Monitoring_Node::cleanup"));
  const auto node = makeNode();
  EXPECT_EQ(1U, entriesOf("ZEB_Monitoring_Node::cleanup"));
}

TEST_F(MonitoringNode, KnowsProcessAndThread) {
  EXPECT_EQ(getpid(), ZEB_Monitoring_Node::getProcessId());
  EXPECT_EQ(pthread_self(), ZEB_Monitoring_Node::getThreadId());
}

// --- setters ---

TEST_F(MonitoringNode, InitialisesItselfWithTheLastOfFiveAttributes) {
  for (int missing = 0; missing < 5; ++missing) {
    const auto node = makeNode();
    Attributes attributes;
    const char** const texts[] = {&attributes.label, &attributes.type, &attributes.eventMessage,
                                  &attributes.subFlowName, &attributes.activateNode};
    const char* const last = *texts[missing];
    for (const char** text : texts) *text = text == texts[missing] ? nullptr : *text;
    set(*node, attributes);
    const ZEB_String yes("yes");
    node->setQueueTimeCollection(&yes);
    EXPECT_FALSE(node->isInitialized()) << missing;
    attributes = {nullptr, nullptr, nullptr, nullptr, nullptr};
    *texts[missing] = last;
    set(*node, attributes);
    EXPECT_TRUE(node->isInitialized()) << missing;
    EXPECT_TRUE(node->OK());
  }
}

TEST_F(MonitoringNode, NullIsIgnoredByThreeSettersAndTakenByTwo) {
  const auto node = makeNode();
  node->setNodeLabel(nullptr);
  EXPECT_FALSE(node->isNodeLabelSet());
  EXPECT_EQ(0, node->setEventMessage(nullptr));
  node->setSubFlowName(nullptr);
  node->setNodeType(nullptr);
  node->setActivateNode(nullptr);
  const ZEB_String label("NODE");
  const ZEB_String none("");
  node->setNodeLabel(&label);
  EXPECT_TRUE(node->isNodeLabelSet());
  node->setEventMessage(&none);
  EXPECT_FALSE(node->isInitialized());
  node->setSubFlowName(&none);
  EXPECT_TRUE(node->isInitialized());
  EXPECT_EQ(ZEB_OTHER_NODE, node->getNodeType());
  EXPECT_TRUE(node->isActiveForStats());
}

TEST_F(MonitoringNode, NullTypeAndNullActivationAreTheDefaults) {
  const auto node = makeNode();
  const ZEB_String input("input");
  node->setNodeType(&input);
  node->setNodeType(nullptr);
  EXPECT_EQ(ZEB_OTHER_NODE, node->getNodeType());
  const ZEB_String no("no");
  node->setActivateNode(&no);
  node->setActivateNode(nullptr);
  set(*node, {"NODE", "input", "", "", nullptr});
  EXPECT_TRUE(node->isActiveForStats());
}

TEST_F(MonitoringNode, TypesAreWrittenExactly) {
  const std::pair<const char*, int> types[] = {
      {"input", 1}, {"output", 2}, {"other", 3},        {"subFlowInput", 4},   {"subFlowOutput", 5},
      {"Input", 3}, {"OUTPUT", 3}, {"subflowinput", 3}, {"subFlowOutputs", 3}, {"", 3}};
  const auto node = makeNode();
  for (const auto& [text, type] : types) {
    const ZEB_String before("input");
    node->setNodeType(&before);
    const ZEB_String value(text);
    node->setNodeType(&value);
    EXPECT_EQ(type, static_cast<int>(node->getNodeType())) << text;
  }
}

TEST_F(MonitoringNode, ALabelIsOnlyTakenWhileOk) {
  const ZEB_Resource_ID id = resourceId("BRK1", "UUID1");
  ZEB_Monitoring_Node failed(&id, &id, &id, nullptr, 0);
  const ZEB_String label("NODE");
  failed.setNodeLabel(&label);
  EXPECT_FALSE(failed.isNodeLabelSet());
}

// --- activity ---

struct Activity {
  int mode;
  const char* type;
  const char* eventMessage;
  bool statistics;
  bool events;
};

constexpr Activity kActivities[] = {
    {1, "other", "", true, true},           {1, "input", "event", true, true},
    {2, "input", "event", false, false},    {2, "other", "", false, false},
    {3, "input", "event", false, true},     {3, "input", "", false, false},
    {3, "other", "event", false, true},     {4, "input", "", true, true},
    {4, "output", "", true, true},          {4, "other", "", false, false},
    {4, "other", "event", false, false},    {4, "subFlowInput", "event", false, false},
    {4, "subFlowOutput", "", false, false}, {5, "input", "", true, true},
    {5, "output", "", true, true},          {5, "other", "", false, false},
    {5, "other", "event", true, true},      {5, "subFlowInput", "", false, false},
    {5, "subFlowOutput", "", false, false}, {5, "subFlowOutput", "event", true, true}};

TEST_F(MonitoringNode, TheAttributeDecidesWhatIsCollected) {
  const char* const texts[] = {
      "", "yes", "no", "eventOnly", "inputOutputOnly", "inputOutputAndEventOnly"};
  for (const Activity& activity : kActivities) {
    const auto node =
        deploy({"NODE", activity.type, activity.eventMessage, "", texts[activity.mode]});
    EXPECT_EQ(activity.statistics, node->isActiveForStats())
        << activity.mode << activity.type << activity.eventMessage;
    EXPECT_EQ(activity.events, node->isActiveForEvents())
        << activity.mode << activity.type << activity.eventMessage;
    EXPECT_TRUE(node->isInitialized());
  }
}

TEST_F(MonitoringNode, AnOverrideBeatsTheAttribute) {
  for (const Activity& activity : kActivities) {
    for (const char* attribute : {"yes", "no", "eventOnly"}) {
      const auto node =
          deploy({"NODE", activity.type, activity.eventMessage, "", attribute}, activity.mode);
      EXPECT_EQ(activity.statistics, node->isActiveForStats()) << activity.mode << attribute;
      EXPECT_EQ(activity.events, node->isActiveForEvents()) << activity.mode << attribute;
    }
  }
}

TEST_F(MonitoringNode, AnUnknownOverrideLeavesEverythingOn) {
  const auto node = deploy({"NODE", "other", "", "", "no"}, 6);
  EXPECT_TRUE(node->isActiveForStats());
  EXPECT_TRUE(node->isActiveForEvents());
}

// --- joining the tree ---

TEST_F(MonitoringNode, TheFirstDeploymentStoresOneOfEach) {
  const auto node = deploy({"NODE", "subFlowInput", "", "SUB", "yes"});
  EXPECT_EQ((std::vector<std::uint32_t>{kBroker, kGroup, kFlow, kNode, kStatistics}), types());
  const std::vector<StoredRecord> stored = records();
  EXPECT_EQ(u"UUID1", stored[0].uuid());
  EXPECT_EQ(u"BRK1", stored[0].label());
  EXPECT_EQ(kNow + kCalendarOffset, stored[0].ownNumber());
  EXPECT_EQ(u"EG", stored[1].label());
  EXPECT_EQ(static_cast<std::uint32_t>(getpid()), stored[1].ownNumber());
  EXPECT_EQ(u"FLOW", stored[2].label());
  EXPECT_EQ(u"NODE", stored[3].label());
  EXPECT_EQ(4U, stored[3].ownNumber());
  EXPECT_EQ(u"SUB", stored[3].subFlowName());
  EXPECT_EQ(0U, stored[3].deleted());
  EXPECT_EQ(0, stored[4].count());
  for (std::size_t i = 1; i < stored.size(); ++i) EXPECT_TRUE(stored[i].isChildOf(stored[i - 1]));
  EXPECT_EQ(ZEB_SUB_FLOW_INPUT_NODE, node->getNodeType());
}

TEST_F(MonitoringNode, NodesShareTheirGroupAndTheirFlow) {
  const auto first = deploy({"A"});
  const auto second = deploy({"B"});
  EXPECT_EQ(
      (std::vector<std::uint32_t>{kBroker, kGroup, kFlow, kNode, kStatistics, kNode, kStatistics}),
      types());
  EXPECT_EQ(records()[2].id(), ofType(kNode)[1].parent());
}

TEST_F(MonitoringNode, ANodeThatCollectsNoStatisticsStaysOutOfTheTree) {
  const auto node = deploy({"NODE", "other", "event", "", "eventOnly"});
  EXPECT_TRUE(node->isInitialized());
  EXPECT_TRUE(records().empty());
  EXPECT_EQ(1U, templates().size());
}

TEST_F(MonitoringNode, ADeletedNodeIsMarked) {
  const auto keeper = deploy({"KEEPER"});
  deploy({"NODE"}).reset();
  ASSERT_EQ(2U, ofType(kNode).size());
  EXPECT_EQ(0U, ofType(kNode)[0].deleted());
  EXPECT_EQ(1U, ofType(kNode)[1].deleted());
  EXPECT_EQ(0U, ofType(kStatistics)[1].deleted());
}

TEST_F(MonitoringNode, ARedeployedNodeIsRevived) {
  const auto keeper = deploy({"KEEPER"});
  deploy({"NODE", "input", "", "SUB"}).reset();
  const std::vector<StoredRecord> before = records();
  const auto node = deploy({"NODE", "output", "", "SUB"});
  const std::vector<StoredRecord> after = records();
  ASSERT_EQ(before.size(), after.size());
  for (std::size_t i = 0; i < after.size(); ++i) EXPECT_EQ(before[i].id(), after[i].id());
  EXPECT_EQ(0U, ofType(kNode)[1].deleted());
  EXPECT_EQ(2U, ofType(kNode)[1].ownNumber());
}

TEST_F(MonitoringNode, AnEquallyLongSubFlowNameKeepsTheNode) {
  const auto keeper = deploy({"KEEPER"});
  deploy({"NODE", "other", "", "A"}).reset();
  const RecordId before = ofType(kNode)[1].id();
  const auto node = deploy({"NODE", "other", "", "B"});
  ASSERT_EQ(2U, ofType(kNode).size());
  EXPECT_EQ(before, ofType(kNode)[1].id());
  EXPECT_EQ(u"B", ofType(kNode)[1].subFlowName());
  EXPECT_EQ(0U, ofType(kNode)[1].deleted());
}

TEST_F(MonitoringNode, ASubFlowNameOfAnotherLengthReplacesTheNode) {
  const auto keeper = deploy({"KEEPER"});
  auto first = deploy({"NODE", "other", "", "A"});
  first->updateStatistics(kNoTime, kNoTime, 5);
  first.reset();
  const RecordId oldNode = ofType(kNode)[1].id();
  const RecordId statistics = ofType(kStatistics)[1].id();
  const auto node = deploy({"NODE", "input", "", "AB"});
  const std::vector<StoredRecord> nodes = ofType(kNode);
  ASSERT_EQ(3U, nodes.size());
  EXPECT_EQ(oldNode, nodes[1].id());
  EXPECT_EQ(1U, nodes[1].deleted());
  EXPECT_EQ(RecordId{}, nodes[1].parent());
  EXPECT_EQ(u"A", nodes[1].subFlowName());
  EXPECT_EQ(u"AB", nodes[2].subFlowName());
  EXPECT_EQ(0U, nodes[2].deleted());
  EXPECT_EQ(1U, nodes[2].ownNumber());
  EXPECT_EQ(ofType(kFlow)[0].id(), nodes[2].parent());
  ASSERT_EQ(2U, ofType(kStatistics).size());
  EXPECT_EQ(statistics, ofType(kStatistics)[1].id());
  EXPECT_EQ(nodes[2].id(), ofType(kStatistics)[1].parent());
  EXPECT_EQ(0, ofType(kStatistics)[1].count());
  node->updateStatistics(kNoTime, kNoTime, 7);
  EXPECT_EQ(7, ofType(kStatistics)[1].sumSize());
}

TEST_F(MonitoringNode, AReplacedNodeIsDestroyedBeforeTheReset) {
  const auto keeper = deploy({"KEEPER"});
  deploy({"NODE", "other", "", "A"}).reset();
  const auto node = makeNode();
  set(*node, {"NODE", "other", "", nullptr});
  const ZEB_String longer("AB");
  const Tracing on;
  node->setSubFlowName(&longer);
  Texts order;
  for (const LogEntry& entry : host().trace()) {
    if (entry.text == "Entry" && entry.function == "ZEB_Broker::resetStatistics")
      order.push_back("reset");
    if (entry.text == "Entry" && entry.function == "ZEB_Node::~ZEB_Node") order.push_back("gone");
  }
  ASSERT_LE(2U, order.size());
  order.resize(2);  // afterwards go those that this instance does not need
  EXPECT_EQ((Texts{"gone", "reset"}), order);
}

TEST_F(MonitoringNode, EveryDeploymentResetsAllStatistics) {
  const auto first = deploy({"A"});
  first->updateStatistics(kNoTime, kNoTime, 5);
  EXPECT_EQ(1, ofType(kStatistics)[0].count());
  setClock(kNow + 30);
  const auto second = deploy({"B"});
  EXPECT_EQ(0, ofType(kStatistics)[0].count());
  EXPECT_EQ(kNow + 30 + kCalendarOffset, records()[0].ownNumber());
  const auto silent = deploy({"C", "other", "", "", "no"});
  first->updateStatistics(kNoTime, kNoTime, 5);
  const auto eventsOnly = deploy({"D", "other", "event", "", "eventOnly"});
  EXPECT_EQ(1, ofType(kStatistics)[0].count());
}

TEST_F(MonitoringNode, ALabelThatWasNeverSetIsUnknown) {
  const auto node = makeNode();
  node->initializeNode();
  EXPECT_TRUE(node->isInitialized());
  EXPECT_TRUE(node->isNodeLabelSet());
  EXPECT_EQ(u"*Unknown*DravikMonitor", ofType(kNode).at(0).label());
}

TEST_F(MonitoringNode, InitialisesOnlyOnce) {
  const auto node = deploy({"NODE", "other", "event"});
  const Bytes before = bytes();
  setClock(kNow + 5);
  node->initializeNode();
  set(*node, {"LABEL", "input", "another", "SUB", "no"});
  EXPECT_EQ(before, bytes());
  EXPECT_TRUE(node->isActiveForStats());
  EXPECT_TRUE(node->isActiveForEvents());
  EXPECT_EQ(ZEB_OTHER_NODE, node->getNodeType());
}

// --- failed initialisation ---

TEST_F(MonitoringNode, ADamagedStatisticsAreaFailsTheInitialisation) {
  const auto keeper = deploy({"KEEPER"});
  const Block area = findBlock(bytes(), "zebcstar").value();
  const auto segment = segmentOf(kSegment);
  auto* const start = static_cast<char*>(shmat(segment->id, nullptr, 0));
  std::memset(start + area.at + 32, 'X', 4);
  const auto node = deploy({"NODE", "input", "event"});
  EXPECT_EQ(301, node->getStatus());
  EXPECT_FALSE(node->isInitialized());
  EXPECT_TRUE(node->isActiveForStats());
  EXPECT_TRUE(node->isActiveForEvents());
  EXPECT_EQ(ZEB_INPUT_NODE, node->getNodeType());
  EXPECT_TRUE(templates().empty());
  const Tracing on;
  node->updateStatistics(kNoTime, kNoTime, 1);
  EXPECT_EQ("Exit: 0x3", textsOf("zebcbrkr", "ZEB_Broker::updateStatistics").back());
  const MessageDescriptor descriptor{};
  node->postEvent(&descriptor, nullptr);
  node->postException(&descriptor);
  EXPECT_TRUE(events().empty());
  EXPECT_EQ(0U, host().countOf("hcxGetLastExceptionData"));
  shmdt(start);
}

TEST_F(MonitoringNode, WithoutMemoryForItsPlaceItFails) {
  for (const std::size_t size :
       {sizeof(ZEB_Execution_Group), sizeof(ZEB_EGIR), sizeof(ZEB_Node), sizeof(ZEB_STIR)}) {
    const auto node = makeNode();
    set(*node, {"NODE", "input", nullptr, ""});
    const ZEB_String none("");
    failAllocations(size);
    node->setEventMessage(&none);
    succeedAgain();
    EXPECT_EQ(301, node->getStatus()) << size;
    EXPECT_FALSE(node->isInitialized());
    EXPECT_TRUE(node->isActiveForStats());
    EXPECT_TRUE(records().empty());
  }
}

TEST_F(MonitoringNode, IsNotInitialisedAnyMoreOnceItHasFailed) {
  const auto node = makeNode();
  failAllocations(sizeof(ZEB_Execution_Group));
  set(*node, {"NODE"});
  succeedAgain();
  ASSERT_FALSE(node->OK());
  node->initializeNode();
  EXPECT_FALSE(node->isInitialized());
  EXPECT_TRUE(records().empty());
}

TEST_F(MonitoringNode, WithoutMemoryForItsFlowItFails) {
  const auto node = makeNode();
  set(*node, {"NODE", "other", nullptr, ""});
  const ZEB_String none("");
  failAllocations(sizeof(ZEB_Message_Flow), 1);
  static_assert(sizeof(ZEB_Message_Flow) == sizeof(ZEB_Execution_Group));
  node->setEventMessage(&none);
  EXPECT_EQ(301, node->getStatus());
  EXPECT_EQ(Texts{message1("zebcexgr", "ZEB_Execution_Group::insertMessageFlow2")}, messageLines());
}

// --- statistics ---

TEST_F(MonitoringNode, UpdatesItsRecord) {
  const auto node = deploy({"NODE"});
  node->updateStatistics({1, 20}, {3, 40}, 500);
  const StoredRecord stored = ofType(kStatistics).at(0);
  EXPECT_EQ(1, stored.count());
  EXPECT_EQ(500, stored.sumSize());
  EXPECT_EQ(1020, stored.sumQueued());
  EXPECT_EQ(3040, stored.sumElapsed());
}

TEST_F(MonitoringNode, QueuedTimesAreCollectedForYesExactly) {
  const auto node = deploy({"NODE"});
  const auto queuedAfter = [&node](const ZEB_String* text) {
    const long long before = ofType(kStatistics).at(0).sumQueued();
    node->setQueueTimeCollection(text);
    node->updateStatistics({0, 7}, {0, 0}, 1);
    return ofType(kStatistics).at(0).sumQueued() - before;
  };
  const ZEB_String yes("yes");
  const ZEB_String no("no");
  const ZEB_String capital("Yes");
  const ZEB_String longer("yess");
  EXPECT_EQ(7, queuedAfter(&yes));
  EXPECT_EQ(0, queuedAfter(&no));
  EXPECT_EQ(7, queuedAfter(&yes));
  EXPECT_EQ(0, queuedAfter(&capital));
  EXPECT_EQ(0, queuedAfter(&longer));
  EXPECT_EQ(7, queuedAfter(&yes));
  EXPECT_EQ(0, queuedAfter(nullptr));
}

TEST_F(MonitoringNode, ANodeThatWasNeverInitialisedIsRefusedByTheBroker) {
  const auto node = makeNode();
  const Tracing on;
  node->updateStatistics(kNoTime, kNoTime, 1);
  EXPECT_EQ("Exit: 0x3", textsOf("zebcbrkr", "ZEB_Broker::updateStatistics").back());
}

// --- events ---

TEST_F(MonitoringNode, ItsTemplateSaysWhereItIs) {
  const auto node = deploy({"NODE", "subFlowOutput", "THE EVENT"});
  ASSERT_EQ(1U, templates().size());
  const StoredRecord stored = templates()[0];
  EXPECT_EQ(u"EG", stored.string(0));
  EXPECT_EQ(u"FLOW", stored.string(1));
  EXPECT_EQ(u"NODE", stored.string(2));
  EXPECT_EQ(5U, stored.templateNodeType());
  EXPECT_EQ(u"THE EVENT", stored.templateText());
}

TEST_F(MonitoringNode, ANodeWithoutEventMessageHasNoTemplate) {
  const auto node = deploy({"NODE", "input", ""});
  EXPECT_EQ(1U, blocksOf(bytes()).size());
  const MessageDescriptor descriptor{};
  node->postEvent(&descriptor, nullptr);
  EXPECT_EQ(1U, blocksOf(bytes()).size());
}

TEST_F(MonitoringNode, ANodeThatIsNotActiveForEventsHasNoTemplate) {
  const auto node = deploy({"NODE", "input", "event", "", "no"});
  EXPECT_EQ(1U, blocksOf(bytes()).size());
}

TEST_F(MonitoringNode, PostsEventsOfItsTemplate) {
  const auto node = deploy({"NODE", "input", "event"});
  MessageDescriptor descriptor{};
  std::memset(descriptor.messageId, 'M', sizeof descriptor.messageId);
  node->postEvent(&descriptor, nullptr);
  ASSERT_EQ(1U, events().size());
  EXPECT_EQ(templates()[0].id(), events()[0].parent());
  EXPECT_EQ(thisThread(), events()[0].threadId());
  EXPECT_EQ(kNow + kCalendarOffset, events()[0].eventTime());
  EXPECT_EQ(std::string(24, 'M'), charactersAt(events()[0].bytes(), 48, 24));
}

TEST_F(MonitoringNode, PostsEventsOfAGivenTemplate) {
  const auto node = deploy({"NODE", "input", "event"});
  const ZEB_String group("EG");
  const ZEB_EVTR other(&group, nullptr, nullptr, ZEB_OTHER_NODE, nullptr);
  const MessageDescriptor descriptor{};
  node->postEvent(&descriptor, &other);
  ASSERT_EQ(1U, events().size());
  EXPECT_EQ(idAt(bytesAt(other.getRecordId(), 16), 0), events()[0].parent());
}

TEST_F(MonitoringNode, PostsNothingWithoutADescriptor) {
  const auto node = deploy({"NODE", "input", "event"});
  node->postEvent(nullptr, nullptr);
  node->postException(nullptr);
  EXPECT_TRUE(events().empty());
  EXPECT_EQ(0U, host().countOf("hcxGetLastExceptionData"));
}

TEST_F(MonitoringNode, SharesAnEqualTemplateThatIsStored) {
  const auto first = deploy({"NODE", "input", "event"});
  const RecordId stored = templates()[0].id();
  setClock(kNow + 1);
  const auto second = deploy({"NODE", "input", "event"});
  ASSERT_EQ(1U, templates().size());
  const MessageDescriptor descriptor{};
  second->postEvent(&descriptor, nullptr);
  EXPECT_EQ(stored, events()[0].parent());
}

TEST_F(MonitoringNode, WithoutMemoryForItsTemplateItMeasuresWithoutEvents) {
  const auto node = makeNode();
  set(*node, {"NODE", "input", "event", nullptr});
  failAllocations(sizeof(ZEB_EVTR));
  const ZEB_String none("");
  const Tracing on;
  node->setSubFlowName(&none);
  succeedAgain();
  EXPECT_TRUE(node->isInitialized());
  EXPECT_EQ(Texts{message1(kUnit, "ZEB_Monitoring_Node::initEventMessage")}, messageLines());
  EXPECT_EQ("Exit: 0x6", textsOf(kUnit, "ZEB_Monitoring_Node::initEventMessage").back());
  const MessageDescriptor descriptor{};
  node->postEvent(&descriptor, nullptr);
  EXPECT_TRUE(events().empty());
}

TEST_F(MonitoringNode, AnExceptionIsPostedWithItsText) {
  const auto node = deploy({"NODE", "output", ""});
  host().script.exception = {"/build/Node.cpp", "E2230", "Something failed."};
  const MessageDescriptor descriptor{};
  node->postException(&descriptor);
  ASSERT_EQ(1U, templates().size());
  const StoredRecord stored = templates()[0];
  EXPECT_EQ(u"EG", stored.string(0));
  EXPECT_EQ(u"FLOW", stored.string(1));
  EXPECT_EQ(u"NODE", stored.string(2));
  EXPECT_EQ(2U, stored.templateNodeType());
  EXPECT_EQ(u"Exception found in /build/Node.cpp(E2230). Something failed.", stored.templateText());
  ASSERT_EQ(1U, events().size());
  EXPECT_EQ(stored.id(), events()[0].parent());
  EXPECT_EQ(thisThread(), events()[0].threadId());
}

TEST_F(MonitoringNode, AnExceptionHasTheTypeOfTheResourceWhateverWasSetSince) {
  const auto node = deploy({"NODE", "output", ""});
  const ZEB_String later("input");
  node->setNodeType(&later);
  const MessageDescriptor descriptor{};
  node->postException(&descriptor);
  EXPECT_EQ(2U, templates().at(0).templateNodeType());
}

TEST_F(MonitoringNode, AskedForAnExceptionTheHostGetsZeroedData) {
  const auto node = deploy({"NODE"});
  bool zeroed = false;
  host().script.exceptionData = [&zeroed](int& code, HostExceptionData& data) {
    const Bytes bytes = bytesAt(&data, sizeof data);
    zeroed = code == 0 && bytes == Bytes(1136, 0);
  };
  const MessageDescriptor descriptor{};
  node->postException(&descriptor);
  EXPECT_TRUE(zeroed);
  EXPECT_EQ(u"Exception found in (). ", templates().at(0).templateText());
}

TEST_F(MonitoringNode, TheSameExceptionHasOneTemplate) {
  const auto node = deploy({"NODE"});
  const MessageDescriptor descriptor{};
  node->postException(&descriptor);
  setClock(kNow + 1);
  node->postException(&descriptor);
  EXPECT_EQ(1U, templates().size());
  ASSERT_EQ(2U, events().size());
  EXPECT_EQ(templates()[0].id(), events()[1].parent());
}

TEST_F(MonitoringNode, AnUninitialisedNodePostsExceptionsOnly) {
  const auto node = makeNode();
  const ZEB_String message("event");
  node->setEventMessage(&message);
  const MessageDescriptor descriptor{};
  node->postEvent(&descriptor, nullptr);
  EXPECT_EQ(1U, blocksOf(bytes()).size());
  node->postException(&descriptor);
  EXPECT_EQ(1U, events().size());
}

TEST_F(MonitoringNode, AnExceptionWithoutStoredTemplateIsAnOrdinaryEvent) {
  const auto node = deploy({"NODE", "input", "event"});
  const std::string origin(600, 'x');
  host().script.exception = {origin.c_str(), "CODE", nullptr};
  constexpr std::size_t kText = 19 + 600 + 1 + 4 + 3;
  failAllocations(40 + (4 + 6) + (8 + 6) + (8 + 6) + 4 + (2 * kText + 6));
  const MessageDescriptor descriptor{};
  node->postException(&descriptor);
  succeedAgain();
  EXPECT_EQ(1U, templates().size());
  ASSERT_EQ(1U, events().size());
  EXPECT_EQ(templates()[0].id(), events()[0].parent());
}

// --- trace ---

TEST_F(MonitoringNode, EveryOperationTraces) {
  const ZEB_String text("x");
  const MessageDescriptor descriptor{};
  const Tracing on;
  {
    const auto node = makeNode();
    const ZEB_String yes("yes");
    node->setQueueTimeCollection(&yes);
    set(*node, {"NODE", "output", "event"});
    node->updateStatistics(kNoTime, kNoTime, 1);
    node->postEvent(&descriptor, nullptr);
    node->postException(&descriptor);
    node->OK();
    node->getStatus();
    node->isActiveForStats();
    node->isActiveForEvents();
    node->isNodeLabelSet();
    node->isInitialized();
    node->getNodeType();
    ZEB_Monitoring_Node::getThreadId();
    ZEB_Monitoring_Node::getProcessId();
  }
  expectTraced(kUnit,
               {{"ZEB_Monitoring_Node::ZEB_Monitoring_Node", "Exit"},
                {"ZEB_Monitoring_Node::init", "Exit"},
                {"ZEB_Monitoring_Node::setQueueTimeCollection", "Exit"},
                {"ZEB_Monitoring_Node::setNodeLabel", "Exit"},
                {"ZEB_Monitoring_Node::setNodeType", "Exit"},
                {"ZEB_Monitoring_Node::setEventMessage", "Exit: 0x0"},
                {"ZEB_Monitoring_Node::setActivateNode", "Exit"},
                {"ZEB_Monitoring_Node::initializeNode", "Exit"},
                {"ZEB_Monitoring_Node::initEventMessage", "Exit: 0x0"},
                {"ZEB_Monitoring_Node::updateStatistics", "Exit"},
                {"ZEB_Monitoring_Node::postEvent", "Exit"},
                {"ZEB_Monitoring_Node::postException", "Exit"},
                {"ZEB_Monitoring_Node::OK", "Exit: 0x1"},
                {"ZEB_Monitoring_Node::getStatus", "Exit: 0x0"},
                {"ZEB_Monitoring_Node::isActiveForStats", "Exit: 0x1"},
                {"ZEB_Monitoring_Node::isActiveForEvents", "Exit: 0x1"},
                {"ZEB_Monitoring_Node::isNodeLabelSet", "Exit: 0x1"},
                {"ZEB_Monitoring_Node::isInitialized", "Exit: 0x1"},
                {"ZEB_Monitoring_Node::getNodeType", "Exit: 0x2"},
                {"ZEB_Monitoring_Node::getThreadId", exitOf(pthread_self())},
                {"ZEB_Monitoring_Node::getProcessId", exitOf(static_cast<unsigned long>(getpid()))},
                {"ZEB_Monitoring_Node::cleanup", "Exit"},
                {"ZEB_Monitoring_Node::~ZEB_Monitoring_Node", "Exit"}});
}

TEST_F(MonitoringNode, TheSubFlowSetterTracesUnderTheLabelSettersName) {
  const auto node = makeNode();
  const ZEB_String text("x");
  const Tracing on;
  node->setNodeLabel(&text);
  EXPECT_EQ((Texts{"Entry", "Exit"}), textsOf(kUnit, "ZEB_Monitoring_Node::setNodeLabel"));
  host().forget();
  node->setSubFlowName(&text);
  EXPECT_EQ((Texts{"Entry", "Exit"}), textsOf(kUnit, "ZEB_Monitoring_Node::setNodeLabel"));
  EXPECT_EQ(0U, entriesOf("ZEB_Monitoring_Node::setSubFlowName"));
}

}  // namespace

}  // namespace monitoring_node_test
