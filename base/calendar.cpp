// SPDX-License-Identifier: Apache-2.0
#include "base/calendar.h"

#include <cstring>
#include <ctime>

#include "format/names.h"

std::uint32_t ZEB_CalendarNow() {
  return static_cast<std::uint32_t>(std::time(nullptr)) + layout::kCalendarEpoch;
}

const char* ZEB_FormatCalendar(char (&text)[kCalendarTextBytes], std::uint32_t calendarTime) {
  const std::time_t time = static_cast<std::time_t>(calendarTime) - layout::kCalendarEpoch;
  std::tm local{};
  const bool written = calendarTime != 0 && localtime_r(&time, &local) &&
                       std::strftime(text, sizeof text, "%c", &local) > 0;
  if (!written) std::strcpy(text, "n/a");
  return text;
}
