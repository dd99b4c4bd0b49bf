// SPDX-License-Identifier: Apache-2.0
// What System V objects exist, as the system tells it, and which of them belong to a key file.
#ifndef ZEB_TESTS_SUPPORT_IPC_OBJECTS_H
#define ZEB_TESTS_SUPPORT_IPC_OBJECTS_H

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

namespace support {

struct MessageQueue {
  key_t key;
  int id;
  unsigned mode;  // permission bits
  unsigned long messages;
};

struct SemaphoreSet {
  key_t key;
  int id;
  unsigned mode;
  unsigned long semaphores;
  int value;  // of the first semaphore
};

struct Segment {
  key_t key;
  int id;
  unsigned mode;
  unsigned long size;      // bytes, as asked for at creation
  unsigned long attached;  // attachments of all processes
};

// Every object of this IPC namespace.
std::vector<MessageQueue> messageQueues();
std::vector<SemaphoreSet> semaphoreSets();
std::vector<Segment> segments();

// The object whose key is made of this file and project 1, if the file and the object exist.
std::optional<MessageQueue> queueOf(const std::string& keyFile);
std::optional<SemaphoreSet> semaphoreOf(const std::string& keyFile);
std::optional<Segment> segmentOf(const std::string& keyFile);

// The bytes of a segment, copied while attached read-only; empty when it can't be attached.
std::vector<unsigned char> bytesOf(const Segment& segment);

}  // namespace support

#endif  // ZEB_TESTS_SUPPORT_IPC_OBJECTS_H
