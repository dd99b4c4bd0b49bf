// SPDX-License-Identifier: Apache-2.0
// The table of "top": flows and their nodes.
#ifndef ZEB_AGENT_RENDER_TOP_LIST_H
#define ZEB_AGENT_RENDER_TOP_LIST_H

#include <optional>
#include <string>
#include <vector>

#include "agent/render/sheet.h"
#include "agent/render/top/screen.h"
#include "agent/render/top/state.h"

namespace top {

struct List {
  std::vector<Row> rows;
  render::Sheet sheet;  // as many rows
};

// All flows that are selected and pass the filter, unfolded ones with their nodes, for a table of
// so many columns; nothing: as many as it needs. Sorted by a figure it has the nodes alone, and the
// flows that are folded.
List listOf(const State& state, const Content& content, std::optional<std::size_t> width);

// A flow of the view, by index.
struct Place {
  std::size_t broker = 0;
  std::size_t flow = 0;
};

// The two must be of that view.
const model::FlowView& viewOf(const Content& content, Place place);
const model::SeenBroker& brokerOf(const Content& content, Place place);

// The flow that a row belongs to; nothing when it is gone.
std::optional<Place> flowOf(const Content& content, const std::string& key);

// "Payment (orders)", with the broker when there are several; each of the two parts is shortened.
std::string nameOf(const Content& content, Place place);

}  // namespace top

#endif  // ZEB_AGENT_RENDER_TOP_LIST_H
