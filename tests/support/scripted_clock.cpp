// SPDX-License-Identifier: Apache-2.0
#include "tests/support/scripted_clock.h"

#include <sys/time.h>

#include <atomic>
#include <ctime>

#include "tests/support/seam_ask.h"

using namespace support::seam;

namespace {

constexpr long long kMachine = -1;
std::atomic<long long> scriptedMilliseconds{kMachine};

long long nowMicroseconds() {
  const long long scripted = scriptedMilliseconds;
  if (scripted != kMachine) return scripted * 1000;
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  return now.tv_sec * 1000000LL + now.tv_nsec / 1000;
}

}  // namespace

namespace support {

void setClock(long long seconds, int milliseconds) {
  scriptedMilliseconds = seconds * 1000 + milliseconds;
}

void advanceClock(long long milliseconds) {
  scriptedMilliseconds += milliseconds;
}

}  // namespace support

extern "C" {

__attribute__((visibility("default"))) int gettimeofday(timeval* now, void*) noexcept {
  return through({.function = kGettimeofday}, [&] {
    const long long microseconds = nowMicroseconds();
    *now = {microseconds / 1000000, microseconds % 1000000};
    return 0;
  });
}

__attribute__((visibility("default"))) std::time_t time(std::time_t* now) noexcept {
  return through({.function = kTime}, [&]() -> std::time_t {
    const std::time_t seconds = nowMicroseconds() / 1000000;
    if (now != nullptr) *now = seconds;
    return seconds;
  });
}

}  // extern "C"
