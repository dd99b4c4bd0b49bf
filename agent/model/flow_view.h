// SPDX-License-Identifier: Apache-2.0
// All that two looks, or more, tell of the flows of a machine.
#ifndef ZEB_AGENT_MODEL_FLOW_VIEW_H
#define ZEB_AGENT_MODEL_FLOW_VIEW_H

#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "agent/model/exceptions.h"
#include "agent/model/findings.h"
#include "agent/model/group_state.h"
#include "agent/model/load.h"
#include "agent/model/nesting.h"
#include "agent/model/rates.h"
#include "agent/model/selection.h"
#include "agent/model/self_time.h"

namespace model {

// What is known of flows besides what is stored.
struct FlowKnowledge {
  std::optional<Chain> chain;       // of every flow that is looked at
  const flowfile::File* file = {};  // else that of the flow in here, which must live as long
  std::optional<unsigned> threads;  // of each flow, else those that the file has
};

// One flow between the last two looks.
struct FlowView {
  FlowGrowth growth;
  Seconds interval{0};
  std::optional<unsigned> threads;
  Load load;
  std::uint64_t inFlight = 0;  // messages that may have been in it at a look
  Nesting nesting;
  std::vector<NodeTime> times;        // as the nodes
  std::vector<std::uint64_t> failed;  // between a node and those directly in it, as the nodes

  // Every exception of the interval was seen. Else `failed` are at least so many.
  bool sawAllFailures = false;

  // The worst lock that somebody keeps while messages of this flow need it; `stops` is where.
  // Nothing also where the looks lack the machine's facts.
  std::optional<Finding> kept;

  // What the process of its group does, at the later look.
  GroupState group = GroupState::unknown;
};

struct BrokerView {
  BrokerGrowth growth;
  std::vector<FlowView> flows;  // as the broker's
};

struct View {
  Seconds interval{0};
  std::vector<BrokerView> brokers;

  // The last two looks, which own the nodes.
  std::shared_ptr<const Snapshot> before;
  std::shared_ptr<const Snapshot> after;
};

// More than that tell little more of a chain.
inline constexpr std::size_t kMostLooks = 10;

// At least two looks, oldest first; all of them count where a chain is inferred. Failures are told
// where the looks have events.
View viewOf(std::span<const std::shared_ptr<const Snapshot>> looks, const FlowKnowledge& known);

// The last of at least one interval, between the looks `before` and `after`; the others count only
// where a chain is inferred.
View viewOf(const std::vector<Growths>& intervals, std::shared_ptr<const Snapshot> before,
            std::shared_ptr<const Snapshot> after, const FlowKnowledge& known);

// Whether group and flow are selected; a broker and a node are not looked at.
bool selects(const Selection& selection, const FlowView& flow);

// A node in the order in which messages pass: those in a node follow it, one level deeper.
struct Placed {
  std::size_t node = 0;
  std::size_t level = 0;
};

// All nodes; those that nobody can place come last, in stored order.
std::vector<Placed> inOrder(const Nesting& nesting);

}  // namespace model

#endif  // ZEB_AGENT_MODEL_FLOW_VIEW_H
