// SPDX-License-Identifier: Apache-2.0
// A part of a table, for a screen that has no room for all of it.
#ifndef ZEB_AGENT_RENDER_SHEET_WINDOW_H
#define ZEB_AGENT_RENDER_SHEET_WINDOW_H

#include <cstddef>
#include <vector>

#include "agent/render/sheet.h"

namespace render {

// So many rows, from the first one on; those that there are.
struct Window {
  std::size_t first = 0;
  std::size_t rows = 0;
};

// The titles and these rows alone, laid out as they are among all rows.
std::vector<Line> linesOf(const Sheet& sheet, const TableStyle& style, Window window);

}  // namespace render

#endif  // ZEB_AGENT_RENDER_SHEET_WINDOW_H
