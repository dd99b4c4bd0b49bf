// SPDX-License-Identifier: Apache-2.0
// How busy a flow is, by Little's law: what is in a place on average is what comes in a second,
// times the seconds that it stays.
//
// All of it is a mean over the interval. A message counts with all its time when it is done, so an
// interval should be much longer than a message takes.
#ifndef ZEB_AGENT_MODEL_LOAD_H
#define ZEB_AGENT_MODEL_LOAD_H

#include <cstdint>
#include <optional>

#include "agent/model/rates.h"

namespace model {

// The type of nodes at which messages come into a flow.
inline constexpr std::uint32_t kInputNode = 1;

// Whether messages come in there, and still do.
bool isInput(const NodeGrowth& node);

// Whether a node's queued time can be told: whether it is measured is not stored, and only input
// nodes do. A sum of 0 means that it is off or that nothing waited.
bool knowsQueued(const reader::Node& node);

// Threads that were inside the node, at least. Nothing when it is unknown.
std::optional<double> busyIn(const NodeGrowth& node, Seconds interval);

// Messages that waited in front of the node; too low while the queue grows. Nothing when unknown,
// or when queued time can't be told.
std::optional<double> waitingFor(const NodeGrowth& node, Seconds interval);

// Of one flow, over its input nodes. What is unknown at one of them is unknown here; so is all of
// it when there is no input node.
struct Load {
  std::optional<double> messages;  // a second
  std::optional<double> busy;      // threads, at least
  std::optional<double> waiting;   // messages; of those input nodes that tell their queued time

  // With a thread count only: the busy share of the threads, and how many messages a second more
  // they could take at the present time a message.
  std::optional<double> utilisation;
  std::optional<double> spare;
};

// `threads` are all that take messages for this flow; 0 and nothing mean unknown.
Load loadOf(const FlowGrowth& flow, Seconds interval, std::optional<unsigned> threads);

// Milliseconds that a message spent in the flow on average; nothing when that is unknown, or when
// there was none.
std::optional<double> meanMs(const Load& load);

// How many messages may have been in the flow at one moment: as many as it has threads. Without a
// thread count it is guessed: the mean, two standard deviations of independent messages, and one.
std::uint64_t inFlight(const Load& load, std::optional<unsigned> threads);

}  // namespace model

#endif  // ZEB_AGENT_MODEL_LOAD_H
