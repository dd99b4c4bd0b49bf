// SPDX-License-Identifier: Apache-2.0
// What is wrong with the brokers of a machine, and what to do about it.
#ifndef ZEB_AGENT_MODEL_FINDINGS_H
#define ZEB_AGENT_MODEL_FINDINGS_H

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "agent/model/selection.h"
#include "agent/model/snapshot.h"
#include "agent/model/standstill.h"

namespace model {

enum class Severity {
  warning,   // it will hurt later, or hurts little
  critical,  // messages wait, or are not measured, now
};

// One thing that is wrong. Texts are sentences without their last full stop. They quote names as
// they were stored, so they are made printable where they are shown. Its broker is null for what is
// of no broker, or of none that is known.
struct Finding : Part {
  std::string id;  // of its kind: "lock.stuck"
  std::string of;  // what makes it one of its kind, mostly a path; see key()
  Severity severity = Severity::warning;
  std::string object;    // what it is about: "lock of the statistics of orders/Fulfil/Reserve"
  std::string evidence;  // what was seen
  std::string effect;    // what comes of it: "messages of Fulfil stop at Reserve"
  std::string remedy;    // what to do
  std::string command;   // to be typed as it is, for a shell; empty when there is none

  // Whose it is; nothing when it concerns everybody.
  std::optional<std::uint32_t> owner = {};

  // Of a lock that somebody keeps: where messages stop or would stop, and the processes that are
  // known to wait for it.
  std::vector<Place> stops = {};
  std::vector<std::int32_t> waiting = {};

  // "lock.stuck:/tmp/NAME.zebmutx": the same for the same thing at each look.
  std::string key() const { return of.empty() ? id : id + ":" + of; }

  void concern(const Part& part) { static_cast<Part&>(*this) = part; }

  // Whether `wanted` is its key or its kind; a kind's beginning up to a dot counts too: "lock".
  bool is(const std::string& wanted) const;

  // Whether it is one of these; also when none is named.
  bool isOneOf(const std::vector<std::string>& wanted) const;
};

// What could not be looked at.
struct Unchecked {
  std::string kind;  // of findings, or how such kinds begin up to a dot: "lock"; empty: of all
  std::string why;   // a sentence, without its last full stop

  // Whether it may hide a finding that is(wanted).
  bool mayHide(const std::string& wanted) const;
};

struct Findings {
  std::vector<Finding> found;  // worst first, then by kind and object
  std::vector<Unchecked> notChecked;

  // How often each kind, as Unchecked has it, was not looked at. Some have no sentence.
  std::map<std::string, std::size_t> unchecked = {};

  void leaveUnchecked(const std::string& kind, std::string why) {
    ++unchecked[kind];
    notChecked.push_back({kind, std::move(why)});
  }

  std::size_t locks = 0;  // that were looked at
};

// The kinds that findingsOf() knows.
const std::vector<std::string>& findingKinds();

// All that is wrong at the moment of `now`. `before` is a look of the same machine at least a
// second earlier, or null: then what takes two looks is not said. Both need their machine's facts.
Findings findingsOf(const Snapshot* before, const Snapshot& now);

// Of these only locks that somebody keeps: lock.stuck, lock.held-long, lock.unknown-holder.
Findings keptLocksOf(const Snapshot* before, const Snapshot& now);

// Whether a second look may tell more than this one does.
bool needsSecondLook(const Snapshot& snapshot);

// Those of these keys or kinds, as Finding::is takes them; all when none is named.
Findings keepOnly(Findings findings, const std::vector<std::string>& wanted);

// Those of the selected places. When the selection names none, those of the machine too, except
// what is of another user than the selected ones.
Findings select(Findings findings, const Snapshot& selected, const Selection& selection);

}  // namespace model

#endif  // ZEB_AGENT_MODEL_FINDINGS_H
