// SPDX-License-Identifier: Apache-2.0
#include "base/name_mutex.h"

#include <sys/ipc.h>
#include <sys/msg.h>
#include <sys/sem.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "base/format.h"
#include "base/key_file.h"
#include "base/return_code.h"
#include "base/temp_directory.h"
#include "base/thread_sanitizer.h"
#include "format/names.h"

namespace {

constexpr char kUnit[] = "zebcmutx";

struct Reference {
  long type = 1;
  char body[1] = {0};
};

constexpr int kAttempts = 100;

union SemaphoreArgument {
  int value;
  semid_ds* state;
  unsigned short* values;
};

bool startsWith(const ZEB_String& text, const ZEB_String& beginning) {
  return text.OK() && beginning.OK() && text.size() >= beginning.size() &&
         std::memcmp(text.getwcValue(), beginning.getwcValue(),
                     beginning.size() * sizeof(zebchar)) == 0;
}

}  // namespace

ZEB_Name_Mutex::ZEB_Name_Mutex(const char* name) {
  ZEB_Trace trace(kUnit, "ZEB_Name_Mutex::ZEB_Name_Mutex");
  setPath(name);
  const char* const path = keyFile_.getcValue();
  trace.text("Initializing mutex %s", keyFile_);
  for (int attempt = 1;; ++attempt) {
    int key = ZEB_TracedKey(trace, path);
    if (key == -1) {
      if (!ZEB_CreateKeyFile(trace, path)) {
        status_ = ZEB_STATUS_FAILED;
        cleanup();
        return;
      }
      // Used as it is, even when it is -1 again: deliberately no check.
      key = ZEB_TracedKey(trace, path);
    }
    const ZEB_Key_File_Lock lock(path);
    // The last user just removed it all: start over, but not without end, should a file system give
    // the file another identity at every look.
    if (key != -1 && !lock.covers(key) && attempt < kAttempts) continue;
    if (joinQueue(trace, key)) joinSemaphore(trace, key);
    break;
  }
  if (OK())
    threads_.emplace(path);
  else
    cleanup();
}

ZEB_Name_Mutex::~ZEB_Name_Mutex() {
  ZEB_Trace trace(kUnit, "ZEB_Name_Mutex::~ZEB_Name_Mutex");
  cleanup();
}

// Stays empty for a null name and is not OK when memory ran out: no key file can be made of either.
void ZEB_Name_Mutex::setPath(const char* name) {
  if (!name) return;
  const ZEB_String directory = ZEB_GetTempDirectory();
  const ZEB_String given(name);
  if (!startsWith(given, directory)) keyFile_ = directory;
  keyFile_ += given;
  keyFile_ += layout::kLockSuffix;
}

bool ZEB_Name_Mutex::joinQueue(const ZEB_Trace& trace, int key) {
  const int queue = msgget(key, IPC_CREAT | layout::kPermissions);
  if (queue < 0) {
    trace.systemCallFailed("msgget", errno);
    status_ = ZEB_STATUS_FAILED;
    return false;
  }
  queue_ = queue;
  const Reference reference;
  if (msgsnd(queue_, &reference, sizeof reference.body, IPC_NOWAIT) != 0)
    trace.systemCallFailed("msgsnd", errno);
  return true;
}

void ZEB_Name_Mutex::joinSemaphore(const ZEB_Trace& trace, int key) {
  errno = 0;
  semaphore_ = semget(key, 1, IPC_CREAT | IPC_EXCL | layout::kPermissions);
  if (semaphore_ > 0) {
    SemaphoreArgument free{1};
    if (semctl(semaphore_, 0, SETVAL, free) != 0) trace.systemCallFailed("semctl", errno);
  } else if (errno == EEXIST) {
    semaphore_ = semget(key, 1, IPC_CREAT | layout::kPermissions);
  }
  if (semaphore_ <= 0) {
    trace.systemCallFailed("semget", errno);
    status_ = ZEB_STATUS_FAILED;
  }
}

void ZEB_Name_Mutex::cleanup() {
  ZEB_Trace trace(kUnit, "ZEB_Name_Mutex::cleanup");
  const char* const path = keyFile_.getcValue();
  trace.text("Clean up mutex %s", keyFile_);
  trace.text("Handle %0X", static_cast<unsigned>(semaphore_));
  if (queue_ > 0) {
    const ZEB_Key_File_Lock lock(path);
    if (dropReference(trace) && semaphore_ > 0) {
      trace.text("Deleting Semaphore");
      if (semctl(semaphore_, 1, IPC_RMID) != 0)
        trace.systemCallFailed("semctl IPC_RMID", errno);
      else if (path && unlink(path) != 0 && bZEBTracing)
        trace.text("Function unlink failed for mutex %s. %s.", keyFile_, ZEB_GetLastError(errno));
    }
  }
  semaphore_ = 0;
  queue_ = 0;
}

// Takes this object's message out of the queue. True when that leaves the semaphore to be removed.
bool ZEB_Name_Mutex::dropReference(const ZEB_Trace& trace) const {
  Reference reference;
  if (msgrcv(queue_, &reference, sizeof reference.body, reference.type, IPC_NOWAIT) < 0) {
    trace.systemCallFailed("msgrcv", errno);
    return false;
  }
  msqid_ds state{};
  if (msgctl(queue_, IPC_STAT, &state) != 0) {
    trace.systemCallFailed("msgctl IPC_STAT", errno);
    return true;
  }
  if (state.msg_qnum != 0) {
    trace.text("Messages in queue : %Li", static_cast<long long>(state.msg_qnum));
    return false;
  }
  if (msgctl(queue_, IPC_RMID, nullptr) != 0) trace.systemCallFailed("msgctl IPC_RMID", errno);
  return true;
}

void ZEB_Name_Mutex::get() {
  ZEB_Trace trace(kUnit, "ZEB_Name_Mutex::get");
  if (!OK()) return;
  trace.text("Asking for mutex %s", keyFile_);
  threads_->enter();
  change(trace, -1);
  ZEB_TellAcquired(this);
  trace.text("Got mutex %s", keyFile_);
}

void ZEB_Name_Mutex::release() {
  ZEB_Trace trace(kUnit, "ZEB_Name_Mutex::release");
  if (!OK()) return;
  trace.text("About to release mutex %s", keyFile_);
  ZEB_TellReleased(this);
  change(trace, 1);
  threads_->leave();
  trace.text("Released mutex %s", keyFile_);
}

// No undo and no other flag, on purpose. A signal only interrupts the wait: going on then would
// raise the semaphore above 1 later and end all exclusion.
void ZEB_Name_Mutex::change(const ZEB_Trace& trace, short by) const {
  sembuf operation{0, by, 0};
  while (semop(semaphore_, &operation, 1) != 0) {
    if (errno == EINTR) continue;
    trace.systemCallFailed("semop", errno);
    return;
  }
}

bool ZEB_Name_Mutex::OK() const {
  ZEB_Trace trace(kUnit, "ZEB_Name_Mutex::OK");
  return trace.leave(status_ == ZEB_STATUS_OK);
}

int ZEB_Name_Mutex::getStatus() const {
  ZEB_Trace trace(kUnit, "ZEB_Name_Mutex::getStatus");
  return trace.leave(status_);
}
