// SPDX-License-Identifier: Apache-2.0
#include "agent/front/history/recorder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/agent/history/recorded.h"

namespace recorder_test {

namespace {

using history::Sight;

class Recorder : public ::testing::Test, public Recorded {};

// A broker in another segment, all of whose records are new.
std::shared_ptr<model::SeenBroker> inAnotherSegment(std::int64_t messages) {
  auto broker = present({nodeWith("Reserve", 9, {.messages = messages})});
  broker->segment.id = 8;
  broker->tree->resetTime = kBegin + 3;
  return broker;
}

std::shared_ptr<model::SeenBroker> resetAt(std::int64_t second, std::int64_t messages) {
  auto broker = counting(messages);
  broker->tree->resetTime = kBegin + second;
  return broker;
}

std::shared_ptr<model::SeenBroker> withState(reader::State state) {
  auto broker = std::make_shared<model::SeenBroker>();
  broker->segment.state = state;
  broker->segment.uuid = "1-2-3";
  return broker;
}

reader::Event eventWith(std::uint32_t number, bool hasTemplate = true) {
  reader::Event event;
  event.recordId = recordId(8, number);
  event.templateId = recordId(7, 1);
  event.time = kBegin + number;
  if (hasTemplate) {
    event.origin = std::make_shared<reader::EventTemplate>(
        reader::EventTemplate{"orders", "Fulfil", "Reserve", 3, "Order reserved"});
  }
  return event;
}

std::shared_ptr<model::SeenBroker> posting(std::vector<reader::Event> events) {
  auto broker = counting(1);
  broker->events = reader::EventLog::Batch{};
  broker->events->events = std::move(events);
  return broker;
}

Sight finding(const std::string& id) {
  model::Finding found;
  found.id = id;
  found.of = "x";
  Sight sight{.snapshot = std::make_shared<model::Snapshot>()};
  sight.findings.found = {found};
  return sight;
}

}  // namespace

TEST_F(Recorder, KeepsWhatWasAddedSinceTheLookBefore) {
  look(0, counting(5));
  EXPECT_EQ(0, number("SELECT count(*) FROM recent"));
  look(2, counting(8));
  EXPECT_EQ("2 1 3 300 30 3", row("SELECT * FROM recent"));
  look(4, counting(8));
  EXPECT_EQ(1, number("SELECT count(*) FROM recent"));
  EXPECT_EQ("orders Fulfil Reserve 3",
            row("SELECT execution_group, flow, node, node_type FROM node"));
  EXPECT_EQ("-", row("SELECT max(kind) FROM mark"));
}

TEST_F(Recorder, CountsABrokerFromItsBeginningWhenItWasNotThereBefore) {
  look(0, nullptr);
  look(2, counting(5));
  EXPECT_EQ(5, messages());
  EXPECT_EQ("restart 0.0", marks());
  EXPECT_EQ("1 2", row("SELECT look_before, look_after FROM mark"));
}

TEST_F(Recorder, DoesNotCountWhatABrokerHadBeforeItCouldBeRead) {
  look(0, withState(reader::State::noPermission));
  look(2, counting(5));
  EXPECT_EQ(0, number("SELECT count(*) FROM recent"));
}

TEST_F(Recorder, MarksAResetAndGoesOnWithWhatCameAfterIt) {
  look(0, counting(50));
  look(10, resetAt(3, 4));
  EXPECT_EQ(4, messages());
  EXPECT_EQ("reset 3.999", marks());
  EXPECT_EQ("1 2 0 10", row("SELECT look_before, look_after, begin_ms / 1000 - 1800000000, "
                            "end_ms / 1000 - 1800000000 FROM mark"));
}

TEST_F(Recorder, MarksAResetThatTheNumbersAloneDontShow) {
  look(0, counting(5));
  look(10, resetAt(3, 5));
  EXPECT_EQ(5, messages());
  EXPECT_EQ("reset 3.999", marks());
}

TEST_F(Recorder, MarksTheResetOfOneNode) {
  look(0, counting(50));
  look(10, counting(4));
  EXPECT_EQ(4, messages());
  EXPECT_EQ("reset 10.0", marks());
}

TEST_F(Recorder, SaysWhichFlowWasDeployed) {
  look(0, counting(50));
  auto broker =
      present({nodeWith("Reserve", 1, {.messages = 1}), nodeWith("Charge", 2, {.messages = 2})});
  broker->tree->resetTime = kBegin + 1;
  look(2, broker);
  EXPECT_EQ("orders Fulfil", row("SELECT execution_group, flow FROM mark"));
  EXPECT_EQ(3, messages());
}

TEST_F(Recorder, MarksAnotherSegmentOfTheSameBroker) {
  look(0, counting(50));
  look(10, inAnotherSegment(7));
  EXPECT_EQ(7, messages());
  EXPECT_EQ("restart 10.0", marks());
}

TEST_F(Recorder, MarksARemovedSegmentAndItsReturn) {
  look(0, counting(50));
  look(2, withState(reader::State::noSegment));
  EXPECT_EQ("removed 2.0", marks());
  look(4, nullptr);
  look(6, inAnotherSegment(7));
  EXPECT_EQ("removed 2.0, restart 0.0", marks());
  EXPECT_EQ(7, messages());
  EXPECT_EQ("0 6 1", row("SELECT min(end_ms) / 1000 - 1800000000, max(end_ms) / 1000 - 1800000000, "
                         "min(last_look) FROM span"));
}

TEST_F(Recorder, GoesOnAfterARestartWithAMark) {
  look(0, counting(5));
  look(2, counting(6));
  restart();
  look(100, counting(16));
  EXPECT_EQ(11, messages());
  EXPECT_EQ("gap 0.0", marks());
  EXPECT_EQ("2 3", row("SELECT look_before, look_after FROM mark"));
}

TEST_F(Recorder, GoesOnAfterARestartDuringWhichAllWasReset) {
  look(0, counting(50));
  restart();
  look(100, resetAt(40, 6));
  EXPECT_EQ(6, messages());
  EXPECT_EQ("gap 0.0, reset 40.999", marks());
}

TEST_F(Recorder, GoesOnAfterARestartDuringWhichTheBrokerWasRestarted) {
  look(0, counting(50));
  restart();
  look(100, inAnotherSegment(7));
  EXPECT_EQ(7, messages());
  EXPECT_EQ("gap 0.0, restart 100.0", marks());
}

TEST_F(Recorder, MarksATimeInWhichABrokerCouldNotBeRead) {
  look(0, counting(5));
  look(2, withState(reader::State::noPermission));
  look(4, withState(reader::State::noPermission));
  look(6, counting(9));
  EXPECT_EQ(4, messages());
  EXPECT_EQ("gap 0.0", marks());
  EXPECT_EQ("1 4", row("SELECT look_before, look_after FROM mark"));
}

TEST_F(Recorder, KnowsNothingOfBrokersThatWereLeftOut) {
  look(0, counting(5));
  auto without = std::make_shared<model::Snapshot>();
  without->leftOut.tooMany = 1;
  look(2, Sight{.snapshot = without});
  look(4, counting(7));
  EXPECT_EQ("gap 0.0", marks());
  EXPECT_EQ(2, messages());
}

TEST_F(Recorder, DoesNotCountTheBeginningOfABrokerThatWasLeftOut) {
  auto without = std::make_shared<model::Snapshot>();
  without->leftOut.tooMany = 1;
  look(0, Sight{.snapshot = without});
  look(2, counting(7));
  EXPECT_EQ(0, messages());
}

TEST_F(Recorder, MarksLooksThatWereLost) {
  look(0, counting(5));
  auto snapshot = std::make_shared<model::Snapshot>();
  snapshot->brokers = {counting(7)};
  look(6, Sight{.snapshot = snapshot, .behindLost = true});
  EXPECT_EQ(2, messages());
  EXPECT_THAT(marks(), ::testing::HasSubstr("gap 0.0"));
}

TEST_F(Recorder, MarksAWallClockThatJumps) {
  look(0, counting(5));
  look(2, counting(6), 0.5);
  EXPECT_EQ("-", marks());
  look(4, counting(7), -3600);
  EXPECT_EQ("clock 0.0", marks());
  EXPECT_EQ(2, messages());
  EXPECT_EQ(2, number("SELECT count(*) FROM span"));
}

TEST_F(Recorder, AddsUpNodesOfOneName) {
  const auto two = [](std::int64_t one, std::int64_t other) {
    return present(
        {nodeWith("Reserve", 1, {.messages = one}), nodeWith("Reserve", 2, {.messages = other})});
  };
  look(0, two(1, 10));
  look(2, two(3, 14));
  EXPECT_EQ("2 1 6", row("SELECT look, node, messages FROM recent"));
}

TEST_F(Recorder, CountsATornRecordWhenItIsWholeAgain) {
  look(0, counting(5));
  auto torn = counting(999);
  torn->tree->executionGroups[0].messageFlows[0].nodes[0].statistics->torn = true;
  look(2, torn);
  EXPECT_EQ(0, messages());
  look(4, counting(9));
  EXPECT_EQ(4, messages());
}

TEST_F(Recorder, NeverCountsARecordThatWasTornAtTheFirstLook) {
  auto torn = counting(5);
  torn->tree->executionGroups[0].messageFlows[0].nodes[0].statistics->torn = true;
  look(0, torn);
  restart();
  look(2, counting(9));
  EXPECT_EQ(0, messages());
  look(4, counting(10));
  EXPECT_EQ(1, messages());
}

TEST_F(Recorder, KeepsWhatItCantReadAsUnknownAndCountsItLater) {
  const auto with = [](reader::Number messages) {
    auto broker = counting(5);
    broker->tree->executionGroups[0].messageFlows[0].nodes[0].statistics->messageCount = messages;
    return broker;
  };
  look(0, with(5));
  look(2, with({}));
  EXPECT_EQ("-", row("SELECT messages FROM recent"));
  look(4, with(9));
  EXPECT_EQ(4, messages());
}

TEST_F(Recorder, DoesNotBelieveWhatNobodyCanAddInALook) {
  look(0, counting(1));
  auto broker = counting(2);
  auto& statistics = broker->tree->executionGroups[0].messageFlows[0].nodes[0].statistics;
  statistics->sumSize = std::int64_t{1} << 62;
  look(2, broker);
  EXPECT_EQ("1 - 10", row("SELECT messages, bytes, elapsed_ms FROM recent"));
}

TEST_F(Recorder, CountsNodesThatAreTooMany) {
  restart({.names = 1});
  look(0, nullptr);
  look(2, present({nodeWith("One", 1, {.messages = 1}), nodeWith("Two", 2, {.messages = 2})}));
  EXPECT_EQ(1, messages());
  EXPECT_EQ("nodes 1", row("SELECT what, number FROM over"));
}

TEST_F(Recorder, KeepsEachEventOnce) {
  look(0, posting({eventWith(1), eventWith(2)}));
  restart();
  look(2, posting({eventWith(1), eventWith(2), eventWith(3)}));
  EXPECT_EQ("3 3", row("SELECT count(*), count(DISTINCT number) FROM event"));
  EXPECT_EQ("Order reserved Reserve", row("SELECT text, node FROM template"));
  EXPECT_EQ("3", row("SELECT events FROM broker"));
  const std::int64_t bytes = number("SELECT event_bytes FROM broker");
  look(4, posting({eventWith(3)}));
  EXPECT_EQ(bytes, number("SELECT event_bytes FROM broker"));
}

TEST_F(Recorder, KeepsEventsOfOneRecordIdInTwoThreads) {
  auto other = eventWith(1);
  other.threadId = 2;
  look(0, posting({eventWith(1), other}));
  EXPECT_EQ(2, number("SELECT count(*) FROM event"));
}

TEST_F(Recorder, LearnsATemplateThatWasGone) {
  look(0, posting({eventWith(1, false)}));
  EXPECT_EQ("-", row("SELECT text FROM template"));
  look(2, posting({eventWith(2)}));
  EXPECT_EQ("1 Order reserved", row("SELECT count(*), text FROM template"));
}

TEST_F(Recorder, CountsEventsThatAreTooMany) {
  restart({.eventsPerSecond = 1});
  std::vector<reader::Event> events;
  for (std::uint32_t i = 0; i < 70; ++i) events.push_back(eventWith(i));
  look(0, posting(events));
  EXPECT_EQ("60", row("SELECT count(*) FROM event"));
  EXPECT_EQ("events 10", row("SELECT what, number FROM over"));
}

TEST_F(Recorder, KeepsGapsBetweenEvents) {
  auto broker = posting({});
  broker->events->missed = 12;
  look(0, broker);
  EXPECT_EQ("1 overwritten atLeast 12 -", row("SELECT look, cause, kind, least, most FROM gap"));
}

TEST_F(Recorder, KeepsFindingsWithBeginAndEnd) {
  look(0, finding("lock.stuck"));
  restart();
  look(2, finding("lock.stuck"));
  EXPECT_EQ("1 lock.stuck:x 1800000000000 -",
            row("SELECT count(*), key, begin_ms, end_ms FROM finding"));
  look(4, finding("area.full"));
  EXPECT_EQ("1800000004000", row("SELECT end_ms FROM finding WHERE kind = 'lock.stuck'"));
  EXPECT_EQ("area.full", row("SELECT kind FROM finding WHERE end_ms IS NULL"));
}

TEST_F(Recorder, PutsTenMinutesIntoAPartInTheOrderOfNodes) {
  for (int i = 0; i < 300; ++i) look(i * 2, counting(i));
  EXPECT_EQ(299, messages());
  look(600, counting(300));
  EXPECT_EQ("1", row("SELECT sum(messages) FROM recent"));
  EXPECT_EQ("1 299 10 0", row("SELECT number, samples, minutes, hours FROM part"));
  EXPECT_EQ("299 29900 2990", row("SELECT sum(messages), sum(bytes), sum(elapsed_ms) FROM sample"));
  EXPECT_EQ("299 10", row("SELECT sum(messages), count(*) FROM minute"));
  EXPECT_EQ("30000000 29", row("SELECT minute, messages FROM minute LIMIT 1"));
}

TEST_F(Recorder, AddsUpAnHourWhenItIsOver) {
  for (int i = 0; i <= 360; ++i) look(i * 10, counting(i));
  EXPECT_EQ("500000 359", row("SELECT hour, messages FROM hour"));
  EXPECT_EQ(6, number("SELECT count(*) FROM part WHERE summed = 1 AND minutes > 0"));
  for (int i = 361; i <= 720; ++i) look(i * 10, counting(i));
  EXPECT_EQ("2 719", row("SELECT count(*), sum(messages) FROM hour"));
}

TEST_F(Recorder, AddsUpNoSumOfWhichAPartIsNotKnown) {
  look(0, counting(0));
  look(2, counting(1));
  look(4, counting(2));
  database.execute("UPDATE recent SET bytes = NULL WHERE look = 2");
  look(3600, counting(3));
  EXPECT_EQ("2 - 20", row("SELECT messages, bytes, elapsed_ms FROM minute"));
  look(7200, counting(4));
  EXPECT_EQ("2 - 20", row("SELECT messages, bytes, elapsed_ms FROM hour"));
}

TEST_F(Recorder, TakesFewNodesAtATimeWithTheSameResult) {
  restart({.rowsAtOnce = 1});
  const auto two = [](std::int64_t n) {
    return present({nodeWith("One", 1, {.messages = n}), nodeWith("Two", 2, {.messages = 2 * n})});
  };
  for (int i = 0; i <= 3; ++i) look(i * 200, two(i));
  EXPECT_EQ("1 4 6", row("SELECT count(DISTINCT part), count(*), sum(messages) FROM sample"));
}

TEST_F(Recorder, RemovesAPartThatWasNotFinished) {
  look(0, counting(5));
  look(2, counting(6));
  database.execute("INSERT INTO sample VALUES (1, 1, 2, 1, 1, 1, 1)");
  restart();
  EXPECT_EQ(0, number("SELECT count(*) FROM sample"));
  look(600, counting(6));
  EXPECT_EQ(1, number("SELECT sum(messages) FROM sample"));
}

TEST_F(Recorder, KeepsLooksMinutesAndHoursForTheirTime) {
  constexpr int kHour = 3600;
  for (int i = 0; i <= 9; ++i) look(i * kHour, counting(i));
  EXPECT_EQ(4, number("SELECT min(look) FROM sample"));
  EXPECT_EQ(1, number("SELECT min(minute) / 60 - 500000 FROM minute"));
  look(15 * 24 * kHour, counting(10));
  look(15 * 24 * kHour + 700, counting(11));
  EXPECT_LT(500000 + 24, number("SELECT min(minute) / 60 FROM minute"));
  EXPECT_EQ(500001, number("SELECT min(hour) FROM hour"));
  look(800 * 24 * kHour, counting(12));
  look(800 * 24 * kHour + 700, counting(13));
  EXPECT_EQ(0, number("SELECT count(*) FROM hour"));
}

TEST_F(Recorder, RemovesTheOldestOfABrokerAboveItsQuota) {
  for (int i = 0; i <= 180; ++i) look(i * 20, counting(i));
  const std::string before = row("SELECT min(look) FROM sample");
  recorder->shrink(history::kRowBytes * 150, std::numeric_limits<std::int64_t>::max());
  EXPECT_GT(number("SELECT min(look) FROM sample"), std::stoi(before));
  EXPECT_EQ("bytes", row("SELECT what FROM over"));
  EXPECT_EQ(179, number("SELECT sum(messages) FROM minute"));
}

TEST_F(Recorder, RemovesTheOldestEventsOfABrokerThatPostsMost) {
  std::vector<reader::Event> events;
  for (std::uint32_t i = 0; i < 11000; ++i) events.push_back(eventWith(i));
  look(0, posting(events));
  recorder->shrink(500000, std::numeric_limits<std::int64_t>::max());
  EXPECT_GT(1000, number("SELECT count(*) FROM event"));
  EXPECT_LT(0, number("SELECT count(*) FROM event"));
  EXPECT_EQ(number("SELECT count(*) FROM event"), number("SELECT events FROM broker"));
}

}  // namespace recorder_test
