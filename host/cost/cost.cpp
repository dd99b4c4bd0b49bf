// SPDX-License-Identifier: Apache-2.0
#include "host/cost/cost.h"

#include "host/cost/node_cost.h"
#include "host/cost/throughput.h"
#include "host/cost/variants.h"

namespace host {

// The processes of the groups come first: this one must not have loaded the plug-in by then.
Cost measureCost(const flowfile::File& file, const std::filesystem::path& library,
                 std::chrono::nanoseconds time) {
  const auto end = std::chrono::steady_clock::now() + time;
  Cost cost;
  cost.throughput = measureThroughput(endless(file), library, time / 2);
  measureNodes(endless(file), library, end, cost);
  return cost;
}

}  // namespace host
