// SPDX-License-Identifier: Apache-2.0
#include "tests/unit/base/failing_ipc.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/msg.h>
#include <sys/sem.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <map>
#include <mutex>

namespace {

struct Failure {
  int error = 0;
  int times = 0;
  int after = 0;
};

std::mutex& guard() {
  static auto* const the = new std::mutex;
  return *the;
}

std::map<std::string, Failure>& failures() {
  static auto* const the = new std::map<std::string, Failure>;
  return *the;
}

std::vector<std::string>& calls() {
  static auto* const the = new std::vector<std::string>;
  return *the;
}

bool fails(const std::string& function) {
  const std::lock_guard lock(guard());
  Failure& failure = failures()[function];
  if (failure.times == 0 || failure.after-- > 0) return false;
  --failure.times;
  failure.after = 0;
  if (failure.error != 0) errno = failure.error;
  return true;
}

int failed(const std::string& function) {
  const std::lock_guard lock(guard());
  return failures()[function].error == 0 ? 0 : -1;
}

__attribute__((format(printf, 1, 2))) void note(const char* format, ...) {
  const int kept = errno;
  char text[128];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  const std::lock_guard lock(guard());
  calls().emplace_back(text);
  errno = kept;
}

template <typename Function>
Function* next(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

const char* commandName(int command) {
  if (command == IPC_STAT) return "IPC_STAT";
  if (command == IPC_RMID) return "IPC_RMID";
  return command == SETVAL ? "SETVAL" : "other";
}

}  // namespace

namespace support {

void failIpc(const std::string& function, int errorNumber, int times, int after) {
  const std::lock_guard lock(guard());
  failures()[function] = {errorNumber, times, after};
}

std::vector<std::string> ipcCalls() {
  const std::lock_guard lock(guard());
  std::vector<std::string> made;
  made.swap(calls());
  return made;
}

}  // namespace support

#define VISIBLE __attribute__((visibility("default")))

extern "C" {

VISIBLE int msgget(key_t key, int flags) noexcept {
  note("msgget %o", static_cast<unsigned>(flags));
  if (fails("msgget")) return failed("msgget");
  return next<int(key_t, int)>("msgget")(key, flags);
}

VISIBLE int msgsnd(int queue, const void* message, std::size_t bytes, int flags) {
  struct Sent {
    long type;
    char body;
  };
  const auto* const sent = static_cast<const Sent*>(message);
  note("msgsnd %ld %zu %d %o", sent->type, bytes, sent->body, static_cast<unsigned>(flags));
  if (fails("msgsnd")) return -1;
  return next<int(int, const void*, std::size_t, int)>("msgsnd")(queue, message, bytes, flags);
}

VISIBLE ssize_t msgrcv(int queue, void* message, std::size_t bytes, long type, int flags) {
  note("msgrcv %zu %ld %o", bytes, type, static_cast<unsigned>(flags));
  if (fails("msgrcv")) return -1;
  return next<ssize_t(int, void*, std::size_t, long, int)>("msgrcv")(queue, message, bytes, type,
                                                                     flags);
}

VISIBLE int msgctl(int queue, int command, msqid_ds* state) noexcept {
  note("msgctl %s", commandName(command));
  if (fails(std::string("msgctl ") + commandName(command))) return -1;
  return next<int(int, int, msqid_ds*)>("msgctl")(queue, command, state);
}

VISIBLE int semget(key_t key, int count, int flags) noexcept {
  note("semget %d %o", count, static_cast<unsigned>(flags));
  if (fails("semget")) return failed("semget");
  return next<int(key_t, int, int)>("semget")(key, count, flags);
}

VISIBLE int semctl(int set, int number, int command, ...) noexcept {
  union Argument {
    int value;
    void* pointer;
  } argument{};
  va_list rest;
  va_start(rest, command);
  argument = va_arg(rest, Argument);
  va_end(rest);
  if (command == SETVAL) note("semctl %d SETVAL %d", number, argument.value);
  if (command == IPC_RMID) note("semctl %d IPC_RMID", number);
  if (fails(std::string("semctl ") + commandName(command))) return -1;
  return next<int(int, int, int, ...)>("semctl")(set, number, command, argument);
}

VISIBLE int semop(int set, sembuf* operations, std::size_t count) noexcept {
  note("semop %d %d %o", operations->sem_num, operations->sem_op,
       static_cast<unsigned>(operations->sem_flg));
  if (fails("semop")) return -1;
  return next<int(int, sembuf*, std::size_t)>("semop")(set, operations, count);
}

VISIBLE int open(const char* path, int flags, ...) {
  va_list rest;
  va_start(rest, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(rest, mode_t) : 0;
  va_end(rest);
  if (std::string(path).ends_with(".zebmutx") && fails("open")) return -1;
  return next<int(const char*, int, ...)>("open")(path, flags, mode);
}

VISIBLE int close(int file) {
  const int result = next<int(int)>("close")(file);
  return fails("close") ? -1 : result;
}

}  // extern "C"
