// SPDX-License-Identifier: Apache-2.0
// The names that facts have in a snapshot file. All that a snapshot needs to be decoded again is
// here, except the areas' bytes.
#ifndef ZEB_AGENT_ARCHIVE_FACTS_H
#define ZEB_AGENT_ARCHIVE_FACTS_H

#include "agent/archive/json_fields.h"
#include "agent/model/machine.h"
#include "agent/reader/segment.h"

namespace archived {

// Each throws Malformed when a member is missing, or has a value that its type can't have.
Json jsonOfSegment(const reader::Segment& segment);
reader::Segment segmentOf(const Json& json);

// Of more than kMostLocks locks the rest is left out, and the list says that it is cut.
inline constexpr std::size_t kMostLocks = 20000;
Json jsonOfMachine(const model::Machine& machine);
model::Machine machineOf(const Json& json);

}  // namespace archived

#endif  // ZEB_AGENT_ARCHIVE_FACTS_H
