// SPDX-License-Identifier: Apache-2.0
#include "agent/front/history/reading.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "agent/front/history/samples.h"
#include "tests/agent/history/recorded.h"

namespace reading_test {

namespace {

class Reading : public ::testing::Test, public Recorded {
 protected:
  history::Curves curves(std::int64_t from, std::int64_t until, std::int64_t points) {
    return history::curvesOf(database, {.broker = "SHOP",
                                        .group = "orders",
                                        .flow = "Fulfil",
                                        .fromS = kBegin + from,
                                        .untilS = kBegin + until,
                                        .points = points});
  }
};

std::int64_t messagesIn(const history::Curves& curves) {
  std::int64_t all = 0;
  for (const auto& point : curves.nodes.at(0).points) all += point.added.messages.value_or(0);
  return all;
}

double secondsIn(const history::Curves& curves) {
  double all = 0;
  for (const auto& point : curves.nodes.at(0).points) all += point.seconds;
  return all;
}

}  // namespace

TEST_F(Reading, ShowsEachLookWhenTheStepIsShort) {
  for (int i = 0; i < 10; ++i) look(i * 2, counting(i));
  const history::Curves seen = curves(0, 20, 20);
  EXPECT_EQ(2, seen.stepS);
  ASSERT_EQ(9U, seen.nodes.at(0).points.size());
  const history::Point& point = seen.nodes[0].points[3];
  EXPECT_EQ(kBegin + 6, point.beginS) << "a look tells of the time before it";
  EXPECT_EQ(2, point.seconds);
  EXPECT_EQ(1, point.added.messages);
  EXPECT_EQ(100, point.added.bytes);
  EXPECT_EQ("Reserve", seen.nodes[0].node);
  EXPECT_EQ(kBegin, seen.oldestS);
}

TEST_F(Reading, ShowsTheSameTotalAtEachStep) {
  for (int i = 0; i <= 1080; ++i) look(i * 20, counting(i));  // six hours
  for (const std::int64_t points : {1000, 400, 100, 10, 2}) {
    const history::Curves seen = curves(0, 6 * 3600 + 1, points);
    EXPECT_EQ(1080, messagesIn(seen)) << points;
    EXPECT_NEAR(6 * 3600, secondsIn(seen), 1) << points;
    EXPECT_GE(points, static_cast<std::int64_t>(seen.nodes[0].points.size()));
  }
}

TEST_F(Reading, ShowsOldTimesFromMinutesAndHours) {
  for (int i = 0; i <= 12; ++i) look(i * 3600, counting(i));
  EXPECT_EQ(12, messagesIn(curves(0, 12 * 3600 + 1, 100000)));
  look(20 * 86400, counting(13));
  look(20 * 86400 + 700, counting(14));
  EXPECT_EQ(12, messagesIn(curves(0, 12 * 3600 + 1, 100)));
}

// A part of ten minutes has more than what is asked for.
TEST_F(Reading, ShowsNothingOfTheTimeBefore) {
  for (int i = 0; i <= 180; ++i) look(i * 20, counting(i));  // an hour
  for (const std::int64_t points : {1000, 20}) {
    const history::Curves seen = curves(1800, 2700, points);
    EXPECT_EQ(kBegin + 1800, seen.fromS);
    EXPECT_EQ(45, messagesIn(seen)) << points;
    EXPECT_EQ(900, secondsIn(seen)) << points;
  }
  EXPECT_EQ(1, curves(1800, 2700, 1000).nodes[0].points[0].added.messages);
}

TEST_F(Reading, AStepIsNoShorterThanWhatIsKeptOfItsTime) {
  for (int i = 0; i <= 90; ++i) look(i * 20, counting(i));
  look(10 * 3600, counting(91));
  look(10 * 3600 + 700, counting(91));
  const history::Curves seen = curves(600, 900, 300);
  EXPECT_EQ(60, seen.stepS);
  ASSERT_EQ(5U, seen.nodes.at(0).points.size());
  for (const auto& point : seen.nodes[0].points) {
    EXPECT_EQ(60, point.seconds);
    EXPECT_EQ(3, point.added.messages);
  }
}

TEST_F(Reading, EachStepTellsOfAPeriodOnce) {
  for (int i = 0; i <= 400; ++i) look(i * 20, counting(i));
  const model::Period hour{(kBegin + 3600) * 1000, (kBegin + 7200) * 1000};
  for (const auto step : {history::Step::look, history::Step::minute, history::Step::hour}) {
    std::int64_t all = 0;
    history::eachSample(database, {.step = step, .period = hour, .broker = 1},
                        [&](const history::Sample& sample) {
                          all += *sample.added.messages;
                          EXPECT_LE(hour.from, sample.atMs);
                          EXPECT_GT(hour.until, sample.atMs);
                        });
    EXPECT_EQ(180, all);
  }
}

TEST_F(Reading, LeavesOutStepsThatNobodyLookedAt) {
  look(0, counting(0));
  look(2, counting(1));
  restart();
  look(100, counting(50));
  look(102, counting(51));
  const history::Curves seen = curves(0, 110, 100);
  ASSERT_EQ(3U, seen.nodes.at(0).points.size());
  EXPECT_EQ(98, seen.nodes[0].points[1].seconds);
  EXPECT_EQ(49, seen.nodes[0].points[1].added.messages);
  ASSERT_EQ(1U, seen.marks.size());
  EXPECT_EQ("gap", seen.marks[0].kind);
}

TEST_F(Reading, ShowsZeroWhereItWasLookedAtAndNothingHappened) {
  look(0, counting(5));
  look(2, counting(5));
  const auto points = curves(0, 4, 10).nodes.at(0).points;
  ASSERT_EQ(1U, points.size());
  EXPECT_TRUE(points[0].added.isNothing());
}

TEST_F(Reading, KeepsWhatIsUnknownUnknown) {
  look(0, counting(5));
  auto broker = counting(6);
  broker->tree->executionGroups[0].messageFlows[0].nodes[0].statistics->sumSize = {};
  look(2, broker);
  const auto points = curves(0, 4, 10).nodes.at(0).points;
  ASSERT_EQ(1U, points.size());
  EXPECT_EQ(1, points[0].added.messages);
  EXPECT_FALSE(points[0].added.bytes);
}

TEST_F(Reading, FindsABrokerByLabelOrUuid) {
  look(0, counting(5));
  EXPECT_EQ(1, history::findBroker(database, "SHOP"));
  EXPECT_EQ(1, history::findBroker(database, "1-2-3"));
  EXPECT_EQ(1, history::findBroker(database, "SHOP (1-2-3)"));
  EXPECT_FALSE(history::findBroker(database, "STOP"));
}

TEST_F(Reading, OfAnUnknownBrokerShowsNothing) {
  EXPECT_TRUE(curves(0, 100, 10).nodes.empty());
  EXPECT_TRUE(curves(100, 0, 10).nodes.empty());
}

TEST(StepFor, GivesNoMorePointsThanWereAskedFor) {
  EXPECT_EQ(1, history::stepFor(100, 200));
  EXPECT_EQ(120, history::stepFor(86400, 1000));
  EXPECT_EQ(86400, history::stepFor(30 * 86400, 40));
  EXPECT_EQ(86400 * 8, history::stepFor(7300 * 86400, 1000));
  EXPECT_EQ(1800, history::stepFor(1000, 2));
}

}  // namespace reading_test
