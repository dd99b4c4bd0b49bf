// SPDX-License-Identifier: Apache-2.0
#include "agent/render/event_screens.h"
#include "agent/render/put_time.h"
#include "agent/render/words.h"

namespace render {
namespace {

// Missing of events whose template is gone.
Cell knownText(const std::optional<std::string>& text) {
  return text ? Cell(*text) : Cell();
}

Cell originCell(const reader::Event& event, std::string reader::EventTemplate::*field) {
  return event.origin ? Cell((*event.origin).*field) : Cell();
}

Cell putCell(const reader::Event& event) {
  const auto put = putTimeOf(event);
  return put ? Cell(isoTime(put->seconds, put->hundredths * 10)) : Cell();
}

}  // namespace

std::vector<Column> eventsColumns() {
  std::vector<Column> columns;
  for (const char* name : {"broker",
                           "uuid",
                           "time",
                           "created",
                           "kind",
                           "executionGroup",
                           "messageFlow",
                           "node",
                           "type",
                           "text",
                           "messageId",
                           "correlationId",
                           "threadId",
                           "thread",
                           "putApplicationType",
                           "putApplicationName",
                           "putDate",
                           "putTime",
                           "put",
                           "recordId"}) {
    columns.push_back({.name = name, .title = name});
  }
  return columns;
}

Row eventRow(const model::SeenBroker& broker, const reader::Event& event) {
  using Template = reader::EventTemplate;
  const reader::Stamp created = event.recordId.created();
  return {.heading = {},
          .cells = {broker.label(),
                    broker.uuid(),
                    momentOf(event.time),
                    isoTime(created.seconds, created.milliseconds),
                    kindName(event.kind()),
                    originCell(event, &Template::executionGroup),
                    originCell(event, &Template::messageFlow),
                    originCell(event, &Template::node),
                    event.origin ? Cell(nodeTypeName(event.origin->nodeType)) : Cell(),
                    originCell(event, &Template::text),
                    hex(event.messageId),
                    hex(event.correlationId),
                    event.threadId,
                    threadText(event),
                    event.putApplicationType,
                    event.putApplicationName,
                    event.putDate,
                    event.putTime,
                    putCell(event),
                    event.recordId.hex()}};
}

std::vector<Column> eventCountsColumns(model::CountBy by) {
  std::vector<Column> columns = {
      {.name = "events", .title = "events", .right = true, .isScaled = true},
      {.name = "failed", .title = "failed", .right = true, .isScaled = true},
      {.name = "first", .title = "first", .yields = 6},
      {.name = "last", .title = "last", .yields = 5},
      {.name = "broker", .title = "broker", .yields = 7, .least = 6}};
  switch (by) {
    case model::CountBy::hour:
      columns.insert(columns.begin(), {.name = "hour", .title = "hour"});
      break;
    case model::CountBy::text:
      columns.push_back({.name = "text", .title = "text", .yields = 1, .least = 20});
      break;
    case model::CountBy::node:
      columns.push_back({.name = "executionGroup", .title = "group", .yields = 3, .least = 6});
      columns.push_back({.name = "messageFlow", .title = "flow", .yields = 2, .least = 8});
      columns.push_back({.name = "node", .title = "node", .yields = 1, .least = 12});
      break;
  }
  return columns;
}

Sheet eventCountsSheet(const std::vector<model::EventCount>& counts, model::CountBy by) {
  Sheet sheet{.columns = eventCountsColumns(by), .rows = {}};
  for (const model::EventCount& count : counts) {
    std::vector<Cell> cells = {count.events, count.failed, momentOf(count.first),
                               momentOf(count.last), count.broker};
    if (by == model::CountBy::hour) cells.insert(cells.begin(), momentOf(count.hour));
    if (by == model::CountBy::text) cells.push_back(knownText(count.text));
    if (by == model::CountBy::node) {
      cells.insert(cells.end(),
                   {knownText(count.group), knownText(count.flow), knownText(count.node)});
    }
    sheet.rows.push_back({.heading = {}, .cells = std::move(cells)});
  }
  return sheet;
}

}  // namespace render
