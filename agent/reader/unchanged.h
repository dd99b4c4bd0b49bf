// SPDX-License-Identifier: Apache-2.0
// The quick way to know that a copied record is whole: nothing of it has changed since.
#ifndef ZEB_AGENT_READER_UNCHANGED_H
#define ZEB_AGENT_READER_UNCHANGED_H

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <span>
#include <vector>

#include "format/layout.h"

namespace reader {

// Looks at all of a copied area again, twice, chunk by chunk, and once more at the header of each
// record that it is asked for. Each look may read its bytes in any order. If they are the same each
// time, the record was finished before the second look, since its first byte was set and no two
// records have the same header. Nobody began to write over it before the last one. So the second
// look saw that record and no other. One that is not known to be unchanged may be whole all the
// same; it needs a look of its own.
class Unchanged {
 public:
  // `copy` was made of `shared`, which is at least as long and which others may be writing.
  template <class Memory>
  Unchanged(Memory& memory, std::span<const std::uint8_t> copy,
            std::span<const std::uint8_t> shared)
      : copy_(copy), shared_(shared), changed_((copy.size() + kChunk - 1) / kChunk) {
    for (int looks = 0; looks < 2; ++looks) {
      memory.acquire();
      for (std::size_t i = 0; i < changed_.size(); ++i)
        if (!changed_[i]) changed_[i] = differs(memory, copy, shared, i * kChunk);
    }
  }

  // True when the record of `size` bytes at `at` is known to be unchanged.
  template <class Memory>
  bool holds(Memory& memory, std::size_t at, std::size_t size) const {
    const auto begin = changed_.begin() + static_cast<std::ptrdiff_t>(at / kChunk);
    const auto last = changed_.begin() + static_cast<std::ptrdiff_t>((at + size - 1) / kChunk);
    return std::find(begin, last + 1, true) == last + 1 && hasHeader(memory, at);
  }

 private:
  static constexpr std::size_t kChunk = 2048;

  template <class Memory>
  static bool differs(Memory& memory, std::span<const std::uint8_t> copy,
                      std::span<const std::uint8_t> shared, std::size_t at) {
    std::array<std::uint8_t, kChunk> again;
    const std::size_t size = std::min(kChunk, copy.size() - at);
    memory.read(again.data(), shared.data() + at, size);
    return std::memcmp(again.data(), copy.data() + at, size) != 0;
  }

  // The first byte goes first: it is cleared before anything else of a record changes.
  template <class Memory>
  bool hasHeader(Memory& memory, std::size_t at) const {
    std::array<std::uint8_t, layout::header::bytes> now;
    memory.acquire();
    if (memory.load(shared_.data() + at) != copy_[at]) return false;
    memory.acquire();
    memory.read(now.data(), shared_.data() + at, now.size());
    return std::memcmp(now.data(), copy_.data() + at, now.size()) == 0;
  }

  std::span<const std::uint8_t> copy_;
  std::span<const std::uint8_t> shared_;
  std::vector<bool> changed_;  // by chunk
};

}  // namespace reader

#endif  // ZEB_AGENT_READER_UNCHANGED_H
