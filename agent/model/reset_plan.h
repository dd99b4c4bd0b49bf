// SPDX-License-Identifier: Apache-2.0
// Which statistics a reset would set to zero, and what became of them.
#ifndef ZEB_AGENT_MODEL_RESET_PLAN_H
#define ZEB_AGENT_MODEL_RESET_PLAN_H

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "agent/model/snapshot.h"

namespace model {

// One node's statistics record. Labels may hold any bytes.
struct NodeToReset {
  std::string group;
  std::string flow;
  std::string node;
  reader::RecordId recordId;
  reader::Number messageCount;

  // Nothing was counted since the last reset: there is nothing to set to zero.
  bool atZero = false;
};

struct ResetPlan {
  std::shared_ptr<const SeenBroker> broker;  // whole, as it was seen
  std::vector<NodeToReset> nodes;
  bool allNodes = false;  // of the broker: then its reset time is to be written too
};

// One plan a broker of `selected`, which is a selection of `whole`; brokers without any statistics
// there have none.
std::vector<ResetPlan> resetPlans(const Snapshot& whole, const Snapshot& selected);

// What became of one record.
enum class ResetOutcome {
  reset,
  wasAtZero,     // it has no lock since it counted nothing: there was nothing to do
  noLock,        // its lock doesn't exist, and making it is not for a guest: skipped
  timedOut,      // somebody else has the lock: `holder`
  noPermission,  //
  recordMoved,   // it is not where it was seen: the broker stopped, or somebody damaged it
  failed,        // a call failed for another reason: `error`
};

struct RecordReset {
  ResetOutcome outcome = ResetOutcome::failed;
  int error = 0;            // errno
  std::int32_t holder = 0;  // the process that used the lock last, when it timed out

  bool atZero() const {
    return outcome == ResetOutcome::reset || outcome == ResetOutcome::wasAtZero;
  }
};

struct ResetResult {
  ResetPlan plan;
  std::vector<RecordReset> nodes;  // one for each of the plan, in its order

  // Of the broker's reset time; nothing when not all of its nodes are at zero.
  std::optional<RecordReset> resetTime;
};

}  // namespace model

#endif  // ZEB_AGENT_MODEL_RESET_PLAN_H
