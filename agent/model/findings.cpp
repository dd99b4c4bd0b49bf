// SPDX-License-Identifier: Apache-2.0
#include "agent/model/findings.h"

#include <algorithm>
#include <string_view>
#include <tuple>

#include "agent/model/findings/kinds.h"

namespace model {
namespace {

auto place(const Finding& finding) {
  return std::tuple(-static_cast<int>(finding.severity), std::string_view(finding.id),
                    std::string_view(finding.of));
}

void sort(Findings& findings) {
  std::ranges::stable_sort(findings.found, [](const Finding& one, const Finding& other) {
    return place(one) < place(other);
  });
}

// How many locks are of the places that were selected.
std::size_t locksOf(const Snapshot& selected) {
  if (!selected.machine) return 0;
  const Guards guards(selected);
  return static_cast<std::size_t>(std::ranges::count_if(
      selected.machine->locks.locks,
      [&guards](const reader::Lock& lock) { return guards.of(lock.name).broker != nullptr; }));
}

// Whether `kind` is one of `kinds`, which may be its beginning up to a dot.
bool isOf(const std::string& kinds, const std::string& kind) {
  return kind == kinds || kind.starts_with(kinds + ".");
}

}  // namespace

bool Finding::is(const std::string& wanted) const {
  return wanted == key() || isOf(wanted, id);
}

bool Finding::isOneOf(const std::vector<std::string>& wanted) const {
  return wanted.empty() ||
         std::ranges::any_of(wanted, [this](const std::string& one) { return is(one); });
}

bool Unchecked::mayHide(const std::string& wanted) const {
  const std::string kinds = wanted.substr(0, wanted.find(':'));
  return kind.empty() || isOf(kinds, kind) || isOf(kind, kinds);
}

const std::vector<std::string>& findingKinds() {
  static const std::vector<std::string> kinds = {
      "lock.stuck",        "lock.held-long",    "lock.unknown-holder", "lock.references",
      "process.stopped",   "process.dead",      "segment.abandoned",   "segment.unfinished",
      "segment.damaged",   "area.full",         "area.nearly-full",    "record.too-large",
      "record.torn",       "events.missed",     "reset.forced",        "clock.set-back",
      "leftover.lock",     "leftover.key-file", "leftover.unknown",    "keyfile.replaced",
      "keyfile.duplicate", "keyfile.owner",     "keyfile.link",        "broker.same-label",
      "directory.wrong",   "directory.full",    "directory.cleaned",   "view.private-directory",
      "view.private-ipc",  "login.removes-ipc", "settings.trap",       "settings.restart",
      "limits.near",       "install.library",   "install.load",        "install.link",
      "install.directory", "install.settings",  "install.group",       "install.restart"};
  return kinds;
}

Findings findingsOf(const Snapshot* before, const Snapshot& now) {
  Findings findings;
  if (!now.machine) {
    findings.notChecked.push_back(
        {"", "locks, processes and limits: the look has none of their facts"});
    for (const char* const kind : {"lock", "process", "segment", "leftover", "keyfile", "directory",
                                   "view", "login", "settings", "limits", "install"}) {
      ++findings.unchecked[kind];
    }
  } else {
    const findings::Looks looks(before, now);
    findings.locks = now.machine->locks.locks.size();
    findings::addLocks(looks, findings);
    findings::addProcesses(looks, findings);
    findings::addLeftovers(looks, findings);
    findings::addKeyFiles(looks, findings);
    findings::addSettings(looks, findings);
    findings::addLimits(looks, findings);
    findings::addSurroundings(looks, findings);
    findings::addRecords(looks, findings);
    findings::addAreas(looks, findings);
    findings::addInstallation(looks, findings);
  }
  sort(findings);
  return findings;
}

Findings keptLocksOf(const Snapshot* before, const Snapshot& now) {
  Findings findings;
  if (!now.machine) return findings;
  addLocks(findings::Looks(before, now), findings);
  sort(findings);
  return findings;
}

bool needsSecondLook(const Snapshot& snapshot) {
  if (!snapshot.machine) return false;
  const findings::Looks looks(nullptr, snapshot);
  const bool tooLarge = std::ranges::any_of(snapshot.brokers, [&looks](const auto& broker) {
    return findings::mayBeTooLarge(*broker, looks);
  });
  return tooLarge || findings::mayBeReplaced(looks) ||
         std::ranges::any_of(snapshot.machine->locks.locks, [&looks](const reader::Lock& lock) {
           return findings::isHeld(lock.semaphore) ||
                  (findings::hasObjects(lock) && findings::mayBeLeftOver(lock, looks));
         });
}

Findings keepOnly(Findings findings, const std::vector<std::string>& wanted) {
  if (wanted.empty()) return findings;
  std::erase_if(findings.found, [&](const Finding& one) { return !one.isOneOf(wanted); });
  std::erase_if(findings.notChecked, [&](const Unchecked& unchecked) {
    return std::ranges::none_of(wanted,
                                [&](const std::string& one) { return unchecked.mayHide(one); });
  });
  return findings;
}

Findings select(Findings findings, const Snapshot& selected, const Selection& selection) {
  std::erase_if(findings.found, [&](const Finding& finding) {
    return finding.broker ? !isAmong(finding, selected)
                          : selection.names() || !isOwned(finding.owner, selection.owners);
  });
  if (selection.names()) findings.locks = locksOf(selected);
  return findings;
}

}  // namespace model
