// SPDX-License-Identifier: Apache-2.0
// The directory that key files are made in, and what may become of files there.
#ifndef ZEB_AGENT_READER_DIRECTORY_H
#define ZEB_AGENT_READER_DIRECTORY_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace reader {

// A directory and its file system. What has no value could not be read.
struct Directory {
  std::string path;        // ends in "/"
  int error = 0;           // errno when it can't be looked at; then the rest is empty
  bool directory = false;  // it is one, or a link to one
  std::uint64_t device = 0;
  std::uint64_t inode = 0;
  std::uint32_t owner = 0;  // user
  std::uint32_t group = 0;
  std::uint32_t mode = 0;  // permission bits; 01000: only owners remove files there
  bool readOnly = false;   // its file system is

  // Left for ordinary users. Files have no value where the file system doesn't count them.
  std::optional<std::uint64_t> freeBytes;
  std::optional<std::uint64_t> freeFiles;

  // Whether a process of that user may make files in it, as far as owner and permission bits tell:
  // groups are not looked at, so that a group's permission counts for everybody.
  bool lets(std::uint32_t user) const;
};

Directory readDirectory(const std::string& path);

// A line of the system's configuration that lets somebody remove files of a directory.
struct Cleaner {
  enum class Kind {
    tmpfiles,   // a rule of systemd-tmpfiles with an age
    tmpreaper,  // the configuration of tmpreaper, which cron starts
    cron,       // a line that cron runs
  };

  Kind kind = Kind::cron;
  std::string path;      // of the file
  std::size_t line = 0;  // from 1; 0: by default, without a line
  std::string text;      // that line, any bytes
};

struct Cleaners {
  std::vector<Cleaner> cleaners;        // at most one a file
  std::vector<std::string> unreadable;  // paths of what may name more
};

// Who removes old files of `directory`, except those that are told to leave key files alone. Rules
// of systemd-tmpfiles count only where systemd runs. `root` is put before each path that is looked
// at; empty for this machine's.
Cleaners readCleaners(const std::string& directory, const std::string& root = "");

}  // namespace reader

#endif  // ZEB_AGENT_READER_DIRECTORY_H
