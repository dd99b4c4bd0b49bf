// SPDX-License-Identifier: Apache-2.0
// The quick way to what was posted since the last look: only these events are copied.
//
// It is at one event of the ring, the newest that was read before. Writers come round to that
// one first, and to those behind it later, one after the other. As long as it is still there when
// all is copied, nobody has begun to write over the others. And what is before the next offset was
// whole when that offset was read. So the copy needs no second look at each record. If the event is
// gone, the whole ring has to be read.
#ifndef ZEB_AGENT_READER_EVENT_TAIL_H
#define ZEB_AGENT_READER_EVENT_TAIL_H

#include <cstdint>
#include <cstring>
#include <optional>
#include <span>
#include <vector>

#include "agent/reader/blocks.h"
#include "agent/reader/record.h"
#include "agent/reader/segment_copy.h"
#include "format/layout.h"

namespace reader {

// What tells that nothing was stored in an area since. All 0: there was no such area.
struct AreaMark {
  std::uint32_t next = 0;
  std::uint32_t last = 0;
  Stamp lastUpdate;

  bool operator==(const AreaMark&) const = default;
};

// How far a reader of the events has come.
struct RingMark {
  int segmentId = 0;
  std::optional<RecordId> newest;  // the newest event; nothing: there was none
  std::uint32_t newestAt = 0;      // its offset in the data area
  AreaMark templates;

  // Where the next event is expected, or the end of the slots.
  std::uint32_t next() const {
    return newest ? newestAt + layout::evdr::bytes : layout::block::bytes;
  }

  bool operator==(const RingMark&) const = default;
};

// What there is behind a mark.
struct EventTail {
  std::vector<std::uint8_t> records;  // whole ones, layout::evdr::bytes each, the oldest first
  std::uint32_t newestAt = 0;         // where the last of the records is
  std::optional<Area> templates;      // when the template area is not as it was

  std::uint64_t bytes() const { return records.size() + (templates ? templates->bytes.size() : 0); }
};

// The end of the last slot of an events data area of so many bytes, its header included.
constexpr std::uint32_t ringEnd(std::uint64_t size) {
  const std::uint64_t slots = (size - layout::block::bytes) / layout::evdr::bytes;
  return static_cast<std::uint32_t>(layout::block::bytes + slots * layout::evdr::bytes);
}

// Whether a slot begins there, or the ring ends.
constexpr bool isSlot(std::uint32_t offset) {
  return offset >= layout::block::bytes &&
         (offset - layout::block::bytes) % layout::evdr::bytes == 0;
}

// How many bytes were written behind `mark`, once around the ring at most, when the next event goes
// to `next` and the slots end at `end`.
inline std::uint64_t bytesBehind(const RingMark& mark, std::uint64_t next, std::uint64_t end) {
  const std::uint64_t turned = next < mark.next() ? end - layout::block::bytes : 0;
  return turned + next - mark.next();
}

// Copies what is behind `mark` in the data area that `shared` is. Nothing when the area is not as
// the mark knows it, holds anything but events there, or more than `mostBytes` of them. `header`
// reads the area's header.
template <class Memory, class ReadHeader>
std::optional<EventTail> copyTail(Memory& memory, std::span<const std::uint8_t> shared,
                                  const RingMark& mark, const ReadHeader& header,
                                  std::uint64_t mostBytes = CopyBounds::kMostBytes) {
  constexpr std::uint32_t begin = layout::block::bytes;
  const std::uint32_t end = ringEnd(shared.size());
  const BlockHeader before = header();
  const bool wrapped = before.next() < mark.next();
  const auto within = [end](std::uint32_t offset) { return isSlot(offset) && offset <= end; };
  if (!within(before.next()) || !within(mark.next())) return std::nullopt;
  if (wrapped && before.last() != end) return std::nullopt;
  if (bytesBehind(mark, before.next(), end) > mostBytes) return std::nullopt;
  EventTail tail;
  const auto copy = [&](std::uint32_t from, std::uint32_t to) {
    if (from == to) return;
    const std::size_t have = tail.records.size();
    tail.records.resize(have + to - from);
    memory.read(tail.records.data() + have, shared.data() + from, to - from);
  };
  memory.acquire();
  copy(mark.next(), wrapped ? end : before.next());
  if (wrapped) copy(begin, before.next());
  memory.acquire();
  if (mark.newest) {
    std::array<std::uint8_t, RecordId::kBytes> now;
    memory.read(now.data(), shared.data() + mark.newestAt + layout::header::id.offset, now.size());
    if (RecordId(now) != *mark.newest) return std::nullopt;
  } else {
    // A ring that never came to its end has written over nothing.
    const BlockHeader after = header();
    if (after.next() != after.last() || after.next() >= end) return std::nullopt;
  }
  for (std::size_t at = 0; at < tail.records.size(); at += layout::evdr::bytes) {
    const std::span<const std::uint8_t> rest = std::span(tail.records).subspan(at);
    if (layout::storedSize(rest) != layout::evdr::bytes) return std::nullopt;
    if (layout::typeOf(rest.data()) != ZEB_EVDR_RECORD) return std::nullopt;
  }
  tail.newestAt = (before.next() > begin ? before.next() : end) - layout::evdr::bytes;
  return tail;
}

// The same for the data area of the segment that is mapped at `shared` and has `size` bytes, and
// the template area behind it; both together are `mostBytes` at most. The segment may hold
// anything.
std::optional<EventTail> copyTail(std::span<const std::uint8_t> shared, std::uint64_t size,
                                  const RingMark& mark,
                                  std::uint64_t mostBytes = CopyBounds::kMostBytes);

}  // namespace reader

#endif  // ZEB_AGENT_READER_EVENT_TAIL_H
