// SPDX-License-Identifier: Apache-2.0
#include "agent/reader/directory.h"

#include <sys/stat.h>
#include <sys/statvfs.h>

#include <cerrno>

namespace reader {

bool Directory::lets(std::uint32_t user) const {
  constexpr std::uint32_t kMakes = 03;  // write and search, of one class of users
  constexpr std::uint32_t kOwner = 6;
  constexpr std::uint32_t kGroup = 3;
  const auto makes = [this](std::uint32_t shift) { return (mode >> shift & kMakes) == kMakes; };
  if (user == 0) return true;
  return user == owner ? makes(kOwner) : makes(kGroup) || makes(0);
}

Directory readDirectory(const std::string& path) {
  constexpr std::uint32_t kPermissionBits = 07777;
  Directory found;
  found.path = path;
  struct stat facts {};
  if (stat(path.c_str(), &facts) != 0) {
    found.error = errno;
    return found;
  }
  found.directory = S_ISDIR(facts.st_mode);
  found.device = facts.st_dev;
  found.inode = facts.st_ino;
  found.owner = facts.st_uid;
  found.group = facts.st_gid;
  found.mode = facts.st_mode & kPermissionBits;
  struct statvfs system {};
  if (statvfs(path.c_str(), &system) != 0) return found;
  found.readOnly = (system.f_flag & ST_RDONLY) != 0;
  std::uint64_t bytes = 0;
  if (!__builtin_mul_overflow(system.f_bavail, system.f_frsize, &bytes)) found.freeBytes = bytes;
  if (system.f_files != 0) found.freeFiles = system.f_favail;
  return found;
}

}  // namespace reader
