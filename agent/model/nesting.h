// SPDX-License-Identifier: Apache-2.0
// Which node of a flow is inside which. This is not stored in shared memory.
#ifndef ZEB_AGENT_MODEL_NESTING_H
#define ZEB_AGENT_MODEL_NESTING_H

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "agent/model/chain.h"
#include "agent/model/rates.h"
#include "flowfile/file.h"

namespace model {

// What to say where a chain is needed and none is known.
inline constexpr char kUnknownNesting[] = "unknown: give --chain or --flows";

enum class NestingSource { unknown, given, flowFile, inferred };

// Where one node of a flow is.
struct Nest {
  bool placed = false;                    // false: nobody knows
  std::optional<std::size_t> outer = {};  // index of the node that it is directly in
  std::vector<std::size_t> inner = {};  // indexes of those that are directly in it, in their order
};

struct Nesting {
  NestingSource source = NestingSource::unknown;
  std::vector<Nest> nodes;  // as the flow's nodes; all unplaced while the source is unknown

  // Why the chain doesn't fit this flow; one sentence without its full stop, which quotes labels as
  // they are. Then the source is unknown.
  std::string problem;
};

// Places the nodes as `chain` says, by their labels. Of nodes of one label it takes the one that is
// not deleted. A label that the flow doesn't have is a problem when the chain was given; a flow
// file also has nodes that are switched off: their place is taken by what is in them.
Nesting nest(const FlowGrowth& flow, const Chain& chain, NestingSource source);

// The monitoring nodes of a flow in a flow file: each is in the one before it.
Chain chainOf(const flowfile::Flow& flow);

// The flow of that group and label in a flow file, null when it has none. It stays the file's.
const flowfile::Flow* findFlow(const flowfile::File& file, const FlowGrowth& flow);

// Where all looks leave just one way to place the nodes, that way. Each interval is the same flow
// between two looks, oldest first, and never null; the last one's nodes are placed. So many
// messages may have been in flight at a look.
//
// Messages come in at input nodes, or where there is none, at one other node. In every look and
// every interval the time of what is directly in a node is a part of that node's time, and it had
// no more messages, except what was in flight.
Nesting infer(std::span<const FlowGrowth* const> intervals, std::uint64_t inFlight);

}  // namespace model

#endif  // ZEB_AGENT_MODEL_NESTING_H
