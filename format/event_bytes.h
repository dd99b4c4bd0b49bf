// SPDX-License-Identifier: Apache-2.0
// How the records of the two events areas are written and read.
//
// Readers take no lock, and a ring writes over records that somebody may be reading. The first byte
// of a record's eyecatcher says whether the record is whole: the writer clears it, writes the rest,
// and sets it last. The reader copies the record between two looks at this byte, and the record's
// header before the first and after the second. A record ID is never used again, so a header that
// is the same both times means that no other record was there in between, not even for a whole
// turn of the ring.
//
// Nothing here locks, allocates or fails. A `Memory` says how shared memory is touched: tests stop
// at each of its steps.
#ifndef ZEB_FORMAT_EVENT_BYTES_H
#define ZEB_FORMAT_EVENT_BYTES_H

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>

#include "format/layout.h"

namespace event_bytes {

// The plain way. `load` and `store` move one byte at once; `read` and `write` move many, in any
// order. What comes behind acquire() is read after what came before it; what comes before release()
// is written before what comes behind it.
struct PlainMemory {
  static std::uint8_t load(const std::uint8_t* at) { return __atomic_load_n(at, __ATOMIC_RELAXED); }
  static void store(std::uint8_t* at, std::uint8_t value) {
    __atomic_store_n(at, value, __ATOMIC_RELAXED);
  }
  static void read(void* to, const std::uint8_t* shared, std::size_t bytes) {
    std::memcpy(to, shared, bytes);
  }
  static void write(std::uint8_t* shared, const std::uint8_t* from, std::size_t bytes) {
    std::memcpy(shared, from, bytes);
  }
  static void acquire() { std::atomic_thread_fence(std::memory_order_acquire); }
  static void release() { std::atomic_thread_fence(std::memory_order_release); }
};

// A stopped writer must not hold a reader for long: so often a place is looked at.
inline constexpr int kMostLooks = 100;

enum class Found {
  record,   // a whole record
  writing,  // somebody writes here, was stopped while writing, or died then
  nothing,  // no record begins here
};

// What one look saw.
struct Look {
  Found found = Found::nothing;
  std::size_t size = 0;  // of the record in bytes; 0 unless one was found
};

// The eyecatcher without its first byte, which may be cleared.
inline constexpr std::string_view kRestOfEyecatcher{layout::header::text + 1, 3};

// The first eyecatcher in `old` that begins at `from` or behind; old.size() when there is none.
inline std::size_t nextEyecatcher(std::string_view old, std::size_t from) {
  const std::size_t rest = old.find(kRestOfEyecatcher, from + 1);
  return rest == old.npos ? old.size() : rest - 1;
}

// Writes the record at `place`. The caller holds the area's lock and has made sure that there is
// room. `old` bytes from `place` on may hold older records that begin anywhere, up to the last
// offset; 0 when only one can be there, as in the data area. `record` is not empty, and is private.
//
// Older records are taken in turn: each has its first byte cleared before any other byte of it
// changes, and gets the new first byte last. A text that has an "R" there makes no half record
// look whole.
template <class Memory>
void overwrite(Memory& memory, std::uint8_t* place, std::span<const std::uint8_t> record,
               std::size_t old) {
  const std::string_view present(reinterpret_cast<const char*>(place), old);
  for (std::size_t begin = 0, end; begin < record.size(); begin = end) {
    memory.store(place + begin, 0);
    memory.release();
    end = begin + 1 < old ? nextEyecatcher(present, begin + 1) : record.size();
    if (end >= old || end > record.size()) end = record.size();
    memory.write(place + begin + 1, record.data() + begin + 1, end - begin - 1);
    memory.release();
    if (begin > 0) memory.store(place + begin, record[begin]);
  }
  memory.release();
  memory.store(place, record[0]);
}

// Copies so much of the record that `copy` holds all of it, and returns its size; 0 when none
// begins there. `guess` bytes are tried first.
template <class Memory>
std::size_t copyRecord(Memory& memory, std::span<const std::uint8_t> shared,
                       std::span<std::uint8_t> copy, std::size_t guess) {
  for (std::size_t have = 0, want = guess;; have = want, want *= 2) {
    want = std::min(want, shared.size());
    memory.read(copy.data() + have, shared.data() + have, want - have);
    const std::size_t size = layout::storedSize(copy.first(want));
    if (size > 0 || want == shared.size()) return size;
  }
}

// One look at the place where `shared` begins. `copy` is as long; it begins with the record's bytes
// when one was found, else it may hold anything.
template <class Memory>
Look look(Memory& memory, std::span<const std::uint8_t> shared, std::span<std::uint8_t> copy) {
  constexpr std::size_t kGuess = 256;
  using Header = std::array<std::uint8_t, layout::header::bytes>;
  Header before, after;
  if (shared.size() < before.size()) return {};
  memory.read(before.data(), shared.data(), before.size());
  if (std::memcmp(before.data() + 1, kRestOfEyecatcher.data(), kRestOfEyecatcher.size()) != 0)
    return {};
  memory.acquire();
  const std::uint8_t first = memory.load(shared.data());
  if (first != layout::header::text[0]) return {first == 0 ? Found::writing : Found::nothing};
  memory.acquire();
  const std::uint32_t fixed = layout::fixedSizeOf(layout::typeOf(before.data()));
  const std::size_t size = copyRecord(memory, shared, copy, fixed > 0 ? fixed : kGuess);
  memory.acquire();
  const bool same = memory.load(shared.data()) == first;
  memory.acquire();
  memory.read(after.data(), shared.data(), after.size());
  if (!same || after != before || !std::equal(after.begin(), after.end(), copy.begin()))
    return {Found::writing};
  return {size > 0 ? Found::record : Found::nothing, size};
}

// As many looks as it takes, up to kMostLooks: `writing` then says that a writer was stopped there,
// or died. Takes no lock and never waits.
template <class Memory>
Look find(Memory& memory, std::span<const std::uint8_t> shared, std::span<std::uint8_t> copy) {
  Look seen;
  for (int looks = 0; looks < kMostLooks; ++looks) {
    seen = look(memory, shared, copy);
    if (seen.found != Found::writing) break;
  }
  return seen;
}

}  // namespace event_bytes

#endif  // ZEB_FORMAT_EVENT_BYTES_H
