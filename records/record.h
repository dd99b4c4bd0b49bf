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
// inter-process lock. 16 bytes, stored as they stand and compared only as a whole.
struct ZEB_Record_ID {
  std::uint32_t type = ZEB_RECORD;
  _TimeStamp created;
  std::uint32_t random = 0;

  bool operator==(const ZEB_Record_ID&) const = default;
};
static_assert(sizeof(ZEB_Record_ID) == 16);

struct ZEB_Record_ID_Hash {
  std::size_t operator()(const ZEB_Record_ID& id) const {
    const std::uint64_t created = std::uint64_t{id.created.seconds} << 10 ^ id.created.milliseconds;
    return (created ^ std::uint64_t{id.random} << 20 ^ id.type) * 0x9E3779B97F4A7C15U;
  }
};

// The stored header, held in the object exactly as it is stored.
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
  // A non-zero makeId stamps a new ID with the current time and a random number; else both are 0.
  ZEB_Record(ZEB_RecordType type, int makeId);
  // The copy builds a lock of its own when it needs one.
  ZEB_Record(const ZEB_Record& other);
  virtual ~ZEB_Record();

  // Copies header and address, never the lock.
  ZEB_Record& operator=(const ZEB_Record& other);

  // Bytes of the stored form; the base's 40 always, a derived class's 0 when not OK.
  virtual std::uint32_t size() const;

  // Reads the stored form at p, remembers p as the address and returns p advanced past it; p
  // unchanged when not OK or p is null. The caller made sure that a whole record stands there, and
  // holds the lock where it matters.
  void* get(void* p);

  // The same where `bytes` is a private copy of what stands at p: only the copy is read.
  virtual void* getFrom(const void* bytes, void* p);

  // Writes the stored form at p, in the same way; and into `bytes` where these are a private image
  // that the caller will copy to p.
  void* put(void* p);
  virtual void* putTo(void* bytes, void* p);

  // Logs the contents as trace entries, whether or not tracing is on.
  virtual void print() const;

  bool OK() const;
  int getStatus() const;
  std::uint32_t type() const;
  _TimeStamp timeStamp() const;
  const ZEB_Record_ID* getRecordId() const;
  const ZEB_Record_ID* getParentId() const;
  void setParent(const ZEB_Record_ID* id);                 // null changes nothing
  std::uint32_t isChildOf(const ZEB_Record* other) const;  // 0 for null
  void markDeleted();
  void undelete();
  std::uint32_t isDeleted() const;
  std::uint32_t isNewer(_TimeStamp than) const;  // an equal stamp is not newer
  ZEB_String getStringRecordId() const;          // 32 upper-case hexadecimal digits

  void setAddress(void* p);
  void* getAddress() const;  // null until first written or read

  // Builds the lock again. Code 6 when it can't be allocated, 9 when it is not OK.
  [[gnu::noinline]] ZEB_ReturnCode initializeMutex();

  // Take and give back the record's inter-process lock. A lock that can't be built is logged, and
  // the record is used without it, on purpose; threads of this process exclude each other even so.
  void lock();
  void unlock();

  void cleanup();  // deletes the lock

 protected:
  // A record that lost one of its strings is not OK: stored without it, it would shift whatever
  // stands behind.
  void require(const ZEB_String& string) {
    if (!string.OK()) status_ = ZEB_STATUS_FAILED;
  }
  void require(const ZEB_Record& part) {
    if (part.status_ != ZEB_STATUS_OK) status_ = ZEB_STATUS_FAILED;
  }
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

// The place n bytes behind p.
inline void* ZEB_Behind(void* p, std::size_t n) {
  return static_cast<std::uint8_t*>(p) + n;
}
inline const void* ZEB_Behind(const void* p, std::size_t n) {
  return static_cast<const std::uint8_t*>(p) + n;
}
inline std::size_t ZEB_Distance(const void* from, const void* to) {
  return static_cast<std::size_t>(static_cast<const std::uint8_t*>(to) -
                                  static_cast<const std::uint8_t*>(from));
}

#endif  // ZEB_RECORDS_RECORD_H
