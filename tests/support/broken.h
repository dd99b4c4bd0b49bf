// SPDX-License-Identifier: Apache-2.0
// Segments that somebody has damaged: a healthy one with one thing wrong in each. Always the same
// ones, made from the description of the format and from nothing that the library or the agent use.
#ifndef ZEB_TESTS_SUPPORT_BROKEN_H
#define ZEB_TESTS_SUPPORT_BROKEN_H

#include <cstdint>
#include <string>
#include <vector>

#include "tests/support/image.h"

namespace broken {

using image::Bytes;

// Three areas of this many bytes, as a library with this "ZEBMemorySize" makes them.
inline constexpr std::uint32_t kArea = 4096;
inline constexpr std::uint32_t kStatisticsAt = 32;
inline constexpr std::uint32_t kTemplatesAt = kStatisticsAt + kArea;
inline constexpr std::uint32_t kEventsAt = kTemplatesAt + kArea;
inline constexpr std::uint32_t kBytes = kEventsAt + kArea;

// The broker BRK1 (UUID1) with the groups "default", which holds FLOW1 with the nodes NODE1 and
// NODE2, and "orders", which holds Fulfil with Reserve. Two templates, five events.
const Bytes& healthy();

// A record of the healthy segment; offsets from the segment's start.
struct Place {
  std::size_t at;
  std::size_t size;
  std::uint32_t type;
  std::vector<std::size_t> counts;  // where each string's count is
};
// All of them, in stored order.
const std::vector<Place>& places();

struct Segment {
  std::string what;  // is wrong
  Bytes bytes;
  std::size_t at = 0;      // the first byte that is wrong
  std::size_t record = 0;  // the index in places() of the record that it belongs to, if it does
};
using Segments = std::vector<Segment>;

Segments headers();   // eyecatchers, marks, sizes, next and last offsets of all four blocks
Segments chains();    // blocks that turn round, leave the segment, overlap, come twice
Segments records();   // eyecatchers, types and deleted flags
Segments strings();   // counts: huge, negative, short, long, to the area's end and past it
Segments parents();   // missing, the record itself, a child, another type; IDs that come twice
Segments decimals();  // no digits, signs, nothing that ends them, more than fits
Segments cuts();  // an area that ends inside a record; a record of which only a part was written

// All of the above.
Segments all();

// `many` segments with up to four things wrong in each, drawn from that seed.
Segments mixed(std::uint32_t seed, std::size_t many);

// `each` groups, flows and nodes under one broker, in areas of `area` bytes. All groups have the ID
// of the first, and so have all flows: everything seems to hang on everything.
Bytes sharedIds(std::uint32_t each, std::uint32_t area);
// All have the label of the first of their kind, on which hangs whatever is below it.
Bytes sharedLabels(std::uint32_t each, std::uint32_t area);

// A healthy segment with other bytes in places, as fuzzers take it: six bytes a change, the offset
// and what is there. And the changes that make `segment`, which is of the healthy one's size.
Bytes patched(const std::uint8_t* changes, std::size_t length);
Bytes changesOf(const Bytes& segment);

}  // namespace broken

#endif  // ZEB_TESTS_SUPPORT_BROKEN_H
