// SPDX-License-Identifier: Apache-2.0
// Calendar times as records store them: unsigned seconds since 1901-01-01 00:00:00 UTC, 0 = not
// set. The count wraps on 2037-02-06.
#ifndef ZEB_BASE_CALENDAR_H
#define ZEB_BASE_CALENDAR_H

#include <cstdint>

// Room for a time as text, its terminator included.
inline constexpr int kCalendarTextBytes = 64;

// The time that is now, in whole seconds.
std::uint32_t ZEB_CalendarNow();

// Writes the time as date and time of the local zone, as the locale shows it; "n/a" for 0. Returns
// `text`.
const char* ZEB_FormatCalendar(char (&text)[kCalendarTextBytes], std::uint32_t calendarTime);

#endif  // ZEB_BASE_CALENDAR_H
