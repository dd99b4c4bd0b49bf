// SPDX-License-Identifier: Apache-2.0
#include "agent/reader/noted.h"

#include <algorithm>

#include "agent/reader/bounded_file.h"

namespace reader {

std::vector<std::string> notedIn(std::string_view text) {
  std::vector<std::string> directories;
  while (!text.empty()) {
    const std::string line(takeLine(text));
    const bool known = std::ranges::find(directories, line) != directories.end();
    if (line.starts_with('/') && !known) directories.push_back(line);
  }
  return directories;
}

}  // namespace reader
