// SPDX-License-Identifier: Apache-2.0
#include <fmt/format.h>

#include "agent/render/screens.h"
#include "agent/render/table.h"
#include "agent/render/values.h"
#include "agent/render/words.h"
#include "text/printable.h"

namespace render {
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

std::vector<std::string> row(const model::SeenBroker& broker) {
  const bool readable = broker.segment.size > 0;
  const bool decoded = broker.tree.has_value();
  const auto known = [](bool is, const auto& value) { return is ? fmt::to_string(value) : "-"; };
  const Counts counts = decoded ? countsOf(*broker.tree) : Counts();
  return {decoded ? text::shortened(broker.label(), 24) : "-",
          text::shortened(broker.uuid(), 36),
          stateName(broker.state()),
          known(decoded, counts.groups),
          known(decoded, counts.flows),
          known(decoded, counts.nodes),
          known(readable, broker.segment.attached),
          known(readable, scaled(static_cast<std::int64_t>(broker.segment.size)))};
}

}  // namespace

std::string brokersTable(const model::Snapshot& snapshot) {
  if (snapshot.brokers.empty()) return {};
  Table table({{.title = "broker"},
               {.title = "uuid"},
               {.title = "state"},
               {.title = "groups", .right = true},
               {.title = "flows", .right = true},
               {.title = "nodes", .right = true},
               {.title = "attached", .right = true},
               {.title = "bytes", .right = true}});
  for (const auto& broker : snapshot.brokers) table.addRow(row(*broker));
  return table.text();
}

}  // namespace render
