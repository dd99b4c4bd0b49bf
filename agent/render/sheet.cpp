// SPDX-License-Identifier: Apache-2.0
#include "agent/render/sheet.h"

#include <fmt/format.h>
#include <strings.h>

#include <algorithm>
#include <iterator>
#include <optional>
#include <set>

namespace render {
namespace {

std::optional<std::size_t> indexOf(const std::string& name, const std::vector<Column>& columns) {
  const auto found = std::ranges::find_if(columns, [&name](const Column& column) {
    return strcasecmp(column.name.c_str(), name.c_str()) == 0;
  });
  if (found == columns.end()) return std::nullopt;
  return static_cast<std::size_t>(std::distance(columns.begin(), found));
}

// Less than 0, 0, or more: as numbers where both are, texts and times among themselves. A text
// among numbers, such as "<1", is less than all of them.
struct Order {
  template <class A, class B>
  int operator()(const A&, const B&) const {
    return 0;
  }
  int operator()(const std::string& a, const std::string& b) const { return a.compare(b); }
  int operator()(const std::string&, auto) const { return -1; }
  int operator()(auto, const std::string&) const { return 1; }
  int operator()(bool a, bool b) const { return a - b; }
  int operator()(std::int64_t a, std::int64_t b) const { return a < b ? -1 : a > b; }
  int operator()(const Moment& a, const Moment& b) const { return (*this)(a.seconds, b.seconds); }
  int operator()(double a, double b) const { return a < b ? -1 : a > b; }
  int operator()(std::int64_t a, double b) const { return (*this)(static_cast<double>(a), b); }
  int operator()(double a, std::int64_t b) const { return (*this)(a, static_cast<double>(b)); }
};

// 0 for what has a value; these come first in both directions.
int absence(const Cell& cell) {
  if (std::holds_alternative<Missing>(cell.value)) return 2;
  return std::holds_alternative<Unreadable>(cell.value) ? 1 : 0;
}

void dropHeadings(Sheet& sheet) {
  std::erase_if(sheet.rows, [](const Row& row) { return row.cells.empty(); });
  for (Row& row : sheet.rows) row.heading.clear();
  for (Column& column : sheet.columns) {
    if (column.place == Column::Place::heading) column.place = Column::Place::table;
  }
}

void sort(Sheet& sheet, std::size_t by, bool descending) {
  dropHeadings(sheet);
  std::ranges::stable_sort(sheet.rows, [by, descending](const Row& one, const Row& other) {
    const Cell& a = one.cells[by];
    const Cell& b = other.cells[by];
    if (absence(a) != absence(b)) return absence(a) < absence(b);
    const int order = std::visit(Order(), a.value, b.value);
    return descending ? order > 0 : order < 0;
  });
}

Sheet chosen(Sheet sheet, const std::vector<std::string>& names) {
  dropHeadings(sheet);
  Sheet part{{}, std::vector<Row>(sheet.rows.size())};
  for (const std::string& name : names) {
    const auto index = indexOf(name, sheet.columns);
    if (!index) continue;
    Column& column = part.columns.emplace_back(sheet.columns[*index]);
    column.place = Column::Place::table;
    if (column.least == 0) column.yields = 0;
    for (std::size_t i = 0; i < sheet.rows.size(); ++i) {
      part.rows[i].cells.push_back(sheet.rows[i].cells[*index]);
    }
  }
  return part;
}

}  // namespace

Cell cellOf(Number number) {
  return number ? Cell(*number) : Cell(Unreadable{});
}

Cell textOrMissing(const std::string& text) {
  return text.empty() ? Cell() : Cell(text);
}

Cell momentOf(std::optional<std::int64_t> time) {
  Cell cell;
  if (time) cell.value = Moment{*time};
  return cell;
}

Cell meanOf(Number sum, Number count) {
  if (!sum || !count) return Unreadable{};
  if (*count <= 0) return {};
  return static_cast<double>(*sum) / static_cast<double>(*count);
}

std::string unknownColumn(const Arrangement& wanted, const std::vector<Column>& columns) {
  std::vector<std::string> names = wanted.columns;
  if (!wanted.sort.empty()) names.push_back(wanted.sort);
  const auto unknown = std::ranges::find_if(
      names, [&columns](const std::string& name) { return !indexOf(name, columns); });
  if (unknown == names.end()) return {};
  std::string list;
  for (const Column& column : columns) list += (list.empty() ? "" : ", ") + column.name;
  return fmt::format("there is no column \"{}\": there are {}", *unknown, list);
}

std::string onlyDay(const Sheet& sheet, Zone zone) {
  std::set<std::string> days;
  for (const Row& row : sheet.rows) {
    for (const Cell& cell : row.cells) {
      const auto* moment = std::get_if<Moment>(&cell.value);
      if (moment != nullptr) days.insert(dateOnly(moment->seconds, zone));
    }
  }
  return days.size() == 1 ? *days.begin() : "";
}

Sheet arranged(Sheet sheet, const Arrangement& wanted) {
  const auto by = indexOf(wanted.sort, sheet.columns);
  if (by) sort(sheet, *by, wanted.descending);
  return wanted.columns.empty() ? sheet : chosen(std::move(sheet), wanted.columns);
}

}  // namespace render
