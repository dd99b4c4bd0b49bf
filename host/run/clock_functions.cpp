// SPDX-License-Identifier: Apache-2.0
// The two functions of the system by which a plug-in reads the calendar clock. A symbol of the
// program itself is found before those of the libraries behind it, so plug-ins bind to these.
#pragma GCC visibility push(default)
#include <sys/time.h>

#include <ctime>
#pragma GCC visibility pop

#include <chrono>

#include "host/run/clock.h"

extern "C" {

__attribute__((visibility("default"))) int gettimeofday(timeval* now, void*) noexcept {
  using namespace std::chrono;
  const auto since = duration_cast<microseconds>(host::wallClock().time_since_epoch());
  const auto whole = duration_cast<seconds>(since);
  now->tv_sec = whole.count();
  now->tv_usec = (since - whole).count();
  return 0;
}

__attribute__((visibility("default"))) time_t time(time_t* at) noexcept {
  using namespace std::chrono;
  const time_t now = duration_cast<seconds>(host::wallClock().time_since_epoch()).count();
  if (at != nullptr) *at = now;
  return now;
}

}  // extern "C"
