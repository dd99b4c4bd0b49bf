// SPDX-License-Identifier: Apache-2.0
#include "store/memory_manager.h"

#include <algorithm>
#include <atomic>
#include <cstring>

#include "base/format.h"
#include "base/shared_bytes.h"
#include "base/trace.h"

namespace {

constexpr char kUnit[] = "zebcmema";

std::uintptr_t number(const void* p) {
  return reinterpret_cast<std::uintptr_t>(p);
}

}  // namespace

ZEB_Memory_Manager::ZEB_Memory_Manager() {
  ZEB_Trace trace(kUnit, "ZEB_Memory_Manager::ZEB_Memory_Manager");
}

ZEB_Memory_Manager::~ZEB_Memory_Manager() {
  ZEB_Trace trace(kUnit, "ZEB_Memory_Manager::~ZEB_Memory_Manager");
}

bool ZEB_Memory_Manager::OK() const {
  ZEB_Trace trace(kUnit, "ZEB_Memory_Manager::OK");
  return trace.leave(status_ == ZEB_STATUS_OK);
}

int ZEB_Memory_Manager::getStatus() const {
  ZEB_Trace trace(kUnit, "ZEB_Memory_Manager::getStatus");
  return trace.leave(status_);
}

// A damaged offset makes a position that is nowhere, so it is formed as a number.
void* ZEB_Memory_Manager::at(std::int32_t offset) const {
  return reinterpret_cast<void*>(number(address_) + static_cast<std::uint32_t>(offset));
}

ZEB_Block_Header ZEB_Memory_Manager::headerCopy() const {
  const std::lock_guard guard(copying_);
  return header_;
}

void ZEB_Memory_Manager::getHeader() {
  reload();
}

ZEB_Block_Header ZEB_Memory_Manager::reload() {
  ZEB_Trace trace(kUnit, "ZEB_Memory_Manager::getHeader");
  if (!address_) return headerCopy();
  ZEB_Block_Header copy;
  {
    const std::lock_guard guard(copying_);
    ZEB_CopyFromShared(&header_, address_, sizeof header_);
    header_.size = bound_ ? mapped_ : std::min(header_.size, mapped_);
    std::atomic_thread_fence(std::memory_order_acquire);
    copy = header_;
  }
  if (bZEBTracing) ZEB_DumpMemory(&copy, sizeof copy, "Header");
  return copy;
}

void ZEB_Memory_Manager::putHeader() {
  putHeader([](ZEB_Block_Header& /*header*/) {});
}

// What was written into the block is seen before the header that says so.
template <class Change>
void ZEB_Memory_Manager::putHeader(Change change) {
  ZEB_Trace trace(kUnit, "ZEB_Memory_Manager::putHeader");
  const _TimeStamp now = ZEB_Timer::nowTime();
  const std::lock_guard guard(copying_);
  change(header_);
  header_.lastUpdate = now;
  if (!address_) return;
  std::atomic_thread_fence(std::memory_order_release);
  ZEB_CopyToShared(address_, &header_, sizeof header_);
}

void* ZEB_Memory_Manager::getFirstPosition() const {
  ZEB_Trace trace(kUnit, "ZEB_Memory_Manager::getFirstPosition");
  return trace.leave(at(layout::block::bytes));
}

void* ZEB_Memory_Manager::getNextPosition() {
  ZEB_Trace trace(kUnit, "ZEB_Memory_Manager::getNextPosition");
  return trace.leave(at(reload().next));
}

void* ZEB_Memory_Manager::getLastPosition() {
  ZEB_Trace trace(kUnit, "ZEB_Memory_Manager::getLastPosition");
  return trace.leave(at(reload().last));
}

void* ZEB_Memory_Manager::getLastAvailablePosition() const {
  ZEB_Trace trace(kUnit, "ZEB_Memory_Manager::getLastAvailablePosition");
  void* const end = at(static_cast<std::int32_t>(size()));
  trace.text("%X %X %X", address_, size(), end);
  return trace.leave(end);
}

void ZEB_Memory_Manager::setNextPosition(const void* p) {
  ZEB_Trace trace(kUnit, "ZEB_Memory_Manager::setNextPosition");
  trace.text("Parameter %X", p);
  const auto next = static_cast<std::int32_t>(number(p) - number(address_));
  std::int32_t last;
  putHeader([&](ZEB_Block_Header& header) {
    header.next = next;
    header.last = last = std::max(header.last, next);
  });
  trace.text("Next : %X  Last : %X", static_cast<unsigned>(next), static_cast<unsigned>(last));
}

std::uint32_t ZEB_Memory_Manager::getAvailableBytes() {
  ZEB_Trace trace(kUnit, "ZEB_Memory_Manager::getAvailableBytes");
  const void* const next = getNextPosition();
  return trace.leave(static_cast<std::uint32_t>(number(getLastAvailablePosition()) - number(next)));
}

bool ZEB_Memory_Manager::isEnoughSpace(const void* p, std::uint32_t n) const {
  ZEB_Trace trace(kUnit, "ZEB_Memory_Manager::isEnoughSpace");
  trace.text("isEnough %X %d", p, static_cast<int>(n));
  const std::uintptr_t end = number(getLastAvailablePosition());
  const bool inside = number(p) >= number(getFirstPosition()) && number(p) <= end;
  if (!inside || end - number(p) < n) [[unlikely]] {
    trace.text("No more space");
    return trace.leave(false);
  }
  trace.text("Enough space to write %i bytes in the memory location %X", static_cast<int>(n), p);
  return trace.leave(true);
}

bool ZEB_Memory_Manager::isEmpty() {
  ZEB_Trace trace(kUnit, "ZEB_Memory_Manager::isEmpty");
  return trace.leave(getFirstPosition() == getLastPosition());
}

_TimeStamp ZEB_Memory_Manager::getLastUpdate() {
  ZEB_Trace trace(kUnit, "ZEB_Memory_Manager::getLastUpdate");
  return reload().lastUpdate;
}

void ZEB_Memory_Manager::setSize(std::uint32_t bytes) {
  ZEB_Trace trace(kUnit, "ZEB_Memory_Manager::setSize");
  trace.text("Size = %i", static_cast<int>(bytes));
  const std::lock_guard guard(copying_);
  header_.size = bytes;
}

void ZEB_Memory_Manager::setEyecatcher(const char* name) {
  ZEB_Trace trace(kUnit, "ZEB_Memory_Manager::setEyecatcher");
  trace.text("Eyecatcher = %s", name);
  if (!name) return;
  const std::lock_guard guard(copying_);
  std::memcpy(header_.eyecatcher, name, strnlen(name, sizeof header_.eyecatcher));
}

void ZEB_Memory_Manager::setAddress(void* p, std::uint32_t mapped) {
  ZEB_Trace trace(kUnit, "ZEB_Memory_Manager::setAddress");
  trace.text("Address = %X", p);
  address_ = p;
  mapped_ = mapped;
}

void ZEB_Memory_Manager::bindTo(void* p, std::uint32_t bytes) {
  setAddress(p, bytes);
  setSize(bytes);
  bound_ = true;
}

std::uint32_t ZEB_Memory_Manager::getSize() const {
  ZEB_Trace trace(kUnit, "ZEB_Memory_Manager::getSize");
  return trace.leave(size());
}

const char* ZEB_Memory_Manager::getEyecatcher() const {
  ZEB_Trace trace(kUnit, "ZEB_Memory_Manager::getEyecatcher");
  return trace.leave(static_cast<const char*>(header_.eyecatcher));
}

void ZEB_Memory_Manager::cleanup() {
  ZEB_Trace trace(kUnit, "ZEB_Memory_Manager::cleanup");
  status_ = ZEB_STATUS_FAILED;
}
