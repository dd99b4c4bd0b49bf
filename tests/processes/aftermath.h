// SPDX-License-Identifier: Apache-2.0
// What an operator finds after a process was killed, and does about it: by the operations guide.
#ifndef ZEB_TESTS_PROCESSES_AFTERMATH_H
#define ZEB_TESTS_PROCESSES_AFTERMATH_H

#include <sys/types.h>

#include <optional>
#include <set>
#include <string>
#include <vector>

#include "tests/support/stored_bytes.h"

namespace support {

// The file name of the lock of the statistics record with this ID.
std::string lockOf(const RecordId& id);

// The name of the key file in /tmp that this key is made of.
std::optional<std::string> keyFileOf(key_t key);

// A lock that nobody alive will ever give back.
struct HeldLock {
  int id;            // of the semaphore
  std::string name;  // of the key file
};
// Those that one of the dead took, and those that it had made and not yet set free. The processes
// must be gone altogether.
std::vector<HeldLock> locksHeldBy(const std::set<pid_t>& dead);
void giveBack(const HeldLock& lock);

// How many processes wait for the lock.
int waitingFor(const HeldLock& lock);

// The block of the operations guide that begins with this line.
std::string documented(const std::string& firstLine);
// Has bash run that text; a test failure when it fails.
void runInShell(const std::string& script);
void clearAsDocumented();

}  // namespace support

#endif  // ZEB_TESTS_PROCESSES_AFTERMATH_H
