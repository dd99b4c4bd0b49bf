// SPDX-License-Identifier: Apache-2.0
// How many bytes blocks and records take, and what fits where. All sizes are in bytes.
#ifndef ZEB_FORMAT_SIZES_H
#define ZEB_FORMAT_SIZES_H

#include <algorithm>
#include <cstdint>

#include "format/layout.h"

namespace layout {

// Bounds and default of "ZEBMemorySize": what one area takes, its header included.
inline constexpr std::uint32_t kSmallestArea = 4096;
inline constexpr std::uint32_t kLargestArea = 2147483647;
inline constexpr std::uint32_t kDefaultArea = 32768;

// What an area gets when `configured` is set: the number itself within the bounds.
constexpr std::uint32_t areaSize(std::uint32_t configured) {
  return std::clamp(configured, kSmallestArea, kLargestArea);
}

// What the segment takes: a header and the three areas, which are of one size. Wraps in 32 bits
// above areas of 1431655754, on purpose: a process of another version would compute the same.
inline constexpr std::uint32_t kAreas = 3;
constexpr std::uint32_t segmentSize(std::uint32_t area) {
  return kAreas * area + block::bytes;
}

// The largest area whose segment's size doesn't wrap.
inline constexpr std::uint32_t kLargestUnwrapped = (UINT32_MAX - block::bytes) / kAreas;
static_assert(kLargestUnwrapped == 1431655754);

// The least that a node takes: its record without a label and a sub-flow name, and its statistics.
inline constexpr std::uint32_t kSmallestNode = noir::bytes + stir::bytes;

// What an area has for records: all behind its header. 0 for an area that holds not even that.
constexpr std::uint32_t roomIn(std::uint32_t area) {
  return area < block::bytes ? 0 : area - block::bytes;
}

// What a record takes whose strings have so many 16-bit units together, terminators not counted. 0
// for types 0 and 9 and unknown ones; a joined event takes its header and its two records. For
// records of one size, `units` does not matter.
constexpr std::uint64_t recordSize(std::uint32_t type, std::uint64_t units) {
  const auto fields = fieldsOf(type);
  if (fields.empty()) return 0;
  const Field& last = fields.back();
  const std::uint64_t strings = fixedSizeOf(type) != 0 ? 0 : 2 * units;
  return last.offset + last.width + strings;
}

}  // namespace layout

#endif  // ZEB_FORMAT_SIZES_H
