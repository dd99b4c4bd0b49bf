// SPDX-License-Identifier: Apache-2.0
// What kind of node a monitoring node stands for.
#ifndef ZEB_RECORDS_NODE_TYPE_H
#define ZEB_RECORDS_NODE_TYPE_H

#include <cstdint>

// Stored as 32-bit codes.
enum ZEB_NodeType : std::uint32_t {
  ZEB_INPUT_NODE = 1,
  ZEB_OUTPUT_NODE = 2,
  ZEB_OTHER_NODE = 3,
  ZEB_SUB_FLOW_INPUT_NODE = 4,
  ZEB_SUB_FLOW_OUTPUT_NODE = 5,
};

#endif  // ZEB_RECORDS_NODE_TYPE_H
