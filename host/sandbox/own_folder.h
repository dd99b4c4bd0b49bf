// SPDX-License-Identifier: Apache-2.0
// A folder that goes when it isn't needed any more.
#ifndef ZEB_HOST_SANDBOX_OWN_FOLDER_H
#define ZEB_HOST_SANDBOX_OWN_FOLDER_H

#include <filesystem>

namespace host {

class OwnFolder {
 public:
  // A new one below /tmp, for this user alone. Throws std::system_error.
  OwnFolder();

  // Removes it with all that is in it.
  ~OwnFolder();
  OwnFolder(const OwnFolder&) = delete;
  OwnFolder& operator=(const OwnFolder&) = delete;

  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

}  // namespace host

#endif  // ZEB_HOST_SANDBOX_OWN_FOLDER_H
