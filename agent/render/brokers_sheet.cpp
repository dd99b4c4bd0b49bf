// SPDX-License-Identifier: Apache-2.0
#include "agent/render/screens.h"
#include "agent/render/words.h"

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

Tone toneOf(reader::State state) {
  if (state == reader::State::ok) return Tone::plain;
  const bool stopped = state == reader::State::noSegment || state == reader::State::noKeyFile;
  return stopped ? Tone::warning : Tone::critical;
}

Row rowOf(const model::SeenBroker& broker) {
  const bool readable = broker.segment.size > 0;
  const bool decoded = broker.tree.has_value();
  const Counts counts = decoded ? countsOf(*broker.tree) : Counts();
  const auto known = [](bool is, std::uint64_t value) { return is ? Cell(value) : Cell(); };
  return {{},
          {decoded ? Cell(broker.label()) : Cell(), broker.uuid(),
           Cell(stateName(broker.state()), toneOf(broker.state())), known(decoded, counts.groups),
           known(decoded, counts.flows), known(decoded, counts.nodes),
           known(readable, broker.segment.attached), known(readable, broker.segment.size)}};
}

}  // namespace

std::vector<Column> brokersColumns() {
  return {
      {.name = "broker", .title = "broker", .yields = 30, .least = 16},
      {.name = "uuid", .title = "uuid", .yields = 90, .least = 8},
      {.name = "state", .title = "state"},
      {.name = "executionGroups", .title = "groups", .right = true},
      {.name = "messageFlows", .title = "flows", .right = true, .yields = 50},
      {.name = "nodes", .title = "nodes", .right = true},
      {.name = "attached", .title = "attached", .right = true, .yields = 60},
      {.name = "segmentBytes", .title = "bytes", .right = true, .isScaled = true, .yields = 70}};
}

Sheet brokersSheet(const model::Snapshot& snapshot) {
  Sheet sheet{brokersColumns(), {}};
  for (const auto& broker : snapshot.brokers) sheet.rows.push_back(rowOf(*broker));
  return sheet;
}

}  // namespace render
