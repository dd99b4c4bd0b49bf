// SPDX-License-Identifier: Apache-2.0
// How shared memory is read, written and cleared.
//
// Other processes write there at any time, and readers take no lock: a copy may be torn, which the
// formats allow for. It is made once, and only the private side is ever looked at. Under
// ThreadSanitizer the bytes go as relaxed atomics, so that this intended race is not reported and
// every other one is.
#ifndef ZEB_BASE_SHARED_BYTES_H
#define ZEB_BASE_SHARED_BYTES_H

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "base/thread_sanitizer.h"

// From shared memory at `shared`, which may change meanwhile, into the caller's own bytes. The two
// don't overlap, and the caller made sure that so many bytes are mapped there.
inline void ZEB_CopyFromShared(void* to, const void* shared, std::size_t bytes) {
#ifdef ZEB_THREAD_SANITIZER
  for (std::size_t i = 0; i < bytes; ++i)
    static_cast<std::uint8_t*>(to)[i] =
        __atomic_load_n(static_cast<const std::uint8_t*>(shared) + i, __ATOMIC_RELAXED);
#else
  std::memcpy(to, shared, bytes);
#endif
}

// Into shared memory at `shared`, in no particular order: a reader may see any part of it first.
inline void ZEB_CopyToShared(void* shared, const void* from, std::size_t bytes) {
#ifdef ZEB_THREAD_SANITIZER
  for (std::size_t i = 0; i < bytes; ++i)
    __atomic_store_n(static_cast<std::uint8_t*>(shared) + i,
                     static_cast<const std::uint8_t*>(from)[i], __ATOMIC_RELAXED);
#else
  std::memcpy(shared, from, bytes);
#endif
}

// Zeroes so many bytes of shared memory.
inline void ZEB_ClearShared(void* shared, std::size_t bytes) {
#ifdef ZEB_THREAD_SANITIZER
  for (std::size_t i = 0; i < bytes; ++i)
    __atomic_store_n(static_cast<std::uint8_t*>(shared) + i, std::uint8_t{0}, __ATOMIC_RELAXED);
#else
  std::memset(shared, 0, bytes);
#endif
}

#endif  // ZEB_BASE_SHARED_BYTES_H
