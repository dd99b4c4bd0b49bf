// SPDX-License-Identifier: Apache-2.0
#include "agent/reader/blocks.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>

namespace reader {
namespace {

using Bytes = std::span<const std::uint8_t>;
namespace block = layout::block;

constexpr std::size_t kMostBlocks = 16;

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
  const BlockHeader header(shared.first(block::bytes));
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
bool addPlace(std::vector<Place>& places, DamageList& damage, const BlockHeader& header,
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

}  // namespace

std::vector<Place> findBlocks(SegmentCopy& copy, Bytes shared, std::uint64_t size) {
  const std::uint64_t end = readSegmentHeader(copy, shared, size);
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
    const BlockHeader header(shared.subspan(at, block::bytes));
    if (header.unused() || !addPlace(places, copy.damage, header, at, shared.size() - at)) break;
    at += header.size();
  }
  return places;
}

BlockHeader headerOf(Bytes shared) {
  constexpr int kLooks = 8;
  BlockHeader header(shared.first(block::bytes));
  for (int looks = 1; looks < kLooks; ++looks) {
    const BlockHeader again(shared.first(block::bytes));
    if (again == header) break;
    header = again;
  }
  return header;
}

void mapAtOnce(const std::uint8_t* begin, std::size_t bytes, int how) {
  static const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  const std::size_t intoPage = reinterpret_cast<std::uintptr_t>(begin) % page;
  madvise(const_cast<std::uint8_t*>(begin) - intoPage, intoPage + bytes, how);
}

}  // namespace reader
