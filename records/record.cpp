// SPDX-License-Identifier: Apache-2.0
#include "records/record.h"

#include <cstdio>
#include <cstring>
#include <new>

#include "base/format.h"
#include "base/random_number.h"
#include "base/trace.h"

namespace {

constexpr char kUnit[] = "zebcrcrd";

}  // namespace

ZEB_Record::ZEB_Record(ZEB_RecordType type, int makeId) {
  ZEB_Trace trace(kUnit, "ZEB_Record::ZEB_Record");
  std::memcpy(header_.eyecatcher, layout::header::text, sizeof header_.eyecatcher);
  header_.id.type = type;
  if (makeId == 0) return;
  header_.id.created = ZEB_Timer::nowTime();
  header_.id.random = ZEB_RandomNumber();
}

ZEB_Record::ZEB_Record(const ZEB_Record& other)
    : status_(other.status_), header_(other.header_), address_(other.address_) {
  ZEB_Trace trace(kUnit, "ZEB_Record::ZEB_Record");
}

ZEB_Record::~ZEB_Record() {
  ZEB_Trace trace(kUnit, "ZEB_Record::~ZEB_Record");
  cleanup();
}

ZEB_Record& ZEB_Record::operator=(const ZEB_Record& other) {
  ZEB_Trace trace(kUnit, "ZEB_Record::operator=");
  header_ = other.header_;
  address_ = other.address_;
  mutexStale_ = 1;
  return *this;
}

std::uint32_t ZEB_Record::size() const {
  ZEB_Trace trace(kUnit, "ZEB_Record::size");
  return trace.leave(layout::header::bytes);
}

void* ZEB_Record::get(void* p) {
  return getFrom(p, p);
}

void* ZEB_Record::getFrom(const void* bytes, void* p) {
  ZEB_Trace trace(kUnit, "ZEB_Record::get");
  trace.text("GET %d bytes from 0x%X", static_cast<int>(layout::header::bytes), p);
  if (!usable(p)) [[unlikely]]
    return trace.leave(p);
  address_ = p;
  ZEB_Record_Header stored;
  std::memcpy(&stored, bytes, sizeof stored);
  if (stored.id != header_.id) mutexStale_ = 1;
  header_ = stored;
  return trace.leave(ZEB_Behind(p, sizeof header_));
}

void* ZEB_Record::put(void* p) {
  return putTo(p, p);
}

void* ZEB_Record::putTo(void* bytes, void* p) {
  ZEB_Trace trace(kUnit, "ZEB_Record::put");
  if (!usable(p)) [[unlikely]]
    return trace.leave(p);
  address_ = p;
  std::memcpy(bytes, &header_, sizeof header_);
  return trace.leave(ZEB_Behind(p, sizeof header_));
}

void ZEB_Record::print() const {
  ZEB_Trace trace(kUnit, "ZEB_Record::print");
  trace.print("   R E C O R D   I D");
  ZEB_DumpMemory(&header_, sizeof header_, nullptr);
}

bool ZEB_Record::OK() const {
  ZEB_Trace trace(kUnit, "ZEB_Record::OK");
  return trace.leave(status_ == ZEB_STATUS_OK);
}

int ZEB_Record::getStatus() const {
  ZEB_Trace trace(kUnit, "ZEB_Record::getStatus");
  return trace.leave(status_);
}

std::uint32_t ZEB_Record::type() const {
  ZEB_Trace trace(kUnit, "ZEB_Record::type");
  return trace.leave(header_.id.type);
}

_TimeStamp ZEB_Record::timeStamp() const {
  ZEB_Trace trace(kUnit, "ZEB_Record::timeStamp");
  return header_.id.created;
}

const ZEB_Record_ID* ZEB_Record::getRecordId() const {
  ZEB_Trace trace(kUnit, "ZEB_Record::getRecordId");
  return trace.leave(&header_.id);
}

const ZEB_Record_ID* ZEB_Record::getParentId() const {
  ZEB_Trace trace(kUnit, "ZEB_Record::getParentId");
  return trace.leave(&header_.parent);
}

void ZEB_Record::setParent(const ZEB_Record_ID* id) {
  ZEB_Trace trace(kUnit, "ZEB_Record::setParent");
  if (id) header_.parent = *id;
}

std::uint32_t ZEB_Record::isChildOf(const ZEB_Record* other) const {
  ZEB_Trace trace(kUnit, "ZEB_Record::isChildOf");
  return trace.leave(static_cast<std::uint32_t>(other && header_.parent == other->header_.id));
}

void ZEB_Record::markDeleted() {
  ZEB_Trace trace(kUnit, "ZEB_Record::markDeleted");
  header_.deleted = 1;
}

void ZEB_Record::undelete() {
  ZEB_Trace trace(kUnit, "ZEB_Record::undelete");
  header_.deleted = 0;
}

std::uint32_t ZEB_Record::isDeleted() const {
  ZEB_Trace trace(kUnit, "ZEB_Record::isDeleted");
  return trace.leave(header_.deleted);
}

std::uint32_t ZEB_Record::isNewer(_TimeStamp than) const {
  ZEB_Trace trace(kUnit, "ZEB_Record::isNewer");
  const _TimeStamp created = header_.id.created;
  const bool newer = created.seconds > than.seconds ||
                     (created.seconds == than.seconds && created.milliseconds > than.milliseconds);
  return trace.leave(static_cast<std::uint32_t>(newer));
}

ZEB_String ZEB_Record::getStringRecordId() const {
  ZEB_Trace trace(kUnit, "ZEB_Record::getStringRecordId");
  std::uint8_t id[sizeof header_.id];
  std::memcpy(id, &header_.id, sizeof id);
  char digits[2 * sizeof id + 1] = "";
  for (std::size_t i = 0; i < sizeof id; ++i) std::snprintf(digits + 2 * i, 3, "%02X", id[i]);
  trace.text("Record ID %s", digits);
  ZEB_String text(digits);
  if (!text.OK()) trace.allocationError();
  return text;
}

void ZEB_Record::setAddress(void* p) {
  ZEB_Trace trace(kUnit, "ZEB_Record::setAddress");
  address_ = p;
}

void* ZEB_Record::getAddress() const {
  ZEB_Trace trace(kUnit, "ZEB_Record::getAddress");
  return trace.leave(address_);
}

ZEB_ReturnCode ZEB_Record::initializeMutex() {
  ZEB_Trace trace(kUnit, "ZEB_Record::initializeMutex");
  const ZEB_String name = getStringRecordId();
  mutex_.reset();
  mutex_.reset(new (std::nothrow) ZEB_Name_Mutex(name.getcValue()));
  if (!mutex_) {
    trace.allocationError();
    return trace.leave(ZEB_ReturnCode(ZEB_NOT_ALLOCATED));
  }
  if (!mutex_->OK()) {
    mutex_.reset();
    return trace.leave(ZEB_ReturnCode(ZEB_LOCK_NOT_BUILT));
  }
  mutexId_ = header_.id;
  mutexStale_ = 0;
  return trace.leave(ZEB_ReturnCode(ZEB_SUCCESS));
}

void ZEB_Record::lock() {
  ZEB_Trace trace(kUnit, "ZEB_Record::lock");
  threads_.enter();
  // An assignment of a record with the same ID needs no other lock, and the one at hand may be the
  // one that keeps the semaphore alive.
  if (mutexStale_ != 0 && mutex_ && mutexId_ == header_.id) mutexStale_ = 0;
  if (mutexStale_ != 0) [[unlikely]] {
    const ZEB_ReturnCode code = initializeMutex();
    if (code != ZEB_SUCCESS) trace.print("Error %i building Mutex", static_cast<int>(code));
  }
  if (mutex_) mutex_->get();
}

void ZEB_Record::unlock() {
  ZEB_Trace trace(kUnit, "ZEB_Record::unlock");
  if (mutex_) mutex_->release();
  threads_.leave();
}

void ZEB_Record::cleanup() {
  ZEB_Trace trace(kUnit, "ZEB_Record::cleanup");
  mutex_.reset();
}
