// SPDX-License-Identifier: Apache-2.0
// What kind of node a monitoring node measures.
#ifndef ZEB_RECORDS_NODE_TYPE_H
#define ZEB_RECORDS_NODE_TYPE_H

#include <cstdint>

// Stored as 32-bit codes, in node records and event templates. Readers rely on the numbers, so they
// never change. A stored code may be any number.
enum ZEB_NodeType : std::uint32_t {
  ZEB_INPUT_NODE = 1,   // where messages come in: only these have queued times
  ZEB_OUTPUT_NODE = 2,  // where they leave
  ZEB_OTHER_NODE = 3,   // in between; also what is not known
  // Where a message enters a sub-flow, and where it leaves it.
  ZEB_SUB_FLOW_INPUT_NODE = 4,
  ZEB_SUB_FLOW_OUTPUT_NODE = 5,
};

#endif  // ZEB_RECORDS_NODE_TYPE_H
