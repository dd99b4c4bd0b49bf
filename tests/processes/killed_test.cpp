// SPDX-License-Identifier: Apache-2.0
// Processes that are killed while others work: what that does to the others, what stays behind,
// and that the operations guide's way of clearing it clears it.
#include <gtest/gtest.h>
#include <sched.h>

#include <algorithm>
#include <csignal>
#include <map>

#include "tests/processes/aftermath.h"
#include "tests/processes/groups.h"
#include "tests/processes/numbered.h"
#include "tests/support/ipc_objects.h"
#include "tests/support/leftovers.h"
#include "tests/support/plugin.h"

namespace killed_test {

using namespace support;

namespace {

constexpr char kSegment[] = "/tmp/UUID1.zebcshme";

// Two groups that work, and a victim, in several rounds.
class Killed : public PluginBeforeStart {
 protected:
  // Starts all three, kills the third at some moment while all work, and checks the other two.
  void killOneAmidTheOthersWork(int moment) {
    auto groups = startGroups(plansFor(3, {.messages = 2, .eventMessage = "seen"}));
    haveAll(groups, "deploy", "deployed");
    haveAll(groups, "send", "sent");
    victimsLocks_.push_back("zeb_attach_" + std::to_string(groups[2]->pid()) + ".zebmutx");
    victimsLocks_.push_back(lockOf(statisticsOf(nodeLabel(2)).id()));
    haveAll(groups, "work", "working");
    for (int i = 0; i < moment; ++i) sched_yield();
    const pid_t victim = groups[2]->pid();
    groups[2]->kill(SIGKILL);
    EXPECT_EQ(groups[2]->wait(), -SIGKILL);
    for (const HeldLock& lock : locksHeldBy({victim})) giveBack(lock);
    groups.pop_back();
    tellAll(groups, "stop");
    std::map<int, int> last{{2, 0}};
    for (int number = 0; number < 2; ++number)
      last[number] = std::stoi(groups[static_cast<std::size_t>(number)]->hear());
    expectSound(last);
    haveAll(groups, "send", "sent");
    for (int number = 0; number < 2; ++number)
      EXPECT_EQ(statisticsOf(nodeLabel(number)).count(), last[number] + 2);
    endAll(groups);
    EXPECT_FALSE(segmentOf(kSegment)) << "it went with the last of the living";
  }

  void expectSound(std::map<int, int> last) {
    for (int number = 0; number < 2; ++number) {
      const StoredRecord statistics = statisticsOf(nodeLabel(number));
      EXPECT_EQ(statistics.count(), last[number]);
      EXPECT_EQ(statistics.sumSize(), static_cast<long long>(last[number]) * (1000 + number));
    }
    EXPECT_EQ(orphans(statisticsRecords()), 0);
    EXPECT_EQ(nodeRecord(nodeLabel(2)).deleted(), 0U) << "nobody was there to mark it";
    const Bytes segment = sharedMemory();
    const auto ring = oldestFirst(segment, findBlock(segment, "zebcedar").value());
    for (const StoredRecord& event : ring)
      if (const Numbers numbers = numbersOf(event); numbers.writer == 2)
        last[2] = std::max(last[2], numbers.number);
    expectNewest(ring, last);
    expectOneTemplateEach(ring, templates());
    EXPECT_GE(statisticsOf(nodeLabel(2)).count(), last[2] - 1);
  }

  std::vector<std::string> victimsLocks_;
};

TEST_F(Killed, TakeNobodysCountWithThemAndLeaveTheirLocksOnly) {
  leavesThingsBehind();
  constexpr unsigned kRounds = 12;
  const std::vector<std::string> shared{"UUID1.zebcedar.zebmutx", "UUID1.zebcetar.zebmutx",
                                        "UUID1.zebcshme.zebmutx", "UUID1.zebcstar.zebmutx"};
  for (unsigned round = 1; round <= kRounds; ++round) {
    SCOPED_TRACE("round " + std::to_string(round));
    killOneAmidTheOthersWork(static_cast<int>(3 * round));
    std::vector<std::string> left = victimsLocks_;
    left.insert(left.end(), shared.begin(), shared.end());
    std::sort(left.begin(), left.end());
    ASSERT_EQ(keyFiles(), left);
    // Each of the dead has its one reference in each lock that it used, and nobody else has.
    for (const std::string& lock : shared) EXPECT_EQ(queueOf("/tmp/" + lock)->messages, round);
    for (const std::string& lock : victimsLocks_) EXPECT_EQ(queueOf("/tmp/" + lock)->messages, 1U);
    for (const std::string& lock : left) EXPECT_EQ(semaphoreOf("/tmp/" + lock)->value, 1);
    EXPECT_EQ(segments().size(), 1U) << "the one that every test process starts with";
  }
}

TEST_F(Killed, AreClearedAwayAsTheOperationsGuideSays) {
  auto groups = startGroups(plansFor(3, {.messages = 10, .eventMessage = "seen"}));
  haveAll(groups, "deploy", "deployed");
  haveAll(groups, "send", "sent");
  for (auto& group : groups) group->kill(SIGKILL);
  for (auto& group : groups) EXPECT_EQ(group->wait(), -SIGKILL);
  EXPECT_EQ(segmentOf(kSegment)->attached, 0U);
  EXPECT_EQ(statisticsOf(nodeLabel(1)).count(), 10);
  EXPECT_EQ(keyFiles().size(), 1U + 4U + 2U * 3U);
  clearAsDocumented();
}

}  // namespace

}  // namespace killed_test
