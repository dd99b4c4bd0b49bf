// SPDX-License-Identifier: Apache-2.0
// Settings that don't do what they seem to, or are not in force yet.
#include "agent/model/settings.h"

#include <fmt/format.h>

#include "agent/model/findings/kinds.h"
#include "format/names.h"

namespace model::findings {
namespace {

void add(const Trap& trap, const reader::Configuration& file, Findings& findings) {
  const bool passedOver = trap.kind == Trap::Kind::neverReached;
  Finding finding;
  finding.id = "settings.trap";
  finding.of = fmt::format("{}:{}", file.path, trap.line);
  finding.severity = trap.kind == Trap::Kind::tooLarge ? Severity::critical : Severity::warning;
  finding.object = fmt::format("{}, line {}", file.path, trap.line);
  finding.evidence = "it says: \"" + trap.raw + "\"";
  finding.effect = passedOver ? fmt::format("none: line {} decides", trap.decidedBy)
                              : "it doesn't do what it seems to: \"zebmon config\" tells why";
  finding.remedy = trap.kind == Trap::Kind::longerKey ? "write this line above it"
                   : trap.write.empty()               ? "remove the line"
                                                      : "write this line instead";
  finding.command = trap.write;
  findings.found.push_back(std::move(finding));
}

void add(const Restart& restart, Findings& findings) {
  const bool size = restart.why == Restart::Why::otherSize;
  Finding finding;
  finding.id = "settings.restart";
  finding.of = size ? restart.broker->segment.keyFile : std::to_string(restart.process);
  finding.concern({.broker = restart.broker, .group = restart.group});
  finding.object =
      size ? "shared memory of " + nameOf(*restart.broker)
           : fmt::format("execution group {} of {}", restart.group, nameOf(*restart.broker));
  finding.evidence =
      size ? fmt::format("its areas have {} bytes, and {} is {}", restart.area,
                         layout::kMemorySizeKey, restart.configured)
           : fmt::format("process {} started before the settings were changed", restart.process);
  finding.effect =
      size ? "the size that is set is not in force" : "it may work with the settings of before";
  finding.remedy =
      size ? "stop all groups of the broker at once, then start them" : "restart the group";
  findings.found.push_back(std::move(finding));
}

}  // namespace

void addSettings(const Looks& looks, Findings& findings) {
  const reader::Configuration& file = looks.machine.configuration;
  if (file.exists && file.error != 0) {
    findings.leaveUnchecked("settings", "settings: " + file.path + " can't be read by this user");
  }
  for (const Trap& trap : settingsOf(file, labelsOf(looks.now)).traps) add(trap, file, findings);
  for (const Restart& restart : restartsOf(looks.now)) add(restart, findings);
}

}  // namespace model::findings
