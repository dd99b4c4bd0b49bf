// SPDX-License-Identifier: Apache-2.0
// Tells Helgrind of the locks that it doesn't know: a semaphore taken to zero is a lock held. The
// program's own functions come before the system's. Without Helgrind they only pass the call on.
#include <dlfcn.h>
#include <sys/sem.h>
#include <valgrind/helgrind.h>

#include <cstdarg>

namespace {

// Helgrind knows locks by addresses. The low bits of an id are a place in the system's table, which
// the next semaphore takes when this one is removed.
char* placeOf(int id) {
  constexpr int kPlaces = 32768;
  static char places[kPlaces];
  return &places[id % kPlaces];
}

template <typename Function>
Function* next(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

// Found before there are threads: Helgrind doesn't see what guards a static of a function.
const auto realSemget = next<int(key_t, int, int)>("semget");
const auto realSemop = next<int(int, sembuf*, std::size_t)>("semop");
const auto realSemctl = next<int(int, int, int, ...)>("semctl");

}  // namespace

extern "C" {

int semget(key_t key, int count, int flags) noexcept {
  const int id = realSemget(key, count, flags);
  if (id >= 0 && (flags & IPC_EXCL) != 0) ANNOTATE_RWLOCK_CREATE(placeOf(id));
  return id;
}

int semop(int id, sembuf* operations, std::size_t count) noexcept {
  const bool takes = operations[0].sem_op < 0;
  if (!takes) ANNOTATE_RWLOCK_RELEASED(placeOf(id), 1);
  const int result = realSemop(id, operations, count);
  if (takes && result == 0) ANNOTATE_RWLOCK_ACQUIRED(placeOf(id), 1);
  return result;
}

int semctl(int id, int number, int command, ...) noexcept {
  va_list arguments;
  va_start(arguments, command);
  void* const argument = va_arg(arguments, void*);  // the member of the union that is widest
  va_end(arguments);
  if (command == IPC_RMID) ANNOTATE_RWLOCK_DESTROY(placeOf(id));
  return realSemctl(id, number, command, argument);
}

}  // extern "C"
