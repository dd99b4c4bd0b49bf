// SPDX-License-Identifier: Apache-2.0
// System calls and allocations that fail when a test says so: the test program's own versions come
// before the system's.
#ifndef ZEB_TESTS_UNIT_STORE_FAILING_SYSTEM_H
#define ZEB_TESTS_UNIT_STORE_FAILING_SYSTEM_H

#include <cstddef>
#include <string>

namespace support {

// From now on the function fails with that errno, but for the first `after` calls. One function at
// a time: "shmget", "shmat", "shmdt", "IPC_STAT" and "IPC_RMID" of shmctl, "unlink", "getrandom",
// and "ftok". "shmget existing" fails only where the segment need not be new; "unlink" and "ftok"
// fail only for paths that end in `suffix`.
void failCalls(const std::string& function, int errorNumber, const std::string& suffix = "",
               int after = 0);

// From now on an object of exactly that size can't be allocated: `times` of them, but for the first
// `after`. Only allocations that give null instead of an exception are concerned.
void failAllocations(std::size_t bytes, int after = 0, int times = 1000000);

// From now on every allocation that gives an exception instead of null fails.
void refuseMemory();

void succeedAgain();

}  // namespace support

#endif  // ZEB_TESTS_UNIT_STORE_FAILING_SYSTEM_H
