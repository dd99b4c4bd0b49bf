// SPDX-License-Identifier: Apache-2.0
// What a monitoring node takes of one thread's time.
#ifndef ZEB_HOST_COST_NODE_COST_H
#define ZEB_HOST_COST_NODE_COST_H

#include <chrono>
#include <filesystem>

#include "flowfile/file.h"
#include "host/cost/cost.h"

namespace host {

// Fills in `flows` and `left`. Loads the plug-in into this process, and is done by `end`, or as
// soon after it as one flow is measured. Throws as measureCost.
void measureNodes(const flowfile::File& file, const std::filesystem::path& library,
                  std::chrono::steady_clock::time_point end, Cost& cost);

}  // namespace host

#endif  // ZEB_HOST_COST_NODE_COST_H
