// SPDX-License-Identifier: Apache-2.0
// Records of the statistics area, which are rewritten in place while they are copied.
#ifndef ZEB_AGENT_READER_SETTLED_H
#define ZEB_AGENT_READER_SETTLED_H

#include <cstdint>
#include <span>
#include <vector>

#include "agent/reader/segment_copy.h"
#include "format/layout.h"

namespace reader {

inline constexpr int kMostCopies = 5;

// What the plain way to shared memory is here; tests have one that changes between two copies.
struct SharedBytes {
  static void read(std::uint8_t* to, const std::uint8_t* shared, std::size_t bytes);
  static bool same(const std::uint8_t* copied, const std::uint8_t* shared, std::size_t bytes);
};

// Makes sure that no record in the copy is half an old one and half a new one: `area` was just
// copied from `shared`, its block. When the bytes are no longer the same, each record that differs
// is copied again until two copies, one directly after the other, are alike. Returns where the
// records are that were not alike after kMostCopies, in rising order: these are torn.
template <class Memory = SharedBytes>
std::vector<std::uint32_t> settle(Area& area, std::span<const std::uint8_t> shared) {
  std::vector<std::uint32_t> torn;
  const std::span<std::uint8_t> bytes(area.bytes);
  if (bytes.size() > shared.size() || Memory::same(bytes.data(), shared.data(), bytes.size())) {
    return torn;
  }
  for (std::uint32_t at = layout::block::bytes; at < bytes.size();) {
    const std::size_t size = layout::storedSize(bytes.subspan(at));
    if (size == 0) {
      at = nextReadable(bytes, at, 1);
      continue;
    }
    bool alike = Memory::same(&bytes[at], &shared[at], size);
    for (int copies = 1; !alike && copies < kMostCopies; ++copies) {
      Memory::read(&bytes[at], &shared[at], size);
      alike = Memory::same(&bytes[at], &shared[at], size);
    }
    if (!alike) torn.push_back(at);
    // Another record may be here by now.
    if (layout::storedSize(bytes.subspan(at)) == size)
      at += static_cast<std::uint32_t>(size);
    else
      at = nextReadable(bytes, at, 1);
  }
  return torn;
}

}  // namespace reader

#endif  // ZEB_AGENT_READER_SETTLED_H
