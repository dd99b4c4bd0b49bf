// SPDX-License-Identifier: Apache-2.0
#include "agent/model/lock_view.h"

#include <algorithm>
#include <tuple>

#include "agent/model/findings/kinds.h"
#include "agent/model/selection.h"

namespace model {
namespace {

using reader::Presence;

LockView viewOf(const reader::Lock& lock, Guarded guarded, const Machine& machine) {
  LockView view;
  view.lock = lock;
  view.waiters = machine.waitersFor(lock.semaphore.id);
  if (const auto* const process = machine.find(lock.semaphore.lastProcess)) view.process = *process;
  view.lastUser = lastUser(nullptr, sightingOf(lock.semaphore, machine), segmentOf(guarded));
  view.guarded = std::move(guarded);
  return view;
}

// Those of no known broker come last.
auto orderOf(const LockView& view) {
  const Guarded& guarded = view.guarded;
  return std::tuple(!guarded.broker, guarded.broker ? guarded.broker->segment.keyFile : "",
                    guarded.what != Guarded::What::statistics, guarded.group, guarded.flow,
                    guarded.what, guarded.node, view.lock.name);
}

}  // namespace

bool LockView::held() const {
  return findings::isHeld(lock.semaphore);
}

bool LockView::noteworthy() const {
  const reader::Semaphore& semaphore = lock.semaphore;
  const bool anything =
      semaphore.presence != Presence::absent || lock.queue.presence != Presence::absent;
  const bool both = semaphore.presence == Presence::there && lock.queue.presence == Presence::there;
  const bool asMade = both && semaphore.value == 1 && semaphore.semaphores == 1;
  return anything && (!asMade || semaphore.waiting > 0);
}

std::vector<LockView> locksOf(const Snapshot& whole, const Snapshot& selected, bool all,
                              const std::vector<std::uint32_t>& owners) {
  std::vector<LockView> views;
  if (!whole.machine) return views;
  const Guards guards(whole);
  for (const reader::Lock& lock : whole.machine->locks.locks) {
    Guarded guarded = guards.of(lock.name);
    const bool more =
        all && (owners.empty() || (!guarded.broker && isOwned(lock.file.owner, owners)));
    if (!more && !isAmong(guarded, selected)) continue;
    views.push_back(viewOf(lock, std::move(guarded), *whole.machine));
  }
  std::ranges::stable_sort(views, {}, orderOf);
  return views;
}

}  // namespace model
