// SPDX-License-Identifier: Apache-2.0
#include <fmt/format.h>

#include <set>
#include <utility>

#include "agent/render/screens.h"
#include "agent/render/table.h"
#include "agent/render/values.h"
#include "agent/render/words.h"
#include "text/printable.h"

namespace render {
namespace {

constexpr std::size_t kLongestLabel = 28;

std::vector<Table::Column> statisticsColumns() {
  const auto number = [](const char* title, const char* group, int gap) {
    return Table::Column{.title = title, .right = true, .group = group, .gap = gap};
  };
  return {{.title = "node"},
          {.title = "type", .gap = 1},
          number("count", "messages", 1),
          number("bytes", "", 1),
          number("avg", "size, bytes", 2),
          number("min", "", 1),
          number("max", "", 1),
          number("avg", "elapsed, ms", 2),
          number("min", "", 1),
          number("max", "", 1),
          number("avg", "queued, ms", 2),
          number("min", "", 1),
          number("max", "", 1),
          {.title = "first", .group = "collected"},
          {.title = "last", .gap = 1},
          {.title = "", .gap = 1}};
}

// The names of the types, short enough for a column.
std::string typeName(std::uint32_t type) {
  if (type == 4) return "sub in";
  if (type == 5) return "sub out";
  return nodeTypeName(type);
}

// The UTC days on which anything of the broker was collected.
std::set<std::string> daysOf(const reader::Broker& broker) {
  std::set<std::string> days;
  for (const auto& group : broker.executionGroups) {
    for (const auto& flow : group.messageFlows) {
      for (const auto& node : flow.nodes) {
        if (!node.statistics) continue;
        const auto& [first, last] =
            std::pair(node.statistics->firstCollection, node.statistics->lastCollection);
        if (first) days.insert(dateOnly(*first));
        if (last) days.insert(dateOnly(*last));
      }
    }
  }
  return days;
}

class StatisticsTable {
 public:
  explicit StatisticsTable(const model::SeenBroker& broker)
      : broker_(broker), days_(daysOf(*broker.tree)) {}

  std::string text() {
    for (const auto& group : broker_.tree->executionGroups) addGroup(group);
    return header() + "\n" + table_.text();
  }

 private:
  std::string header() const;
  void addGroup(const reader::ExecutionGroup& group);
  void addNode(const reader::Node& node);
  std::string collected(const reader::Time& time) const;

  const model::SeenBroker& broker_;
  std::set<std::string> days_;
  Table table_{statisticsColumns()};
};

std::string StatisticsTable::header() const {
  const reader::Broker& tree = *broker_.tree;
  std::string text = fmt::format("Broker {}  (uuid {})\n", text::shortened(tree.label, 40),
                                 text::shortened(tree.uuid, 36));
  text += fmt::format("segment {} bytes", broker_.segment.size);
  if (const reader::Area* area = broker_.segment.copy.find(reader::kStatistics)) {
    text += fmt::format(", statistics area {} of {} bytes used ({} %)", area->last, area->size,
                        std::uint64_t{area->last} * 100 / area->size);
  }
  text += "\nreset " + (tree.resetTime ? dateAndTime(*tree.resetTime) + " UTC" : "never");
  if (days_.size() == 1) text += fmt::format(", collected on {} (UTC)", *days_.begin());
  return text + "\n";
}

// On one day the time alone tells enough; its date stands above the table.
std::string StatisticsTable::collected(const reader::Time& time) const {
  if (!time) return "-";
  return days_.size() == 1 ? timeOnly(*time) : dateAndTime(*time);
}

void StatisticsTable::addGroup(const reader::ExecutionGroup& group) {
  const auto mark = [](bool deleted) { return deleted ? " (deleted)" : ""; };
  std::string name = text::shortened(group.label, 40);
  if (group.processId != 0) name += fmt::format(" (pid {})", group.processId);
  name += mark(group.deleted);
  if (group.messageFlows.empty()) table_.addLine(name);
  for (const auto& flow : group.messageFlows) {
    table_.addLine(name + " / " + text::shortened(flow.label, 40) + mark(flow.deleted));
    for (const auto& node : flow.nodes) addNode(node);
  }
}

void StatisticsTable::addNode(const reader::Node& node) {
  std::vector<std::string> cells = {" " + text::shortened(node.label, kLongestLabel),
                                    typeName(node.type)};
  const auto add = [&cells](std::initializer_list<std::string> more) {
    cells.insert(cells.end(), more);
  };
  if (node.statistics && node.statistics->firstCollection) {
    const reader::Statistics& s = *node.statistics;
    add({whole(s.messageCount), scaled(s.sumSize)});
    add({average(s.sumSize, s.messageCount), scaled(s.minSize), scaled(s.maxSize)});
    add({average(s.sumElapsed, s.messageCount), scaled(s.minElapsed), scaled(s.maxElapsed)});
    add({average(s.sumQueued, s.messageCount), scaled(s.minQueued), scaled(s.maxQueued)});
    add({collected(s.firstCollection), collected(s.lastCollection)});
  } else {
    cells.push_back(node.statistics ? whole(node.statistics->messageCount) : "-");
    cells.resize(15, "-");
  }
  cells.emplace_back(node.deleted ? "deleted" : "");
  table_.addRow(std::move(cells));
}

}  // namespace

std::string statisticsTables(const model::Snapshot& snapshot) {
  std::string text;
  for (const auto& broker : snapshot.brokers) {
    if (!broker->tree) continue;
    if (!text.empty()) text += "\n";
    text += StatisticsTable(*broker).text();
  }
  return text;
}

}  // namespace render
