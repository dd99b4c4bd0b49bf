// SPDX-License-Identifier: Apache-2.0
// The finder of changes against made days. ZEB_CHANGES_DAYS is how many; the figures in
// docs/changes.md are those of a thousand.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <numbers>
#include <random>

#include "agent/model/changes.h"
#include "agent/model/load.h"

namespace changes_trial_test {

namespace {

constexpr std::int64_t kDay = 1440;
constexpr std::int64_t kEarlierDays = 4;
constexpr std::int64_t kToday = 20000 * kDay;  // the first minute of the day that is judged
constexpr double kMessages = 20;               // a minute, at the day's quietest time

struct Kind {
  double noise;         // of a minute's mean, at the day's quietest time
  double memory;        // how much of it stays for the next minute
  std::int64_t within;  // minutes until a change of 30 % is seen
};

constexpr Kind kKinds[] = {{0.05, 0, 10},  {0.05, 0.5, 10}, {0.1, 0, 20},
                           {0.1, 0.5, 20}, {0.2, 0, 60},    {0.2, 0.5, 60}};

// What a day is besides its noise.
struct Course {
  double rhythm = 1;  // busiest to quietest time
  double rhythmOfTimes = 1;
  bool quieter = false;         // with more messages a mean is known better
  std::int64_t changed = kDay;  // minute of the day from which times are
  double factor = 1;            // so much longer
};

// The times of a node that begins a flow, minute after minute.
class Maker {
 public:
  Maker(std::mt19937_64& random, const Kind& kind, const Course& course)
      : random_(random), kind_(kind), course_(course), phase_(uniform_(random)) {}

  model::Added minute(std::int64_t number) {
    const double wave =
        std::sin(2 * std::numbers::pi * (static_cast<double>(number) / kDay + phase_));
    const double expected = kMessages * std::pow(course_.rhythm, (wave + 1) / 2);
    const double noise = kind_.noise * (course_.quieter ? std::sqrt(kMessages / expected) : 1);
    const double factor = std::pow(course_.rhythmOfTimes, wave / 2) *
                          (number >= kToday + course_.changed ? course_.factor : 1);
    model::Added added;
    added.seconds = 60;
    added.messages = static_cast<double>(std::poisson_distribution<int>(expected)(random_));
    added.elapsedMs = added.messages * 20 * factor * (1 + noise * next(self_));
    added.queuedMs = added.messages * 90 * factor * (1 + noise * next(queued_));
    return added;
  }

 private:
  double next(double& last) {
    last = kind_.memory * last + std::sqrt(1 - kind_.memory * kind_.memory) * normal_(random_);
    return last;
  }

  std::mt19937_64& random_;
  const Kind& kind_;
  const Course& course_;
  std::normal_distribution<> normal_;
  std::uniform_real_distribution<> uniform_;
  double phase_;
  double self_ = 0;
  double queued_ = 0;
};

model::FlowMinutes madeDay(std::mt19937_64& random, const Kind& kind, const Course& course) {
  model::FlowMinutes flow;
  flow.first = kToday - kDay;
  flow.nodes.resize(1);
  flow.nodes.front().type = model::kInputNode;
  flow.nesting.nodes = {{.placed = true, .outer = {}, .inner = {}}};
  Maker maker(random, kind, course);
  std::vector<model::Added>& minutes = flow.nodes.front().minutes;
  std::vector<model::Added>& hours = flow.nodes.front().hours;
  for (std::int64_t at = kToday - kEarlierDays * kDay; at < kToday + kDay; ++at) {
    const model::Added added = maker.minute(at);
    if (at % 60 == 0 && at < kToday) hours.emplace_back();
    if (at < kToday) {
      hours.back().seconds += added.seconds;
      hours.back().messages += added.messages;
      hours.back().elapsedMs += added.elapsedMs;
      hours.back().queuedMs += added.queuedMs;
    }
    if (at >= flow.first) minutes.push_back(added);
  }
  return flow;
}

// What somebody sees who looks at `minute` of the day.
std::vector<model::LevelChange> seenAt(const model::FlowMinutes& day, std::int64_t minute) {
  model::FlowMinutes until = day;
  until.nodes.front().minutes.resize(static_cast<std::size_t>(kDay + minute));
  return changesOf(until, kToday);
}

bool sees(const std::vector<model::LevelChange>& changes, model::Measure measure,
          const Course& course, std::int64_t within) {
  for (const model::LevelChange& change : changes) {
    if (change.measure != measure) continue;
    if (std::abs(change.minute - kToday - course.changed) <= within) return true;
  }
  return false;
}

struct Score {
  int days = 0;
  int wrong = 0;    // days with a report where nothing changed
  int changes = 0;  // of self or queued time
  int seen = 0;
};

Score& operator+=(Score& score, const Score& more) {
  score.days += more.days;
  score.wrong += more.wrong;
  score.changes += more.changes;
  score.seen += more.seen;
  return score;
}

int daysToMake() {
  const char* const given = std::getenv("ZEB_CHANGES_DAYS");
  return given != nullptr ? std::atoi(given) : 24;
}

// A day in which nothing changes, looked at again and again; then a change is put into another.
Score tryOne(std::mt19937_64& random, const Kind& kind, Course course, bool everyHour) {
  Score score{.days = 1, .wrong = 0, .changes = 2, .seen = 0};
  const model::FlowMinutes quiet = madeDay(random, kind, course);
  const std::int64_t step = everyHour ? 60 : 480;
  for (std::int64_t minute = step; minute <= kDay && score.wrong == 0; minute += step) {
    score.wrong = !seenAt(quiet, minute).empty();
  }
  course.changed = std::uniform_int_distribution<std::int64_t>(0, kDay - kind.within)(random);
  course.factor = 1.3;  // a fall by as much is further, as logarithms go
  const auto seen = seenAt(madeDay(random, kind, course), course.changed + kind.within);
  score.seen = sees(seen, model::Measure::self, course, kind.within) +
               sees(seen, model::Measure::queued, course, kind.within);
  return score;
}

Score tryAll(int days, double rhythmOfTimes, unsigned seed) {
  Score all;
  for (const Kind& kind : kKinds) {
    std::mt19937_64 random(seed++);
    Score score;
    for (int i = 0; i < days / static_cast<int>(std::size(kKinds)); ++i) {
      const double rhythm = 1 + static_cast<double>(i % 4);
      score += tryOne(random, kind,
                      {.rhythm = rhythm,
                       .rhythmOfTimes = std::min(rhythm, rhythmOfTimes),
                       .quieter = i % 8 > 3},
                      days >= 600);
    }
    std::printf("noise %.0f %%, memory %.1f: false in %d of %d days; seen %d of %d in %d minutes\n",
                100 * kind.noise, kind.memory, score.wrong, score.days, score.seen, score.changes,
                static_cast<int>(kind.within));
    EXPECT_GE(score.seen * 100, score.changes * (days >= 600 && rhythmOfTimes == 1 ? 90 : 75));
    all += score;
  }
  std::printf("together: false in %d of %d days\n", all.wrong, all.days);
  return all;
}

}  // namespace

TEST(ChangesTrial, MostChangesAreSeenInTimeAndHardlyAnyWhereNothingChanged) {
  const Score all = tryAll(daysToMake(), 1, 1);
  EXPECT_LE(all.wrong * 100, all.days);
}

// Times that follow the clock are harder: what is usual has a noise of its own.
TEST(ChangesTrial, TimesThatFollowTheClockChangeNothingByThemselves) {
  const Score all = tryAll(daysToMake(), 4, 101);
  EXPECT_LE(all.wrong * 100, all.days * 2);
}

}  // namespace changes_trial_test
