// SPDX-License-Identifier: Apache-2.0
// Where a node is: the columns with which every sheet of nodes begins.
#ifndef ZEB_AGENT_RENDER_NODE_COLUMNS_H
#define ZEB_AGENT_RENDER_NODE_COLUMNS_H

#include <cstdint>
#include <vector>

#include "agent/reader/tree.h"
#include "agent/render/sheet.h"

namespace render {

// "broker", "uuid", "executionGroup", "messageFlow", "node" and "type". Group and flow are in the
// headings of a table. The type yields at `typeYields`.
std::vector<Column> nodeColumns(int typeYields);

// A type of nodes: its name, and in tables a short one.
Cell typeCell(std::uint32_t type);

// A figure of queued time, in tables only where that is measured: other nodes hold zeros.
Cell queuedFigure(const reader::Node& node, Cell cell);

// A number of a node, right-aligned and scaled.
Column figureColumn(const char* name, const char* title, const char* group, const char* unit,
                    int yields);

}  // namespace render

#endif  // ZEB_AGENT_RENDER_NODE_COLUMNS_H
