// SPDX-License-Identifier: Apache-2.0
#include "agent/model/liveness.h"

#include <algorithm>

namespace model {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr milliseconds kStep(500);
constexpr milliseconds kDisagreement(1500);
constexpr seconds kAfterUse(2);
constexpr seconds kMaking(5);

Verdict unknown(Doubt doubt) {
  return {Fate::unknown, doubt};
}

// The largest time that is believed, some 36,000 years: sums of these don't overflow.
constexpr std::int64_t kLatest = std::int64_t{1} << 40;

milliseconds at(reader::KernelTime time) {
  return seconds(std::clamp<std::int64_t>(time, 0, kLatest));
}

bool believable(const reader::Clocks& clocks) {
  const auto is = [](std::int64_t value) { return value >= 0 && value <= kLatest; };
  return is(clocks.wall.count() / 1000) && is(clocks.sinceBoot.count() / 1000) && clocks.bootTime &&
         is(*clocks.bootTime) && clocks.ticksPerSecond > 0;
}

std::optional<milliseconds> sinceBoot(const reader::Process& process,
                                      const reader::Clocks& clocks) {
  if (!process.startTicks || !believable(clocks)) return std::nullopt;
  const auto perSecond = static_cast<std::uint64_t>(clocks.ticksPerSecond);
  const std::uint64_t whole = *process.startTicks / perSecond;
  if (whole > static_cast<std::uint64_t>(clocks.sinceBoot.count()) / 1000 + 1) return std::nullopt;
  const std::uint64_t rest = *process.startTicks % perSecond * 1000 / perSecond;
  return milliseconds(static_cast<std::int64_t>(whole * 1000 + rest));
}

// Nobody has used the semaphore since it was made, as far as can be seen from here.
Verdict fateOfMaker(const Sighting* before, const Sighting& now) {
  const reader::Semaphore& semaphore = now.semaphore;
  if (semaphore.lastOperation != 0) return unknown(Doubt::otherNamespace);
  if (semaphore.value != 0) return unknown(Doubt::otherNamespace);
  if (before == nullptr) return unknown(Doubt::oneLook);
  const reader::Semaphore& earlier = before->semaphore;
  if (earlier.presence != reader::Presence::there || earlier.id != semaphore.id ||
      earlier.changed != semaphore.changed || earlier.lastProcess != 0) {
    return unknown(Doubt::tooSoon);
  }
  if (clockStepped(before->clocks, now.clocks)) return unknown(Doubt::clockStepped);
  if (now.clocks.wall - at(semaphore.changed) < kMaking) return unknown(Doubt::tooSoon);
  return {Fate::diedMaking};
}

}  // namespace

bool clockStepped(const reader::Clocks& before, const reader::Clocks& now) {
  if (!believable(before) || !believable(now)) return true;
  const milliseconds step = (now.wall - before.wall) - (now.sinceBoot - before.sinceBoot);
  return std::chrono::abs(step) > kStep;
}

std::optional<milliseconds> startOf(const reader::Process& process, const reader::Clocks& clocks) {
  const auto after = sinceBoot(process, clocks);
  if (!after) return std::nullopt;
  const milliseconds byBootTime = seconds(*clocks.bootTime) + *after;
  const milliseconds byNow = clocks.wall - clocks.sinceBoot + *after;
  if (std::chrono::abs(byBootTime - byNow) > kDisagreement) return std::nullopt;
  return std::min(byBootTime, byNow);
}

Verdict fateOf(const reader::Process& process) {
  if (process.id < 1) return unknown(Doubt::otherNamespace);
  if (!process.exists) return unknown(Doubt::unreadable);
  if (!*process.exists || process.ended.value_or(false)) return {Fate::dead};
  return {Fate::alive};
}

std::optional<bool> serves(const reader::Process& process, const reader::Segment& segment) {
  const Fate fate = fateOf(process).fate;
  if (fate == Fate::dead) return false;
  if (fate != Fate::alive || !process.segments) return {};
  return process.hasAttached(segment.mapped());
}

Sighting sightingOf(const reader::Semaphore& semaphore, const Machine& machine) {
  Sighting sighting{.semaphore = semaphore, .process = {}, .clocks = machine.clocks};
  if (const auto* process = machine.find(semaphore.lastProcess)) sighting.process = *process;
  sighting.process.id = semaphore.lastProcess;
  return sighting;
}

Verdict lastUser(const Sighting* before, const Sighting& now,
                 const std::optional<reader::MappedSegment>& segment) {
  if (now.semaphore.presence != reader::Presence::there) return unknown(Doubt::unreadable);
  if (now.semaphore.lastProcess < 1) return fateOfMaker(before, now);
  const Verdict present = fateOf(now.process);
  if (present.fate != Fate::alive) return present;
  if (!now.process.startTicks || !believable(now.clocks)) return unknown(Doubt::unreadable);
  const auto start = startOf(now.process, now.clocks);
  if (!start) return unknown(Doubt::clocksDisagree);
  const milliseconds used = at(now.semaphore.lastUsed());
  if (*start - used <= kAfterUse) return {Fate::alive};
  if (!now.process.segments || !segment) return unknown(Doubt::unreadable);
  if (now.process.hasAttached(*segment)) return unknown(Doubt::attached);
  if (before == nullptr) return unknown(Doubt::oneLook);
  if (clockStepped(before->clocks, now.clocks)) return unknown(Doubt::clockStepped);
  return {Fate::numberUsedAgain};
}

}  // namespace model
