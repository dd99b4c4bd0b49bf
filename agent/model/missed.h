// SPDX-License-Identifier: Apache-2.0
// How many events of a node a follower missed. A node with an event message posts one event a
// message, before the message goes on, and counts the message when it comes back.
#ifndef ZEB_AGENT_MODEL_MISSED_H
#define ZEB_AGENT_MODEL_MISSED_H

#include <cstdint>
#include <optional>

#include "agent/reader/tree.h"

namespace model {

// The node's message count around the moment in which the events were copied. Unknown when it is
// damaged or was torn.
struct CountAtLook {
  reader::Number before;
  reader::Number after;
};

// What a follower knows of one node from one look to the next.
struct FollowedNode {
  CountAtLook first;
  CountAtLook second;
  std::uint64_t seen = 0;  // events of this node's own text that the second look brought

  // Messages that may be in flight in the node. Nothing: unknown. 0 says that it is quiet.
  std::optional<std::uint64_t> threads;

  bool reset = false;           // its statistics were, between the looks
  bool allGiven = true;         // each event that was seen could be given to a node
  bool postsSinceReset = true;  // an event of its own text was seen since the broker's reset time

  // What the turns of the ring alone tell of all nodes together.
  std::uint64_t atLeast = 0;
};

struct Missed {
  enum class Kind { exact, between, atLeast };

  Kind kind = Kind::atLeast;
  std::uint64_t least = 0;
  std::uint64_t most = 0;  // the same as `least` when exact, 0 with atLeast

  bool operator==(const Missed&) const = default;
};

// Never claims more than what is known: "between" when counts and threads are, else "at least".
Missed missedOf(const FollowedNode& node);

}  // namespace model

#endif  // ZEB_AGENT_MODEL_MISSED_H
