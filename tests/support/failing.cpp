// SPDX-License-Identifier: Apache-2.0
#include "tests/support/failing.h"

#include <sys/file.h>
#include <sys/ipc.h>
#include <sys/sem.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <map>
#include <mutex>

#include "tests/support/seam.h"

namespace support {
namespace {

using namespace seam;

struct Failure {
  int error = 0;
  Which which;
};

std::string commandOf(int command) {
  if (command == IPC_STAT) return "IPC_STAT";
  if (command == IPC_RMID) return "IPC_RMID";
  return command == SETVAL ? "SETVAL" : "other";
}

// Which use of its function a call is; empty where nobody asks.
std::string useOf(const Call& call) {
  switch (call.function) {
    case kMsgctl:
    case kSemctl:
    case kShmctl:
      return commandOf(call.command);
    case kMsgget:
    case kSemget:
    case kShmget:
      return (call.flags & IPC_EXCL) == 0 ? "existing" : "new";
    case kFlock:
      return call.flags == LOCK_EX ? "LOCK_EX" : "other";
    default:
      return "";
  }
}

__attribute__((format(printf, 1, 2))) std::string text(const char* format, ...) {
  char written[128];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(written, sizeof written, format, arguments);
  va_end(arguments);
  return written;
}

// A call as `ipcCalls` tells it; empty for one that it leaves out.
std::string told(const Call& call) {
  const auto flags = static_cast<unsigned>(call.flags);
  switch (call.function) {
    case kMsgget:
      return text("msgget %o", flags);
    case kMsgsnd:
      return text("msgsnd %ld %zu %d %o", call.type, call.bytes, *call.body, flags);
    case kMsgrcv:
      return text("msgrcv %zu %ld %o", call.bytes, call.type, flags);
    case kMsgctl:
      return "msgctl " + commandOf(call.command);
    case kSemget:
      return text("semget %d %o", call.count, flags);
    case kSemctl:
      if (call.command == SETVAL) return text("semctl %d SETVAL %d", call.number, call.value);
      if (call.command == IPC_RMID) return text("semctl %d IPC_RMID", call.number);
      return "";
    case kSemop:
      return text("semop %d %d %o", call.operations->sem_num, call.operations->sem_op,
                  static_cast<unsigned>(call.operations->sem_flg));
    default:
      return "";
  }
}

// Written by one thread of a test, and read by all of them without allocating anything.
struct Memory {
  std::atomic<std::size_t> bytes = 0;
  std::atomic<int> after = 0;
  std::atomic<int> times = 0;
  std::atomic<bool> refused = false;

  bool fails(const Call& call) {
    if (call.mayThrow) return refused;
    return bytes != 0 && call.bytes == bytes && after-- <= 0 && times-- > 0;
  }
};

class Failing : public Seam {
 public:
  std::optional<int> answer(const Call& call) override {
    if (call.function == kMalloc) return std::nullopt;
    if (call.function == kNew) return memory.fails(call) ? std::optional(-1) : std::nullopt;
    const Aside aside;
    const int kept = errno;
    const std::lock_guard lock(guard_);
    if (std::string what = told(call); !what.empty()) calls_.push_back(what);
    std::optional<int> result = failed(nameOf(call.function), call);
    if (!result) result = failed(std::string(nameOf(call.function)) + " " + useOf(call), call);
    if (!result || *result == 0) errno = kept;
    return result;
  }

  void fail(const std::string& function, int errorNumber, const Which& which) {
    const std::lock_guard lock(guard_);
    failures_[function] = {errorNumber, which};
  }

  void forget() {
    const std::lock_guard lock(guard_);
    failures_.clear();
    memory.bytes = 0;
    memory.refused = false;
  }

  std::vector<std::string> calls() {
    const std::lock_guard lock(guard_);
    return std::exchange(calls_, {});
  }

  Memory memory;

 private:
  std::optional<int> failed(const std::string& use, const Call& call) {
    const auto found = failures_.find(use);
    if (found == failures_.end()) return std::nullopt;
    auto& [error, which] = found->second;
    if (call.path == nullptr || !std::string(call.path).ends_with(which.suffix))
      return std::nullopt;
    if (which.after-- > 0) return std::nullopt;
    which.after = 0;
    if (which.times == 0) return std::nullopt;
    --which.times;
    if (error == 0) return 0;
    errno = error;
    return -1;
  }

  std::mutex guard_;
  std::map<std::string, Failure> failures_;
  std::vector<std::string> calls_;
};

// Outlives the threads and what is destroyed at the end.
Failing& failing() {
  static auto* const the = new Failing;
  return *the;
}

[[maybe_unused]] Seam* const kBefore = use(&failing());

}  // namespace

void failCalls(const std::string& function, int errorNumber, const Which& which) {
  failing().fail(function, errorNumber, which);
}

void failNext(const std::string& function, int errorNumber, int times) {
  failing().fail(function, errorNumber, {.times = times});
}

void failAllocations(std::size_t bytes, int after, int times) {
  Memory& memory = failing().memory;
  memory.bytes = 0;
  memory.after = after;
  memory.times = times;
  memory.bytes = bytes;
}

void refuseMemory() {
  failing().memory.refused = true;
}

void succeedAgain() {
  failing().forget();
}

std::vector<std::string> ipcCalls() {
  return failing().calls();
}

}  // namespace support
