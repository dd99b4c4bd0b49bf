// SPDX-License-Identifier: Apache-2.0
#include "agent/model/snapshot.h"

#include <utility>

namespace model {

using reader::State;

State SeenBroker::state() const {
  return segment.state == State::ok && !damage.empty() ? State::damaged : segment.state;
}

std::string SeenBroker::uuid() const {
  return tree ? tree->uuid : segment.uuid;
}

std::string SeenBroker::label() const {
  return tree ? tree->label : std::string();
}

SeenBroker decoded(reader::Segment segment) {
  SeenBroker broker;
  broker.segment = std::move(segment);
  broker.damage = broker.segment.copy.damage;
  broker.tree = reader::readTree(broker.segment.copy, broker.damage);
  return broker;
}

std::int64_t secondsOf(const Snapshot& snapshot) {
  return std::chrono::floor<std::chrono::seconds>(snapshot.wall).time_since_epoch().count();
}

}  // namespace model
