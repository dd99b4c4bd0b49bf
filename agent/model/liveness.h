// SPDX-License-Identifier: Apache-2.0
// Whether the last user of a lock can ever give it back.
#ifndef ZEB_AGENT_MODEL_LIVENESS_H
#define ZEB_AGENT_MODEL_LIVENESS_H

#include <optional>

#include "agent/model/machine.h"
#include "agent/reader/locks.h"
#include "agent/reader/processes.h"
#include "agent/reader/segment.h"

namespace model {

// What became of a process that a lock names.
enum class Fate {
  alive,
  dead,             // no process has its number, or all of its threads have ended
  numberUsedAgain,  // it has ended, and another process has its number now
  diedMaking,       // somebody made the lock, and ended before it was free for the first time
  unknown,          // nothing of this can be told for sure
};

// Why nothing can be told.
enum class Doubt {
  none,
  unreadable,      // the kernel doesn't tell all of it to this user
  otherNamespace,  // it has no number here: it may run where it can't be seen from here
  clocksDisagree,  // the kernel gives two different times for its own start
  clockStepped,    // somebody set the clock between the two looks
  oneLook,         // the number may be used again, which takes a second look to tell
  attached,        // it started later, and has the broker's segment attached
  tooSoon,         // the lock is so new that its maker may be about to set it free
};

struct Verdict {
  Fate fate = Fate::unknown;
  Doubt doubt = Doubt::none;  // set when the fate is unknown

  // It will never give the lock back.
  bool gone() const {
    return fate == Fate::dead || fate == Fate::numberUsedAgain || fate == Fate::diedMaking;
  }
  bool operator==(const Verdict&) const = default;
};

// Whether a process is there at all, no matter who had its number before: alive, dead or unknown.
Verdict fateOf(const reader::Process& process);

// Whether a process lives and has the segment attached: whether it still works for that broker.
// Nothing when that can't be told.
std::optional<bool> serves(const reader::Process& process, const reader::Segment& segment);

// What one look tells of a lock's last user.
struct Sighting {
  reader::Semaphore semaphore;
  reader::Process process;  // the one that the semaphore names
  reader::Clocks clocks;    // of the same moment
};

// As the machine was seen.
Sighting sightingOf(const reader::Semaphore& semaphore, const Machine& machine);

// What became of the process that used the lock last, by the later of two looks. `before` is a look
// at least a second ago, or null. `segment` is the one of the lock's broker, if it is known.
//
// A number counts as used again only if its process started more than 2 s after the lock was used,
// by two clocks that agree, if the wall clock made no step between the looks, and if that process
// hasn't attached the segment. A lock that nobody used yet counts as left behind after 5 s.
Verdict lastUser(const Sighting* before, const Sighting& now,
                 const std::optional<reader::MappedSegment>& segment);

// Whether the clock was set between two moments, by more than half a second, or may have been.
bool clockStepped(const reader::Clocks& before, const reader::Clocks& now);

// When a process started, in milliseconds since 1970, by both of the kernel's clocks; nothing when
// it can't be told, or when they differ by more than 1.5 s.
std::optional<std::chrono::milliseconds> startOf(const reader::Process& process,
                                                 const reader::Clocks& clocks);

}  // namespace model

#endif  // ZEB_AGENT_MODEL_LIVENESS_H
