// SPDX-License-Identifier: Apache-2.0
#include "setup/turn.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "format/installed.h"

namespace setup {
namespace {

constexpr mode_t kForOwner = 0600;

bool isStillThere(int file) {
  struct stat opened {};
  struct stat named {};
  return fstat(file, &opened) == 0 && lstat(layout::kInstallationLock, &named) == 0 &&
         opened.st_dev == named.st_dev && opened.st_ino == named.st_ino;
}

}  // namespace

// Who was before this one has removed the file that it waited for.
Turn::Turn() {
  for (;;) {
    file_ = open(layout::kInstallationLock, O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, kForOwner);
    if (file_ < 0) return;
    while (flock(file_, LOCK_EX) != 0 && errno == EINTR) {
    }
    if (isStillThere(file_)) return;
    close(file_);
  }
}

Turn::~Turn() {
  if (file_ < 0) return;
  unlink(layout::kInstallationLock);
  close(file_);
}

}  // namespace setup
