// SPDX-License-Identifier: Apache-2.0
#include "agent/act/key_file_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace act {
namespace {

constexpr int kAttempts = 1000;
constexpr timespec kStep{0, 1'000'000};

}  // namespace

KeyFileLock::KeyFileLock(const std::string& path)
    : path_(path), file_(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)) {
  if (file_ < 0) {
    problem_ = std::string("its key file can't be opened: ") + std::strerror(errno);
    return;
  }
  lock();
}

KeyFileLock::~KeyFileLock() {
  if (file_ < 0) return;
  flock(file_, LOCK_UN);  // by itself: a forked child has the file open too
  close(file_);
}

void KeyFileLock::lock() {
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    if (flock(file_, LOCK_EX | LOCK_NB) == 0) return;
    if (errno != EWOULDBLOCK && errno != EINTR) break;
    nanosleep(&kStep, nullptr);
  }
  problem_ = errno == EWOULDBLOCK || errno == EINTR
                 ? "another process holds the lock of its key file"
                 : std::string("its key file can't be locked: ") + std::strerror(errno);
}

bool KeyFileLock::isStill(const reader::KeyFile& seen) const {
  struct stat locked {};
  struct stat named {};
  return problem_.empty() && fstat(file_, &locked) == 0 && stat(path_.c_str(), &named) == 0 &&
         S_ISREG(locked.st_mode) && locked.st_ino == named.st_ino &&
         locked.st_dev == named.st_dev && locked.st_ino == seen.inode &&
         locked.st_dev == seen.device;
}

}  // namespace act
