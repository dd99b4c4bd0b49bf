// SPDX-License-Identifier: Apache-2.0
// What the kernel allows of System V objects, and how much of it is in use.
#ifndef ZEB_AGENT_READER_LIMITS_H
#define ZEB_AGENT_READER_LIMITS_H

#include <cstdint>
#include <optional>
#include <string>

namespace reader {

// All of them are of the IPC namespace that this process is in. What has no value could not be
// read.
struct Limits {
  using Count = std::optional<std::uint64_t>;

  Count segmentBytes;      // kernel.shmmax: of one segment
  Count memoryPages;       // kernel.shmall: of all segments together
  Count segments;          // kernel.shmmni
  Count semaphoresPerSet;  // kernel.sem, first to fourth number
  Count semaphores;        // in all sets together
  Count operationsPerCall;
  Count semaphoreSets;
  Count queueBytes;  // kernel.msgmnb: what a new queue can hold
  Count queues;      // kernel.msgmni

  // In use. Pages are of `pageBytes` bytes, and each segment takes whole ones.
  std::uint64_t pageBytes = 0;
  Count usedPages;
  Count usedSegments;
  Count usedSemaphores;
  Count usedSemaphoreSets;
  Count usedQueues;
};

// `proc` is where the kernel shows its numbers.
Limits readLimits(const std::string& proc = "/proc");

}  // namespace reader

#endif  // ZEB_AGENT_READER_LIMITS_H
