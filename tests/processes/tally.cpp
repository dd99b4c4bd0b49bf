// SPDX-License-Identifier: Apache-2.0
#include "tests/processes/tally.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <sstream>

#include "tests/processes/numbered.h"
#include "tests/support/scripted_clock.h"

namespace support {
namespace {

constexpr long long kNow = 1767323100;       // 2026-01-02 03:05:00
thread_local const char* failure = nullptr;  // the text of what this thread's message meets

const char* textOf(int number) {
  constexpr const char* kTexts[] = {"first text", "second text", "third text"};
  return number % 3 == 0 ? kTexts[number / 3 % 3] : nullptr;
}

// Up to a minute before the clock, in steps of 10 milliseconds.
std::string putTimeOf(int hundredths) {
  char text[32];
  std::snprintf(text, sizeof text, "0304%02d%02d", hundredths / 100, hundredths % 100);
  return text;
}

void passOnce() {
  ScriptedNode elsewhere;
  elsewhere.broker = u"BRK2";
  deploy({.label = u"passing", .activateNode = u"no"})->send();
  deploy({.label = u"passing", .eventMessage = u"seen"}, elsewhere)->send();
}

}  // namespace

void Series::add(int value) {
  sum += value;
  max = std::max(max, value);
  min = std::min(min, value);
}

void Series::add(const Series& other) {
  sum += other.sum;
  max = std::max(max, other.max);
  min = std::min(min, other.min);
}

void Tally::add(const Tally& other) {
  count += other.count;
  size.add(other.size);
  queued.add(other.queued);
}

std::string Tally::line() const {
  std::ostringstream text;
  text << count;
  for (const Series& series : {size, queued})
    text << " " << series.sum << " " << series.max << " " << series.min;
  return text.str();
}

Tally Tally::from(const std::string& line) {
  Tally tally;
  std::istringstream text(line);
  text >> tally.count;
  for (Series* series : {&tally.size, &tally.queued})
    text >> series->sum >> series->max >> series->min;
  return tally;
}

void expectTally(const std::u16string& label, const Tally& tally) {
  const StoredRecord stored = statisticsOf(label);
  EXPECT_EQ(stored.count(), tally.count);
  EXPECT_EQ(stored.sumSize(), tally.size.sum);
  EXPECT_EQ(stored.maxSize(), tally.size.max);
  EXPECT_EQ(stored.minSize(), tally.size.min);
  EXPECT_EQ(stored.sumQueued(), tally.queued.sum);
  EXPECT_EQ(stored.maxQueued(), tally.queued.max);
  EXPECT_EQ(stored.minQueued(), tally.queued.min);
  EXPECT_EQ(stored.sumElapsed(), 0);
  EXPECT_EQ(stored.maxElapsed(), 0);
}

void prepareTally() {
  setClock(kNow);
  host().recording = false;
  host().script.propagate = [](int& code, HostMessage*) { code = failure ? 64 : 0; };
  host().script.rethrow = [](int&) { throw Rethrown{}; };
  host().script.exceptionData = [](int&, HostExceptionData& data) {
    data.origin = "o";
    data.code = "c";
    data.text = failure;
  };
}

Tally sendTallied(NodeContext& node, int writer, int messages) {
  Tally tally;
  for (int number = 1; number <= messages; ++number) {
    const int size = 1 + (number * 7919 + writer * 104729) % 100003;
    const int hundredths = (number * 37 + writer * 101) % 6000;
    ++tally.count;
    tally.size.add(size);
    tally.queued.add(60000 - 10 * hundredths);
    failure = textOf(number);
    try {
      sendNumbered(node, writer, number, size, putTimeOf(hundredths));
    } catch (const Rethrown&) {
    }
    failure = nullptr;
  }
  return tally;
}

void expectTalliedEvents(int writers, int messages) {
  std::map<std::pair<int, int>, int> found;
  const auto posted = events();
  for (const StoredRecord& event : posted) {
    const Numbers numbers = numbersOf(event);
    ++found[{numbers.writer, numbers.number}];
  }
  std::map<std::pair<int, int>, int> expected;
  for (int writer = 0; writer < writers; ++writer)
    for (int number = 1; number <= messages; ++number)
      expected[{writer, number}] = textOf(number) ? 2 : 1;
  EXPECT_EQ(found, expected);
  expectOneTemplateEach(posted, templates());
}

PassingContexts::PassingContexts()
    : thread_([this] {
        do passOnce();
        while (!enough_);
      }) {}

PassingContexts::~PassingContexts() {
  enough_ = true;
  thread_.join();
}

}  // namespace support
