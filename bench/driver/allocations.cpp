// SPDX-License-Identifier: Apache-2.0
#include "bench/driver/allocations.h"

#include <cerrno>
#include <cstddef>

// The program's functions come before the C library's, which keeps its own under these names.
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* old, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
}

namespace {

thread_local std::uint64_t asked = 0;

}  // namespace

namespace bench {

std::uint64_t allocations() {
  return asked;
}

}  // namespace bench

#pragma GCC visibility push(default)
extern "C" {

void* malloc(std::size_t size) noexcept {
  ++asked;
  return __libc_malloc(size);
}

void* calloc(std::size_t count, std::size_t size) noexcept {
  ++asked;
  return __libc_calloc(count, size);
}

void* realloc(void* old, std::size_t size) noexcept {
  ++asked;
  return __libc_realloc(old, size);
}

void* memalign(std::size_t alignment, std::size_t size) noexcept {
  ++asked;
  return __libc_memalign(alignment, size);
}

void* aligned_alloc(std::size_t alignment, std::size_t size) noexcept {
  ++asked;
  return __libc_memalign(alignment, size);
}

int posix_memalign(void** memory, std::size_t alignment, std::size_t size) noexcept {
  ++asked;
  *memory = __libc_memalign(alignment, size);
  return *memory != nullptr ? 0 : ENOMEM;
}

}  // extern "C"
#pragma GCC visibility pop
