// SPDX-License-Identifier: Apache-2.0
// Processes that die at random moments of all that they do, while others work on.
//
// ZEB_DEATH_KILLS sets how many die; ZEB_DEATH_SEED is the seed of the first one's death, and each
// further one's is by one higher. A death that did harm is tried again alone with its seed and 1.
// With 1000 and more, the first process of a broker dies before each of its calls, not each third.
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/ipc.h>

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <map>
#include <random>
#include <set>

#include "tests/processes/aftermath.h"
#include "tests/processes/doomed.h"
#include "tests/processes/groups.h"
#include "tests/processes/numbered.h"
#include "tests/support/ipc_objects.h"
#include "tests/support/plugin.h"

namespace death_test {

using namespace support;

namespace {

constexpr char kSegment[] = "/tmp/UUID1.zebcshme";
constexpr int kSurvivors = 2;
constexpr int kFirstDoomed = 100;  // what their messages carry as the writer's number, and up
constexpr unsigned kDyingTogether = 3;
constexpr unsigned kDeathsOfAnEra = 12;

// Where shared memory is written byte by byte, a message may meet a reset halfway.
constexpr bool kWrittenAtOnce =
    std::string_view(ZEB_SANITIZERS).find("thread") == std::string::npos;

unsigned long environment(const char* name, unsigned long otherwise) {
  // NOLINTNEXTLINE(concurrency-mt-unsafe): nothing writes the environment.
  const char* const value = std::getenv(name);
  return value == nullptr ? otherwise : std::strtoul(value, nullptr, 10);
}

// How a process shall live, and when it shall die.
struct Death {
  explicit Death(unsigned long seed) {
    std::mt19937_64 random(seed);
    const char* const ways[] = {"before", "after", "at any instruction"};
    way = ways[random() % 3];
    // Two lives of a process make about that many calls, and take about as long.
    moment = static_cast<long>(1 + random() % (way == ways[2] ? 30000 : 500));
    messages = static_cast<int>(1 + random() % 5);
    failing = random() % 2 == 0;
  }

  // Before that call of its only life.
  static Death atCall(long nth) {
    Death death(0);
    death.way = "before";
    death.moment = nth;
    death.messages = 2;
    death.failing = true;
    death.lives = "one life";
    return death;
  }

  std::vector<std::string> words(int number) const {
    return {std::to_string(number),       way,  std::to_string(moment), std::to_string(messages),
            failing ? "failing" : "well", lives};
  }

  std::string way;
  long moment;
  int messages;
  bool failing;
  std::string lives = "many lives";
};

// Deploys, sends and deletes, until its end comes or its one life is over.
int doomed(Steps&, const std::vector<std::string>& words) {
  const int number = std::stoi(words[0]);
  const long moment = std::stol(words[2]);
  const int messages = std::stoi(words[3]);
  if (words[1] == "at any instruction")
    dieAfter(moment);
  else
    dieAtCall(moment, words[1] == "after");
  startLibrary();
  host().recording = false;
  int sent = 0;
  host().script.rethrow = [](int&) { throw Rethrown{}; };
  host().script.propagate = [&](int& code, HostMessage*) {
    code = words[4] == "failing" && sent % 2 == 0 ? 64 : 0;
  };
  ScriptedNode where;
  where.executionGroup = u"group " + std::u16string(1, static_cast<char16_t>(u'0' + number));
  do {
    const auto node = deploy({.label = nodeLabel(number), .eventMessage = u"seen"}, where);
    for (int i = 0; i < messages; ++i) {
      try {
        sendNumbered(*node, kFirstDoomed + number, ++sent, 1000 + number);
      } catch (const Rethrown&) {
      }
    }
  } while (words[5] == "many lives");
  return 0;
}
const Role kDoomed("doomed", doomed);

// Deploys its node and dies with the first lock that its message takes: the one of the event data.
int dyingWithALock(Steps& parent, const std::vector<std::string>&) {
  startLibrary();
  const auto node = deploy({.label = nodeLabel(9), .eventMessage = u"seen"});
  parent.tell("deployed");
  parent.hear();
  dieHoldingTheNextLock();
  node->send();
  return 0;
}
const Role kDyingWithALock("dying with a lock", dyingWithALock);

// All that is in the segment can be read, in the middle of whatever is going on.
void expectDecodes(const Bytes& segment) {
  ASSERT_EQ(segment.size(), 3 * 32768U + 32);
  std::set<std::string> areas;
  for (const Block& area : blocksOf(segment)) {
    EXPECT_TRUE(areas.insert(area.eyecatcher).second) << area.eyecatcher << " is there twice";
    EXPECT_LE(area.last, area.size);
    for (const StoredRecord& record : recordsOf(segment, area)) {
      const bool fits = area.eyecatcher == "zebcstar"   ? record.type() <= kStatistics
                        : area.eyecatcher == "zebcetar" ? record.type() == kTemplate
                                                        : record.type() == kEvent;
      EXPECT_TRUE(fits) << "type " << record.type() << " in " << area.eyecatcher;
    }
  }
  const auto records = recordsOf(segment, findBlock(segment, "zebcstar").value());
  EXPECT_EQ(orphans(records), 0);
  const auto nodes = reachableNodes(records);
  for (const std::u16string& survivor : allLabels(kSurvivors))
    EXPECT_EQ(std::count(nodes.begin(), nodes.end(), survivor), 1);
}

// The events of the survivors, one for each message: a failed message has two. The oldest event is
// left out, since somebody may have died when it was half overwritten.
std::vector<StoredRecord> survivorsEvents(const Bytes& segment) {
  auto ring = oldestFirst(segment, findBlock(segment, "zebcedar").value());
  if (!ring.empty()) ring.erase(ring.begin());
  std::map<int, int> seen;
  std::erase_if(ring, [&](const StoredRecord& event) {
    const Numbers numbers = numbersOf(event);
    return numbers.writer >= kFirstDoomed ||
           std::exchange(seen[numbers.writer], numbers.number) == numbers.number;
  });
  return ring;
}

class SuddenDeath : public PluginBeforeStart {
 protected:
  // Lets as many die as an era has, while the same two work; looks at what they leave, and clears
  // it.
  void runEra(unsigned long seed, unsigned long deaths) {
    auto survivors = startGroups(
        {{.number = 0, .messages = 40, .eventMessage = "seen", .watched = kWrittenAtOnce},
         {.number = 1,
          .messages = 40,
          .failing = true,
          .eventMessage = "seen",
          .watched = kWrittenAtOnce}});
    haveAll(survivors, "deploy", "deployed");
    haveAll(survivors, "work", "working");
    for (unsigned long done = 0; done < deaths; done += kDyingTogether)
      killTogether(seed + done, std::min<unsigned long>(kDyingTogether, deaths - done));
    tellAll(survivors, "stop");
    std::map<int, int> last;
    for (int number = 0; number < kSurvivors; ++number)
      last[number] = std::stoi(survivors[static_cast<std::size_t>(number)]->hear());
    expectExactCounts(survivors, last);
    expectEndsWithoutTrace(survivors);
    expectOnlyLocksOfTheDead();
    clearAsDocumented();
    expectNothing();
  }

  void killTogether(unsigned long seed, unsigned long deaths) {
    std::vector<std::unique_ptr<Child>> dying;
    for (unsigned long i = 0; i < deaths; ++i)
      dying.push_back(std::make_unique<Child>(
          "doomed", Death(seed + i).words(kSurvivors + static_cast<int>(i))));
    while (!dying.empty()) {
      const std::size_t next = Child::firstToEnd(dying);
      dead_.insert(dying[next]->pid());
      EXPECT_EQ(dying[next]->wait(), -SIGKILL);
      dying.erase(dying.begin() + static_cast<std::ptrdiff_t>(next));
      giveBackLocksOfTheDead();
      expectDecodes(sharedMemory());
    }
  }

  // The others wait for such a lock without end, on purpose: somebody has to give it back.
  void giveBackLocksOfTheDead() {
    for (const HeldLock& lock : locksHeldBy(dead_)) {
      ++held_[kindOf(lock.name)];
      giveBack(lock);
    }
  }

  static std::string kindOf(const std::string& lock) {
    if (lock.starts_with("zeb_attach_")) return "attach";
    return lock.starts_with("UUID1.") ? lock.substr(6, 8) : "record";
  }

  // A last deployment sets everything to zero while nobody sends, and nothing is reset after it.
  static void expectExactCounts(GroupProcesses& survivors, std::map<int, int>& last) {
    auto resetting = startGroups({{.number = kSurvivors}});
    haveAll(resetting, "deploy", "deployed");
    endAll(resetting);
    haveAll(survivors, "send", "sent");
    for (int number = 0; number < kSurvivors; ++number) {
      const StoredRecord stored = statisticsOf(nodeLabel(number));
      EXPECT_EQ(stored.count(), 40);
      EXPECT_EQ(stored.sumSize(), 40 * (1000 + number));
      EXPECT_EQ(stored.minSize(), 1000 + number);
      EXPECT_EQ(stored.maxSize(), 1000 + number);
      last[number] += 40;
    }
    const Bytes segment = sharedMemory();
    expectDecodes(segment);
    const auto posted = survivorsEvents(segment);
    EXPECT_FALSE(posted.empty());
    expectNewest(posted, last);
    expectOneTemplateEach(posted, templates());
  }

  // The survivors take along all that is theirs, and the segment.
  static void expectEndsWithoutTrace(GroupProcesses& survivors) {
    std::vector<std::string> own;
    for (std::size_t number = 0; number < survivors.size(); ++number) {
      own.push_back(lockOf(statisticsOf(nodeLabel(static_cast<int>(number))).id()));
      own.push_back("zeb_attach_" + std::to_string(survivors[number]->pid()) + ".zebmutx");
    }
    endAll(survivors);
    EXPECT_FALSE(segmentOf(kSegment));
    const auto left = keyFiles();
    for (const std::string& lock : own)
      EXPECT_EQ(std::count(left.begin(), left.end(), lock), 0) << lock << " was left";
  }

  // Free, so that the next start takes them up; and found by the key files that the guide lists.
  void expectOnlyLocksOfTheDead() const {
    for (const std::string& name : keyFiles()) {
      EXPECT_TRUE(name.ends_with(".zebmutx") || name == "UUID1.zebcshme") << name;
      EXPECT_TRUE(kindOf(name) != "attach" || dead_.contains(std::stoi(name.substr(11)))) << name;
    }
    for (const SemaphoreSet& lock : semaphoreSets()) {
      if (lock.key == IPC_PRIVATE) continue;
      EXPECT_EQ(lock.value, 1) << keyFileOf(lock.key).value_or("no key file");
      EXPECT_TRUE(keyFileOf(lock.key)) << "semaphore " << lock.id;
    }
    for (const MessageQueue& queue : messageQueues())
      EXPECT_TRUE(queue.key == IPC_PRIVATE || keyFileOf(queue.key)) << "queue " << queue.id;
  }

  static void expectNothing() {
    EXPECT_TRUE(keyFiles().empty());
    EXPECT_EQ(messageQueues().size(), 1U);
    EXPECT_EQ(semaphoreSets().size(), 1U);
    EXPECT_EQ(segments().size(), 1U) << "of each the one that every test process starts with";
  }

  void tellDeaths() const {
    std::cout << dead_.size() << " deaths; locks that had to be given back:";
    for (const auto& [kind, times] : held_) std::cout << "  " << kind << " " << times;
    std::cout << "\n";
  }

  std::set<pid_t> dead_;
  std::map<std::string, int> held_;  // how often a lock of that kind had to be given back
};

TEST_F(SuddenDeath, CostsTheLivingNoCountAndLeavesWhatTheGuideLists) {
  writeFile(kConfiguration, "\n");
  const unsigned long first = environment("ZEB_DEATH_SEED", 1);
  const unsigned long end = first + environment("ZEB_DEATH_KILLS", 36);
  for (unsigned long seed = first; seed < end && !HasFailure(); seed += kDeathsOfAnEra) {
    SCOPED_TRACE("deaths from seed " + std::to_string(seed));
    runEra(seed, std::min<unsigned long>(kDeathsOfAnEra, end - seed));
  }
  tellDeaths();
}

// The one who died was alone and the first, so that it made all that is shared.
TEST_F(SuddenDeath, OfTheFirstProcessLeavesAHouseInWhichItsGroupStartsAnew) {
  writeFile(kConfiguration, "\n");
  const long step = environment("ZEB_DEATH_KILLS", 0) >= 1000 ? 1 : 3;
  int died = -SIGKILL;
  for (long call = 1; died != 0 && !HasFailure(); call += step) {
    SCOPED_TRACE("died before call " + std::to_string(call));
    Child first("doomed", Death::atCall(call).words(0));
    const pid_t pid = first.pid();
    died = first.wait();
    if (died != 0) dead_.insert(pid);
    EXPECT_TRUE(died == 0 || died == -SIGKILL);
    giveBackLocksOfTheDead();
    auto again =
        startGroups({{.number = 0, .messages = 3, .failing = true, .eventMessage = "seen"}});
    haveAll(again, "deploy", "deployed");
    haveAll(again, "send", "sent");
    EXPECT_EQ(statisticsOf(nodeLabel(0)).count(), 3);
    expectNewest(survivorsEvents(sharedMemory()), {{0, 3}});
    endAll(again);
    EXPECT_FALSE(segmentOf(kSegment));
    expectOnlyLocksOfTheDead();
    clearAsDocumented();
    expectNothing();
  }
  EXPECT_EQ(died, 0) << "it lived through its only life at last";
  tellDeaths();
}

TEST_F(SuddenDeath, WithALockStopsTheOthersUntilItIsGivenBackAsTheGuideSays) {
  auto survivors = startGroups({{.number = 0, .messages = 20, .eventMessage = "seen"}});
  haveAll(survivors, "deploy", "deployed");
  Child dying("dying with a lock");
  ASSERT_EQ(dying.hear(), "deployed");
  const pid_t pid = dying.pid();
  dying.tell("go");
  EXPECT_EQ(dying.wait(), -SIGKILL);
  const auto held = locksHeldBy({pid});
  ASSERT_EQ(held.size(), 1U);
  EXPECT_EQ(held[0].name, "UUID1.zebcedar.zebmutx");
  tellAll(survivors, "send");
  while (waitingFor(held[0]) == 0) sched_yield();
  EXPECT_EQ(statisticsOf(nodeLabel(0)).count(), 0) << "its first message is still on its way";
  runInShell(documented("give_back_lock()") + "give_back_lock " + std::to_string(held[0].id));
  hearAll(survivors, "sent");
  EXPECT_EQ(statisticsOf(nodeLabel(0)).count(), 20);
  EXPECT_EQ(events().size(), 20U);
  endAll(survivors);
  clearAsDocumented();
}

}  // namespace

}  // namespace death_test
