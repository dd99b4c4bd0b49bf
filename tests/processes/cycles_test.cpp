#include <gtest/gtest.h>

#include "tests/plugin/plugin.h"
#include "tests/support/ipc_objects.h"
#include "tests/support/processes.h"

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
