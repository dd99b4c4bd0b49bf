// SPDX-License-Identifier: Apache-2.0
#include <fmt/format.h>

#include "agent/render/lock_screens.h"
#include "agent/render/lock_words.h"
#include "agent/render/words.h"

namespace render {
namespace {

using reader::Presence;

Cell known(bool is, std::integral auto value) {
  return is ? Cell(value) : Cell();
}

Tone toneOf(const model::LockView& view) {
  if (view.held() && view.lastUser.gone()) return Tone::critical;
  return view.noteworthy() ? Tone::warning : Tone::plain;
}

Cell momentOrMissing(reader::KernelTime time) {
  return momentOf(time == 0 ? std::optional<std::int64_t>() : time);
}

Row rowOf(const model::LockView& view) {
  const reader::Semaphore& semaphore = view.lock.semaphore;
  const reader::Queue& queue = view.lock.queue;
  const bool there = semaphore.presence == Presence::there;
  const bool counted = queue.presence == Presence::there;
  const model::Guarded& guarded = view.guarded;
  const std::string broker = guarded.broker ? nameOf(*guarded.broker) : "";
  const bool used = there && semaphore.lastProcess != 0;
  Row row;
  row.heading = broker.empty() ? "No broker that is known here" : "Broker " + broker;
  row.cells = {guardText(guarded),
               guarded.broker ? textOrMissing(guarded.broker->label()) : Cell(),
               guarded.broker ? Cell(guarded.broker->uuid()) : Cell(),
               Cell(lockState(view), toneOf(view)),
               known(there, semaphore.value),
               known(used, semaphore.lastProcess),
               there ? Cell(fateName(view.lastUser.fate), toneOf(view)) : Cell(),
               view.process ? textOrMissing(view.process->command.value_or("")) : Cell(),
               known(counted, queue.references),
               known(there, semaphore.waiting),
               momentOrMissing(semaphore.lastOperation),
               guardName(guarded.what),
               textOrMissing(guarded.group),
               textOrMissing(guarded.flow),
               textOrMissing(guarded.node),
               view.lock.file.path,
               known(there, semaphore.id),
               known(counted, queue.id),
               textOrMissing(fmt::format("{}", fmt::join(view.waiters, " ")))};
  return row;
}

}  // namespace

std::vector<Column> locksColumns() {
  using enum Column::Place;
  return {{.name = "guards", .title = "guards", .yields = 30, .least = 20},
          {.name = "broker", .title = "broker", .place = heading, .yields = 95, .least = 8},
          {.name = "uuid", .title = "uuid", .place = extra, .yields = 96, .least = 8},
          {.name = "state", .title = "state"},
          {.name = "value", .title = "value", .right = true, .yields = 60},
          {.name = "lastProcessId", .title = "process", .right = true},
          {.name = "fate", .title = "lives"},
          {.name = "command", .title = "command", .yields = 70, .least = 7},
          {.name = "references", .title = "refs", .right = true, .yields = 20},
          {.name = "waiting", .title = "waiting", .right = true},
          {.name = "lastOperation", .title = "last used", .yields = 80},
          {.name = "kind", .title = "kind", .place = extra},
          {.name = "executionGroup", .title = "group", .place = extra},
          {.name = "messageFlow", .title = "flow", .place = extra},
          {.name = "node", .title = "node", .place = extra},
          {.name = "keyFile", .title = "key file", .place = extra},
          {.name = "semaphoreId", .title = "semaphore", .right = true, .place = extra},
          {.name = "queueId", .title = "queue", .right = true, .place = extra},
          {.name = "waitingProcessIds", .title = "waiting processes", .place = extra}};
}

Sheet locksSheet(const std::vector<model::LockView>& locks) {
  Sheet sheet{locksColumns(), {}};
  for (const model::LockView& lock : locks) sheet.rows.push_back(rowOf(lock));
  return sheet;
}

}  // namespace render
