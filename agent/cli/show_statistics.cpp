// SPDX-License-Identifier: Apache-2.0
#include <fmt/format.h>

#include <algorithm>
#include <set>

#include "agent/cli/commands.h"
#include "agent/cli/documents.h"
#include "agent/cli/show.h"
#include "agent/cli/table.h"

namespace cli {
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
  return reader::nodeTypeName(type);
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
  explicit StatisticsTable(const Found& found) : found_(found), days_(daysOf(*found.broker)) {}

  std::string text() {
    for (const auto& group : found_.broker->executionGroups) addGroup(group);
    return header() + "\n" + table_.text();
  }

 private:
  std::string header() const;
  void addGroup(const reader::ExecutionGroup& group);
  void addNode(const reader::Node& node);
  std::string collected(const reader::Time& time) const;

  const Found& found_;
  std::set<std::string> days_;
  Table table_{statisticsColumns()};
};

std::string StatisticsTable::header() const {
  const reader::Broker& broker = *found_.broker;
  std::string text = fmt::format("Broker {}  (uuid {})\n", shortened(broker.label, 40),
                                 shortened(broker.uuid, 36));
  text += fmt::format("segment {} bytes", found_.segment.size);
  if (const reader::Area* area = found_.segment.copy.find(reader::kStatistics)) {
    text += fmt::format(", statistics area {} of {} bytes used ({} %)", area->last, area->size,
                        std::uint64_t{area->last} * 100 / area->size);
  }
  text += fmt::format("\nreset {} UTC",
                      broker.resetTime ? dateAndTime(*broker.resetTime) : std::string("never,"));
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
  std::string name = shortened(group.label, 40);
  if (group.processId != 0) name += fmt::format(" (pid {})", group.processId);
  name += mark(group.deleted);
  if (group.messageFlows.empty()) table_.addLine(name);
  for (const auto& flow : group.messageFlows) {
    table_.addLine(name + " / " + shortened(flow.label, 40) + mark(flow.deleted));
    for (const auto& node : flow.nodes) addNode(node);
  }
}

void StatisticsTable::addNode(const reader::Node& node) {
  std::vector<std::string> cells = {" " + shortened(node.label, kLongestLabel),
                                    typeName(node.type)};
  const auto add = [&cells](std::initializer_list<std::string> more) {
    cells.insert(cells.end(), more);
  };
  if (node.statistics && node.statistics->firstCollection) {
    const reader::Statistics& s = *node.statistics;
    add({fmt::to_string(s.messageCount), scaled(s.sumSize)});
    add({average(s.sumSize, s.messageCount), scaled(s.minSize), scaled(s.maxSize)});
    add({average(s.sumElapsed, s.messageCount), scaled(s.minElapsed), scaled(s.maxElapsed)});
    add({average(s.sumQueued, s.messageCount), scaled(s.minQueued), scaled(s.maxQueued)});
    add({collected(s.firstCollection), collected(s.lastCollection)});
  } else {
    const auto count = node.statistics ? node.statistics->messageCount : 0;
    cells.push_back(node.statistics ? fmt::to_string(count) : "-");
    cells.resize(15, "-");
  }
  cells.emplace_back(node.deleted ? "deleted" : "");
  table_.addRow(std::move(cells));
}

std::string tables(const Brokers& brokers) {
  std::string text;
  for (const Found& found : brokers.found) {
    if (!found.broker) continue;
    if (!text.empty()) text += "\n";
    text += statisticsTable(found);
  }
  return text;
}

}  // namespace

std::string statisticsTable(const Found& found) {
  return StatisticsTable(found).text();
}

int showStatistics(const Options& options, Format format, Output& output) {
  const Brokers brokers = readBrokers(options, false);
  reportProblems(brokers);
  output.write(format == Format::json ? written(statisticsDocument(brokers)) : tables(brokers));
  return brokers.exitCode;
}

}  // namespace cli
