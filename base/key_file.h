// SPDX-License-Identifier: Apache-2.0
// The empty files from which the keys of inter-process objects are made.
#ifndef ZEB_BASE_KEY_FILE_H
#define ZEB_BASE_KEY_FILE_H

#include "base/trace.h"

// ftok(path, 1), traced; -1 when there is no such file. `path` may be null.
int ZEB_TracedKey(const ZEB_Trace& trace, const char* path);

// Creates the file with mode 0660 less the umask; one that is there is left as it is. False, with a
// message, when it can't be opened; a close that fails is a message only.
bool ZEB_CreateKeyFile(const ZEB_Trace& trace, const char* path);

// Holds off everybody else who joins or removes the objects behind a key file, so that nobody joins
// objects that are just being removed. It is never held while waiting for the objects themselves,
// and where the file can't be locked the caller goes on without: so with a file of another user,
// who could hold the lock without end.
class ZEB_Key_File_Lock {
 public:
  // Waits until nobody else holds it. Locks nothing for null, for a missing file, and for what is
  // no regular file of this user. The path must outlive the lock.
  explicit ZEB_Key_File_Lock(const char* path);
  ~ZEB_Key_File_Lock();
  ZEB_Key_File_Lock(const ZEB_Key_File_Lock&) = delete;
  ZEB_Key_File_Lock& operator=(const ZEB_Key_File_Lock&) = delete;

  // False when the file is gone from its path, or another file makes the key by now: then the key
  // leads to objects that nobody will join any more.
  bool covers(int key) const;

 private:
  const char* keyFile_;
  int file_;           // -1 when nothing is locked
  bool gone_ = false;  // there was no file to lock
};

#endif  // ZEB_BASE_KEY_FILE_H
