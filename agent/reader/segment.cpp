// SPDX-License-Identifier: Apache-2.0
#include "agent/reader/segment.h"

#include <sys/ipc.h>
#include <sys/shm.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <limits>
#include <new>
#include <optional>

#include "agent/reader/folder.h"
#include "agent/reader/groups.h"
#include "format/names.h"

namespace reader {
namespace {

// Attached for as long as it lives.
class Attachment {
 public:
  explicit Attachment(int id) : address_(shmat(id, nullptr, SHM_RDONLY)) {}
  ~Attachment() {
    if (attached()) shmdt(address_);
  }
  Attachment(const Attachment&) = delete;
  Attachment& operator=(const Attachment&) = delete;

  bool attached() const { return address_ != reinterpret_cast<void*>(-1); }
  const std::uint8_t* bytes() const { return static_cast<const std::uint8_t*>(address_); }

 private:
  void* address_;
};

// The group of the segment with this id, from the kernel's list, which everybody may read.
std::optional<gid_t> listedGroup(int id) {
  std::ifstream list("/proc/sysvipc/shm");
  list.ignore(std::numeric_limits<std::streamsize>::max(), '\n');
  long long key, listed, permissions, size, creator, lastUser, attached, owner, group;
  while (list >> key >> listed >> permissions >> size >> creator >> lastUser >> attached >> owner >>
         group) {
    if (listed == id) return static_cast<gid_t>(group);
    list.ignore(std::numeric_limits<std::streamsize>::max(), '\n');
  }
  return std::nullopt;
}

std::string owningGroup(const std::string& keyFile, int id) {
  if (const auto gid = listedGroup(id)) return groupName(*gid);
  struct stat file;
  return stat(keyFile.c_str(), &file) == 0 ? groupName(file.st_gid) : std::string();
}

void fail(Segment& segment, const char* call) {
  segment.error = errno;
  segment.call = call;
  switch (segment.error) {
    case EACCES:
    case EPERM:
      segment.state = State::noPermission;
      segment.group = owningGroup(segment.keyFile, segment.id);
      break;
    case EIDRM:  // removed between two calls
    case EINVAL:
      segment.state = State::noSegment;
      break;
    default:
      segment.state = State::failed;
  }
}

// The segment's id by its key file; false when there is none, and then the state says why.
bool findSegment(Segment& segment) {
  const key_t key = ftok(segment.keyFile.c_str(), layout::kKeyProject);
  if (key == -1) {
    fail(segment, "ftok");
    if (segment.error == ENOENT || segment.error == ENOTDIR) segment.state = State::noKeyFile;
    return false;
  }
  segment.key = static_cast<std::uint32_t>(key);
  segment.id = shmget(key, 0, 0);
  if (segment.id >= 0) return true;
  segment.id = 0;
  fail(segment, "shmget");
  if (segment.error == ENOENT) segment.state = State::noSegment;
  return false;
}

std::optional<std::uint32_t> fileOwnerOf(const std::string& keyFile) {
  struct stat file;
  if (stat(keyFile.c_str(), &file) != 0) return std::nullopt;
  return file.st_uid;
}

// The last block of the largest segment ends two bytes behind it, inside the last page.
std::uint64_t mappedBytes(std::uint64_t size) {
  static const auto page = static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));
  return (size + page - 1) / page * page;
}

void copyAttached(Segment& segment, const CopyBounds& bounds) {
  const Attachment attachment(segment.id);
  if (!attachment.attached()) return fail(segment, "shmat");
  shmid_ds facts;
  if (shmctl(segment.id, IPC_STAT, &facts) != 0) return fail(segment, "shmctl");
  segment.size = facts.shm_segsz;
  segment.attached = facts.shm_nattch - 1;
  segment.group = groupName(facts.shm_perm.gid);
  segment.owner = facts.shm_perm.uid;
  segment.copy = copySegment({attachment.bytes(), mappedBytes(segment.size)}, segment.size, bounds);
  segment.state = State::ok;
  if (!segment.copy.initialised) segment.state = State::notInitialised;
  if (!segment.copy.damage.empty()) segment.state = State::damaged;
}

}  // namespace

std::string keyFileOf(const std::string& directory, const std::string& uuid) {
  return directory + uuid + layout::kSegmentSuffix;
}

KeyFiles findKeyFiles(const std::string& directory) {
  const Folder folder = readFolder(directory);
  KeyFiles found{.error = folder.error, .paths = {}};
  for (const std::string& name : folder.names) {
    if (name.ends_with(layout::kSegmentSuffix)) found.paths.push_back(directory + name);
  }
  std::sort(found.paths.begin(), found.paths.end());
  return found;
}

std::optional<std::uint32_t> readOwner(const std::string& keyFile) {
  Segment segment;
  segment.keyFile = keyFile;
  shmid_ds facts;
  if (findSegment(segment) && shmctl(segment.id, IPC_STAT, &facts) == 0) return facts.shm_perm.uid;
  return fileOwnerOf(keyFile);
}

bool hasSegment(const std::string& keyFile) {
  Segment segment;
  segment.keyFile = keyFile;
  return findSegment(segment);
}

Segment readSegment(const std::string& keyFile, const CopyBounds& bounds) {
  Segment segment;
  segment.keyFile = keyFile;
  const std::string name = std::filesystem::path(keyFile).filename();
  segment.uuid =
      name.substr(0, name.size() - std::min(name.size(), sizeof layout::kSegmentSuffix - 1));
  segment.fileOwner = fileOwnerOf(keyFile);
  if (!findSegment(segment)) return segment;
  try {
    copyAttached(segment, bounds);
  } catch (const std::bad_alloc&) {
    errno = ENOMEM;
    fail(segment, "copy");
  }
  return segment;
}

std::optional<EventTail> readTail(const std::string& keyFile, const RingMark& mark,
                                  std::uint64_t mostBytes) {
  Segment segment;
  segment.keyFile = keyFile;
  if (!findSegment(segment) || segment.id != mark.segmentId) return std::nullopt;
  const Attachment attachment(segment.id);
  shmid_ds facts;
  if (!attachment.attached() || shmctl(segment.id, IPC_STAT, &facts) != 0) return std::nullopt;
  try {
    return copyTail({attachment.bytes(), mappedBytes(facts.shm_segsz)}, facts.shm_segsz, mark,
                    mostBytes);
  } catch (const std::bad_alloc&) {
    return std::nullopt;
  }
}

}  // namespace reader
