// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <functional>
#include <limits>

#include "agent/render/sheet.h"
#include "text/printable.h"

namespace render {
namespace {

// A cell's text in a table.
struct TextOf {
  const Column& column;
  const TableStyle& style;

  std::string operator()(Missing) const { return kMissing; }
  std::string operator()(Unreadable) const { return kUnreadable; }
  std::string operator()(const std::string& text) const { return text::printable(text); }
  std::string operator()(bool truth) const { return truth ? column.name : ""; }
  std::string operator()(std::int64_t number) const {
    return column.isScaled ? scaled(number) : whole(number);
  }
  std::string operator()(double number) const { return decimal(number); }
  std::string operator()(const Moment& moment) const {
    const bool timeAlone = dateOnly(moment.seconds, style.zone) == style.day;
    return timeAlone ? timeOnly(moment.seconds, style.zone)
                     : dateAndTime(moment.seconds, style.zone);
  }
};

// A column that is shown, without its cells: copies are cheap.
struct Lane {
  const Column* column;
  std::size_t index;
  std::string title;
  std::size_t natural = 0;  // what title and cells need
  std::size_t most = std::numeric_limits<std::size_t>::max();
  bool isHidden = false;
  std::size_t indent = 0;  // of all, below headings
  std::size_t width = 0;
};

using Lanes = std::vector<Lane>;
using Texts = std::vector<std::vector<std::string>>;  // of each column its cells, row by row

Texts textsOf(const Sheet& sheet, const TableStyle& style) {
  Texts texts(sheet.columns.size());
  for (std::size_t i = 0; i < sheet.columns.size(); ++i) {
    for (const Row& row : sheet.rows) {
      std::string& text = texts[i].emplace_back();
      if (row.cells.empty()) continue;
      const Cell& cell = row.cells[i];
      text = cell.brief.empty() ? std::visit(TextOf{sheet.columns[i], style}, cell.value)
                                : text::printable(cell.brief);
    }
  }
  return texts;
}

Lane laneOf(const Sheet& sheet, std::size_t index, const std::vector<std::string>& texts) {
  const Column& column = sheet.columns[index];
  Lane lane{.column = &column, .index = index, .title = column.title};
  if (column.group.empty() && !column.unit.empty()) lane.title += " " + column.unit;
  lane.natural = std::max(text::columns(lane.title), column.wide);
  for (const std::string& text : texts) lane.natural = std::max(lane.natural, text::columns(text));
  return lane;
}

Lanes lanesOf(const Sheet& sheet, const Texts& texts) {
  const bool headings =
      std::ranges::any_of(sheet.rows, [](const Row& row) { return !row.heading.empty(); });
  Lanes lanes;
  for (std::size_t i = 0; i < sheet.columns.size(); ++i) {
    const Column::Place place = sheet.columns[i].place;
    const bool elsewhere = place == Column::Place::heading && headings;
    if (place == Column::Place::extra || elsewhere) continue;
    Lane lane = laneOf(sheet, i, texts[i]);
    lane.indent = headings ? 1 : 0;
    if (lane.natural > 0) lanes.push_back(lane);
  }
  return lanes;
}

bool inOneGroup(const Lane& one, const Lane& other) {
  return !one.column->group.empty() && one.column->group == other.column->group;
}

std::size_t gapBefore(const Lanes& lanes, std::size_t i) {
  if (i == 0) return lanes[0].indent;
  return inOneGroup(lanes[i - 1], lanes[i]) ? 1 : 2;
}

// How many columns from `first` on belong to its group.
std::size_t groupSize(const Lanes& lanes, std::size_t first) {
  std::size_t end = first + 1;
  while (end < lanes.size() && inOneGroup(lanes[first], lanes[end])) ++end;
  return end - first;
}

std::string groupTitle(const Column& column) {
  return column.unit.empty() ? column.group : column.group + " " + column.unit;
}

// Those that are not hidden, each as wide as it and the title of its group need.
Lanes laidOut(Lanes lanes) {
  std::erase_if(lanes, [](const Lane& lane) { return lane.isHidden; });
  for (Lane& lane : lanes) lane.width = std::min(lane.natural, lane.most);
  for (std::size_t i = 0; i < lanes.size(); i += groupSize(lanes, i)) {
    std::size_t taken = groupSize(lanes, i) - 1;
    for (std::size_t k = 0; k < groupSize(lanes, i); ++k) taken += lanes[i + k].width;
    const std::size_t needed = text::columns(groupTitle(*lanes[i].column));
    if (!lanes[i].column->group.empty() && needed > taken) lanes[i].width += needed - taken;
  }
  return lanes;
}

std::size_t totalWidth(const Lanes& all) {
  const Lanes lanes = laidOut(all);
  std::size_t total = 0;
  for (std::size_t i = 0; i < lanes.size(); ++i) total += gapBefore(lanes, i) + lanes[i].width;
  return total;
}

void yield(Lane& lane) {
  if (lane.column->least > 0) {
    lane.most = lane.column->least;
  } else {
    lane.isHidden = true;
  }
}

// Gives back what there is room for.
void restore(Lanes& lanes, Lane& lane, std::size_t width) {
  if (!lane.isHidden) {
    lane.most += width - std::min(width, totalWidth(lanes));
    return;
  }
  lane.isHidden = false;
  if (totalWidth(lanes) > width) lane.isHidden = true;
}

// As many as needed yield; then, from the last of them on, those that fit all the same come back.
void fit(Lanes& lanes, std::size_t width) {
  std::vector<Lane*> order;
  for (Lane& lane : lanes) {
    if (lane.column->yields > 0) order.push_back(&lane);
  }
  std::ranges::stable_sort(order, std::greater(), [](Lane* lane) { return lane->column->yields; });
  std::size_t yielded = 0;
  for (; yielded < order.size() && totalWidth(lanes) > width; ++yielded) yield(*order[yielded]);
  while (yielded > 0) restore(lanes, *order[--yielded], width);
}

Attribute attributeOf(Tone tone) {
  if (tone == Tone::plain) return Attribute::plain;
  return tone == Tone::warning ? Attribute::warning : Attribute::critical;
}

std::string blanks(std::size_t count) {
  return std::string(count, ' ');
}

class Lines {
 public:
  Lines(Lanes lanes, Texts texts, const TableStyle& style)
      : lanes_(std::move(lanes)), texts_(std::move(texts)), style_(style) {}

  void addTitles(std::vector<Line>& lines) const;
  Line heading(const std::string& text) const;
  Line row(const Row& row, std::size_t number) const;

 private:
  std::string groupTitles() const;
  void add(Line& line, std::size_t lane, const std::string& text, Attribute attribute) const;

  Lanes lanes_;
  Texts texts_;
  const TableStyle& style_;
};

std::string Lines::groupTitles() const {
  std::string line;
  std::size_t at = 0;
  for (std::size_t i = 0; i < lanes_.size(); ++i) {
    at += gapBefore(lanes_, i);
    const Column& column = *lanes_[i].column;
    if (!column.group.empty() && (i == 0 || !inOneGroup(lanes_[i - 1], lanes_[i]))) {
      line.resize(at, ' ');
      line += groupTitle(column);
    }
    at += lanes_[i].width;
  }
  return line;
}

void Lines::add(Line& line, std::size_t lane, const std::string& text, Attribute attribute) const {
  const std::string shown = text::shortened(text, lanes_[lane].width);
  const std::string filler =
      blanks(lanes_[lane].width - std::min(lanes_[lane].width, text::columns(shown)));
  const bool right = lanes_[lane].column->right;
  line.push_back({blanks(gapBefore(lanes_, lane)) + (right ? filler : "")});
  line.push_back({shown, attribute});
  if (!right) line.push_back({filler});
}

void Lines::addTitles(std::vector<Line>& lines) const {
  const std::string groups = groupTitles();
  if (!groups.empty()) lines.push_back({{groups, Attribute::strong}});
  Line& line = lines.emplace_back();
  for (std::size_t i = 0; i < lanes_.size(); ++i) add(line, i, lanes_[i].title, Attribute::strong);
}

Line Lines::heading(const std::string& text) const {
  const std::string shown = style_.width
                                ? text::shortened(text, std::max<std::size_t>(*style_.width, 1))
                                : text::printable(text);
  return {{shown, Attribute::strong}};
}

Line Lines::row(const Row& row, std::size_t number) const {
  Line line;
  for (std::size_t i = 0; i < lanes_.size(); ++i) {
    const std::size_t index = lanes_[i].index;
    add(line, i, texts_[index][number], attributeOf(row.cells[index].tone));
  }
  return line;
}

}  // namespace

std::size_t widthOf(const TableStyle& style) {
  return std::max<std::size_t>(style.width.value_or(80), 40);
}

std::vector<Line> linesOf(const Sheet& sheet, const TableStyle& style) {
  std::vector<Line> all;
  if (sheet.rows.empty()) return all;
  Texts texts = textsOf(sheet, style);
  Lanes lanes = lanesOf(sheet, texts);
  if (style.width) fit(lanes, *style.width);
  const Lines lines(laidOut(std::move(lanes)), std::move(texts), style);
  if (style.titles) lines.addTitles(all);
  const std::string* heading = nullptr;
  for (std::size_t i = 0; i < sheet.rows.size(); ++i) {
    const Row& row = sheet.rows[i];
    if (!row.heading.empty() && (heading == nullptr || *heading != row.heading)) {
      all.push_back(lines.heading(row.heading));
    }
    heading = &row.heading;
    if (!row.cells.empty()) all.push_back(lines.row(row, i));
  }
  return all;
}

std::string tableOf(const Sheet& sheet, const TableStyle& style) {
  std::string text;
  for (const Line& line : linesOf(sheet, style)) text += printed(line, style.colors);
  return text;
}

}  // namespace render
