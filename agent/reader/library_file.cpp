// SPDX-License-Identifier: Apache-2.0
#include "agent/reader/library_file.h"

#include <elf.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstring>

#include "agent/reader/bounded_file.h"
#include "format/installed.h"

namespace reader {
namespace {

#if defined(__x86_64__)
constexpr std::uint32_t kThisMachine = EM_X86_64;
#elif defined(__aarch64__)
constexpr std::uint32_t kThisMachine = EM_AARCH64;
#elif defined(__powerpc64__)
constexpr std::uint32_t kThisMachine = EM_PPC64;
#elif defined(__s390x__)
constexpr std::uint32_t kThisMachine = EM_S390;
#else
constexpr std::uint32_t kThisMachine = EM_NONE;
#endif

int bitsOf(const std::string& header) {
  const auto kind = static_cast<unsigned char>(header[EI_CLASS]);
  return kind == ELFCLASS64 ? 64 : kind == ELFCLASS32 ? 32 : 0;
}

}  // namespace

bool LibraryFile::fits() const {
  return error == 0 && bits == 64 && machine == kThisMachine;
}

// The machine has the same place in headers of 32 and of 64 bits.
LibraryFile readLibraryFile(const std::string& path) {
  LibraryFile found{.path = path};
  struct stat facts {};
  if (stat(path.c_str(), &facts) != 0) {
    found.error = errno;
    return found;
  }
  found.device = facts.st_dev;
  found.inode = facts.st_ino;
  const FileText header = readFile(path, sizeof(Elf64_Ehdr));
  found.error = header.error;
  if (header.text.size() < sizeof(Elf64_Ehdr) || !header.text.starts_with(ELFMAG)) return found;
  Elf64_Half machine = 0;
  std::memcpy(&machine, header.text.data() + offsetof(Elf64_Ehdr, e_machine), sizeof machine);
  found.bits = bitsOf(header.text);
  found.machine = machine;
  return found;
}

std::string PlugInEntry::path() const {
  return directory + "/" + layout::kPlugInName;
}

PlugInEntry readPlugInEntry(const std::string& directory) {
  PlugInEntry found;
  found.directory = directory;
  struct stat facts {};
  if (stat((directory + "/.").c_str(), &facts) != 0) {
    found.error = errno;
  } else if (lstat(found.path().c_str(), &facts) != 0) {
    found.error = errno == ENOENT ? 0 : errno;
  } else if (!S_ISLNK(facts.st_mode)) {
    found.kind = PlugInEntry::Kind::other;
  } else {
    std::array<char, PATH_MAX> target{};
    const ssize_t size = readlink(found.path().c_str(), target.data(), target.size());
    found.kind = PlugInEntry::Kind::link;
    if (size < 0) found.error = errno;
    found.target.assign(target.data(), size < 0 ? 0 : static_cast<std::size_t>(size));
  }
  return found;
}

}  // namespace reader
