// SPDX-License-Identifier: Apache-2.0
// Calls and allocations that fail when a unit test says so. LibraryTest lets all of them succeed
// again when a test ends.
#ifndef ZEB_TESTS_SUPPORT_FAILING_H
#define ZEB_TESTS_SUPPORT_FAILING_H

#include <climits>
#include <cstddef>
#include <string>
#include <vector>

namespace support {

// Which calls of a function fail: those whose path ends so, `times` of them, behind the first
// `after`.
struct Which {
  std::string suffix = "";
  int after = 0;
  int times = INT_MAX;
};

// From now on the function fails with that errno; with an errno of 0 its calls give 0 and leave
// errno alone. The function is one of the seam (`seam.h`), by its C name; with "IPC_STAT",
// "IPC_RMID" or "SETVAL" behind the name of a ...ctl, with "LOCK_EX" behind flock, and with
// "existing" behind a ...get only these uses of it. What was said of that use before is forgotten.
void failCalls(const std::string& function, int errorNumber, const Which& which = {});

// The same, but only the next call, or the next few.
void failNext(const std::string& function, int errorNumber, int times = 1);

// From now on an object of exactly that size can't be allocated: `times` of them, except the first
// `after`. Only allocations that give null instead of an exception are concerned.
void failAllocations(std::size_t bytes, int after = 0, int times = INT_MAX);

// From now on every allocation that gives an exception instead of null fails.
void refuseMemory();

void succeedAgain();

// The calls on queues and semaphores since the last time it was asked, with their arguments:
//   "msgget FLAGS", "msgsnd TYPE BYTES BODY FLAGS", "msgrcv BYTES TYPE FLAGS", "msgctl IPC_STAT",
//   "semget COUNT FLAGS", "semctl 0 SETVAL 1", "semctl 1 IPC_RMID", "semop 0 -1 0"
// with flags in octal digits.
std::vector<std::string> ipcCalls();

}  // namespace support

#endif  // ZEB_TESTS_SUPPORT_FAILING_H
