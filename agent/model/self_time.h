// SPDX-License-Identifier: Apache-2.0
// What a flow's time was spent on: what is stored of a node is the time of all that is downstream
// of it. What it spent itself is that time without the time of the nodes directly inside it.
#ifndef ZEB_AGENT_MODEL_SELF_TIME_H
#define ZEB_AGENT_MODEL_SELF_TIME_H

#include <cstdint>
#include <optional>
#include <vector>

#include "agent/model/nesting.h"
#include "agent/model/rates.h"

namespace model {

struct SelfTime {
  enum class State {
    unknown,     // the nesting is, or a number is
    noMessages,  // none came through in the interval
    tooShort,    // messages in flight at the looks hide it: a longer interval may tell
    belowOne,    // less than a millisecond a message
    measured,
  };

  State state = State::unknown;
  double perMessageMs = 0;  // of a measured one; else a guess, which may be negative
  double totalMs = 0;       // the same for all messages of the interval

  // Of the time of the outermost node around it, 0 to 1. Nothing unless measured or below one.
  std::optional<double> share;
};

// Messages that came into the outer node and not into the inner one.
struct Loss {
  enum class State {
    unknown,   // an outermost node, or a number is unknown
    tooShort,  // negative, or not more than what was in flight at the looks
    none,      // both had the same number
    measured,
  };

  State state = State::unknown;
  std::int64_t messages = 0;  // growth of the outer count - growth of the inner one
  std::uint64_t bound = 0;    // `messages` is right within so many
};

struct NodeTime {
  SelfTime self;
  Loss loss;  // between the node that this one is directly in, and this one
};

// As the flow's nodes. At each look up to `inFlight` messages may have been counted inside and not
// yet outside.
std::vector<NodeTime> timesOf(const FlowGrowth& flow, const Nesting& nesting,
                              std::uint64_t inFlight);

// The node that most of the time was spent in, of those whose self time is known; nothing when none
// is.
std::optional<std::size_t> slowest(const std::vector<NodeTime>& times);

}  // namespace model

#endif  // ZEB_AGENT_MODEL_SELF_TIME_H
