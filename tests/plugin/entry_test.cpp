// SPDX-License-Identifier: Apache-2.0
// What the host finds in the library file, and what the entry point does.
#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <set>
#include <sstream>

#include "tests/support/plugin.h"

namespace entry_test {

using namespace support;

namespace {

using Entry = PluginTest;
using EntryBeforeStart = PluginBeforeStart;

const std::set<std::string> kExports = {"gqaGetMessageflowNodeFactory",
                                        "zebCreateNodeContext",
                                        "zebDeleteNodeContext",
                                        "zebSetAttribute",
                                        "zebGetAttribute",
                                        "zebGetAttributeName",
                                        "zebEvaluate",
                                        "getCommonValues"};

const std::set<std::string> kHostFunctions = {"hnxCreateNodeFactory",
                                              "hnxDefineNodeClass",
                                              "hnxCreateInputTerminal",
                                              "hnxGetBrokerInfo",
                                              "hnxCreateOutputTerminal",
                                              "hnxBufferSize",
                                              "hnxWriteBuffer",
                                              "hnxBufferPointer",
                                              "hnxPropagate",
                                              "hcxLog",
                                              "hcxGetLastExceptionData",
                                              "hcxRethrowLastException"};

std::string outputOf(const std::string& command) {
  FILE* const pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) throw std::runtime_error("can't run " + command);
  std::string output;
  char part[4096];
  while (const std::size_t got = fread(part, 1, sizeof part, pipe)) output.append(part, got);
  if (pclose(pipe) != 0) throw std::runtime_error(command + " failed");
  return output;
}

// The last word of each line of `nm`, and the letter in front of it.
std::vector<std::pair<char, std::string>> symbols(const std::string& choice) {
  std::istringstream lines(outputOf("nm -D " + choice + " '" ZEB_LIBRARY "'"));
  std::vector<std::pair<char, std::string>> found;
  std::string line;
  while (std::getline(lines, line)) {
    std::istringstream words(line);
    std::string word;
    std::string before;
    std::string name;
    while (words >> word) {
      before = name;
      name = word;
    }
    found.emplace_back(before.at(0), name);
  }
  return found;
}

TEST(LibraryFile, ExportsExactlyTheEightNames) {
  std::set<std::string> names;
  for (const auto& [letter, name] : symbols("--defined-only")) {
    EXPECT_EQ('T', letter) << name;
    names.insert(name);
  }
  EXPECT_EQ(kExports, names);
}

TEST(LibraryFile, NeedsOnlyTheHostsFunctionsBesideTheSystem) {
  // With a sanitizer, what it intercepts carries no version by which to tell the system's.
  if (std::string(ZEB_SANITIZERS) != "") GTEST_SKIP() << "built with " ZEB_SANITIZERS;
  std::set<std::string> names;
  for (const auto& [letter, name] : symbols("--undefined-only")) {
    const bool ofSystem = name.find('@') != std::string::npos;
    if (letter == 'U' && !ofSystem) names.insert(name);
  }
  EXPECT_EQ(kHostFunctions, names);
}

TEST(LibraryFile, DependsOnNoLibraryButTheRuntimes) {
  const std::string output = outputOf("readelf -d '" ZEB_LIBRARY "'");
  std::istringstream lines(output);
  std::string line;
  int needed = 0;
  while (std::getline(lines, line)) {
    if (line.find("(NEEDED)") == std::string::npos) continue;
    ++needed;
    bool known = false;
    for (const char* name : {"libstdc++.so", "libm.so", "libgcc_s.so", "libc.so", "libasan.so",
                             "libtsan.so", "libubsan.so", "ld-linux"}) {
      known = known || line.find(name) != std::string::npos;
    }
    EXPECT_TRUE(known) << line;
  }
  EXPECT_GE(needed, 2);
  EXPECT_NE(std::string::npos, output.find("libstdc++.so"));
}

TEST_F(EntryBeforeStart, MakesTheFactoryAndDefinesTheClass) {
  HostFactory* const factory = startLibrary();
  const std::vector<Call> calls = host().calls();
  ASSERT_EQ(2U, calls.size());
  EXPECT_EQ("hnxCreateNodeFactory", calls[0].function);
  EXPECT_EQ(u"DravikMonitorNodeFactory", calls[0].name);
  EXPECT_EQ("hnxDefineNodeClass", calls[1].function);
  EXPECT_EQ(u"ComDravikMonitorNode", calls[1].name);
  EXPECT_EQ(factory, calls[1].handles[0]);
  EXPECT_NE(nullptr, factory);
  EXPECT_EQ(0, calls[0].codeBefore);
  EXPECT_EQ(0, calls[1].codeBefore);
  EXPECT_TRUE(host().log().empty());
}

TEST_F(Entry, HandsOverATableOf88FixedBytes) {
  unsigned char bytes[88];
  std::memcpy(bytes, &table(), sizeof bytes);
  const unsigned char header[16] = {0, 0, 0, 0, 'N', 'V', 'F', 'T', 3, 0, 0, 0, 0, 0, 0, 0};
  EXPECT_EQ(0, std::memcmp(header, bytes, sizeof header));
  const char* const slots[6] = {"zebCreateNodeContext", "zebDeleteNodeContext",
                                "zebGetAttributeName",  "zebSetAttribute",
                                "zebGetAttribute",      "zebEvaluate"};
  for (std::size_t slot = 0; slot < 6; ++slot) {
    void* address = nullptr;
    std::memcpy(&address, bytes + 16 + 8 * slot, 8);
    EXPECT_EQ(exported(slots[slot]), address) << slots[slot];
  }
  for (std::size_t at = 64; at < 88; ++at) EXPECT_EQ(0, bytes[at]) << at;
}

TEST_F(Entry, ASecondCallRefillsTheSameTableAndMakesASecondFactory) {
  HostNodeFunctionTable* const first = &table();
  const HostNodeFunctionTable before = *first;
  std::memset(&first->createContext, 0, 48);
  startLibrary();
  EXPECT_EQ(first, &table());
  EXPECT_EQ(0, std::memcmp(&before, first, sizeof before));
  EXPECT_EQ(2U, host().countOf("hnxCreateNodeFactory"));
  EXPECT_EQ(2U, host().countOf("hnxDefineNodeClass"));
}

void expectMessage(const LogEntry& entry, int number, const std::string& unit,
                   const std::string& function, const std::string& text,
                   const std::vector<std::string>& inserts) {
  EXPECT_EQ(2, entry.type);
  EXPECT_EQ(number, entry.number);
  EXPECT_EQ(unit, entry.unit);
  EXPECT_EQ(function, entry.function);
  EXPECT_EQ(u"DravikMonitorNode", entry.source);
  EXPECT_EQ(text, entry.text);
  EXPECT_EQ(inserts, entry.inserts);
  EXPECT_GT(entry.line, 0);
}

TEST_F(EntryBeforeStart, ARefusedClassIsLoggedAndTheFactoryReturnedAllTheSame) {
  host().script.defineClass = [](int& code, HostNodeFunctionTable*) { code = 7; };
  EXPECT_NE(nullptr, startLibrary());
  ASSERT_EQ(1U, host().log().size());
  expectMessage(host().log()[0], 2, "zebpnode", "gqaGetMessageflowNodeFactory",
                "Function hnxDefineNodeClass failed in gqaGetMessageflowNodeFactory. 7.",
                {"hnxDefineNodeClass", "gqaGetMessageflowNodeFactory", "7"});
}

TEST_F(EntryBeforeStart, ARefusedFactoryIsLoggedAndNoClassIsDefined) {
  host().script.createFactory = [](int& code) -> HostFactory* {
    code = -12;
    return nullptr;
  };
  EXPECT_EQ(nullptr, startLibrary());
  EXPECT_EQ(0U, host().countOf("hnxDefineNodeClass"));
  ASSERT_EQ(1U, host().log().size());
  expectMessage(host().log()[0], 2, "zebpnode", "gqaGetMessageflowNodeFactory",
                "Function hnxCreateNodeFactory failed in gqaGetMessageflowNodeFactory. -12.",
                {"hnxCreateNodeFactory", "gqaGetMessageflowNodeFactory", "-12"});
}

TEST_F(EntryBeforeStart, ACodeBesideAFactoryIsNoFailure) {
  host().script.createFactory = [](int& code) {
    code = 9;
    return reinterpret_cast<HostFactory*>(&code);
  };
  EXPECT_NE(nullptr, startLibrary());
  EXPECT_EQ(1U, host().countOf("hnxDefineNodeClass"));
  EXPECT_TRUE(host().log().empty());
}

TEST_F(Entry, DeletingANullContextDoesNothing) {
  host().forget();
  table().deleteContext(nullptr);
  EXPECT_TRUE(host().calls().empty());
  EXPECT_TRUE(host().log().empty());
}

TEST_F(Entry, ANullContextIsAnsweredAndNothingIsCalled) {
  host().forget();
  std::uint16_t buffer[4] = {9, 9, 9, 9};
  EXPECT_EQ(0, table().setAttribute(nullptr, units(u"type"), units(u"input")));
  EXPECT_EQ(1, table().getAttribute(nullptr, units(u"type"), buffer, 4));
  EXPECT_EQ(1, table().getAttributeName(nullptr, 0, buffer, 4));
  EXPECT_EQ(9, buffer[0]);
  ScriptedMessage message;
  table().evaluate(nullptr, nullptr, nullptr, message.handle());
  EXPECT_TRUE(host().calls().empty());
}

TEST_F(Entry, NodeNameAndFactoryOfANewContextAreIgnored) {
  ScriptedNode node;
  int any = 0;
  void* const context =
      table().createContext(reinterpret_cast<HostFactory*>(&any), nullptr, node.handle());
  EXPECT_NE(nullptr, context);
  table().deleteContext(context);
  EXPECT_TRUE(host().log().empty());
}

}  // namespace

}  // namespace entry_test
