// SPDX-License-Identifier: Apache-2.0
// Where a command looks, for the commands that it tells its reader to type.
#ifndef ZEB_AGENT_MODEL_FINDINGS_WHEREABOUTS_H
#define ZEB_AGENT_MODEL_FINDINGS_WHEREABOUTS_H

#include <string>

#include "agent/model/findings.h"

namespace model {

struct Whereabouts {
  std::string directory = {};  // of the key files, as it was named; empty: as it is configured
  std::string file = {};       // a snapshot or a history; empty: the machine itself
};

// The options that lead a command of zebmon to the same place, for a shell: each with a blank
// before it, and empty when nothing was named.
std::string optionsOf(const Whereabouts& whereabouts);

// Puts them behind each command of zebmon that the findings tell. A command that changes the
// machine gets no file.
void complete(Findings& findings, const Whereabouts& whereabouts);

}  // namespace model

#endif  // ZEB_AGENT_MODEL_FINDINGS_WHEREABOUTS_H
