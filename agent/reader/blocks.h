// SPDX-License-Identifier: Apache-2.0
// Block headers, and the chain of blocks that a segment is. All bytes are those of mapped memory
// that others may be writing.
#ifndef ZEB_AGENT_READER_BLOCKS_H
#define ZEB_AGENT_READER_BLOCKS_H

#include <array>
#include <atomic>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "agent/reader/segment_copy.h"
#include "format/layout.h"

namespace reader {

// A block header in private memory. Its bytes are read after what was read before, and before what
// is read afterwards.
class BlockHeader {
 public:
  // `at` must hold layout::block::bytes bytes.
  explicit BlockHeader(std::span<const std::uint8_t> at) {
    std::atomic_thread_fence(std::memory_order_acquire);
    std::memcpy(bytes_.data(), at.data(), bytes_.size());
    std::atomic_thread_fence(std::memory_order_acquire);
  }

  std::string_view eyecatcher() const {
    return {reinterpret_cast<const char*>(bytes_.data()), layout::block::eyecatcherBytes};
  }
  bool unused() const { return value(layout::block::eyecatcher) == 0; }
  std::uint32_t mark() const { return value(layout::block::mark); }
  std::uint32_t size() const { return value(layout::block::size); }
  std::uint32_t next() const { return value(layout::block::next); }
  std::uint32_t last() const { return value(layout::block::last); }
  Stamp lastUpdate() const {
    return {valueAt(layout::block::lastUpdate.offset),
            valueAt(layout::block::lastUpdate.offset + 4)};
  }
  bool operator==(const BlockHeader&) const = default;

 private:
  std::uint32_t value(const layout::Field& field) const { return valueAt(field.offset); }
  std::uint32_t valueAt(std::uint32_t offset) const {
    std::uint32_t value;
    std::memcpy(&value, bytes_.data() + offset, sizeof value);
    return value;
  }

  std::array<std::uint8_t, layout::block::bytes> bytes_;
};

// Where a block is in the segment; both numbers are within it.
struct Place {
  std::string name;
  std::uint64_t offset;
  std::uint32_t size;
  std::uint64_t most = UINT64_MAX;  // of its bytes are copied
};

// The blocks of the segment, in their order. Fills in the facts of the segment's own header, and
// adds what is wrong to the damage of `copy`. `size` is what the system says.
std::vector<Place> findBlocks(SegmentCopy& copy, std::span<const std::uint8_t> shared,
                              std::uint64_t size);

// The header of the block that `shared` begins with, as two looks show it alike: nobody was in the
// middle of writing it. The last of several looks when no two of them were.
BlockHeader headerOf(std::span<const std::uint8_t> shared);

// One area's copy, as copySegment makes it; adds what is wrong with its header to `damage`.
Area copyBlock(const Place& place, std::span<const std::uint8_t> shared, DamageList& damage);

// Has the system map the pages of so many bytes together (`how` is MADV_POPULATE_...), which takes
// less time than a page fault for each. A system that can't leaves it at page faults.
void mapAtOnce(const std::uint8_t* begin, std::size_t bytes, int how);

}  // namespace reader

#endif  // ZEB_AGENT_READER_BLOCKS_H
