// SPDX-License-Identifier: Apache-2.0
#include "tests/support/leftovers.h"

#include <sys/msg.h>
#include <sys/sem.h>
#include <sys/shm.h>

#include <filesystem>

#include "tests/support/ipc_objects.h"

namespace support {
namespace {

bool expected = false;

std::set<std::string> present() {
  std::set<std::string> things;
  for (const MessageQueue& queue : messageQueues()) {
    things.insert("message queue " + std::to_string(queue.id));
  }
  for (const SemaphoreSet& set : semaphoreSets()) {
    things.insert("semaphore set " + std::to_string(set.id));
  }
  for (const Segment& segment : segments()) {
    things.insert("shared segment " + std::to_string(segment.id));
  }
  for (const auto& entry : std::filesystem::directory_iterator("/tmp")) {
    things.insert("file " + entry.path().string());
  }
  return things;
}

void removeThing(const std::string& thing) {
  const std::size_t last = thing.rfind(' ');
  const std::string name = thing.substr(last + 1);
  if (thing.starts_with("message")) msgctl(std::stoi(name), IPC_RMID, nullptr);
  if (thing.starts_with("semaphore")) semctl(std::stoi(name), 0, IPC_RMID);
  if (thing.starts_with("shared")) shmctl(std::stoi(name), IPC_RMID, nullptr);
  if (thing.starts_with("file")) std::filesystem::remove_all(thing.substr(5));
}

}  // namespace

void leavesThingsBehind() {
  expected = true;
}

void LeftoverCheck::OnTestStart(const testing::TestInfo&) {
  expected = false;
  before_ = present();
}

void LeftoverCheck::OnTestEnd(const testing::TestInfo&) {
  for (const std::string& thing : present()) {
    if (before_.contains(thing)) continue;
    if (!expected) ADD_FAILURE() << "left behind: " << thing;
    removeThing(thing);
  }
}

}  // namespace support
