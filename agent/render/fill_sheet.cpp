// SPDX-License-Identifier: Apache-2.0
#include <fmt/format.h>

#include "agent/reader/names.h"
#include "agent/render/paragraph.h"
#include "agent/render/size_screens.h"
#include "agent/render/values.h"
#include "agent/render/words.h"
#include "text/printable.h"

namespace render {
namespace {

constexpr std::int64_t kMs = 1000;  // in a second
constexpr std::int64_t kOld = 600;  // seconds: a recorder that works looks much more often

// What still fits into an area. Only one of the three counts for each.
struct Room {
  std::uint64_t nodes = 0;
  std::uint64_t inNewFlow = 0;   // nodes, where the flow comes with them
  std::uint64_t inNewGroup = 0;  // where the group does too
  model::NewNode node;           // each
  std::uint64_t text = 0;        // the longest, in characters
  std::uint64_t events = 0;      // at a time
};

Room roomIn(const reader::Area& area, const model::NewNode& node) {
  model::NewNode inNewFlow = node;
  inNewFlow.newFlow = true;
  model::NewNode inNewGroup = node;
  inNewGroup.newGroup = true;
  return {.nodes = model::roomFor(node, area),
          .inNewFlow = model::roomFor(inNewFlow, area),
          .inNewGroup = model::roomFor(inNewGroup, area),
          .node = node,
          .text = model::longestText(area.size),
          .events = model::eventsIn(area.size)};
}

std::string roomText(const reader::Area& area, const Room& room) {
  if (area.name == reader::kStatistics) {
    return fmt::format("{} more node{} of {} characters", room.nodes, room.nodes == 1 ? "" : "s",
                       room.node.units);
  }
  if (area.name == reader::kEventTemplates) {
    return fmt::format("texts up to {} characters", room.text);
  }
  return fmt::format("the last {} events", room.events);
}

double fillOf(const reader::Area& area) {
  return area.size == 0 ? 0 : 100.0 * area.last / area.size;
}

std::vector<const reader::Area*> areasOf(const model::SeenBroker& broker) {
  std::vector<const reader::Area*> areas;
  for (const char* const name : {reader::kStatistics, reader::kEventTemplates, reader::kEventData})
    if (const reader::Area* const area = broker.segment.copy.find(name)) areas.push_back(area);
  return areas;
}

Json forecastOf(const model::AreaGrowth& growth) {
  const auto left = growth.untilFull();
  return {{"since", isoTime(growth.from / kMs)},
          {"until", isoTime(growth.until / kMs)},
          {"usedBytesBefore", growth.before},
          {"usedBytes", growth.used},
          {"sizeBytes", growth.size},
          {"enough", growth.isEnough()},
          {"fullInSeconds", left ? Json(static_cast<std::int64_t>(left->count())) : Json()}};
}

Row rowOf(const model::SeenBroker& broker, const reader::Area& area) {
  const Room room = roomIn(area, model::largestNewNode(broker));
  const bool full = area.name == reader::kStatistics && room.nodes == 0;
  return {"Broker " + nameOf(broker),
          {nameOf(broker), area.name, area.size, area.last, fillOf(area),
           Cell(roomText(area, room), full ? Tone::critical : Tone::plain)}};
}

std::string growthText(const model::AreaGrowth& growth) {
  const std::string time = duration((growth.until - growth.from) / kMs);
  if (!growth.isEnough()) return "a forecast needs a day, and there is " + time;
  if (growth.used >= growth.size) return "it is full";
  const auto left = growth.untilFull();
  if (!left) return "it has not grown in " + time;
  return fmt::format("it grew by {} bytes in {}, and is full in {} if that goes on",
                     growth.used - growth.before, time,
                     duration(static_cast<std::int64_t>(left->count())));
}

}  // namespace

std::vector<Column> fillColumns() {
  return {{.name = "broker",
           .title = "broker",
           .place = Column::Place::heading,
           .yields = 90,
           .least = 8},
          {.name = "area", .title = "area"},
          {.name = "sizeBytes", .title = "bytes", .right = true},
          {.name = "usedBytes", .title = "used", .right = true},
          {.name = "usedPercent", .title = "%", .right = true},
          {.name = "room", .title = "room for", .yields = 20, .least = 20}};
}

Sheet fillSheet(const model::Snapshot& snapshot) {
  Sheet sheet{fillColumns(), {}};
  for (const auto& broker : snapshot.brokers) {
    for (const reader::Area* area : areasOf(*broker)) sheet.rows.push_back(rowOf(*broker, *area));
  }
  return sheet;
}

std::string roomLines(const model::Snapshot& snapshot, std::optional<std::size_t> width) {
  std::string lines;
  for (const auto& broker : snapshot.brokers) {
    const reader::Area* const area = broker->segment.copy.find(reader::kStatistics);
    if (area == nullptr) continue;
    const Room room = roomIn(*area, model::largestNewNode(*broker));
    lines += inLines(fmt::format("{}: of these nodes, {} fit in a new flow and {} in a new group.",
                                 nameOf(*broker), room.inNewFlow, room.inNewGroup),
                     width);
  }
  return lines;
}

std::string forecastText(const model::AreaGrowth& growth, std::int64_t now) {
  const std::int64_t age = now - growth.until / kMs;
  return growthText(growth) + (age < kOld ? "" : "; its last look was " + duration(age) + " ago");
}

std::string forecastLines(const model::Snapshot& snapshot, const Growths& growths, std::int64_t now,
                          std::optional<std::size_t> width) {
  std::string lines;
  for (const auto& broker : snapshot.brokers) {
    const auto growth = growths.find(broker->uuid());
    if (growth != growths.end()) {
      lines += inLines("By the history, statistics of " + nameOf(*broker) + ": " +
                           forecastText(growth->second, now) + ".",
                       width);
    }
  }
  return lines;
}

Json fillDocument(const model::Snapshot& snapshot, const Growths& growths) {
  Json document = headOf("zebmon.size", 1, snapshot);
  document["plan"] = nullptr;
  Json& brokers = document["brokers"] = Json::array();
  for (const auto& broker : snapshot.brokers) {
    Json areas = Json::array();
    for (const reader::Area* its : areasOf(*broker)) {
      const reader::Area& area = *its;
      const Room room = roomIn(area, model::largestNewNode(*broker));
      Json object = {{"name", area.name},
                     {"sizeBytes", area.size},
                     {"usedBytes", area.last},
                     {"usedPercent", fillOf(area)}};
      if (area.name == reader::kStatistics) {
        object["roomForNodes"] = room.nodes;
        object["nodeCharacters"] = room.node.units;
        object["roomForNodesInNewFlow"] = room.inNewFlow;
        object["flowCharacters"] = room.node.flowUnits;
        object["roomForNodesInNewGroup"] = room.inNewGroup;
        object["groupCharacters"] = room.node.groupUnits;
      } else if (area.name == reader::kEventTemplates) {
        object["longestTextCharacters"] = room.text;
      } else {
        object["roomForEvents"] = room.events;
      }
      areas.push_back(std::move(object));
    }
    const auto growth = growths.find(broker->uuid());
    const bool readable = broker->segment.size > 0;
    brokers.push_back(
        {{"label", broker->tree ? Json(broker->label()) : Json(nullptr)},
         {"uuid", broker->uuid()},
         {"state", reader::nameOf(broker->state())},
         {"segmentBytes", readable ? Json(broker->segment.size) : Json(nullptr)},
         {"areas", std::move(areas)},
         {"forecast", growth == growths.end() ? Json(nullptr) : forecastOf(growth->second)}});
  }
  return document;
}

}  // namespace render
