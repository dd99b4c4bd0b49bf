// SPDX-License-Identifier: Apache-2.0
// A snapshot as time series need it: every name once, and numbers that may be added up.
#ifndef ZEB_AGENT_MODEL_SERIES_H
#define ZEB_AGENT_MODEL_SERIES_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "agent/model/snapshot.h"

namespace model {

// The nodes of one name and type in one place: mostly one. More are put together as people would
// read them: counts and sums are added, the last time and the maxima are the largest, the minima
// the smallest.
struct NodeSeries {
  std::string group;
  std::string flow;
  std::string node;
  std::uint32_t type = 0;  // as in reader::Node

  // Never empty, in stored order. They belong to the snapshot.
  std::vector<const reader::Node*> nodes;

  // Nothing while none has statistics, or while somebody was writing them. A sum is nothing when a
  // part of it can't be read, or when it doesn't fit.
  std::optional<reader::Statistics> statistics() const;
};

// Execution groups of one label: mostly one.
struct GroupSeries {
  std::string group;

  // Whether its process lives and uses the broker's segment. False when that of one of them
  // doesn't; nothing when it can't be told.
  std::optional<bool> up;

  // When its process started, in milliseconds since 1970; the latest of several.
  std::optional<std::int64_t> started;
};

struct BrokerSeries {
  // Its label, or its uuid while it has none. Where several have one label, that and the first
  // eight characters of the uuid in brackets; no two of a snapshot are the same.
  std::string name;
  std::shared_ptr<const SeenBroker> broker;  // never null

  // What is not deleted, each name once, by their names.
  std::vector<GroupSeries> groups;
  std::vector<NodeSeries> nodes;

  // Groups, flows and nodes.
  std::size_t live = 0;
  std::size_t deleted = 0;
  std::size_t duplicates = 0;  // of the live ones, nodes whose name another one has, too
};

// The brokers whose segment could be read, each segment once, in the order of their key files.
std::vector<BrokerSeries> seriesOf(const Snapshot& snapshot);

}  // namespace model

#endif  // ZEB_AGENT_MODEL_SERIES_H
