// SPDX-License-Identifier: Apache-2.0
// The system's functions as the program finds them.
#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/ipc.h>
#include <sys/msg.h>
#include <sys/random.h>
#include <sys/shm.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <iterator>

#include "tests/support/seam_ask.h"

namespace support::seam {
namespace {

template <typename Function>
void find(Function*& function, const char* name) {
  function = reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

// The functions behind this program's own, all looked up at once: that takes memory.
struct System {
  System() {
    const Aside aside;
    find(ftok, "ftok");
    find(open, "open");
    find(close, "close");
    find(unlink, "unlink");
    find(msgget, "msgget");
    find(msgsnd, "msgsnd");
    find(msgrcv, "msgrcv");
    find(msgctl, "msgctl");
    find(semget, "semget");
    find(semop, "semop");
    find(semctl, "semctl");
    find(shmget, "shmget");
    find(shmat, "shmat");
    find(shmdt, "shmdt");
    find(shmctl, "shmctl");
    find(opendir, "opendir");
    find(fopen, "fopen");
    find(system, "system");
    find(remove, "remove");
    find(flock, "flock");
    find(fstat, "fstat");
    find(stat, "stat");
    find(getrandom, "getrandom");
  }

  key_t (*ftok)(const char*, int);
  int (*open)(const char*, int, ...);
  int (*close)(int);
  int (*unlink)(const char*);
  int (*msgget)(key_t, int);
  int (*msgsnd)(int, const void*, std::size_t, int);
  ssize_t (*msgrcv)(int, void*, std::size_t, long, int);
  int (*msgctl)(int, int, msqid_ds*);
  int (*semget)(key_t, int, int);
  int (*semop)(int, sembuf*, std::size_t);
  int (*semctl)(int, int, int, ...);
  int (*shmget)(key_t, std::size_t, int);
  void* (*shmat)(int, const void*, int);
  int (*shmdt)(const void*);
  int (*shmctl)(int, int, shmid_ds*);
  DIR* (*opendir)(const char*);
  FILE* (*fopen)(const char*, const char*);
  int (*system)(const char*);
  int (*remove)(const char*);
  int (*flock)(int, int);
  int (*fstat)(int, struct stat*);
  int (*stat)(const char*, struct stat*);
  ssize_t (*getrandom)(void*, std::size_t, unsigned);
};

const System& real() {
  static const System the;
  return the;
}

union SemaphoreArgument {
  int value;
  void* pointer;
};

struct Message {
  long type;
  char body;
};

}  // namespace

const char* nameOf(Function function) {
  static constexpr const char* kNames[] = {
      "operator_new", "malloc", "ftok",   "open",    "close",     "unlink", "msgget",
      "msgsnd",       "msgrcv", "msgctl", "semget",  "semop",     "semctl", "shmget",
      "shmat",        "shmdt",  "shmctl", "opendir", "fopen",     "system", "remove",
      "gettimeofday", "flock",  "fstat",  "stat",    "getrandom", "time"};
  static_assert(std::size(kNames) == kFunctions);
  return kNames[function];
}

Seam* use(Seam* seam) {
  real();
  Seam* const before = current;
  current = seam;
  return before;
}

}  // namespace support::seam

using namespace support::seam;

extern "C" {

key_t ftok(const char* path, int project) noexcept {
  return through({.function = kFtok, .path = path}, [&] { return real().ftok(path, project); });
}

int open(const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(arguments, mode_t) : 0;
  va_end(arguments);
  return through({.function = kOpen, .path = path, .flags = flags},
                 [&] { return real().open(path, flags, mode); });
}

// A descriptor is gone even when close fails, as on this system.
int close(int file) {
  const Call call{.function = kClose, .id = file};
  const std::optional<int> answer = ask(call);
  if (!answer) return tell(call, real().close(file), 0);
  const int kept = errno;
  real().close(file);
  errno = kept;
  return *answer;
}

int unlink(const char* path) noexcept {
  return through({.function = kUnlink, .path = path}, [&] { return real().unlink(path); });
}

int msgget(key_t key, int flags) noexcept {
  return through({.function = kMsgget, .key = key, .flags = flags},
                 [&] { return real().msgget(key, flags); });
}

int msgsnd(int id, const void* message, std::size_t bytes, int flags) {
  const auto* const sent = static_cast<const Message*>(message);
  return through({.function = kMsgsnd,
                  .bytes = bytes,
                  .id = id,
                  .flags = flags,
                  .type = sent->type,
                  .body = &sent->body},
                 [&] { return real().msgsnd(id, message, bytes, flags); });
}

ssize_t msgrcv(int id, void* message, std::size_t bytes, long type, int flags) {
  return through({.function = kMsgrcv, .bytes = bytes, .id = id, .flags = flags, .type = type},
                 [&] { return real().msgrcv(id, message, bytes, type, flags); });
}

int msgctl(int id, int command, msqid_ds* state) noexcept {
  return through({.function = kMsgctl, .id = id, .command = command},
                 [&] { return real().msgctl(id, command, state); });
}

int semget(key_t key, int count, int flags) noexcept {
  return through({.function = kSemget, .key = key, .count = count, .flags = flags},
                 [&] { return real().semget(key, count, flags); });
}

int semop(int id, sembuf* operations, std::size_t count) noexcept {
  return through({.function = kSemop, .id = id, .operations = operations},
                 [&] { return real().semop(id, operations, count); });
}

int semctl(int id, int number, int command, ...) noexcept {
  va_list arguments;
  va_start(arguments, command);
  const auto argument = va_arg(arguments, SemaphoreArgument);
  va_end(arguments);
  return through({.function = kSemctl,
                  .id = id,
                  .number = number,
                  .command = command,
                  .value = argument.value},
                 [&] { return real().semctl(id, number, command, argument); });
}

int shmget(key_t key, std::size_t size, int flags) noexcept {
  return through({.function = kShmget, .bytes = size, .key = key, .flags = flags},
                 [&] { return real().shmget(key, size, flags); });
}

void* shmat(int id, const void* address, int flags) noexcept {
  const Call call{.function = kShmat, .id = id, .flags = flags};
  if (ask(call)) return reinterpret_cast<void*>(-1);
  return tell(call, real().shmat(id, address, flags), 0);
}

int shmdt(const void* address) noexcept {
  return through({.function = kShmdt}, [&] { return real().shmdt(address); });
}

int shmctl(int id, int command, shmid_ds* state) noexcept {
  return through({.function = kShmctl, .id = id, .command = command},
                 [&] { return real().shmctl(id, command, state); });
}

DIR* opendir(const char* path) {
  const Call call{.function = kOpendir, .path = path};
  return ask(call) ? nullptr : tell(call, real().opendir(path), 0);
}

FILE* fopen(const char* path, const char* mode) {
  const Call call{.function = kFopen, .path = path};
  return ask(call) ? nullptr : tell(call, real().fopen(path, mode), 0);
}

int system(const char* command) {
  return through({.function = kSystem, .path = command}, [&] { return real().system(command); });
}

int remove(const char* path) noexcept {
  return through({.function = kRemove, .path = path}, [&] { return real().remove(path); });
}

int flock(int file, int operation) noexcept {
  return through({.function = kFlock, .id = file, .flags = operation},
                 [&] { return real().flock(file, operation); });
}

int fstat(int file, struct stat* status) noexcept {
  return through({.function = kFstat, .id = file, .status = status},
                 [&] { return real().fstat(file, status); });
}

int stat(const char* path, struct stat* status) noexcept {
  return through({.function = kStat, .path = path, .status = status},
                 [&] { return real().stat(path, status); });
}

ssize_t getrandom(void* bytes, std::size_t count, unsigned flags) {
  return through({.function = kGetrandom, .bytes = count},
                 [&] { return real().getrandom(bytes, count, flags); });
}

}  // extern "C"
