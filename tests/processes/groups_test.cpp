#include "tests/processes/groups.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <set>

#include "tests/plugin/plugin.h"
#include "tests/support/ipc_objects.h"
#include "tests/support/leftovers.h"

using namespace support;

namespace {

class Groups : public PluginBeforeStart {};

std::vector<GroupPlan> plansFor(int groups, GroupPlan plan) {
  std::vector<GroupPlan> plans;
  for (plan.number = 0; plan.number < groups; ++plan.number) plans.push_back(plan);
  return plans;
}

std::vector<std::u16string> allLabels(int groups) {
  std::vector<std::u16string> labels;
  for (int number = 0; number < groups; ++number) labels.push_back(nodeLabel(number));
  return labels;
}

std::vector<std::u16string> sorted(std::vector<std::u16string> labels) {
  std::sort(labels.begin(), labels.end());
  return labels;
}

TEST_F(Groups, EightProcessesLoseNoMessageAndLeaveNothing) {
  constexpr int kProcesses = 8;
  constexpr int kMessages = 2000;
  auto groups = startGroups(plansFor(kProcesses, {.messages = kMessages}));
  tellAll(groups, "deploy");
  hearAll(groups, "deployed");
  tellAll(groups, "send");
  hearAll(groups, "sent");
  for (int number = 0; number < kProcesses; ++number) {
    const StoredRecord statistics = statisticsOf(nodeLabel(number));
    EXPECT_EQ(statistics.count(), kMessages);
    EXPECT_EQ(statistics.sumSize(), static_cast<long long>(kMessages) * (1000 + number));
    EXPECT_EQ(statistics.minSize(), 1000 + number);
    EXPECT_EQ(statistics.maxSize(), 1000 + number);
  }
  EXPECT_EQ(segmentOf("/tmp/UUID1.zebcshme")->attached, 8U);
  endAll(groups);
  EXPECT_TRUE(keyFiles().empty());
}

TEST_F(Groups, EightProcessesThatStartAtOnceLeaveNoNodeUnreachable) {
  constexpr int kProcesses = 8;
  for (int round = 0; round < 100; ++round) {
    auto groups = startGroups(plansFor(kProcesses, {}));
    tellAll(groups, "deploy");
    hearAll(groups, "deployed");
    const auto records = statisticsRecords();
    EXPECT_EQ(sorted(reachableNodes(records)), sorted(allLabels(kProcesses))) << "round " << round;
    EXPECT_EQ(ofType(records, kStatistics).size(), 8U);
    endAll(groups);
    ASSERT_TRUE(keyFiles().empty());
  }
}

TEST_F(Groups, RecordsOfProcessesThatStartAtOnceHaveDifferentIdentifiers) {
  auto groups = startGroups(plansFor(8, {}));
  tellAll(groups, "deploy");
  hearAll(groups, "deployed");
  std::set<RecordId> ids;
  const auto records = statisticsRecords();
  for (const StoredRecord& record : records) ids.insert(record.id());
  EXPECT_EQ(ids.size(), records.size());
  endAll(groups);
}

TEST_F(Groups, AKilledProcessTakesNobodysCountWithIt) {
  leavesThingsBehind();
  constexpr int kMessages = 500;
  auto groups = startGroups(plansFor(4, {.messages = kMessages}));
  tellAll(groups, "deploy");
  hearAll(groups, "deployed");
  tellAll(groups, "send");
  hearAll(groups, "sent");
  groups.back()->kill(SIGKILL);
  EXPECT_EQ(groups.back()->wait(), -SIGKILL);
  groups.pop_back();
  tellAll(groups, "send");
  hearAll(groups, "sent");
  for (int number = 0; number < 3; ++number)
    EXPECT_EQ(statisticsOf(nodeLabel(number)).count(), 2 * kMessages);
  // Nobody marked the dead one's node, and what it counted is there to read.
  EXPECT_EQ(statisticsOf(nodeLabel(3)).count(), kMessages);
  endAll(groups);
  // The segment went with the last of the living; the dead one's references stay in the queues.
  EXPECT_FALSE(segmentOf("/tmp/UUID1.zebcshme"));
  EXPECT_EQ(queueOf("/tmp/UUID1.zebcshme.zebmutx")->messages, 1U);
  EXPECT_EQ(queueOf("/tmp/UUID1.zebcstar.zebmutx")->messages, 1U);
}

TEST_F(Groups, ProcessesThatFillTheEventsOverwriteTheOldestOnly) {
  // 28 events fit into 4096 bytes less the header.
  constexpr std::size_t kSlots = (4096 - 32) / 144;
  writeFile(kConfiguration, "ZEBMemorySize 4096\n");
  auto groups = startGroups(plansFor(4, {.messages = 5000, .eventMessage = "seen"}));
  tellAll(groups, "deploy");
  hearAll(groups, "deployed");
  tellAll(groups, "send");
  hearAll(groups, "sent");
  const Bytes segment = sharedMemory();
  const Block area = findBlock(segment, "zebcedar").value();
  EXPECT_EQ(area.last, 32 + kSlots * 144);
  // All events went in turn into the slots, none lost to a second wrap.
  EXPECT_EQ(area.next, 32 + 4 * 5000 % kSlots * 144);
  const auto ring = recordsOf(segment, area);
  ASSERT_EQ(ring.size(), kSlots);
  std::set<RecordId> ids;
  for (const StoredRecord& event : ring) ids.insert(event.id());
  EXPECT_EQ(ids.size(), kSlots);
  const auto kinds = templates();
  ASSERT_EQ(kinds.size(), 4U);
  for (const StoredRecord& event : ring)
    EXPECT_EQ(std::count_if(kinds.begin(), kinds.end(),
                            [&](const StoredRecord& kind) { return event.isChildOf(kind); }),
              1);
  endAll(groups);
}

TEST_F(Groups, FailuresInSeveralProcessesAreAllThere) {
  auto groups = startGroups(plansFor(4, {.messages = 20, .failing = true}));
  tellAll(groups, "deploy");
  hearAll(groups, "deployed");
  tellAll(groups, "send");
  hearAll(groups, "sent");
  EXPECT_EQ(events().size(), 40U);
  for (int number = 0; number < 4; ++number) EXPECT_EQ(statisticsOf(nodeLabel(number)).count(), 20);
  const auto kinds = templates();
  EXPECT_EQ(kinds.size(), 4U);
  for (const StoredRecord& event : events())
    EXPECT_EQ(std::count_if(kinds.begin(), kinds.end(),
                            [&](const StoredRecord& kind) { return event.isChildOf(kind); }),
              1);
  endAll(groups);
}

}  // namespace
