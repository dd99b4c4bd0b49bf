// SPDX-License-Identifier: Apache-2.0
#include "agent/reader/segment_copy.h"

#include <sys/mman.h>

#include <algorithm>
#include <cstring>

#include "agent/reader/blocks.h"
#include "agent/reader/settled.h"
#include "format/layout.h"

namespace reader {
namespace {

using Bytes = std::span<const std::uint8_t>;
namespace block = layout::block;

constexpr int kTries = 8;

// An area may grow a little until it is copied.
void shareOut(std::vector<Place>& places, Bytes shared, const CopyBounds& bounds) {
  constexpr std::uint64_t kGrowth = 1 << 16;
  for (Place& place : places) place.most = block::bytes;
  std::uint64_t left = bounds.mostBytes;
  for (const char* const name : {kStatistics, kEventTemplates, kEventData}) {
    const auto place = std::ranges::find(places, name, &Place::name);
    if (place == places.end() || (name != kStatistics && !bounds.events)) continue;
    const std::uint64_t last = BlockHeader(shared.subspan(place->offset, block::bytes)).last();
    const bool known = last >= block::bytes && last <= place->size;
    const std::uint64_t most = std::min(left, known ? last + kGrowth : place->size);
    place->most = std::max<std::uint64_t>(most, block::bytes);
    left -= most;
  }
}

// Behind the last byte that differs; 0 when none does.
std::size_t endOfDifference(Bytes copied, Bytes shared) {
  constexpr std::size_t kStep = 4096;
  for (std::size_t end = copied.size(), size = 0; end > 0; end -= size) {
    size = std::min(end, kStep);
    const Bytes ours = copied.subspan(end - size, size);
    const Bytes theirs = shared.subspan(end - size, size);
    if (std::memcmp(ours.data(), theirs.data(), size) == 0) continue;
    const auto differing = std::mismatch(ours.rbegin(), ours.rend(), theirs.rbegin()).first;
    return end - static_cast<std::size_t>(differing - ours.rbegin());
  }
  return 0;
}

// How far along the ring that was copied writers may have come since the header `before` was read.
// What was posted since then has moved the next offset on. A second look at the rest shows what was
// written since the header was read again: whatever is still the same stood there at that moment.
std::optional<std::uint32_t> overtakenBytes(const Area& area, const BlockHeader& before,
                                            Bytes shared) {
  const BlockHeader now = headerOf(shared);
  const std::uint32_t older = area.last - area.next;
  const std::uint32_t next = std::clamp(now.next(), block::bytes, area.last);
  const std::uint32_t posted = next >= area.next ? next - area.next : older + next - block::bytes;
  const auto changed = [&](std::uint32_t begin, std::uint32_t end) {
    end = std::min(end, area.last - area.uncopied());
    if (begin >= end) return 0U;
    return static_cast<std::uint32_t>(endOfDifference(Bytes(area.bytes).subspan(begin, end - begin),
                                                      shared.subspan(begin, end - begin)));
  };
  const std::uint32_t ofNewer = changed(block::bytes, area.next);
  const std::uint32_t rewritten =
      std::max(posted, ofNewer > 0 ? older + ofNewer : changed(area.next, area.last));
  const bool onlyGrown = !area.wrapped() && now.next() >= now.last();
  if (rewritten == 0 && (onlyGrown || now == before)) return std::nullopt;
  return rewritten;
}

void reportHeader(DamageList& damage, const Area& area, const BlockHeader& header) {
  if (header.mark() != 1) damage.add(area.name, block::mark.offset, "the header mark is not 1");
  const auto report = [&](const layout::Field& field, std::uint32_t stored) {
    damage.add(area.name, field.offset,
               std::string(field.name) + " " + std::to_string(static_cast<std::int32_t>(stored)) +
                   " is outside the area");
  };
  if (header.last() != area.last) report(block::last, header.last());
  if (header.next() != area.next) report(block::next, header.next());
}

// Copies the block and returns the header that the copy was made by.
BlockHeader copyOnce(Area& area, Bytes own, std::uint64_t most) {
  const BlockHeader header = headerOf(own);
  const auto within = [&](std::uint32_t offset) {
    return offset >= block::bytes && offset <= own.size();
  };
  area.last = within(header.last()) ? header.last() : area.size;
  area.next = within(header.next()) && header.next() <= area.last ? header.next() : area.last;
  area.lastUpdate = header.lastUpdate();
  const Bytes copied = own.first(std::min<std::uint64_t>(area.last, most));
  area.bytes.assign(copied.begin(), copied.end());
  if (area.name == kStatistics) area.torn = settle(area, own);
  event_bytes::PlainMemory memory;
  if (area.name == kEventTemplates) keepWhole(memory, area, own, 1);
  if (area.name == kEventData) keepWhole(memory, area, own, layout::evdr::bytes);
  area.overtaken = overtakenBytes(area, header, own);
  return header;
}

// Whether writers came past the place where they began again: then older records may be left out of
// the copy, though newer ones are in it.
bool isTornByATurn(const Area& area) {
  return area.name == kEventData && area.overtaken && *area.overtaken >= area.last - area.next;
}

}  // namespace

const Area* SegmentCopy::find(const char* name) const {
  const auto named = [name](const Area& area) { return area.name == name; };
  const auto found = std::find_if(areas.begin(), areas.end(), named);
  return found == areas.end() ? nullptr : &*found;
}

std::uint32_t nextReadable(Bytes bytes, std::uint32_t at, std::uint32_t stride) {
  const std::string_view mark(layout::header::text, layout::header::eyecatcher.width);
  const std::string_view all(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  for (std::size_t found = all.find(mark, at + 1); found != all.npos;
       found = all.find(mark, found + 1)) {
    const bool inStep = (found - at) % stride == 0;
    if (inStep && layout::storedSize(bytes.subspan(found)) != 0) {
      return static_cast<std::uint32_t>(found);
    }
  }
  return static_cast<std::uint32_t>(bytes.size());
}

Area copyBlock(const Place& place, Bytes shared, DamageList& damage) {
  const Bytes own = shared.subspan(place.offset, place.size);
  Area area;
  // Before the header is read for the copy: little time is to pass between the two. Pages behind
  // what is used aren't touched, since the system would make them.
  const std::size_t used =
      std::min<std::size_t>({BlockHeader(own.first(block::bytes)).last(), own.size(), place.most});
  area.bytes.reserve(used);
  mapAtOnce(area.bytes.data(), used, MADV_POPULATE_WRITE);
  mapAtOnce(own.data(), used, MADV_POPULATE_READ);
  area.name = place.name;
  area.at = place.offset;
  area.size = static_cast<std::uint32_t>(own.size());
  BlockHeader header = copyOnce(area, own, place.most);
  for (int tries = 1; tries < kTries && isTornByATurn(area); ++tries) {
    header = copyOnce(area, own, place.most);
  }
  reportHeader(damage, area, header);
  return area;
}

SegmentCopy copySegment(Bytes shared, std::uint64_t size, const CopyBounds& bounds) {
  SegmentCopy copy;
  std::vector<Place> places = findBlocks(copy, shared, size);
  shareOut(places, shared, bounds);
  std::reverse(places.begin(), places.end());
  for (const Place& place : places) copy.areas.push_back(copyBlock(place, shared, copy.damage));
  return copy;
}

}  // namespace reader
