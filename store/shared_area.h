// SPDX-License-Identifier: Apache-2.0
// A named block of the broker's segment that holds records, one directly behind the other.
#ifndef ZEB_STORE_SHARED_AREA_H
#define ZEB_STORE_SHARED_AREA_H

#include <atomic>
#include <memory>
#include <span>

#include "base/name_mutex.h"
#include "records/record_set.h"
#include "store/shared_memory.h"

// Writers of all processes append records or rewrite them in place; readers walk the area up to its
// high-water mark. Appending takes the area's lock, which a thread may take again; rewriting in
// place and reading take none, a single record is guarded by its own lock.
//
// An area that was not bound to a segment is not usable, and neither is one whose status is not 0:
// code 8 then.
class ZEB_Shared_Area : public ZEB_Memory_Manager {
 public:
  // The area's name is the temporary directory and `name`.
  explicit ZEB_Shared_Area(const ZEB_String& name);
  virtual ~ZEB_Shared_Area();

  // Binds the area to its block in the segment and makes its mutex. Takes the segment mutex.
  virtual void init(ZEB_Shared_Memory* segment);

  // Appends the record, or rewrites it in place once it has an address. Code 3 for null, 2 when
  // there is no room.
  virtual ZEB_ReturnCode put(ZEB_Record* record);

  // Refreshes a record from its address; one without is left as it is. Code 3 for null, 1 when no
  // sane record of its type stands there.
  virtual ZEB_ReturnCode get(ZEB_Record* record);

  virtual int getType() const;  // 0

  bool usable() const { return OK() && getAddress(); }

  // Writes the record at the position if it fits, else code 2. `end`, unless null, gets the
  // position behind it, or the position itself when nothing was written.
  ZEB_ReturnCode writeRecord(void* position, ZEB_Record* record, void** end = nullptr);

  // Writes these bytes at the position if they fit, else code 2.
  ZEB_ReturnCode writeBytes(void* position, std::span<const std::uint8_t> bytes);

  // Where records stand, in shared memory: up to the high-water mark. Empty when not usable.
  std::span<std::uint8_t> stored();

  // Rebuilds the records that were created after the stamp; the caller owns them. Ends with code 1
  // at the first place where no sane record stands, with 6 when memory ran out.
  ZEB_ReturnCode read(ZEB_Record_Collection* records);
  ZEB_ReturnCode read(ZEB_Record_Collection* records, _TimeStamp stamp);

  // Copies the whole block, under the lock. The length does not limit the copy, on purpose: the
  // buffer is as large as the block.
  void copyTo(void* buffer, std::uint32_t length);

  void lock();
  void unlock();  // does not ask who calls

  static std::uint64_t getThreadId();  // of the calling thread
  void dump();                         // to the log, while tracing is on
  const char* getAreaName() const;
  void cleanup();  // deletes the mutex; the block stays

 private:
  std::size_t unchangedSince(const void* before, const std::uint8_t* copy, std::size_t length);

  ZEB_String areaName_;
  std::unique_ptr<ZEB_Name_Mutex> areaMutex_;
  // Low 32 bits of the owner's thread identifier, 0 when free, for whoever looks at a core file.
  // Two threads may share these bits, so the lock goes by `owner_`.
  std::uint32_t ownerThread_ = 0;
  std::int32_t depth_ = 0;
  std::atomic<std::uint64_t> owner_ = 0;
  ZEB_Thread_Lock threads_;  // stands in for a mutex that could not be made
};

#endif  // ZEB_STORE_SHARED_AREA_H
