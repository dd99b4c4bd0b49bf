// SPDX-License-Identifier: Apache-2.0
// What kind of node a monitoring node stands for.
#ifndef ZEB_RECORDS_NODE_TYPE_H
#define ZEB_RECORDS_NODE_TYPE_H

#include <cstdint>

// Stored as 32-bit codes, which no other process may find changed. A stored code may be any number.
enum ZEB_NodeType : std::uint32_t {
  ZEB_INPUT_NODE = 1,   // where messages come in: only these have queued times
  ZEB_OUTPUT_NODE = 2,  // where they leave
  ZEB_OTHER_NODE = 3,   // in between; also what is not known
  ZEB_SUB_FLOW_INPUT_NODE = 4,
  ZEB_SUB_FLOW_OUTPUT_NODE = 5,
};

#endif  // ZEB_RECORDS_NODE_TYPE_H
