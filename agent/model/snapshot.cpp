// SPDX-License-Identifier: Apache-2.0
#include "agent/model/snapshot.h"

#include <algorithm>
#include <utility>

#include "agent/model/calendar.h"
#include "format/sizes.h"

namespace model {

using reader::State;

namespace {

void sortByLabels(reader::Broker& tree) {
  std::ranges::stable_sort(tree.executionGroups, {}, &reader::ExecutionGroup::label);
  for (auto& group : tree.executionGroups) {
    std::ranges::stable_sort(group.messageFlows, {}, &reader::MessageFlow::label);
  }
}

}  // namespace

State SeenBroker::state() const {
  return segment.state == State::ok && !damaged().empty() ? State::damaged : segment.state;
}

bool SeenBroker::isComplete() const {
  const State now = state();
  return now == State::ok || now == State::noSegment || now == State::noKeyFile;
}

bool SeenBroker::full() const {
  const reader::Area* const area = segment.copy.find(reader::kStatistics);
  if (area == nullptr) return false;
  const std::uint32_t left = area->size - std::min(area->size, area->last);
  return left < layout::kSmallestNode || (left <= area->size / 10 && orphans() > 0);
}

std::size_t SeenBroker::orphans() const {
  return static_cast<std::size_t>(std::ranges::count(damage.list(), true, &reader::Damage::orphan));
}

std::uint64_t SeenBroker::cutStatistics() const {
  const reader::Area* const area = segment.copy.find(reader::kStatistics);
  return area == nullptr ? 0 : area->uncopied();
}

std::uint64_t SeenBroker::cutEvents() const {
  std::uint64_t bytes = 0;
  for (const char* const name : {reader::kEventTemplates, reader::kEventData}) {
    if (const reader::Area* const area = segment.copy.find(name)) bytes += area->uncopied();
  }
  return bytes;
}

std::vector<reader::Damage> SeenBroker::damaged() const {
  std::vector<reader::Damage> places = damage.list();
  if (full()) std::erase_if(places, [](const reader::Damage& place) { return place.orphan; });
  return places;
}

std::string SeenBroker::uuid() const {
  return tree ? tree->uuid : segment.uuid;
}

std::string SeenBroker::label() const {
  return tree ? tree->label : std::string();
}

std::string SeenBroker::name() const {
  const std::string known = label();
  return known.empty() ? uuid() : known;
}

SeenBroker decoded(reader::Segment segment, std::int64_t wall) {
  SeenBroker broker;
  broker.segment = std::move(segment);
  broker.damage = broker.segment.copy.damage;
  broker.tree = reader::readTree(broker.segment.copy, broker.damage);
  if (!broker.tree) return broker;
  sortByLabels(*broker.tree);
  makeNearest(*broker.tree, wall);
  return broker;
}

std::vector<std::string> labelsOf(const Snapshot& snapshot) {
  std::vector<std::string> labels;
  for (const auto& broker : snapshot.brokers) {
    if (!broker->label().empty()) labels.push_back(broker->label());
  }
  return labels;
}

std::int64_t secondsOf(std::chrono::system_clock::time_point wall) {
  return std::chrono::floor<std::chrono::seconds>(wall).time_since_epoch().count();
}

std::int64_t secondsOf(const Snapshot& snapshot) {
  return secondsOf(snapshot.wall);
}

}  // namespace model
