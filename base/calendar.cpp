#include "base/calendar.h"

#include <cstring>
#include <ctime>

std::uint32_t calendarNow() {
  return static_cast<std::uint32_t>(std::time(nullptr)) + kCalendarEpoch;
}

const char* formatCalendar(char (&text)[kCalendarTextBytes], std::uint32_t calendarTime) {
  std::strcpy(text, "n/a");
  const std::time_t time = static_cast<std::time_t>(calendarTime) - kCalendarEpoch;
  std::tm local{};
  if (calendarTime != 0 && localtime_r(&time, &local))
    std::strftime(text, sizeof text, "%c", &local);
  return text;
}
