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

// Sizes in bytes, times in milliseconds.
struct Statistics {
  RecordId recordId;
  std::int64_t messageCount = 0;
  std::int64_t sumSize = 0;
  std::int32_t maxSize = 0;
  std::int32_t minSize = 0;
  std::int64_t sumElapsed = 0;
  std::int32_t maxElapsed = 0;
  std::int32_t minElapsed = 0;
  std::int64_t sumQueued = 0;
  std::int32_t maxQueued = 0;
  std::int32_t minQueued = 0;
  Time firstCollection;
  Time lastCollection;
};

struct Node {
  std::string label;
  std::uint32_t type = 0;  // 1 to 5, as nodeTypeName() names them
  std::string subFlowName;
  bool deleted = false;  // its node instance is gone, its record stays
  RecordId recordId;
  std::optional<Statistics> statistics;
};

struct MessageFlow {
  std::string label;
  bool deleted = false;
  RecordId recordId;
  std::vector<Node> nodes;
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
  Time resetTime;
  RecordId recordId;
  std::vector<ExecutionGroup> executionGroups;
};

// "input", "output", "other", "subFlowInput" or "subFlowOutput"; "unknown" for any other code.
const char* nodeTypeName(std::uint32_t type);

// The broker of the first broker record in the statistics area with all that hangs on it by parent
// ID, in stored order. Nothing when there is no such record: then no node has been deployed yet.
// What can't be read, or can't be reached from any broker record, is added to `damage`.
std::optional<Broker> readTree(const SegmentCopy& copy, DamageList& damage);

}  // namespace reader

#endif  // ZEB_AGENT_READER_TREE_H
