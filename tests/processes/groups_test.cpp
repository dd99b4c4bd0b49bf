// SPDX-License-Identifier: Apache-2.0
#include "tests/processes/groups.h"

#include <gtest/gtest.h>

#include <set>

#include "tests/processes/numbered.h"
#include "tests/support/ipc_objects.h"
#include "tests/support/plugin.h"

namespace groups_test {

using namespace support;

namespace {

class Groups : public PluginBeforeStart {
 protected:
  static void expectExact(int group, int messages) {
    const StoredRecord statistics = statisticsOf(nodeLabel(group));
    EXPECT_EQ(statistics.count(), messages);
    EXPECT_EQ(statistics.sumSize(), static_cast<long long>(messages) * (1000 + group));
    EXPECT_EQ(statistics.minSize(), 1000 + group);
    EXPECT_EQ(statistics.maxSize(), 1000 + group);
    EXPECT_GE(statistics.sumElapsed(), 0);
  }
};

TEST_F(Groups, EightProcessesLoseNoMessageAndLeaveNothing) {
  constexpr int kProcesses = 8;
  constexpr int kMessages = 2000;
  auto groups = startGroups(plansFor(kProcesses, {.messages = kMessages}));
  haveAll(groups, "deploy", "deployed");
  haveAll(groups, "send", "sent");
  for (int number = 0; number < kProcesses; ++number) expectExact(number, kMessages);
  EXPECT_EQ(segmentOf("/tmp/UUID1.zebcshme")->attached, 8U);
  endAll(groups);
  EXPECT_TRUE(keyFiles().empty());
}

// A signal handler makes the wait for a lock return early, which must not pass for the lock.
TEST_F(Groups, ProcessesThatSignalsInterruptLoseNoMessage) {
  constexpr int kProcesses = 4;
  constexpr int kMessages = 4000;
  auto groups = startGroups(plansFor(kProcesses, {.messages = kMessages, .interrupted = true}));
  haveAll(groups, "deploy", "deployed");
  haveAll(groups, "send", "sent");
  for (int number = 0; number < kProcesses; ++number) expectExact(number, kMessages);
  EXPECT_EQ(semaphoreOf("/tmp/UUID1.zebcstar.zebmutx")->value, 1);
  endAll(groups);
}

TEST_F(Groups, EightProcessesThatStartAtOnceLeaveNoNodeUnreachable) {
  constexpr int kProcesses = 8;
  // To start a process with its sanitizers takes four times as long.
  constexpr int kRounds = sizeof ZEB_SANITIZERS > 1 ? 25 : 100;
  for (int round = 0; round < kRounds; ++round) {
    auto groups = startGroups(plansFor(kProcesses, {}));
    haveAll(groups, "deploy", "deployed");
    const auto records = statisticsRecords();
    EXPECT_EQ(reachableNodes(records), allLabels(kProcesses)) << "round " << round;
    EXPECT_EQ(orphans(records), 0) << "round " << round;
    EXPECT_EQ(ofType(records, kStatistics).size(), 8U);
    endAll(groups);
    ASSERT_TRUE(keyFiles().empty());
  }
}

TEST_F(Groups, AProcessThatStartsWhileOthersWorkDisturbsNoRecord) {
  auto working = startGroups({{.number = 0}, {.number = 1}});
  haveAll(working, "deploy", "deployed");
  haveAll(working, "work", "working");
  auto joining = startGroups({{.number = 2, .messages = 50}});
  haveAll(joining, "deploy", "deployed");
  haveAll(joining, "send", "sent");
  tellAll(working, "stop");
  for (auto& group : working) EXPECT_GT(std::stoi(group->hear()), 0);
  expectExact(2, 50);
  EXPECT_EQ(reachableNodes(statisticsRecords()), allLabels(3));
  EXPECT_EQ(orphans(statisticsRecords()), 0);
  endAll(joining);
  endAll(working);
}

TEST_F(Groups, ProcessesThatFillTheEventsOverwriteTheOldestOnly) {
  // 28 events fit into 4096 bytes less the header.
  constexpr int kSlots = (4096 - 32) / 144;
  constexpr int kProcesses = 4;
  constexpr int kMessages = 1000;
  writeFile(kConfiguration, "ZEBMemorySize 4096\n");
  auto groups = startGroups(plansFor(kProcesses, {.messages = kMessages, .eventMessage = "seen"}));
  haveAll(groups, "deploy", "deployed");
  for (int sent = kMessages; sent <= 5 * kMessages; sent += kMessages) {
    haveAll(groups, "send", "sent");
    const Bytes segment = sharedMemory();
    const Block area = findBlock(segment, "zebcedar").value();
    EXPECT_EQ(area.last, 32 + kSlots * 144);
    // All events went in turn into the slots, none lost to a second wrap; the next one wraps when
    // the last slot is full.
    const int filled = kProcesses * sent % kSlots;
    EXPECT_EQ(area.next, 32 + (filled == 0 ? kSlots : filled) * 144);
    const auto ring = oldestFirst(segment, area);
    ASSERT_EQ(ring.size(), kSlots);
    expectNewest(ring, {{0, sent}, {1, sent}, {2, sent}, {3, sent}});
    std::set<RecordId> ids;
    for (const StoredRecord& event : ring) ids.insert(event.id());
    EXPECT_EQ(ids.size(), kSlots);
    expectOneTemplateEach(ring, templates());
  }
  EXPECT_EQ(templates().size(), kProcesses);
  endAll(groups);
}

TEST_F(Groups, FailuresInSeveralProcessesAreAllThere) {
  constexpr int kMessages = 20;
  auto groups = startGroups(plansFor(4, {.messages = kMessages, .failing = true}));
  haveAll(groups, "deploy", "deployed");
  haveAll(groups, "send", "sent");
  const auto posted = events();
  EXPECT_EQ(posted.size(), 40U);
  std::set<std::pair<int, int>> failed;
  for (const StoredRecord& event : posted) {
    const Numbers numbers = numbersOf(event);
    EXPECT_EQ(numbers.number % 2, 0);
    failed.insert({numbers.writer, numbers.number});
    const auto group = std::to_string(numbers.writer);
    for (const StoredRecord& kind : templates())
      if (event.isChildOf(kind)) {
        EXPECT_EQ(kind.string(0), u"group " + std::u16string(group.begin(), group.end()));
      }
  }
  EXPECT_EQ(failed.size(), 40U);
  EXPECT_EQ(templates().size(), 4U);
  expectOneTemplateEach(posted, templates());
  for (int number = 0; number < 4; ++number) expectExact(number, kMessages);
  endAll(groups);
}

}  // namespace

}  // namespace groups_test
