// SPDX-License-Identifier: Apache-2.0
#include "store/wrapping_area.h"

#include <algorithm>

#include "base/shared_bytes.h"

namespace {

// As the plain one, and known to ThreadSanitizer.
struct Memory : event_bytes::PlainMemory {
  static void read(void* to, const std::uint8_t* shared, std::size_t bytes) {
    ZEB_CopyFromShared(to, shared, bytes);
  }
  static void write(std::uint8_t* shared, const std::uint8_t* from, std::size_t bytes) {
    ZEB_CopyToShared(shared, from, bytes);
  }
};

}  // namespace

ZEB_ReturnCode ZEB_Wrapping_Area::putOrWrap(ZEB_Record* record) {
  const ZEB_ReturnCode code = ZEB_Shared_Area::put(record);
  if (code != ZEB_NO_ROOM) return code;
  lock();
  // Somebody else may have wrapped meanwhile: a second wrap would overwrite the newest records.
  if (!isEnoughSpace(getNextPosition(), record->size())) setNextPosition(getFirstPosition());
  unlock();
  return code;
}

ZEB_ReturnCode ZEB_Wrapping_Area::putWrapping(ZEB_Record* record) {
  ZEB_ReturnCode code = ZEB_NO_ROOM;
  while (code == ZEB_NO_ROOM) code = putOrWrap(record);
  return code;
}

void ZEB_Wrapping_Area::store(std::uint8_t* place, std::span<const std::uint8_t> record) {
  if (record.empty()) return;  // one that is not OK
  Memory memory;
  event_bytes::overwrite(memory, place, record, oldBytes(place));
}

// Each look makes its own copy.
void ZEB_Wrapping_Area::prepare(std::span<const std::uint8_t> /*place*/,
                                std::span<std::uint8_t> /*copy*/) {}

event_bytes::Look ZEB_Wrapping_Area::look(std::span<const std::uint8_t> place,
                                          std::span<std::uint8_t> copy) {
  Memory memory;
  return event_bytes::find(memory, place, copy);
}

// By the private copy of the header: the appending thread has just reloaded it.
std::size_t ZEB_Wrapping_Area::oldBytes(const std::uint8_t* place) const {
  const auto last = std::min(static_cast<std::uint32_t>(headerCopy().last), mappedBytes());
  const std::size_t before = ZEB_Distance(getAddress(), place);
  return last > before ? last - before : 0;
}
