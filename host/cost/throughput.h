// SPDX-License-Identifier: Apache-2.0
// The throughput of a flow file with its monitoring nodes and without.
#ifndef ZEB_HOST_COST_THROUGHPUT_H
#define ZEB_HOST_COST_THROUGHPUT_H

#include <chrono>
#include <filesystem>

#include "flowfile/file.h"
#include "host/cost/cost.h"

namespace host {

// Runs the file in pairs of rounds for about that time, at least one pair. Not measured where a
// message takes longer than a round. Throws as measureCost.
ThroughputCost measureThroughput(const flowfile::File& file, const std::filesystem::path& library,
                                 std::chrono::nanoseconds time);

}  // namespace host

#endif  // ZEB_HOST_COST_THROUGHPUT_H
