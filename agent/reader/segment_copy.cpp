// SPDX-License-Identifier: Apache-2.0
#include "agent/reader/segment_copy.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstring>

#include "agent/reader/settled.h"
#include "format/layout.h"

namespace reader {
namespace {

using Bytes = std::span<const std::uint8_t>;
namespace block = layout::block;

constexpr int kTries = 8;
constexpr std::size_t kMostBlocks = 16;

// A block header in private memory. Its bytes are read after what was read before, and before what
// is read afterwards.
class Header {
 public:
  // `at` must hold block::bytes bytes.
  explicit Header(Bytes at) {
    std::atomic_thread_fence(std::memory_order_acquire);
    std::memcpy(bytes_.data(), at.data(), bytes_.size());
    std::atomic_thread_fence(std::memory_order_acquire);
  }

  std::string_view eyecatcher() const {
    return {reinterpret_cast<const char*>(bytes_.data()), block::eyecatcherBytes};
  }
  bool unused() const { return value(block::eyecatcher) == 0; }
  std::uint32_t mark() const { return value(block::mark); }
  std::uint32_t size() const { return value(block::size); }
  std::uint32_t next() const { return value(block::next); }
  std::uint32_t last() const { return value(block::last); }
  Stamp lastUpdate() const {
    return {valueAt(block::lastUpdate.offset), valueAt(block::lastUpdate.offset + 4)};
  }
  bool operator==(const Header&) const = default;

 private:
  std::uint32_t value(const layout::Field& field) const { return valueAt(field.offset); }
  std::uint32_t valueAt(std::uint32_t offset) const {
    std::uint32_t value;
    std::memcpy(&value, bytes_.data() + offset, sizeof value);
    return value;
  }

  std::array<std::uint8_t, block::bytes> bytes_;
};

// Where a block stands in the segment; both numbers are within it.
struct Place {
  std::string name;
  std::uint64_t offset;
  std::uint32_t size;
};

// The name that damage reports use for the block, empty for a block of no known kind.
std::string areaName(std::string_view eyecatcher) {
  if (eyecatcher == block::statistics) return kStatistics;
  if (eyecatcher == block::eventTemplates) return kEventTemplates;
  if (eyecatcher == block::eventData) return kEventData;
  return {};
}

// Fills in the segment's own facts. The end of its used part, or 0 when there is nothing to read.
std::uint64_t readSegmentHeader(SegmentCopy& copy, Bytes shared, std::uint64_t size) {
  if (shared.size() < block::bytes) {
    copy.damage.add(kSegment, 0, "too short for a header: " + std::to_string(size) + " bytes");
    copy.initialised = true;
    return 0;
  }
  const Header header(shared.first(block::bytes));
  copy.initialised = !header.unused();
  if (!copy.initialised) return 0;
  copy.size = header.size();
  copy.lastUpdate = header.lastUpdate();
  if (header.eyecatcher() != block::segment) {
    copy.damage.add(kSegment, block::eyecatcher.offset, "the eyecatcher is not \"zebcshme\"");
    return 0;
  }
  if (header.mark() != 1) copy.damage.add(kSegment, block::mark.offset, "the header mark is not 1");
  if (header.size() != size) {
    copy.damage.add(kSegment, block::size.offset,
                    "the header says " + std::to_string(header.size()) + " bytes, the system " +
                        std::to_string(size));
  }
  // The offset of the largest segment doesn't fit a signed number: it is read as unsigned.
  if (header.next() < block::bytes || header.next() > shared.size()) {
    copy.damage.add(kSegment, block::next.offset,
                    "next offset " + std::to_string(header.next()) + " is outside the segment");
    return shared.size();
  }
  return header.next();
}

// Checks one block header of the chain; false ends the chain.
bool addPlace(std::vector<Place>& places, DamageList& damage, const Header& header,
              std::uint64_t at, std::uint64_t left) {
  if (header.size() < block::bytes) {
    damage.add(kSegment, at + block::size.offset,
               "block of " + std::to_string(header.size()) + " bytes, less than its header");
    return false;
  }
  const bool fits = header.size() <= left;
  if (!fits) {
    damage.add(kSegment, at + block::size.offset,
               "block of " + std::to_string(header.size()) + " bytes, only " +
                   std::to_string(left) + " are left");
  }
  const std::string name = areaName(header.eyecatcher());
  const bool known = std::any_of(places.begin(), places.end(),
                                 [&name](const Place& place) { return place.name == name; });
  if (name.empty() || known) {
    damage.add(kSegment, at, name.empty() ? "block of an unknown name" : "second block " + name);
  } else {
    places.push_back(
        {name, at, static_cast<std::uint32_t>(std::min<std::uint64_t>(header.size(), left))});
  }
  return fits;
}

std::vector<Place> findBlocks(SegmentCopy& copy, Bytes shared, std::uint64_t end) {
  std::vector<Place> places;
  std::uint64_t at = block::bytes;
  for (std::size_t blocks = 0; at < end; ++blocks) {
    if (blocks == kMostBlocks) {
      copy.damage.add(kSegment, at, "more than " + std::to_string(kMostBlocks) + " blocks");
      break;
    }
    if (end - at < block::bytes) {
      copy.damage.add(kSegment, at, "no room for a block header");
      break;
    }
    const Header header(shared.subspan(at, block::bytes));
    if (header.unused() || !addPlace(places, copy.damage, header, at, shared.size() - at)) break;
    at += header.size();
  }
  return places;
}

// The header as two looks show it alike: nobody was in the middle of writing it.
Header headerOf(Bytes shared) {
  Header header(shared.first(block::bytes));
  for (int tries = 1; tries < kTries; ++tries) {
    const Header again(shared.first(block::bytes));
    if (again == header) break;
    header = again;
  }
  return header;
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
std::optional<std::uint32_t> overtakenBytes(const Area& area, const Header& before, Bytes shared) {
  const Header now = headerOf(shared);
  const std::uint32_t older = area.last - area.next;
  const std::uint32_t next = std::clamp(now.next(), block::bytes, area.last);
  const std::uint32_t posted = next >= area.next ? next - area.next : older + next - block::bytes;
  const auto changed = [&](std::uint32_t begin, std::uint32_t end) {
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

void reportHeader(DamageList& damage, const Area& area, const Header& header) {
  if (header.mark() != 1) damage.add(area.name, block::mark.offset, "the header mark is not 1");
  const auto report = [&](const layout::Field& field, std::uint32_t stored) {
    damage.add(area.name, field.offset,
               std::string(field.name) + " " + std::to_string(static_cast<std::int32_t>(stored)) +
                   " is outside the area");
  };
  if (header.last() != area.last) report(block::last, header.last());
  if (header.next() != area.next) report(block::next, header.next());
}

// Has the system map the pages of so many bytes together, which takes less time than a page fault
// for each. A system that can't leaves it at page faults.
void mapAtOnce(const std::uint8_t* begin, std::size_t bytes, int how) {
  static const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  const std::size_t intoPage = reinterpret_cast<std::uintptr_t>(begin) % page;
  madvise(const_cast<std::uint8_t*>(begin) - intoPage, intoPage + bytes, how);
}

// Copies the block and returns the header that the copy was made by.
Header copyOnce(Area& area, Bytes own) {
  const Header header = headerOf(own);
  const auto within = [&](std::uint32_t offset) {
    return offset >= block::bytes && offset <= own.size();
  };
  area.last = within(header.last()) ? header.last() : area.size;
  area.next = within(header.next()) && header.next() <= area.last ? header.next() : area.last;
  area.lastUpdate = header.lastUpdate();
  area.bytes.assign(own.begin(), own.begin() + area.last);
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

Area copyBlock(const Place& place, Bytes shared, DamageList& damage) {
  const Bytes own = shared.subspan(place.offset, place.size);
  Area area;
  // Before the header is read for the copy: little time is to pass between the two. Pages behind
  // what is used aren't touched, since the system would make them.
  const std::size_t used =
      std::min<std::size_t>(Header(own.first(block::bytes)).last(), own.size());
  area.bytes.reserve(used);
  mapAtOnce(area.bytes.data(), used, MADV_POPULATE_WRITE);
  mapAtOnce(own.data(), used, MADV_POPULATE_READ);
  area.name = place.name;
  area.at = place.offset;
  area.size = static_cast<std::uint32_t>(own.size());
  Header header = copyOnce(area, own);
  for (int tries = 1; tries < kTries && isTornByATurn(area); ++tries) header = copyOnce(area, own);
  reportHeader(damage, area, header);
  return area;
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

SegmentCopy copySegment(Bytes shared, std::uint64_t size) {
  SegmentCopy copy;
  const std::uint64_t end = readSegmentHeader(copy, shared, size);
  std::vector<Place> places = findBlocks(copy, shared, end);
  std::reverse(places.begin(), places.end());
  for (const Place& place : places) copy.areas.push_back(copyBlock(place, shared, copy.damage));
  return copy;
}

}  // namespace reader
