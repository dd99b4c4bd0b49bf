// SPDX-License-Identifier: Apache-2.0
#include "agent/render/top/screen.h"

#include <algorithm>
#include <utility>

#include "agent/render/top/events_pane.h"
#include "agent/render/top/head.h"
#include "agent/render/top/help.h"
#include "agent/render/top/list.h"
#include "agent/render/top/state.h"
#include "text/printable.h"
#include "text/utf8.h"

namespace top {
namespace {

using render::Attribute;
using render::Line;
using Lines = std::vector<Line>;

constexpr std::size_t kForBrokers = 12;  // rows from which on the brokers are shown
constexpr std::size_t kForEvents = 16;   // and the events
constexpr std::size_t kLeastEvents = 4;  // with their title

void append(Lines& lines, Lines more) {
  for (Line& line : more) lines.push_back(std::move(line));
}

Line behind(const char* sign, Line line) {
  line.insert(line.begin(), {sign});
  return line;
}

Line bar(const std::string& text, std::size_t columns) {
  return padded({{text, Attribute::bar}}, columns, Attribute::bar);
}

// How many lines all sentences may have on a screen of so many rows.
std::size_t linesForConcerns(std::size_t rows) {
  if (rows < 10) return 1;
  if (rows < 20) return 2;
  return rows < 30 ? 4 : 7;
}

// The first lines of a sentence, of which the last says that there are more.
Lines linesOf(const Concern& concern, std::size_t most, std::size_t columns) {
  std::vector<std::string> lines = render::wrapped(concern.sentence, columns);
  if (lines.size() > most) {
    lines.resize(most);
    lines.back() += " …";
  }
  Lines all;
  for (std::string& line : lines) all.push_back({{std::move(line), concern.attribute}});
  return all;
}

// Each sentence gets a line before any gets a second one; what comes first may be longer.
Lines concernLines(const std::vector<Concern>& concerns, std::size_t most, std::size_t columns) {
  constexpr std::size_t kMostEach = 3;
  Lines lines;
  for (std::size_t i = 0; i < concerns.size() && lines.size() < most; ++i) {
    const std::size_t others = concerns.size() - i - 1;
    const std::size_t left = most - lines.size();
    const std::size_t own = left > others ? left - others : 1;
    append(lines, linesOf(concerns[i], std::min(own, kMostEach), columns));
  }
  return lines;
}

// Keys by their names, the most needed first.
Line keyLine() {
  constexpr const char* kKeys[][2] = {{"q", "quit"},   {"?", "help"},       {"space", "pause"},
                                      {"/", "filter"}, {"s", "sort"},       {"f,F", "fold"},
                                      {"e", "events"}, {"arrows", "choose"}};
  Line line;
  for (const auto& [key, meaning] : kKeys) {
    if (!line.empty()) line.push_back({"  "});
    line.push_back({key, Attribute::strong});
    line.push_back({std::string(" ") + meaning});
  }
  return line;
}

Line typingLine(const State& state, std::size_t columns) {
  std::string typed = state.filter;
  constexpr std::size_t kHint = 36;
  while (text::columns(typed) + kHint > columns && !typed.empty()) {
    typed.erase(0, text::firstOf(typed).bytes);
  }
  return {{"filter: ", Attribute::strong}, {typed + "_"},
          {"  Enter", Attribute::strong},  {" keeps it, "},
          {"Esc", Attribute::strong},      {" drops it"}};
}

// Puts a screen together, part by part.
class Painter {
 public:
  Painter(const State& state, const Content& content, Size size, std::chrono::seconds age)
      : state_(state),
        content_(content),
        size_(size),
        age_(age),
        style_{.width = size.columns, .zone = content.wanted.zone} {}

  Screen screen();

 private:
  std::size_t left() const { return size_.rows - std::min(size_.rows, screen_.lines.size()); }
  void addHead();
  void addHelp();
  void addTable(std::size_t rows);
  void chooseRows(std::size_t page);
  std::size_t eventsHeight(std::size_t left, std::size_t wanted) const;
  Line keys() const { return state_.typing ? typingLine(state_, size_.columns) : keyLine(); }

  const State& state_;
  const Content& content_;
  Size size_;
  std::chrono::seconds age_;
  render::TableStyle style_;
  std::optional<List> list_;
  Screen screen_;
};

void Painter::addHead() {
  if (size_.rows >= 2) screen_.lines.push_back(bar(titleOf(state_, content_, age_), size_.columns));
  if (size_.rows >= kForBrokers) {
    append(screen_.lines, brokerLines(content_, std::max<std::size_t>(1, size_.rows / 12), style_));
  }
  if (size_.rows < 5) return;
  append(screen_.lines,
         concernLines(concernsOf(state_, content_), linesForConcerns(size_.rows), size_.columns));
}

// The rest is the table's, which keeps what is not needed here.
std::size_t Painter::eventsHeight(std::size_t left, std::size_t wanted) const {
  if (state_.pane == Pane::none || size_.rows < kForEvents || left < 2 * kLeastEvents) return 0;
  const std::size_t least = std::max(kLeastEvents, left / 4);
  const std::size_t room = std::max(least, left - std::min(left, wanted));
  const std::size_t count = eventCount(state_, content_, room - 1);
  return std::max(least, std::min(room, count + 1));
}

// Scrolls no further than the chosen row asks for.
void Painter::chooseRows(std::size_t page) {
  const std::size_t count = screen_.rows.size();
  screen_.page = page;
  screen_.first = std::min(state_.first, count - std::min(count, page));
  if (!state_.cursor || count == 0) return;
  const auto isCursor = [this](const Row& row) { return row.key == state_.cursor->key; };
  std::size_t at = std::min(state_.row, count - 1);
  const auto found = std::ranges::find_if(screen_.rows, isCursor);
  if (!isCursor(screen_.rows[at]) && found != screen_.rows.end()) {
    at = static_cast<std::size_t>(found - screen_.rows.begin());
  }
  screen_.at = at;
  screen_.first = std::min(screen_.first, at);
  if (page > 0 && at >= screen_.first + page) screen_.first = at + 1 - page;
}

// A title and its rows, `height` lines in all.
void Painter::addTable(std::size_t height) {
  const std::size_t end = screen_.lines.size() + height;
  if (height == 0) return chooseRows(0);
  chooseRows(height - 1);
  render::TableStyle style = style_;
  style.width = size_.columns - std::min<std::size_t>(size_.columns, 1);
  const std::size_t rows = std::max<std::size_t>(screen_.page, 1);  // for the titles
  const Lines table = linesOf(list_->sheet(screen_.first, rows), style);
  if (table.empty()) {
    const char* const text = state_.filter.empty() ? "no node" : "nothing has the filter's text";
    screen_.lines.push_back({{text}});
  } else {
    screen_.lines.push_back(behind(" ", table.front()));
  }
  for (std::size_t i = screen_.first; i < screen_.rows.size() && screen_.lines.size() < end; ++i) {
    const bool chosen = screen_.at == i;
    Line line = behind(chosen ? ">" : " ", table[i - screen_.first + 1]);
    if (chosen) line = all(padded(line, size_.columns, Attribute::chosen), Attribute::chosen);
    screen_.lines.push_back(std::move(line));
  }
  screen_.lines.resize(end);
}

void Painter::addHelp() {
  const auto lines = helpLines();
  const std::size_t room = left() - std::min<std::size_t>(left(), 1);
  const std::size_t most = lines.size() - std::min(lines.size(), room);
  const std::size_t first = std::min(state_.helpFirst, most);
  screen_.first = first;
  screen_.page = room;
  for (std::size_t i = first; i < lines.size() && i < first + room; ++i) {
    const bool isTitle = lines[i][0] != ' ';
    screen_.lines.push_back({{lines[i], isTitle ? Attribute::strong : Attribute::plain}});
  }
}

Screen Painter::screen() {
  const std::size_t forKeys = size_.rows >= 3 ? 1 : 0;
  if (state_.help) {
    screen_.lines.push_back(bar("zebmon top: help", size_.columns));
    addHelp();
  } else {
    addHead();
    const std::size_t room = left() - std::min(left(), forKeys);
    list_.emplace(state_, content_, size_.columns);
    screen_.rows = list_->rows();
    const std::size_t events = eventsHeight(room, screen_.rows.size() + 1);
    addTable(room - events);
    if (events > 0) append(screen_.lines, eventLines(state_, content_, events - 1, style_));
  }
  screen_.lines.resize(size_.rows - std::min(size_.rows, forKeys));
  if (forKeys > 0) screen_.lines.push_back(keys());
  for (Line& line : screen_.lines) line = clipped(line, size_.columns);
  return std::move(screen_);
}

}  // namespace

Screen screenOf(const State& state, const Content& content, Size size, std::chrono::seconds age) {
  return Painter(state, content, size, age).screen();
}

std::string textOf(const Content& content, std::optional<std::size_t> width, bool colors) {
  constexpr std::size_t kMostBrokers = 100;
  constexpr std::size_t kMostEvents = 10;
  const State state;
  const render::TableStyle style{.width = width, .zone = content.wanted.zone};
  Lines lines{{{titleOf(state, content, std::chrono::seconds(0)), Attribute::strong}}};
  append(lines, brokerLines(content, kMostBrokers, style));
  lines.push_back({});
  for (const Concern& concern : concernsOf(state, content)) {
    append(lines,
           linesOf(concern, concern.sentence.size(), width.value_or(concern.sentence.size())));
  }
  lines.push_back({});
  const List list(state, content, width);
  append(lines, linesOf(list.sheet(0, list.rows().size()), style));
  lines.push_back({});
  append(lines, eventLines(state, content, kMostEvents, style));
  std::string text;
  for (const Line& line : lines) text += printed(width ? clipped(line, *width) : line, colors);
  return text;
}

}  // namespace top
