// SPDX-License-Identifier: Apache-2.0
// Stored calendar times, which have 32 bits: their seconds since 1901 begin again in 2037.
#ifndef ZEB_AGENT_MODEL_CALENDAR_H
#define ZEB_AGENT_MODEL_CALENDAR_H

#include <cstdint>

#include "agent/reader/events.h"
#include "agent/reader/tree.h"

namespace model {

// The moment that is meant: of `stored` + k * 2^32 the one nearest to `wall`, both in seconds since
// 1970. `stored` is what the reader decoded. The earlier one where two are equally near.
std::int64_t nearest(std::int64_t stored, std::int64_t wall);

// The same for all times in there, in place; what is not set stays so.
void makeNearest(reader::Broker& tree, std::int64_t wall);
void makeNearest(reader::EventLog::Batch& batch, std::int64_t wall);

}  // namespace model

#endif  // ZEB_AGENT_MODEL_CALENDAR_H
