// SPDX-License-Identifier: Apache-2.0
#include "agent/render/lock_words.h"

#include <fmt/format.h>

#include "text/printable.h"

namespace render {
namespace {

using model::Doubt;
using model::Fate;
using model::Guarded;
using reader::Presence;
using text::printable;

std::string attachTable(const Guarded& guarded) {
  const std::string table = fmt::format("attach table of process {}", guarded.process);
  return guarded.group.empty() ? table : fmt::format("{} ({})", table, printable(guarded.group));
}

std::string statistics(const Guarded& guarded) {
  if (!guarded.broker) return "statistics of a node that is not stored";
  return fmt::format("{} of {}, {}", printable(guarded.node), printable(guarded.flow),
                     printable(guarded.group));
}

}  // namespace

std::string guardText(const Guarded& guarded) {
  switch (guarded.what) {
    case Guarded::What::statistics:
      return statistics(guarded);
    case Guarded::What::segment:
      return "segment";
    case Guarded::What::statisticsArea:
      return "area of statistics";
    case Guarded::What::templatesArea:
      return "area of event templates";
    case Guarded::What::eventsArea:
      return "area of event data";
    case Guarded::What::attachTable:
      return attachTable(guarded);
    case Guarded::What::unknown:
      break;
  }
  return "unknown";
}

const char* guardName(Guarded::What what) {
  switch (what) {
    case Guarded::What::statistics:
      return "statistics";
    case Guarded::What::segment:
      return "segment";
    case Guarded::What::statisticsArea:
      return "statisticsArea";
    case Guarded::What::templatesArea:
      return "eventTemplatesArea";
    case Guarded::What::eventsArea:
      return "eventDataArea";
    case Guarded::What::attachTable:
      return "attachTable";
    case Guarded::What::unknown:
      break;
  }
  return "unknown";
}

std::string lockState(const model::LockView& view) {
  const reader::Semaphore& semaphore = view.lock.semaphore;
  const reader::Queue& queue = view.lock.queue;
  if (semaphore.presence == Presence::refused || queue.presence == Presence::refused) {
    return "no permission";
  }
  if (semaphore.presence == Presence::failed || queue.presence == Presence::failed) return "failed";
  if (view.held()) return "held";
  if (semaphore.presence != queue.presence) return "half a lock";
  if (semaphore.presence == Presence::absent) return "no objects";
  return semaphore.waiting > 0 ? "waited for" : "free";
}

const char* fateName(Fate fate) {
  switch (fate) {
    case Fate::alive:
      return "alive";
    case Fate::dead:
      return "dead";
    case Fate::numberUsedAgain:
      return "numberUsedAgain";
    case Fate::diedMaking:
      return "diedMaking";
    case Fate::unknown:
      break;
  }
  return "unknown";
}

std::string doubtText(Doubt doubt) {
  switch (doubt) {
    case Doubt::unreadable:
      return "the kernel doesn't tell all of it to you: run zebmon as root";
    case Doubt::otherNamespace:
      return "it runs where it can't be seen from here: run zebmon in its container";
    case Doubt::clocksDisagree:
      return "the kernel tells two different times of its own start";
    case Doubt::clockStepped:
      return "the clock was set between two looks: look again";
    case Doubt::oneLook:
      return "it takes a second look to tell whether its number is used again";
    case Doubt::attached:
      return "a process of its number started later and uses the broker's segment";
    case Doubt::tooSoon:
      return "the lock is new: look again in a few seconds";
    case Doubt::none:
      break;
  }
  return {};
}

}  // namespace render
