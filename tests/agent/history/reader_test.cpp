// SPDX-License-Identifier: Apache-2.0
#include "agent/front/history/reader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "agent/front/history/what_changed.h"
#include "tests/agent/history/recorded.h"

namespace reader_test {

namespace {

using history::Failure;
using history::KnownBroker;
using model::Period;

constexpr char kFile[] = "/tmp/history.db";

Period seconds(std::int64_t from, std::int64_t until) {
  return {(kBegin + from) * 1000, (kBegin + until) * 1000};
}

class Reader : public ::testing::Test, public Recorded {
 protected:
  Reader() : Recorded(kFile) {}
  ~Reader() override {
    recorder.reset();
    for (const char* end : {"", "-wal", "-shm"}) std::filesystem::remove(kFile + std::string(end));
  }

  KnownBroker broker() const { return history::Reader(kFile).brokers().at(0); }

  model::PastBroker past(const Period& period, std::size_t parts = 1) const {
    const history::Reader reader(kFile);
    return reader.past(reader.brokers().at(0), period, parts);
  }

  // Messages that were added in it; nothing when that is not known.
  static reader::Number messagesOf(const model::PastBroker& past) {
    if (past.looks.empty()) return {};
    return viewOf(past, {}).brokers.at(0).flows.at(0).growth.nodes.at(0).growth.messages;
  }

  // A look a minute for two hours and a half, at each of which 6 more were counted.
  void recordHours() {
    for (int i = 0; i <= 150; ++i) look(60 * i, counting(6 * i));
  }

  void forget(const std::string& table) {
    database.execute("DELETE FROM " + table + "; UPDATE part SET " + table + "s = 0");
  }
};

}  // namespace

TEST_F(Reader, ATotalIsTheDifferenceOfTheCountsAtStoredLooks) {
  look(0, counting(5));
  look(2, counting(8));
  look(4, counting(20));
  look(6, counting(21));
  const model::PastBroker found = past(seconds(1, 5));
  EXPECT_EQ(seconds(2, 4), found.period);
  EXPECT_EQ(2000, found.observed);
  EXPECT_EQ(12, messagesOf(found));
  EXPECT_EQ(16, messagesOf(past(seconds(-100, 100))));
}

TEST_F(Reader, ATotalIsTheSameByLooksMinutesAndHours) {
  recordHours();
  const Period hour = seconds(3600, 7200);
  EXPECT_EQ(360, messagesOf(past(hour)));
  forget("sample");
  EXPECT_EQ(360, messagesOf(past(hour)));
  EXPECT_EQ(hour, past(hour).period);
  EXPECT_EQ(12, messagesOf(past(seconds(3590, 3730)))) << "two whole minutes";
  forget("minute");
  EXPECT_EQ(360, messagesOf(past(hour)));
  EXPECT_EQ(hour, past(seconds(3000, 7300)).period) << "one whole hour";
}

TEST_F(Reader, WhatIsNotInAPartYetCountsToo) {
  recordHours();
  forget("sample");
  EXPECT_EQ(900, messagesOf(past(seconds(0, 9000))));
  EXPECT_EQ(kBegin * 1000 + 9000000, past(seconds(0, 20000)).period.until);
}

TEST_F(Reader, HoursAreNotCountedOnceMoreByTheirMinutes) {
  recordHours();
  forget("sample");
  database.execute(
      "DELETE FROM minute WHERE part = (SELECT min(number) FROM part);"
      "UPDATE part SET minutes = 0 WHERE number = (SELECT min(number) FROM part)");
  EXPECT_EQ(119 * 6, messagesOf(past(seconds(0, 7200))));
}

TEST_F(Reader, LooksInBetweenAddUpToTheWhole) {
  recordHours();
  const model::PastBroker found = past(seconds(3600, 7200), 6);
  ASSERT_EQ(7u, found.looks.size());
  EXPECT_EQ(360, messagesOf(found));
  const auto countAt = [&found](std::size_t look) {
    const reader::Broker& tree = *found.looks[look]->brokers.at(0)->tree;
    return tree.executionGroups.at(0).messageFlows.at(0).nodes.at(0).statistics->messageCount;
  };
  EXPECT_EQ(0, countAt(0));
  EXPECT_EQ(60, countAt(1));
  EXPECT_EQ(300, countAt(5));
}

TEST_F(Reader, AnUnknownPartMakesASumUnknown) {
  look(0, counting(5));
  look(2, counting(8));
  look(4, counting(9));
  database.execute("UPDATE recent SET messages = NULL WHERE look = 2");
  EXPECT_FALSE(messagesOf(past(seconds(0, 4))).has_value());
}

TEST_F(Reader, AResetIsAMarkWithWhatNobodyCounted) {
  look(0, counting(5));
  look(2, counting(8));
  auto reset = counting(1);
  reset->tree->resetTime = kBegin + 3;
  look(4, reset);
  look(6, counting(1));
  const model::PastBroker found = past(seconds(0, 5));
  ASSERT_FALSE(found.marks.empty());
  EXPECT_EQ("reset", found.marks.at(0).kind);
  EXPECT_LT(0, found.unknown());
  EXPECT_GE(2000, found.unknown());
}

TEST_F(Reader, NothingIsSaidOfATimeInWhichNobodyLooked) {
  look(0, counting(5));
  look(2, counting(8));
  EXPECT_TRUE(past(seconds(-500, -400)).looks.empty());
  EXPECT_TRUE(past(seconds(500, 600)).looks.empty());
}

TEST_F(Reader, TheLastLookHasTheCountsSinceTheReset) {
  look(0, counting(5));
  look(2, counting(8));
  const history::Reader reader(kFile);
  const model::PastBroker last = reader.last(reader.brokers().at(0));
  EXPECT_EQ(8, messagesOf(last));
  EXPECT_EQ(seconds(-100, 2), last.period);
}

TEST_F(Reader, AnAreaFillsUpAsItDidInThirtyDays) {
  constexpr double kDay = 86400;
  look(0, filled(100, 1000));
  look(5 * kDay, filled(300, 1000));
  look(5 * kDay + 2, filled(400, 1000));
  look(40 * kDay, filled(700, 2000));
  const auto growth = history::Reader(kFile).growth(broker());
  ASSERT_TRUE(growth);
  EXPECT_EQ((kBegin + 10 * 86400) * 1000, growth->from);
  EXPECT_EQ(400u, growth->before);
  EXPECT_EQ(700u, growth->used);
  EXPECT_EQ(2000u, growth->size);
  EXPECT_DOUBLE_EQ(130 * kDay, growth->untilFull().value().count());
  EXPECT_EQ("0 400", row("SELECT count(*), (SELECT used_bytes FROM area_use WHERE hour = 500120) "
                         "FROM area_use WHERE used_bytes = 300"));
}

TEST_F(Reader, LessThanADayIsNotEnoughForAForecast) {
  look(0, filled(100, 1000));
  look(86399, filled(300, 1000));
  EXPECT_FALSE(history::Reader(kFile).growth(broker())->untilFull());
  look(86400, filled(300, 1000));
  EXPECT_EQ(86400 * 3.5, history::Reader(kFile).growth(broker())->untilFull().value().count());
}

TEST_F(Reader, AForecastCountsNoTimeBeforeTheFirstLook) {
  look(3599, filled(100, 1000));
  look(3600 + 60, filled(300, 1000));
  const auto growth = history::Reader(kFile).growth(broker());
  EXPECT_EQ(61 * 1000, growth->until - growth->from);
}

TEST_F(Reader, AnAreaThatDoesNotChangeTakesOneRow) {
  for (int i = 0; i < 50; ++i) look(3600 * i, filled(100, 1000));
  restart();
  look(3600 * 50, filled(100, 1000));
  EXPECT_EQ(1, number("SELECT count(*) FROM area_use"));
  const auto growth = history::Reader(kFile).growth(broker());
  EXPECT_EQ(3600 * 50 * 1000, growth->until - growth->from);
  EXPECT_FALSE(growth->untilFull());
}

TEST_F(Reader, AHistoryOfTheFirstVersionIsReadWithoutAForecast) {
  look(0, filled(100, 1000));
  database.execute("DROP TABLE area_use; PRAGMA user_version = 1");
  EXPECT_FALSE(history::Reader(kFile).growth(broker()));
  EXPECT_EQ(1u, history::Reader(kFile).last(broker()).looks.back()->brokers.size());
}

TEST_F(Reader, EventsComeBackAsTheyWerePosted) {
  auto posting = counting(1);
  reader::Event event;
  event.recordId = recordId(8, 1);
  event.templateId = recordId(7, 1);
  event.time = kBegin + 1;
  event.threadId = 77;
  event.messageId[0] = 0xAB;
  event.putApplicationName = "till";
  event.origin = std::make_shared<reader::EventTemplate>(
      reader::EventTemplate{"orders", "Fulfil", "Reserve", 3, "Order reserved"});
  posting->events = reader::EventLog::Batch{};
  posting->events->events = {event};
  look(2, posting);
  const history::Reader reader(kFile);
  bool bounded = false;
  const auto seen = reader.events(reader.brokers().at(0), seconds(1, 2), bounded);
  ASSERT_EQ(1u, seen->events->events.size());
  const reader::Event& found = seen->events->events.front();
  EXPECT_EQ(event.recordId, found.recordId);
  EXPECT_EQ(event.templateId, found.templateId);
  EXPECT_EQ(event.time, found.time);
  EXPECT_EQ(77, found.threadId);
  EXPECT_EQ(event.messageId, found.messageId);
  EXPECT_EQ("till", found.putApplicationName);
  ASSERT_NE(nullptr, found.origin);
  EXPECT_EQ("Order reserved", found.origin->text);
  EXPECT_FALSE(bounded);
  EXPECT_TRUE(reader.events(reader.brokers().at(0), seconds(2, 3), bounded)->events->events.empty())
      << "half-open";
  EXPECT_TRUE(
      reader.events(reader.brokers().at(0), seconds(0, 1), bounded)->events->events.empty());
}

TEST_F(Reader, AFindingWasThereFromItsBeginToItsEnd) {
  database.execute(
      "INSERT INTO finding (key, kind, severity, object, evidence, effect, remedy, command, "
      "begin_ms, end_ms) VALUES ('lock.stuck:/tmp/x', 'lock.stuck', 'critical', 'o', 'e', 'f', "
      "'r', '', 5000, 9000)");
  const history::Reader reader(kFile);
  const auto found = reader.findings({8000, 20000});
  ASSERT_EQ(1u, found.size());
  EXPECT_EQ("lock.stuck", found[0].finding.id);
  EXPECT_EQ("lock.stuck:/tmp/x", found[0].finding.key());
  EXPECT_EQ(model::Severity::critical, found[0].finding.severity);
  EXPECT_EQ(9000, found[0].end);
  EXPECT_TRUE(reader.findings({9001, 20000}).empty());
  EXPECT_TRUE(reader.findings({0, 5000}).empty());
}

TEST_F(Reader, GapsKeepWhatTheyAreSureOf) {
  look(0, counting(5));
  database.execute(
      "INSERT INTO gap (broker, look, time_ms, cause, execution_group, flow, node, kind, least, "
      "most) VALUES (1, 1, 5000, 'overwritten', 'orders', 'Fulfil', 'Reserve', 'between', 3, 9)");
  const history::Reader reader(kFile);
  const auto found = reader.gaps(reader.brokers().at(0), {5000, 5001});
  ASSERT_EQ(1u, found.size());
  EXPECT_EQ("Reserve", found[0].gap.node);
  EXPECT_EQ((model::Missed{model::Missed::Kind::between, 3, 9}), found[0].gap.missed);
  EXPECT_TRUE(reader.gaps(reader.brokers().at(0), {0, 5000}).empty());
}

TEST_F(Reader, RefusesWhatIsNoHistoryOfThisVersion) {
  EXPECT_TRUE(history::isHistory(kFile));
  database.execute("PRAGMA user_version = 9");
  try {
    const history::Reader reader(kFile);
    FAIL();
  } catch (const Failure& failure) {
    EXPECT_THAT(failure.what(), ::testing::HasSubstr("newer zebmon"));
  }
  EXPECT_THROW(history::Reader("/tmp/none.db"), Failure);
  std::ofstream("/tmp/text.db") << "SQLite forma";
  EXPECT_FALSE(history::isHistory("/tmp/text.db"));
  EXPECT_FALSE(history::isHistory("/tmp/none.db"));
  std::filesystem::remove("/tmp/text.db");
}

TEST_F(Reader, AChangeIsFoundWithTheMarkThatWasJustBefore) {
  addMinutes(database);
  const history::Reader reader(kFile);
  const auto found = changesIn(reader, seconds(86400, 172800), {}, {});
  ASSERT_EQ(1u, found.size());
  EXPECT_EQ("SHOP", found[0].broker);
  EXPECT_EQ("Priced", found[0].node);
  EXPECT_EQ(30000000 + 2500, found[0].change.minute);
  EXPECT_NEAR(9, found[0].change.before, 0.2);
  EXPECT_NEAR(14, found[0].change.after, 0.2);
  ASSERT_TRUE(found[0].mark.has_value());
  EXPECT_EQ("stock", found[0].mark->flow);
  EXPECT_EQ(1, found[0].minutesAfter);
}

TEST_F(Reader, TheRestOfTheChangesIsLeftOutOnceItIsToldToStop) {
  addMinutes(database);
  const history::Reader reader(kFile);
  int asked = 0;
  EXPECT_TRUE(
      changesIn(reader, seconds(86400, 172800), {}, {}, [&asked] { return asked++ == 0; }).empty());
  EXPECT_EQ(2, asked);
}

TEST_F(Reader, OnlyChangesOfWhatWasAskedForAreLookedFor) {
  addMinutes(database);
  const history::Reader reader(kFile);
  const auto changes = [&reader](const model::Selection& selection) {
    return changesIn(reader, seconds(86400, 172800), selection, {}).size();
  };
  EXPECT_EQ(1u, changes({.broker = "SHOP", .group = "orders", .flow = "F*", .node = "Priced"}));
  EXPECT_EQ(0u, changes({.broker = "BANK"}));
  EXPECT_EQ(0u, changes({.flow = "Stock"}));
  EXPECT_EQ(0u, changes({.node = "Reserve"}));
}

TEST(PastChange, AMarkFartherThanFiveMinutesIsNone) {
  constexpr std::int64_t kMinute = 60000;
  model::PastChange change;
  change.change.minute = 100;
  addNearest(change, {{"reset", {94 * kMinute, 94 * kMinute + 5}, 0}});
  EXPECT_FALSE(change.mark.has_value());
  addNearest(change, {{"restart", {103 * kMinute, 103 * kMinute + 5}, 0},
                      {"reset", {95 * kMinute, 95 * kMinute + 5}, 0},
                      {"gap", {98 * kMinute, 98 * kMinute + 5}, 0}});
  ASSERT_TRUE(change.mark.has_value());
  EXPECT_EQ("gap", change.mark->kind);
  EXPECT_EQ(2, change.minutesAfter);
  addNearest(change, {{"clock", {90 * kMinute, 110 * kMinute}, 0}});
  EXPECT_EQ("clock", change.mark->kind);
  EXPECT_EQ(0, change.minutesAfter);
}

}  // namespace reader_test
