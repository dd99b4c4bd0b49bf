// SPDX-License-Identifier: Apache-2.0
// A plug-in's file, and what a host's directory has in its place.
#ifndef ZEB_AGENT_READER_LIBRARY_FILE_H
#define ZEB_AGENT_READER_LIBRARY_FILE_H

#include <cstdint>
#include <string>

namespace reader {

// What the first bytes of a file say. What is no ELF file has neither bits nor a machine.
struct LibraryFile {
  std::string path;
  int error = 0;              // errno when it can't be read
  int bits = 0;               // 32 or 64
  std::uint32_t machine = 0;  // as in elf.h
  std::uint64_t device = 0;
  std::uint64_t inode = 0;

  // A 64-bit program of this machine can load a file of its kind.
  bool fits() const;
};

LibraryFile readLibraryFile(const std::string& path);

// The entry of a host's directory that has the plug-in's name.
struct PlugInEntry {
  enum class Kind { missing, link, other };

  std::string directory;  // absolute, without a "/" behind it
  int error = 0;          // errno when the directory, or the entry in it, can't be looked at
  Kind kind = Kind::missing;
  std::string target;  // of a link, unchanged

  std::string path() const;
  bool leadsTo(const std::string& library) const { return kind == Kind::link && target == library; }
};

// How its kinds are called in files.
inline constexpr const char* kPlugInEntryNames[] = {"missing", "link", "other"};

PlugInEntry readPlugInEntry(const std::string& directory);

}  // namespace reader

#endif  // ZEB_AGENT_READER_LIBRARY_FILE_H
