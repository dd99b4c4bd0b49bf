// SPDX-License-Identifier: Apache-2.0
#include <fmt/format.h>

#include <algorithm>

#include "agent/model/group_state.h"
#include "agent/render/screens.h"
#include "agent/render/words.h"

namespace render {
namespace {

using model::Condition;

Tone toneOf(Condition condition) {
  if (condition == Condition::ok) return Tone::plain;
  const bool stopped = condition == Condition::noSegment || condition == Condition::noKeyFile;
  return stopped ? Tone::warning : Tone::critical;
}

// How many there are, and how many of them have a dead process.
Cell groupsCell(const model::SeenBroker& broker, const model::Machine* machine) {
  const auto& groups = broker.tree->executionGroups;
  const auto ended = [&broker, machine](const reader::ExecutionGroup& group) {
    return !group.deleted && isDead(groupState(group.processId, broker.segment, *machine));
  };
  const auto dead = machine == nullptr ? 0 : std::ranges::count_if(groups, ended);
  Cell cell(groups.size());
  if (dead == 0) return cell;
  cell.brief = fmt::format("{}: {} dead", groups.size(), dead);
  cell.tone = Tone::critical;
  return cell;
}

void addCounts(std::vector<Cell>& cells, const model::SeenBroker& broker,
               const model::Machine* machine) {
  if (!broker.tree) {
    cells.resize(cells.size() + 3);
    return;
  }
  const model::Counts counts = model::countsOf(*broker.tree);
  cells.insert(cells.end(), {groupsCell(broker, machine), counts.flows, counts.nodes});
}

Cell fillOf(const model::SeenBroker& broker, const char* area) {
  const reader::Area* found = broker.segment.copy.find(area);
  return found == nullptr ? Cell() : Cell(model::fillPercentOf(*found));
}

void addAge(std::vector<Cell>& cells, const model::SeenBroker& broker, std::int64_t now) {
  const reader::Time last = broker.tree ? model::lastCollectionOf(*broker.tree) : reader::Time();
  Cell age;
  if (last) {
    age = now - *last;
    age.brief = duration(now - *last);
  }
  cells.push_back(age);
  cells.push_back(momentOf(last));
}

Row rowOf(const model::SeenBroker& broker, const model::Snapshot& snapshot) {
  const Condition condition = conditionOf(broker, snapshot.machine.get());
  const bool isRead = broker.segment.size > 0;
  Row row{{},
          {broker.tree ? Cell(broker.label()) : Cell(), broker.uuid(),
           Cell(nameOf(condition), toneOf(condition))}};
  addCounts(row.cells, broker, snapshot.machine.get());
  for (const char* area : {reader::kStatistics, reader::kEventTemplates, reader::kEventData}) {
    row.cells.push_back(fillOf(broker, area));
  }
  row.cells.push_back(isRead ? Cell(broker.segment.attached) : Cell());
  addAge(row.cells, broker, model::secondsOf(snapshot));
  row.cells.push_back(isRead ? Cell(broker.segment.size) : Cell());
  row.cells.emplace_back(broker.segment.keyFile);
  return row;
}

}  // namespace

std::vector<Column> brokersColumns() {
  const auto fill = [](const char* name, const char* title, int yields) {
    return Column{.name = name,
                  .title = title,
                  .unit = "%",
                  .group = "filled",
                  .right = true,
                  .yields = yields};
  };
  return {
      {.name = "label", .title = "broker", .yields = 30, .least = 16},
      {.name = "uuid", .title = "uuid", .yields = 90, .least = 8},
      {.name = "state", .title = "state"},
      {.name = "executionGroupCount", .title = "groups", .right = true, .yields = 8},
      {.name = "messageFlowCount", .title = "flows", .right = true, .yields = 50},
      {.name = "nodeCount", .title = "nodes", .right = true, .yields = 5},
      fill("statisticsPercent", "stats", 0),
      fill("eventTemplatesPercent", "texts", 45),
      fill("eventDataPercent", "events", 40),
      {.name = "attached", .title = "attached", .right = true, .yields = 20},
      {.name = "lastCollectionAgeSeconds", .title = "last message", .right = true, .yields = 10},
      {.name = "lastCollection", .title = "at", .place = Column::Place::extra},
      {.name = "segmentBytes", .title = "bytes", .right = true, .isScaled = true, .yields = 70},
      {.name = "keyFile", .title = "key file", .place = Column::Place::extra}};
}

Sheet brokersSheet(const model::Snapshot& snapshot) {
  Sheet sheet{brokersColumns(), {}};
  for (const auto& broker : snapshot.brokers) sheet.rows.push_back(rowOf(*broker, snapshot));
  return sheet;
}

}  // namespace render
