// SPDX-License-Identifier: Apache-2.0
#include "base/key_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/ipc.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "format/names.h"

namespace {

bool isOurs(int file) {
  struct stat status {};
  return fstat(file, &status) == 0 && S_ISREG(status.st_mode) && status.st_uid == geteuid();
}

bool lockFile(int file) {
  int result;
  do {
    result = flock(file, LOCK_EX);
  } while (result != 0 && errno == EINTR);
  return result == 0;
}

}  // namespace

int ZEB_TracedKey(const ZEB_Trace& trace, const char* path) {
  const int key = path ? ftok(path, layout::kKeyProject) : -1;
  trace.text("ftok = %08X %s", static_cast<unsigned>(key), path ? path : "");
  return key;
}

bool ZEB_CreateKeyFile(const ZEB_Trace& trace, const char* path) {
  const int file =
      path ? open(path, O_RDONLY | O_CREAT, layout::kPermissions) : (errno = ENOMEM, -1);
  if (file < 0) {
    trace.systemCallFailed("open", errno);
    return false;
  }
  if (close(file) != 0) trace.systemCallFailed("close", errno);
  return true;
}

ZEB_Key_File_Lock::ZEB_Key_File_Lock(const char* path)
    : keyFile_(path), file_(path ? open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK) : -1) {
  gone_ = path && file_ < 0 && errno == ENOENT;
  if (file_ < 0 || (isOurs(file_) && lockFile(file_))) return;
  close(file_);
  file_ = -1;
}

ZEB_Key_File_Lock::~ZEB_Key_File_Lock() {
  if (file_ < 0) return;
  flock(file_, LOCK_UN);  // by itself: a forked child has the file open too
  close(file_);
}

bool ZEB_Key_File_Lock::covers(int key) const {
  if (file_ < 0) return !gone_;
  struct stat locked {};
  struct stat named {};
  if (fstat(file_, &locked) != 0) return true;
  if (stat(keyFile_, &named) != 0) return false;
  return locked.st_ino == named.st_ino && locked.st_dev == named.st_dev &&
         ftok(keyFile_, layout::kKeyProject) == key;
}
