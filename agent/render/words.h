// SPDX-License-Identifier: Apache-2.0
// Every sentence of what is wrong and of what to do, and the names of things. All of it is
// printable, whatever the labels and file names in it hold. Sentences come without their last full
// stop.
#ifndef ZEB_AGENT_RENDER_WORDS_H
#define ZEB_AGENT_RENDER_WORDS_H

#include <cstdint>
#include <string>
#include <vector>

#include "agent/model/condition.h"
#include "agent/model/gaps.h"
#include "agent/model/selection.h"
#include "agent/model/snapshot.h"

namespace render {

// The name of a kind of event and of a kind of node, in tables and in JSON. Node types are "input",
// "output", "other", "subFlowInput" and "subFlowOutput"; any other code is "unknown".
const char* kindName(reader::EventKind kind);
const char* nodeTypeName(std::uint32_t type);

// The same, short enough for a column: "sub in" and "sub out".
const char* shortTypeName(std::uint32_t type);

// "BRK1", or "uuid ..." while the label is unknown, or "without a uuid"; at most 65 columns.
std::string nameOf(const model::SeenBroker& broker);

// What is wrong with a broker and what to do about it; empty when nothing is.
std::string problemOf(const model::SeenBroker& broker);

// What condition it is in and what to do about it, its problem included; empty when it is ok.
std::string conditionText(const model::SeenBroker& broker, const model::Machine* machine);

// What is odd, and what to do. The oddity must be one of this snapshot.
std::string oddityText(const model::Snapshot& snapshot, const model::Oddity& oddity);

// A sentence for each condition that is no problem of problemOf(), and for each oddity.
std::vector<std::string> remarksOn(const model::Snapshot& snapshot);

// One line a damaged place: area, offset, reason.
std::vector<std::string> damageOf(const model::SeenBroker& broker);

// Why the selection means nothing in `snapshot`, and what there is instead; empty when each of its
// patterns means something. `file` is what the snapshot was loaded from, "-" for standard input;
// empty for a look at this machine.
std::string problemOf(const model::Snapshot& snapshot, const model::Selection& selection,
                      const std::string& file = {});

// That brokers of other users than these are not shown, and how many; empty when none is ignored.
std::string ignoredOf(const model::Snapshot& snapshot, const std::vector<std::uint32_t>& owners);

// How much of a broker was too much to be looked at; with `events` also of its events areas where
// they were not decoded. Empty when all was looked at.
std::string cutOf(const model::SeenBroker& broker, bool events);

// The gap in words: how many events were missed, as far as that is known.
std::string gapText(const model::SeenBroker& broker, const model::Gap& gap);

// How many events were overwritten before they could be read; empty when none was, or when nobody
// asked for events.
std::string missedOf(const model::SeenBroker& broker);

}  // namespace render

#endif  // ZEB_AGENT_RENDER_WORDS_H
