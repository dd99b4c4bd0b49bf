// SPDX-License-Identifier: Apache-2.0
// What of a run can't be held against shared memory, because something went wrong on purpose or
// not.
#ifndef ZEB_HOST_RUN_DISTURBED_H
#define ZEB_HOST_RUN_DISTURBED_H

#include <string>
#include <vector>

namespace host {

// Each text says why, as a clause; empty where figures can be compared.
struct Disturbed {
  // By the group's place in the file, shorter when all others can be. The process died: a message
  // that a thread of it had may be missing in shared memory, and nothing else.
  std::vector<std::string> groups;
  // The statistics of all nodes, and the events.
  std::string statistics;
  std::string events;
  // All of it: the broker's shared memory isn't found any more.
  std::string memory;
};

}  // namespace host

#endif  // ZEB_HOST_RUN_DISTURBED_H
