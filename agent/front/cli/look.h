// SPDX-License-Identifier: Apache-2.0
// One look at what a request selects.
#ifndef ZEB_AGENT_FRONT_CLI_LOOK_H
#define ZEB_AGENT_FRONT_CLI_LOOK_H

#include <memory>
#include <string>

#include "agent/archive/snapshot_file.h"
#include "agent/front/cli/exit_code.h"
#include "agent/front/cli/request.h"
#include "agent/model/collector.h"
#include "agent/model/snapshot.h"

namespace cli {

// What there is to look at: everything on this machine, at this moment, or what is in the file of
// --from. The one place where a command gets a snapshot from. A file always has the machine's
// facts if it was written with them. Throws Stop when there is no such file, or no snapshot in it.
std::shared_ptr<const model::Snapshot> take(
    const Request& request, model::MachineFacts machine = model::MachineFacts::leave,
    model::Events events = model::Events::leave);

// Says on standard error how many brokers of other users are ignored, and of which only a part was
// looked at; with `events` also of the events areas when they weren't decoded. Each sentence once.
void remark(const model::Snapshot& snapshot, const Request& request, bool events = false);

// Reads a snapshot file, and says on standard error where and when it was taken. Throws as above.
archived::Loaded open(const std::string& file, model::Events events, std::uint64_t mostBytes);

// For what can't be done with a file: `what` begins a sentence. Throws Stop with --from.
void requireMachine(const Request& request, const std::string& what);

// Takes a snapshot, says on standard error what is wrong, and returns what the request selects,
// each segment once.
model::Snapshot look(const Request& request);

// Says on standard error why the selection means nothing in the snapshot that was taken, and what
// is wrong with the selected brokers.
void report(const model::Snapshot& snapshot, const model::Snapshot& selected,
            const Request& request);

// The same, and what a command that shows what is in shared memory ends with.
ExitCode reported(const model::Snapshot& snapshot, const model::Snapshot& selected,
                  const Request& request);

// The same as look() of a snapshot that was taken, with each key file.
model::Snapshot selected(const model::Snapshot& snapshot, const Request& request);

}  // namespace cli

#endif  // ZEB_AGENT_FRONT_CLI_LOOK_H
