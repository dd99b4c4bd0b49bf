// SPDX-License-Identifier: Apache-2.0
// operator new and malloc as the library finds them.
#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <new>

#include "tests/faults/inside.h"

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define ZEB_SANITIZER_MALLOC 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer) || \
    __has_feature(memory_sanitizer)
#define ZEB_SANITIZER_MALLOC 1
#endif
#endif

namespace faults {

// The blocks that the library was given, in a table of its own: nothing can be allocated here.
namespace {

constexpr std::size_t kSlots = 1 << 15;
void* blocks[kSlots];
char gone;  // its address stands where a block was
long living = 0;

std::size_t slotOf(const void* block) {
  return (reinterpret_cast<std::uintptr_t>(block) >> 4) * 0x9E3779B97F4A7C15U >> 49;
}

void remember(void* block) {
  if (!insideLibrary || block == nullptr) return;
  std::size_t slot = slotOf(block);
  while (blocks[slot] != nullptr && blocks[slot] != &gone) slot = (slot + 1) % kSlots;
  blocks[slot] = block;
  ++living;
}

// True when the block was the library's.
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

}  // namespace

long livingBlocks() {
  return living;
}

}  // namespace faults

#ifdef ZEB_SANITIZER_MALLOC

const bool faults::mallocIsOurs = false;

namespace {
void* systemMalloc(std::size_t bytes) {
  return std::malloc(bytes);
}
void systemFree(void* block) {
  std::free(block);
}
}  // namespace

#else

const bool faults::mallocIsOurs = true;

extern "C" {

void* __libc_malloc(std::size_t bytes);
void* __libc_calloc(std::size_t count, std::size_t bytes);
void* __libc_realloc(void* block, std::size_t bytes);
void __libc_free(void* block);

void* malloc(std::size_t bytes) noexcept {
  if (faults::fails(faults::kMalloc)) return nullptr;
  void* const block = __libc_malloc(bytes);
  faults::remember(block);
  return block;
}

void* calloc(std::size_t count, std::size_t bytes) noexcept {
  if (faults::fails(faults::kMalloc, "calloc")) return nullptr;
  void* const block = __libc_calloc(count, bytes);
  faults::remember(block);
  return block;
}

void* realloc(void* block, std::size_t bytes) noexcept {
  if (faults::fails(faults::kMalloc)) return nullptr;
  const bool ofLibrary = faults::forget(block);
  void* const other = __libc_realloc(block, bytes);
  if (ofLibrary || block == nullptr) faults::remember(other);
  return other;
}

void free(void* block) noexcept {
  faults::forget(block);
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

void* allocate(std::size_t bytes, std::size_t alignment) {
  if (faults::fails(faults::kNew)) return nullptr;
  const std::size_t enough = std::max<std::size_t>(bytes, 1);
  void* const block = alignment <= __STDCPP_DEFAULT_NEW_ALIGNMENT__
                          ? systemMalloc(enough)
                          : aligned_alloc(alignment, (enough + alignment - 1) & ~(alignment - 1));
  faults::remember(block);
  return block;
}

void* allocateOrThrow(std::size_t bytes, std::size_t alignment) {
  void* const block = allocate(bytes, alignment);
  if (block != nullptr) return block;
  const faults::OutsideLibrary outside;  // the exception's own memory is none of the library's
  throw std::bad_alloc();
}

void release(void* block) {
  faults::forget(block);
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
