// SPDX-License-Identifier: Apache-2.0
#include "agent/act/repair.h"

#include <fmt/format.h>
#include <sys/ipc.h>
#include <sys/msg.h>
#include <sys/sem.h>
#include <sys/shm.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>
#include <vector>

#include "agent/act/key_file_lock.h"
#include "agent/model/leftover.h"
#include "agent/model/liveness.h"

namespace act {
namespace {

using reader::Presence;

Result refused(const std::string& why) {
  return {.done = false, .what = why};
}

Result failed(const char* call) {
  return refused(fmt::format("{} failed: {}", call, std::strerror(errno)));
}

// Empty when the semaphore is as it was.
std::string changeOf(const reader::Semaphore& seen, const reader::Semaphore& now) {
  if (now.presence != Presence::there) return "its semaphore is gone or can't be read";
  if (now.id != seen.id) return "its semaphore is another one now";
  if (now.semaphores != 1) return "its semaphore set is not one that the library makes";
  if (now.value != 0) return "it is free by now";
  if (now.lastProcess != seen.lastProcess || now.lastOperation != seen.lastOperation ||
      now.changed != seen.changed) {
    return "another process has used it meanwhile";
  }
  return {};
}

// The process first and the semaphore afterwards: see the header.
std::string whyNotStuck(const reader::Lock& seen, const reader::Clocks& clocks,
                        const std::optional<reader::MappedSegment>& segment, const Eyes& eyes) {
  const reader::Process process = eyes.process(seen.semaphore.lastProcess);
  const reader::Lock now = eyes.lock(seen.file.path);
  if (std::string why = changeOf(seen.semaphore, now.semaphore); !why.empty()) return why;
  const model::Sighting before{.semaphore = seen.semaphore, .process = process, .clocks = clocks};
  const model::Sighting again{
      .semaphore = now.semaphore, .process = process, .clocks = reader::readClocks()};
  return model::lastUser(&before, again, segment).gone()
             ? ""
             : fmt::format("process {} isn't known to be dead", seen.semaphore.lastProcess);
}

// Waits for 0 without waiting and adds 1, as one step for all others.
bool addOneToZero(int semaphore) {
  sembuf operations[] = {{.sem_num = 0, .sem_op = 0, .sem_flg = IPC_NOWAIT},
                         {.sem_num = 0, .sem_op = 1, .sem_flg = 0}};
  return semop(semaphore, operations, std::size(operations)) == 0;
}

bool removeQueue(const reader::Queue& queue) {
  return queue.presence != Presence::there || msgctl(queue.id, IPC_RMID, nullptr) == 0;
}

bool removeSemaphore(const reader::Semaphore& semaphore) {
  return semaphore.presence != Presence::there || semctl(semaphore.id, 0, IPC_RMID) == 0;
}

// Whether somebody has attached a segment since it was looked at.
bool isAttached(const model::SeenBroker& broker) {
  shmid_ds facts{};
  return broker.segment.size > 0 && shmctl(broker.segment.id, IPC_STAT, &facts) == 0 &&
         facts.shm_nattch > 0;
}

// Looks at processes, segments and the lock again, in this order.
std::string whyStillUsed(const model::Snapshot& before, const model::Snapshot& now,
                         const reader::Lock& seen, const Eyes& eyes) {
  auto machine = std::make_shared<model::Machine>(*now.machine);
  for (const std::int32_t id :
       {seen.semaphore.lastProcess, seen.queue.lastSender, seen.queue.lastReceiver}) {
    if (id > 0) machine->processes[id] = eyes.process(id);
  }
  machine->clocks = reader::readClocks();
  model::Snapshot again = now;
  again.machine = machine;
  const model::findings::Looks looks(&before, again);
  const auto own = looks.guards.of(seen.name).broker;
  for (const auto& broker : now.brokers) {
    if ((!own || own == broker) && isAttached(*broker)) return "a process uses a segment by now";
  }
  return model::whyInUse(eyes.lock(seen.file.path), looks);
}

}  // namespace

Result freeStuck(const reader::Lock& seen, const reader::Clocks& clocks,
                 const std::optional<reader::MappedSegment>& segment, const Eyes& eyes) {
  const KeyFileLock lock(seen.file.path);
  if (!lock.problem().empty()) return refused(lock.problem());
  if (!lock.isStill(seen.file)) return refused("its key file is another one now");
  if (const std::string why = whyNotStuck(seen, clocks, segment, eyes); !why.empty())
    return refused(why);
  if (addOneToZero(seen.semaphore.id)) return {.done = true, .what = "it is free"};
  return errno == EAGAIN ? refused("it is free by now") : failed("semop");
}

Result removeLeftover(const model::Snapshot& before, const model::Snapshot& now,
                      const reader::Lock& seen, const Eyes& eyes) {
  const KeyFileLock lock(seen.file.path);
  if (!lock.problem().empty()) return refused(lock.problem());
  if (!lock.isStill(seen.file)) return refused("its key file is another one now");
  if (const std::string why = whyStillUsed(before, now, seen, eyes); !why.empty())
    return refused(why);
  if (!removeQueue(seen.queue)) return failed("msgctl");
  if (!removeSemaphore(seen.semaphore)) return failed("semctl");
  if (unlink(seen.file.path.c_str()) != 0) return failed("unlink");
  return {.done = true, .what = "its queue, its semaphore and its key file are removed"};
}

std::string halfDone(const model::Guarded& guarded) {
  using What = model::Guarded::What;
  switch (guarded.what) {
    case What::statistics:
      return "the figures of that node may not belong together until its next message. A reset "
             "sets "
             "them back";
    case What::statisticsArea:
      return "a record that was being added is left out, and the next one takes its place; a reset "
             "of all nodes may have ended halfway. Another one does it again";
    case What::templatesArea:
    case What::eventsArea:
      return "a record that was being added is left out, and the next one takes its place";
    case What::segment:
      return "an area may not have been made yet; the next start makes it";
    case What::attachTable:
    case What::unknown:
      break;
  }
  return "nothing else";
}

std::string resetOf(const model::Guarded& guarded) {
  using What = model::Guarded::What;
  const bool ofNode = guarded.what == What::statistics;
  if (!guarded.broker || (!ofNode && guarded.what != What::statisticsArea)) return {};
  const std::string uuid = guarded.broker->uuid();
  std::vector<std::pair<std::string, std::string>> choice = {
      {"broker", uuid.empty() ? guarded.broker->label() : uuid}};
  if (ofNode) {
    choice.insert(choice.end(),
                  {{"group", guarded.group}, {"flow", guarded.flow}, {"node", guarded.node}});
  }
  std::string command = "zebmon reset";
  bool exact = true;
  for (const auto& [option, name] : choice) {
    if (name.empty()) return {};
    exact = exact && name.find('*') == name.npos;
    command += " --" + option + " " + model::findings::quoted(name);
  }
  return exact ? command + " --yes" : command;
}

}  // namespace act
