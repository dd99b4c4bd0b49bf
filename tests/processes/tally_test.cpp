// SPDX-License-Identifier: Apache-2.0
// Everything at once: messages of all sizes and ages, failures, events, and contexts that come and
// go meanwhile. What is stored must be what was counted beside it.
#include <gtest/gtest.h>

#include <barrier>

#include "tests/processes/tally.h"
#include "tests/support/plugin.h"
#include "tests/support/processes.h"

namespace tally_test {

using namespace support;

namespace {

constexpr int kWriters = 8;
constexpr int kMessages = 300;
// Room for all events: none is overwritten.
constexpr char kSettings[] = "ZEBMemorySize 1048576\n";

NodePlan inputNode(int number) {
  return {.label = u"node " + std::u16string(1, static_cast<char16_t>(u'0' + number)),
          .type = u"input",
          .eventMessage = u"seen"};
}

class Tallied : public PluginBeforeStart {
 protected:
  Tallied() {
    writeFile("/var/holt/registry/BRK2/BrokerUUID", "UUID2\n");
    writeFile(kConfiguration, kSettings);
  }

  // Eight threads send through these nodes, each its own messages. Gives each thread's tally.
  static std::vector<Tally> sendOnEightThreads(const std::vector<NodeContext*>& nodes) {
    std::vector<Tally> tallies(kWriters);
    std::barrier start(kWriters);
    const PassingContexts passing;
    std::vector<std::jthread> threads;
    for (std::size_t number = 0; number < kWriters; ++number)
      threads.emplace_back([&, number] {
        start.arrive_and_wait();
        tallies[number] = sendTallied(*nodes[number], static_cast<int>(number), kMessages);
      });
    return tallies;
  }
};

TEST_F(Tallied, EightThreadsThroughOneNodeAreStoredAsCounted) {
  startLibrary();
  prepareTally();
  const auto node = deploy(inputNode(0));
  Tally all;
  for (const Tally& tally : sendOnEightThreads(std::vector<NodeContext*>(kWriters, node.get())))
    all.add(tally);
  EXPECT_EQ(all.count, kWriters * kMessages);
  expectTally(u"node 0", all);
  expectTalliedEvents(kWriters, kMessages);
  EXPECT_EQ(templates().size(), 4U);
  EXPECT_TRUE(host().messages().empty());
}

TEST_F(Tallied, EightThreadsThroughEightNodesAreStoredAsCounted) {
  startLibrary();
  prepareTally();
  std::vector<std::unique_ptr<NodeContext>> nodes;
  std::vector<NodeContext*> used;
  for (int number = 0; number < kWriters; ++number) {
    nodes.push_back(deploy(inputNode(number)));
    used.push_back(nodes.back().get());
  }
  const auto tallies = sendOnEightThreads(used);
  for (int number = 0; number < kWriters; ++number)
    expectTally(inputNode(number).label, tallies[static_cast<std::size_t>(number)]);
  expectTalliedEvents(kWriters, kMessages);
  EXPECT_EQ(templates().size(), 4U * kWriters);
  EXPECT_TRUE(host().messages().empty());
}

int talliedGroup(Steps& parent, const std::vector<std::string>& words) {
  const int number = std::stoi(words[0]);
  startLibrary();
  prepareTally();
  ScriptedNode where;
  where.executionGroup = u"group of " + inputNode(number).label;
  const auto node = deploy(inputNode(number), where);
  parent.tell("deployed");
  parent.hear();
  {
    const PassingContexts passing;
    parent.tell(sendTallied(*node, number, kMessages).line());
  }
  parent.tell("sent");
  parent.hear();
  for (const LogEntry& message : host().messages())
    std::fprintf(stderr, "%s\n", message.text.c_str());
  return host().messages().empty() ? 0 : 1;
}
const Role kTalliedGroup("tallied group", talliedGroup);

TEST_F(Tallied, EightProcessesWithAGroupEachAreStoredAsCounted) {
  std::vector<std::unique_ptr<Child>> groups;
  for (int number = 0; number < kWriters; ++number)
    groups.push_back(
        std::make_unique<Child>("tallied group", std::vector<std::string>{std::to_string(number)}));
  for (auto& group : groups) EXPECT_EQ(group->hear(), "deployed");
  for (auto& group : groups) group->tell("go");
  std::vector<Tally> tallies;
  for (auto& group : groups) tallies.push_back(Tally::from(group->hear()));
  for (auto& group : groups) EXPECT_EQ(group->hear(), "sent");
  for (int number = 0; number < kWriters; ++number)
    expectTally(inputNode(number).label, tallies[static_cast<std::size_t>(number)]);
  expectTalliedEvents(kWriters, kMessages);
  EXPECT_EQ(templates().size(), 4U * kWriters);
  for (auto& group : groups) group->tell("end");
  for (auto& group : groups) EXPECT_EQ(group->wait(), 0) << "messages were logged";
  EXPECT_TRUE(keyFiles().empty());
}

}  // namespace

}  // namespace tally_test
