// SPDX-License-Identifier: Apache-2.0
// What somebody at the keyboard has changed about the screen of "top", and how keys change it.
#ifndef ZEB_AGENT_RENDER_TOP_STATE_H
#define ZEB_AGENT_RENDER_TOP_STATE_H

#include <cstddef>
#include <optional>
#include <set>
#include <string>

#include "agent/reader/events.h"
#include "agent/render/top/screen.h"

namespace top {

// By what rows are sorted, the largest first. By chain: flow by flow, in the order in which
// messages pass.
enum class Sort { chain, rate, elapsed, self, waiting, exceptions };

// Which events are shown.
enum class Pane { all, exceptions, messages, none };

struct State {
  Sort sort = Sort::chain;
  Pane pane = Pane::all;
  bool paused = false;
  bool ended = false;

  bool help = false;
  std::size_t helpFirst = 0;  // the line of the help that is drawn first

  // Part of a group's, flow's or node's label; stars in it are for any text. Case of A to Z doesn't
  // count.
  std::string filter;
  bool typing = false;  // keys go into the filter

  bool allFolded = false;
  std::set<std::string> others;  // keys of flows that are not as `allFolded` says

  // The chosen row, and where it was last, in case it is gone.
  std::optional<Row> cursor;
  std::size_t row = 0;
  std::size_t first = 0;  // the row of the table that was drawn first

  bool isFolded(const std::string& flow) const { return allFolded != others.contains(flow); }
};

// What was pressed.
struct Key {
  enum class Kind {
    character,  // `text`: one character in UTF-8
    up,
    down,
    left,
    right,
    pageUp,
    pageDown,
    home,
    end,
    enter,
    escape,
    backspace,
    help,
    other,
  };
  Kind kind = Kind::other;
  std::string text = {};
};

// The state after a key was pressed in front of that screen. What a key means:
//
// q ends it; ? shows help. Space pauses. / begins to type a filter, which Enter keeps and Escape
// gives up. s and S sort by the next figure, and the one before. Enter or f folds and unfolds the
// flow of the chosen row, F all flows; left folds and right unfolds. e shows other events. Arrows
// and pages choose a row; j, k, g and G do so too. Escape takes back one thing: help, the filter,
// the choice of a row. Any other key does nothing.
State pressed(State state, const Key& key, const Screen& screen);

// The name of the column that rows are sorted by (rates.h); empty when they are in their order.
const char* columnOf(Sort sort);

// What people call it: "self time".
const char* wordsOf(Sort sort);

// Whether the filter leaves in what has this label.
bool passes(const State& state, const std::string& label);

// The kind of events that a pane shows; nothing for all of them.
std::optional<reader::EventKind> kindOf(Pane pane);

}  // namespace top

#endif  // ZEB_AGENT_RENDER_TOP_STATE_H
