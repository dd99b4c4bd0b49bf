// SPDX-License-Identifier: Apache-2.0
// How many events there are of a text, of a node, or in an hour.
#ifndef ZEB_AGENT_MODEL_EVENT_COUNTS_H
#define ZEB_AGENT_MODEL_EVENT_COUNTS_H

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "agent/model/snapshot.h"

namespace model {

enum class CountBy { text, node, hour };

// Events of one kind. Texts as they were stored.
struct EventCount {
  std::string broker;  // its label, else its uuid

  // Of which text, which node, or which hour in seconds since 1970; the others are empty. Nothing
  // is known of an event whose template is gone.
  std::optional<std::string> text;
  std::optional<std::string> group;
  std::optional<std::string> flow;
  std::optional<std::string> node;
  std::optional<std::int64_t> hour;

  std::uint64_t events = 0;

  // Messages that failed: of one message's exceptions the one of the outermost node counts, also
  // when other events are not selected.
  std::uint64_t failed = 0;

  std::int64_t first = 0;  // when the first and the last of them were posted, in seconds since 1970
  std::int64_t last = 0;
};

// Counts the events of all brokers that `selects`: hours in their order, all else the most frequent
// first.
std::vector<EventCount> countEvents(const Snapshot& snapshot, CountBy by,
                                    const std::function<bool(const reader::Event&)>& selects);

// When an event was posted: its own time, else that of its record; in seconds since 1970.
std::int64_t postedAt(const reader::Event& event);

}  // namespace model

#endif  // ZEB_AGENT_MODEL_EVENT_COUNTS_H
