// SPDX-License-Identifier: Apache-2.0
// What an alerting system asks of a snapshot: is it as it should be?
#ifndef ZEB_AGENT_MODEL_CHECK_H
#define ZEB_AGENT_MODEL_CHECK_H

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "agent/model/lock_view.h"
#include "agent/model/selection.h"
#include "agent/model/snapshot.h"

namespace model {

// The numbers are the exit codes of a check.
enum class Level { ok = 0, warning = 1, critical = 2, unknown = 3 };

// Of two levels the one to tell: critical, then warning, then unknown.
Level worse(Level one, Level other);

// One question with its limits. A value that reaches a limit is over it.
struct Check {
  enum class Kind {
    groupsUp,    // processes of execution groups that are gone or stopped
    locks,       // locks that a dead process holds
    area,        // % of the statistics area; the other areas begin again when they are full
    silent,      // seconds since a node's last message
    queued,      // mean seconds that messages waited, a flow's worst input node
    failed,      // % of the messages of a flow's input nodes that ended in an exception
    exceptions,  // a period, each message once
  };

  Kind kind = Kind::groupsUp;
  std::string node;               // of silent: a pattern
  std::optional<double> warning;  // reached before the critical one
  double critical = 1;            // in the unit of the kind
  double period = 60;             // of exceptions: seconds
};

// How a check is written.
struct CheckForm {
  std::string_view name;
  Check::Kind kind;
  std::string_view example;
  std::string_view meaning;  // what it asks, and its limits where it takes them

  bool takesLimit() const { return example.size() > name.size(); }
};

// One of each kind, in their order.
std::span<const CheckForm> checkForms();

struct CheckText {
  Check check;          // only to be used without a problem
  std::string problem;  // one sentence without its full stop; it quotes the text
};

// "groups-up", "locks", "area=90%", "silent=NODE:60s", "queued=2s", "failed=5%" or
// "exceptions=1/min" (also /s, /h). Two limits, "area=80%,90%", are warning and critical.
CheckText parseCheck(std::string_view text);

// Why a value is not known, or what it is.
enum class Why {
  none,
  noBroker,      // nothing of that name has shared memory
  notRunning,    // a key file without shared memory
  unreadable,    // it, or a number of it, can't be read
  noProcess,     // no process is noted, or it can't be looked at
  stopped,       // the process is there, and does nothing
  noNode,        // no node of that name
  neverCounted,  // no message since the reset, or ever
  noEvents,      // the input nodes post none, so failures can't be seen
  needsState,    // only the growth since an earlier run tells
  firstRun,      // there was none
  reset,         // since the earlier run
  stateLost,     // the next run won't know of this one
  missed,        // events were overwritten: the value is at least so much, so it is never ok
  shortRing,     // the same: it is scaled up from the time that the events in memory are of
};

struct Reading {
  Check check;
  Level level = Level::ok;
  std::string object;           // what it is of, as it was stored
  std::optional<double> value;  // in the unit of the check; nothing: not known
  Why why = Why::none;
  std::vector<std::string> around = {};  // what holds the object, the broker first; as stored
};

// What a check is made from. All must live as long.
struct CheckInput {
  const Snapshot& now;                 // what was selected, with events and the machine's facts
  const Snapshot* before;              // of an earlier run, restored; null when there is none
  bool keepsState;                     // a state was asked for, though there may be none yet
  const std::vector<LockView>& locks;  // of what was selected
  Selection selection = {};            // by which that was
};

// At least one reading a check.
std::vector<Reading> readingsOf(const std::vector<Check>& checks, const CheckInput& input);

}  // namespace model

#endif  // ZEB_AGENT_MODEL_CHECK_H
