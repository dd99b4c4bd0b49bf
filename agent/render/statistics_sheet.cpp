// SPDX-License-Identifier: Apache-2.0
#include <fmt/format.h>

#include <algorithm>
#include <set>

#include "agent/render/node_columns.h"
#include "agent/render/screens.h"
#include "agent/render/words.h"
#include "text/printable.h"

namespace render {
namespace {

using Place = Column::Place;

// What one row is about.
struct NodePlace {
  const model::SeenBroker& broker;
  const reader::ExecutionGroup& group;
  const reader::MessageFlow& flow;
  const reader::Node& node;
};

std::string marked(std::string text, bool deleted) {
  return deleted ? text + " (deleted)" : text;
}

std::string headingOf(const reader::ExecutionGroup& group, const reader::MessageFlow* flow) {
  std::string name = group.label;
  if (group.processId != 0) name += fmt::format(" (pid {})", group.processId);
  name = marked(std::move(name), group.deleted);
  return flow == nullptr ? name : name + " / " + marked(flow->label, flow->deleted);
}

std::vector<Cell> numbersOf(const reader::Node& node) {
  if (!node.statistics) return std::vector<Cell>(15);
  const reader::Statistics& s = *node.statistics;
  std::vector<Cell> cells = {cellOf(s.messageCount)};
  cells.resize(15);
  if (!s.firstCollection) return cells;
  return {cellOf(s.messageCount),
          cellOf(s.sumSize),
          meanOf(s.sumSize, s.messageCount),
          s.minSize,
          s.maxSize,
          cellOf(s.sumElapsed),
          meanOf(s.sumElapsed, s.messageCount),
          s.minElapsed,
          s.maxElapsed,
          queuedFigure(node, cellOf(s.sumQueued)),
          queuedFigure(node, meanOf(s.sumQueued, s.messageCount)),
          queuedFigure(node, s.minQueued),
          queuedFigure(node, s.maxQueued),
          momentOf(s.firstCollection),
          momentOf(s.lastCollection)};
}

Row rowOf(const NodePlace& at) {
  Row row{headingOf(at.group, &at.flow),
          {at.broker.label(), at.broker.uuid(), at.group.label, at.group.processId, at.flow.label,
           at.node.label, typeCell(at.node.type)}};
  if (at.group.processId == 0) row.cells[3] = Cell();
  for (Cell& cell : numbersOf(at.node)) row.cells.push_back(std::move(cell));
  row.cells.emplace_back(at.node.deleted);
  return row;
}

void addRows(Sheet& sheet, const model::SeenBroker& broker) {
  if (!broker.tree) return;
  for (const auto& group : broker.tree->executionGroups) {
    if (group.messageFlows.empty()) sheet.rows.push_back({headingOf(group, nullptr), {}});
    for (const auto& flow : group.messageFlows) {
      if (flow.nodes.empty()) sheet.rows.push_back({headingOf(group, &flow), {}});
      for (const auto& node : flow.nodes) sheet.rows.push_back(rowOf({broker, group, flow, node}));
    }
  }
}

std::string resetOf(const model::SeenBroker& broker, std::int64_t now, const TableStyle& style) {
  std::string text = "never reset; min and max are of all messages";
  if (const reader::Time& reset = broker.tree->resetTime) {
    text = fmt::format("reset {}, {} ago; min and max are since then",
                       dateAndTime(*reset, style.zone), duration(now - *reset));
  }
  return style.day.empty() ? text : text + "\ncollected on " + style.day;
}

std::string titleOf(const model::SeenBroker& broker, std::int64_t now, const TableStyle& style) {
  std::string text = fmt::format("Broker {}  (uuid {})\n", text::shortened(broker.label(), 40),
                                 text::shortened(broker.uuid(), 36));
  text += fmt::format("segment {} bytes", broker.segment.size);
  if (const reader::Area* area = broker.segment.copy.find(reader::kStatistics)) {
    text += fmt::format(", statistics area {} of {} bytes used ({} %)", area->last, area->size,
                        std::uint64_t{area->last} * 100 / area->size);
  }
  return text + "\n" + resetOf(broker, now, style) + "\n";
}

}  // namespace

std::vector<Column> statisticsColumns() {
  const auto number = figureColumn;
  std::vector<Column> columns = nodeColumns(20);
  const auto afterGroup = std::ranges::find(columns, "messageFlow", &Column::name);
  columns.insert(afterGroup,
                 {.name = "processId", .title = "pid", .right = true, .place = Place::extra});
  const std::vector<Column> figures = {
      number("messageCount", "count", "messages", "", 0),
      number("sizeSumBytes", "bytes", "messages", "", 70),
      number("sizeMeanBytes", "avg", "size", "bytes", 15),
      number("sizeMinBytes", "min", "size", "bytes", 80),
      number("sizeMaxBytes", "max", "size", "bytes", 40),
      number("elapsedSumMs", "sum", "elapsed", "ms", 0),
      number("elapsedMeanMs", "avg", "elapsed", "ms", 0),
      number("elapsedMinMs", "min", "elapsed", "ms", 60),
      number("elapsedMaxMs", "max", "elapsed", "ms", 5),
      number("queuedSumMs", "sum", "queued", "ms", 0),
      number("queuedMeanMs", "avg", "queued", "ms", 10),
      number("queuedMinMs", "min", "queued", "ms", 65),
      number("queuedMaxMs", "max", "queued", "ms", 30),
      {.name = "firstCollection", .title = "first", .group = "collected", .yields = 90},
      {.name = "lastCollection", .title = "last", .group = "collected", .yields = 25},
      {.name = "deleted", .title = ""}};
  columns.insert(columns.end(), figures.begin(), figures.end());
  for (Column& column : columns) {
    if (column.name == "elapsedSumMs" || column.name == "queuedSumMs") column.place = Place::extra;
    if (column.name == "messageCount") column.isScaled = false;
  }
  return columns;
}

Sheet statisticsSheet(const model::Snapshot& snapshot) {
  Sheet sheet{statisticsColumns(), {}};
  for (const auto& broker : snapshot.brokers) addRows(sheet, *broker);
  return sheet;
}

std::string statisticsTables(const model::Snapshot& snapshot, const Arrangement& wanted,
                             TableStyle style) {
  std::string text;
  for (const auto& broker : snapshot.brokers) {
    if (!broker->tree) continue;
    Sheet sheet{statisticsColumns(), {}};
    addRows(sheet, *broker);
    style.day = onlyDay(sheet, style.zone);
    if (!text.empty()) text += "\n";
    if (style.titles) text += titleOf(*broker, model::secondsOf(snapshot), style) + "\n";
    text += tableOf(arranged(std::move(sheet), wanted), style);
  }
  return text;
}

}  // namespace render
