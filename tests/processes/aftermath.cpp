// SPDX-License-Identifier: Apache-2.0
#include "tests/processes/aftermath.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <stdexcept>

#include "tests/support/ipc_objects.h"
#include "tests/support/plugin.h"

namespace support {
namespace {

// A process that makes a lock holds the advisory lock on its key file until the lock is free: with
// that in hand, one that nobody ever took and is not free was left unfinished.
bool isUnfinished(const std::string& keyFile) {
  const int file = open(keyFile.c_str(), O_RDONLY | O_CLOEXEC);
  if (file < 0) return false;
  flock(file, LOCK_EX);
  const auto lock = semaphoreOf(keyFile);
  const bool unfinished = lock && lock->value == 0 && semctl(lock->id, 0, GETPID) == 0;
  close(file);
  return unfinished;
}

}  // namespace

std::string lockOf(const RecordId& id) {
  std::string name;
  char digits[3];
  for (const unsigned char byte : id) {
    std::snprintf(digits, sizeof digits, "%02X", byte);
    name += digits;
  }
  return name + ".zebmutx";
}

std::optional<std::string> keyFileOf(key_t key) {
  for (const std::string& name : keyFiles())
    if (ftok(("/tmp/" + name).c_str(), 1) == key) return name;
  return std::nullopt;
}

std::vector<HeldLock> locksHeldBy(const std::set<pid_t>& dead) {
  std::vector<HeldLock> held;
  for (const SemaphoreSet& lock : semaphoreSets()) {
    if (lock.value != 0) continue;
    const int last = semctl(lock.id, 0, GETPID);
    const std::string name = keyFileOf(lock.key).value_or("");
    if (last == 0 ? isUnfinished("/tmp/" + name) : dead.contains(last))
      held.push_back({lock.id, name});
  }
  return held;
}

void giveBack(const HeldLock& lock) {
  sembuf lift{0, 1, 0};
  EXPECT_EQ(semop(lock.id, &lift, 1), 0);
}

int waitingFor(const HeldLock& lock) {
  return semctl(lock.id, 0, GETNCNT);
}

std::string documented(const std::string& firstLine) {
  std::ifstream guide(ZEB_SOURCE_TREE "/docs/operations.md");
  std::string block;
  for (std::string line; std::getline(guide, line);) {
    if (!block.empty() && line == "```") break;
    if (!block.empty() || line.starts_with(firstLine)) block += line + "\n";
  }
  if (block.empty()) throw std::runtime_error("the operations guide doesn't say " + firstLine);
  return block;
}

void runInShell(const std::string& script) {
  FILE* const shell = popen("bash", "w");
  ASSERT_NE(shell, nullptr);
  std::fputs(script.c_str(), shell);
  EXPECT_EQ(pclose(shell), 0);
}

void clearAsDocumented() {
  runInShell(documented("clear_key_file()") + documented("cd /tmp"));
}

}  // namespace support
