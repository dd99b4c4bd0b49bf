// SPDX-License-Identifier: Apache-2.0
// What the machine says of its brokers, besides what is in their shared memory.
#ifndef ZEB_AGENT_MODEL_MACHINE_H
#define ZEB_AGENT_MODEL_MACHINE_H

#include <cstdint>
#include <map>
#include <optional>
#include <vector>

#include "agent/reader/configuration.h"
#include "agent/reader/directory.h"
#include "agent/reader/installation.h"
#include "agent/reader/keyless.h"
#include "agent/reader/limits.h"
#include "agent/reader/locks.h"
#include "agent/reader/logins.h"
#include "agent/reader/processes.h"
#include "agent/reader/views.h"
#include "agent/reader/waits.h"

namespace model {

// All of it of one moment, as far as it could be read by this user.
struct Machine {
  // More processes than that are not looked at.
  static constexpr std::size_t kMostProcesses = 4096;

  reader::Clocks clocks;
  reader::Configuration configuration;
  reader::Limits limits;
  reader::LockList locks;  // of the key files in the snapshot's directory

  // Of the snapshot's brokers, in their order.
  std::vector<reader::KeyFile> keyFiles;

  // Each process that a lock or an execution group names, by its number.
  std::map<std::int32_t, reader::Process> processes;

  // Who waits for a lock that somebody has had for a second or more. Nothing when nobody does.
  std::optional<reader::Waits> waits;

  // What nobody looked at has no value, as in a file of an older version.
  std::optional<reader::Directory> directory;  // that of the snapshot
  std::optional<reader::Cleaners> cleaners;    // of that directory
  std::optional<reader::Views> views;
  std::optional<reader::Logins> logins;
  std::optional<reader::KeylessList> keyless;
  std::optional<reader::Installation> installation;

  // Null for one that wasn't looked at.
  const reader::Process* find(std::int32_t id) const {
    const auto found = processes.find(id);
    return found == processes.end() ? nullptr : &found->second;
  }

  // The processes that are known to wait for a semaphore.
  std::vector<std::int32_t> waitersFor(int semaphore) const;
};

}  // namespace model

#endif  // ZEB_AGENT_MODEL_MACHINE_H
