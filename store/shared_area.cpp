// SPDX-License-Identifier: Apache-2.0
#include "store/shared_area.h"

#include <pthread.h>

#include <algorithm>
#include <new>

#include "base/format.h"
#include "base/memory_size.h"
#include "base/private_bytes.h"
#include "base/shared_bytes.h"
#include "base/temp_directory.h"
#include "base/trace.h"
#include "format/sizes.h"
#include "records/record_factory.h"

namespace {

constexpr char kUnit[] = "zebcshar";

// Makes a record of the bytes, a copy of those at p, and keeps it when it is wanted.
ZEB_ReturnCode rebuild(const std::uint8_t* bytes, void* p, const ZEB_Shared_Area::Wanted& wanted,
                       ZEB_Record_Collection* records) {
  std::unique_ptr<ZEB_Record> record = ZEB_MakeBlankRecord(layout::typeOf(bytes));
  if (!record) return ZEB_NOT_ALLOCATED;
  record->getFrom(bytes, p);
  if (!record->OK()) return ZEB_NOT_ALLOCATED;
  if (!wanted(*record)) return ZEB_SUCCESS;
  if (!records->insert(record.get())) return ZEB_NOT_ALLOCATED;
  record.release();  // NOLINT(bugprone-unused-return-value): the collection has it
  return ZEB_SUCCESS;
}

}  // namespace

ZEB_Shared_Area::ZEB_Shared_Area(const ZEB_String& name)
    : areaName_(ZEB_GetTempDirectory() + name) {
  ZEB_Trace trace(kUnit, "ZEB_Shared_Area::ZEB_Shared_Area");
  setSize(ZEB_ConfiguredMemorySize());
}

ZEB_Shared_Area::~ZEB_Shared_Area() {
  ZEB_Trace trace(kUnit, "ZEB_Shared_Area::~ZEB_Shared_Area");
  cleanup();
}

void ZEB_Shared_Area::init(ZEB_Shared_Memory* segment) {
  ZEB_Trace trace(kUnit, "ZEB_Shared_Area::init");
  trace.text("Initializing shared area %s", areaName_);
  if (segment) segment->allocate(this);
  // A block smaller than any area is damaged, and no record might ever fit.
  if (getSize() < layout::kSmallestArea) setAddress(nullptr);
  trace.text("Shared area %s mapped. ADDRESS = 0x%X", areaName_, getAddress());
  areaMutex_.reset(new (std::nothrow) ZEB_Name_Mutex(getAreaName()));
  if (!areaMutex_) trace.allocationError();
  if (areaMutex_ && !areaMutex_->OK()) areaMutex_.reset();
}

ZEB_ReturnCode ZEB_Shared_Area::put(ZEB_Record* record) {
  ZEB_Trace trace(kUnit, "ZEB_Shared_Area::put");
  trace.text("Inserting record in shared area %s", areaName_);
  if (!record) return trace.leave(ZEB_ReturnCode(ZEB_NULL_ARGUMENT));
  if (!usable()) return trace.leave(ZEB_ReturnCode(ZEB_NOT_USABLE));
  if (void* const address = record->getAddress()) return trace.leave(writeRecord(address, record));
  lock();
  void* end = nullptr;
  const ZEB_ReturnCode code = writeRecord(getNextPosition(), record, &end);
  setNextPosition(end);  // when it did not fit, this moves nothing but the time stamp
  unlock();
  return trace.leave(code);
}

void ZEB_Shared_Area::store(std::uint8_t* place, std::span<const std::uint8_t> record) {
  ZEB_CopyToShared(place, record.data(), record.size());
}

ZEB_ReturnCode ZEB_Shared_Area::writeRecord(void* position, ZEB_Record* record, void** end) {
  ZEB_Trace trace(kUnit, "ZEB_Shared_Area::writeRecord");
  trace.text("Writing a record in position 0x%X of shared area %s", position, areaName_);
  if (end) *end = position;
  if (!record) return trace.leave(ZEB_ReturnCode(ZEB_NULL_ARGUMENT));
  const std::uint32_t size = record->size();
  if (!isEnoughSpace(position, size)) [[unlikely]]
    return trace.leave(ZEB_ReturnCode(ZEB_NO_ROOM));
  ZEB_Private_Bytes image(size);
  if (!image.data()) {
    trace.allocationError();
    return trace.leave(ZEB_ReturnCode(ZEB_NOT_ALLOCATED));
  }
  void* const behindRecord = record->putTo(image.data(), position);
  store(static_cast<std::uint8_t*>(position), {image.data(), size});
  if (end) *end = behindRecord;
  return trace.leave(ZEB_ReturnCode(ZEB_SUCCESS));
}

ZEB_ReturnCode ZEB_Shared_Area::writeBytes(void* position, std::span<const std::uint8_t> bytes) {
  if (!isEnoughSpace(position, static_cast<std::uint32_t>(bytes.size()))) return ZEB_NO_ROOM;
  ZEB_CopyToShared(position, bytes.data(), bytes.size());
  return ZEB_SUCCESS;
}

// What is there is as long as the record is: it was written from it, or from one whose strings
// are equally long.
ZEB_ReturnCode ZEB_Shared_Area::get(ZEB_Record* record) {
  ZEB_Trace trace(kUnit, "ZEB_Shared_Area::get");
  if (!record) return trace.leave(ZEB_ReturnCode(ZEB_NULL_ARGUMENT));
  if (!usable()) return trace.leave(ZEB_ReturnCode(ZEB_NOT_USABLE));
  void* const address = record->getAddress();
  if (!address) return trace.leave(ZEB_ReturnCode(ZEB_SUCCESS));
  const std::uint32_t size = record->size();
  if (!isEnoughSpace(address, size)) return trace.leave(ZEB_ReturnCode(ZEB_NOT_READ));
  ZEB_Private_Bytes image(size);
  if (!image.data()) {
    trace.allocationError();
    return trace.leave(ZEB_ReturnCode(ZEB_NOT_ALLOCATED));
  }
  ZEB_CopyFromShared(image.data(), address, size);
  if (layout::storedSize({image.data(), size}) != size ||
      layout::typeOf(image.data()) != record->type())
    return trace.leave(ZEB_ReturnCode(ZEB_NOT_READ));
  record->getFrom(image.data(), address);
  return trace.leave(ZEB_ReturnCode(ZEB_SUCCESS));
}

ZEB_ReturnCode ZEB_Shared_Area::read(ZEB_Record_Collection* records) {
  ZEB_Trace trace(kUnit, "ZEB_Shared_Area::read");
  return trace.leave(read(records, _TimeStamp{}));
}

ZEB_ReturnCode ZEB_Shared_Area::read(ZEB_Record_Collection* records, _TimeStamp stamp) {
  return walk(records, [stamp](const ZEB_Record& record) { return record.isNewer(stamp) != 0; })
      .code;
}

ZEB_Shared_Area::Walk ZEB_Shared_Area::walk(ZEB_Record_Collection* records, const Wanted& wanted) {
  ZEB_Trace trace(kUnit, "ZEB_Shared_Area::read");
  Walk walked;
  if (!records) {
    walked.code = ZEB_NULL_ARGUMENT;
  } else if (!usable()) {
    walked.code = ZEB_NOT_USABLE;
  } else if (const std::span<std::uint8_t> place = stored(); !place.empty()) {
    walked = walk(place, records, wanted);
  }
  if (walked.code == ZEB_NOT_ALLOCATED) trace.allocationError();
  trace.leave(walked.code);
  return walked;
}

ZEB_Shared_Area::Walk ZEB_Shared_Area::walk(std::span<std::uint8_t> place,
                                            ZEB_Record_Collection* records, const Wanted& wanted) {
  ZEB_Private_Bytes image(place.size());
  if (!image.data()) return {ZEB_NOT_ALLOCATED};
  const std::span<std::uint8_t> copy{image.data(), place.size()};
  prepare(place, copy);
  Walk walked;
  for (std::size_t at = 0; walked.code == ZEB_SUCCESS && at < place.size();) {
    const event_bytes::Look seen = look(place.subspan(at), copy.subspan(at));
    if (seen.found == event_bytes::Found::record) {
      walked.code = rebuild(&copy[at], &place[at], wanted, records);
      at += seen.size;
    } else if (seen.found == event_bytes::Found::writing && slotBytes() > 0) {
      at += slotBytes();
    } else {
      walked = {ZEB_NOT_READ, seen.found == event_bytes::Found::writing};
    }
  }
  return walked;
}

// All at once: a record is rewritten in place, so that a later copy of it would be as good.
void ZEB_Shared_Area::prepare(std::span<const std::uint8_t> place, std::span<std::uint8_t> copy) {
  ZEB_CopyFromShared(copy.data(), place.data(), place.size());
}

event_bytes::Look ZEB_Shared_Area::look(std::span<const std::uint8_t> /*place*/,
                                        std::span<std::uint8_t> copy) {
  const std::size_t size = layout::storedSize(copy);
  return {size > 0 ? event_bytes::Found::record : event_bytes::Found::nothing, size};
}

std::span<std::uint8_t> ZEB_Shared_Area::stored() {
  if (!usable()) return {};
  auto* const first = static_cast<std::uint8_t*>(getFirstPosition());
  const void* const last = getLastPosition();
  const void* const end = std::min(last, static_cast<const void*>(getLastAvailablePosition()));
  return {first, end > first ? ZEB_Distance(first, end) : 0};
}

void ZEB_Shared_Area::copyTo(void* buffer, std::uint32_t /*length*/) {
  ZEB_Trace trace(kUnit, "ZEB_Shared_Area::copyTo");
  if (!buffer || !usable()) return;
  lock();
  const std::uint32_t size = getSize();
  trace.text("memcpy 0x%X 0x%X %d", buffer, getAddress(), static_cast<int>(size));
  ZEB_CopyFromShared(buffer, getAddress(), size);
  unlock();
}

std::uint64_t ZEB_Shared_Area::getThreadId() {
  ZEB_Trace trace(kUnit, "ZEB_Shared_Area::getThreadId");
  return trace.leave(static_cast<std::uint64_t>(pthread_self()));
}

void ZEB_Shared_Area::lock() {
  ZEB_Trace trace(kUnit, "ZEB_Shared_Area::lock");
  const std::uint64_t self = getThreadId();
  if (owner_.load(std::memory_order_relaxed) == self) {
    ++depth_;
    return;
  }
  if (areaMutex_)
    areaMutex_->get();
  else
    threads_.enter();
  owner_.store(self, std::memory_order_relaxed);
  ownerThread_ = static_cast<std::uint32_t>(self);
  depth_ = 1;
}

void ZEB_Shared_Area::unlock() {
  ZEB_Trace trace(kUnit, "ZEB_Shared_Area::unlock");
  if (--depth_ >= 1) return;
  depth_ = 0;
  ownerThread_ = 0;
  owner_.store(0, std::memory_order_relaxed);
  if (areaMutex_)
    areaMutex_->release();
  else
    threads_.leave();
}

void ZEB_Shared_Area::dump() {
  ZEB_Trace trace(kUnit, "ZEB_Shared_Area::dump");
  if (!bZEBTracing) return;
  trace.text("Area : %s", areaName_);
  trace.text("address = 0x%X, size = %i", getAddress(), static_cast<int>(getSize()));
  ZEB_DumpMemory(getAddress(), getSize(), nullptr);
}

const char* ZEB_Shared_Area::getAreaName() const {
  ZEB_Trace trace(kUnit, "ZEB_Shared_Area::getAreaName");
  return trace.leave(static_cast<const char*>(areaName_.getcValue()));
}

int ZEB_Shared_Area::getType() const {
  ZEB_Trace trace(kUnit, "ZEB_Shared_Area::getType");
  return trace.leave(0);
}

void ZEB_Shared_Area::cleanup() {
  ZEB_Trace trace(kUnit, "ZEB_Shared_Area::cleanup");
  areaMutex_.reset();
}
