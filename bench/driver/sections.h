// SPDX-License-Identifier: Apache-2.0
// What is measured, one function a section. Each runs in a process of its own, inside private
// namespaces, and returns what it found; times are nanoseconds unless the name says otherwise.
#ifndef ZEB_BENCH_DRIVER_SECTIONS_H
#define ZEB_BENCH_DRIVER_SECTIONS_H

#include <nlohmann/json.hpp>
#include <string>

#include "bench/support/comparison.h"

namespace bench {

struct Plan {
  Effort effort;
  std::string effortName;
  std::string library;  // the built library
  std::string bare;     // the same without trace points
  std::string agent;    // the program zebmon
};

// One message, an input node's message and a message with an event, each against its floor.
nlohmann::json measureMessages(const Plan& plan);

// Allocations a message, without and with an event.
nlohmann::json measureAllocations(const Plan& plan);

// What trace points cost while they are off: the library against one without them.
nlohmann::json measureTracePoints(const Plan& plan);

// Throughput over threads.
nlohmann::json measureThreads(const Plan& plan);

// How long each of eight threads on one node waited at most.
nlohmann::json measureWaits(const Plan& plan);

// Throughput over processes.
nlohmann::json measureProcesses(const Plan& plan);

// Time and memory of deploying many nodes in one process.
nlohmann::json measureDeployment(const Plan& plan);

// What a follower of events loses, while threads and processes post.
nlohmann::json measureFollowing(const Plan& plan);

// What `zebmon top` takes of a core at one look a second.
nlohmann::json measureWatching(const Plan& plan);

// What else one could measure messages with. Left out, and said so, where it is not installed.
nlohmann::json measurePeers(const Plan& plan);

}  // namespace bench

#endif  // ZEB_BENCH_DRIVER_SECTIONS_H
