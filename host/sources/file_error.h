// SPDX-License-Identifier: Apache-2.0
// A file of the run that can't be read or written: kExitNoOutput is its exit code.
#ifndef ZEB_HOST_SOURCES_FILE_ERROR_H
#define ZEB_HOST_SOURCES_FILE_ERROR_H

#include <filesystem>
#include <string>
#include <system_error>

namespace host {

// "can't read PATH: reason". `what` is what can't be done; `error` is an errno.
class FileError : public std::system_error {
 public:
  FileError(int error, const std::string& what, const std::filesystem::path& path)
      : std::system_error(error, std::generic_category(), what + " " + path.string()) {}
};

}  // namespace host

#endif  // ZEB_HOST_SOURCES_FILE_ERROR_H
