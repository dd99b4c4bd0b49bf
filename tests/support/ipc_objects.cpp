// SPDX-License-Identifier: Apache-2.0
#include "tests/support/ipc_objects.h"

#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/shm.h>

#include <fstream>
#include <sstream>

namespace support {
namespace {

// Calls `take` with each line of the system's list, behind its heading.
template <typename Take>
void forEachLine(const char* list, Take take) {
  std::ifstream file(list);
  std::string line;
  std::getline(file, line);
  while (std::getline(file, line)) {
    std::istringstream fields(line);
    take(fields);
  }
}

template <typename Object>
std::optional<Object> ofKeyFile(const std::string& keyFile, const std::vector<Object>& objects) {
  const key_t key = ftok(keyFile.c_str(), 1);
  if (key == -1) return std::nullopt;
  for (const Object& object : objects) {
    if (object.key == key) return object;
  }
  return std::nullopt;
}

}  // namespace

std::vector<MessageQueue> messageQueues() {
  std::vector<MessageQueue> found;
  forEachLine("/proc/sysvipc/msg", [&](std::istream& fields) {
    MessageQueue queue{};
    unsigned long bytes = 0;
    fields >> queue.key >> queue.id >> std::oct >> queue.mode >> std::dec >> bytes >>
        queue.messages;
    found.push_back(queue);
  });
  return found;
}

std::vector<SemaphoreSet> semaphoreSets() {
  std::vector<SemaphoreSet> found;
  forEachLine("/proc/sysvipc/sem", [&](std::istream& fields) {
    SemaphoreSet set{};
    fields >> set.key >> set.id >> std::oct >> set.mode >> std::dec >> set.semaphores;
    set.value = semctl(set.id, 0, GETVAL);
    found.push_back(set);
  });
  return found;
}

std::vector<Segment> segments() {
  std::vector<Segment> found;
  forEachLine("/proc/sysvipc/shm", [&](std::istream& fields) {
    Segment segment{};
    long creator = 0;
    long last = 0;
    fields >> segment.key >> segment.id >> std::oct >> segment.mode >> std::dec >> segment.size >>
        creator >> last >> segment.attached;
    found.push_back(segment);
  });
  return found;
}

std::optional<MessageQueue> queueOf(const std::string& keyFile) {
  return ofKeyFile(keyFile, messageQueues());
}

std::optional<SemaphoreSet> semaphoreOf(const std::string& keyFile) {
  return ofKeyFile(keyFile, semaphoreSets());
}

std::optional<Segment> segmentOf(const std::string& keyFile) {
  return ofKeyFile(keyFile, segments());
}

std::vector<unsigned char> bytesOf(const Segment& segment) {
  void* address = shmat(segment.id, nullptr, SHM_RDONLY);
  if (address == reinterpret_cast<void*>(-1)) return {};
  const auto* first = static_cast<const unsigned char*>(address);
  std::vector<unsigned char> bytes(first, first + segment.size);
  shmdt(address);
  return bytes;
}

}  // namespace support
