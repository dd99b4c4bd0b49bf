// SPDX-License-Identifier: Apache-2.0
// Where messages stand still while somebody keeps a lock.
#ifndef ZEB_AGENT_MODEL_STANDSTILL_H
#define ZEB_AGENT_MODEL_STANDSTILL_H

#include <string>
#include <vector>

#include "agent/model/guarded.h"

namespace model {

// A node, by the labels as they were stored.
struct Place {
  std::string group;
  std::string flow;
  std::string node;
  bool operator==(const Place&) const = default;
};

// The deployed nodes whose messages wait for the lock of `guarded`, in stored order: the node of a
// statistics record; of the events area the nodes of which there is an event text, since whether a
// node still has one is not stored; of the statistics area those without statistics.
std::vector<Place> placesBehind(const Guarded& guarded);

// "of OrderEntry at Order in, of Payment at Payment in and 2 more nodes, of 3 more flows"; flows of
// one name are told once. Empty when there is no place.
std::string textOf(const std::vector<Place>& places);

}  // namespace model

#endif  // ZEB_AGENT_MODEL_STANDSTILL_H
