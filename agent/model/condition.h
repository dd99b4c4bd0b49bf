// SPDX-License-Identifier: Apache-2.0
// What state a broker is in, and what is odd about its key files and names.
#ifndef ZEB_AGENT_MODEL_CONDITION_H
#define ZEB_AGENT_MODEL_CONDITION_H

#include <string>
#include <vector>

#include "agent/model/snapshot.h"

namespace model {

// The states of a segment in their order, and three of a broker whose segment is sound.
enum class Condition {
  ok,
  noKeyFile,
  noSegment,
  noPermission,
  notInitialised,
  damaged,
  failed,
  noProcess,  // nobody has the segment attached: its processes were killed
  stopped,    // a process of it is stopped, so messages wait there
  full,       // the statistics area has no room for one more node
};

// Of a segment alone.
Condition conditionOf(reader::State state);

// In tables and documents: "ok", "noSegment", "noProcess", ...
const char* nameOf(Condition condition);

// The first that holds, in the order: not readable, damaged, no process, stopped, full. Whether a
// process is stopped is known only when the snapshot holds what the machine says.
Condition conditionOf(const SeenBroker& broker, const Machine* machine);

// The groups' own processes that are stopped, each once; empty when that is not known.
std::vector<std::int32_t> stoppedProcesses(const SeenBroker& broker, const Machine* machine);

// Something odd that concerns a broker and, as the case may be, another one.
struct Oddity {
  enum class Kind {
    sameSegment,   // another key file leads to the same segment
    sameUuid,      // another segment belongs to a broker of the same uuid
    sameLabel,     // another broker has the same label
    foreignOwner,  // the key file belongs to another user than the segment
    noUuid,        // it has none, so all brokers without one share its segment
  };
  Kind kind;
  std::size_t broker;  // in the snapshot
  std::size_t other;   // likewise; the first that it is like, and itself when it is like none

  bool operator==(const Oddity&) const = default;
};

// In the order of the brokers. Where several are alike, each behind the first is said with the
// first.
std::vector<Oddity> odditiesOf(const Snapshot& snapshot);

// The snapshot with each segment once: of several key files that lead to one, the first.
Snapshot distinct(const Snapshot& snapshot);

// What a tree holds, deleted resources included.
struct Counts {
  std::size_t groups = 0;
  std::size_t flows = 0;
  std::size_t nodes = 0;
};
Counts countsOf(const reader::Broker& tree);

// How much of an area was ever used, 0 to 100, rounded down. A ring that has wrapped is as full as
// it gets.
std::int64_t fillPercentOf(const reader::Area& area);

// Of all nodes, the last time that one of them collected. Nothing when none has.
reader::Time lastCollectionOf(const reader::Broker& tree);

}  // namespace model

#endif  // ZEB_AGENT_MODEL_CONDITION_H
