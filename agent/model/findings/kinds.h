// SPDX-License-Identifier: Apache-2.0
// What the functions that look for one kind of finding share.
#ifndef ZEB_AGENT_MODEL_FINDINGS_KINDS_H
#define ZEB_AGENT_MODEL_FINDINGS_KINDS_H

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

#include "agent/model/findings.h"
#include "agent/model/guarded.h"
#include "agent/model/liveness.h"

namespace model::findings {

// One look, or two of the same machine. It refers to the snapshots, which must live longer.
class Looks {
 public:
  // `now` has its machine's facts; `before` may be null, or lack them.
  Looks(const Snapshot* before, const Snapshot& now);

  const Snapshot& now;
  const Machine& machine;  // that of now
  const Guards guards;

  bool two() const { return before_ != nullptr; }

  // The machine at the look before; null when there is none.
  const Machine* machineBefore() const { return before_; }

  // The same lock at the look before, by its key file; null when it was not there.
  const reader::Lock* before(const reader::Lock& lock) const;

  // The same broker at the look before, by its key file; null when it was not there.
  const SeenBroker* before(const SeenBroker& broker) const;

  // What became of the process that used a lock last, and of any process by its number.
  Verdict lastUserOf(const reader::Lock& lock) const;
  Verdict fateOf(std::int32_t process) const;

 private:
  const Snapshot* snapshotBefore_;
  const Machine* before_;
};

// Each adds what it finds, in no certain order, and what it could not look at.
void addLocks(const Looks& looks, Findings& findings);
void addProcesses(const Looks& looks, Findings& findings);
void addLeftovers(const Looks& looks, Findings& findings);
void addKeyFiles(const Looks& looks, Findings& findings);
void addSettings(const Looks& looks, Findings& findings);
void addLimits(const Looks& looks, Findings& findings);
void addSurroundings(const Looks& looks, Findings& findings);
void addRecords(const Looks& looks, Findings& findings);
void addAreas(const Looks& looks, Findings& findings);
void addInstallation(const Looks& looks, Findings& findings);

// A finding of no broker, without severity and texts.
Finding of(const char* id, std::string of, std::string object);

// A finding about something in a broker's segment, without severity and texts.
Finding of(const std::shared_ptr<const SeenBroker>& broker, const char* id, std::string object);

// Somebody has it, or is just making it.
bool isHeld(const reader::Semaphore& semaphore);

// The label of the broker's group with that process; empty when none has it.
std::string groupOf(std::int32_t process, const SeenBroker& broker);

// There is a semaphore or a queue behind the key file.
bool hasObjects(const reader::Lock& lock);

// Whether its last users may all be gone, which a second look tells for sure.
bool mayBeLeftOver(const reader::Lock& lock, const Looks& looks);

// Whether somebody may be trying to store what can't fit, which a second look tells.
bool mayBeTooLarge(const SeenBroker& broker, const Looks& looks);

// Whether processes may use a lock whose key file is gone, which a second look tells for sure.
bool mayBeReplaced(const Looks& looks);

// Seconds since then by the wall clock, never below 0, whatever the clocks say; and as "4 min".
std::int64_t secondsSince(reader::KernelTime then, const reader::Clocks& now);
std::string age(reader::KernelTime then, const reader::Clocks& now);

// A shell's command that keeps systemd-tmpfiles from removing key files. `directory` ends in "/".
std::string keepKeyFiles(const std::string& directory);

// The line of the configuration that makes areas of so many bytes, or of the most that there can
// be; and what to do with it.
std::string sizeLine(std::uint64_t bytes);
std::string writeSizeLine();

// "1 process", "3 processes".
std::string counted(std::uint64_t number, std::string_view one, std::string_view many);

// "broker BRK1", or its uuid while the label is not known.
std::string nameOf(const SeenBroker& broker);

// "the statistics of orders/Fulfil/Reserve", "the events area of BRK1".
std::string nameOf(const Guarded& guarded);

// A word for a shell: in single quotes, unless it needs none.
std::string quoted(const std::string& word);

}  // namespace model::findings

#endif  // ZEB_AGENT_MODEL_FINDINGS_KINDS_H
