// SPDX-License-Identifier: Apache-2.0
#include "tests/faults/blocks.h"

#include <cstddef>
#include <cstdint>

namespace faults {
namespace {

// A table of their own: nothing can be allocated here.
constexpr std::size_t kSlots = 1 << 15;
const void* blocks[kSlots];
const char gone = 0;  // its address is where a block was
long living = 0;

std::size_t slotOf(const void* block) {
  return (reinterpret_cast<std::uintptr_t>(block) >> 4) * 0x9E3779B97F4A7C15U >> 49;
}

}  // namespace

void remember(const void* block) {
  std::size_t slot = slotOf(block);
  while (blocks[slot] != nullptr && blocks[slot] != &gone) slot = (slot + 1) % kSlots;
  blocks[slot] = block;
  ++living;
}

bool forget(const void* block) {
  if (living == 0 || block == nullptr) return false;
  for (std::size_t slot = slotOf(block); blocks[slot] != nullptr; slot = (slot + 1) % kSlots) {
    if (blocks[slot] != block) continue;
    blocks[slot] = &gone;
    --living;
    return true;
  }
  return false;
}

long livingBlocks() {
  return living;
}

}  // namespace faults
