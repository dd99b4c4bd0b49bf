// SPDX-License-Identifier: Apache-2.0
// Locks that processes share: their key files, and the semaphore and the queue behind each.
#ifndef ZEB_AGENT_READER_LOCKS_H
#define ZEB_AGENT_READER_LOCKS_H

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

namespace reader {

// Seconds since 1970; 0 when it never happened.
using KernelTime = std::int64_t;

enum class Presence {
  there,
  absent,   // no such object, or it was removed while it was looked at
  refused,  // it exists, and others may not look at it: only its id is known
  failed,   // the look failed for another reason: `error`
};

// An IPC object. Numbers are those of the kernel; all are 0 unless it is there.
struct IpcObject {
  Presence presence = Presence::absent;
  int error = 0;            // errno of the call that failed
  int id = 0;               // for ipcrm; 0 may also be an object's number
  std::uint32_t key = 0;    // by which it can be found, 0 when it can't any more
  std::uint32_t owner = 0;  // user
  std::uint32_t group = 0;
  std::uint32_t mode = 0;  // permission bits
  KernelTime changed = 0;  // made, or its owner, mode or value set
};

// The semaphore: the lock itself. A value of 1 is free, 0 is held. Its numbers are read one after
// the other, so they may belong to two holders when the lock is in use.
struct Semaphore : IpcObject {
  std::uint64_t semaphores = 0;  // in the set: 1, unless somebody else made it
  std::int32_t value = 0;        // of the first one, as all that follows
  std::int32_t lastProcess = 0;  // that changed it; 0: none did, or none that is seen here
  std::uint32_t waiting = 0;     // processes that wait until it is free
  KernelTime lastOperation = 0;  // of a process that took it or gave it back

  // When it was taken, made or set last.
  KernelTime lastUsed() const { return std::max(lastOperation, changed); }
};

// The queue that counts the lock's users: each has one message in it.
struct Queue : IpcObject {
  std::uint64_t references = 0;  // messages
  std::uint64_t bytes = 0;       // in all messages
  std::uint64_t mostBytes = 0;   // what it can hold
  std::int32_t lastSender = 0;   // processes; 0 as above
  std::int32_t lastReceiver = 0;
  KernelTime lastSent = 0;
  KernelTime lastReceived = 0;
};

// A key file. Numbers are 0 when it can't be looked at. A link is followed, as the library does.
struct KeyFile {
  std::string path;   // any bytes that a file's name can have
  int error = 0;      // errno when it can't be looked at
  bool link = false;  // the name is a symbolic link
  bool regular = false;
  std::uint64_t device = 0;
  std::uint64_t inode = 0;
  std::uint32_t owner = 0;  // user
  std::uint32_t group = 0;
  std::uint32_t mode = 0;  // permission bits
  std::uint64_t size = 0;  // bytes; key files are empty
  KernelTime modified = 0;

  // Of the objects behind it: what ftok makes of these numbers.
  std::uint32_t key() const;
};

struct Lock {
  KeyFile file;
  std::string name;  // of what it guards: the file's name without the suffix
  Semaphore semaphore;
  Queue queue;
};

struct LockList {
  static constexpr std::size_t kMost = 100000;

  int error = 0;            // errno when the directory can't be read
  bool cut = false;         // there are more than kMost, which are not here
  std::vector<Lock> locks;  // in the order of their names

  // Null when there is none of that name.
  const Lock* find(const std::string& name) const;
};

KeyFile readKeyFile(const std::string& path);

// The lock of one key file. An object that doesn't exist is a fact like any other; none is made,
// and no lock is taken.
Lock readLock(const std::string& path);

// Whether the lock of one key file is held now. As quick as can be: most are free.
bool isHeld(const std::string& path);

// All locks whose key files are in `directory`, which ends in "/".
LockList readLocks(const std::string& directory);

}  // namespace reader

#endif  // ZEB_AGENT_READER_LOCKS_H
