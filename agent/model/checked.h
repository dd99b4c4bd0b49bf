// SPDX-License-Identifier: Apache-2.0
// Arithmetic on numbers that anybody may have written: unknown stays unknown, and what doesn't fit
// becomes so.
#ifndef ZEB_AGENT_MODEL_CHECKED_H
#define ZEB_AGENT_MODEL_CHECKED_H

#include <cstdint>
#include <limits>

#include "agent/reader/tree.h"

namespace model {

using reader::Number;

// Nothing when either is unknown or the result doesn't fit 64 bits.
inline Number sum(Number a, Number b) {
  std::int64_t result;
  if (!a || !b || __builtin_add_overflow(*a, *b, &result)) return {};
  return result;
}

// a - b, with the same exceptions.
inline Number difference(Number a, Number b) {
  std::int64_t result;
  if (!a || !b || __builtin_sub_overflow(*a, *b, &result)) return {};
  return result;
}

// True only when both are known and the later one is smaller.
inline bool fell(Number before, Number after) {
  return before && after && *after < *before;
}

// Of a number of any size.
inline std::int64_t bounded(std::uint64_t value) {
  constexpr auto most = std::numeric_limits<std::int64_t>::max();
  return value > static_cast<std::uint64_t>(most) ? most : static_cast<std::int64_t>(value);
}

}  // namespace model

#endif  // ZEB_AGENT_MODEL_CHECKED_H
