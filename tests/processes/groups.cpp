#include "tests/processes/groups.h"

#include <gtest/gtest.h>

#include "tests/plugin/plugin.h"

namespace support {
namespace {

std::u16string wide(const std::string& text) {
  return {text.begin(), text.end()};
}

int group(Steps& parent, const std::vector<std::string>& words) {
  const int number = std::stoi(words[0]);
  const int messages = std::stoi(words[1]);
  const bool failing = words[2] == "failing";
  startLibrary();
  host().recording = false;
  host().script.rethrow = [](int&) { throw Rethrown{}; };
  ScriptedNode where;
  where.executionGroup = u"group " + wide(words[0]);
  NodePlan plan;
  plan.label = nodeLabel(number);
  plan.eventMessage = wide(words[3]);
  std::unique_ptr<NodeContext> node;
  for (std::string line = parent.hear(); !line.empty() && line != "end"; line = parent.hear()) {
    if (line == "deploy") {
      node = deploy(plan, where);
      parent.tell("deployed");
      continue;
    }
    for (int i = 0; i < messages; ++i) {
      const bool fails = failing && i % 2 == 1;
      host().script.propagate = [fails](int& code, HostMessage*) { code = fails ? 64 : 0; };
      try {
        node->send(1000 + number);
      } catch (const Rethrown&) {
      }
    }
    parent.tell("sent");
  }
  node.reset();
  return static_cast<int>(host().messages().size());
}
const Role kGroupRole("group", group);

}  // namespace

std::u16string nodeLabel(int number) {
  return u"node of group " + wide(std::to_string(number));
}

std::vector<std::unique_ptr<Child>> startGroups(const std::vector<GroupPlan>& plans) {
  std::vector<std::unique_ptr<Child>> groups;
  for (const GroupPlan& plan : plans) {
    groups.push_back(std::make_unique<Child>(
        "group",
        std::vector<std::string>{std::to_string(plan.number), std::to_string(plan.messages),
                                 plan.failing ? "failing" : "well", plan.eventMessage}));
  }
  return groups;
}

void tellAll(std::vector<std::unique_ptr<Child>>& groups, const std::string& line) {
  for (auto& group : groups) group->tell(line);
}

void hearAll(std::vector<std::unique_ptr<Child>>& groups, const std::string& line) {
  for (auto& group : groups) EXPECT_EQ(group->hear(), line);
}

void endAll(std::vector<std::unique_ptr<Child>>& groups) {
  tellAll(groups, "end");
  for (auto& group : groups) EXPECT_EQ(group->wait(), 0) << "messages were logged";
}

std::vector<std::u16string> reachableNodes(const std::vector<StoredRecord>& records) {
  const auto brokers = ofType(records, kBroker);
  EXPECT_EQ(brokers.size(), 1U);
  std::vector<std::u16string> labels;
  for (const StoredRecord& owner : brokers)
    for (const StoredRecord& execution : ofType(records, kGroup))
      for (const StoredRecord& flow : ofType(records, kFlow))
        for (const StoredRecord& node : ofType(records, kNode))
          if (execution.isChildOf(owner) && flow.isChildOf(execution) && node.isChildOf(flow))
            labels.push_back(node.label());
  return labels;
}

}  // namespace support
