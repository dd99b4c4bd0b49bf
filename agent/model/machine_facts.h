// SPDX-License-Identifier: Apache-2.0
// What the machine says at the moment of a look.
#ifndef ZEB_AGENT_MODEL_MACHINE_FACTS_H
#define ZEB_AGENT_MODEL_MACHINE_FACTS_H

#include <memory>

#include "agent/model/snapshot.h"

namespace model {

// processes: only those of the groups. held: also the locks that messages stop at, while somebody
// holds them. all: also the surroundings of the key files, for which each process of the machine is
// looked at, and whether hosts would load the plug-in, which a child process tries.
enum class MachineFacts { leave, processes, held, read, all };

// Reads what is asked for now, for the brokers of `snapshot`. Null when nothing is.
std::shared_ptr<const Machine> machineOf(const Snapshot& snapshot, MachineFacts facts);

// Reads each lock again that a dead process seems to hold. The process may have given it back, and
// ended, after the lock was read.
void lookAgainAtKept(Machine& machine);

}  // namespace model

#endif  // ZEB_AGENT_MODEL_MACHINE_FACTS_H
