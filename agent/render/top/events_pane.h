// SPDX-License-Identifier: Apache-2.0
// The events below the table of "top".
#ifndef ZEB_AGENT_RENDER_TOP_EVENTS_PANE_H
#define ZEB_AGENT_RENDER_TOP_EVENTS_PANE_H

#include <vector>

#include "agent/render/sheet.h"
#include "agent/render/top/screen.h"
#include "agent/render/top/state.h"

namespace top {

// How many events the pane could show, at most `most`.
std::size_t eventCount(const State& state, const Content& content, std::size_t most);

// A title and the newest so many events that are selected and pass the filter, the newest last.
std::vector<render::Line> eventLines(const State& state, const Content& content, std::size_t most,
                                     const render::TableStyle& style);

}  // namespace top

#endif  // ZEB_AGENT_RENDER_TOP_EVENTS_PANE_H
