// SPDX-License-Identifier: Apache-2.0
// Rows and columns as tables, CSV and JSON lines.
#include "agent/render/sheet.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <sstream>

#include "agent/render/json.h"
#include "text/printable.h"

namespace sheet_test {

namespace {

using render::arranged;
using render::Arrangement;
using render::Cell;
using render::Column;
using render::csvOf;
using render::Moment;
using render::onlyDay;
using render::Sheet;
using render::tableOf;
using render::TableStyle;
using render::unknownColumn;
using render::Unreadable;
using Place = render::Column::Place;

Cell at(std::int64_t seconds) {
  return render::momentOf(seconds);
}

// Two groups of columns, a note that may go first and a name that may be shortened then.
Sheet sample() {
  return {{{.name = "name", .title = "name", .yields = 5, .least = 4},
           {.name = "sizeMeanBytes", .title = "avg", .unit = "B", .group = "size", .right = true},
           {.name = "sizeMaxBytes",
            .title = "max",
            .unit = "B",
            .group = "size",
            .right = true,
            .isScaled = true},
           {.name = "note", .title = "note", .yields = 9},
           {.name = "seen", .title = "seen", .place = Place::extra}},
          {{"", {"\u00f6lf\u00f6rderer", 7.25, 12345, "x", at(0)}},
           {"", {"b", Cell(), Unreadable{}, "", Cell()}}}};
}

std::string order(const Sheet& sheet, const Arrangement& wanted) {
  std::string names;
  for (const render::Row& row : arranged(sheet, wanted).rows) {
    names += std::get<std::string>(row.cells[0].value);
  }
  return names;
}

Sheet numbered(std::initializer_list<std::pair<const char*, Cell>> rows) {
  Sheet sheet{{{.name = "name", .title = "name"}, {.name = "number", .title = "number"}}, {}};
  for (const auto& [name, cell] : rows) sheet.rows.push_back({"", {name, cell}});
  return sheet;
}

std::size_t widest(const std::string& text) {
  std::size_t most = 0;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) most = std::max(most, text::columns(line));
  return most;
}

}  // namespace

TEST(Table, AlignsColumnsUnderTheirTitlesAndThoseOfTheirGroups) {
  EXPECT_EQ(
      "            size B\n"
      "name        avg   max  note\n"
      "\u00f6lf\u00f6rderer  7.2 12.3k  x\n"
      "b             -     ?\n",
      tableOf(sample(), {}));
}

TEST(Table, WithoutTitlesItIsRowsAlone) {
  EXPECT_EQ(
      "\u00f6lf\u00f6rderer  7.2 12.3k  x\n"
      "b             -     ?\n",
      tableOf(sample(), {.titles = false}));
}

TEST(Table, WithoutRowsThereIsNone) {
  EXPECT_EQ("", tableOf({sample().columns, {}}, {}));
}

TEST(Table, WhateverACellOrAHeadingHoldsItIsOneLine) {
  const Sheet sheet{{{.name = "n", .title = "n"}}, {{"c\nd\xE9", {"a\nb\x1B"}}}};
  EXPECT_EQ(" n\nc\\x0Ad\\xE9\n a\\x0Ab\\x1B\n", tableOf(sheet, {}));
}

TEST(Table, ATooNarrowTerminalTakesColumnsAndShortensLabelsByTheirPriority) {
  const auto at = [](std::size_t width) { return tableOf(sample(), {.width = width}); };
  EXPECT_EQ(tableOf(sample(), {}), at(27));
  EXPECT_EQ(
      "            size B\n"
      "name        avg   max\n"
      "\u00f6lf\u00f6rderer  7.2 12.3k\n"
      "b             -     ?\n",
      at(26));
  EXPECT_EQ(
      "        size B\n"
      "name    avg   max\n"
      "\u00f6lf\u00f6r…  7.2 12.3k\n"
      "b         -     ?\n",
      at(17));
  EXPECT_EQ(15U, widest(at(15)));
  EXPECT_EQ(at(15), at(1)) << "numbers are never cut";
}

TEST(Table, WhatFitsAfterAnotherColumnWentComesBack) {
  const Sheet sheet{{{.name = "a", .title = "a"},
                     {.name = "small", .title = "s", .yields = 9},
                     {.name = "large", .title = "l", .yields = 5}},
                    {{"", {"aaaa", "s", std::string(20, 'l')}}}};
  EXPECT_EQ("a     s\naaaa  s\n", tableOf(sheet, {.width = 10}));
}

TEST(Table, WithoutATerminalNothingIsDroppedOrShortened) {
  Sheet sheet = sample();
  sheet.rows[0].cells[0] = std::string(3000, 'x');
  EXPECT_NE(std::string::npos, tableOf(sheet, {}).find(std::string(3000, 'x')));
}

TEST(Table, AGroupsTitleMakesRoomForItself) {
  const Sheet sheet{
      {{.name = "a", .title = "a", .unit = "bytes", .group = "long group", .right = true},
       {.name = "b", .title = "b"}},
      {{"", {1, "x"}}}};
  EXPECT_EQ("long group bytes\n               a  b\n               1  x\n", tableOf(sheet, {}));
}

TEST(Table, AColumnWithoutTitleAndValuesTakesNoRoom) {
  const Sheet sheet{{{.name = "a", .title = "a"}, {.name = "mark", .title = ""}},
                    {{"", {"x", ""}}}};
  EXPECT_EQ("a\nx\n", tableOf(sheet, {.width = 1}));
}

TEST(Table, AHeadingStandsAboveTheFirstOfItsRowsAndAloneWithoutAny) {
  const Sheet sheet{
      {{.name = "n", .title = "n"}, {.name = "g", .title = "g", .place = Place::heading}},
      {{"one", {"a", "one"}}, {"one", {"b", "one"}}, {"empty", {}}, {"two", {"c", "two"}}}};
  EXPECT_EQ(" n\none\n a\n b\nempty\ntwo\n c\n", tableOf(sheet, {}));
  EXPECT_EQ("n  g\na  one\nb  one\nc  two\n", tableOf(arranged(sheet, {.sort = "n"}), {}));
  EXPECT_EQ("g\none\none\ntwo\n", tableOf(arranged(sheet, {.columns = {"g"}}), {}));
  EXPECT_EQ("n,g\na,one\nb,one\nc,two\n", csvOf(sheet, true));
}

TEST(Table, AColumnIsAsWideAsItIsToBeWhereThereIsRoom) {
  const Sheet sheet{{{.name = "a", .title = "a", .right = true, .yields = 1, .wide = 5},
                     {.name = "b", .title = "b", .wide = 1}},
                    {{"", {1, "text"}}}};
  EXPECT_EQ("    a  b\n    1  text\n", tableOf(sheet, {}));
  EXPECT_EQ("b\ntext\n", tableOf(sheet, {.width = 10}));
}

TEST(Table, TimesCarryTheirZoneAndTheirDateUnlessItIsTold) {
  const Sheet sheet{{{.name = "seen", .title = "seen"}}, {{"", {at(0)}}, {"", {at(86399)}}}};
  EXPECT_EQ("seen\n1970-01-01 00:00:00Z\n1970-01-01 23:59:59Z\n", tableOf(sheet, {}));
  EXPECT_EQ("1970-01-01", onlyDay(sheet, render::Zone::utc));
  EXPECT_EQ("seen\n00:00:00Z\n23:59:59Z\n", tableOf(sheet, {.day = "1970-01-01"}));
  EXPECT_EQ("1970-01-01", onlyDay(sample(), render::Zone::utc));
  const Sheet days{{{.name = "seen", .title = "seen"}}, {{"", {at(0)}}, {"", {at(86400)}}}};
  EXPECT_EQ("", onlyDay(days, render::Zone::utc));
  EXPECT_EQ("", onlyDay({}, render::Zone::utc));
}

TEST(Table, ColorsChangeNoTextAndNoAlignment) {
  Sheet sheet = numbered({{"a", Cell("bad", render::Tone::critical)},
                          {"b", Cell("warned", render::Tone::warning)},
                          {"c", "good"}});
  sheet.rows[0].heading = "head";
  const std::string plain = tableOf(sheet, {});
  std::string colored = tableOf(sheet, {.colors = true});
  EXPECT_NE(std::string::npos, colored.find("\x1B[31mbad\x1B[0m\n"));
  EXPECT_NE(std::string::npos, colored.find("\x1B[33mwarned\x1B[0m\n"));
  EXPECT_NE(std::string::npos, colored.find("  good\n"));
  EXPECT_NE(std::string::npos, colored.find("\x1B[1mhead\x1B[0m\n"));
  for (const char* code : {"\x1B[31m", "\x1B[33m", "\x1B[1m", "\x1B[0m"}) {
    for (auto i = colored.find(code); i != colored.npos; i = colored.find(code)) {
      colored.erase(i, std::string(code).size());
    }
  }
  EXPECT_EQ(plain, colored);
}

TEST(Csv, QuotesWhatNeedsItAndShowsRawNumbersAndTimesInUtc) {
  Sheet sheet = sample();
  sheet.rows.push_back({"", {"a,b", 1e15, -7, "say \"x\"", Cell()}});
  EXPECT_EQ(
      "name,sizeMeanBytes,sizeMaxBytes,note,seen\n"
      "\u00f6lf\u00f6rderer,7.25,12345,x,1970-01-01T00:00:00Z\n"
      "b,,?,,\n"
      "\"a,b\",1000000000000000,-7,\"say \"\"x\"\"\",\n",
      csvOf(sheet, true));
  EXPECT_TRUE(csvOf(sheet, false).starts_with("\u00f6lf\u00f6rderer,"));
}

TEST(Csv, ATextStaysOneFieldOfOneLine) {
  const Sheet sheet{{{.name = "n", .title = "n"}}, {{"", {"a\nb,\r\"\x1B"}}, {"", {"=1+1"}}}};
  EXPECT_EQ("n\n\"a\\x0Ab,\\x0D\"\"\\x1B\"\n=1+1\n", csvOf(sheet, true));
}

TEST(Csv, WithoutRowsTheTitlesAreLeft) {
  EXPECT_EQ("name,sizeMeanBytes,sizeMaxBytes,note,seen\n", csvOf({sample().columns, {}}, true));
}

TEST(JsonLines, EachRowIsADocumentWithAKeyAColumn) {
  const std::string lines = render::rowLines("zebmon.sample", {}, sample());
  std::istringstream in(lines);
  std::string line;
  std::getline(in, line);
  EXPECT_EQ(nlohmann::json::parse(
                R"({"schema":"zebmon.sample","version":1,"collectedAt":"1970-01-01T00:00:00Z",
                    "name":"ölförderer","sizeMeanBytes":7.25,"sizeMaxBytes":12345,"note":"x",
                    "seen":"1970-01-01T00:00:00Z"})"),
            nlohmann::json::parse(line));
  std::getline(in, line);
  const auto second = nlohmann::json::parse(line);
  EXPECT_TRUE(second["sizeMeanBytes"].is_null() && second["sizeMaxBytes"].is_null());
  EXPECT_FALSE(std::getline(in, line));
}

TEST(Sorting, IsByValueAndKeepsTheOrderOfEqualRows) {
  const Sheet sheet = numbered({{"a", 10}, {"b", 9}, {"c", 10}, {"d", 9.5}});
  EXPECT_EQ("bdac", order(sheet, {.sort = "number"}));
  EXPECT_EQ("acdb", order(sheet, {.sort = "number", .descending = true}));
  EXPECT_EQ("dcba", order(sheet, {.sort = "name", .descending = true}));
  EXPECT_EQ("abcd", order(sheet, {}));
}

TEST(Sorting, WhatHasNoValueComesLastInBothDirections) {
  const Sheet sheet =
      numbered({{"m", Cell()}, {"u", Unreadable{}}, {"a", 1}, {"n", Cell()}, {"b", 2}});
  EXPECT_EQ("abumn", order(sheet, {.sort = "number"}));
  EXPECT_EQ("baumn", order(sheet, {.sort = "number", .descending = true}));
}

TEST(Sorting, TimesAreOrderedAndATextIsLessThanAnyNumber) {
  EXPECT_EQ("ba", order(numbered({{"a", at(5)}, {"b", at(4)}}), {.sort = "number"}));
  EXPECT_EQ("cab", order(numbered({{"a", -9}, {"b", 1.5}, {"c", "<1"}}), {.sort = "number"}));
  EXPECT_EQ("bac", order(numbered({{"c", "<1"}, {"a", -9}, {"b", 1.5}}),
                         {.sort = "number", .descending = true}));
}

TEST(Columns, AreShownInTheChosenOrderWhateverTheirCase) {
  const Sheet sheet = arranged(sample(), {.columns = {"SEEN", "name"}});
  EXPECT_EQ(
      "seen                  name\n1970-01-01 00:00:00Z  \u00f6lf\u00f6rderer\n"
      "-                     b\n",
      tableOf(sheet, {}));
}

TEST(Columns, ThatWereChosenNeverGoButAreShortened) {
  const Sheet sheet = arranged(sample(), {.columns = {"note", "name"}});
  EXPECT_EQ("note  name\nx     \u00f6lf…\n      b\n", tableOf(sheet, {.width = 5}));
}

TEST(Columns, AnUnknownOneIsAnsweredWithAllNames) {
  EXPECT_EQ("", unknownColumn({.columns = {"Name"}, .sort = "note"}, sample().columns));
  const std::string rest = ": there are name, sizeMeanBytes, sizeMaxBytes, note, seen";
  EXPECT_EQ("there is no column \"x\"" + rest,
            unknownColumn({.columns = {"name", "x"}}, sample().columns));
  EXPECT_EQ("there is no column \"\"" + rest, unknownColumn({.columns = {""}}, sample().columns));
  EXPECT_EQ("there is no column \"y\"" + rest, unknownColumn({.sort = "y"}, sample().columns));
}

TEST(Cells, AMeanNeedsMessagesAndNumbersThatCanBeRead) {
  EXPECT_EQ(2.5, std::get<double>(render::meanOf(5, 2).value));
  for (const std::int64_t count : {0L, -1L}) {
    EXPECT_TRUE(std::holds_alternative<render::Missing>(render::meanOf(5, count).value));
  }
  EXPECT_TRUE(std::holds_alternative<Unreadable>(render::meanOf(std::nullopt, 2).value));
  EXPECT_TRUE(std::holds_alternative<Unreadable>(render::meanOf(5, std::nullopt).value));
  EXPECT_TRUE(std::holds_alternative<Unreadable>(render::cellOf(std::nullopt).value));
  EXPECT_TRUE(std::holds_alternative<render::Missing>(render::momentOf(std::nullopt).value));
}

TEST(Sentences, AreAsWideAsTheTerminalWithinReason) {
  EXPECT_EQ(80U, render::widthOf({}));
  EXPECT_EQ(132U, render::widthOf({.width = 132}));
  EXPECT_EQ(40U, render::widthOf({.width = 10}));
}

}  // namespace sheet_test
