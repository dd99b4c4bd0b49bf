// SPDX-License-Identifier: Apache-2.0
// Mends what the doctor found. Each function does it for one lock, and only if it is still so.
#ifndef ZEB_AGENT_ACT_REPAIR_H
#define ZEB_AGENT_ACT_REPAIR_H

#include <functional>
#include <optional>
#include <string>

#include "agent/model/findings.h"
#include "agent/model/guarded.h"
#include "agent/reader/locks.h"
#include "agent/reader/processes.h"

namespace act {

struct Result {
  bool done = false;
  std::string what;          // a sentence: what was done, or which test failed, so that nothing was
  std::string command = {};  // for a shell, that mends what may be half done; empty: there is none
};

// What a repair looks again with. Tests look through eyes that let others act between two looks.
struct Eyes {
  std::function<reader::Process(std::int32_t)> process = [](std::int32_t id) {
    return reader::readProcess(id);
  };
  std::function<reader::Lock(const std::string&)> lock = reader::readLock;
};

// Gives back a lock that a dead process holds. `seen` is the lock as it was found. `clocks` are of
// the first of the two looks that found it so, `segment` is that of its broker, if it is known.
//
// Takes the lock on the key file, looks again at whether the process is dead, and only then at
// identifier, value and process of the semaphore. As they are the same as in `seen`, nobody has
// used it since that process died. Then one call adds 1, and the kernel refuses it unless the value
// is 0. Never sets the value.
Result freeStuck(const reader::Lock& seen, const reader::Clocks& clocks,
                 const std::optional<reader::MappedSegment>& segment, const Eyes& eyes = {});

// Removes the objects of a lock that nobody uses, and its key file: queue, semaphore, file. Takes
// the lock on the key file and compares it all with the second of the two looks. What is gone
// already is passed over.
Result removeLeftover(const model::Snapshot& before, const model::Snapshot& now,
                      const reader::Lock& seen, const Eyes& eyes = {});

// What the process that died may have left half done: a sentence. And the command that sets those
// statistics back, and no others; empty when there are none. Where a name has a "*" in it, it means
// others too: then the command only shows them.
std::string halfDone(const model::Guarded& guarded);
std::string resetOf(const model::Guarded& guarded);

}  // namespace act

#endif  // ZEB_AGENT_ACT_REPAIR_H
