// SPDX-License-Identifier: Apache-2.0
// Configuration of the system, line by line: files that may be missing, folders of files.
#ifndef ZEB_AGENT_READER_CONFIGURATION_FILES_H
#define ZEB_AGENT_READER_CONFIGURATION_FILES_H

#include <cstddef>
#include <string>
#include <vector>

namespace reader {

struct ConfigurationLine {
  std::string path;        // of its file
  std::size_t number = 0;  // in there, from 1; of the first one that goes into it
  std::string text;        // with what "\" at its end goes on with
};

bool exists(const std::string& path);

// Each reads at most the first 1000 files of a folder, and 256 KiB of a file. What is not there has
// nothing in it; the path of what can't be read is added to `unreadable`.

// The lines of a file, without empty ones and comments ("#" or ";" in front).
std::vector<ConfigurationLine> readLines(const std::string& path,
                                         std::vector<std::string>& unreadable);

// The paths of what is in a folder, sorted.
std::vector<std::string> filesIn(const std::string& folder, std::vector<std::string>& unreadable);

// The lines of all files NAME.conf in the folders, sorted by NAME. Of files of one name that in the
// first of the folders counts. `root` is put before each folder.
std::vector<ConfigurationLine> readDropIns(const std::vector<std::string>& folders,
                                           const std::string& root,
                                           std::vector<std::string>& unreadable);

}  // namespace reader

#endif  // ZEB_AGENT_READER_CONFIGURATION_FILES_H
