// SPDX-License-Identifier: Apache-2.0
// The system's functions as the library finds them: each passes the call on unless it shall fail.
#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/ipc.h>
#include <sys/msg.h>
#include <sys/sem.h>
#include <sys/shm.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <iterator>

#include "tests/faults/inside.h"

namespace faults {

bool insideLibrary = false;
bool deletingContext = false;

bool fails(Function function, const char* variant) {
  if (!insideLibrary || run == nullptr || run->fault.function != function) return false;
  if (++run->calls != run->fault.nth) return false;
  run->met = true;
  std::snprintf(run->variant, sizeof run->variant, "%s", variant);
  errno = run->fault.error;
  return true;
}

namespace {

// The function of that name behind this program's own.
template <typename Function>
Function* next(const char* name) {
  const OutsideLibrary outside;
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

// What the library opened last: a file that it made, for a key, or one that it only looks at.
enum class Opened { kNothing, kMade, kLookedAt };
Opened openedLast = Opened::kNothing;
bool madeBy[1024];  // by descriptor

bool endsIn(const char* path, const char* suffix) {
  const std::size_t length = std::strlen(path);
  const std::size_t end = std::strlen(suffix);
  return length >= end && std::strcmp(path + length - end, suffix) == 0;
}

const char* ftokVariant(const char* path) {
  const bool segment = endsIn(path, ".zebcshme");
  const bool again = openedLast == Opened::kMade;
  openedLast = Opened::kNothing;
  if (segment) return again ? "segment again" : "segment";
  return again ? "lock again" : "lock";
}

union SemaphoreArgument {
  int value;
  void* pointer;
};

int systemSemctl(int id, int command, SemaphoreArgument argument) {
  static const auto real = next<int(int, int, int, ...)>("semctl");
  return real(id, 0, command, argument);
}

int systemSemget(key_t key, int count, int flags) {
  static const auto real = next<int(key_t, int, int)>("semget");
  return real(key, count, flags);
}

int systemShmget(key_t key, std::size_t size, int flags) {
  static const auto real = next<int(key_t, std::size_t, int)>("shmget");
  return real(key, size, flags);
}

int systemSemop(int id, sembuf* operations, std::size_t count) {
  static const auto real = next<int(int, sembuf*, std::size_t)>("semop");
  return real(id, operations, count);
}

// A failure on the way to 1 leaves a lock at 0 with nobody inside, and the next to come would wait
// for ever. That is told, and the lock is set right, as somebody who attends to the machine would.
void freeHeldLock(int id, const sembuf& operation) {
  if (run == nullptr || run->heldLock != id || operation.sem_op >= 0) return;
  sembuf attempt = operation;
  attempt.sem_flg = IPC_NOWAIT;
  attempt.sem_op = 0;
  if (systemSemop(id, &attempt, 1) != 0) return;  // it is not at 0
  ++run->freed;
  run->heldLock = 0;
  systemSemctl(id, SETVAL, {1});
}

bool failsToExist(Function function, int flags) {
  return fails(function, (flags & IPC_EXCL) != 0 ? "make" : "join");
}

}  // namespace
}  // namespace faults

using faults::fails;
using faults::run;

extern "C" {

key_t ftok(const char* path, int project) noexcept {
  static const auto real = faults::next<key_t(const char*, int)>("ftok");
  if (faults::insideLibrary && fails(faults::kFtok, faults::ftokVariant(path))) return -1;
  return real(path, project);
}

int open(const char* path, int flags, ...) {
  static const auto real = faults::next<int(const char*, int, ...)>("open");
  va_list arguments;
  va_start(arguments, flags);
  const auto mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(arguments, mode_t) : 0;
  va_end(arguments);
  const bool makes = (flags & O_CREAT) != 0;
  if (fails(faults::kOpen, makes ? "make" : "look")) return -1;
  const int file = real(path, flags, mode);
  if (!faults::insideLibrary || file < 0) return file;
  faults::openedLast = makes ? faults::Opened::kMade : faults::Opened::kLookedAt;
  if (static_cast<std::size_t>(file) < std::size(faults::madeBy)) faults::madeBy[file] = makes;
  return file;
}

// A descriptor is gone even when close fails, as on this system.
int close(int file) {
  static const auto real = faults::next<int(int)>("close");
  const bool made = file >= 0 && static_cast<std::size_t>(file) < std::size(faults::madeBy) &&
                    faults::madeBy[file];
  if (!fails(faults::kClose, made ? "make" : "look")) return real(file);
  real(file);
  errno = run->fault.error;
  return -1;
}

int unlink(const char* path) noexcept {
  static const auto real = faults::next<int(const char*)>("unlink");
  if (fails(faults::kUnlink, faults::endsIn(path, ".zebcshme") ? "segment" : "lock")) return -1;
  return real(path);
}

int msgget(key_t key, int flags) noexcept {
  static const auto real = faults::next<int(key_t, int)>("msgget");
  return fails(faults::kMsgget) ? -1 : real(key, flags);
}

int msgsnd(int id, const void* message, std::size_t size, int flags) {
  static const auto real = faults::next<int(int, const void*, std::size_t, int)>("msgsnd");
  return fails(faults::kMsgsnd) ? -1 : real(id, message, size, flags);
}

ssize_t msgrcv(int id, void* message, std::size_t size, long type, int flags) {
  static const auto real = faults::next<ssize_t(int, void*, std::size_t, long, int)>("msgrcv");
  return fails(faults::kMsgrcv) ? -1 : real(id, message, size, type, flags);
}

int msgctl(int id, int command, msqid_ds* state) noexcept {
  static const auto real = faults::next<int(int, int, msqid_ds*)>("msgctl");
  if (fails(faults::kMsgctl, command == IPC_STAT ? "IPC_STAT" : "IPC_RMID")) return -1;
  return real(id, command, state);
}

// EEXIST is the truth: another process made the semaphore a moment before, free.
int semget(key_t key, int count, int flags) noexcept {
  if (!faults::failsToExist(faults::kSemget, flags)) {
    return faults::systemSemget(key, count, flags);
  }
  if (run->fault.error == EEXIST && (flags & IPC_EXCL) != 0) {
    const int other = faults::systemSemget(key, count, flags);
    if (other >= 0) faults::systemSemctl(other, SETVAL, {1});
  }
  errno = run->fault.error;
  return -1;
}

int semop(int id, sembuf* operations, std::size_t count) noexcept {
  const bool releases = operations[0].sem_op > 0;
  if (fails(faults::kSemop, releases ? "release" : "get")) {
    if (releases && errno != EINTR) run->heldLock = id;
    return -1;
  }
  if (faults::insideLibrary) faults::freeHeldLock(id, operations[0]);
  return faults::systemSemop(id, operations, count);
}

int semctl(int id, int, int command, ...) noexcept {
  va_list arguments;
  va_start(arguments, command);
  const auto argument = va_arg(arguments, faults::SemaphoreArgument);
  va_end(arguments);
  if (fails(faults::kSemctl, command == SETVAL ? "SETVAL" : "IPC_RMID")) {
    if (command == SETVAL) run->heldLock = id;
    return -1;
  }
  return faults::systemSemctl(id, command, argument);
}

// As with semget: another process made the segment, and has not written into it yet.
int shmget(key_t key, std::size_t size, int flags) noexcept {
  if (!faults::failsToExist(faults::kShmget, flags)) {
    return faults::systemShmget(key, size, flags);
  }
  if (run->fault.error == EEXIST && (flags & IPC_EXCL) != 0) {
    faults::systemShmget(key, size, flags);
  }
  errno = run->fault.error;
  return -1;
}

void* shmat(int id, const void* address, int flags) noexcept {
  static const auto real = faults::next<void*(int, const void*, int)>("shmat");
  return fails(faults::kShmat) ? reinterpret_cast<void*>(-1) : real(id, address, flags);
}

int shmdt(const void* address) noexcept {
  static const auto real = faults::next<int(const void*)>("shmdt");
  return fails(faults::kShmdt) ? -1 : real(address);
}

int shmctl(int id, int command, shmid_ds* state) noexcept {
  static const auto real = faults::next<int(int, int, shmid_ds*)>("shmctl");
  const char* const use = command == IPC_RMID       ? "IPC_RMID"
                          : faults::deletingContext ? "IPC_STAT at the end"
                                                    : "IPC_STAT at the start";
  return fails(faults::kShmctl, use) ? -1 : real(id, command, state);
}

DIR* opendir(const char* path) {
  static const auto real = faults::next<DIR*(const char*)>("opendir");
  return fails(faults::kOpendir) ? nullptr : real(path);
}

FILE* fopen(const char* path, const char* mode) {
  static const auto real = faults::next<FILE*(const char*, const char*)>("fopen");
  return fails(faults::kFopen) ? nullptr : real(path, mode);
}

// An error of 0 stands for a shell that could not be executed.
int system(const char* command) {
  static const auto real = faults::next<int(const char*)>("system");
  if (!fails(faults::kSystem)) return real(command);
  return run->fault.error == 0 ? 127 << 8 : -1;
}

int remove(const char* path) noexcept {
  static const auto real = faults::next<int(const char*)>("remove");
  return fails(faults::kRemove) ? -1 : real(path);
}

int flock(int file, int operation) noexcept {
  static const auto real = faults::next<int(int, int)>("flock");
  const char* const use = (operation & LOCK_UN) != 0 ? "unlock" : "lock";
  return fails(faults::kFlock, use) ? -1 : real(file, operation);
}

int fstat(int file, struct stat* status) noexcept {
  static const auto real = faults::next<int(int, struct stat*)>("fstat");
  return fails(faults::kFstat) ? -1 : real(file, status);
}

int stat(const char* path, struct stat* status) noexcept {
  static const auto real = faults::next<int(const char*, struct stat*)>("stat");
  return fails(faults::kStat) ? -1 : real(path, status);
}

// The clock moves by a millisecond with each look, so that every run takes the same way.
int gettimeofday(timeval* now, void* zone) noexcept {
  static const auto real = faults::next<int(timeval*, void*)>("gettimeofday");
  if (fails(faults::kGettimeofday)) return -1;
  if (run == nullptr) return real(now, zone);
  const long milliseconds = ++run->milliseconds;
  *now = {1767322800 + milliseconds / 1000, milliseconds % 1000 * 1000};
  return 0;
}

std::time_t time(std::time_t* now) noexcept {
  static const auto real = faults::next<std::time_t(std::time_t*)>("time");
  if (run == nullptr) return real(now);
  const std::time_t seconds = 1767322800 + run->milliseconds / 1000;
  if (now != nullptr) *now = seconds;
  return seconds;
}

}  // extern "C"
