// SPDX-License-Identifier: Apache-2.0
#include "agent/front/history/names.h"

namespace history {

std::int64_t Names::brokerOf(const std::string& uuid, const std::string& label) {
  auto row = database_.prepare(
      "INSERT INTO broker (uuid, label) VALUES (?1, ?2) "
      "ON CONFLICT (uuid) DO UPDATE SET label = iif(?2 = '', label, ?2) RETURNING id");
  row.with(uuid, label).step();
  const std::int64_t id = row.integer(0);
  row.step();
  return id;
}

Names::Nodes& Names::nodesOf(std::int64_t broker) {
  const auto [place, isNew] = nodes_.try_emplace(broker);
  Nodes& nodes = place->second;
  if (!isNew) return nodes;
  auto rows = database_.prepare(
      "SELECT execution_group, flow, node, node_type, id FROM node WHERE broker = ?");
  for (rows.with(broker); rows.step();) {
    nodes.emplace(Place{rows.text(0), rows.text(1), rows.text(2),
                        static_cast<std::uint32_t>(rows.integer(3))},
                  rows.integer(4));
  }
  return nodes;
}

std::optional<std::int64_t> Names::nodeOf(std::int64_t broker, const Place& place) {
  Nodes& nodes = nodesOf(broker);
  const auto known = nodes.find(place);
  if (known != nodes.end()) return known->second;
  if (nodes.size() >= most_) return {};
  database_
      .prepare(
          "INSERT INTO node (broker, execution_group, flow, node, node_type) "
          "VALUES (?, ?, ?, ?, ?)")
      .run(broker, place.group, place.flow, place.node, std::int64_t{place.type});
  return nodes.emplace(place, database_.lastInserted()).first->second;
}

}  // namespace history
