// SPDX-License-Identifier: Apache-2.0
// What the library says of itself while tracing is on, and that it says nothing while it is off.
#include <gtest/gtest.h>
#include <regex.h>

#include <algorithm>
#include <map>
#include <set>
#include <thread>

#include "tests/support/ipc_objects.h"
#include "tests/support/plugin.h"

namespace trace_test {

using namespace support;

namespace {

const std::set<std::string> kUnits = {
    "zebcbrir", "zebcbrkr", "zebcedar", "zebcegir", "zebcetar", "zebcevar", "zebcevdr", "zebcevir",
    "zebcevtr", "zebcexgr", "zebcmefl", "zebcmema", "zebcmsre", "zebcmutx", "zebcnode", "zebcnoir",
    "zebcrcrd", "zebcrcst", "zebcreid", "zebcreir", "zebcshar", "zebcshme", "zebcstar", "zebcstir",
    "zebcstrn", "zebctime", "zebctool", "zebpattr", "zebpcont", "zebpmono", "zebpnode"};

// Deploys two nodes, sets, reads and enumerates attributes, sends messages that pass, fail and
// reach the limit on several threads, replaces a node by another one, and stops.
void liveALife() {
  auto first = deploy({.type = u"input", .eventMessage = u"text"});
  auto second = deploy({.label = u"NODE2", .subFlowName = u"A"});
  std::uint16_t buffer[64];
  table().getAttribute(first->context(), units(u"type"), buffer, 64);
  table().getAttribute(first->context(), units(u"collectQueueTime"), buffer, 64);
  table().getAttributeName(first->context(), 0, buffer, 64);
  std::vector<std::thread> threads;
  for (int i = 0; i < 3; ++i) threads.emplace_back([&] { first->send(); });
  for (std::thread& thread : threads) thread.join();
  host().script.propagate = [](int& code, HostMessage*) { code = 64; };
  host().script.rethrow = [](int&) {};
  first->send();
  host().script.propagate = nullptr;
  WritableSegment().putText(statisticsOf(u"NODE2").at() + 40, "2147483647", 24);
  second->send();
  second->end();
  second = deploy({.label = u"NODE2", .subFlowName = u"AB"});
  second->send();
}

class Trace : public PluginBeforeStart {
 protected:
  Trace() { startLibrary("ZEBNodeTrace On\n"); }
};
using TraceBeforeStart = PluginBeforeStart;

// Whole texts against an extended regular expression of POSIX.
class Form {
 public:
  explicit Form(const std::string& pattern) {
    if (regcomp(&compiled_, ("^(" + pattern + ")$").c_str(), REG_EXTENDED | REG_NOSUB) != 0) {
      throw std::runtime_error("no pattern: " + pattern);
    }
  }
  ~Form() { regfree(&compiled_); }
  Form(const Form&) = delete;
  Form& operator=(const Form&) = delete;
  bool fits(const std::string& text) const {
    return regexec(&compiled_, text.c_str(), 0, nullptr, 0) == 0;
  }

 private:
  regex_t compiled_;
};

bool isEntry(const LogEntry& entry) {
  return entry.text == "Entry";
}
bool isExit(const LogEntry& entry) {
  static const Form form("Exit(: 0x[0-9A-F]{1,8})?");
  return form.fits(entry.text);
}

TEST_F(Trace, EveryEntryIsInTheFormOfATraceEntry) {
  liveALife();
  ASSERT_GT(host().trace().size(), 1000U);
  for (const LogEntry& entry : host().trace()) {
    EXPECT_EQ(2, entry.type);
    EXPECT_TRUE(entry.hasSource);
    EXPECT_EQ(u"", entry.source);
    EXPECT_TRUE(entry.inserts.empty()) << entry.text;
    EXPECT_TRUE(kUnits.contains(entry.unit)) << entry.unit;
    EXPECT_GT(entry.line, 0);
    EXPECT_LT(entry.text.size(), 1024U);
  }
}

TEST_F(Trace, EntriesAndExitsPairOnEveryThreadAndTextsStandBetweenThem) {
  host().forget();
  liveALife();
  std::map<unsigned long, std::vector<std::string>> running;
  for (const LogEntry& entry : host().log()) {
    std::vector<std::string>& operations = running[entry.thread];
    const std::string name = entry.unit + " " + entry.function;
    if (isEntry(entry)) {
      operations.push_back(name);
      continue;
    }
    ASSERT_FALSE(operations.empty()) << name << ": " << entry.text;
    ASSERT_EQ(operations.back(), name) << entry.text;
    if (isExit(entry)) operations.pop_back();
  }
  EXPECT_EQ(4U, running.size());
  for (const auto& [thread, operations] : running) EXPECT_TRUE(operations.empty());
}

TEST_F(TraceBeforeStart, TheFirstStartTracesItsExitsWithoutTheirEntries) {
  startLibrary("ZEBNodeTrace On\n");
  std::vector<std::string> ofEntryPoint;
  std::vector<std::string> ofCommonValues;
  for (const LogEntry& entry : host().trace()) {
    if (entry.function == "gqaGetMessageflowNodeFactory") ofEntryPoint.push_back(entry.text);
    if (entry.function == "getCommonValues") ofCommonValues.push_back(entry.text);
  }
  ASSERT_EQ(2U, ofEntryPoint.size());
  EXPECT_EQ("DravikMonitorNodeFactory-ComDravikMonitorNode", ofEntryPoint[0]);
  EXPECT_TRUE(ofEntryPoint[1].starts_with("Exit: 0x"));
  EXPECT_EQ((std::vector<std::string>{"Exit"}), ofCommonValues);
}

TEST_F(TraceBeforeStart, OffIsSilentFromEndToEnd) {
  startLibrary("ZEBNodeTrace off\n");
  liveALife();
  EXPECT_TRUE(host().trace().empty());
  EXPECT_EQ(1U, host().messages().size());
}

TEST_F(Trace, SwitchedOffStopsAtOnce) {
  const auto node = deploy({});
  startLibrary("");
  host().forget();
  node->send();
  EXPECT_TRUE(host().trace().empty());
}

// The texts that one function wrote.
std::vector<std::string> textsOf(const std::string& unit, const std::string& function) {
  std::vector<std::string> texts;
  for (const LogEntry& entry : host().trace()) {
    if (entry.unit == unit && entry.function == function) texts.push_back(entry.text);
  }
  return texts;
}

struct Text {
  const char* unit;
  const char* function;
  const char* pattern;
};

void PrintTo(const Text& text, std::ostream* out) {
  *out << text.function << ": " << text.pattern;
}

// One run for all of them; the pairs are reported one by one.
TEST_F(Trace, OperationsWriteTheirTexts) {
  startLibrary();
  liveALife();
  const Text texts[] = {
      {"zebpnode", "gqaGetMessageflowNodeFactory", "Exit: 0x[0-9A-F]+"},
      {"zebpnode", "zebCreateNodeContext", "Exit: 0x[0-9A-F]+"},
      {"zebpnode", "zebDeleteNodeContext", "Exit"},
      {"zebpnode", "zebSetAttribute", "Exit: 0x0"},
      {"zebpnode", "zebSetAttribute", "Exit: 0x1"},
      {"zebpnode", "zebGetAttribute", "Exit: 0x0"},
      {"zebpnode", "zebGetAttributeName", "Exit: 0x0"},
      {"zebpnode", "zebEvaluate", "Exit"},
      {"zebpnode", "getCommonValues", "Entry"},
      {"zebpcont", "ZEB_Node_Context::ZEB_Node_Context", "Entry"},
      {"zebpcont", "ZEB_Node_Context::~ZEB_Node_Context", "Entry"},
      {"zebpcont", "ZEB_Node_Context::cleanup", "Exit"},
      {"zebpcont", "ZEB_Node_Context::getResourceNames", "Broker Label = BRK1"},
      {"zebpcont", "ZEB_Node_Context::getResourceNames", "Broker Uuid = UUID1"},
      {"zebpcont", "ZEB_Node_Context::getResourceNames", "Execution Group Label = default"},
      {"zebpcont", "ZEB_Node_Context::getResourceNames", "Message Flow Label = FLOW1"},
      {"zebpcont", "ZEB_Node_Context::processMessage", "hnxPropagate rc=0"},
      {"zebpcont", "ZEB_Node_Context::processMessage", "hnxPropagate rc=64"},
      {"zebpcont", "ZEB_Node_Context::getQueuedTime", "Entry"},
      {"zebpcont", "ZEB_Node_Context::setAttributeValue",
       "Attribute Name = <type>  Attribute Value = <input>"},
      {"zebpcont", "ZEB_Node_Context::setAttributeValue", "Exit: 0x1"},
      {"zebpcont", "ZEB_Node_Context::insertAttribute", "Exit.*"},
      {"zebpcont", "ZEB_Node_Context::getAttributeValue",
       "Attribute Name = <type>  Buffer size = <64>"},
      {"zebpcont", "ZEB_Node_Context::getAttributeValue", "Attribute Value = <input>"},
      {"zebpcont", "ZEB_Node_Context::getAttributeValue", "Attribute Value \\(Default\\) = <yes>"},
      {"zebpcont", "ZEB_Node_Context::getAttributeName", "Index = <0> Buffer size = <64>"},
      {"zebpcont", "ZEB_Node_Context::getAttributeName", "Attribute Name = <type>"},
      {"zebpcont", "ZEB_Node_Context::setNodeLabel", "Entry"},
      {"zebpattr", "ZEB_Attributes_List::find", "Attribute type found"},
      {"zebpmono", "ZEB_Monitoring_Node::ZEB_Monitoring_Node", "Entry"},
      {"zebpmono", "ZEB_Monitoring_Node::initializeNode", "Exit"},
      {"zebpmono", "ZEB_Monitoring_Node::initEventMessage", "Exit: 0x0"},
      {"zebpmono", "ZEB_Monitoring_Node::updateStatistics", "Entry"},
      {"zebpmono", "ZEB_Monitoring_Node::postEvent", "Entry"},
      {"zebpmono", "ZEB_Monitoring_Node::postException", "Entry"},
      {"zebctool", "ZEB_GetRegistryValue", "opendir /opt/holt/lil/zebpnode\\.cfg rc 0"},
      {"zebctool", "ZEB_GetRegistryValue", "opendir /var/holt/registry/BRK1 rc [1-9][0-9]*"},
      {"zebctool", "ZEB_GetRegistryValue", "fopen /opt/holt/lil/zebpnode\\.cfg rc [1-9][0-9]*"},
      {"zebctool", "ZEB_GetRegistryValue",
       "fopen /var/holt/registry/BRK1/BrokerUUID rc [1-9][0-9]*"},
      {"zebctool", "ZEB_GetRegistryValue",
       "Looking for ZEBNodeTrace in /opt/holt/lil/zebpnode\\.cfg"},
      {"zebctool", "ZEB_GetRegistryValue", "value=<On>"},
      {"zebctool", "ZEB_GetRegistryValue", "Value = On"},
      {"zebctool", "ZEB_GetRegistryValue", "Value = "},
      {"zebctool", "ZEB_FindRegistryValue", "Exit"},
      {"zebcbrkr", "ZEB_Broker::init", "Entry"},
      {"zebcbrkr", "ZEB_Broker::createStatisticsArea", "Entry"},
      {"zebcbrkr", "ZEB_Broker::createEventsArea", "Entry"},
      {"zebcbrkr", "ZEB_Broker::insertExecutionGroup", "Entry"},
      {"zebcbrkr", "ZEB_Broker::insertExecutionGroup2", "Exit: 0x[0-9A-F]+"},
      {"zebcbrkr", "ZEB_Broker::readStatsArea", "Exit: 0x0"},
      {"zebcbrkr", "ZEB_Broker::findExecutionGroups", "Exit: 0x0"},
      {"zebcbrkr", "ZEB_Broker::populateStatsArea", "Exit: 0x0"},
      {"zebcbrkr", "ZEB_Broker::updateStatistics", "Exit: 0x0"},
      {"zebcbrkr", "ZEB_Broker::resetStatistics", "Exit"},
      {"zebcbrkr", "ZEB_Broker::deleteNode", "Exit"},
      {"zebcbrkr", "ZEB_Broker::postEvent", "Exit: 0x0"},
      {"zebcexgr", "ZEB_Execution_Group::insertMessageFlow2", "Entry"},
      {"zebcexgr", "ZEB_Execution_Group::findMessageFlows", "Entry"},
      {"zebcmefl", "ZEB_Message_Flow::insertNode2", "Entry"},
      {"zebcmefl", "ZEB_Execution_Group::findNodes", "Exit: 0x0"},
      {"zebcnode", "ZEB_Node::findStatistics", "Exit: 0x0"},
      {"zebcnode", "ZEB_Node::markDeleted", "Exit"},
      {"zebcrcrd", "ZEB_Record::get", "GET 40 bytes from 0x[0-9A-F]+"},
      {"zebcrcrd", "ZEB_Record::getStringRecordId", "Record ID 06000000[0-9A-F]{24}"},
      {"zebcrcrd", "ZEB_Record::initializeMutex", "Exit: 0x0"},
      {"zebcstir", "ZEB_STIR::updateStatistics", "Exit: 0x0"},
      {"zebcstir", "ZEB_STIR::updateStatistics", "Exit: 0x5"},
      {"zebcmutx", "ZEB_Name_Mutex::ZEB_Name_Mutex",
       "Initializing mutex /tmp/UUID1\\.zebcshme\\.zebmutx"},
      {"zebcmutx", "ZEB_Name_Mutex::ZEB_Name_Mutex", "ftok = FFFFFFFF /tmp/UUID1\\..*"},
      {"zebcmutx", "ZEB_Name_Mutex::ZEB_Name_Mutex",
       "ftok = 01[0-9A-F]{6} /tmp/UUID1\\.zebcshme\\.zebmutx"},
      {"zebcmutx", "ZEB_Name_Mutex::get", "Asking for mutex /tmp/UUID1\\.zebcstar\\.zebmutx"},
      {"zebcmutx", "ZEB_Name_Mutex::get", "Got mutex /tmp/UUID1\\.zebcstar\\.zebmutx"},
      {"zebcmutx", "ZEB_Name_Mutex::release",
       "About to release mutex /tmp/UUID1\\.zebcstar\\.zebmutx"},
      {"zebcmutx", "ZEB_Name_Mutex::release", "Released mutex /tmp/UUID1\\.zebcstar\\.zebmutx"},
      {"zebcmutx", "ZEB_Name_Mutex::cleanup", "Clean up mutex /tmp/UUID1\\.zebcshme\\.zebmutx"},
      {"zebcmutx", "ZEB_Name_Mutex::cleanup", "Handle [0-9A-F]+"},
      {"zebcmutx", "ZEB_Name_Mutex::cleanup", "Messages in queue : 1"},
      {"zebcmutx", "ZEB_Name_Mutex::cleanup", "Deleting Semaphore"},
      {"zebcshme", "ZEB_Shared_Memory::init", "Initializing shared memory segment"},
      {"zebcshme", "ZEB_Shared_Memory::init", "Mutex OK"},
      {"zebcshme", "ZEB_Shared_Memory::init", "ftok = 01[0-9A-F]{6} /tmp/UUID1\\.zebcshme"},
      {"zebcshme", "ZEB_Shared_Memory::init", "Shared area successfully created\\. ID [0-9]+"},
      {"zebcshme", "ZEB_Shared_Memory::init", "zeb_attach adddress = 0x[0-9A-F]+"},
      {"zebcshme", "ZEB_Shared_Memory::zeb_attach", "shmat adddress = 0x[0-9A-F]+"},
      {"zebcshme", "ZEB_Shared_Memory::zeb_dettach", "Exit: 0x0"},
      {"zebctool", "ZEB_DumpMemory", "zebshmsegments table"},
      {"zebctool", "ZEB_DumpMemory", "Header"},
      {"zebctool", "ZEB_DumpMemory", "eventsLastUpdate"},
      {"zebctool", "ZEB_DumpMemory",
       "\\| 0X[0-9A-F]+ \\| 7A 65 62 63 73 68 6D 65  \\| zebcshme \\|"},
      {"zebcmema", "ZEB_Memory_Manager::setSize", "Size = 98336"},
      {"zebcmema", "ZEB_Memory_Manager::setSize", "Size = 32768"},
      {"zebcmema", "ZEB_Memory_Manager::setEyecatcher", "Eyecatcher = zebcstar"},
      {"zebcmema", "ZEB_Memory_Manager::setAddress", "Address = [0-9A-F]+"},
      {"zebcmema", "ZEB_Memory_Manager::setNextPosition", "Parameter [0-9A-F]+"},
      {"zebcmema", "ZEB_Memory_Manager::setNextPosition", "Next : 20  Last : 20"},
      {"zebcmema", "ZEB_Memory_Manager::getLastAvailablePosition", "[0-9A-F]+ 8000 [0-9A-F]+"},
      {"zebcmema", "ZEB_Memory_Manager::isEnoughSpace", "isEnough [0-9A-F]+ 168"},
      {"zebcmema", "ZEB_Memory_Manager::isEnoughSpace",
       "Enough space to write 168 bytes in the memory location [0-9A-F]+"},
      {"zebcmema", "ZEB_Memory_Manager::isEnoughSpace", "Exit: 0x1"},
      {"zebcshar", "ZEB_Shared_Area::init", "Initializing shared area /tmp/UUID1\\.zebcstar"},
      {"zebcshar", "ZEB_Shared_Area::init",
       "Shared area /tmp/UUID1\\.zebcetar mapped\\. ADDRESS = 0x[0-9A-F]+"},
      {"zebcshar", "ZEB_Shared_Area::put", "Inserting record in shared area /tmp/UUID1\\.zebcedar"},
      {"zebcshar", "ZEB_Shared_Area::writeRecord",
       "Writing a record in position 0x[0-9A-F]+ of shared area /tmp/UUID1\\.zebcstar"},
      {"zebcevar", "ZEB_Events_Area::setEventTemplate", "Entry"},
      {"zebcevar", "ZEB_Events_Area::postEvent", "Exit: 0x0"},
      {"zebcetar", "ZEB_Events_Template_Area::put", "Exit: 0x0"},
      {"zebcedar", "ZEB_Events_Data_Area::put", "Exit: 0x0"},
      {"zebcevtr", "ZEB_EVTR::put", "Entry"},
      {"zebcevdr", "ZEB_EVDR::put", "Entry"},
      {"zebctime", "ZEB_Timer::start", "Exit: 0x0"},
      {"zebctime", "ZEB_Timer::stop", "Exit: 0x0"},
      {"zebcreid", "ZEB_Resource_ID::setLabel", "Entry"},
  };
  std::map<std::pair<std::string, std::string>, std::set<std::string>> written;
  for (const LogEntry& entry : host().trace()) {
    written[{entry.unit, entry.function}].insert(entry.text);
  }
  for (const Text& text : texts) {
    const std::set<std::string>& found = written[{text.unit, text.function}];
    const Form form(text.pattern);
    EXPECT_TRUE(std::any_of(found.begin(), found.end(),
                            [&](const std::string& each) { return form.fits(each); }))
        << testing::PrintToString(text) << " of " << text.unit << "; it wrote "
        << testing::PrintToString(found).substr(0, 600);
  }
}

// Three operations keep the names that readers of traces know.
TEST_F(Trace, SomeOperationsBearAnothersName) {
  host().forget();
  const auto node = deploy({});
  const auto second = deploy({.label = u"NODE2"});
  EXPECT_TRUE(textsOf("zebpmono", "ZEB_Monitoring_Node::setSubFlowName").empty());
  EXPECT_TRUE(textsOf("zebcmefl", "ZEB_Message_Flow::findNodes").empty());
  int entries = 0;
  for (const std::string& text : textsOf("zebpmono", "ZEB_Monitoring_Node::setNodeLabel")) {
    entries += text == "Entry";
  }
  EXPECT_EQ(4, entries) << "a label and a sub-flow name, twice";
}

TEST_F(Trace, ADumpWritesEightBytesALineAndFillsTheLast) {
  const auto node = deploy({});
  const Form line("\\| 0X[0-9A-F]+ \\| (([0-9A-F]{2} )|(   )){8} \\| .{8} \\|");
  std::size_t ofTable = 0;
  int tables = 0;
  bool inTable = false;
  for (const LogEntry& entry : host().trace()) {
    if (entry.function != "ZEB_DumpMemory") continue;
    if (entry.text == "zebshmsegments table") {
      inTable = true;
      ofTable = 0;
    } else if (isExit(entry)) {
      EXPECT_TRUE(!inTable || ofTable == 1200 / 8) << ofTable;
      tables += inTable ? 1 : 0;
      inTable = false;
    } else if (entry.text.starts_with("|")) {
      EXPECT_TRUE(line.fits(entry.text)) << entry.text;
      ++ofTable;
    }
  }
  EXPECT_EQ(2, tables) << "before and behind an attachment";
}

TEST_F(Trace, NothingIsWrittenWhileAnExceptionOfTheHostPasses) {
  const auto node = deploy({.eventMessage = u"text"});
  std::size_t before = 0;
  host().script.propagate = [](int& code, HostMessage*) { code = 64; };
  host().script.rethrow = [&](int&) {
    before = host().log().size();
    throw Rethrown{};
  };
  EXPECT_THROW(node->send(), Rethrown);
  EXPECT_GT(before, 0U);
  EXPECT_EQ(before, host().log().size());
  host().script.propagate = [&](int&, HostMessage*) {
    before = host().log().size();
    throw Rethrown{};
  };
  EXPECT_THROW(node->send(), Rethrown);
  EXPECT_EQ(before, host().log().size());
}

// A message that is sent while the host itself unwinds an exception is traced as any other.
TEST_F(Trace, AMessageInsideAHandlersCleanUpIsTraced) {
  const auto node = deploy({});
  struct SendsAtItsEnd {
    NodeContext& node;
    ~SendsAtItsEnd() { node.send(); }
  };
  host().forget();
  try {
    const SendsAtItsEnd last{*node};
    throw 1;
  } catch (int) {
  }
  const auto texts = textsOf("zebpnode", "zebEvaluate");
  EXPECT_EQ((std::vector<std::string>{"Entry", "Exit"}), texts);
}

enum class Kind { attach, segment, area, record };

Kind kindOf(const std::string& path) {
  if (path.find("zeb_attach_") != std::string::npos) return Kind::attach;
  if (path.ends_with(".zebcshme.zebmutx")) return Kind::segment;
  if (path.find(".zebc") != std::string::npos) return Kind::area;
  return Kind::record;
}

// Which kind of lock was asked for while which other one was held.
std::set<std::pair<Kind, Kind>> lockOrder() {
  const std::string asking = "Asking for mutex ";
  const std::string got = "Got mutex ";
  const std::string releasing = "About to release mutex ";
  std::map<unsigned long, std::vector<std::string>> held;
  std::set<std::pair<Kind, Kind>> order;
  for (const LogEntry& entry : host().trace()) {
    std::vector<std::string>& mine = held[entry.thread];
    if (entry.text.starts_with(asking)) {
      for (const std::string& path : mine) {
        order.emplace(kindOf(path), kindOf(entry.text.substr(asking.size())));
      }
    } else if (entry.text.starts_with(got)) {
      mine.push_back(entry.text.substr(got.size()));
    } else if (entry.text.starts_with(releasing)) {
      std::erase(mine, entry.text.substr(releasing.size()));
    }
  }
  return order;
}

TEST_F(Trace, LocksAreTakenRecordBeforeAreaAndSegmentBeforeAttachOnly) {
  host().forget();
  liveALife();
  const std::set<std::pair<Kind, Kind>> allowed = {{Kind::record, Kind::area},
                                                   {Kind::segment, Kind::attach}};
  EXPECT_EQ(allowed, lockOrder());
}

}  // namespace

}  // namespace trace_test
