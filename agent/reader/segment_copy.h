// SPDX-License-Identifier: Apache-2.0
// A private copy of what a segment holds, block by block.
#ifndef ZEB_AGENT_READER_SEGMENT_COPY_H
#define ZEB_AGENT_READER_SEGMENT_COPY_H

#include <algorithm>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "agent/reader/damage.h"
#include "agent/reader/unchanged.h"
#include "format/event_bytes.h"
#include "format/layout.h"

namespace reader {

// A point in time as identifiers and block headers hold it: since 1970, UTC.
struct Stamp {
  std::uint32_t seconds = 0;
  std::uint32_t milliseconds = 0;
  std::int64_t inMilliseconds() const { return std::int64_t{seconds} * 1000 + milliseconds; }
  auto operator<=>(const Stamp&) const = default;
};

// One area as it was at one moment. The three offsets are believable: 32 <= next, last, and both
// within the block, whatever is stored.
struct Area {
  std::string name;        // "statistics", "eventTemplates" or "eventData"
  std::uint64_t at = 0;    // where the block begins in the segment
  std::uint32_t size = 0;  // bytes of the whole block, header included
  std::uint32_t next = 0;  // where the next record will be written
  std::uint32_t last = 0;  // behind the last byte ever written
  Stamp lastUpdate;
  std::vector<std::uint8_t> bytes;  // of the block from its start to `last`, within the bounds

  // Set when others wrote to the ring while the block was copied: so many of its bytes, from `next`
  // on, they may have overwritten. What follows was there at one moment, and up to `next` in the
  // order of posting; the first record there may be one that is not yet posted.
  std::optional<std::uint32_t> overtaken;

  // Only of the statistics area: where records begin that somebody was writing whenever they were
  // copied, in rising order. Each may be half an old one and half a new one.
  std::vector<std::uint32_t> torn;

  // Records behind `next` are left over from before the last wrap.
  bool wrapped() const { return next < last; }

  // Set when the bytes were let go: what uncopied() was before.
  std::optional<std::uint32_t> cut = {};

  // Used bytes at the end that were too many to be copied.
  std::uint32_t uncopied() const {
    if (cut) return *cut;
    return last - static_cast<std::uint32_t>(std::min<std::size_t>(bytes.size(), last));
  }

  // The bytes aren't needed any more; all else stays as it is.
  void letGo() {
    cut = uncopied();
    bytes = {};
  }
};

// How much of a segment is copied.
struct CopyBounds {
  static constexpr std::uint64_t kMostBytes = 64 << 20;

  // Of all areas together, headers left aside. Statistics come first, then templates, then events.
  std::uint64_t mostBytes = kMostBytes;

  bool events = true;  // the events areas too; else only their headers
};

struct SegmentCopy {
  bool initialised = false;  // the header names a segment of ours
  std::uint32_t size = 0;    // as its header says
  Stamp lastUpdate;
  std::vector<Area> areas;
  DamageList damage;

  // Null when the segment has no such area (yet).
  const Area* find(const char* name) const;
};

inline constexpr char kSegment[] = "segment";
inline constexpr char kStatistics[] = "statistics";
inline constexpr char kEventTemplates[] = "eventTemplates";
inline constexpr char kEventData[] = "eventData";

// Where the next record begins behind `at`, in bytes that nobody changes: a whole, sane one, a
// multiple of `stride` bytes away. The end of the bytes when there is none.
std::uint32_t nextReadable(std::span<const std::uint8_t> bytes, std::uint32_t at,
                           std::uint32_t stride);

// Looks at each record of an events area's copy again in `shared`, the area's block. Afterwards the
// copy holds only records that were whole when they were copied: a record that is no longer the
// same has its first byte changed. Records are `stride` bytes apart, 1 when sizes vary.
template <class Memory>
void keepWhole(Memory& memory, Area& area, std::span<const std::uint8_t> shared,
               std::uint32_t stride) {
  constexpr std::uint8_t kNotWhole = 0xFF;  // makes no length in another record smaller
  const auto copied = static_cast<std::uint32_t>(area.bytes.size());
  const auto again = std::make_unique_for_overwrite<std::uint8_t[]>(copied);
  const Unchanged unchanged(memory, area.bytes, shared);
  const auto keepPart = [&](std::uint32_t begin, std::uint32_t end) {
    const std::span<std::uint8_t> bytes = std::span(area.bytes).first(end);
    for (std::uint32_t at = begin; at < end;) {
      const std::size_t size = layout::storedSize(bytes.subspan(at));
      if (size > 0 && unchanged.holds(memory, at, size)) {
        at += static_cast<std::uint32_t>(size);
        continue;
      }
      const event_bytes::Look seen =
          size > 0 ? event_bytes::find(memory, shared.subspan(at, end - at), {&again[0], end - at})
                   : event_bytes::Look{};
      if (seen.found == event_bytes::Found::record && seen.size == size &&
          std::equal(&again[0], &again[size], &bytes[at])) {
        at += static_cast<std::uint32_t>(size);
      } else {
        if (size > 0) bytes[at] = kNotWhole;
        at = nextReadable(bytes, at, stride);
      }
    }
  };
  const std::uint32_t next = std::min(area.next, copied);
  keepPart(layout::block::bytes, next);
  keepPart(next, copied);
}

// Copies the used parts of the segment that is mapped at `shared` (whole pages, when it is a real
// one) and that has `size` bytes for the system. Others may be writing there: every byte that is
// parsed is parsed from the copy. Records of the events areas are whole in it.
//
// Blocks are copied from the last to the first, so that the template of each event that is copied
// was stored before the templates were copied. What of a ring can't be relied on, since others went
// on writing, is described in docs/format.md.
SegmentCopy copySegment(std::span<const std::uint8_t> shared, std::uint64_t size,
                        const CopyBounds& bounds = {});

}  // namespace reader

#endif  // ZEB_AGENT_READER_SEGMENT_COPY_H
