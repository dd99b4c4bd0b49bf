// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <atomic>
#include <barrier>
#include <thread>

#include "tests/processes/numbered.h"
#include "tests/support/plugin.h"

namespace threads_test {

using namespace support;

namespace {

constexpr int kThreads = 8;
thread_local std::string text;  // of the failure that this thread is about to meet

// Runs `body` with the thread's number on eight threads that start together.
template <class Body>
void onEightThreads(Body body) {
  std::barrier start(kThreads);
  std::vector<std::jthread> threads;
  for (int number = 0; number < kThreads; ++number)
    threads.emplace_back([&start, &body, number] {
      start.arrive_and_wait();
      body(number);
    });
}

void quiet() {
  host().recording = false;
  host().script.rethrow = [](int&) { throw Rethrown{}; };
}

class Threads : public PluginTest {
 protected:
  Threads() { quiet(); }
};

class ThreadsAndSettings : public PluginBeforeStart {};

TEST_F(Threads, EightThroughOneNodeFromItsFirstMessageLoseNone) {
  constexpr int kMessages = 1000;
  const auto node = deploy({});
  onEightThreads([&](int number) {
    for (int i = 0; i < kMessages; ++i) node->send(1000 + number);
  });
  const StoredRecord statistics = statisticsOf(u"NODE1");
  EXPECT_EQ(statistics.count(), kThreads * kMessages);
  EXPECT_EQ(statistics.sumSize(), kMessages * (8 * 1000 + 0 + 1 + 2 + 3 + 4 + 5 + 6 + 7));
  EXPECT_EQ(statistics.minSize(), 1000);
  EXPECT_EQ(statistics.maxSize(), 1007);
  EXPECT_TRUE(host().messages().empty());
}

TEST_F(Threads, EightThroughEightNodesLoseNone) {
  constexpr int kMessages = 1000;
  std::vector<std::unique_ptr<NodeContext>> nodes;
  for (int number = 0; number < kThreads; ++number)
    nodes.push_back(deploy({.label = std::u16string(1, static_cast<char16_t>(u'A' + number))}));
  onEightThreads([&](int number) {
    for (int i = 1; i <= kMessages; ++i)
      nodes[static_cast<std::size_t>(number)]->send(1000 * number + i);
  });
  for (int number = 0; number < kThreads; ++number) {
    const StoredRecord statistics =
        statisticsOf(std::u16string(1, static_cast<char16_t>(u'A' + number)));
    EXPECT_EQ(statistics.count(), kMessages);
    EXPECT_EQ(statistics.sumSize(), 1000 * 1000 * number + 1000 * 1001 / 2);
    EXPECT_EQ(statistics.minSize(), 1000 * number + 1);
    EXPECT_EQ(statistics.maxSize(), 1000 * number + 1000);
  }
  EXPECT_TRUE(host().messages().empty());
}

TEST_F(Threads, EightWhoseFirstMessageFailsMakeTheEventsAreaOnce) {
  const auto node = deploy({});
  host().script.propagate = [](int& code, HostMessage*) { code = 64; };
  std::atomic<int> raised = 0;
  onEightThreads([&](int) {
    try {
      node->send();
    } catch (const Rethrown&) {
      ++raised;
    }
  });
  EXPECT_EQ(raised, kThreads);
  const Bytes segment = sharedMemory();
  std::vector<std::string> blocks;
  for (const Block& block : blocksOf(segment)) blocks.push_back(block.eyecatcher);
  EXPECT_EQ(blocks, (std::vector<std::string>{"zebcstar", "zebcetar", "zebcedar"}));
  ASSERT_EQ(templates().size(), 1U);
  ASSERT_EQ(events().size(), 8U);
  for (const StoredRecord& event : events()) EXPECT_TRUE(event.isChildOf(templates()[0]));
  EXPECT_EQ(statisticsOf(u"NODE1").count(), 8);
}

TEST_F(ThreadsAndSettings, EventsOfEightOverwriteTheOldestOnly) {
  constexpr int kSlots = (4096 - 32) / 144;
  constexpr int kMessages = 500;
  startLibrary("ZEBMemorySize 4096\n");
  quiet();
  const auto node = deploy({.eventMessage = u"seen"});
  onEightThreads([&](int number) {
    for (int i = 1; i <= kMessages; ++i) sendNumbered(*node, number, i);
  });
  const Bytes segment = sharedMemory();
  const Block area = findBlock(segment, "zebcedar").value();
  EXPECT_EQ(area.last, 32 + kSlots * 144);
  EXPECT_EQ(area.next, 32 + kThreads * kMessages % kSlots * 144);
  const auto ring = oldestFirst(segment, area);
  ASSERT_EQ(ring.size(), kSlots);
  std::map<int, int> last;
  for (int number = 0; number < kThreads; ++number) last[number] = kMessages;
  expectNewest(ring, last);
  EXPECT_EQ(templates().size(), 1U);
  expectOneTemplateEach(ring, templates());
  EXPECT_EQ(statisticsOf(u"NODE1").count(), kThreads * kMessages);
}

TEST_F(Threads, EightThatDeployAndDeleteNodesMeetNoFailure) {
  onEightThreads([](int number) {
    const std::u16string label(1, static_cast<char16_t>(u'A' + number));
    for (int i = 0; i < 20; ++i) deploy({.label = label, .eventMessage = u"seen"})->send();
  });
  EXPECT_TRUE(host().messages().empty());
  EXPECT_TRUE(keyFiles().empty());
}

TEST_F(Threads, DifferentFailuresOnEightThreadsKeepTheirOwnTemplates) {
  constexpr int kFailures = 40;
  const auto node = deploy({});
  host().script.propagate = [](int& code, HostMessage*) { code = 64; };
  host().script.exceptionData = [](int&, HostExceptionData& data) {
    data.origin = "o";
    data.code = "c";
    data.text = text.c_str();
  };
  onEightThreads([&](int number) {
    for (int i = 0; i < kFailures; ++i) {
      text = "failure " + std::to_string(number) + "." + std::to_string(i % 3);
      try {
        node->send();
      } catch (const Rethrown&) {
      }
    }
  });
  EXPECT_EQ(templates().size(), 24U);
  expectOneTemplateEach(events(), templates());
  EXPECT_EQ(statisticsOf(u"NODE1").count(), kThreads * kFailures);
}

TEST_F(Threads, ALimitThatEightReachTogetherIsResetAndNothingIsLostAfterIt) {
  const auto node = deploy({});
  {
    const StoredRecord statistics = statisticsOf(u"NODE1");
    WritableSegment segment;
    segment.putText(statistics.at() + 40, "2147483643", 24);
    segment.put(statistics.at() + 160, 1);
  }
  onEightThreads([&](int) {
    for (int i = 0; i < 10; ++i) node->send();
  });
  // Four more fit below the limit; the fifth resets, and 76 are counted from there.
  EXPECT_EQ(statisticsOf(u"NODE1").count(), 76);
  EXPECT_EQ(host().messages(3).size(), 1U);
}

}  // namespace

}  // namespace threads_test
