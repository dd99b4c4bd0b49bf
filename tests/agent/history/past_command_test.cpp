// SPDX-License-Identifier: Apache-2.0
// zebmon reads a history.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <array>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <span>
#include <sstream>

#include "tests/agent/history/recorded.h"
#include "tests/agent/zebmon.h"
#include "tests/support/live_segment.h"

namespace past_command_test {

namespace {

using nlohmann::json;
using ::testing::HasSubstr;

constexpr char kFile[] = "/tmp/history.db";

// Two nodes, the second in the first one, that counted so many messages each.
std::shared_ptr<model::SeenBroker> flowWith(std::int64_t messages) {
  auto outer = nodeWith("Order in", 1,
                        {.messages = messages,
                         .elapsed = messages * 15,
                         .queued = messages * 2,
                         .bytes = messages * 100});
  outer.type = 1;
  return present(
      {outer, nodeWith("Priced", 2,
                       {.messages = messages, .elapsed = messages * 9, .bytes = messages * 100})});
}

// Counts how often somebody opens a file. Equal news behind each other would be one, so there are
// also those of what is done between two openings.
class Opens {
 public:
  explicit Opens(const char* file) {
    inotify_add_watch(notify_, file, IN_OPEN | IN_ACCESS | IN_CLOSE);
  }
  ~Opens() { close(notify_); }

  // Since the last call.
  int count() {
    std::array<inotify_event, 64> news{};
    int opens = 0;
    for (ssize_t size; (size = read(notify_, news.data(), sizeof news)) > 0;) {
      const auto number = static_cast<std::size_t>(size) / sizeof(inotify_event);
      for (const auto& one : std::span(news).first(number)) opens += (one.mask & IN_OPEN) != 0;
    }
    return opens;
  }

 private:
  const int notify_ = inotify_init1(IN_NONBLOCK);
};

// Looks at 2027-01-15 08:00:00Z and after; it was reset before the look at 40 s.
class PastCommand : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { std::filesystem::remove(kFile); }

  PastCommand() {
    Recorded recorded(kFile);
    for (int i = 0; i < 4; ++i) recorded.look(10 * i, flowWith(100 * i));
    auto reset = flowWith(10);
    reset->tree->resetTime = kBegin + 35;
    recorded.look(40, reset);
    auto last = flowWith(60);
    last->tree->resetTime = kBegin + 35;
    last->events = reader::EventLog::Batch{};
    last->events->events = {event()};
    recorded.look(50, last);
    recorded.database.execute(
        "INSERT INTO finding (key, kind, severity, object, evidence, effect, remedy, command, "
        "begin_ms, end_ms) VALUES ('area.full', 'area.full', 'warning', 'the statistics area', "
        "'nothing is free', 'new nodes are not counted', 'make it larger', '', 1800000010000, "
        "1800000020000)");
  }
  ~PastCommand() override { std::filesystem::remove(kFile); }

  static reader::Event event() {
    reader::Event event;
    event.recordId = recordId(8, 1);
    event.templateId = recordId(7, 1);
    event.time = kBegin + 44;
    event.messageId[0] = 0xAB;
    event.origin = std::make_shared<reader::EventTemplate>(
        reader::EventTemplate{"orders", "Fulfil", "Priced", 3, "Order priced"});
    return event;
  }

  static Result ask(std::vector<std::string> arguments) {
    arguments.insert(arguments.end(), {"--from", kFile});
    return run(std::move(arguments));
  }

  static Result askBetween(std::vector<std::string> arguments, const char* from,
                           const char* until) {
    arguments.insert(arguments.end(), {"--between", from, until});
    return ask(std::move(arguments));
  }

  static json totals(const char* from, const char* until) {
    return json::parse(askBetween({"stats", "--format", "json"}, from, until).out)["brokers"][0];
  }
};

}  // namespace

TEST_F(PastCommand, StatsShowsWhatWasAddedInThePeriod) {
  const Result result = askBetween({"stats"}, "2027-01-15T08:00:10Z", "2027-01-15T09:00:35+01:00");
  EXPECT_EQ(0, result.code) << result.errors;
  EXPECT_THAT(result.out, HasSubstr("Broker SHOP, added from 2027-01-15 08:00:10Z until "
                                    "2027-01-15 08:00:30Z"));
  EXPECT_THAT(result.out, HasSubstr("200"));
  const json broker = totals("2027-01-15T08:00:10Z", "2027-01-15 08:00:35Z");
  EXPECT_EQ(200, broker["nodes"][0]["messageCount"]);
  EXPECT_EQ(0, broker["period"]["unknownSeconds"]);
  EXPECT_EQ(20, broker["period"]["observedSeconds"]);
}

TEST_F(PastCommand, AroundAResetNumbersAreAtLeast) {
  const Result result = askBetween({"stats"}, "2027-01-15 08:00:00", "2027-01-15 08:00:55");
  EXPECT_THAT(result.out, HasSubstr("\xE2\x89\xA5"));
  EXPECT_THAT(result.out, HasSubstr("a reset"));
  const json broker = totals("2027-01-15 08:00:00", "2027-01-15 08:00:55");
  EXPECT_EQ(360, broker["nodes"][0]["messageCount"]);
  EXPECT_LT(0, broker["period"]["unknownSeconds"]);
  EXPECT_EQ("reset", broker["period"]["marks"][0]["kind"]);
}

TEST_F(PastCommand, WithoutATimeEachBrokersLastLookIsShownWithItsAge) {
  const Result result = ask({"stats"});
  EXPECT_EQ(0, result.code) << result.errors;
  EXPECT_THAT(result.out, HasSubstr("Broker SHOP: last look 2027-01-15 08:00:50Z, "));
  EXPECT_THAT(result.out, HasSubstr(" ago\ncounts since the reset at 2027-01-15 08:00:35Z"));
  EXPECT_THAT(result.out, HasSubstr("60"));
}

TEST_F(PastCommand, FlowTellsWhereTheTimeOfThePeriodWent) {
  const Result result = askBetween({"flow", "Fulfil", "--chain", "Order in(Priced)"},
                                   "2027-01-15 08:00:00", "2027-01-15 08:00:30");
  EXPECT_EQ(0, result.code) << result.errors;
  EXPECT_THAT(result.out, HasSubstr("10.0 messages/s"));
  EXPECT_THAT(result.out, HasSubstr("Look at \"Priced\": 9.0 ms a message"));
  const Result document = askBetween({"flow", "Fulfil", "--format", "json"}, "2027-01-15 08:00:00",
                                     "2027-01-15 08:00:30");
  const json broker = json::parse(document.out)["brokers"][0];
  EXPECT_EQ(30.0, broker["intervalSeconds"]);
  EXPECT_EQ(300, broker["flows"][0]["nodes"][0]["messageCount"]);
}

TEST_F(PastCommand, SizeForecastsFromWhatWasRecorded) {
  {
    Recorded recorded(kFile);
    recorded.look(100, filled(100, 4096));
    recorded.look(100 + 5 * 3600, filled(600, 4096));
  }
  const Result early = ask({"size"});
  EXPECT_THAT(early.out, HasSubstr("By the history, statistics of SHOP: a forecast needs a day, "
                                   "and there is 5 h"));
  Recorded(kFile).look(100 + 10 * 86400, filled(1100, 4096));
  const Result result = ask({"size"});
  EXPECT_EQ(0, result.code) << result.errors;
  EXPECT_THAT(result.out, HasSubstr(" statistics   4096  1100  26.9"));
  EXPECT_THAT(result.out, HasSubstr("By the history, statistics of SHOP: it grew by 1000 bytes in "
                                    "10 d, and is full in 29 d if that goes on"));
  const json forecast =
      json::parse(ask({"size", "--format", "json"}).out)["brokers"][0]["forecast"];
  EXPECT_EQ(100, forecast["usedBytesBefore"]);
  EXPECT_EQ(true, forecast["enough"]);
  EXPECT_EQ(2588843, forecast["fullInSeconds"]);
}

TEST_F(PastCommand, SizeSaysWhenNoAreaWasRecorded) {
  const Result result = ask({"size"});
  EXPECT_EQ(0, result.code);
  EXPECT_THAT(result.errors, HasSubstr("doesn't tell how full the areas of SHOP were"));
}

// A live broker that has 1,000 of 10,000 bytes left, as the history of this user knows it.
class Forecast : public ::testing::Test {
 protected:
  Forecast() : segment_("1-2-3", nearlyFull()) {
    std::filesystem::create_directories(state_ + "/zebmon");
  }
  ~Forecast() override { std::filesystem::remove_all(state_); }

  static image::Bytes nearlyFull() {
    image::Block block = image::ordersBlock();
    block.size = 10000;
    for (std::uint32_t i = 0; i < 50; ++i) {
      block.add(image::node({5, 2000, 1, i}, image::kFlow, u"another node", 1));
    }
    block.last = 9000;
    return image::segment({block});
  }

  // So long ago.
  void record(std::int64_t seconds, std::uint32_t used) const {
    const auto second = static_cast<double>(std::time(nullptr) - seconds - kBegin);
    Recorded(state_ + "/zebmon/history.db").look(second, filled(used, 10000));
  }

  std::string evidence() const {
    const Result result = run({.arguments = {"doctor", "--only", "area", "--format", "json"},
                               .environment = {"XDG_STATE_HOME=" + state_}});
    const json findings = json::parse(result.out)["findings"];
    return findings.size() == 1 && findings[0]["id"] == "area.nearly-full"
               ? findings[0]["evidence"].get<std::string>()
               : result.out + result.errors;
  }

 private:
  const std::string state_ = testing::TempDir() + "state";
  const LiveSegment segment_;
};

TEST_F(Forecast, TheDoctorSaysHowLongTheRoomWillLast) {
  record(10 * 86400, 4000);
  record(0, 9000);
  EXPECT_EQ(
      "9000 of 10000 bytes are used; by the history, it grew by 5000 bytes in 10 d, and is full "
      "in 2 d if that goes on",
      evidence());
}

TEST_F(Forecast, TheDoctorSaysHowOldItIs) {
  record(15 * 86400, 4000);
  record(5 * 86400, 9000);
  EXPECT_THAT(evidence(), testing::EndsWith("if that goes on; its last look was 5 d ago"));
}

TEST_F(Forecast, TheDoctorSaysWhenThereIsTooLittleHistory) {
  record(7200, 4000);
  record(0, 9000);
  EXPECT_EQ(
      "9000 of 10000 bytes are used; by the history, a forecast needs a day, and there is 2 h",
      evidence());
}

TEST_F(Forecast, WithoutAHistoryTheDoctorSaysNothingOfIt) {
  EXPECT_EQ("9000 of 10000 bytes are used", evidence());
}

TEST_F(PastCommand, EventsAsJsonHaveTheGapsOfThoseAskedFor) {
  Recorded(kFile).database.execute(
      "INSERT INTO gap (broker, look, time_ms, cause, execution_group, flow, node, kind, least, "
      "most) VALUES (1, 1, 1800000045000, 'overwritten', NULL, NULL, NULL, 'atLeast', 5, NULL), "
      "(1, 1, 1800000045000, 'overwritten', 'orders', 'Fulfil', 'Priced', 'between', 3, 9), "
      "(1, 1, 1800000045000, 'overwritten', 'orders', 'Fulfil', 'Order in', 'exact', 4, 4)");
  const Result result = ask({"events", "--format", "jsonl", "--node", "Priced"});
  std::istringstream lines(result.out);
  std::vector<json> found;
  for (std::string line; std::getline(lines, line);) found.push_back(json::parse(line));
  ASSERT_EQ(3u, found.size()) << result.out;
  EXPECT_EQ("zebmon.event.gap", found[0]["schema"]);
  EXPECT_EQ("2027-01-15T08:00:45Z", found[0]["collectedAt"]);
  EXPECT_EQ(5, found[0]["missedAtLeast"]);
  EXPECT_EQ("Priced", found[1]["node"]);
  EXPECT_EQ(9, found[1]["missedAtMost"]);
  EXPECT_EQ("zebmon.event", found[2]["schema"]);
}

TEST_F(PastCommand, EventsAsJsonAreReadAtOneMoment) {
  Opens opens(kFile);
  ask({"message", "AB"});
  const int once = opens.count();
  EXPECT_LT(0, once);
  EXPECT_EQ(0, ask({"events", "--format", "jsonl"}).code);
  EXPECT_EQ(once, opens.count());
}

TEST_F(PastCommand, EventsAreHalfOpen) {
  EXPECT_THAT(askBetween({"events"}, "2027-01-15 08:00:44", "2027-01-15 08:00:45").out,
              HasSubstr("Order priced"));
  EXPECT_EQ("", askBetween({"events"}, "2027-01-15 08:00:45", "2027-01-15 08:00:50").out);
  EXPECT_EQ("", askBetween({"events"}, "2027-01-15 08:00:40", "2027-01-15 08:00:44").out);
  EXPECT_THAT(ask({"events"}).out, HasSubstr("Order priced"));
}

TEST_F(PastCommand, AMessageHasItsWay) {
  const Result result = ask({"message", "AB"});
  EXPECT_EQ(0, result.code) << result.errors;
  EXPECT_THAT(result.out, HasSubstr("Order priced"));
}

TEST_F(PastCommand, AMessageHasItsWayThroughWhatIsSelected) {
  for (const auto& [option, its, other] :
       {std::array{"--node", "Priced", "Order in"}, std::array{"--flow", "Ful*", "Bill"},
        std::array{"--group", "orders", "stock"}, std::array{"--broker", "SHOP", "BANK"}}) {
    const Result some = ask({"message", "AB", option, its});
    EXPECT_EQ(0, some.code) << option << some.errors;
    EXPECT_THAT(some.out, HasSubstr("Order priced")) << option;
    const Result none = ask({"message", "AB", option, other});
    EXPECT_EQ(69, none.code) << option;
    EXPECT_EQ("", none.out) << option;
  }
  EXPECT_THAT(ask({"message", "AB", "--node", "Order in"}).errors,
              HasSubstr("no event of AB is of what --group, --flow and --node select"));
  EXPECT_THAT(ask({"message", "AB", "--flow", "Bill"}).errors,
              HasSubstr("no message flow \"Bill\": there are Fulfil"));
}

TEST_F(PastCommand, TheDoctorTellsWhatWasOpenThenAndForHowLong) {
  const Result result = askBetween({"doctor"}, "2027-01-15 08:00:15", "2027-01-15 08:01");
  EXPECT_EQ(1, result.code);
  EXPECT_THAT(result.out, HasSubstr("from 2027-01-15 08:00:10Z until"));
  const Result now = ask({"doctor"});
  EXPECT_EQ(0, now.code);
  EXPECT_EQ("Nothing was wrong then.\n", now.out);
  const json document = json::parse(
      askBetween({"doctor", "--format", "json"}, "2027-01-15 08:00:15", "2027-01-15 08:01").out);
  EXPECT_EQ("2027-01-15T08:00:20.000Z", document["findings"][0]["end"]);
}

TEST_F(PastCommand, TheDoctorKnowsWhoseBrokerAFindingWasOfAndNoMore) {
  Recorded(kFile).database.execute(
      "UPDATE finding SET broker = (SELECT id FROM broker WHERE label = 'SHOP')");
  const auto code = [](const char* option, const char* name) {
    return askBetween({"doctor", option, name}, "2027-01-15 08:00:15", "2027-01-15 08:01").code;
  };
  EXPECT_EQ(1, code("--broker", "SHOP"));
  EXPECT_EQ(69, code("--broker", "BANK"));
  for (const char* const option : {"--group", "--flow", "--node"}) {
    EXPECT_EQ(64, code(option, "Priced")) << option;
  }
  EXPECT_THAT(ask({"doctor", "--node", "Priced"}).errors, HasSubstr("Choose it with --broker"));
}

TEST_F(PastCommand, ChangesSaysWhenThereIsNone) {
  const Result result = ask({"changes"});
  EXPECT_EQ(0, result.code) << result.errors;
  EXPECT_EQ("Nothing changed its level.\n", result.out);
  EXPECT_EQ("zebmon.changes", json::parse(ask({"changes", "--format", "json"}).out)["schema"]);
}

TEST_F(PastCommand, TheHistoryOfWhoNamesNoneIsTheOneThatWasWrittenLast) {
  const std::string state = testing::TempDir() + "state";
  std::filesystem::create_directories(state + "/zebmon");
  const auto asked = [&state](const std::vector<std::string>& words) {
    return run({.arguments = words, .environment = {"XDG_STATE_HOME=" + state}});
  };
  EXPECT_THAT(asked({"changes"}).errors, HasSubstr("/var/lib/zebmon/history.db"));
  std::filesystem::copy(kFile, state + "/zebmon/history.db");
  EXPECT_EQ(0, asked({"changes"}).code);
  EXPECT_THAT(asked({"stats", "--between", "2027-01-15 08:00:00", "2027-01-15 08:00:30"}).out,
              HasSubstr("Order in"));
  std::filesystem::remove_all(state);
}

TEST_F(PastCommand, WhatCannotBeDoneIsSaid) {
  EXPECT_EQ(64, ask({"locks"}).code);
  EXPECT_THAT(ask({"brokers"}).errors, HasSubstr("is a history, and this needs a snapshot file"));
  EXPECT_THAT(askBetween({"stats"}, "now", "-2h").errors, HasSubstr("Give the earlier time first"));
  EXPECT_THAT(askBetween({"stats"}, "yesterday", "now").errors, HasSubstr("is no time like"));
  EXPECT_EQ(69, ask({"stats", "--broker", "BANK"}).code);
  EXPECT_THAT(run({"stats", "--between", "-2h", "now"}).errors,
              HasSubstr("/var/lib/zebmon/history.db is none"));
  std::ofstream("/tmp/other.tar") << "x";
  EXPECT_THAT(run({"stats", "--between", "-2h", "now", "--from", "/tmp/other.tar"}).errors,
              HasSubstr("--between chooses a time of a history"));
  EXPECT_EQ(64, run({"changes", "--from", "/tmp/other.tar"}).code);
  std::filesystem::remove("/tmp/other.tar");
}

}  // namespace past_command_test
