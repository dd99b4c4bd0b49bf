// SPDX-License-Identifier: Apache-2.0
// operator new and malloc as the program finds them.
#include <algorithm>
#include <cstdlib>
#include <new>

#include "tests/support/seam_ask.h"

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define ZEB_SANITIZER_MALLOC 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer) || \
    __has_feature(memory_sanitizer)
#define ZEB_SANITIZER_MALLOC 1
#endif
#endif

using namespace support::seam;

namespace {

void* allocated(void* block) {
  if (block != nullptr && current != nullptr && !Aside::in()) current->allocated(block);
  return block;
}

void freed(const void* block) {
  if (block != nullptr && current != nullptr) current->freed(block);
}

}  // namespace

#ifdef ZEB_SANITIZER_MALLOC

const bool support::seam::mallocIsOurs = false;

namespace {
void* systemMalloc(std::size_t bytes) {
  return std::malloc(bytes);
}
void systemFree(void* block) {
  std::free(block);
}
}  // namespace

#else

const bool support::seam::mallocIsOurs = true;

extern "C" {

void* __libc_malloc(std::size_t bytes);
void* __libc_calloc(std::size_t count, std::size_t bytes);
void* __libc_realloc(void* block, std::size_t bytes);
void __libc_free(void* block);

void* malloc(std::size_t bytes) noexcept {
  if (ask({.function = kMalloc, .bytes = bytes})) return nullptr;
  return allocated(__libc_malloc(bytes));
}

void* calloc(std::size_t count, std::size_t bytes) noexcept {
  if (ask({.function = kMalloc, .bytes = count * bytes, .cleared = true})) return nullptr;
  return allocated(__libc_calloc(count, bytes));
}

void* realloc(void* block, std::size_t bytes) noexcept {
  if (ask({.function = kMalloc, .bytes = bytes})) return nullptr;
  void* const other = __libc_realloc(block, bytes);
  if (current != nullptr && !Aside::in()) current->moved(block, other);
  return other;
}

void free(void* block) noexcept {
  freed(block);
  __libc_free(block);
}

}  // extern "C"

namespace {
void* systemMalloc(std::size_t bytes) {
  return __libc_malloc(bytes);
}
void systemFree(void* block) {
  __libc_free(block);
}
}  // namespace

#endif

namespace {

void* allocate(std::size_t bytes, std::size_t alignment, bool mayThrow = false) {
  if (ask({.function = kNew, .bytes = bytes, .mayThrow = mayThrow})) return nullptr;
  const std::size_t enough = std::max<std::size_t>(bytes, 1);
  return allocated(alignment <= __STDCPP_DEFAULT_NEW_ALIGNMENT__
                       ? systemMalloc(enough)
                       : aligned_alloc(alignment, (enough + alignment - 1) & ~(alignment - 1)));
}

void* allocateOrThrow(std::size_t bytes, std::size_t alignment) {
  void* const block = allocate(bytes, alignment, true);
  if (block != nullptr) return block;
  const Aside aside;  // for the memory of the exception itself
  throw std::bad_alloc();
}

void release(void* block) {
  freed(block);
  systemFree(block);
}

}  // namespace

void* operator new(std::size_t bytes) {
  return allocateOrThrow(bytes, 0);
}
void* operator new[](std::size_t bytes) {
  return allocateOrThrow(bytes, 0);
}
void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept {
  return allocate(bytes, 0);
}
void* operator new[](std::size_t bytes, const std::nothrow_t&) noexcept {
  return allocate(bytes, 0);
}
void* operator new(std::size_t bytes, std::align_val_t alignment) {
  return allocateOrThrow(bytes, static_cast<std::size_t>(alignment));
}
void* operator new[](std::size_t bytes, std::align_val_t alignment) {
  return allocateOrThrow(bytes, static_cast<std::size_t>(alignment));
}
void* operator new(std::size_t bytes, std::align_val_t alignment, const std::nothrow_t&) noexcept {
  return allocate(bytes, static_cast<std::size_t>(alignment));
}
void* operator new[](std::size_t bytes, std::align_val_t alignment,
                     const std::nothrow_t&) noexcept {
  return allocate(bytes, static_cast<std::size_t>(alignment));
}

void operator delete(void* block) noexcept {
  release(block);
}
void operator delete[](void* block) noexcept {
  release(block);
}
void operator delete(void* block, std::size_t) noexcept {
  release(block);
}
void operator delete[](void* block, std::size_t) noexcept {
  release(block);
}
void operator delete(void* block, const std::nothrow_t&) noexcept {
  release(block);
}
void operator delete[](void* block, const std::nothrow_t&) noexcept {
  release(block);
}
void operator delete(void* block, std::align_val_t) noexcept {
  release(block);
}
void operator delete[](void* block, std::align_val_t) noexcept {
  release(block);
}
void operator delete(void* block, std::size_t, std::align_val_t) noexcept {
  release(block);
}
void operator delete[](void* block, std::size_t, std::align_val_t) noexcept {
  release(block);
}
