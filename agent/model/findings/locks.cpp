// SPDX-License-Identifier: Apache-2.0
// Locks that nobody gives back.
#include <fmt/format.h>

#include <algorithm>
#include <span>

#include "agent/model/findings/kinds.h"
#include "agent/model/group_state.h"

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

bool isDown(const std::string& group, const SeenBroker& broker, const Machine& machine) {
  const auto isIt = [&group](const reader::ExecutionGroup& one) { return one.label == group; };
  const auto& groups = broker.tree->executionGroups;
  const auto found = std::ranges::find_if(groups, isIt);
  return found != groups.end() && isDead(groupState(found->processId, broker.segment, machine));
}

// Where no process runs, no message waits; unless there is none at all.
std::vector<Place> placesThatStop(const Guarded& guarded, const Looks& looks) {
  const std::vector<Place> all = placesBehind(guarded);
  std::vector<Place> alive = all;
  std::erase_if(alive, [&](const Place& place) {
    return isDown(place.group, *guarded.broker, looks.machine);
  });
  return alive.empty() ? all : alive;
}

// ": of OrderEntry at Order in", as far as that is known.
std::string where(const std::vector<Place>& places) {
  return places.empty() ? "" : ": " + textOf(places);
}

std::string effectOf(const Guarded& guarded, const std::vector<Place>& places) {
  switch (guarded.what) {
    case What::statistics:
      return guarded.broker ? fmt::format("messages of {} stop at {}", guarded.flow, guarded.node)
                            : "messages of one node stop, and it is not known which";
    case What::segment:
      return "groups of this broker that start wait";
    case What::statisticsArea:
      return "deployments, and the first message of each new node, wait" + where(places);
    case What::templatesArea:
      return "deployments of nodes with events wait, and so do messages that fail";
    case What::eventsArea:
      return "messages stop at each node that posts an event" + where(places);
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

// "9087 of group orders", else "9087 (zebhost)".
std::string processText(std::int32_t id, const Guarded& guarded, const Looks& looks) {
  const std::string group = guarded.broker ? groupOf(id, *guarded.broker) : "";
  if (!group.empty()) return fmt::format("{} of group {}", id, group);
  const reader::Process* const process = looks.machine.find(id);
  return process != nullptr && process->command ? fmt::format("{} ({})", id, *process->command)
                                                : std::to_string(id);
}

// "1, 2 or 3"; of many the first ones.
std::string listOf(const std::vector<std::int32_t>& processes, const char* last,
                   const Guarded& guarded, const Looks& looks) {
  constexpr std::size_t kMost = 5;
  std::vector<std::string> names;
  for (const std::int32_t id : std::span(processes).first(std::min(processes.size(), kMost))) {
    names.push_back(processText(id, guarded, looks));
  }
  if (processes.size() > kMost) {
    names.push_back(fmt::format("{} more", processes.size() - kMost));
  }
  if (names.size() == 1) return names.front();
  const std::string end = names.back();
  names.pop_back();
  return fmt::format("{} {} {}", fmt::join(names, ", "), last, end);
}

// Processes that may wait for it: the kernel doesn't tell, but they wait for something like it, and
// use the broker's memory.
std::vector<std::int32_t> candidatesOf(const Guarded& guarded, const Looks& looks) {
  std::vector<std::int32_t> candidates;
  if (!looks.machine.waits || !guarded.broker) return candidates;
  for (const std::int32_t id : looks.machine.waits->unsure) {
    const reader::Process* const process = looks.machine.find(id);
    if (process != nullptr && serves(*process, guarded.broker->segment) == true) {
      candidates.push_back(id);
    }
  }
  return candidates;
}

std::string waitersOf(const reader::Semaphore& semaphore, const std::vector<std::int32_t>& known,
                      const Guarded& guarded, const Looks& looks) {
  const std::size_t waiting = std::max<std::size_t>(semaphore.waiting, known.size());
  if (waiting == 0) return "nobody waits for it";
  std::string text = counted(waiting, "process waits for it", "processes wait for it");
  if (!known.empty()) text += ": " + listOf(known, "and", guarded, looks);
  if (known.size() == waiting) return text;
  const auto candidates = candidatesOf(guarded, looks);
  const std::string others =
      known.empty() ? ", perhaps " : ", and others, which can't be told for sure: ";
  if (!candidates.empty()) return text + others + listOf(candidates, "or", guarded, looks);
  return known.empty() ? text : text + ", and others that can't be seen from here";
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
  finding.stops = placesThatStop(guarded, looks);
  finding.waiting = looks.machine.waitersFor(lock.semaphore.id);
  finding.evidence = fmt::format("{}; held for {}; {}", holderOf(lock, verdict, looks),
                                 age(lock.semaphore.lastUsed(), looks.machine.clocks),
                                 waitersOf(lock.semaphore, finding.waiting, guarded, looks));
  finding.effect = effectOf(guarded, finding.stops);
  finding.concern(guarded);
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
