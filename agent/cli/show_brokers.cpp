// SPDX-License-Identifier: Apache-2.0
#include <fmt/format.h>

#include "agent/cli/commands.h"
#include "agent/cli/documents.h"
#include "agent/cli/show.h"
#include "agent/cli/table.h"

namespace cli {
namespace {

struct Counts {
  std::size_t groups = 0;
  std::size_t flows = 0;
  std::size_t nodes = 0;
};

Counts countsOf(const reader::Broker& broker) {
  Counts counts;
  counts.groups = broker.executionGroups.size();
  for (const auto& group : broker.executionGroups) {
    counts.flows += group.messageFlows.size();
    for (const auto& flow : group.messageFlows) counts.nodes += flow.nodes.size();
  }
  return counts;
}

std::vector<std::string> row(const Found& found) {
  const bool readable = found.segment.size > 0;
  const auto known = [](bool is, const auto& value) { return is ? fmt::to_string(value) : "-"; };
  const Counts counts = found.broker ? countsOf(*found.broker) : Counts();
  return {found.broker ? shortened(found.label(), 24) : "-",
          shortened(found.uuid(), 36),
          stateName(found.state()),
          known(found.broker.has_value(), counts.groups),
          known(found.broker.has_value(), counts.flows),
          known(found.broker.has_value(), counts.nodes),
          known(readable, found.segment.attached),
          known(readable, scaled(static_cast<std::int64_t>(found.segment.size)))};
}

std::string table(const Brokers& brokers) {
  if (brokers.found.empty()) return {};
  Table table({{.title = "broker"},
               {.title = "uuid"},
               {.title = "state"},
               {.title = "groups", .right = true},
               {.title = "flows", .right = true},
               {.title = "nodes", .right = true},
               {.title = "attached", .right = true},
               {.title = "bytes", .right = true}});
  for (const Found& found : brokers.found) table.addRow(row(found));
  return table.text();
}

}  // namespace

int showBrokers(const Options& options, Format format, Output& output) {
  const Brokers brokers = readBrokers(options, true);
  reportProblems(brokers);
  output.write(format == Format::json ? written(brokersDocument(options, brokers))
                                      : table(brokers));
  return brokers.exitCode;
}

}  // namespace cli
