// SPDX-License-Identifier: Apache-2.0
#include "agent/render/message_screens.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>

#include "agent/model/findings/kinds.h"
#include "agent/render/event_screens.h"
#include "agent/render/words.h"

namespace render {
namespace {

using model::findings::counted;

constexpr std::size_t kMostListed = 10;
constexpr std::size_t kDateWidth = 10;  // of "2026-01-31"

const char* matchedName(const model::WayStep& step) {
  return step.byCorrelation ? "correlationId" : "messageId";
}

// Tables show it as those of "events" do.
Cell threadCell(const reader::Event& event) {
  Cell cell(event.threadId);
  cell.brief = threadText(event);
  return cell;
}

Row rowOf(const model::WayStep& step, Zone zone) {
  const reader::Event& event = *step.event;
  const reader::Stamp created = event.recordId.created();
  const bool known = event.origin != nullptr;
  const bool failed = event.kind() == reader::EventKind::exception;
  return {.heading = {},
          .cells = {dateAndTime(created.seconds, zone, created.milliseconds), step.afterMs,
                    step.broker->label(), step.broker->uuid(),
                    known ? Cell(event.origin->executionGroup) : Cell(),
                    known ? Cell(event.origin->messageFlow) : Cell(),
                    known ? Cell(event.origin->node) : Cell(),
                    Cell(kindName(event.kind()), failed ? Tone::critical : Tone::plain),
                    Cell(step.byCorrelation ? "correlation" : "message"),
                    known ? Cell(event.origin->text) : Cell(), threadCell(event),
                    event.putApplicationName}};
}

// The date on which all its events were posted; empty when they are of several.
std::string dayOf(const model::MessageWay& way, Zone zone) {
  if (way.steps.empty()) return {};
  const auto dateOf = [zone](const model::WayStep& step) {
    return dateOnly(step.event->recordId.created().seconds, zone);
  };
  const std::string day = dateOf(way.steps.front());
  const bool same = std::ranges::all_of(
      way.steps, [&](const model::WayStep& step) { return dateOf(step) == day; });
  return same && day.size() == kDateWidth ? day : "";
}

}  // namespace

std::vector<Column> messageColumns() {
  return {{.name = "time", .title = "time"},
          {.name = "afterMs", .title = "after", .unit = "ms", .right = true},
          {.name = "broker", .title = "broker", .yields = 14, .least = 8},
          {.name = "uuid", .title = "uuid", .place = Column::Place::extra},
          {.name = "executionGroup", .title = "group", .yields = 15},
          {.name = "messageFlow", .title = "flow", .yields = 4, .least = 8},
          {.name = "node", .title = "node", .yields = 3, .least = 12},
          {.name = "kind", .title = "kind"},
          {.name = "matched", .title = "by", .yields = 16},
          {.name = "text", .title = "text", .yields = 5, .least = 14},
          {.name = "threadId", .title = "thread", .right = true, .yields = 18},
          {.name = "putApplicationName", .title = "application", .yields = 17}};
}

// On one day the time is enough.
Sheet messageSheet(const model::MessageWay& way, Zone zone) {
  Sheet sheet{.columns = messageColumns(), .rows = {}};
  const bool oneDay = !dayOf(way, zone).empty();
  for (const model::WayStep& step : way.steps) {
    Row row = rowOf(step, zone);
    Cell& time = row.cells.front();
    if (oneDay) time.brief = std::get<std::string>(time.value).substr(kDateWidth + 1);
    sheet.rows.push_back(std::move(row));
  }
  return sheet;
}

Json messageDocument(const model::Snapshot& snapshot, const model::MessageWay& way) {
  Json events = Json::array();
  for (const model::WayStep& step : way.steps) {
    Json event = eventDocument(*step.broker, *step.event, snapshot);
    event["afterMs"] = step.afterMs;
    event["matched"] = matchedName(step);
    events.push_back(std::move(event));
  }
  Json document = headOf("zebmon.message", 1, snapshot);
  document["id"] = way.id;
  document["events"] = std::move(events);
  return document;
}

std::string summaryOf(const model::MessageWay& way, Zone zone) {
  std::set<const model::SeenBroker*> brokers;
  for (const model::WayStep& step : way.steps) brokers.insert(step.broker);
  const std::int64_t took =
      way.steps.empty() ? 0 : way.steps.back().createdMs - way.steps.front().createdMs;
  const std::string day = dayOf(way, zone);
  return fmt::format("Message {}\n{} in {}{}, {} ms from the first to the last\n", way.id,
                     counted(way.steps.size(), "event", "events"),
                     counted(brokers.size(), "broker", "brokers"), day.empty() ? "" : " on " + day,
                     took);
}

std::string problemOf(const std::vector<model::MessageWay>& ways, const std::string& prefix) {
  if (ways.size() == 1) return {};
  if (ways.empty()) {
    return fmt::format(
        "no event has a message or correlation ID that begins with {}. Its events may have been "
        "overwritten, or its nodes post none; zebmon events shows the IDs that there are",
        prefix);
  }
  std::string list;
  for (std::size_t i = 0; i < std::min(ways.size(), kMostListed); ++i)
    list += (i == 0 ? "" : ", ") + ways[i].id;
  if (ways.size() > kMostListed) list += ", ...";
  return fmt::format("{} IDs begin with {}: {}. Give more digits of one", ways.size(), prefix,
                     list);
}

}  // namespace render
