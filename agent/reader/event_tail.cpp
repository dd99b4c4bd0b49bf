// SPDX-License-Identifier: Apache-2.0
#include "agent/reader/event_tail.h"

#include <sys/mman.h>

#include <algorithm>

#include "format/event_bytes.h"

namespace reader {
namespace {

using Bytes = std::span<const std::uint8_t>;

const Place* find(const std::vector<Place>& places, const char* name) {
  const auto found = std::ranges::find(places, name, &Place::name);
  return found == places.end() ? nullptr : &*found;
}

AreaMark markOf(const BlockHeader& header) {
  return {header.next(), header.last(), header.lastUpdate()};
}

// Pages are mapped together where there are many; the rest is left to page faults.
void mapBehind(Bytes area, std::uint32_t from, std::uint32_t to) {
  constexpr std::uint32_t kMany = 8 * 4096;
  if (to > from && to - from > kMany && to <= area.size())
    mapAtOnce(area.data() + from, to - from, MADV_POPULATE_READ);
}

}  // namespace

std::optional<EventTail> copyTail(Bytes shared, std::uint64_t size, const RingMark& mark,
                                  std::uint64_t mostBytes) {
  SegmentCopy facts;
  const std::vector<Place> places = findBlocks(facts, shared, size);
  if (!facts.initialised) return std::nullopt;
  const Place* const data = find(places, kEventData);
  if (data == nullptr) return mark.newest ? std::nullopt : std::optional<EventTail>(EventTail());
  const Bytes ring = shared.subspan(data->offset, data->size);
  const std::uint32_t next = headerOf(ring).next();
  if (bytesBehind(mark, next, ringEnd(ring.size())) > mostBytes) return std::nullopt;
  mapBehind(ring, mark.next(), next < mark.next() ? ringEnd(ring.size()) : next);
  if (next < mark.next()) mapBehind(ring, layout::block::bytes, next);
  event_bytes::PlainMemory memory;
  auto tail = copyTail(
      memory, ring, mark, [ring] { return headerOf(ring); }, mostBytes);
  const Place* const templates = find(places, kEventTemplates);
  if (!tail || templates == nullptr) return tail;
  const Bytes area = shared.subspan(templates->offset, templates->size);
  if (markOf(headerOf(area)) == mark.templates) return tail;
  Place wanted = *templates;
  wanted.most = std::max<std::uint64_t>(mostBytes - tail->records.size(), layout::block::bytes);
  tail->templates = copyBlock(wanted, shared, facts.damage);
  if (tail->templates->uncopied() > 0) return std::nullopt;
  return tail;
}

}  // namespace reader
