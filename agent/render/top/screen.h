// SPDX-License-Identifier: Apache-2.0
// What "top" shows: the flows of a machine on one screen, without knowing of any terminal.
#ifndef ZEB_AGENT_RENDER_TOP_SCREEN_H
#define ZEB_AGENT_RENDER_TOP_SCREEN_H

#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "agent/model/flow_view.h"
#include "agent/model/recent_events.h"
#include "agent/model/selection.h"
#include "agent/render/drawing.h"
#include "agent/render/line.h"
#include "agent/render/values.h"

namespace top {

struct State;

// How it was asked for; the same for all screens of a run.
struct Wanted {
  model::Selection selection;
  std::chrono::milliseconds interval{2000};  // from one look to the next
  render::Zone zone = render::Zone::utc;
  render::Signs signs = render::Signs::ascii;
};

// What was seen up to the last look.
struct Content {
  Wanted wanted;

  // The last look at everything, for what is said of the selection.
  std::shared_ptr<const model::Snapshot> all;

  // The last two looks at the selected brokers. After the first look both are that one, and the
  // interval is 0.
  model::View view;

  model::RecentEvents events;
};

struct Size {
  std::size_t rows = 24;
  std::size_t columns = 80;
};

// A line of the table, by names that stay when it moves.
struct Row {
  std::string key;
  std::string flow;  // that it belongs to; its own key when it is a flow
};

// A picture, and what keys act on.
struct Screen {
  std::vector<render::Line> lines;  // never more, nor wider, than there is room
  std::vector<Row> rows;            // of the whole table
  std::size_t first = 0;            // the row that is drawn first
  std::size_t page = 0;             // so many of them are drawn
  std::optional<std::size_t> at;    // the chosen row
};

// `age` is how long ago the last look was.
Screen screenOf(const State& state, const Content& content, Size size, std::chrono::seconds age);

// The same without a screen: all rows and some events, as wide as needed unless a width is given.
// Ends in a newline.
std::string textOf(const Content& content, std::optional<std::size_t> width, bool colors);

}  // namespace top

#endif  // ZEB_AGENT_RENDER_TOP_SCREEN_H
