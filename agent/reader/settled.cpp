// SPDX-License-Identifier: Apache-2.0
#include "agent/reader/settled.h"

#include <atomic>
#include <cstring>

namespace reader {

void SharedBytes::read(std::uint8_t* to, const std::uint8_t* shared, std::size_t bytes) {
  std::atomic_thread_fence(std::memory_order_acquire);
  std::memcpy(to, shared, bytes);
}

bool SharedBytes::same(const std::uint8_t* copied, const std::uint8_t* shared, std::size_t bytes) {
  std::atomic_thread_fence(std::memory_order_acquire);
  return std::memcmp(copied, shared, bytes) == 0;
}

}  // namespace reader
