// SPDX-License-Identifier: Apache-2.0
// A broker's resources and what was measured for them.
#ifndef ZEB_AGENT_READER_TREE_H
#define ZEB_AGENT_READER_TREE_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "agent/reader/record.h"
#include "agent/reader/segment_copy.h"

namespace reader {

// Seconds since 1970, UTC; nothing when the time is not set.
using Time = std::optional<std::int64_t>;

// A stored 64-bit number; nothing when its text is damaged, which is not zero.
using Number = std::optional<std::int64_t>;

// What a node measured since the last reset. Sizes in bytes, times in milliseconds. Any number may
// be what somebody wrote there, negative ones included.
struct Statistics {
  RecordId recordId;
  Number messageCount;
  Number sumSize;
  std::int32_t maxSize = 0;
  std::int32_t minSize = 0;
  Number sumElapsed;
  std::int32_t maxElapsed = 0;
  std::int32_t minElapsed = 0;
  Number sumQueued;
  std::int32_t maxQueued = 0;
  std::int32_t minQueued = 0;
  Time firstCollection;  // nothing before the first message
  Time lastCollection;

  // Somebody was writing whenever it was copied: the numbers may be of two messages.
  bool torn = false;
};

// Labels and other texts are UTF-8 and may hold anything, control characters included.
struct Node {
  std::string label;
  std::uint32_t type = 0;  // 1 input, 2 output, 3 other, 4 sub-flow input, 5 sub-flow output
  std::string subFlowName;
  bool deleted = false;  // its node instance is gone, its record stays
  RecordId recordId;
  std::optional<Statistics> statistics;  // of its first statistics record, if it has one
};

struct MessageFlow {
  std::string label;
  bool deleted = false;
  RecordId recordId;
  std::vector<Node> nodes;  // in the order of their deployment
};

struct ExecutionGroup {
  std::string label;
  std::string uuid;
  std::int32_t processId = 0;  // 0 = not known
  bool deleted = false;
  RecordId recordId;
  std::vector<MessageFlow> messageFlows;
};

struct Broker {
  std::string label;
  std::string uuid;
  Time resetTime;  // of the last reset of all nodes
  RecordId recordId;
  std::vector<ExecutionGroup> executionGroups;
};

// The broker of the first broker record in the statistics area with all that hangs on it by parent
// ID, in stored order. Nothing when there is no such record: then no node has been deployed yet, or
// the area is missing.
// What can't be read, or can't be reached from any broker record, is added to `damage`.
std::optional<Broker> readTree(const SegmentCopy& copy, DamageList& damage);

}  // namespace reader

#endif  // ZEB_AGENT_READER_TREE_H
