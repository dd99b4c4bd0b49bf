// SPDX-License-Identifier: Apache-2.0
// The seam of a run: one call of the library fails, and the clock is the run's.
#include <fcntl.h>
#include <sys/file.h>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/shm.h>

#include <cerrno>
#include <cstdio>
#include <iterator>
#include <string_view>

#include "tests/faults/blocks.h"
#include "tests/faults/inside.h"
#include "tests/support/scripted_clock.h"
#include "tests/support/seam.h"

namespace faults {

bool insideLibrary = false;
bool deletingContext = false;

namespace {

namespace seam = support::seam;
using seam::Call;

constexpr char kSegmentKeyFile[] = ".zebcshme";

bool makes(const Call& call) {
  return (call.flags & (call.function == kOpen ? O_CREAT : IPC_EXCL)) != 0;
}

// The clock moves by a millisecond with each look, so that every run takes the same way.
void moveClock(const Call& call) {
  if (call.function == kGettimeofday) ++run->milliseconds;
  support::setClock(1767322800 + run->milliseconds / 1000,
                    static_cast<int>(run->milliseconds % 1000));
}

// A failure on the way to 1 leaves a lock at 0 with nobody inside, and the next thread would wait
// without end. The run tells it and frees the lock, as an operator of the machine would.
void freeHeldLock(const Call& call) {
  if (run->heldLock != call.id || call.operations->sem_op >= 0) return;
  const seam::Aside aside;
  sembuf attempt = *call.operations;
  attempt.sem_flg = IPC_NOWAIT;
  attempt.sem_op = 0;
  if (semop(call.id, &attempt, 1) != 0) return;  // it is not at 0
  ++run->freed;
  run->heldLock = 0;
  semctl(call.id, 0, SETVAL, 1);
}

// EEXIST is the truth: another process made the object a moment before, a semaphore free, and a
// segment into which it has not written yet.
void makeByAnother(const Call& call) {
  const seam::Aside aside;
  if (call.function == kShmget) {
    shmget(call.key, call.bytes, call.flags);
    return;
  }
  const int other = semget(call.key, call.count, call.flags);
  if (other >= 0) semctl(other, 0, SETVAL, 1);
}

// Every key file lies in the temporary directory, and every segment is that of the broker: made
// elsewhere, it would not be found, or belong to somebody else.
void judgeKeyFile(std::string_view path) {
  if (!path.starts_with("/tmp/")) complain("a key file at %s", path.data());
  if (path.ends_with(kSegmentKeyFile) && path != "/tmp/UUID1.zebcshme") run->elsewhere = true;
}

class FaultSeam : public seam::Seam {
 public:
  std::optional<int> answer(const Call& call) override {
    if (run == nullptr) return std::nullopt;
    if (call.function == kGettimeofday || call.function == kTime) moveClock(call);
    if (!insideLibrary) return std::nullopt;
    // Asked for each ftok: it remembers.
    const char* const use = call.function == kFtok ? ftokUse(call) : nullptr;
    if (isTheFault(call)) return failed(call, use == nullptr ? useOf(call) : use);
    if (call.function == kSemop) freeHeldLock(call);
    return std::nullopt;
  }

  void answered(const Call& call, int result) override {
    if (call.function != kOpen || !insideLibrary || result < 0) return;
    if (run != nullptr && makes(call)) judgeKeyFile(call.path);
    opened_ = makes(call) ? Opened::kMade : Opened::kLookedAt;
    if (static_cast<std::size_t>(result) < std::size(made_)) made_[result] = makes(call);
  }

  void allocated(const void* block) override {
    if (insideLibrary && block != nullptr) remember(block);
  }
  void freed(const void* block) override { forget(block); }
  void moved(const void* from, const void* to) override {
    if (forget(from) || from == nullptr) allocated(to);
  }

 private:
  static bool isTheFault(const Call& call) {
    return run->fault.function == call.function && ++run->calls == run->fault.nth;
  }

  static int failed(const Call& call, const char* use) {
    const int error = run->fault.error;
    run->met = true;
    std::snprintf(run->variant, sizeof run->variant, "%s", use);
    const bool releases = call.function == kSemop && call.operations->sem_op > 0;
    if ((releases && error != EINTR) || (call.function == kSemctl && call.command == SETVAL))
      run->heldLock = call.id;
    const bool object = call.function == kSemget || call.function == kShmget;
    if (object && makes(call) && error == EEXIST) makeByAnother(call);
    errno = error;
    // An error of 0 means a shell that could not be executed.
    return call.function == kSystem && error == 0 ? 127 << 8 : -1;
  }

  const char* ftokUse(const Call& call) {
    const bool again = opened_ == Opened::kMade;
    opened_ = Opened::kNothing;
    if (std::string_view(call.path).ends_with(kSegmentKeyFile))
      return again ? "segment again" : "segment";
    return again ? "lock again" : "lock";
  }

  const char* useOf(const Call& call) const {
    switch (call.function) {
      case kMalloc:
        return call.cleared ? "calloc" : "";
      case kOpen:
        return makes(call) ? "make" : "look";
      case kClose:
        return wasMade(call.id) ? "make" : "look";
      case kUnlink:
        return std::string_view(call.path).ends_with(kSegmentKeyFile) ? "segment" : "lock";
      case kSemget:
      case kShmget:
        return makes(call) ? "make" : "join";
      case kSemop:
        return call.operations->sem_op > 0 ? "release" : "get";
      case kMsgctl:
        return call.command == IPC_STAT ? "IPC_STAT" : "IPC_RMID";
      case kSemctl:
        return call.command == SETVAL ? "SETVAL" : "IPC_RMID";
      case kShmctl:
        if (call.command == IPC_RMID) return "IPC_RMID";
        return deletingContext ? "IPC_STAT at the end" : "IPC_STAT at the start";
      case kFlock:
        return (call.flags & LOCK_UN) != 0 ? "unlock" : "lock";
      default:
        return "";
    }
  }

  bool wasMade(int file) const {
    return file >= 0 && static_cast<std::size_t>(file) < std::size(made_) && made_[file];
  }

  // What the library opened last: a file that it made, for a key, or one that it only looks at.
  enum class Opened { kNothing, kMade, kLookedAt };
  Opened opened_ = Opened::kNothing;
  bool made_[1024] = {};  // by descriptor
};

FaultSeam theSeam;
[[maybe_unused]] seam::Seam* const kBefore = seam::use(&theSeam);

}  // namespace
}  // namespace faults
