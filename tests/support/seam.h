// SPDX-License-Identifier: Apache-2.0
// The one seam between a test program and the system. The program's own versions of the functions
// below come before those of the C library, for the library under test too. Each passes the call on
// to the system unless the program's `Seam` answers it.
//
// A program that links the target `zeb_seam` has this. `failing.h` is the seam of the unit tests.
#ifndef ZEB_TESTS_SUPPORT_SEAM_H
#define ZEB_TESTS_SUPPORT_SEAM_H

#include <sys/sem.h>
#include <sys/stat.h>
#include <sys/types.h>

#include <cstddef>
#include <optional>

namespace support::seam {

enum Function {
  kNew,     // every form of operator new
  kMalloc,  // malloc, calloc, realloc; never asked under a sanitizer, which has its own
  kFtok,
  kOpen,
  kClose,
  kUnlink,
  kMsgget,
  kMsgsnd,
  kMsgrcv,
  kMsgctl,
  kSemget,
  kSemop,
  kSemctl,
  kShmget,
  kShmat,
  kShmdt,
  kShmctl,
  kOpendir,
  kFopen,
  kSystem,
  kRemove,
  kGettimeofday,
  kFlock,
  kFstat,
  kStat,
  kGetrandom,
  kTime,
  kFunctions
};

// The C name, "operator_new" for the first.
const char* nameOf(Function function);

// A call and those of its arguments that a test may want to know.
struct Call {
  Function function;
  std::size_t bytes = 0;          // to allocate, of a message, of a segment
  bool mayThrow = false;          // kNew: std::bad_alloc if refused, else null
  bool cleared = false;           // kMalloc: calloc
  const char* path = "";          // of a file, or the shell's command
  int id = -1;                    // the descriptor or object
  key_t key = 0;                  // ...get
  int count = 0;                  // kSemget: of semaphores
  int number = 0;                 // kSemctl: of the semaphore
  int flags = 0;                  // the operation of kFlock
  int command = 0;                // ...ctl
  int value = 0;                  // kSemctl: of SETVAL
  long type = 0;                  // kMsgsnd, kMsgrcv
  const char* body = nullptr;     // kMsgsnd: behind the type
  sembuf* operations = nullptr;   // kSemop
  struct stat* status = nullptr;  // kFstat, kStat: written by the system once it has answered
};

class Seam {
 public:
  virtual ~Seam() = default;

  // What the caller gets instead of the system's answer; errno is set then. Nothing: the system is
  // asked. A function that returns a pointer fails whatever the number is. A descriptor is closed
  // even so. For kNew and kMalloc nothing may be allocated here.
  virtual std::optional<int> answer(const Call& call) = 0;

  // The system was asked and has answered. errno is kept for the caller.
  virtual void answered(const Call& /*call*/, int /*result*/) {}

  // A block was handed out by one of the allocating functions, is about to be freed, or has moved
  // (realloc; either may be null).
  virtual void allocated(const void* /*block*/) {}
  virtual void freed(const void* /*block*/) {}
  virtual void moved(const void* /*from*/, const void* /*to*/) {}
};

// The seam that is in place, for all threads; null: every call goes to the system.
inline Seam* current = nullptr;

// Puts one in place, which is not owned, and returns the one before.
Seam* use(Seam* seam);

// While one of these lives, the calls of this thread go to the system.
class Aside {
 public:
  Aside() { ++living_; }
  ~Aside() { --living_; }
  Aside(const Aside&) = delete;
  Aside& operator=(const Aside&) = delete;

  static bool in() { return living_ > 0; }  // true: this thread has one

 private:
  inline static thread_local int living_ = 0;
};

// True where the program's own malloc is the one that everybody calls.
extern const bool mallocIsOurs;

}  // namespace support::seam

#endif  // ZEB_TESTS_SUPPORT_SEAM_H
