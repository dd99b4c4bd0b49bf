// SPDX-License-Identifier: Apache-2.0
// Which part of a snapshot a user asks for.
#ifndef ZEB_AGENT_MODEL_SELECTION_H
#define ZEB_AGENT_MODEL_SELECTION_H

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "agent/model/snapshot.h"

namespace model {

// Patterns (pattern.h), each for labels of its kind; that of the broker also for its uuid, as its
// record says and as its key file is named. An empty one means all.
struct Selection {
  std::string broker = {};
  std::string group = {};
  std::string flow = {};
  std::string node = {};

  // Users whose brokers are meant; none: those of all. A broker's user is the one that its segment
  // belongs to, or its key file while there is none.
  std::vector<std::uint32_t> owners = {};

  bool operator==(const Selection&) const = default;

  // True when it means less than whole brokers.
  bool narrows() const { return !group.empty() || !flow.empty() || !node.empty(); }

  // True when any of the four is given.
  bool names() const { return !broker.empty() || narrows(); }
};

// Besides the selection of places. Nothing means all.
struct EventSelection {
  std::optional<std::int64_t> since;      // seconds since 1970
  std::optional<reader::EventKind> kind;  // only these

  // How the IDs begin, in upper-case hexadecimal digits (message_way.h); empty: all.
  std::string messageId = {};
  std::string correlationId = {};
};

// The selected brokers, with all that they hold.
Snapshot selectBrokers(const Snapshot& snapshot, const Selection& selection);

// The user that a broker belongs to; nothing when it isn't known.
std::optional<std::uint32_t> ownerOf(const SeenBroker& broker);

// Whether something belongs to one of these users, to any when there are none. What has no known
// owner belongs to all.
bool isOwned(std::optional<std::uint32_t> owner, const std::vector<std::uint32_t>& owners);
bool isOwned(const SeenBroker& broker, const std::vector<std::uint32_t>& owners);

// How many brokers of the snapshot belong to others.
std::size_t foreignIn(const Snapshot& snapshot, const std::vector<std::uint32_t>& owners);

// The same snapshot with the selected brokers, groups, flows and nodes; a broker, group or flow
// that holds none of them is left out. Whole brokers are shared with `snapshot`, others are copied,
// with all their events and bytes. A broker that could not be read stays: it may hold what was
// asked for.
Snapshot select(const Snapshot& snapshot, const Selection& selection);

// Whether the event is of a node that is selected, in a broker that is. One whose template is gone
// is of no known node.
bool selects(const Selection& selection, const reader::Event& event);

// An event without a time counts as posted when its record was made.
bool selects(const EventSelection& selection, const reader::Event& event);

// What something is about: a broker, a group of it, a flow of that, or one of its nodes, by labels.
// Empty ones mean all that there are.
struct Part {
  std::shared_ptr<const SeenBroker> broker;  // null: none, or none that is known
  std::string group = {};
  std::string flow = {};
  std::string node = {};
};

// Whether a selection of a snapshot has something of that part: what is of a whole broker concerns
// each part of it. A broker that could not be read may have any part.
bool isAmong(const Part& part, const Snapshot& selected);

// A pattern that means nothing in a snapshot.
struct Unknown {
  enum class Kind { broker, group, flow, node };
  Kind kind = Kind::broker;
  std::string pattern;

  // What is there of that kind, within what the patterns before it select: labels, and of a broker
  // without one the uuid. Sorted, each once.
  std::vector<std::string> names;
};

// The first of the selection's patterns that means nothing; nothing when all four mean something,
// or when there is no broker at all.
std::optional<Unknown> findUnknown(const Snapshot& snapshot, const Selection& selection);

}  // namespace model

#endif  // ZEB_AGENT_MODEL_SELECTION_H
