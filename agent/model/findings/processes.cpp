// SPDX-License-Identifier: Apache-2.0
// Processes that do nothing any more.
#include <fmt/format.h>

#include "agent/model/findings/kinds.h"
#include "agent/model/group_state.h"

namespace model::findings {
namespace {

using Broker = std::shared_ptr<const SeenBroker>;

Finding ofGroup(const Broker& broker, const reader::ExecutionGroup& group) {
  Finding finding;
  finding.of = std::to_string(group.processId);
  finding.object = fmt::format("execution group {} of {}", group.label, nameOf(*broker));
  finding.concern({.broker = broker, .group = group.label});
  return finding;
}

void addStopped(const Broker& broker, const reader::ExecutionGroup& group, Findings& findings) {
  Finding finding = ofGroup(broker, group);
  finding.id = "process.stopped";
  finding.severity = Severity::critical;
  finding.evidence =
      fmt::format("process {} was stopped by a signal or a debugger", group.processId);
  finding.effect = "none of its flows goes on, and a lock that it holds stays held";
  finding.remedy = "let it go on";
  finding.command = fmt::format("kill -CONT {}", group.processId);
  findings.found.push_back(std::move(finding));
}

void addDead(const Broker& broker, const reader::ExecutionGroup& group, const std::string& evidence,
             Findings& findings) {
  Finding finding = ofGroup(broker, group);
  finding.id = "process.dead";
  finding.evidence = evidence;
  finding.effect = "its figures are from before; its nodes measure nothing";
  finding.remedy = "start the group, if it is not meant to be stopped";
  findings.found.push_back(std::move(finding));
}

// Groups whose processes could not be looked at.
struct Unseen {
  std::size_t hidden = 0;     // from this user
  std::size_t elsewhere = 0;  // in another PID namespace: another process may have the number here
};

void look(const Broker& broker, const reader::ExecutionGroup& group, const Looks& looks,
          Findings& findings, Unseen& unseen) {
  if (group.deleted) return;
  const GroupState state = groupState(group.processId, broker->segment, looks.machine);
  if (state == GroupState::gone) {
    addDead(broker, group, fmt::format("process {} is gone", group.processId), findings);
  } else if (state == GroupState::anotherOne) {
    addDead(broker, group,
            fmt::format("process {} is another one: it doesn't use the broker's segment",
                        group.processId),
            findings);
  } else if (state == GroupState::stopped) {
    addStopped(broker, group, findings);
  }
  unseen.elsewhere += state == GroupState::elsewhere;
  const bool lives = state == GroupState::up || state == GroupState::stopped;
  unseen.hidden += lives && !looks.machine.find(group.processId)->segments;
}

void addAbandoned(const Broker& broker, Findings& findings) {
  Finding finding;
  finding.id = "segment.abandoned";
  finding.of = broker->segment.keyFile;
  finding.object = "shared memory of " + nameOf(*broker);
  finding.evidence = "no process uses it";
  finding.effect = "nothing is measured; the figures are from before";
  finding.remedy = fmt::format(
      "start the broker, which takes it up again; if it is gone for good, remove it with ipcrm -m "
      "{}",
      broker->segment.id);
  finding.broker = broker;
  findings.found.push_back(std::move(finding));
}

}  // namespace

void addProcesses(const Looks& looks, Findings& findings) {
  Unseen unseen;
  for (const Broker& broker : looks.now.brokers) {
    if (broker->segment.size == 0) continue;
    if (broker->segment.attached == 0) {
      addAbandoned(broker, findings);
    } else if (broker->tree) {
      for (const auto& group : broker->tree->executionGroups) {
        look(broker, group, looks, findings, unseen);
      }
    }
  }
  if (unseen.hidden > 0) {
    findings.leaveUnchecked("process",
                            counted(unseen.hidden, "process", "processes") +
                                ": what they use is hidden from this user; run this as theirs");
  }
  if (unseen.elsewhere > 0) {
    findings.leaveUnchecked("process", counted(unseen.elsewhere, "process", "processes") +
                                           " in another PID namespace: run this in theirs");
  }
}

}  // namespace model::findings
