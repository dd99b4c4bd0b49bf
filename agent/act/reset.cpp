// SPDX-License-Identifier: Apache-2.0
#include "agent/act/reset.h"

#include <algorithm>

#include "agent/act/held_lock.h"
#include "agent/act/record_writer.h"
#include "format/names.h"

namespace act {
namespace {

using model::RecordReset;
using model::ResetResult;
using Outcome = model::ResetOutcome;
using Written = RecordWriter::Written;

Outcome outcomeOf(Written written) {
  switch (written) {
    case Written::yes:
      return Outcome::reset;
    case Written::moved:
      return Outcome::recordMoved;
    case Written::refused:
      return Outcome::noPermission;
    case Written::failed:
      break;
  }
  return Outcome::failed;
}

Outcome outcomeOf(Taken taken) {
  switch (taken) {
    case Taken::noLock:
      return Outcome::noLock;
    case Taken::timedOut:
      return Outcome::timedOut;
    case Taken::noPermission:
      return Outcome::noPermission;
    case Taken::changed:
      return Outcome::recordMoved;
    default:
      return Outcome::failed;
  }
}

// Under the lock of that name, whose holder or error is noted.
template <class Write>
RecordReset locked(const std::string& keyFile, std::chrono::milliseconds patience,
                   RecordWriter& writer, Write write) {
  RecordReset outcome;
  const HeldLock lock(keyFile, patience);
  outcome.error = lock.error();
  if (lock.taken() != Taken::yes) {
    outcome.outcome = outcomeOf(lock.taken());
    if (outcome.outcome == Outcome::timedOut) outcome.holder = lock.seen().semaphore.lastProcess;
    return outcome;
  }
  outcome.outcome = outcomeOf(write());
  outcome.error = writer.error();
  return outcome;
}

}  // namespace

ResetResult reset(const model::ResetPlan& plan, const std::string& directory, std::int64_t now,
                  std::chrono::milliseconds patience) {
  RecordWriter writer(*plan.broker);
  ResetResult result{.plan = plan, .nodes = {}, .resetTime = {}};
  for (const model::NodeToReset& node : plan.nodes) {
    RecordReset record = locked(directory + node.recordId.hex() + layout::kLockSuffix, patience,
                                writer, [&] { return writer.clear(node.recordId); });
    if (record.outcome == Outcome::noLock && node.atZero) record.outcome = Outcome::wasAtZero;
    result.nodes.push_back(record);
  }
  if (!plan.allNodes || !plan.broker->tree ||
      !std::ranges::all_of(result.nodes, &RecordReset::atZero)) {
    return result;
  }
  const auto calendar = static_cast<std::uint32_t>(now + std::int64_t{layout::kCalendarEpoch});
  result.resetTime = locked(
      directory + plan.broker->segment.uuid + layout::kStatisticsSuffix + layout::kLockSuffix,
      patience, writer, [&] { return writer.setResetTime(plan.broker->tree->recordId, calendar); });
  return result;
}

}  // namespace act
