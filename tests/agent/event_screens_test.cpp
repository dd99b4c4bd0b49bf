// SPDX-License-Identifier: Apache-2.0
// Events in one line, as rows and as counts, and which of them are shown.
#include "agent/render/event_screens.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

#include "agent/model/event_counts.h"
#include "agent/model/pattern.h"
#include "agent/model/selection.h"
#include "agent/render/put_time.h"
#include "agent/render/screens.h"
#include "tests/support/image.h"
#include "text/printable.h"

namespace event_screens_test {

namespace {

using model::CountBy;
using render::Zone;

constexpr std::int64_t kTime = 1754707201;  // 2025-08-09 02:40:01

std::shared_ptr<const reader::EventTemplate> origin(const std::string& node,
                                                    const std::string& text,
                                                    const std::string& flow = "Fulfil") {
  return std::make_shared<reader::EventTemplate>(
      reader::EventTemplate{"orders", flow, node, 1, text});
}

reader::RecordId recordOf(std::int64_t seconds, std::uint32_t milliseconds) {
  image::Bytes bytes;
  image::putId(bytes, {8, static_cast<std::uint32_t>(seconds), milliseconds, 1});
  return reader::RecordId(bytes);
}

reader::Event event(std::int64_t seconds = kTime, const std::string& text = "order seen") {
  reader::Event made;
  made.recordId = recordOf(seconds, 250);
  made.origin = origin("Reserve", text);
  made.time = seconds;
  made.threadId = -7;
  made.putDate = "20250809";
  made.putTime = "02395912";
  made.putApplicationName = "order-entry";
  return made;
}

model::SeenBroker broker(std::vector<reader::Event> events = {}) {
  model::SeenBroker seen;
  seen.segment.uuid = "1-2-3";
  seen.tree.emplace().label = "BRK1";
  seen.tree->uuid = "1-2-3";
  seen.events.emplace().events = std::move(events);
  return seen;
}

model::Snapshot snapshot(std::vector<model::SeenBroker> brokers) {
  model::Snapshot made;
  for (auto& one : brokers) {
    made.brokers.push_back(std::make_shared<const model::SeenBroker>(std::move(one)));
  }
  return made;
}

std::vector<model::EventCount> counted(const std::vector<reader::Event>& events, CountBy by) {
  return model::countEvents(snapshot({broker(events)}), by,
                            [](const reader::Event&) { return true; });
}

class InBerlin : public testing::Test {
 protected:
  InBerlin() {
    setenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3", 1);
    tzset();
  }
  ~InBerlin() override {
    unsetenv("TZ");
    tzset();
  }
};

}  // namespace

TEST(PutTime, IsReadFromTwoTexts) {
  const auto put = render::putTimeOf(event());
  ASSERT_TRUE(put);
  EXPECT_EQ(kTime - 2, put->seconds);
  EXPECT_EQ(12U, put->hundredths);
  EXPECT_EQ("2025-08-09 02:39:59.120Z", render::putText(event(), Zone::utc));
}

TEST(PutTime, WhatIsNoDateAndTimeIsShownAsItIs) {
  for (const auto& [date, time] :
       std::vector<std::pair<std::string, std::string>>{{"20250229", "02395912"},
                                                        {"20251301", "02395912"},
                                                        {"20250100", "02395912"},
                                                        {"2025010", "02395912"},
                                                        {"202501011", "02395912"},
                                                        {"2025010x", "02395912"},
                                                        {"20250101", "24000000"},
                                                        {"20250101", "00600000"},
                                                        {"20250101", "00006000"},
                                                        {"20250101", "-1000000"},
                                                        {"20250101", "noon"}}) {
    reader::Event made = event();
    made.putDate = date;
    made.putTime = time;
    EXPECT_FALSE(render::putTimeOf(made)) << date << " " << time;
    EXPECT_EQ(date + " " + time, render::putText(made, Zone::utc));
    EXPECT_EQ("-", render::shortPutText(made, Zone::utc));
  }
  reader::Event made = event();
  made.putDate = "\x1B";
  made.putTime = "";
  EXPECT_EQ("\\x1B", render::putText(made, Zone::utc));
  made.putDate = "20240229";
  made.putTime = "23595999";
  EXPECT_TRUE(render::putTimeOf(made));
}

TEST(PutTime, InShortIsTheTimeOfTheSameDayAndElseTheDay) {
  EXPECT_EQ("02:39:59Z", render::shortPutText(event(), Zone::utc));
  EXPECT_EQ("08-09Z", render::shortPutText(event(kTime + 86400), Zone::utc));
  reader::Event made = event();
  made.time.reset();  // the record's own moment counts then
  EXPECT_EQ("02:39:59Z", render::shortPutText(made, Zone::utc));
}

TEST(ShortLines, TellTimePlacePutTimeThreadAndText) {
  EXPECT_EQ("02:40:01.250Z Fulfil/Reserve     02:39:59Z FFFFFFF9 order seen\n",
            render::shortLine(event(), {}));
  EXPECT_EQ("Broker BRK1, 2025-08-09\ntime          node               put       thread   text\n",
            render::shortHeader(broker(), render::dayOf(event(), Zone::utc), {}));
}

TEST(ShortLines, OfAnExceptionTellWhatFailed) {
  const std::string line =
      render::shortLine(event(kTime, "Exception found in Bank(42). The card is refused"), {});
  EXPECT_TRUE(line.ends_with(" FFFFFFF9 ! Bank(42). The card is refused\n")) << line;
}

TEST(ShortLines, SayWhenTheTemplateIsGoneOrTheTimeIsNotSet) {
  reader::Event made = event();
  made.origin = nullptr;
  made.time.reset();
  EXPECT_EQ("-             -                  02:39:59Z FFFFFFF9 (template overwritten)\n",
            render::shortLine(made, {}));
}

TEST_F(InBerlin, ShortLinesCarryTheirZone) {
  EXPECT_EQ("04:40:01.250+02:00 Fulfil/Reserve     04:39:59+02:00 FFFFFFF9 order seen\n",
            render::shortLine(event(), {.zone = Zone::local, .width = {}}));
  EXPECT_EQ("2025-08-10", render::dayOf(event(kTime + 20 * 3600), Zone::local));
}

TEST_F(InBerlin, ShortLinesFitEveryTerminalOf80ColumnsAndMore) {
  const std::u8string wide = u8"日本語のとても長いノード名で画面に入らない";
  for (const std::string& name :
       {std::string("Reserve"), std::string(300, 'x'), std::string(wide.begin(), wide.end()),
        std::string("\x1B[2J\nEVIL"), std::string()}) {
    reader::Event made = event(kTime, name);
    made.origin = origin(name, "Exception found in " + name + name, name);
    made.putDate = "20250101";
    for (const Zone zone : {Zone::utc, Zone::local}) {
      for (const std::size_t width : {80U, 81U, 100U, 132U, 200U, 1000U}) {
        const std::string line = render::shortLine(made, {.zone = zone, .width = width});
        ASSERT_EQ(line.size() - 1, line.find('\n'));
        const std::string text = line.substr(0, line.size() - 1);
        EXPECT_LE(text::columns(text), width) << text;
        EXPECT_EQ(text::printable(text), text);
      }
    }
  }
}

TEST(ShortLines, OfANarrowTerminalAreNoCrash) {
  EXPECT_FALSE(render::shortLine(event(), {.width = 1}).empty());
  EXPECT_FALSE(render::shortLine(event(), {.width = 0}).empty());
}

TEST(ShortLines, GoFromFlowAndNodeToTheNodeAlone) {
  reader::Event made = event();
  made.origin = origin("A node of length", "seen", "Some flow");
  EXPECT_NE(std::string::npos, render::shortLine(made, {.width = 80}).find(" A node of length "));
  EXPECT_NE(std::string::npos, render::shortLine(made, {.width = 120}).find("Some flow/A node of"));
  EXPECT_NE(std::string::npos, render::shortLine(made, {}).find("Some flow/A node of"));
}

TEST(LongLines, FitEightyColumnsWithUsualNames) {
  EXPECT_EQ(
      "2025-08-09 02:40:01.250Z  message    orders/Fulfil/Reserve\n    order seen\n"
      "    put 2025-08-09 02:39:59.120Z by order-entry, thread FFFFFFF9\n    message " +
          std::string(48, '0') + "\n",
      render::eventLines(event(), Zone::utc));
  reader::Event bare = event();
  bare.putDate = bare.putTime = "";
  EXPECT_NE(std::string::npos,
            render::eventLines(bare, Zone::utc).find("\n    put by order-entry, thread "));
  bare.putApplicationName = "";
  EXPECT_NE(std::string::npos, render::eventLines(bare, Zone::utc).find("\n    thread FFFFFFF9\n"));
}

TEST(EventRows, HaveACellForEachColumn) {
  const render::Row row = render::eventRow(broker(), event());
  ASSERT_EQ(render::eventsColumns().size(), row.cells.size());
  EXPECT_EQ(
      "BRK1,1-2-3,2025-08-09T02:40:01Z,2025-08-09T02:40:01.250Z,message,orders,Fulfil,Reserve,"
      "input,order seen," +
          std::string(48, '0') + "," + std::string(48, '0') +
          ",-7,FFFFFFF9,0,order-entry,20250809,02395912,2025-08-09T02:39:59.120Z," +
          event().recordId.hex() + "\n",
      render::csvOf({render::eventsColumns(), {row}}, false));
  reader::Event gone = event();
  gone.origin = nullptr;
  gone.putDate = "x";
  const std::string text =
      render::csvOf({render::eventsColumns(), {render::eventRow(broker(), gone)}}, false);
  EXPECT_NE(std::string::npos, text.find(",unknown,,,,,,0000")) << text;
  EXPECT_NE(std::string::npos, text.find(",x,02395912,,")) << text;
}

TEST(EventCounts, ByTextTheMostFrequentFirst) {
  const auto counts =
      counted({event(kTime, "a"), event(kTime + 9, "b"), event(kTime + 5, "b")}, CountBy::text);
  ASSERT_EQ(2U, counts.size());
  EXPECT_EQ("b", counts[0].text);
  EXPECT_EQ(2U, counts[0].events);
  EXPECT_EQ(kTime + 5, counts[0].first);
  EXPECT_EQ(kTime + 9, counts[0].last);
  EXPECT_EQ("a", counts[1].text);
  EXPECT_FALSE(counts[0].node || counts[0].hour);
}

TEST(EventCounts, ByNodeAndByHour) {
  reader::Event other = event(kTime + 3600);
  other.origin = origin("Other", "order seen");
  reader::Event gone = event(kTime);
  gone.origin = nullptr;
  const auto nodes = counted({event(), other, event(), gone}, CountBy::node);
  ASSERT_EQ(3U, nodes.size());
  EXPECT_EQ("Reserve", nodes[0].node);
  EXPECT_EQ("Fulfil", nodes[0].flow);
  EXPECT_EQ("orders", nodes[0].group);
  const auto hours = counted({other, event(), event(-1)}, CountBy::hour);
  ASSERT_EQ(3U, hours.size());
  EXPECT_EQ(-3600, hours[0].hour);
  EXPECT_EQ(kTime - 2401, hours[1].hour);
  EXPECT_EQ(kTime - 2401 + 3600, hours[2].hour);
}

TEST(EventCounts, AFailureCountsOnceAMessageAtTheOutermostNode) {
  reader::Event inner = event(kTime, "Exception found in Bank(1). x");
  reader::Event outer = inner;
  outer.origin = origin("Outer", "Exception found in Bank(1). x");
  const auto nodes = counted({inner, outer, event()}, CountBy::node);
  ASSERT_EQ(2U, nodes.size());
  EXPECT_EQ("Reserve", nodes[0].node);
  EXPECT_EQ(0U, nodes[0].failed);
  EXPECT_EQ("Outer", nodes[1].node);
  EXPECT_EQ(1U, nodes[1].failed);
  const auto all = counted({inner, outer, event()}, CountBy::hour);
  EXPECT_EQ(3U, all[0].events);
  EXPECT_EQ(1U, all[0].failed);
}

TEST(EventCounts, KeepBrokersApartAndTakeOnlyWhatIsSelected) {
  model::SeenBroker other = broker({event(), event(kTime, "b")});
  other.tree->label = "BRK2";
  model::SeenBroker nameless = broker({event()});
  nameless.tree.reset();
  model::SeenBroker without = broker();
  without.events.reset();
  const auto counts =
      model::countEvents(snapshot({broker({event()}), other, nameless, without}), CountBy::hour,
                         [](const reader::Event& one) { return one.origin->text != "b"; });
  ASSERT_EQ(3U, counts.size());
  EXPECT_EQ("1-2-3", counts[0].broker);
  EXPECT_EQ("BRK1", counts[1].broker);
  EXPECT_EQ("BRK2", counts[2].broker);
  EXPECT_EQ(1U, counts[2].events);
}

TEST(EventCounts, TablesFitEightyColumns) {
  reader::Event made = event(kTime, std::string(200, 'x'));
  made.origin = origin(std::string(200, 'n'), std::string(200, 't'), std::string(200, 'f'));
  for (const CountBy by : {CountBy::text, CountBy::node, CountBy::hour}) {
    const render::Sheet sheet = render::eventCountsSheet(counted({made}, by), by);
    ASSERT_EQ(sheet.columns.size(), sheet.rows.at(0).cells.size());
    const std::string table = tableOf(sheet, {.width = 80});
    for (std::size_t at = 0; at < table.size(); at = table.find('\n', at) + 1)
      EXPECT_LE(text::columns(table.substr(at, table.find('\n', at) - at)), 80U) << table;
  }
}

TEST(Searching, FindsATextAnywhereAndCaseDoesNotCount) {
  EXPECT_TRUE(model::isIn("SEEN", "order seen"));
  EXPECT_TRUE(model::isIn("o*e*n", "order seen"));
  EXPECT_FALSE(model::isIn("n*o", "order seen"));
  EXPECT_FALSE(model::isIn("[a-z]", "order seen"));
  EXPECT_TRUE(model::isIn("(a+)+$", "x (a+)+$ y"));
}

// Many matchers take exponential time for this pattern.
TEST(Searching, TakesTimeInProportionWhateverIsLookedFor) {
  std::string pattern;
  for (int i = 0; i < 300; ++i) pattern += "a*";
  EXPECT_FALSE(model::isIn(pattern + "b", std::string(1 << 20, 'a')));
}

TEST(Searching, LooksAtTextNamesAndApplicationAsTheyAreShown) {
  const reader::Event made = event(kTime, "tab\there");
  EXPECT_TRUE(render::shows(made, "tab\\x09here"));
  EXPECT_TRUE(render::shows(made, "orders/fulfil/RES"));
  EXPECT_TRUE(render::shows(made, "order-entry"));
  EXPECT_FALSE(render::shows(made, "reserve*tab"));
  reader::Event gone = made;
  gone.origin = nullptr;
  EXPECT_TRUE(render::shows(gone, "entry"));
  EXPECT_FALSE(render::shows(gone, "tab"));
}

TEST(EventSelection, TakesIdsByTheirFirstDigits) {
  reader::Event made = event();
  made.messageId = {0xAB, 0x01};
  made.correlationId = {0xCD};
  const auto takes = [](const reader::Event& one, const char* message, const char* correlation) {
    model::EventSelection selection;
    selection.messageId = message;
    selection.correlationId = correlation;
    return model::selects(selection, one);
  };
  EXPECT_TRUE(takes(made, "AB0", ""));
  EXPECT_FALSE(takes(made, "AB1", ""));
  EXPECT_TRUE(takes(made, "", "CD00"));
  EXPECT_FALSE(takes(made, "", "AB"));
  EXPECT_FALSE(takes(made, "AB", "AB"));
  EXPECT_FALSE(takes(event(), "0", ""));  // zeros are no ID
}

}  // namespace event_screens_test
