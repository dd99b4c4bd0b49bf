// SPDX-License-Identifier: Apache-2.0
// What the monitoring nodes of a flow file cost on this machine, measured with and without them in
// turn.
#ifndef ZEB_HOST_COST_COST_H
#define ZEB_HOST_COST_COST_H

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "flowfile/file.h"
#include "host/cost/quartiles.h"

namespace host {

// A signal ended the measuring.
struct CostStopped : std::runtime_error {
  explicit CostStopped(int number) : std::runtime_error("stopped"), signal(number) {}
  int signal;
};

// Of one flow: nanoseconds of processor time a message on one thread, with rates, latencies and
// failures off.
struct FlowCost {
  std::string group;
  std::string flow;
  std::size_t nodes = 0;   // monitoring ones
  std::size_t rounds = 0;  // of each kind
  Quartiles without;       // a message in all
  Quartiles with;
  Quartiles perNode;  // by how much it differs, divided by the nodes
};

// Of the whole file as it is written: messages a second of all flows together.
struct ThroughputCost {
  std::size_t rounds = 0;  // of each kind; 0 when it was not measured
  Quartiles without;
  Quartiles with;
  Quartiles share;          // of the throughput, that the nodes take: 0 to 1, negative by noise
  std::string notMeasured;  // why, a clause
};

struct Cost {
  std::vector<FlowCost> flows;  // those with monitoring nodes, in the order of the file
  std::size_t left = 0;         // so many more, for which there was no time
  ThroughputCost throughput;
};

// Measures for about `time`. The file must have at least one monitoring node; `library` is the
// plug-in. To be called in a private view with System V objects of its own, in a process with one
// thread that has not loaded the plug-in; it forks, and loads it afterwards. Throws
// std::runtime_error when nothing can be deployed, and CostStopped.
Cost measureCost(const flowfile::File& file, const std::filesystem::path& library,
                 std::chrono::nanoseconds time);

}  // namespace host

#endif  // ZEB_HOST_COST_COST_H
