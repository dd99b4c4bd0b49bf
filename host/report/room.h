// SPDX-License-Identifier: Apache-2.0
// What the nodes of a flow file take in shared memory, known before anything runs.
#ifndef ZEB_HOST_REPORT_ROOM_H
#define ZEB_HOST_REPORT_ROOM_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "flowfile/file.h"

namespace host {

// The statistics area once every node is deployed, in the order of the file. Sizes in bytes.
struct StatisticsRoom {
  std::uint64_t room = 0;    // for records, the area's header not counted
  std::uint64_t needed = 0;  // by broker, groups, flows, nodes and their statistics
  std::size_t nodes = 0;     // that collect statistics
  std::size_t leftOut = 0;   // of these, so many don't fit
};
StatisticsRoom statisticsRoom(const flowfile::File& file);

// What one node takes there, its statistics included.
std::uint64_t bytesOf(const flowfile::MonitorNode& node);

// What people should know of the sizes before they run the file; a sentence or two each, without
// the last full stop. Nothing here stops a run.
std::vector<std::string> roomWarnings(const flowfile::File& file);

}  // namespace host

#endif  // ZEB_HOST_REPORT_ROOM_H
