// SPDX-License-Identifier: Apache-2.0
// Time stamps and the timer that measures how long something took, to the millisecond.
#ifndef ZEB_BASE_TIMER_H
#define ZEB_BASE_TIMER_H

#include <cstdint>

// A point in time or a duration. As a point: seconds since 1970-01-01 00:00:00 UTC, truncated to
// 32 bits. Stored in shared memory as it stands, 8 bytes.
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

  void init();  // zeroes both stamps
  int start();  // returns the status, 0
  int stop();   // returns the status, 0

  // From start to stop; zero when the clock stepped back between them.
  _TimeStamp elapsedTime() const;

  // The point in time that is now. Milliseconds are cut, not rounded.
  static _TimeStamp nowTime();
  static _TimeStamp elapsedTime(_TimeStamp from);  // to now
  // Zero when `to` is before `from`: a clock that steps back never makes a wrapped duration.
  static _TimeStamp elapsedTime(_TimeStamp from, _TimeStamp to);

 private:
  int status_ = 0;
  _TimeStamp start_;
  _TimeStamp stop_;
};

#endif  // ZEB_BASE_TIMER_H
