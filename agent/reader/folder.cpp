// SPDX-License-Identifier: Apache-2.0
#include "agent/reader/folder.h"

#include <dirent.h>

#include <cerrno>
#include <memory>
#include <string_view>

namespace reader {
namespace {

struct Close {
  void operator()(DIR* directory) const { closedir(directory); }
};

}  // namespace

Folder readFolder(const std::string& path, std::size_t most) {
  Folder folder;
  const std::unique_ptr<DIR, Close> directory(opendir(path.c_str()));
  if (!directory) {
    folder.error = errno;
    return folder;
  }
  while (folder.names.size() < most) {
    errno = 0;
    const dirent* const entry = readdir(directory.get());
    if (entry == nullptr) {
      folder.error = errno;
      break;
    }
    const std::string_view name = entry->d_name;
    if (name != "." && name != "..") folder.names.emplace_back(name);
  }
  return folder;
}

}  // namespace reader
