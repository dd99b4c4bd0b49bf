// SPDX-License-Identifier: Apache-2.0
// A named block of the broker's segment that holds records, one directly behind the other.
#ifndef ZEB_STORE_SHARED_AREA_H
#define ZEB_STORE_SHARED_AREA_H

#include <atomic>
#include <functional>
#include <memory>
#include <span>

#include "base/name_mutex.h"
#include "format/event_bytes.h"
#include "records/record_set.h"
#include "store/shared_memory.h"

// Writers of all processes append records or rewrite them in place. Readers walk the area from its
// first position to its last one, the highest that a writer ever reached.
//
// Appending takes the area's lock, which a thread may take again. Rewriting in place and reading
// take no lock: a single record is guarded by its own.
//
// An area is usable when it is bound to a segment and its status is 0. Else operations give code 8.
class ZEB_Shared_Area : public ZEB_Memory_Manager {
 public:
  // Says of a record, as it was just read, whether the reader wants it.
  using Wanted = std::function<bool(const ZEB_Record&)>;

  struct Walk {
    ZEB_ReturnCode code;
    bool writing = false;  // with code 1: somebody is writing the record where the walk ended
  };

  // The area's name is the temporary directory, directly followed by `name`. Touches nothing
  // outside this object yet.
  explicit ZEB_Shared_Area(const ZEB_String& name);
  // Leaves the block as it is.
  virtual ~ZEB_Shared_Area();

  // Binds the area to its block in the segment and makes its mutex. Takes the segment mutex, and
  // gives it back before the area's own is made. Message 1 when there is no memory for that: then
  // only the threads of this process exclude each other. Null binds the area to nothing.
  virtual void init(ZEB_Shared_Memory* segment);

  // Appends the record under the area's lock, or rewrites it in place without that lock once it
  // has an address. Code 2 when there is no room, 3 for null, 6 and message 1 when memory ran out.
  virtual ZEB_ReturnCode put(ZEB_Record* record);

  // Refreshes a record from its address; one without is left as it is. Takes no lock. Code 1 when
  // no sane record of its type and size is there, 3 for null, 6 and message 1 when memory ran out.
  virtual ZEB_ReturnCode get(ZEB_Record* record);

  // 0; each kind of area has its own number.
  virtual int getType() const;

  // True when records can be put and read.
  bool usable() const { return OK() && getAddress(); }

  // Writes the record at the position, which becomes its address. The caller holds the lock that
  // matters. `end`, unless null, gets the position behind it, or `position` when nothing was
  // written. Code 2 when it does not fit, 3 for null, 6 and message 1 when memory ran out.
  ZEB_ReturnCode writeRecord(void* position, ZEB_Record* record, void** end = nullptr);

  // Writes these bytes at the position. Code 2 when they do not fit.
  ZEB_ReturnCode writeBytes(void* position, std::span<const std::uint8_t> bytes);

  // The bytes from the first position to the last one, in shared memory. Empty when not usable.
  std::span<std::uint8_t> stored();

  // Adds to `records` what was created after the stamp; without a stamp, everything. The caller
  // owns the new records. Takes no lock. Code 1 at the first place without a whole, sane record; 3
  // for null; 6 and message 1 when memory ran out. What was added before an error stays.
  ZEB_ReturnCode read(ZEB_Record_Collection* records);
  ZEB_ReturnCode read(ZEB_Record_Collection* records, _TimeStamp stamp);

  // As read, for the records that are wanted. Each of them knows its address.
  Walk walk(ZEB_Record_Collection* records, const Wanted& wanted);

  // Copies the whole block, header included, under the lock. The length does not limit the copy,
  // on purpose: the buffer has at least getSize() bytes. Null copies nothing.
  void copyTo(void* buffer, std::uint32_t length);

  // Takes and gives back the area's lock, among all processes. A thread gives it back as often as
  // it took it.
  void lock();
  void unlock();  // does not ask who calls

  static std::uint64_t getThreadId();  // of the calling thread
  void dump();                         // name, place and bytes to the log, while tracing is on
  const char* getAreaName() const;     // null when memory ran out; valid as long as the area is
  void cleanup();                      // deletes the mutex; the block stays

 protected:
  // How an area's bytes are touched. The events areas, whose records are written over, do it in
  // another way: see ZEB_Wrapping_Area.
  //
  // Writes a record where there is room for it; one of size 0 is not written.
  virtual void store(std::uint8_t* place, std::span<const std::uint8_t> record);
  // Begins a walk. Both spans hold the whole stored part; `copy` is private.
  virtual void prepare(std::span<const std::uint8_t> place, std::span<std::uint8_t> copy);
  // What is at the start of `place`; a record is at the start of `copy` then.
  virtual event_bytes::Look look(std::span<const std::uint8_t> place, std::span<std::uint8_t> copy);
  // How many bytes a walk goes on behind a record that is being written; 0: the walk ends there.
  virtual std::uint32_t slotBytes() const { return 0; }

 private:
  Walk walk(std::span<std::uint8_t> place, ZEB_Record_Collection* records, const Wanted& wanted);

  ZEB_String areaName_;
  std::unique_ptr<ZEB_Name_Mutex> areaMutex_;
  // Low 32 bits of the owner's thread identifier, 0 when free, for people who look at a core file.
  // Two threads may share these bits, so the lock goes by `owner_`.
  std::uint32_t ownerThread_ = 0;
  std::int32_t depth_ = 0;
  std::atomic<std::uint64_t> owner_ = 0;
  ZEB_Thread_Lock threads_;  // in place of a mutex that could not be made
};

#endif  // ZEB_STORE_SHARED_AREA_H
