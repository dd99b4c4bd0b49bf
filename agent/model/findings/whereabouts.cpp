// SPDX-License-Identifier: Apache-2.0
#include "agent/model/findings/whereabouts.h"

#include "agent/model/findings/kinds.h"

namespace model {

using findings::quoted;

std::string optionsOf(const Whereabouts& whereabouts) {
  if (!whereabouts.file.empty()) return " --from " + quoted(whereabouts.file);
  if (whereabouts.directory.empty()) return {};
  return " --temp-directory " + quoted(whereabouts.directory);
}

void complete(Findings& findings, const Whereabouts& whereabouts) {
  const std::string options = optionsOf(whereabouts);
  const std::string toChange = whereabouts.file.empty() ? options : "";
  for (Finding& finding : findings.found) {
    if (!finding.command.starts_with("zebmon ")) continue;
    const bool changes = finding.command.find(" --yes") != std::string::npos;
    finding.command += changes ? toChange : options;
  }
  for (Unchecked& unchecked : findings.notChecked) {
    if (unchecked.why.ends_with("sudo zebmon doctor")) unchecked.why += toChange;
  }
}

}  // namespace model
