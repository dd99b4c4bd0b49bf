// SPDX-License-Identifier: Apache-2.0
// What is in a directory.
#ifndef ZEB_AGENT_READER_FOLDER_H
#define ZEB_AGENT_READER_FOLDER_H

#include <cstddef>
#include <limits>
#include <string>
#include <vector>

namespace reader {

// Any bytes that names can have, in no order, without "." and "..".
struct Folder {
  int error = 0;  // errno when it couldn't be read to its end
  std::vector<std::string> names;
};

// The first `most` names. Without memory it throws, as all else does: the standard library's own
// iterator would end the process.
Folder readFolder(const std::string& path,
                  std::size_t most = std::numeric_limits<std::size_t>::max());

}  // namespace reader

#endif  // ZEB_AGENT_READER_FOLDER_H
