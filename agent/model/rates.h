// SPDX-License-Identifier: Apache-2.0
// What happened between two looks: by how much each node's numbers grew.
//
// Only sums and counts have a growth. Minima and maxima exist since the last reset and not for the
// interval.
#ifndef ZEB_AGENT_MODEL_RATES_H
#define ZEB_AGENT_MODEL_RATES_H

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "agent/model/snapshot.h"

namespace model {

using Seconds = std::chrono::duration<double>;

// What became of a node between two looks. Only a measured one has a growth.
enum class Change {
  measured,
  reset,         // its numbers began again, so nothing can be said of the interval
  came,          // was not there at the first look
  went,          // is not there any more
  torn,          // somebody was writing its record whenever it was copied
  notCollected,  // it has no statistics
  unknown,       // one of the looks is damaged, and this node is missing there
};

// By how much the numbers grew. A number that is damaged in one of the looks, or would not fit, is
// unknown. None is negative.
struct Growth {
  reader::Number messages;
  reader::Number bytes;
  reader::Number elapsedMs;
  reader::Number queuedMs;
};

// A node in both looks. The looks own the two; one may be null, and never both.
struct NodeGrowth {
  const reader::Node* before = nullptr;
  const reader::Node* after = nullptr;
  Change change = Change::unknown;
  Growth growth;

  // As the later look has it, else the earlier one.
  const reader::Node& node() const { return after != nullptr ? *after : *before; }
};

// The nodes of one flow in stored order; those that went come last.
struct FlowGrowth {
  std::string group;  // labels, as they were stored
  std::string flow;
  std::vector<NodeGrowth> nodes;
};

// A broker in both looks, which it keeps. One may be null, and never both.
struct BrokerGrowth {
  std::shared_ptr<const SeenBroker> before;
  std::shared_ptr<const SeenBroker> after;

  // All its nodes were reset between the looks, or its segment is another one.
  bool reset = false;

  std::vector<FlowGrowth> flows;

  const SeenBroker& broker() const { return after ? *after : *before; }
};

struct Growths {
  // Between the two looks; never negative.
  Seconds interval{0};

  // As in the later look; those that went come last.
  std::vector<BrokerGrowth> brokers;
};

// By the clock that nobody sets; negative when `before` is the later one.
Seconds steadyBetween(const Snapshot& before, const Snapshot& after);

// Brokers are matched by key file, everything below by record ID.
Growths between(const Snapshot& before, const Snapshot& after);

// What became of a node, and its growth, when both looks have it. `reset` says that the whole
// broker was reset.
NodeGrowth growthOf(const reader::Node& before, const reader::Node& after, bool reset);

// Nothing when the growth is unknown, or no time passed.
std::optional<double> perSecond(reader::Number growth, Seconds interval);

// sum / count; nothing when either is unknown, or nothing was counted.
std::optional<double> mean(reader::Number sum, reader::Number count);

}  // namespace model

#endif  // ZEB_AGENT_MODEL_RATES_H
