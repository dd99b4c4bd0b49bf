// SPDX-License-Identifier: Apache-2.0
// What changed in a flow: which node's figures have another level since when. docs/changes.md.
#ifndef ZEB_AGENT_MODEL_CHANGES_H
#define ZEB_AGENT_MODEL_CHANGES_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "agent/model/nesting.h"

namespace model {

// What was added in a minute, or in an hour. NaN is what could not be read.
struct Added {
  double seconds = 0;  // how long it was looked at; 0: nobody looked
  double messages = 0;
  double elapsedMs = 0;
  double queuedMs = 0;
};

struct NodeMinutes {
  std::string node;
  std::uint32_t type = 0;  // as in reader::Node
  std::vector<Added> minutes;

  // Of whole days of UTC before what is judged, the first hour of the first day first.
  std::vector<Added> hours;
};

// The nodes of a flow in the same minutes.
struct FlowMinutes {
  std::string group;
  std::string flow;
  std::int64_t first = 0;  // of the minutes, in minutes since 1970
  std::vector<NodeMinutes> nodes;
  Nesting nesting;  // as the nodes
};

// What has a level. All are of one node; a flow's rate is that of the node it begins with.
enum class Measure {
  rate,     // messages a second; of nodes that get no messages of another one
  self,     // milliseconds a message that a node spent itself
  elapsed,  // the same with all that is downstream of it; where nobody knows what that is
  queued,   // milliseconds a message, of input nodes
  loss,     // 0 to 1: the part of the outer node's messages that doesn't come here; of the only
            // input node's, where nobody knows which is the outer one
};

struct LevelChange {
  std::size_t node = 0;  // of the flow's
  Measure measure = Measure::rate;
  std::int64_t minute = 0;  // the first of the new level, in minutes since 1970

  // Of up to an hour on each side. Times are at least 1 ms: what is below is not told apart.
  double before = 0;
  double after = 0;
};

// Those that began at `since`, in minutes since 1970, or later; by time, then by node. The minutes
// before are what they are compared with: give a day of them.
std::vector<LevelChange> changesOf(const FlowMinutes& flow, std::int64_t since);

}  // namespace model

#endif  // ZEB_AGENT_MODEL_CHANGES_H
