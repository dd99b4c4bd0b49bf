// SPDX-License-Identifier: Apache-2.0
#include "agent/model/machine_facts.h"

#include <unistd.h>

#include <algorithm>
#include <set>

#include "agent/model/elsewhere.h"
#include "agent/model/findings/kinds.h"
#include "agent/model/group_state.h"
#include "agent/model/guarded.h"
#include "agent/model/liveness.h"
#include "format/names.h"

namespace model {
namespace {

void look(Machine& machine, std::int32_t process) {
  if (process < 1 || machine.processes.size() == Machine::kMostProcesses) return;
  const auto [place, isNew] = machine.processes.try_emplace(process);
  if (isNew) place->second = reader::readProcess(process);
}

void lookAtGroups(Machine& machine, const Snapshot& snapshot) {
  for (const auto& broker : snapshot.brokers) {
    if (!broker->tree) continue;
    for (const auto& group : broker->tree->executionGroups) look(machine, group.processId);
  }
}

// What tells whether a process that seems to do nothing is the group's.
void lookAtLocksOfIdle(Machine& machine, const Snapshot& snapshot) {
  for (const auto& broker : snapshot.brokers) {
    if (!broker->tree) continue;
    for (const auto& group : broker->tree->executionGroups) {
      const GroupState state = groupState(group.processId, broker->segment, machine);
      if (state == GroupState::up || state == GroupState::unknown) continue;
      for (const std::string& name : tellingLocks(group.processId, broker->segment)) {
        machine.locks.locks.push_back(
            reader::readLock(snapshot.directory + name + layout::kLockSuffix));
      }
    }
  }
}

// Somebody else waits for it, and has for a while. Of a lock that is busy that means nothing.
bool keepsOthers(const reader::Semaphore& semaphore, const reader::Clocks& now) {
  constexpr std::chrono::seconds kBusy(1);
  return findings::isHeld(semaphore) && semaphore.waiting > 0 &&
         now.wall >= std::chrono::seconds(semaphore.lastUsed()) + kBusy;
}

void lookAtWaits(Machine& machine) {
  std::set<int> semaphores;
  for (const reader::Lock& lock : machine.locks.locks) {
    if (keepsOthers(lock.semaphore, machine.clocks)) semaphores.insert(lock.semaphore.id);
  }
  if (semaphores.empty()) return;
  machine.waits = reader::readWaits(semaphores);
  for (const reader::Waiter& waiter : machine.waits->waiters) look(machine, waiter.process);
  for (const std::int32_t process : machine.waits->unsure) look(machine, process);
}

// A node whose lock stays with somebody counts no more.
bool countedLately(const reader::Statistics& statistics, std::int64_t wall) {
  constexpr std::int64_t kLately = 2;
  return statistics.lastCollection && wall < *statistics.lastCollection + kLately;
}

// The names of the locks that messages may stop at now.
std::vector<std::string> locksOnTheWay(const SeenBroker& broker, std::int64_t wall) {
  std::vector<std::string> names;
  for (const char* const suffix :
       {layout::kStatisticsSuffix, layout::kEventTemplatesSuffix, layout::kEventDataSuffix}) {
    names.push_back(broker.segment.uuid + suffix);
  }
  for (const auto& group : broker.tree->executionGroups) {
    for (const auto& flow : group.messageFlows) {
      for (const auto& node : flow.nodes) {
        if (!node.statistics || countedLately(*node.statistics, wall)) continue;
        names.push_back(node.statistics->recordId.hex());
      }
    }
  }
  return names;
}

// Who has one, and for how long, is looked at only while it is held.
void lookAtHeldLocks(Machine& machine, const Snapshot& snapshot) {
  bool held = false;
  for (const auto& broker : snapshot.brokers) {
    if (!broker->tree) continue;
    for (const std::string& name : locksOnTheWay(*broker, secondsOf(snapshot))) {
      const std::string path = snapshot.directory + name + layout::kLockSuffix;
      if (!reader::isHeld(path)) continue;
      machine.locks.locks.push_back(reader::readLock(path));
      look(machine, machine.locks.locks.back().semaphore.lastProcess);
      held = true;
    }
  }
  std::ranges::sort(machine.locks.locks, {}, &reader::Lock::name);
  if (!held) return;
  lookAgainAtKept(machine);
  machine.clocks = reader::readClocks();
  lookAtWaits(machine);
}

// What surrounds the key files.
void lookAround(Machine& machine, const Snapshot& snapshot) {
  machine.directory = reader::readDirectory(snapshot.directory);
  machine.cleaners = reader::readCleaners(snapshot.directory);
  machine.views = reader::readViews(snapshot.directory);
  machine.logins = reader::readLogins();
  machine.keyless.emplace();
  if (machine.locks.error != 0 || machine.locks.cut || machine.directory->error != 0) return;
  std::set<std::uint32_t> known;
  for (const reader::KeyFile& file : machine.keyFiles) known.insert(file.key());
  for (const reader::Lock& lock : machine.locks.locks) known.insert(lock.file.key());
  machine.keyless = reader::readKeyless(machine.directory->device, known);
  for (const reader::Keyless& object : machine.keyless->objects) {
    look(machine, object.firstProcess);
    look(machine, object.lastProcess);
  }
}

// The groups whose members alone may look. Root sees every segment, and asks for the services,
// which see those of their groups.
std::set<std::string> closedGroups(const Machine& machine, const Snapshot& snapshot) {
  constexpr std::uint32_t kLook = 05;  // read and search, of others
  std::set<std::string> groups;
  const auto& directory = machine.directory;
  if (directory && directory->error == 0 && (directory->mode & kLook) != kLook) {
    groups.insert(reader::groupName(directory->group));
  }
  const bool forServices = geteuid() == 0;
  for (const auto& broker : snapshot.brokers) {
    const std::string& group = broker->segment.group;
    const bool closed = forServices || broker->state() == reader::State::noPermission;
    if (closed && !group.empty()) groups.insert(group);
  }
  return groups;
}

void lookAtInstallation(Machine& machine, const Snapshot& snapshot) {
  machine.installation = reader::readInstallation(machine.configuration);
  for (const std::string& group : closedGroups(machine, snapshot)) {
    const auto membership = reader::readMembership(group);
    if (membership) machine.installation->memberships.push_back(*membership);
  }
}

}  // namespace

std::vector<std::int32_t> Machine::waitersFor(int semaphore) const {
  std::vector<std::int32_t> found;
  if (!waits) return found;
  for (const reader::Waiter& waiter : waits->waiters) {
    if (waiter.semaphore == semaphore) found.push_back(waiter.process);
  }
  return found;
}

void lookAgainAtKept(Machine& machine) {
  for (reader::Lock& lock : machine.locks.locks) {
    if (!findings::isHeld(lock.semaphore)) continue;
    const reader::Process* const holder = machine.find(lock.semaphore.lastProcess);
    if (holder == nullptr || fateOf(*holder).fate != Fate::dead) continue;
    lock = reader::readLock(lock.file.path);
    look(machine, lock.semaphore.lastProcess);
  }
}

// Processes that may hold a lock come first, in case not all can be looked at.
std::shared_ptr<const Machine> machineOf(const Snapshot& snapshot, MachineFacts facts) {
  if (facts == MachineFacts::leave) return nullptr;
  auto machine = std::make_shared<Machine>();
  if (facts < MachineFacts::read) {
    lookAtGroups(*machine, snapshot);
    lookAtLocksOfIdle(*machine, snapshot);
    if (facts == MachineFacts::held) lookAtHeldLocks(*machine, snapshot);
    return machine;
  }
  machine->clocks = reader::readClocks();
  machine->configuration = reader::readConfiguration();
  machine->limits = reader::readLimits();
  machine->locks = reader::readLocks(snapshot.directory);
  for (const reader::Lock& lock : machine->locks.locks) look(*machine, lock.semaphore.lastProcess);
  lookAgainAtKept(*machine);
  for (const auto& broker : snapshot.brokers) {
    machine->keyFiles.push_back(reader::readKeyFile(broker->segment.keyFile));
  }
  lookAtGroups(*machine, snapshot);
  lookAtWaits(*machine);
  if (facts == MachineFacts::all) {
    lookAround(*machine, snapshot);
    lookAtInstallation(*machine, snapshot);
  }
  const Guards guards(snapshot);
  for (const reader::Lock& lock : machine->locks.locks) {
    look(*machine, guards.of(lock.name).process);
    look(*machine, lock.queue.lastSender);
    look(*machine, lock.queue.lastReceiver);
  }
  return machine;
}

}  // namespace model
