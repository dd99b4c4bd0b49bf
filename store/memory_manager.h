// SPDX-License-Identifier: Apache-2.0
// One block of shared memory: the whole segment, or one area in it.
#ifndef ZEB_STORE_MEMORY_MANAGER_H
#define ZEB_STORE_MEMORY_MANAGER_H

#include <cstdint>
#include <mutex>

#include "base/return_code.h"
#include "base/timer.h"
#include "format/layout.h"

// The header at the start of every block, held as it is stored. Offsets count from the block's
// start; that of a block near 2 GiB may be negative when read as signed.
struct ZEB_Block_Header {
  char eyecatcher[8] = {};
  std::int32_t mark = 1;
  std::uint32_t size = 0;
  std::int32_t next = 0;
  std::int32_t last = 0;
  _TimeStamp lastUpdate;
};
static_assert(sizeof(ZEB_Block_Header) == layout::block::bytes);
static_assert(offsetof(ZEB_Block_Header, mark) == layout::block::mark.offset);
static_assert(offsetof(ZEB_Block_Header, size) == layout::block::size.offset);
static_assert(offsetof(ZEB_Block_Header, next) == layout::block::next.offset);
static_assert(offsetof(ZEB_Block_Header, last) == layout::block::last.offset);
static_assert(offsetof(ZEB_Block_Header, lastUpdate) == layout::block::lastUpdate.offset);

// Space in a block is handed out by moving its next position forward; nothing is given back.
//
// The manager keeps a private copy of the header. The caller holds the inter-process lock of the
// block where other processes write it; the copy itself may be used by several threads at once.
// Nothing that other processes wrote is believed: a size beyond what is mapped is cut to that, and
// the size of a block that was bound is not read again.
class ZEB_Memory_Manager {
 public:
  ZEB_Memory_Manager();
  ~ZEB_Memory_Manager();
  ZEB_Memory_Manager(const ZEB_Memory_Manager&) = delete;
  ZEB_Memory_Manager& operator=(const ZEB_Memory_Manager&) = delete;

  bool OK() const;
  int getStatus() const;

  void getHeader();  // reload the copy from the block
  void putHeader();  // stamp the copy with now and write it to the block

  // Positions in this process's memory. The second and third reload the header first, the last
  // does not. They may be anything when the block is damaged: see isEnoughSpace.
  void* getFirstPosition() const;
  void* getNextPosition();
  void* getLastPosition();
  void* getLastAvailablePosition() const;

  // Moves the next position, raises the last offset to it if it is beyond, and writes the header.
  // Does not reload first. A block that is emptied this way keeps its last offset, on purpose:
  // readers take it as the end of valid data.
  void setNextPosition(const void* p);

  std::uint32_t getAvailableBytes();

  // True when n bytes at p lie inside the block, behind its header. Never adds to p.
  bool isEnoughSpace(const void* p, std::uint32_t n) const;

  bool isEmpty();  // nothing was ever written
  _TimeStamp getLastUpdate();

  void setSize(std::uint32_t bytes);
  void setEyecatcher(const char* name);  // at most 8 characters, not terminated then; null: none
  // `mapped` bytes are there at p: a larger size is cut to that when the header is reloaded.
  void setAddress(void* p, std::uint32_t mapped = UINT32_MAX);
  // The block is these bytes from now on, whatever size its header says later.
  void bindTo(void* p, std::uint32_t bytes);

  void* getAddress() const { return address_; }
  std::uint32_t getSize() const;
  const char* getEyecatcher() const;  // 8 bytes of the copy, not terminated

  void cleanup();  // status 301

 protected:
  void setStatus(int status) { status_ = status; }
  ZEB_Block_Header headerCopy() const;
  std::uint32_t mappedBytes() const { return mapped_; }

 private:
  void* at(std::int32_t offset) const;
  ZEB_Block_Header reload();
  std::uint32_t size() const { return bound_ ? mapped_ : headerCopy().size; }
  template <class Change>
  void putHeader(Change change);

  int status_ = ZEB_STATUS_OK;
  void* address_ = nullptr;
  std::uint32_t mapped_ = 0;
  bool bound_ = false;
  mutable std::mutex copying_;  // guards header_, held for a few instructions only
  ZEB_Block_Header header_;
};

#endif  // ZEB_STORE_MEMORY_MANAGER_H
