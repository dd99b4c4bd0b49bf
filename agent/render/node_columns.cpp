// SPDX-License-Identifier: Apache-2.0
#include "agent/render/node_columns.h"

#include "agent/model/load.h"
#include "agent/render/words.h"

namespace render {

std::vector<Column> nodeColumns(int typeYields) {
  using Place = Column::Place;
  return {
      {.name = "broker", .title = "broker", .place = Place::extra, .yields = 96, .least = 8},
      {.name = "uuid", .title = "uuid", .place = Place::extra, .yields = 97, .least = 8},
      {.name = "executionGroup",
       .title = "group",
       .place = Place::heading,
       .yields = 95,
       .least = 8},
      {.name = "messageFlow", .title = "flow", .place = Place::heading, .yields = 94, .least = 8},
      {.name = "node", .title = "node", .yields = 45, .least = 16},
      {.name = "type", .title = "type", .yields = typeYields}};
}

Column figureColumn(const char* name, const char* title, const char* group, const char* unit,
                    int yields) {
  return {.name = name,
          .title = title,
          .unit = unit,
          .group = group,
          .right = true,
          .isScaled = true,
          .yields = yields};
}

Cell typeCell(std::uint32_t type) {
  Cell cell(nodeTypeName(type));
  cell.brief = shortTypeName(type);
  return cell;
}

Cell queuedFigure(const reader::Node& node, Cell cell) {
  const bool isRead = node.statistics && node.statistics->sumQueued;
  if (isRead && !model::knowsQueued(node)) cell.brief = kMissing;
  return cell;
}

}  // namespace render
