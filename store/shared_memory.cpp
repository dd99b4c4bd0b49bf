// SPDX-License-Identifier: Apache-2.0
#include "store/shared_memory.h"

#include <sys/ipc.h>
#include <sys/shm.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <new>

#include "base/key_file.h"
#include "base/memory_size.h"
#include "base/shared_bytes.h"
#include "base/temp_directory.h"
#include "base/trace.h"
#include "format/names.h"
#include "format/sizes.h"
#include "store/attach_table.h"

namespace {

constexpr char kUnit[] = "zebcshme";

void* nowhere() {
  return reinterpret_cast<void*>(-1);
}

bool isSomewhere(const void* address) {
  return address && address != nowhere();
}

// Bytes that can be touched of an attached segment: whole pages, since the configured size wraps
// in 32 bits and areas may end behind it. `size` when the system doesn't say.
std::uint32_t mappedSize(int segmentId, std::uint32_t size) {
  shmid_ds state{};
  if (shmctl(segmentId, IPC_STAT, &state) != 0) return size;
  const auto page = static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));
  const std::uint64_t mapped = (state.shm_segsz + page - 1) / page * page;
  return static_cast<std::uint32_t>(std::min<std::uint64_t>(mapped, UINT32_MAX));
}

ZEB_Block_Header headerAt(const std::uint8_t* block) {
  ZEB_Block_Header header;
  ZEB_CopyFromShared(&header, block, sizeof header);
  return header;
}

bool isEndOfChain(const ZEB_Block_Header& header) {
  constexpr char kNoName[4] = {};
  return std::memcmp(header.eyecatcher, kNoName, sizeof kNoName) == 0;
}

// A block behind the segment's next position whose maker died before it moved that position: it
// has the name of the area that is to be placed, and nobody could use it yet.
bool isUnfinished(const ZEB_Block_Header& header, const char* eyecatcher) {
  constexpr std::int32_t kNothing = layout::block::bytes;
  return std::memcmp(header.eyecatcher, eyecatcher, sizeof header.eyecatcher) == 0 &&
         header.next <= kNothing && header.last <= kNothing;
}

}  // namespace

ZEB_Shared_Memory::ZEB_Shared_Memory(const ZEB_String* brokerUuid) {
  ZEB_Trace trace(kUnit, "ZEB_Shared_Memory::ZEB_Shared_Memory");
  char name[32];
  std::snprintf(name, sizeof name, "%s%d", layout::kAttachLock, static_cast<int>(getpid()));
  attachMutex_.reset(new (std::nothrow) ZEB_Name_Mutex(name));
  if (!attachMutex_) trace.allocationError();
  if (brokerUuid) uuid_ = *brokerUuid;
  segmentName_ = ZEB_GetTempDirectory() + uuid_ + layout::kSegmentSuffix;
  setSize(layout::segmentSize(ZEB_ConfiguredMemorySize()));
  setEyecatcher(layout::block::segment);
}

ZEB_Shared_Memory::~ZEB_Shared_Memory() {
  ZEB_Trace trace(kUnit, "ZEB_Shared_Memory::~ZEB_Shared_Memory");
  cleanup();
}

void ZEB_Shared_Memory::init() {
  ZEB_Trace trace(kUnit, "ZEB_Shared_Memory::init");
  trace.text("Initializing shared memory segment");
  segmentMutex_.reset(new (std::nothrow) ZEB_Name_Mutex(getSegmentName()));
  if (!segmentMutex_) {
    trace.text("Can't create Mutex");
    trace.allocationError();
    setStatus(ZEB_STATUS_FAILED);
    return;
  }
  if (!segmentMutex_->OK()) {
    trace.text("Mutex NOT OK");
    setStatus(ZEB_STATUS_FAILED);
    segmentMutex_.reset();
    return;
  }
  trace.text("Mutex OK");
  segmentMutex_->get();
  setAddress(nullptr);
  const int key = segmentKey(trace);
  if (key < 0 || !obtain(trace, key)) {
    setStatus(ZEB_STATUS_FAILED);
  } else {
    trace.text("Shared area successfully created. ID %i", segmentId_);
    join(trace, key);
  }
  segmentMutex_->release();
}

// The segment's key, with the key file made if need be; negative when there is none.
int ZEB_Shared_Memory::segmentKey(const ZEB_Trace& trace) const {
  const char* const name = getSegmentName();
  int key = ZEB_TracedKey(trace, name);
  if (key == -1) {
    ZEB_CreateKeyFile(trace, name);
    key = ZEB_TracedKey(trace, name);
  }
  if (key < 0) trace.systemCallFailed("ftok", errno);
  return key;
}

// Creates the segment or joins the one that is there. An id of 0 is a segment like any other.
bool ZEB_Shared_Memory::obtain(const ZEB_Trace& trace, int key) {
  segmentId_ = shmget(key, getSize(), IPC_CREAT | IPC_EXCL | layout::kPermissions);
  created_ = segmentId_ >= 0;
  if (!created_ && errno == EEXIST) {
    segmentId_ = shmget(key, getSize(), IPC_CREAT | layout::kPermissions);
    if (segmentId_ < 0) trace.systemCallFailed("shmget", errno);
  }
  if (segmentId_ < 0) trace.text("shmget failed. ID %i Error %i", segmentId_, errno);
  return segmentId_ >= 0;
}

// A new segment is all zeros. So is a joined one whose creator died before it wrote the header:
// that is finished here.
void ZEB_Shared_Memory::join(const ZEB_Trace& trace, int key) {
  void* const address = zeb_attach(segmentId_, key);
  if (!isSomewhere(address)) {
    trace.systemCallFailed("zeb_attach", errno);
    setStatus(ZEB_STATUS_FAILED);
    return;
  }
  trace.text("zeb_attach adddress = 0x%X", address);
  setAddress(address, mappedSize(segmentId_, getSize()));
  const ZEB_Block_Header header = headerAt(static_cast<const std::uint8_t*>(address));
  if (created_ || (isEndOfChain(header) && header.size == 0))
    setNextPosition(getFirstPosition());
  else
    getHeader();
}

void* ZEB_Shared_Memory::allocate(ZEB_Memory_Manager* area) {
  ZEB_Trace trace(kUnit, "ZEB_Shared_Memory::allocate");
  if (!area || !OK() || !segmentMutex_ || !isSomewhere(getAddress()))
    return trace.leave(static_cast<void*>(nullptr));
  segmentMutex_->get();
  void* const block = place(area);
  segmentMutex_->release();
  return trace.leave(block);
}

// Offsets are unsigned here: with the largest setting the next offset is negative as stored.
void* ZEB_Shared_Memory::place(ZEB_Memory_Manager* area) {
  auto* const start = static_cast<std::uint8_t*>(getAddress());
  getHeader();
  const auto next = static_cast<std::uint32_t>(headerCopy().next);
  if (next < layout::block::bytes || next > mappedBytes()) return nullptr;

  std::uint32_t at = layout::block::bytes;
  while (next - at >= layout::block::bytes) {
    const ZEB_Block_Header header = headerAt(start + at);
    if (isEndOfChain(header)) break;
    if (header.size < layout::block::bytes || header.size > next - at) return nullptr;
    if (std::memcmp(header.eyecatcher, area->getEyecatcher(), sizeof header.eyecatcher) == 0) {
      area->bindTo(start + at, header.size);
      area->getHeader();
      return start + at;
    }
    at += header.size;
  }
  return carve(area, next);
}

// The configured sizes leave room for three areas, except the one that wraps. It is checked here,
// since a block beyond the end is a crash of the host.
void* ZEB_Shared_Memory::carve(ZEB_Memory_Manager* area, std::uint32_t offset) {
  auto* const block = static_cast<std::uint8_t*>(getAddress()) + offset;
  const std::uint32_t size = area->getSize();
  if (size > mappedBytes() - offset) return nullptr;
  const ZEB_Block_Header present = headerAt(block);
  if (!isEndOfChain(present) && !isUnfinished(present, area->getEyecatcher())) return nullptr;
  if (!created_) ZEB_ClearShared(block, size);
  area->bindTo(block, size);
  area->setNextPosition(area->getFirstPosition());
  setNextPosition(block + size);
  return block;
}

void* ZEB_Shared_Memory::zeb_attach(int segmentId, int key) {
  ZEB_Trace trace(kUnit, "ZEB_Shared_Memory::zeb_attach");
  if (attachMutex_) attachMutex_->get();
  if (bZEBTracing) attach_table::dump();
  bool attached;
  void* const address = attach_table::attach(segmentId, key, attached);
  const int error = errno;
  if (attached) trace.text("shmat adddress = 0x%X", address);
  if (bZEBTracing) attach_table::dump();
  if (attachMutex_) attachMutex_->release();
  errno = error;
  return trace.leave(address);
}

int ZEB_Shared_Memory::zeb_dettach(void* address) {
  ZEB_Trace trace(kUnit, "ZEB_Shared_Memory::zeb_dettach");
  if (attachMutex_) attachMutex_->get();
  if (bZEBTracing) attach_table::dump();
  const int result = attach_table::detach(address);
  const int error = errno;
  if (bZEBTracing) attach_table::dump();
  if (attachMutex_) attachMutex_->release();
  errno = error;
  return trace.leave(result);
}

void ZEB_Shared_Memory::cleanup() {
  ZEB_Trace trace(kUnit, "ZEB_Shared_Memory::cleanup");
  if (segmentMutex_) segmentMutex_->get();
  if (isSomewhere(getAddress())) {
    if (zeb_dettach(getAddress()) != 0) trace.systemCallFailed("zeb_dettach", errno);
    removeIfUnused(trace);
  }
  if (segmentMutex_) segmentMutex_->release();
  setAddress(nullptr);
  attachMutex_.reset();
  segmentMutex_.reset();
  setStatus(ZEB_STATUS_FAILED);
}

void ZEB_Shared_Memory::removeIfUnused(const ZEB_Trace& trace) const {
  shmid_ds state{};
  if (shmctl(segmentId_, IPC_STAT, &state) != 0) {
    trace.systemCallFailed("shmctl IPC_STAT", errno);
    return;
  }
  if (state.shm_nattch != 0) return;
  if (shmctl(segmentId_, IPC_RMID, nullptr) != 0) trace.systemCallFailed("shmgctl IPC_RMID", errno);
  const char* const name = getSegmentName();
  if (name && unlink(name) != 0) trace.systemCallFailed("unlink", errno);
}

const char* ZEB_Shared_Memory::getSegmentName() const {
  ZEB_Trace trace(kUnit, "ZEB_Shared_Memory::getSegmentName");
  return trace.leave(static_cast<const char*>(segmentName_.getcValue()));
}

ZEB_String ZEB_Shared_Memory::getUuid() const {
  ZEB_Trace trace(kUnit, "ZEB_Shared_Memory::getUuid");
  return uuid_;
}
