// SPDX-License-Identifier: Apache-2.0
#include "tests/processes/doomed.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/msg.h>
#include <sys/sem.h>
#include <sys/shm.h>
#include <sys/time.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdarg>
#include <ctime>
#include <stdexcept>

namespace {

std::atomic<long> callsLeft = 0;  // 0 in a process that is not doomed
std::atomic<bool> deathIsAfter = false;
std::atomic<bool> nextLockKills = false;

[[noreturn]] void die() {
  kill(getpid(), SIGKILL);
  for (;;) pause();
}

// Stands around each call.
class Call {
 public:
  Call() : last_(callsLeft > 0 && --callsLeft == 0) {
    if (last_ && !deathIsAfter) die();
  }
  ~Call() {
    if (last_) die();
  }
  Call(const Call&) = delete;
  Call& operator=(const Call&) = delete;

 private:
  const bool last_;
};

// The function of that name behind this program's own.
template <typename Function>
Function* next(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

namespace support {

void dieAtCall(long nth, bool after) {
  deathIsAfter = after;
  callsLeft = nth;
}

void dieHoldingTheNextLock() {
  nextLockKills = true;
}

void dieAfter(long microseconds) {
  sigevent event{};
  event.sigev_notify = SIGEV_SIGNAL;
  event.sigev_signo = SIGKILL;
  timer_t timer;
  const itimerspec moment{{0, 0}, {microseconds / 1000000, microseconds % 1000000 * 1000 + 1}};
  if (timer_create(CLOCK_MONOTONIC, &event, &timer) != 0 ||
      timer_settime(timer, 0, &moment, nullptr) != 0)
    throw std::runtime_error("no timer");
}

}  // namespace support

extern "C" {

int open(const char* path, int flags, ...) {
  static const auto real = next<int(const char*, int, ...)>("open");
  va_list arguments;
  va_start(arguments, flags);
  const auto mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(arguments, mode_t) : 0;
  va_end(arguments);
  const Call call;
  return real(path, flags, mode);
}

int flock(int file, int operation) noexcept {
  static const auto real = next<int(int, int)>("flock");
  const Call call;
  return real(file, operation);
}

int unlink(const char* path) noexcept {
  static const auto real = next<int(const char*)>("unlink");
  const Call call;
  return real(path);
}

int msgget(key_t key, int flags) noexcept {
  static const auto real = next<int(key_t, int)>("msgget");
  const Call call;
  return real(key, flags);
}

int msgsnd(int id, const void* message, std::size_t size, int flags) {
  static const auto real = next<int(int, const void*, std::size_t, int)>("msgsnd");
  const Call call;
  return real(id, message, size, flags);
}

ssize_t msgrcv(int id, void* message, std::size_t size, long type, int flags) {
  static const auto real = next<ssize_t(int, void*, std::size_t, long, int)>("msgrcv");
  const Call call;
  return real(id, message, size, type, flags);
}

int msgctl(int id, int command, msqid_ds* state) noexcept {
  static const auto real = next<int(int, int, msqid_ds*)>("msgctl");
  const Call call;
  return real(id, command, state);
}

int semget(key_t key, int count, int flags) noexcept {
  static const auto real = next<int(key_t, int, int)>("semget");
  const Call call;
  return real(key, count, flags);
}

int semop(int id, sembuf* operations, std::size_t count) noexcept {
  static const auto real = next<int(int, sembuf*, std::size_t)>("semop");
  const Call call;
  const int result = real(id, operations, count);
  if (nextLockKills && result == 0 && operations[0].sem_op < 0) die();
  return result;
}

int semctl(int id, int number, int command, ...) noexcept {
  static const auto real = next<int(int, int, int, ...)>("semctl");
  va_list arguments;
  va_start(arguments, command);
  void* const argument = va_arg(arguments, void*);  // the one member of the union that has its size
  va_end(arguments);
  const Call call;
  return real(id, number, command, argument);
}

int shmget(key_t key, std::size_t size, int flags) noexcept {
  static const auto real = next<int(key_t, std::size_t, int)>("shmget");
  const Call call;
  return real(key, size, flags);
}

void* shmat(int id, const void* address, int flags) noexcept {
  static const auto real = next<void*(int, const void*, int)>("shmat");
  const Call call;
  return real(id, address, flags);
}

int shmdt(const void* address) noexcept {
  static const auto real = next<int(const void*)>("shmdt");
  const Call call;
  return real(address);
}

int shmctl(int id, int command, shmid_ds* state) noexcept {
  static const auto real = next<int(int, int, shmid_ds*)>("shmctl");
  const Call call;
  return real(id, command, state);
}

int gettimeofday(timeval* now, void* zone) noexcept {
  static const auto real = next<int(timeval*, void*)>("gettimeofday");
  const Call call;
  return real(now, zone);
}

}  // extern "C"
