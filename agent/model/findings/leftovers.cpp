// SPDX-License-Identifier: Apache-2.0
// What dead processes left behind.
#include <fmt/format.h>

#include <algorithm>

#include "agent/model/findings/kinds.h"
#include "agent/model/leftover.h"

namespace model {
namespace {

using findings::Looks;
using reader::Lock;
using reader::Presence;

// A process that a lock names, and when it used it.
struct User {
  const char* what;
  std::int32_t process = 0;
  reader::KernelTime at = 0;
};

std::vector<User> usersOf(const Lock& lock) {
  std::vector<User> users;
  if (lock.semaphore.presence == Presence::there) {
    const reader::Semaphore& semaphore = lock.semaphore;
    const reader::KernelTime set = semaphore.lastProcess > 0 ? semaphore.changed : 0;
    users.push_back(
        {"took it last", semaphore.lastProcess, std::max(semaphore.lastOperation, set)});
  }
  if (lock.queue.presence == Presence::there) {
    users.push_back({"joined it last", lock.queue.lastSender, lock.queue.lastSent});
    users.push_back({"left it last", lock.queue.lastReceiver, lock.queue.lastReceived});
  }
  return users;
}

std::optional<Sighting> sightingOf(const User& user, const Lock& lock, const Machine* machine) {
  if (machine == nullptr) return std::nullopt;
  reader::Semaphore semaphore = lock.semaphore;
  semaphore.presence = Presence::there;
  semaphore.lastProcess = user.process;
  semaphore.lastOperation = semaphore.changed = user.at;
  return model::sightingOf(semaphore, *machine);
}

Verdict fateOf(const User& user, const Lock& lock, const Looks& looks) {
  const auto now = sightingOf(user, lock, &looks.machine);
  const auto before = sightingOf(user, lock, looks.machineBefore());
  return lastUser(before ? &*before : nullptr, *now, segmentOf(looks.guards.of(lock.name)));
}

// Empty when each of them is dead, or nobody ever was one.
std::string whyUsersLive(const Lock& lock, const Looks& looks) {
  for (const User& user : usersOf(lock)) {
    if (user.process == 0 && user.at == 0) continue;
    if (user.process < 1) {
      return fmt::format(
          "the process that {} can't be seen here: it may run in another PID namespace", user.what);
    }
    const Fate fate = fateOf(user, lock, looks).fate;
    if (fate == Fate::alive)
      return fmt::format("process {}, which {}, lives", user.process, user.what);
    if (fate == Fate::unknown) {
      return fmt::format("whether process {}, which {}, lives can't be told", user.process,
                         user.what);
    }
  }
  return {};
}

std::string attachedTo(const SeenBroker* broker) {
  if (broker == nullptr || broker->segment.state == reader::State::noSegment ||
      broker->segment.state == reader::State::noKeyFile) {
    return {};
  }
  if (broker->segment.size == 0) {
    return fmt::format("who uses the segment of {} can't be read", findings::nameOf(*broker));
  }
  if (broker->segment.attached == 0) return {};
  return fmt::format("{} the segment of {}",
                     findings::counted(broker->segment.attached, "process uses", "processes use"),
                     findings::nameOf(*broker));
}

std::string attachedNowOrBefore(const SeenBroker& broker, const Looks& looks) {
  const std::string now = attachedTo(&broker);
  return now.empty() ? attachedTo(looks.before(broker)) : now;
}

// A lock of no known broker may be of any: then nobody may be attached at all.
std::string whyAttached(const Guarded& guarded, const Looks& looks) {
  if (guarded.what == Guarded::What::attachTable) {
    return looks.fateOf(guarded.process).fate != Fate::dead
               ? fmt::format("process {}, whose lock it is, lives or can't be seen",
                             guarded.process)
               : std::string();
  }
  if (guarded.broker) return attachedNowOrBefore(*guarded.broker, looks);
  if (looks.now.leftOut.all() > 0) return "whose lock it is can't be told";
  for (const auto& broker : looks.now.brokers) {
    const std::string why = attachedNowOrBefore(*broker, looks);
    if (!why.empty()) return "whose lock it is can't be told, and " + why;
  }
  return {};
}

// Another program's objects may have the same key: it has only 16 bits of the file's number.
std::string whyForeign(const Lock& lock) {
  const bool semaphore = lock.semaphore.presence == Presence::there;
  const bool queue = lock.queue.presence == Presence::there;
  if (lock.semaphore.presence == Presence::refused || lock.queue.presence == Presence::refused)
    return "its objects may not be looked at by this user";
  if (!semaphore && !queue) return "it has no objects";
  if (semaphore && lock.semaphore.semaphores != 1)
    return "its semaphore set is not one that the library makes";
  if ((semaphore && lock.semaphore.owner != lock.file.owner) ||
      (queue && lock.queue.owner != lock.file.owner)) {
    return "its objects and its key file belong to different users";
  }
  return lock.file.regular && !lock.file.link ? "" : "its key file is no regular file";
}

bool changed(const Lock& before, const Lock& now) {
  return before.file.inode != now.file.inode || before.semaphore.id != now.semaphore.id ||
         before.semaphore.value != now.semaphore.value ||
         before.semaphore.lastProcess != now.semaphore.lastProcess ||
         before.semaphore.lastOperation != now.semaphore.lastOperation ||
         before.queue.id != now.queue.id || before.queue.references != now.queue.references ||
         before.queue.lastSent != now.queue.lastSent ||
         before.queue.lastReceived != now.queue.lastReceived;
}

}  // namespace

std::string whyInUse(const Lock& lock, const Looks& looks) {
  if (std::string why = whyForeign(lock); !why.empty()) return why;
  if (lock.semaphore.waiting > 0) {
    return findings::counted(lock.semaphore.waiting, "process waits for it",
                             "processes wait for it");
  }
  if (std::string why = whyAttached(looks.guards.of(lock.name), looks); !why.empty()) return why;
  if (std::string why = whyUsersLive(lock, looks); !why.empty()) return why;
  const Lock* const before = looks.before(lock);
  if (before == nullptr) return "it was not there at a look before";
  return changed(*before, lock) ? "it changed between two looks" : "";
}

namespace findings {
namespace {

void addLock(const Lock& lock, const Looks& looks, Findings& findings) {
  const Guarded guarded = looks.guards.of(lock.name);
  Finding finding;
  finding.id = "leftover.lock";
  finding.of = lock.file.path;
  finding.object = "lock of " + nameOf(guarded);
  finding.evidence = fmt::format("semaphore {}, queue {} and {} are left, and all users are dead",
                                 lock.semaphore.id, lock.queue.id, lock.file.path);
  finding.effect = "none yet; each takes one of the kernel's semaphores and queues";
  finding.remedy = "remove it";
  finding.command = "zebmon doctor --repair " + findings::quoted(finding.key()) + " --yes";
  finding.concern(guarded);
  finding.owner = lock.file.owner;
  findings.found.push_back(std::move(finding));
}

void addKeyFile(const std::shared_ptr<const SeenBroker>& broker, Findings& findings) {
  Finding finding;
  finding.id = "leftover.key-file";
  finding.of = broker->segment.keyFile;
  finding.object = "key file of " + nameOf(*broker);
  finding.evidence = "there is no shared memory behind it";
  finding.effect = "none: the next start takes it up";
  finding.remedy = "while the broker is down, it can be removed";
  finding.command = "rm " + findings::quoted(finding.of);
  finding.broker = broker;
  findings.found.push_back(std::move(finding));
}

}  // namespace

bool mayBeLeftOver(const Lock& lock, const Looks& looks) {
  const auto users = usersOf(lock);
  return whyAttached(looks.guards.of(lock.name), looks).empty() &&
         std::ranges::none_of(users, [&looks, &lock](const User& user) {
           return user.process > 0 && fateOf(user, lock, looks).fate == Fate::alive;
         });
}

void addLeftovers(const Looks& looks, Findings& findings) {
  for (const Lock& lock : looks.machine.locks.locks) {
    if (whyInUse(lock, looks).empty()) addLock(lock, looks, findings);
  }
  for (const auto& broker : looks.now.brokers) {
    if (broker->segment.state == reader::State::noSegment) addKeyFile(broker, findings);
  }
}

}  // namespace findings
}  // namespace model
