// SPDX-License-Identifier: Apache-2.0
#include "agent/front/serve/what_changed.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <ctime>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "agent/front/history/database.h"
#include "agent/render/values.h"
#include "tests/agent/history/recorded.h"

namespace what_changed_test {

namespace {

using Clock = serve::WhatChanged::Clock;
using nlohmann::json;
using serve::WhatChanged;
using std::chrono::hours;
using std::chrono::seconds;

std::string textOf(const serve::Text& text) {
  return text ? *text : "none";
}

// Texts are numbers that count up.
class Counting {
 public:
  WhatChanged::Make make() {
    return [this](const auto&) { return std::to_string(++made); };
  }

  // Asks at that time, waits, and tells what there is then.
  static std::string ask(WhatChanged& changes, Clock::time_point now) {
    changes.latest(now);
    changes.settle();
    return textOf(changes.latest(Clock::time_point::min()));
  }

  std::atomic<int> made = 0;
};

}  // namespace

TEST(WhatChanged, WorksOnlyWhenSomebodyAsks) {
  Counting counting;
  { WhatChanged changes(counting.make()); }
  EXPECT_EQ(0, counting.made);
}

TEST(WhatChanged, AnswersAtOnceAndHasTheTextLater) {
  Counting counting;
  WhatChanged changes(counting.make());
  EXPECT_EQ("1", Counting::ask(changes, Clock::now()));
}

TEST(WhatChanged, WorksFromTheMomentOnAtWhichItIsDue) {
  Counting counting;
  WhatChanged changes(counting.make());
  EXPECT_EQ("1", Counting::ask(changes, Clock::time_point()));
}

TEST(WhatChanged, RestsAMinuteBeforeItWorksAgain) {
  Counting counting;
  WhatChanged changes(counting.make());
  const auto now = Clock::now();
  EXPECT_EQ("1", Counting::ask(changes, now));
  EXPECT_EQ("1", Counting::ask(changes, now + seconds(59)));
  EXPECT_EQ("2", Counting::ask(changes, now + hours(1)));
}

TEST(WhatChanged, RestsFiftyTimesAsLongAsItWorked) {
  using std::chrono::minutes;
  EXPECT_EQ(minutes(1), serve::restAfter(seconds(0)));
  EXPECT_EQ(minutes(1), serve::restAfter(std::chrono::milliseconds(1200)));
  EXPECT_EQ(seconds(100), serve::restAfter(seconds(2)));
}

TEST(WhatChanged, KeepsItsTextWhenTheHistoryCannotBeRead) {
  int turn = 0;
  WhatChanged changes([&turn](const auto&) -> std::string {
    switch (++turn) {
      case 1:
        return "good";
      case 2:
        throw history::Failure(history::Failure::Kind::damaged, "damaged");
      default:
        throw std::runtime_error("no memory");
    }
  });
  auto now = Clock::now();
  for (int i = 0; i < 3; ++i, now += hours(1)) {
    EXPECT_EQ("good", Counting::ask(changes, now));
  }
  EXPECT_EQ(3, turn);
}

TEST(WhatChanged, ToldToStopDoesNotFinish) {
  std::atomic<bool> began = false;
  auto changes = std::make_unique<WhatChanged>([&began](const std::function<bool()>& goOn) {
    for (began = true; goOn();) std::this_thread::yield();
    return std::string();
  });
  changes->latest();
  while (!began) std::this_thread::yield();
  changes.reset();
}

TEST(WhatChanged, WithoutChangesSaysWhy) {
  const std::string before = render::isoTime(std::time(nullptr), 0);
  const json document = json::parse(serve::noChanges("off"));
  EXPECT_LE(before, document["until"].get<std::string>());
  EXPECT_GE(render::isoTime(std::time(nullptr), 0), document["until"].get<std::string>());
  EXPECT_EQ("zebmon.changes", document["schema"]);
  EXPECT_EQ("off", document["state"]);
  EXPECT_TRUE(document["changes"].empty());
}

TEST(WhatChanged, IsOfTheDayBeforeTheLastLook) {
  const std::string file = testing::TempDir() + "changed.db";
  Recorded recorded(file);
  addMinutes(recorded.database);
  const auto make = serve::changesOfLastDay(file, nullptr);
  const json document = json::parse(make([] { return true; }));
  EXPECT_EQ("ok", document["state"]);
  EXPECT_EQ("2027-01-16T08:00:00.001Z", document["from"]);
  EXPECT_EQ("2027-01-17T08:00:00.001Z", document["until"]);
  ASSERT_EQ(1, document["changes"].size()) << document;
  EXPECT_EQ("Priced", document["changes"][0]["node"]);
  EXPECT_EQ("", make([] { return false; }));
  for (const char* end : {"", "-wal", "-shm"}) std::filesystem::remove(file + end);
}

TEST(WhatChanged, IsNothingBeforeTheFirstLook) {
  const std::string file = testing::TempDir() + "unchanged.db";
  const Recorded recorded(file);
  const json document = json::parse(serve::changesOfLastDay(file, nullptr)([] { return true; }));
  EXPECT_TRUE(document["changes"].empty());
  EXPECT_EQ("1970-01-01T00:00:00.000Z", document["from"]);
  for (const char* end : {"", "-wal", "-shm"}) std::filesystem::remove(file + end);
}

}  // namespace what_changed_test
