// SPDX-License-Identifier: Apache-2.0
// One execution group: a process that loads the plug-in and runs the group's flows.
#ifndef ZEB_HOST_RUN_EXECUTION_GROUP_H
#define ZEB_HOST_RUN_EXECUTION_GROUP_H

#include <cstddef>

#include "flowfile/file.h"
#include "host/run/options.h"
#include "host/run/tally.h"

namespace host {

// One packet each way on the socket between the supervisor and a group's process; its first byte
// says what it is. Commands come in this order, all but "drill" at most once. A group whose sources
// end reports "drained" without having been told to.
enum class Command : char {
  start = 's',  // let messages flow
  drill = 'x',  // perform the drill whose place in the file is in the rest, a decimal number
  drain = 'd',  // take no more from the sources, finish what waits
  leave = 'l',  // delete the contexts and end
};
enum class Report : char {
  deployed = 'D',  // all contexts exist and have their attributes
  drill = 'X',     // a drill is over: its place, and behind that why it failed, if it did
  drained = 'F',   // every message has been handled
};

// Packets are cut there.
inline constexpr std::size_t kLongestPacket = 512;

// The whole life of the group's process, from loading the plug-in to deleting the contexts; returns
// its exit code: kExitOk; kExitDifference when a source or an output failed; kExitUnavailable when
// the flows could not be deployed. What went wrong is on standard error. A socket that the
// supervisor closed counts as "drain" and "leave". All arguments must outlive the call; `group` is
// an index.
int runExecutionGroup(const flowfile::File& file, std::size_t group, const RunOptions& options,
                      Tally& tally, int socket);

}  // namespace host

#endif  // ZEB_HOST_RUN_EXECUTION_GROUP_H
