// SPDX-License-Identifier: Apache-2.0
#include "agent/reader/locks.h"

#include <sys/ipc.h>
#include <sys/msg.h>
#include <sys/sem.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>

#include "format/names.h"

namespace reader {
namespace {

union SemaphoreArgument {
  int value;
  semid_ds* state;
  unsigned short* values;
};

constexpr std::uint32_t kPermissionBits = 07777;

// Says why a look at an object failed.
template <class Object>
Object failed(Object object) {
  object.error = errno;
  switch (errno) {
    case ENOENT:
    case EINVAL:
    case EIDRM:
      object.presence = Presence::absent;
      break;
    case EACCES:
    case EPERM:
      object.presence = Presence::refused;
      break;
    default:
      object.presence = Presence::failed;
  }
  return object;
}

void take(IpcObject& object, const ipc_perm& owner, time_t changed) {
  object.presence = Presence::there;
  object.key = static_cast<std::uint32_t>(owner.__key);
  object.owner = owner.uid;
  object.group = owner.gid;
  object.mode = owner.mode & kPermissionBits;
  object.changed = changed;
}

Semaphore readSemaphore(key_t key) {
  Semaphore semaphore;
  const int id = semget(key, 0, 0);
  if (id < 0) return failed(semaphore);
  semaphore.id = id;
  semid_ds state{};
  SemaphoreArgument argument{.state = &state};
  const int value = semctl(id, 0, GETVAL);
  const int process = semctl(id, 0, GETPID);
  const int waiting = semctl(id, 0, GETNCNT);
  if (value < 0 || process < 0 || waiting < 0 || semctl(id, 0, IPC_STAT, argument) < 0) {
    return failed(semaphore);
  }
  take(semaphore, state.sem_perm, state.sem_ctime);
  semaphore.semaphores = state.sem_nsems;
  semaphore.value = value;
  semaphore.lastProcess = process;
  semaphore.waiting = static_cast<std::uint32_t>(waiting);
  semaphore.lastOperation = state.sem_otime;
  return semaphore;
}

Queue readQueue(key_t key) {
  Queue queue;
  const int id = msgget(key, 0);
  if (id < 0) return failed(queue);
  queue.id = id;
  msqid_ds state{};
  if (msgctl(id, IPC_STAT, &state) < 0) return failed(queue);
  take(queue, state.msg_perm, state.msg_ctime);
  queue.references = state.msg_qnum;
  queue.bytes = state.__msg_cbytes;
  queue.mostBytes = state.msg_qbytes;
  queue.lastSender = state.msg_lspid;
  queue.lastReceiver = state.msg_lrpid;
  queue.lastSent = state.msg_stime;
  queue.lastReceived = state.msg_rtime;
  return queue;
}

std::string nameOf(const std::string& path) {
  constexpr std::size_t kSuffix = sizeof layout::kLockSuffix - 1;
  const std::string name = std::filesystem::path(path).filename();
  return name.substr(0, name.size() - std::min(name.size(), kSuffix));
}

}  // namespace

std::uint32_t KeyFile::key() const {
  return static_cast<std::uint32_t>(layout::kKeyProject) << 24 |
         static_cast<std::uint32_t>(device & 0xFF) << 16 |
         static_cast<std::uint32_t>(inode & 0xFFFF);
}

KeyFile readKeyFile(const std::string& path) {
  KeyFile file;
  file.path = path;
  struct stat facts {};
  file.link = lstat(path.c_str(), &facts) == 0 && S_ISLNK(facts.st_mode);
  if (stat(path.c_str(), &facts) != 0) {
    file.error = errno;
    return file;
  }
  file.regular = S_ISREG(facts.st_mode);
  file.device = facts.st_dev;
  file.inode = facts.st_ino;
  file.owner = facts.st_uid;
  file.group = facts.st_gid;
  file.mode = facts.st_mode & kPermissionBits;
  file.size = static_cast<std::uint64_t>(facts.st_size);
  file.modified = facts.st_mtime;
  return file;
}

const Lock* LockList::find(const std::string& name) const {
  const auto found = std::ranges::lower_bound(locks, name, {}, &Lock::name);
  return found == locks.end() || found->name != name ? nullptr : &*found;
}

Lock readLock(const std::string& path) {
  Lock lock;
  lock.file = readKeyFile(path);
  lock.name = nameOf(path);
  if (lock.file.error != 0) return lock;
  const auto key = static_cast<key_t>(lock.file.key());
  lock.semaphore = readSemaphore(key);
  lock.queue = readQueue(key);
  return lock;
}

bool isHeld(const std::string& path) {
  const key_t key = ftok(path.c_str(), layout::kKeyProject);
  const int id = key == -1 ? -1 : semget(key, 0, 0);
  return id >= 0 && semctl(id, 0, GETVAL) == 0;
}

LockList readLocks(const std::string& directory) {
  LockList found;
  std::vector<std::string> names;
  std::error_code error;
  std::filesystem::directory_iterator entry(directory, error), end;
  for (; !error && entry != end; entry.increment(error)) {
    std::string name = entry->path().filename();
    if (!name.ends_with(layout::kLockSuffix)) continue;
    found.cut = names.size() == LockList::kMost;
    if (found.cut) break;
    names.push_back(std::move(name));
  }
  found.error = error.value();
  std::sort(names.begin(), names.end());
  for (const std::string& name : names) found.locks.push_back(readLock(directory + name));
  return found;
}

}  // namespace reader
