// SPDX-License-Identifier: Apache-2.0
#include "agent/archive/replace_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

namespace archived {
namespace {

int writeAll(int descriptor, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = write(descriptor, bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return errno;
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  return 0;
}

// Some file systems know no renaming that keeps what is there, but links, which do.
int moveTo(const std::string& path, const std::string& fresh, Existing existing) {
  if (existing == Existing::replace) return rename(fresh.c_str(), path.c_str()) == 0 ? 0 : errno;
  if (renameat2(AT_FDCWD, fresh.c_str(), AT_FDCWD, path.c_str(), RENAME_NOREPLACE) == 0) return 0;
  if (errno != EINVAL) return errno;
  if (link(fresh.c_str(), path.c_str()) != 0) return errno;
  unlink(fresh.c_str());
  return 0;
}

}  // namespace

int replaceFile(const std::string& path, const std::function<bool(const Sink&)>& fill,
                Existing existing, mode_t mode) {
  std::string fresh = path + ".XXXXXX";
  const int file = mkostemp(fresh.data(), O_CLOEXEC);
  if (file < 0) return errno;
  const bool filled = fill([file](std::string_view bytes) { return writeAll(file, bytes); });
  int error = filled && (fchmod(file, mode) != 0 || fsync(file) != 0) ? errno : 0;
  close(file);
  const bool whole = filled && error == 0;
  if (whole) error = moveTo(path, fresh, existing);
  if (!whole || error != 0) unlink(fresh.c_str());
  return error;
}

int replaceFile(const std::string& path, std::string_view text, mode_t mode) {
  int failed = 0;
  const auto fill = [&](const Sink& sink) {
    failed = sink(text);
    return failed == 0;
  };
  const int error = replaceFile(path, fill, Existing::replace, mode);
  return failed != 0 ? failed : error;
}

}  // namespace archived
