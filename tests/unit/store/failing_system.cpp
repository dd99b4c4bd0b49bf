// SPDX-License-Identifier: Apache-2.0
#include "tests/unit/store/failing_system.h"

#include <dlfcn.h>
#include <sys/ipc.h>
#include <sys/random.h>
#include <sys/shm.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <new>

namespace {

struct Failure {
  std::string function;
  int error = 0;
  std::string suffix;
  int after = 0;
};

Failure& failure() {
  static Failure* the = new Failure;
  return *the;
}

std::size_t failingBytes = 0;
int allocationsLeft = 0;
int failuresLeft = 0;
bool refusesAll = false;

bool fails(const char* function, const char* path = "") {
  Failure& script = failure();
  if (script.function != function || !std::string(path).ends_with(script.suffix)) return false;
  if (script.after-- > 0) return false;
  errno = script.error;
  return true;
}

template <typename Function>
Function* next(Function* /*type*/, const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

namespace support {

void failCalls(const std::string& function, int errorNumber, const std::string& suffix, int after) {
  failure() = {function, errorNumber, suffix, after};
}

void failAllocations(std::size_t bytes, int after, int times) {
  failingBytes = bytes;
  allocationsLeft = after;
  failuresLeft = times;
}

void refuseMemory() {
  refusesAll = true;
}

void succeedAgain() {
  failure() = {};
  failingBytes = 0;
  refusesAll = false;
}

}  // namespace support

#define VISIBLE __attribute__((visibility("default")))

extern "C" {

VISIBLE int shmget(key_t key, std::size_t size, int flags) noexcept {
  if (fails("shmget")) return -1;
  if ((flags & IPC_EXCL) == 0 && fails("shmget existing")) return -1;
  return next(&shmget, "shmget")(key, size, flags);
}

VISIBLE void* shmat(int id, const void* address, int flags) noexcept {
  if (fails("shmat")) return reinterpret_cast<void*>(-1);
  return next(&shmat, "shmat")(id, address, flags);
}

VISIBLE int shmdt(const void* address) noexcept {
  if (fails("shmdt")) return -1;
  return next(&shmdt, "shmdt")(address);
}

VISIBLE int shmctl(int id, int command, shmid_ds* state) noexcept {
  if (command == IPC_STAT && fails("IPC_STAT")) return -1;
  if (command == IPC_RMID && fails("IPC_RMID")) return -1;
  return next(&shmctl, "shmctl")(id, command, state);
}

VISIBLE int unlink(const char* path) noexcept {
  if (fails("unlink", path)) return -1;
  return next(&unlink, "unlink")(path);
}

VISIBLE ssize_t getrandom(void* bytes, std::size_t count, unsigned flags) {
  if (fails("getrandom")) return -1;
  return next(&getrandom, "getrandom")(bytes, count, flags);
}

VISIBLE key_t ftok(const char* path, int project) noexcept {
  if (fails("ftok", path)) return -1;
  return next(&ftok, "ftok")(path, project);
}

}  // extern "C"

namespace {

bool refuses(std::size_t bytes) {
  return failingBytes != 0 && bytes == failingBytes && allocationsLeft-- <= 0 && failuresLeft-- > 0;
}

void* allocate(std::size_t bytes) {
  return std::malloc(std::max<std::size_t>(bytes, 1));
}

}  // namespace

VISIBLE void* operator new(std::size_t bytes) {
  void* const memory = refusesAll ? nullptr : allocate(bytes);
  if (!memory) throw std::bad_alloc();
  return memory;
}

VISIBLE void operator delete(void* memory) noexcept {
  std::free(memory);
}

VISIBLE void operator delete(void* memory, std::size_t /*bytes*/) noexcept {
  std::free(memory);
}

VISIBLE void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept {
  return refuses(bytes) ? nullptr : allocate(bytes);
}

VISIBLE void* operator new[](std::size_t bytes, const std::nothrow_t&) noexcept {
  if (refuses(bytes)) return nullptr;
  try {
    return ::operator new[](bytes);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}
