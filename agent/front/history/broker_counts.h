// SPDX-License-Identifier: Apache-2.0
// What each record of a broker held when it was last read whole, and so what was added since.
#ifndef ZEB_AGENT_FRONT_HISTORY_BROKER_COUNTS_H
#define ZEB_AGENT_FRONT_HISTORY_BROKER_COUNTS_H

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "agent/model/checked.h"
#include "agent/model/snapshot.h"

namespace history {

// What was added to a node. Sizes in bytes, times in milliseconds; nullopt is unknown.
struct Amounts {
  model::Number messages = 0;
  model::Number bytes = 0;
  model::Number elapsedMs = 0;
  model::Number queuedMs = 0;

  bool isNothing() const { return *this == Amounts(); }
  bool operator==(const Amounts&) const = default;
};

// Each part is unknown if it is unknown in either.
Amounts sum(const Amounts& one, const Amounts& other);

// A record as it was last read whole.
struct Base {
  std::int64_t node = 0;     // its name's number
  std::int64_t segment = 0;  // the broker's at that time,
  reader::Time reset;        // and its reset time
  reader::Node counts = {};  // nothing but IDs and statistics; without extremes
};

// Whether all of its records could be looked at.
bool isWhole(const model::SeenBroker& broker);

// Where a node is, as series have it.
struct Place {
  std::string group;
  std::string flow;
  std::string node;
  std::uint32_t type = 0;
  auto operator<=>(const Place&) const = default;
};

// Of one broker, from look to look.
class BrokerCounts {
 public:
  // The number of a name; nothing when it is one too many.
  using NumberOf = std::function<std::optional<std::int64_t>(const Place&)>;

  // What a record means that was not there before.
  enum class New {
    came,      // all that it holds was added since
    wasThere,  // nobody looked before, so it is not known what was added when
  };

  struct Look {
    std::map<std::int64_t, Amounts> added;  // by the number of the name; nothing is left out
    std::vector<reader::RecordId> changed;  // records with another base now
    std::vector<reader::RecordId> gone;     // and without one
    bool reset = false;                     // numbers of some records began again
    std::uint64_t tooMany = 0;              // records with counts whose names were too many

    // Flows, with their groups, in which there are new records. Only with New::came.
    std::set<std::pair<std::string, std::string>> deployed;
  };

  // A broker that has a tree.
  Look take(const model::SeenBroker& broker, New how, const NumberOf& numberOf);

  // Null when there is none.
  const Base* find(const reader::RecordId& record) const;

  // As an earlier run left it.
  void restore(const reader::RecordId& record, Base base) {
    bases_.insert_or_assign(record, std::move(base));
  }

 private:
  class Comparison;
  std::unordered_map<reader::RecordId, Base, reader::RecordIdHash> bases_;
};

}  // namespace history

#endif  // ZEB_AGENT_FRONT_HISTORY_BROKER_COUNTS_H
