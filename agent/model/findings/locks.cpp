// SPDX-License-Identifier: Apache-2.0
// Locks that nobody gives back.
#include <fmt/format.h>

#include <algorithm>

#include "agent/model/findings/kinds.h"

namespace model::findings {
namespace {

using What = Guarded::What;

constexpr std::chrono::seconds kLong(5);

bool isOld(const reader::Lock& lock, const Looks& looks) {
  return secondsSince(lock.semaphore.lastUsed(), looks.machine.clocks) >= kLong.count();
}

// Nobody took it and nobody gave it back between the two looks; with one look, for some seconds.
bool unchanged(const reader::Lock& now, const Looks& looks) {
  if (!looks.two()) return isOld(now, looks);
  const reader::Lock* const before = looks.before(now);
  return before != nullptr && isHeld(before->semaphore) &&
         before->semaphore.id == now.semaphore.id &&
         before->semaphore.lastProcess == now.semaphore.lastProcess &&
         before->semaphore.lastOperation == now.semaphore.lastOperation &&
         before->semaphore.changed == now.semaphore.changed;
}

std::string effectOf(const Guarded& guarded) {
  switch (guarded.what) {
    case What::statistics:
      return guarded.broker ? fmt::format("messages of {} stop at {}", guarded.flow, guarded.node)
                            : "messages of one node stop, and it is not known which";
    case What::segment:
      return "groups of this broker that start wait";
    case What::statisticsArea:
      return "deployments, and the first message of each new node, wait";
    case What::templatesArea:
      return "deployments of nodes with events wait, and so do messages that fail";
    case What::eventsArea:
      return "messages stop at each node that posts an event";
    case What::attachTable:
      return fmt::format("only a later process with the number {} would wait", guarded.process);
    case What::unknown:
      break;
  }
  return "every process that uses it waits";
}

std::string holderOf(const reader::Lock& lock, const Verdict& verdict, const Looks& looks) {
  const std::int32_t id = lock.semaphore.lastProcess;
  const reader::Process* const process = looks.machine.find(id);
  switch (verdict.fate) {
    case Fate::dead:
      return fmt::format("process {} took it and is dead", id);
    case Fate::numberUsedAgain:
      return fmt::format("process {} took it and is dead; its number belongs to another one now",
                         id);
    case Fate::diedMaking:
      return "the process that made it died before it set it free";
    case Fate::alive:
      return fmt::format(
          "process {}{} took it and {}", id,
          process != nullptr && process->command ? " (" + *process->command + ")" : "",
          process != nullptr && process->stopped.value_or(false) ? "is stopped" : "is alive");
    case Fate::unknown:
      break;
  }
  return id > 0 ? fmt::format("process {} took it", id) : "a process unknown here took it";
}

std::string evidenceOf(const reader::Lock& lock, const Verdict& verdict, const Looks& looks) {
  const std::uint32_t waiting = lock.semaphore.waiting;
  return fmt::format("{}; held for {}; {}", holderOf(lock, verdict, looks),
                     age(lock.semaphore.lastUsed(), looks.machine.clocks),
                     waiting == 0
                         ? "nobody waits for it"
                         : counted(waiting, "process waits for it", "processes wait for it"));
}

// What keeps a holder's fate from being known.
std::string doubtOf(Doubt doubt) {
  switch (doubt) {
    case Doubt::unreadable:
      return "the kernel doesn't tell all of it to this user: run this as the brokers' user";
    case Doubt::otherNamespace:
      return "it runs in another PID namespace: look there, or in the container that it runs in";
    case Doubt::clocksDisagree:
    case Doubt::clockStepped:
      return "the clock was set: look again in a minute";
    case Doubt::attached:
      return "its number was used again by a process of this broker: restart that group";
    case Doubt::none:
    case Doubt::oneLook:
    case Doubt::tooSoon:
      break;
  }
  return "look again";
}

void addStuck(Finding finding, const Guarded& guarded, Findings& findings) {
  finding.id = "lock.stuck";
  if (guarded.what != What::attachTable) finding.severity = Severity::critical;
  finding.remedy = "free it";
  finding.command = "zebmon doctor --repair " + quoted(finding.key()) + " --yes";
  findings.found.push_back(std::move(finding));
}

void addLive(Finding finding, const reader::Lock& lock, const Looks& looks, Findings& findings) {
  finding.id = "lock.held-long";
  const std::int32_t id = lock.semaphore.lastProcess;
  const reader::Process* const process = looks.machine.find(id);
  if (process != nullptr && process->stopped.value_or(false)) {
    finding.severity = Severity::critical;
    finding.remedy = "let the process go on, or end it and free the lock";
    finding.command = fmt::format("kill -CONT {}", id);
  } else {
    finding.remedy = "see what the process does, and restart its group if it never ends";
    finding.command = fmt::format("cat /proc/{}/wchan /proc/{}/stack", id, id);
  }
  findings.found.push_back(std::move(finding));
}

void addUnknown(Finding finding, const Verdict& verdict, Findings& findings) {
  finding.id = "lock.unknown-holder";
  finding.evidence += "; whether that process is alive can't be told";
  finding.remedy = doubtOf(verdict.doubt);
  findings.found.push_back(std::move(finding));
}

void addHeld(const reader::Lock& lock, const Looks& looks, Findings& findings) {
  const Guarded guarded = looks.guards.of(lock.name);
  const Verdict verdict = looks.lastUserOf(lock);
  Finding finding;
  finding.of = lock.file.path;
  finding.object = "lock of " + nameOf(guarded);
  finding.evidence = evidenceOf(lock, verdict, looks);
  finding.effect = effectOf(guarded);
  finding.broker = guarded.broker;
  finding.owner = lock.file.owner;
  if (verdict.gone()) return addStuck(std::move(finding), guarded, findings);
  if (!isOld(lock, looks)) return;
  if (verdict.fate == Fate::alive) return addLive(std::move(finding), lock, looks, findings);
  addUnknown(std::move(finding), verdict, findings);
}

}  // namespace

void addLocks(const Looks& looks, Findings& findings) {
  const reader::LockList& list = looks.machine.locks;
  std::size_t refused = 0;
  std::size_t heldOnce = 0;
  for (const reader::Lock& lock : list.locks) {
    refused += lock.semaphore.presence == reader::Presence::refused;
    if (!isHeld(lock.semaphore)) continue;
    if (unchanged(lock, looks)) {
      addHeld(lock, looks, findings);
    } else {
      heldOnce += !looks.two();
    }
  }
  if (heldOnce > 0) {
    findings.leaveUnchecked("lock", counted(heldOnce, "held lock", "held locks") +
                                        ": one look can't tell a stuck lock from one in use");
  }
  if (list.error != 0) findings.leaveUnchecked("lock", "locks: their directory can't be read");
  if (list.cut)
    findings.leaveUnchecked("lock", "locks: there are too many, and only some were read");
  if (refused > 0) {
    findings.leaveUnchecked("lock", counted(refused, "lock", "locks") +
                                        ": they belong to another user; run this as that user");
  }
}

}  // namespace model::findings
