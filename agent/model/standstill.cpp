// SPDX-License-Identifier: Apache-2.0
#include "agent/model/standstill.h"

#include <fmt/format.h>

#include <algorithm>
#include <functional>
#include <set>
#include <tuple>

namespace model {
namespace {

using What = Guarded::What;

std::vector<Place> placesWhere(
    const SeenBroker& broker, const std::function<bool(const Place&, const reader::Node&)>& stops) {
  std::vector<Place> places;
  if (!broker.tree) return places;
  for (const auto& group : broker.tree->executionGroups) {
    for (const auto& flow : group.messageFlows) {
      for (const auto& node : flow.nodes) {
        Place place{group.label, flow.label, node.label};
        const bool deployed = !group.deleted && !flow.deleted && !node.deleted;
        if (deployed && stops(place, node)) places.push_back(std::move(place));
      }
    }
  }
  return places;
}

// Those that have a text of their own, besides that of exceptions.
std::vector<Place> placesWithEvents(const SeenBroker& broker) {
  const reader::Area* const area = broker.segment.copy.find(reader::kEventTemplates);
  if (area == nullptr) return {};
  reader::DamageList ignored;
  std::set<std::tuple<std::string, std::string, std::string>> known;
  for (const auto& [id, its] : reader::templatesIn(*area, ignored)) {
    if (!its.isException()) known.emplace(its.executionGroup, its.messageFlow, its.node);
  }
  return placesWhere(broker, [&known](const Place& place, const reader::Node&) {
    return known.contains({place.group, place.flow, place.node});
  });
}

struct Stop {
  std::string flow;
  std::vector<std::string> nodes;
};

// By flows, each node once.
std::vector<Stop> stopsOf(const std::vector<Place>& places) {
  std::vector<Stop> stops;
  for (const Place& place : places) {
    auto found = std::ranges::find(stops, place.flow, &Stop::flow);
    if (found == stops.end()) found = stops.insert(found, {place.flow, {}});
    if (std::ranges::find(found->nodes, place.node) == found->nodes.end()) {
      found->nodes.push_back(place.node);
    }
  }
  return stops;
}

std::string textOf(const Stop& stop) {
  const std::size_t more = stop.nodes.size() - 1;
  std::string text = fmt::format("of {} at {}", stop.flow, stop.nodes.front());
  if (more > 0) text += fmt::format(" and {} more node{}", more, more == 1 ? "" : "s");
  return text;
}

}  // namespace

std::vector<Place> placesBehind(const Guarded& guarded) {
  if (!guarded.broker) return {};
  switch (guarded.what) {
    case What::statistics:
      return {{guarded.group, guarded.flow, guarded.node}};
    case What::eventsArea:
      return placesWithEvents(*guarded.broker);
    case What::statisticsArea:
      return placesWhere(*guarded.broker,
                         [](const Place&, const reader::Node& node) { return !node.statistics; });
    default:
      return {};
  }
}

std::string textOf(const std::vector<Place>& places) {
  constexpr std::size_t kMostFlows = 3;
  const std::vector<Stop> stops = stopsOf(places);
  std::string text;
  for (std::size_t i = 0; i < std::min(stops.size(), kMostFlows); ++i) {
    text += (text.empty() ? "" : ", ") + textOf(stops[i]);
  }
  if (stops.size() <= kMostFlows) return text;
  const std::size_t more = stops.size() - kMostFlows;
  return text + fmt::format(", of {} more flow{}", more, more == 1 ? "" : "s");
}

}  // namespace model
