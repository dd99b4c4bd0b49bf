// SPDX-License-Identifier: Apache-2.0
// What a history tells of a time that is over. Times are milliseconds since 1970.
#ifndef ZEB_AGENT_MODEL_PAST_H
#define ZEB_AGENT_MODEL_PAST_H

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "agent/model/changes.h"
#include "agent/model/findings.h"
#include "agent/model/flow_view.h"

namespace model {

// Half-open: from `from` to before `until`.
struct Period {
  std::int64_t from = 0;
  std::int64_t until = 0;

  std::int64_t length() const { return until - from; }
  bool operator==(const Period&) const = default;
};

// Something between two looks that counts don't tell.
struct Mark {
  std::string kind;          // "reset", "restart", "removed", "gap" or "clock"
  Period between;            // the last look before it and the first after
  std::int64_t unknown = 0;  // how long nobody counted, in milliseconds

  // What was deployed, by labels as they were stored; empty when it isn't known.
  std::string group = {};
  std::string flow = {};
};

// A broker in a period.
struct PastBroker {
  std::string label;  // as they were stored
  std::string uuid;
  std::int64_t lastLook = 0;
  bool present = false;  // it was there then

  // Between two moments for which counts are kept, in the period that was asked for.
  Period period;
  std::int64_t observed = 0;  // so much of that was looked at, in milliseconds

  // Snapshots with this broker alone, oldest first: the first of `period.from`, the last of
  // `period.until`. A node's counts are what was added since the first; a broker of which nothing
  // was kept has no looks, else there are at least two.
  std::vector<std::shared_ptr<const Snapshot>> looks;

  std::vector<Mark> marks;  // that touch the period, by time

  // How long nobody counted: what is shown of the period is then at least so much.
  std::int64_t unknown() const;
};

// A finding of the doctor and how long it was there.
struct PastFinding {
  Finding finding;   // without a broker
  std::string uuid;  // its broker's; empty: none
  std::int64_t begin = 0;
  std::optional<std::int64_t> end;  // nothing: it was still there at the last look
};

// A change of a level, and where it was.
struct PastChange {
  std::string broker;  // labels, as they were stored; of a broker without one its uuid
  std::string uuid;
  std::string group;
  std::string flow;
  std::string node;
  LevelChange change;     // its node is that of the flow that was looked at
  bool isOfFlow = false;  // the node is the only input node of the flow

  // The nearest mark that is at most five minutes away, and by how many the change came later;
  // negative when it came first. A coincidence, and no more.
  std::optional<Mark> mark;
  std::int64_t minutesAfter = 0;
};

// The first and the last minute of a mark count, and all between.
void addNearest(PastChange& change, const std::vector<Mark>& marks);

// All that was added between the first and the last look, of which there must be some.
View viewOf(const PastBroker& broker, const FlowKnowledge& known);

}  // namespace model

#endif  // ZEB_AGENT_MODEL_PAST_H
