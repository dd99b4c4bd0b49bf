// SPDX-License-Identifier: Apache-2.0
// Which part of a snapshot a user asks for.
#ifndef ZEB_AGENT_MODEL_SELECTION_H
#define ZEB_AGENT_MODEL_SELECTION_H

#include <cstdint>
#include <optional>
#include <string>

#include "agent/model/snapshot.h"

namespace model {

struct Selection {
  std::string broker;  // its label or uuid, empty = all
};

struct EventSelection {
  std::optional<std::int64_t> since;      // seconds since 1970
  std::optional<reader::EventKind> kind;  // only these
};

// The same snapshot with the selected brokers only.
Snapshot select(const Snapshot& snapshot, const Selection& selection);

// An event without a time counts as posted when its record was made.
bool selects(const EventSelection& selection, const reader::Event& event);

}  // namespace model

#endif  // ZEB_AGENT_MODEL_SELECTION_H
