// SPDX-License-Identifier: Apache-2.0
#include "agent/render/top/state.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "agent/model/pattern.h"
#include "text/printable.h"

namespace top {
namespace {

using Kind = Key::Kind;

constexpr std::size_t kLongestFilter = 200;  // bytes
constexpr char kEraseLine[] = "\x15";        // Ctrl-U
constexpr char kEraseWord[] = "\x17";        // Ctrl-W

constexpr struct {
  const char* column;
  const char* words;
} kSorts[] = {{"", "chain"},
              {"messagesPerSecond", "rate"},
              {"elapsedMeanMs", "elapsed time"},
              {"selfMeanMs", "self time"},
              {"waitingMessages", "waiting"},
              {"exceptions", "exceptions"}};

// The value so many steps further in a circle of `count`.
template <typename Enum>
Enum stepped(Enum value, std::size_t steps, std::size_t count) {
  return static_cast<Enum>((static_cast<std::size_t>(value) + steps) % count);
}

void choose(State& state, const Screen& screen, std::size_t row) {
  if (screen.rows.empty()) return;
  state.row = std::min(row, screen.rows.size() - 1);
  state.cursor = screen.rows[state.row];
  state.first = screen.first;
}

// While no row is chosen, the first step chooses the one that is drawn first.
void move(State& state, const Screen& screen, bool down, std::size_t steps) {
  if (!screen.at) return choose(state, screen, screen.first);
  const std::size_t at = *screen.at;
  choose(state, screen, down ? at + steps : at - std::min(at, steps));
}

void fold(State& state, const Screen& screen, std::optional<bool> folded) {
  if (screen.rows.empty()) return;
  const std::string flow = screen.rows[screen.at.value_or(screen.first)].flow;
  if (folded.value_or(!state.isFolded(flow)) == state.isFolded(flow)) return;
  if (state.others.erase(flow) == 0) state.others.insert(flow);
  if (!state.cursor) return;
  state.cursor = Row{flow, flow};
}

void foldAll(State& state) {
  state.allFolded = !state.allFolded;
  state.others.clear();
}

void startOver(State& state) {
  state.cursor.reset();
  state.row = state.first = 0;
}

void eraseCharacter(std::string& text) {
  const auto isContinued = [](char c) { return (static_cast<unsigned char>(c) & 0xC0) == 0x80; };
  while (!text.empty() && isContinued(text.back())) text.pop_back();
  if (!text.empty()) text.pop_back();
}

void type(State& state, const Key& key) {
  std::string& filter = state.filter;
  if (key.kind == Kind::enter) state.typing = false;
  if (key.kind == Kind::backspace) eraseCharacter(filter);
  if (key.kind == Kind::escape) state.typing = false, filter.clear();
  if (key.kind != Kind::character) return;
  if (key.text == kEraseLine || key.text == kEraseWord) return filter.clear();
  const bool isPrintable = text::printable(key.text) == key.text;
  if (isPrintable && filter.size() + key.text.size() <= kLongestFilter) filter += key.text;
}

// Escape takes back what was done last, one thing a time.
void takeBack(State& state) {
  if (!state.filter.empty()) {
    state.filter.clear();
    startOver(state);
  } else {
    state.cursor.reset();
  }
}

void readHelp(State& state, const Key& key, const Screen& screen) {
  std::size_t& first = state.helpFirst;
  first = screen.first;
  if (key.kind == Kind::up) return void(first -= std::min<std::size_t>(first, 1));
  if (key.kind == Kind::down) return void(++first);
  if (key.kind == Kind::pageUp) return void(first -= std::min(first, screen.page));
  if (key.kind == Kind::pageDown) return void(first += screen.page);
  state.help = false;
  first = 0;
}

// A key that is a character, as the key that does the same.
Key meant(const Key& key) {
  if (key.kind != Kind::character) return key;
  if (key.text == "j") return {Kind::down};
  if (key.text == "k") return {Kind::up};
  if (key.text == "g") return {Kind::home};
  if (key.text == "G") return {Kind::end};
  if (key.text == "f") return {Kind::enter};
  if (key.text == "?" || key.text == "h") return {Kind::help};
  return key;
}

void command(State& state, char letter) {
  constexpr std::size_t kSortCount = std::size(kSorts);
  constexpr std::size_t kPaneCount = 4;
  switch (letter) {
    case 'q':
    case 'Q':
      state.ended = true;
      break;
    case ' ':
      state.paused = !state.paused;
      break;
    case '/':
      state.typing = true;
      startOver(state);
      break;
    case 's':
      state.sort = stepped(state.sort, 1, kSortCount);
      startOver(state);
      break;
    case 'S':
      state.sort = stepped(state.sort, kSortCount - 1, kSortCount);
      startOver(state);
      break;
    case 'F':
      foldAll(state);
      break;
    case 'e':
      state.pane = stepped(state.pane, 1, kPaneCount);
      break;
    default:
      break;
  }
}

void act(State& state, const Key& key, const Screen& screen) {
  switch (key.kind) {
    case Kind::up:
      return move(state, screen, false, 1);
    case Kind::down:
      return move(state, screen, true, 1);
    case Kind::pageUp:
      return move(state, screen, false, screen.page);
    case Kind::pageDown:
      return move(state, screen, true, screen.page);
    case Kind::home:
      return choose(state, screen, 0);
    case Kind::end:
      return choose(state, screen, screen.rows.size());
    case Kind::enter:
      return fold(state, screen, {});
    case Kind::left:
      return fold(state, screen, true);
    case Kind::right:
      return fold(state, screen, false);
    case Kind::escape:
      return takeBack(state);
    case Kind::help:
      state.help = true;
      break;
    case Kind::character:
      if (key.text.size() == 1) command(state, key.text.front());
      break;
    default:
      break;
  }
}

}  // namespace

State pressed(State state, const Key& key, const Screen& screen) {
  if (state.typing) {
    type(state, key);
    return state;
  }
  const Key wanted = meant(key);
  const bool ends = key.kind == Kind::character && (key.text == "q" || key.text == "Q");
  if (state.help && !ends) {
    readHelp(state, wanted, screen);
  } else {
    act(state, wanted, screen);
  }
  return state;
}

const char* columnOf(Sort sort) {
  return kSorts[static_cast<std::size_t>(sort)].column;
}

const char* wordsOf(Sort sort) {
  return kSorts[static_cast<std::size_t>(sort)].words;
}

bool passes(const State& state, const std::string& label) {
  return model::isIn(state.filter, label);
}

std::optional<reader::EventKind> kindOf(Pane pane) {
  if (pane == Pane::exceptions) return reader::EventKind::exception;
  if (pane == Pane::messages) return reader::EventKind::message;
  return {};
}

}  // namespace top
