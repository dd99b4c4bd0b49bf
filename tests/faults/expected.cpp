// SPDX-License-Identifier: Apache-2.0
#include "tests/faults/expected.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>
#include <utility>
#include <vector>

#include "tests/faults/life_cycle.h"

namespace faults {
namespace {

using Use = std::pair<Function, std::string>;

// What stays behind for good, all of it harmless to those who come later, and why:
//
//   failure                   left behind                    because
//   unlink of a lock's file   the key file                   it is only traced
//   unlink of the segment's   the key file                   the segment itself is gone
//   msgget, semget            the lock's key file            made before; the lock never was one
//   msgsnd                    queue, semaphore, key file     no message of this user to take out:
//                                                            the last one can't tell that he is
//   msgrcv                    queue, semaphore, key file     the count stays one too high
//   msgctl IPC_STAT           the queue                      the lock goes, the count is unknown
//   msgctl IPC_RMID           the queue                      it could not be removed
//   semctl IPC_RMID           semaphore and key file         likewise
//   shmdt                     the segment and its key file   attached as long as the process lives
//   shmctl IPC_STAT at the    the segment and its key file   who is attached is unknown
//     end
//   shmctl IPC_RMID           the segment                    it could not be removed
//   remove                    the file of the probe          it is only traced
//
// A semop that fails to release a lock, and a semctl that fails to set a new one free, leave it
// held: everybody who comes waits. The runs go on because the test frees it then.
const std::map<Use, Expected>& table() {
  constexpr unsigned kWholeLock = kQueue | kSemaphore | kLockFile;
  constexpr unsigned kWholeSegment = kSegment | kSegmentFile;
  static const std::map<Use, Expected> expected = {
      {{kNew, ""}, {.unmeasured = true, .later = {"allocation", "line", "open", "shmget"}}},
      {{kMalloc, ""}, {.unmeasured = true, .elsewhere = true, .later = {"shmget"}}},
      {{kMalloc, "calloc"}, {.message = "allocation", .unmeasured = true}},
      {{kFtok, "lock"}, {}},
      {{kFtok, "lock again"}, {}},
      {{kFtok, "segment"}, {}},
      {{kFtok, "segment again"}, {.message = "ftok", .unmeasured = true}},
      {{kOpen, "make"}, {.message = "open", .unmeasured = true, .later = {"ftok", "line"}}},
      {{kOpen, "look"}, {}},
      {{kClose, "make"}, {.message = "close"}},
      {{kClose, "look"}, {}},
      {{kUnlink, "lock"}, {.leaves = kLockFile}},
      {{kUnlink, "segment"}, {.message = "unlink", .leaves = kSegmentFile}},
      {{kMsgget, ""},
       {.message = "msgget", .leaves = kLockFile, .unmeasured = true, .later = {"line"}}},
      {{kMsgsnd, ""}, {.message = "msgsnd", .leaves = kWholeLock, .later = {"msgrcv", "semop"}}},
      {{kMsgrcv, ""}, {.message = "msgrcv", .leaves = kWholeLock}},
      {{kMsgctl, "IPC_STAT"},
       {.message = "msgctl IPC_STAT", .leaves = kQueue, .later = {"semop", "semctl IPC_RMID"}}},
      {{kMsgctl, "IPC_RMID"}, {.message = "msgctl IPC_RMID", .leaves = kQueue}},
      {{kSemget, "make"},
       {.message = "semget", .leaves = kLockFile, .unmeasured = true, .later = {"line"}}},
      {{kSemget, "join"}, {.message = "semget", .unmeasured = true}},
      {{kSemop, "get"}, {.message = "semop"}},
      {{kSemop, "release"}, {.message = "semop", .holds = true}},
      {{kSemctl, "SETVAL"}, {.message = "semctl", .holds = true}},
      {{kSemctl, "IPC_RMID"}, {.message = "semctl IPC_RMID", .leaves = kSemaphore | kLockFile}},
      {{kShmget, "make"}, {.unmeasured = true}},  // only traced
      {{kShmget, "join"}, {.message = "shmget", .unmeasured = true}},
      {{kShmat, ""}, {.message = "zeb_attach", .unmeasured = true}},
      {{kShmdt, ""}, {.message = "zeb_dettach", .leaves = kWholeSegment}},
      {{kShmctl, "IPC_STAT at the start"}, {}},
      {{kShmctl, "IPC_STAT at the end"}, {.message = "shmctl IPC_STAT", .leaves = kWholeSegment}},
      {{kShmctl, "IPC_RMID"}, {.message = "shmgctl IPC_RMID", .leaves = kSegment}},
      // Without settings and without the broker's identifier, the segment has another size or is
      // another one than that of the other process.
      {{kOpendir, ""}, {.unmeasured = true, .elsewhere = true}},
      {{kFopen, ""}, {.unmeasured = true, .elsewhere = true, .later = {"shmget"}}},
      {{kSystem, ""}, {.unmeasured = true, .later = {"shmget"}}},
      {{kRemove, ""}, {.leaves = kProbeFile}},
      // A record made without a clock is older than all others, and is not found again.
      {{kGettimeofday, ""}, {.unmeasured = true}},
      {{kFlock, "lock"}, {}},
      {{kFlock, "unlock"}, {}},
      {{kFstat, ""}, {}},
      {{kStat, ""}, {}},
  };
  return expected;
}

// Who tells of a failed allocation, and how often a life cycle comes by at least.
const std::map<std::string, int>& allocationsOf(Function function) {
  static const std::map<std::string, int> none;
  static const std::map<std::string, int> byMalloc = {
      {"ZEB_Node_Context::getResourceNames", 4 * kContexts}};
  static const std::map<std::string, int> byNew = {
      {"getCommonValues", 3 * kContexts},
      {"zebCreateNodeContext", kContexts},
      {"ZEB_Node_Context::getResourceNames", 10 * kContexts},
      {"ZEB_Node_Context::ZEB_Node_Context", kContexts},
      {"ZEB_Node_Context::insertAttribute", kAttributesSet},
      {"ZEB_Monitoring_Node::init", kContexts},
      {"ZEB_Monitoring_Node::initEventMessage", 1},
      {"ZEB_Broker::createStatisticsArea", kContexts},
      {"ZEB_Events_Area::init", 2},
      {"ZEB_Broker::insertExecutionGroup2", kContexts},
      {"ZEB_Execution_Group::insertMessageFlow2", kContexts},
      {"ZEB_Message_Flow::insertNode2", kContexts},
      {"ZEB_Node::init", kContexts},
      {"ZEB_ORVA_Resource::setInformationRecord", kContexts},
      {"ZEB_Record::getStringRecordId", kContexts},
      {"ZEB_Record::initializeMutex", kContexts},
      {"ZEB_Shared_Area::init", kContexts + 2},
      {"ZEB_Shared_Area::read", kContexts},
      {"ZEB_Shared_Memory::ZEB_Shared_Memory", kContexts},
      {"ZEB_Shared_Memory::init", kContexts}};
  return function == kNew ? byNew : function == kMalloc ? byMalloc : none;
}

// The library goes on as if nothing had happened: it waits again, or joins what another process
// has just made.
bool isHarmless(const Run& seen) {
  if (seen.fault.function == kSemop) return seen.fault.error == EINTR;
  return std::strcmp(seen.variant, "make") == 0 && seen.fault.error == EEXIST &&
         (seen.fault.function == kSemget || seen.fault.function == kShmget);
}

Expected expectedOf(const Run& seen) {
  if (!seen.met || isHarmless(seen)) return {};
  return table().at({seen.fault.function, seen.variant});
}

std::vector<Logged> logOf(const Run& seen) {
  return {seen.log, seen.log + std::min<std::size_t>(static_cast<std::size_t>(seen.logged),
                                                     std::size(seen.log))};
}

// The name that Expected has for it.
std::string nameOf(const Logged& entry) {
  if (entry.number == 1) return "allocation";
  return entry.number == 2 ? entry.callee.data() : "line";
}

bool tellsOf(const Logged& entry, const Run& seen, const Expected& expected) {
  if (nameOf(entry) != expected.message) return false;
  const int error = seen.fault.error;
  return entry.number == 1 ||
         entry.text.data() == "Error " + std::to_string(error) + ". " + std::strerror(error);
}

void judgeMessages(const Run& seen, const Expected& expected, std::string& wrong) {
  bool told = expected.message == nullptr;
  for (const Logged& entry : logOf(seen)) {
    if (!told && tellsOf(entry, seen, expected)) {
      told = true;
    } else if (!expected.later.contains(nameOf(entry))) {
      wrong += "unexpected: " + nameOf(entry) + " in " + entry.function.data() + ": " +
               entry.text.data() + "\n";
    }
    if (entry.number == 0 && !std::string(entry.text.data()).ends_with(" building Mutex")) {
      wrong += std::string("a line that should not be: ") + entry.text.data() + "\n";
    }
    if (entry.number == 1 && !allocationsOf(seen.fault.function).contains(entry.function.data())) {
      wrong += std::string("an allocation error of ") + entry.function.data() + "\n";
    }
  }
  if (!told) wrong += std::string("no message of ") + expected.message + "\n";
}

bool isMeasured(const Run& seen) {
  return seen.counted == kCounted && seen.events == kEvents;
}

void judgeNumbers(const Run& seen, const Expected& expected, std::string& wrong) {
  if (isMeasured(seen)) return;
  if (expected.unmeasured && seen.counted <= kMessages && seen.events <= kEvents) return;
  wrong += "counted " + std::to_string(seen.counted) + " messages and " +
           std::to_string(seen.events) + " events\n";
}

void judgeSegment(const Run& seen, const Expected& expected, std::string& wrong) {
  if (seen.elsewhere && !expected.elsewhere) wrong += "measured in another segment\n";
}

bool hasLogged(const Run& seen, const char* what) {
  for (const Logged& entry : logOf(seen)) {
    if (nameOf(entry) == what) return true;
  }
  return false;
}

// What the host did not get it was told of.
void judgeRefusals(const Run& seen, std::string& wrong) {
  for (const Logged& entry : logOf(seen)) {
    if (std::strcmp(entry.function.data(), "zebCreateNodeContext") == 0 && entry.number == 1 &&
        seen.contextsRefused != 1) {
      wrong += "a context in spite of its message\n";
    }
  }
  if (seen.contextsRefused > 0 && !hasLogged(seen, "allocation")) wrong += "no context\n";
}

}  // namespace

std::string wrongWith(const Outcome& outcome) {
  const Run& seen = outcome.run;
  if (!outcome.ending.empty()) return outcome.ending + "\n";
  const Expected expected = expectedOf(seen);
  std::string wrong;
  const int kept = static_cast<int>(std::size(seen.complaint));
  for (int i = 0; i < std::min(seen.complaints, kept); ++i) {
    wrong += std::string(seen.complaint[i]) + "\n";
  }
  judgeMessages(seen, expected, wrong);
  judgeNumbers(seen, expected, wrong);
  judgeSegment(seen, expected, wrong);
  judgeRefusals(seen, wrong);
  if (seen.freed > 0 && !expected.holds) wrong += "a lock stayed held\n";
  if ((outcome.left & ~expected.leaves) != 0 || !outcome.leftTwice.empty()) {
    wrong += "left behind: kinds " + std::to_string(outcome.left) + " " + outcome.leftTwice + "\n";
  }
  return wrong;
}

void Tally::add(const Outcome& outcome) {
  const Run& last = outcome.run;
  if (!last.met || isHarmless(last)) return;
  Expected& seen = seen_[last.variant];
  seen.leaves |= outcome.left;
  seen.holds = seen.holds || last.freed > 0;
  seen.unmeasured = seen.unmeasured || !isMeasured(last);
  seen.elsewhere = seen.elsewhere || last.elsewhere;
  std::set<std::string> allocating;
  for (const Logged& entry : logOf(last)) {
    seen.later.insert(nameOf(entry));
    if (entry.number == 1) allocating.insert(entry.function.data());
  }
  for (const std::string& function : allocating) ++allocations_[function];
}

std::string Tally::missing(Function function) const {
  std::string missing;
  for (const auto& [use, expected] : table()) {
    if (use.first != function) continue;
    const auto found = seen_.find(use.second);
    const Expected seen = found == seen_.end() ? Expected{} : found->second;
    const std::string name = std::string(support::seam::nameOf(function)) + " " + use.second;
    if (found == seen_.end()) missing += name + " was never met\n";
    if ((expected.leaves & ~seen.leaves) != 0) missing += name + " left less\n";
    if (expected.holds && !seen.holds) missing += name + " held no lock\n";
    if (expected.unmeasured && !seen.unmeasured) missing += name + " did no harm to the numbers\n";
    if (expected.elsewhere && !seen.elsewhere) missing += name + " led to no other segment\n";
    for (const std::string& later : expected.later) {
      if (!seen.later.contains(later)) missing += name + " led to no message of " + later + "\n";
    }
  }
  for (const auto& [who, least] : allocationsOf(function)) {
    const auto found = allocations_.find(who);
    const int times = found == allocations_.end() ? 0 : found->second;
    if (times >= least) continue;
    missing += std::to_string(times) + " allocation errors of " + who + ", at least " +
               std::to_string(least) + " expected\n";
  }
  return missing;
}

}  // namespace faults
