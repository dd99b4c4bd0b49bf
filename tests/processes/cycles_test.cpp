// SPDX-License-Identifier: Apache-2.0
// Nodes that come and go, again and again.
//
// ZEB_CYCLES sets how often where it is about what one cycle leaves.
#include <gtest/gtest.h>
#include <malloc.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "tests/support/ipc_objects.h"
#include "tests/support/plugin.h"
#include "tests/support/processes.h"

namespace cycles_test {

using namespace support;

namespace {

class Cycles : public PluginTest {};

// Deploys and deletes a node that has seen a message, again and again. Exits with 0 when nothing
// was logged.
int cycle(Steps& parent, const std::vector<std::string>& words) {
  startLibrary();
  host().recording = false;
  ScriptedNode where;
  where.executionGroup = std::u16string(words[0].begin(), words[0].end());
  parent.tell("ready");
  parent.hear();
  const int cycles = std::stoi(words[1]);
  for (int i = 0; i < cycles; ++i) deploy({.eventMessage = u"seen"}, where)->send();
  for (const LogEntry& message : host().messages())
    std::fprintf(stderr, "%s\n", message.text.c_str());
  return host().messages().empty() ? 0 : 1;
}
const Role kCycle("cycle", cycle);

TEST_F(Cycles, MoreThanTheAttachTableHasEntriesInOneProcess) {
  for (int i = 0; i < 60; ++i) {
    const auto node = deploy({});
    node->send(700);
    ASSERT_EQ(statisticsOf(u"NODE1").count(), 1) << "cycle " << i;
  }
  EXPECT_TRUE(host().messages().empty());
  EXPECT_TRUE(segments().size() == 1U) << "only the one that every test process starts with";
}

int cyclesToGo() {
  // NOLINTNEXTLINE(concurrency-mt-unsafe): nothing writes the environment.
  const char* const value = std::getenv("ZEB_CYCLES");
  return value == nullptr ? 1000 : static_cast<int>(std::strtol(value, nullptr, 10));
}

auto entriesOf(const char* folder) {
  return std::distance(std::filesystem::directory_iterator(folder), {});
}

// What this process and its namespaces hold.
struct Holdings {
  Holdings()
      : objects(messageQueues().size() + semaphoreSets().size() + segments().size()),
        files(entriesOf("/tmp")),
        descriptors(entriesOf("/proc/self/fd")) {
    malloc_trim(0);  // what is freed is not held
    std::ifstream sums("/proc/self/smaps_rollup");
    for (std::string word; sums >> word;)
      if (word == "Anonymous:") sums >> anonymousKilobytes;
  }

  std::size_t objects;
  std::ptrdiff_t files;
  std::ptrdiff_t descriptors;
  long anonymousKilobytes = 0;
};

class ManyCycles : public PluginTest {
 protected:
  ManyCycles() {
    host().recording = false;
    host().script.rethrow = [](int&) { throw Rethrown{}; };
    host().script.propagate = [this](int& code, HostMessage*) { code = failing_ ? 64 : 0; };
  }

  // A node that sees a message, one that fails, and its end.
  void cycle() {
    const auto node = deploy({.label = u"COMES", .eventMessage = u"seen"});
    failing_ = false;
    node->send();
    failing_ = true;
    EXPECT_THROW(node->send(), Rethrown);
  }

  // What grows with each cycle grows the more, the more there are; the first fill caches and heap.
  void expectNoGrowth() {
    const int cycles = cyclesToGo();
    for (int i = 0; i < 100; ++i) cycle();
    const Holdings before;
    for (int i = 0; i < cycles; ++i) cycle();
    const Holdings after;
    EXPECT_EQ(after.objects, before.objects);
    EXPECT_EQ(after.files, before.files);
    EXPECT_EQ(after.descriptors, before.descriptors);
    EXPECT_TRUE(host().messages().empty());
    ASSERT_GT(before.anonymousKilobytes, 0);
    if (kOwnHeap) return;  // a sanitizer keeps freed memory, and finds leaks by itself
    EXPECT_LE(after.anonymousKilobytes, before.anonymousKilobytes + kNoise);
  }

  static constexpr bool kOwnHeap = sizeof ZEB_SANITIZERS > 1;
  static constexpr long kNoise = 8;

 private:
  bool failing_ = false;
};

TEST_F(ManyCycles, LeaveNoObjectNoFileNoDescriptorAndNoMemory) {
  expectNoGrowth();
  EXPECT_TRUE(keyFiles().empty());
}

TEST_F(ManyCycles, BesideANodeThatStaysLeaveNothingEither) {
  const auto staying = deploy({.label = u"STAYS"});
  staying->send();
  cycle();
  const std::size_t records = statisticsRecords().size();
  expectNoGrowth();
  EXPECT_EQ(statisticsRecords().size(), records);
}

// The last user of a lock removes it just when the next one joins it.
void comeAndGo(const std::vector<std::string>& groups, const std::string& cycles) {
  std::vector<std::unique_ptr<Child>> processes;
  for (const std::string& group : groups)
    processes.push_back(std::make_unique<Child>("cycle", std::vector<std::string>{group, cycles}));
  for (auto& process : processes) EXPECT_EQ(process->hear(), "ready");
  for (auto& process : processes) process->tell("go");
  for (auto& process : processes) EXPECT_EQ(process->wait(), 0) << "messages were logged";
  EXPECT_TRUE(keyFiles().empty());
}

TEST_F(Cycles, TwoProcessesThatComeAndGoMeetNoDyingLock) {
  comeAndGo({"a", "b"}, "400");
}

TEST_F(Cycles, FourProcessesThatComeAndGoMeetNoDyingLock) {
  comeAndGo({"a", "b", "c", "d"}, "120");
}

TEST_F(Cycles, ASegmentThatWasMadeAnewStartsEmpty) {
  deploy({.label = u"OLD"})->send();
  const auto node = deploy({.label = u"NEW"});
  const auto nodes = ofType(statisticsRecords(), kNode);
  ASSERT_EQ(nodes.size(), 1U);
  EXPECT_EQ(nodes[0].label(), u"NEW");
}

}  // namespace

}  // namespace cycles_test
