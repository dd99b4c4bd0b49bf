// SPDX-License-Identifier: Apache-2.0
#include <fmt/format.h>

#include <algorithm>

#include "agent/model/findings/kinds.h"
#include "agent/reader/names.h"
#include "agent/render/lock_screens.h"
#include "agent/render/lock_words.h"
#include "agent/render/values.h"
#include "agent/render/words.h"

namespace render {
namespace {

using reader::Presence;

Json kernelTime(reader::KernelTime time) {
  return timeOrNull(time == 0 ? reader::Time() : time);
}

Json guardObject(const model::Guarded& guarded) {
  return {{"kind", guardName(guarded.what)},
          {"broker", brokerObject(guarded.broker.get())},
          {"executionGroup", textOrNull(guarded.group)},
          {"messageFlow", textOrNull(guarded.flow)},
          {"node", textOrNull(guarded.node)},
          {"processId", guarded.process == 0 ? Json(nullptr) : Json(guarded.process)}};
}

// What both kinds of objects begin with; the numbers of one that isn't there mean nothing.
Json objectHead(const reader::IpcObject& object) {
  Json head = {{"presence", reader::nameOf(object.presence)}};
  if (object.presence == Presence::refused) head["id"] = object.id;
  if (object.presence != Presence::there) return head;
  head["id"] = object.id;
  head["key"] = fmt::format("0x{:08x}", object.key);
  head["userId"] = object.owner;
  head["groupId"] = object.group;
  head["mode"] = fmt::format("{:04o}", object.mode);
  return head;
}

Json semaphoreObject(const model::LockView& view) {
  const reader::Semaphore& semaphore = view.lock.semaphore;
  Json object = objectHead(semaphore);
  if (semaphore.presence != Presence::there) return object;
  object["value"] = semaphore.value;
  object["waiting"] = semaphore.waiting;
  if (!view.waiters.empty()) object["waitingProcessIds"] = view.waiters;
  object["lastProcessId"] = semaphore.lastProcess;
  object["lastOperation"] = kernelTime(semaphore.lastOperation);
  object["changed"] = kernelTime(semaphore.changed);
  return object;
}

Json queueObject(const reader::Queue& queue) {
  Json object = objectHead(queue);
  if (queue.presence != Presence::there) return object;
  object["references"] = queue.references;
  object["mostBytes"] = queue.mostBytes;
  object["lastSenderProcessId"] = queue.lastSender;
  object["lastReceiverProcessId"] = queue.lastReceiver;
  object["lastSent"] = kernelTime(queue.lastSent);
  object["lastReceived"] = kernelTime(queue.lastReceived);
  return object;
}

Json lastUserObject(const model::LockView& view) {
  if (view.lock.semaphore.presence != Presence::there) return nullptr;
  Json object = {{"fate", fateName(view.lastUser.fate)}};
  if (const std::string doubt = doubtText(view.lastUser.doubt); !doubt.empty()) {
    object["doubt"] = doubt;
  }
  if (!view.process) return object;
  object["command"] = orNull(view.process->command);
  object["stopped"] = orNull(view.process->stopped);
  object["threads"] = orNull(view.process->threads);
  return object;
}

}  // namespace

Json locksDocument(const model::Snapshot& snapshot, const std::vector<model::LockView>& locks) {
  Json document = headOf("zebmon.locks", 1, snapshot);
  document["temporaryDirectory"] = snapshot.directory;
  Json& list = document["locks"] = Json::array();
  for (const model::LockView& view : locks) {
    const reader::KeyFile& file = view.lock.file;
    list.push_back({{"keyFile", file.path},
                    {"inode", file.inode},
                    {"device", file.device},
                    {"state", lockState(view)},
                    {"guards", guardObject(view.guarded)},
                    {"semaphore", semaphoreObject(view)},
                    {"lastUser", lastUserObject(view)},
                    {"queue", queueObject(view.lock.queue)}});
  }
  return document;
}

std::string countOf(const std::vector<model::LockView>& all,
                    const std::vector<model::LockView>& shown) {
  if (all.empty()) return "there is no lock: no node has been deployed yet, or all have stopped";
  const std::size_t others = all.size() - shown.size();
  if (others == 0) return {};
  if (others == 1)
    return fmt::format("{} lock is free. See it with --all", shown.empty() ? "1" : "the other");
  return fmt::format("{}{} locks are free. See them with --all", shown.empty() ? "" : "the other ",
                     others);
}

std::string stuckText(const std::vector<model::LockView>& locks, const std::string& options) {
  const auto stuck = std::ranges::count_if(
      locks, [](const model::LockView& lock) { return lock.held() && lock.lastUser.gone(); });
  if (stuck == 0) return {};
  return fmt::format(
      "{} held by a process that is dead. zebmon doctor --only lock{} tells what stops there and "
      "how to free {}",
      model::findings::counted(static_cast<std::uint64_t>(stuck), "lock is", "locks are"), options,
      stuck == 1 ? "it" : "them");
}

}  // namespace render
