// SPDX-License-Identifier: Apache-2.0
// The base of everything that is published in shared memory.
#ifndef ZEB_RECORDS_RECORD_H
#define ZEB_RECORDS_RECORD_H

#include <cstdint>
#include <memory>

#include "base/name_mutex.h"
#include "base/return_code.h"
#include "base/string.h"
#include "base/thread_lock.h"
#include "base/timer.h"
#include "format/layout.h"

// Names a record everywhere: in its header, as the parent of its children, as the name of its
// inter-process lock. 16 bytes, stored as they are and compared only as a whole. `type` is a
// ZEB_RecordType, or any number when read from memory. All zeros name no record.
struct ZEB_Record_ID {
  std::uint32_t type = ZEB_RECORD;
  _TimeStamp created;
  std::uint32_t random = 0;

  bool operator==(const ZEB_Record_ID&) const = default;
};
static_assert(sizeof(ZEB_Record_ID) == 16);

// For unordered maps; of this process, never stored.
struct ZEB_Record_ID_Hash {
  std::size_t operator()(const ZEB_Record_ID& id) const {
    const std::uint64_t created = std::uint64_t{id.created.seconds} << 10 ^ id.created.milliseconds;
    return (created ^ std::uint64_t{id.random} << 20 ^ id.type) * 0x9E3779B97F4A7C15U;
  }
};

// The stored header, 40 bytes, held in the object exactly as it is stored. `deleted` is 0 for a
// live record, and anything else for one whose resource is gone: its bytes stay and keep their
// place.
struct ZEB_Record_Header {
  char eyecatcher[4] = {};
  std::uint32_t deleted = 0;
  ZEB_Record_ID id;
  ZEB_Record_ID parent;
};
static_assert(sizeof(ZEB_Record_Header) == layout::header::bytes);
static_assert(offsetof(ZEB_Record_Header, deleted) == layout::header::deleted.offset);
static_assert(offsetof(ZEB_Record_Header, id) == layout::header::id.offset);
static_assert(offsetof(ZEB_Record_Header, parent) == layout::header::parent.offset);

// A record is new, with an ID of its own, or a blank that `get` fills from shared memory. The ID
// changes only by `get` and by assignment, and the lock follows it: it is built when it is first
// needed and built again when the ID has changed. Records have no equality: sets hold them by
// identity.
//
// Threads may call lock and unlock of one record at once; between the two the record is theirs.
class ZEB_Record {
 public:
  // A non-zero makeId stamps a new ID with the current time and a random number of 31 bits; else
  // both are 0. The parent is all zeros.
  ZEB_Record(ZEB_RecordType type, int makeId);
  // The same ID, status and address. The copy builds a lock of its own when it needs one; of one
  // ID, it is the same lock among processes.
  ZEB_Record(const ZEB_Record& other);
  virtual ~ZEB_Record();

  // Copies header and address, never the lock nor the status. The lock at hand is used on while the
  // ID is the one for which it was built.
  ZEB_Record& operator=(const ZEB_Record& other);

  // Bytes of the stored form; the base's 40 always, a derived class's 0 when not OK.
  virtual std::uint32_t size() const;

  // Reads the stored form at p, remembers p as the address and returns p advanced past it; p
  // unchanged when not OK or p is null. The caller made sure that a whole record is there
  // (layout::storedSize), and holds the lock where it matters.
  void* get(void* p);

  // The same where `bytes` is a private copy of what is at p: only the copy is read, and p is no
  // more than remembered. Each class reads what it adds behind what its base read.
  virtual void* getFrom(const void* bytes, void* p);

  // Writes the stored form, size() bytes, at p, in the same way; and into `bytes` where these are a
  // private image that the caller will copy to p. The caller made sure that there is room.
  void* put(void* p);
  virtual void* putTo(void* bytes, void* p);

  // Logs the contents as trace entries, whether or not tracing is on.
  virtual void print() const;

  // OK while the status is 0; 301 says that memory ran out for a part of it. It never becomes OK
  // again.
  bool OK() const;
  int getStatus() const;
  // The type in the record ID: after `get` what was stored, not what the class is.
  std::uint32_t type() const;
  // When the record was created, in UTC.
  _TimeStamp timeStamp() const;
  // The IDs in the object, never null; valid as long as it, and changed by `get` and assignment.
  const ZEB_Record_ID* getRecordId() const;
  const ZEB_Record_ID* getParentId() const;
  // These change the object only; the next `put` stores them.
  void setParent(const ZEB_Record_ID* id);                 // null changes nothing
  std::uint32_t isChildOf(const ZEB_Record* other) const;  // 0 for null
  void markDeleted();
  void undelete();
  std::uint32_t isDeleted() const;               // the mark as it is, 0 for a live record
  std::uint32_t isNewer(_TimeStamp than) const;  // an equal stamp is not newer
  // The ID's 16 bytes in memory order, as 32 upper-case hexadecimal digits. Not OK, with message 1,
  // when memory ran out.
  ZEB_String getStringRecordId() const;

  // Where the record is in the area: null until first written or read. It is only remembered here;
  // nothing is read there, and it dangles once the segment is detached.
  void setAddress(void* p);
  void* getAddress() const;

  // Drops the lock and builds it for the present ID. Code 6 when it can't be allocated, with
  // message 1; 9 when it is not OK, with the messages of ZEB_Name_Mutex. Called by `lock`, inside
  // the record.
  [[gnu::noinline]] ZEB_ReturnCode initializeMutex();

  // Take and give back the record's inter-process lock. Not recursive; the area's lock may be taken
  // inside, never the other way round. A lock that can't be built is logged, and the record is used
  // without it, on purpose; threads of this process that use this object exclude each other even
  // so.
  void lock();
  void unlock();

  // Deletes the lock; the next `lock` builds it again. The destructor does this too. Nobody may
  // hold the lock.
  void cleanup();

 protected:
  // A record that lost one of its strings is not OK: stored without it, it would shift the records
  // behind it. Derived classes call these after each change of a part.
  void require(const ZEB_String& string) {
    if (!string.OK()) status_ = ZEB_STATUS_FAILED;
  }
  void require(const ZEB_Record& part) {
    if (part.status_ != ZEB_STATUS_OK) status_ = ZEB_STATUS_FAILED;
  }
  // Whether `get` and `put` may go on at p.
  bool usable(const void* p) const { return status_ == ZEB_STATUS_OK && p; }

 private:
  friend class ZEB_Record_Set;

  int status_ = ZEB_STATUS_OK;
  ZEB_Record_Header header_;
  std::unique_ptr<ZEB_Name_Mutex> mutex_;
  void* address_ = nullptr;
  std::uint32_t mutexStale_ = 1;
  bool wasInSet_ = false;    // of ZEB_Record_Set, which asks
  ZEB_Record_ID mutexId_;    // what mutex_ was built for
  ZEB_Thread_Lock threads_;  // held from lock to unlock
};

// The place n bytes behind p. p is not null, and the place is inside the same object or at its end.
inline void* ZEB_Behind(void* p, std::size_t n) {
  return static_cast<std::uint8_t*>(p) + n;
}
inline const void* ZEB_Behind(const void* p, std::size_t n) {
  return static_cast<const std::uint8_t*>(p) + n;
}
// The bytes between two places of one object; `to` is not before `from`.
inline std::size_t ZEB_Distance(const void* from, const void* to) {
  return static_cast<std::size_t>(static_cast<const std::uint8_t*>(to) -
                                  static_cast<const std::uint8_t*>(from));
}

#endif  // ZEB_RECORDS_RECORD_H
