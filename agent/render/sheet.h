// SPDX-License-Identifier: Apache-2.0
// Data in rows and columns: what every table, CSV text and JSON row is made from.
#ifndef ZEB_AGENT_RENDER_SHEET_H
#define ZEB_AGENT_RENDER_SHEET_H

#include <concepts>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "agent/render/line.h"
#include "agent/render/values.h"

namespace render {

struct Missing {};     // there is no value: "-"
struct Unreadable {};  // it is stored, but could not be read: "?"
struct Moment {
  std::int64_t seconds = 0;  // since 1970
};

// What a colour would stress. The cell's text says the same.
enum class Tone { plain, warning, critical };

// One value as it is, texts as they were stored: what shows them makes them printable. A table
// shows of what is true the column's name, and of what is false nothing.
struct Cell {
  using Value = std::variant<Missing, Unreadable, std::string, bool, std::int64_t, double, Moment>;

  Cell() = default;
  Cell(std::string text, Tone stress = Tone::plain) : value(std::move(text)), tone(stress) {}
  Cell(const char* text, Tone stress = Tone::plain) : value(std::string(text)), tone(stress) {}
  Cell(std::integral auto number) : value(static_cast<std::int64_t>(number)) {}
  Cell(bool truth) : value(truth) {}
  Cell(double number) : value(number) {}
  Cell(Unreadable) : value(Unreadable{}) {}

  Value value;
  Tone tone = Tone::plain;
  std::string brief = {};  // what a table shows instead, when it isn't empty
};

Cell cellOf(Number number);                       // unreadable when there is none
Cell textOrMissing(const std::string& text);      // missing when it is empty
Cell momentOf(std::optional<std::int64_t> time);  // missing when it is not set
Cell meanOf(Number sum, Number count);  // missing for a count of 0 and below, else as cellOf

struct Column {
  // Where it is seen when nobody chose columns.
  enum class Place {
    table,    // everywhere
    heading,  // a table tells it in the headings between its rows, when it has these
    extra,    // only in CSV and JSON
  };

  std::string name;        // in CSV, JSON, --columns and --sort: "sizeMaxBytes"
  std::string title;       // in a table
  std::string unit = {};   // behind the title, or behind that of the group
  std::string group = {};  // a title above all neighbours of the same group
  bool right = false;      // aligned right, as numbers are
  bool isScaled = false;   // whole numbers as 12.3k in a table
  Place place = Place::table;

  // What happens to it when a table is too wide, highest number first; 0: nothing. A column with
  // `least` is shortened, at most to that width; another one is left out.
  int yields = 0;
  std::size_t least = 0;

  std::size_t wide = 0;  // a table that has room makes it so wide, whatever its cells need
};

struct Row {
  std::string heading;      // a table shows it above the first of all neighbours that have the same
  std::vector<Cell> cells;  // as many as there are columns; none: it is a heading alone
};

struct Sheet {
  std::vector<Column> columns;
  std::vector<Row> rows;
};

// What a user changed about a sheet.
struct Arrangement {
  std::vector<std::string> columns = {};  // names, in this order; none: all as they are
  std::string sort = {};                  // a column's name; empty: in the order of the rows
  bool descending = false;
};

// A sentence that lists the names when one is asked for that there is not; else empty. Case doesn't
// count in names.
std::string unknownColumn(const Arrangement& wanted, const std::vector<Column>& columns);

// The sheet as it was asked for; unknown names are passed over. Rows that are equal keep their
// order; missing values come last, unreadable ones before them. Where rows were sorted or columns
// chosen there are no headings, and a chosen column never yields but by being shortened.
Sheet arranged(Sheet sheet, const Arrangement& wanted);

struct TableStyle {
  std::optional<std::size_t> width = {};  // columns of the terminal; nothing: as wide as needed
  Zone zone = Zone::utc;
  std::string day = {};  // as dateOnly() writes it: of times on it only the time is shown
  bool titles = true;
  bool colors = false;
};

// Columns for sentences: the terminal's, 80 without one, and never less than 40.
std::size_t widthOf(const TableStyle& style);

// The date on which all times in the sheet fall; empty when they are on several, or there is none.
std::string onlyDay(const Sheet& sheet, Zone zone);

// Aligned and printable; each line ends in a newline and in no blank, each row is one line. Empty
// when there are no rows. Wider than asked for only when all that may yield has.
std::string tableOf(const Sheet& sheet, const TableStyle& style);

// The same as lines for a screen; blanks at their ends stay.
std::vector<Line> linesOf(const Sheet& sheet, const TableStyle& style);

// As RFC 4180 quotes, lines ending in "\n" alone: all columns, numbers with all their digits, times
// in UTC as in JSON, texts printable. A missing value is empty, an unreadable one "?".
std::string csvOf(const Sheet& sheet, bool titles);

}  // namespace render

#endif  // ZEB_AGENT_RENDER_SHEET_H
