// SPDX-License-Identifier: Apache-2.0
// Flow files as they are run to measure what the monitoring nodes cost.
#ifndef ZEB_HOST_COST_VARIANTS_H
#define ZEB_HOST_COST_VARIANTS_H

#include <cstddef>
#include <string>
#include <vector>

#include "flowfile/file.h"

namespace host {

// Inputs that never end, no output is written, no drill happens, and few messages wait. An input
// that can't be read twice, or is empty, is replaced by generated messages of 100 bytes.
flowfile::File endless(flowfile::File file);

// The inputs that `endless` replaces, as "group/flow"; any bytes.
std::vector<std::string> replacedInputs(const flowfile::File& file);

// Without its monitoring nodes.
flowfile::Flow withoutMonitors(flowfile::Flow flow);
flowfile::File withoutMonitors(flowfile::File file);

// Rates, latencies and failures off.
flowfile::Flow bare(flowfile::Flow flow);

// How many monitoring nodes a flow has.
std::size_t monitorsOf(const flowfile::Flow& flow);

// The longest that a message usually takes through its flow, in seconds: the largest of all flows.
double longestWay(const flowfile::File& file);

}  // namespace host

#endif  // ZEB_HOST_COST_VARIANTS_H
