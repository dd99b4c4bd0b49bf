// SPDX-License-Identifier: Apache-2.0
// Semaphore and message queue calls that are written down, and that fail when a test says so: the
// test program's own versions come before the system's.
#ifndef ZEB_TESTS_UNIT_BASE_FAILING_IPC_H
#define ZEB_TESTS_UNIT_BASE_FAILING_IPC_H

#include <string>
#include <vector>

namespace support {

// The next calls of the function fail with that errno, `times` of them, once `after` went well.
// "msgget", "msgsnd", "msgrcv", "msgctl IPC_STAT", "msgctl IPC_RMID", "semget", "semctl SETVAL",
// "semctl IPC_RMID", "semop"; "open" for key files of mutexes, and "close", which closes even so.
// With an errno of 0, "msgget" and "semget" return 0 and leave errno alone.
void failIpc(const std::string& function, int errorNumber, int times = 1, int after = 0);

// The calls since the last time it was asked, with their arguments:
//   "msgget FLAGS", "msgsnd TYPE BYTES BODY FLAGS", "msgrcv BYTES TYPE FLAGS", "msgctl IPC_STAT",
//   "semget COUNT FLAGS", "semctl 0 SETVAL 1", "semctl 1 IPC_RMID", "semop 0 -1 0"
// with flags in octal digits.
std::vector<std::string> ipcCalls();

}  // namespace support

#endif  // ZEB_TESTS_UNIT_BASE_FAILING_IPC_H
