// SPDX-License-Identifier: Apache-2.0
#include "host/run/clock.h"

#include <algorithm>
#include <atomic>

namespace host {
namespace {

using std::chrono::nanoseconds;

std::atomic<nanoseconds::rep> behind{0};

}  // namespace

void setClockBack(nanoseconds by) {
  const nanoseconds most = std::chrono::system_clock::now().time_since_epoch();
  const nanoseconds now(behind);
  behind = by > most - now ? most.count() : (now + by).count();
}

std::chrono::system_clock::time_point wallClock() {
  return std::chrono::system_clock::now() - nanoseconds(behind);
}

}  // namespace host
