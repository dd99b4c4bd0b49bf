// SPDX-License-Identifier: Apache-2.0
#include "agent/model/collector.h"

#include <algorithm>
#include <set>
#include <utility>

#include "agent/model/calendar.h"
#include "agent/model/guarded.h"
#include "agent/reader/temporary_directory.h"

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

// Processes that may hold a lock come first, in case not all can be looked at.
std::shared_ptr<const Machine> machineOf(const Snapshot& snapshot, MachineFacts facts) {
  auto machine = std::make_shared<Machine>();
  if (facts == MachineFacts::processes) {
    lookAtGroups(*machine, snapshot);
    return machine;
  }
  machine->clocks = reader::readClocks();
  machine->configuration = reader::readConfiguration();
  machine->limits = reader::readLimits();
  machine->locks = reader::readLocks(snapshot.directory);
  for (const reader::Lock& lock : machine->locks.locks) look(*machine, lock.semaphore.lastProcess);
  for (const auto& broker : snapshot.brokers) {
    machine->keyFiles.push_back(reader::readKeyFile(broker->segment.keyFile));
  }
  lookAtGroups(*machine, snapshot);
  if (facts == MachineFacts::all) lookAround(*machine, snapshot);
  const Guards guards(snapshot);
  for (const reader::Lock& lock : machine->locks.locks) {
    look(*machine, guards.of(lock.name).process);
    look(*machine, lock.queue.lastSender);
    look(*machine, lock.queue.lastReceiver);
  }
  return machine;
}

}  // namespace

Collector::Collector(std::string directory, Events events, MachineFacts machine,
                     std::uint64_t mostBytes)
    : directory_(reader::keyFileDirectory(std::move(directory))),
      events_(events),
      machine_(machine),
      bounds_{.mostBytes = mostBytes, .events = events != Events::skip} {}

std::shared_ptr<const Snapshot> Collector::take() {
  auto snapshot = std::make_shared<Snapshot>();
  snapshot->wall = std::chrono::system_clock::now();
  snapshot->steady = std::chrono::steady_clock::now();
  snapshot->directory = directory_;
  const reader::KeyFiles files = reader::findKeyFiles(directory_);
  snapshot->error = files.error;
  const std::int64_t wall = secondsOf(*snapshot);
  if (files.error == 0) {
    forgetAllBut(files.paths);
    for (const std::string& path : files.paths) snapshot->brokers.push_back(look(path, wall));
  }
  if (machine_ != MachineFacts::leave) snapshot->machine = machineOf(*snapshot, machine_);
  return snapshot;
}

// A segment that can't be read for a moment is not a new one: its log is left as it is.
std::shared_ptr<const SeenBroker> Collector::look(const std::string& keyFile, std::int64_t wall) {
  auto broker = std::make_shared<SeenBroker>(decoded(reader::readSegment(keyFile, bounds_), wall));
  if (events_ == Events::read && broker->segment.size > 0) {
    broker->events = logs_[keyFile].read(broker->segment, broker->damage);
    makeNearest(*broker->events, wall);
  }
  return broker;
}

void Collector::forgetAllBut(const std::vector<std::string>& keyFiles) {
  std::erase_if(logs_, [&keyFiles](const auto& log) {
    return !std::binary_search(keyFiles.begin(), keyFiles.end(), log.first);
  });
}

}  // namespace model
