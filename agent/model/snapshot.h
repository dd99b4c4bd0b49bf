// SPDX-License-Identifier: Apache-2.0
// What was seen of one machine at one moment. Everything that is shown is made from a Snapshot.
#ifndef ZEB_AGENT_MODEL_SNAPSHOT_H
#define ZEB_AGENT_MODEL_SNAPSHOT_H

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "agent/model/machine.h"
#include "agent/reader/damage.h"
#include "agent/reader/events.h"
#include "agent/reader/segment.h"
#include "agent/reader/tree.h"

namespace model {

// One broker. All texts are as they were stored or named: they may hold anything.
struct SeenBroker {
  // The copy of its segment, or why there is none.
  reader::Segment segment;

  // Its resources, groups and flows by their labels and nodes in the order of their deployment,
  // with the times that are meant (calendar.h). Nothing while its record is missing.
  std::optional<reader::Broker> tree;

  // Of the areas that were decoded.
  reader::DamageList damage;

  // What was posted since the collector's look before. Nothing when events were not asked for, or
  // when there was no segment to read them from.
  std::optional<reader::EventLog::Batch> events;

  // The segment's state; damaged also when a record in it is.
  reader::State state() const;

  // Whether what it doesn't hold was not there: else that may only be unreadable.
  bool isComplete() const;

  // Whether the statistics area has no room for one more node, or had none for the parents of the
  // orphans in it.
  bool full() const;

  // Records of the statistics area whose parents are not there.
  std::size_t orphans() const;

  // Bytes of its statistics area that were too many to be looked at, and of the areas of events.
  std::uint64_t cutStatistics() const;
  std::uint64_t cutEvents() const;

  // The places that can't be read. In a full area orphans are none of them.
  std::vector<reader::Damage> damaged() const;

  // As its record says, else as its key file is named.
  std::string uuid() const;

  // Empty while it is not known.
  std::string label() const;

  // The label, else the uuid.
  std::string name() const;
};

// Brokers that were not looked at at all.
struct LeftOut {
  std::size_t foreign = 0;  // of users that nobody asked for
  std::size_t tooMany = 0;  // above the number that is looked at

  std::size_t all() const { return foreign + tooMany; }
};

// Never changes once it was taken, and holds all that it tells: it may be kept, and read by any
// thread.
struct Snapshot {
  // The moment before the first broker was read. The clock of `wall` may have been set since the
  // snapshot before; the time between two snapshots is the difference of `steady`.
  std::chrono::system_clock::time_point wall;
  std::chrono::steady_clock::time_point steady;

  // Where the key files are looked for. Ends in "/".
  std::string directory;

  // errno when that directory can't be read, else 0.
  int error = 0;

  // In the order of their key files. Shared with what was selected from this snapshot; never null.
  std::vector<std::shared_ptr<const SeenBroker>> brokers;

  // What a bounded look left out.
  LeftOut leftOut = {};

  // Shared likewise; it is of the whole machine, whatever was selected. Null when it wasn't asked
  // for.
  std::shared_ptr<const Machine> machine;
};

// Decodes what was copied of a broker at the wall time `wall`, in seconds since 1970; all but its
// events.
SeenBroker decoded(reader::Segment segment, std::int64_t wall);

// The labels of its brokers that are known, in their order.
std::vector<std::string> labelsOf(const Snapshot& snapshot);

// The wall time in seconds since 1970.
std::int64_t secondsOf(std::chrono::system_clock::time_point wall);
std::int64_t secondsOf(const Snapshot& snapshot);

}  // namespace model

#endif  // ZEB_AGENT_MODEL_SNAPSHOT_H
