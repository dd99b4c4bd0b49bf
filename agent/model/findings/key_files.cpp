// SPDX-License-Identifier: Apache-2.0
// Key files that lead to the wrong objects, or may do so.
#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <set>

#include "agent/model/findings/kinds.h"
#include "format/names.h"

namespace model::findings {
namespace {

using Broker = std::shared_ptr<const SeenBroker>;

constexpr std::uint32_t kDeviceBits = 0xFFFF0000;  // of a key, with its project

std::string listed(const std::set<std::int32_t>& processes) {
  return fmt::format("{}", fmt::join(processes, ", "));
}

// "42, 43 of broker BRK1; 7 of broker BRK2".
std::string listed(const std::map<std::string, std::set<std::int32_t>>& byBroker) {
  std::string list;
  for (const auto& [broker, processes] : byBroker) {
    list += (list.empty() ? "" : "; ") + listed(processes) + " of " + broker;
  }
  return list.empty() ? "none" : list;
}

// Null when no key file leads to it.
Broker brokerOf(std::uint32_t key, const Looks& looks) {
  if (key == 0) return nullptr;  // of private memory, and of a broker that can't be read
  const auto& brokers = looks.now.brokers;
  const auto found =
      std::ranges::find(brokers, key, [](const Broker& broker) { return broker->segment.key; });
  return found == brokers.end() ? nullptr : *found;
}

// Keys made in the directory of the key files have the same device in them.
bool isFromHere(std::uint32_t key, const Looks& looks) {
  const auto alike = [key](const reader::KeyFile& file) {
    return file.error == 0 && ((file.key() ^ key) & kDeviceBits) == 0;
  };
  return std::ranges::any_of(looks.machine.keyFiles, alike) ||
         std::ranges::any_of(looks.machine.locks.locks,
                             [&alike](const reader::Lock& lock) { return alike(lock.file); });
}

// Processes by the segment that they have attached: those with a key file, and those without.
struct Sides {
  std::map<std::string, std::set<std::int32_t>> known;   // by the broker's name
  std::map<std::uint64_t, std::set<std::int32_t>> lost;  // by the segment's id
};

Sides sidesOf(const Looks& looks) {
  Sides sides;
  for (const auto& [id, process] : looks.machine.processes) {
    if (!process.segments) continue;
    for (const reader::MappedSegment& segment : *process.segments) {
      if (const Broker broker = brokerOf(segment.key, looks)) {
        sides.known[nameOf(*broker)].insert(id);
      } else if (isFromHere(segment.key, looks)) {
        sides.lost[segment.id].insert(id);
      }
    }
  }
  return sides;
}

// Adds what nothing but a restart mends.
void addRestart(Finding finding, const char* groups, const Looks& looks, Findings& findings) {
  finding.severity = Severity::critical;
  finding.remedy = fmt::format(
      "restart all groups of {}, and tell the cleaner of temporary files to leave key files alone",
      groups);
  finding.command = keepKeyFiles(looks.now.directory);
  findings.found.push_back(std::move(finding));
}

void addReplaced(const Looks& looks, Findings& findings) {
  const Sides sides = sidesOf(looks);
  for (const auto& [segment, processes] : sides.lost) {
    Finding finding = of("keyfile.replaced", std::to_string(segment),
                         fmt::format("shared memory {}, whose key file is gone", segment));
    finding.evidence = fmt::format(
        "{} {} {} it, and no key file in {} leads to it; those with a key file: {}",
        processes.size() == 1 ? "process" : "processes", listed(processes),
        processes.size() == 1 ? "uses" : "use", looks.now.directory, listed(sides.known));
    finding.effect =
        "their figures are not seen, and they and newer processes don't lock each other out";
    addRestart(std::move(finding), "the broker that these processes are of", looks, findings);
  }
}

// The broker whose segment a living process has attached; null when it has none of a known one.
Broker brokerOfProcess(std::int32_t id, const Looks& looks) {
  const reader::Process* const process = looks.machine.find(id);
  if (process == nullptr || !process->segments || looks.fateOf(id).fate != Fate::alive) return {};
  for (const reader::MappedSegment& segment : *process->segments) {
    if (Broker broker = brokerOf(segment.key, looks)) return broker;
  }
  return {};
}

// A lock that was there at both looks: one that was just made may have come between the list of
// key files and that of the kernel.
bool wasThere(const reader::Keyless& lock, const Looks& looks) {
  const Machine* const before = looks.machineBefore();
  return before != nullptr && before->keyless &&
         std::ranges::any_of(before->keyless->objects, [&lock](const reader::Keyless& one) {
           return one.kind == lock.kind && one.key == lock.key && one.id == lock.id;
         });
}

struct BrokerProcess {
  std::int32_t process = 0;
  Broker broker = {};
};

// Without a broker when no living process of a known one is seen to use the lock.
BrokerProcess brokerProcessOf(const reader::Keyless& lock, const Looks& looks) {
  if (lock.kind != reader::Keyless::Kind::lock) return {};
  for (const std::int32_t process : {lock.lastProcess, lock.firstProcess}) {
    if (Broker broker = brokerOfProcess(process, looks)) return {process, std::move(broker)};
  }
  return {};
}

void addReplacedLock(const reader::Keyless& lock, const Looks& looks, Findings& findings) {
  const auto [process, broker] = brokerProcessOf(lock, looks);
  if (!broker || !wasThere(lock, looks)) return;
  Finding finding = of("keyfile.replaced", fmt::format("semaphore-{}", lock.id),
                       fmt::format("a lock of {}, whose key file is gone", nameOf(*broker)));
  finding.evidence = fmt::format(
      "process {} of this broker uses semaphore {} and queue {}, and no key file in {} "
      "leads to them",
      process, lock.id, lock.queue, looks.now.directory);
  finding.effect =
      "processes that start now make another lock, and the two don't lock each other out";
  finding.broker = broker;
  addRestart(std::move(finding), "this broker", looks, findings);
}

void addReplacedLocks(const Looks& looks, Findings& findings) {
  if (!looks.machine.keyless) return;
  for (const reader::Keyless& lock : looks.machine.keyless->objects) {
    addReplacedLock(lock, looks, findings);
  }
}

void addSameKey(const Looks& looks, Findings& findings) {
  std::map<std::uint32_t, Broker> first;
  for (const Broker& broker : looks.now.brokers) {
    if (broker->segment.key == 0) continue;
    const auto [place, isNew] = first.try_emplace(broker->segment.key, broker);
    if (isNew) continue;
    Finding finding;
    finding.id = "keyfile.duplicate";
    finding.of = broker->segment.keyFile;
    finding.severity = Severity::critical;
    finding.object = "key files of one segment";
    finding.evidence = fmt::format("{} and {} make the same key", place->second->segment.keyFile,
                                   broker->segment.keyFile);
    finding.effect = "two brokers would share one memory, and figures would count twice";
    finding.remedy = "stop both, remove the file that is not the broker's, and start again";
    finding.broker = broker;
    findings.found.push_back(std::move(finding));
  }
}

// One broker with several key files.
bool isSame(const SeenBroker& one, const SeenBroker& other) {
  return one.segment.key == other.segment.key ||
         (!one.uuid().empty() && one.uuid() == other.uuid());
}

void addSameLabel(const Looks& looks, Findings& findings) {
  std::map<std::string, Broker> first;
  for (const Broker& broker : looks.now.brokers) {
    if (broker->label().empty()) continue;
    const auto [place, isNew] = first.try_emplace(broker->label(), broker);
    if (isNew || isSame(*place->second, *broker)) continue;
    Finding finding;
    finding.id = "broker.same-label";
    finding.of = broker->segment.keyFile;
    finding.object = nameOf(*broker);
    finding.evidence = fmt::format("{} and {} are of brokers with this label",
                                   place->second->segment.keyFile, broker->segment.keyFile);
    finding.effect = "--broker with the label means both";
    finding.remedy = "name the one that is meant by its uuid";
    if (!broker->uuid().empty()) {
      finding.command = "zebmon brokers --broker " + quoted(broker->uuid());
    }
    finding.broker = broker;
    findings.found.push_back(std::move(finding));
  }
}

void addLink(const reader::KeyFile& file, const Broker& broker, Findings& findings) {
  if (!file.link) return;
  Finding finding;
  finding.id = "keyfile.link";
  finding.of = file.path;
  finding.object = "key file " + file.path;
  finding.evidence = "it is a symbolic link";
  finding.effect = "the owner of the link decides which objects are used";
  finding.remedy = "find out who made it; stop the broker, remove the link and start again";
  finding.command = "ls -l " + quoted(file.path);
  finding.broker = broker;
  finding.owner = file.owner;
  findings.found.push_back(std::move(finding));
}

// A key file whose objects belong to somebody else.
void addOwner(const reader::KeyFile& file, const char* object, std::uint32_t owner,
              const Looks& looks, const Broker& broker, Findings& findings) {
  constexpr std::uint32_t kSticky = 01000;
  if (file.error != 0 || file.owner == owner) return;
  const auto& directory = looks.machine.directory;
  const bool sticky = directory && (directory->mode & kSticky) != 0;
  Finding finding;
  finding.id = "keyfile.owner";
  finding.of = file.path;
  finding.object = "key file " + file.path;
  finding.evidence =
      fmt::format("it belongs to user {}, and its {} to user {}", file.owner, object, owner);
  finding.effect =
      sticky ? fmt::format("only user {} can remove it from {}, so a stop of the broker leaves it",
                           file.owner, directory->path)
             : "only an object's owner can remove it, so a stop of the broker leaves some";
  finding.remedy = "run all groups of the broker as one user; stop it and clear what is left";
  finding.command = "ls -l " + quoted(file.path);
  finding.broker = broker;
  finding.owner = file.owner;
  findings.found.push_back(std::move(finding));
}

}  // namespace

bool mayBeReplaced(const Looks& looks) {
  return looks.machine.keyless &&
         std::ranges::any_of(looks.machine.keyless->objects, [&looks](const auto& object) {
           return brokerProcessOf(object, looks).broker != nullptr;
         });
}

void addKeyFiles(const Looks& looks, Findings& findings) {
  addReplaced(looks, findings);
  addReplacedLocks(looks, findings);
  addSameKey(looks, findings);
  addSameLabel(looks, findings);
  if (looks.machine.keyFiles.empty() && !looks.now.brokers.empty())
    findings.leaveUnchecked("keyfile", "key files of brokers: the look has none of their facts");
  for (std::size_t i = 0; i < looks.machine.keyFiles.size() && i < looks.now.brokers.size(); ++i) {
    const Broker& broker = looks.now.brokers[i];
    addLink(looks.machine.keyFiles[i], broker, findings);
    if (broker->segment.owner) {
      addOwner(looks.machine.keyFiles[i], "shared memory", *broker->segment.owner, looks, broker,
               findings);
    }
  }
  for (const reader::Lock& lock : looks.machine.locks.locks) {
    const Broker broker = looks.guards.of(lock.name).broker;
    addLink(lock.file, broker, findings);
    if (lock.semaphore.presence == reader::Presence::there) {
      addOwner(lock.file, "semaphore", lock.semaphore.owner, looks, broker, findings);
    }
  }
}

}  // namespace model::findings
