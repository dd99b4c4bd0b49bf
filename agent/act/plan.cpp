// SPDX-License-Identifier: Apache-2.0
#include "agent/act/plan.h"

#include <algorithm>
#include <iterator>

#include "agent/model/findings/kinds.h"
#include "agent/model/leftover.h"

namespace act {
namespace {

constexpr char kStuck[] = "lock.stuck";
constexpr char kLeftover[] = "leftover.lock";

const reader::Lock* lockOf(const model::Finding& finding, const model::Snapshot& snapshot) {
  const auto& locks = snapshot.machine->locks.locks;
  const auto found = std::ranges::find_if(
      locks, [&finding](const reader::Lock& lock) { return lock.file.path == finding.of; });
  return found == locks.end() ? nullptr : &*found;
}

}  // namespace

std::vector<std::string> mendableKinds() {
  return {kStuck, kLeftover};
}

bool isMendable(const std::string& wanted) {
  return std::ranges::any_of(mendableKinds(), [&wanted](const std::string& kind) {
    return wanted == kind || wanted.starts_with(kind + ":");
  });
}

std::vector<model::Finding> mendable(const model::Findings& findings, const std::string& wanted) {
  std::vector<model::Finding> chosen;
  if (!isMendable(wanted)) return chosen;
  std::ranges::copy_if(findings.found, std::back_inserter(chosen),
                       [&wanted](const model::Finding& finding) { return finding.is(wanted); });
  return chosen;
}

std::string planOf(const model::Finding& finding) {
  return finding.id == kStuck
             ? "add 1 to its semaphore if it is still 0 and its holder still dead"
             : "remove its queue, its semaphore and its key file if still nobody uses it";
}

std::string refusalOf(const Found& found, const std::string& wanted) {
  const std::string kind = std::string(kLeftover) + ":";
  if (!wanted.starts_with(kind)) return {};
  model::Finding named;
  named.of = wanted.substr(kind.size());
  const reader::Lock* const lock = lockOf(named, found.now);
  return lock == nullptr ? std::string()
                         : model::whyInUse(*lock, model::findings::Looks(&found.before, found.now));
}

Result repair(const model::Finding& finding, const Found& found) {
  const reader::Lock* const lock = lockOf(finding, found.now);
  if (lock == nullptr) return {.done = false, .what = "its key file is gone"};
  if (finding.id == kLeftover) return removeLeftover(found.before, found.now, *lock);
  const model::Guarded guarded = model::Guards(found.now).of(lock->name);
  Result result = freeStuck(*lock, found.before.machine->clocks, model::segmentOf(guarded));
  if (!result.done) return result;
  result.what += ". What may be half done: " + halfDone(guarded);
  result.command = resetOf(guarded);
  return result;
}

}  // namespace act
