// SPDX-License-Identifier: Apache-2.0
#include "tests/processes/doomed.h"

#include <unistd.h>

#include <atomic>
#include <csignal>
#include <ctime>
#include <stdexcept>

#include "tests/support/seam.h"

namespace {

namespace seam = support::seam;

std::atomic<long> callsLeft = 0;  // 0 in a process that is not doomed
std::atomic<bool> deathIsAfter = false;
std::atomic<bool> nextLockKills = false;

[[noreturn]] void die() {
  kill(getpid(), SIGKILL);
  for (;;) pause();
}

bool counts(seam::Function function) {
  switch (function) {
    case seam::kOpen:
    case seam::kFlock:
    case seam::kUnlink:
    case seam::kMsgget:
    case seam::kMsgsnd:
    case seam::kMsgrcv:
    case seam::kMsgctl:
    case seam::kSemget:
    case seam::kSemop:
    case seam::kSemctl:
    case seam::kShmget:
    case seam::kShmat:
    case seam::kShmdt:
    case seam::kShmctl:
    case seam::kGettimeofday:
      return true;
    default:
      return false;
  }
}

class Doom : public seam::Seam {
 public:
  std::optional<int> answer(const seam::Call& call) override {
    last_ = counts(call.function) && callsLeft > 0 && --callsLeft == 0;
    if (last_ && !deathIsAfter) die();
    return std::nullopt;
  }

  void answered(const seam::Call& call, int result) override {
    if (last_) die();
    if (nextLockKills && call.function == seam::kSemop && result == 0 &&
        call.operations->sem_op < 0)
      die();
  }

 private:
  inline static thread_local bool last_ = false;  // the call of this thread is the last one
};

Doom theDoom;
[[maybe_unused]] seam::Seam* const kBefore = seam::use(&theDoom);

}  // namespace

namespace support {

void dieAtCall(long nth, bool after) {
  deathIsAfter = after;
  callsLeft = nth;
}

void dieHoldingTheNextLock() {
  nextLockKills = true;
}

void dieAfter(long microseconds) {
  sigevent event{};
  event.sigev_notify = SIGEV_SIGNAL;
  event.sigev_signo = SIGKILL;
  timer_t timer;
  const itimerspec moment{{0, 0}, {microseconds / 1000000, microseconds % 1000000 * 1000 + 1}};
  if (timer_create(CLOCK_MONOTONIC, &event, &timer) != 0 ||
      timer_settime(timer, 0, &moment, nullptr) != 0)
    throw std::runtime_error("no timer");
}

}  // namespace support
