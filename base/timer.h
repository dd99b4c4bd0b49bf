// SPDX-License-Identifier: Apache-2.0
// Time stamps and the timer that measures how long something took, to the millisecond.
#ifndef ZEB_BASE_TIMER_H
#define ZEB_BASE_TIMER_H

#include <cstdint>

// A point in time or a duration. As a point: seconds since 1970-01-01 00:00:00 UTC, truncated to 32
// bits, in UTC. Milliseconds are 0 to 999, unless somebody stored others. Stored in shared memory
// as it is, 8 bytes.
struct _TimeStamp {  // NOLINT(bugprone-reserved-identifier): the name that the format gives it
  std::uint32_t seconds = 0;
  std::uint32_t milliseconds = 0;

  bool operator==(const _TimeStamp&) const = default;
};
static_assert(sizeof(_TimeStamp) == 8);

// A value of one thread. Its clock is the calendar's, gettimeofday, so it may step.
class ZEB_Timer {
 public:
  ZEB_Timer();  // both stamps are zero

  // Zeroes both stamps.
  void init();
  // Take the time. `start` zeroes the other stamp first. Both return the status, which is always 0.
  int start();
  int stop();

  // From start to stop, in whole milliseconds; zero when the clock stepped back between them, and
  // before `stop`.
  _TimeStamp elapsedTime() const;

  // The point in time that is now. Milliseconds are cut, not rounded.
  static _TimeStamp nowTime();
  // From then to now; zero when `from` is in the future.
  static _TimeStamp elapsedTime(_TimeStamp from);
  // Zero when `to` is before `from`: a clock that steps back never makes a wrapped duration.
  static _TimeStamp elapsedTime(_TimeStamp from, _TimeStamp to);

 private:
  int status_ = 0;
  _TimeStamp start_;
  _TimeStamp stop_;
};

#endif  // ZEB_BASE_TIMER_H
