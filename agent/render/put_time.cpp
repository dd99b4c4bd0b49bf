// SPDX-License-Identifier: Apache-2.0
#include "agent/render/put_time.h"

#include <algorithm>
#include <chrono>
#include <string_view>

#include "agent/model/event_counts.h"
#include "text/printable.h"

namespace render {
namespace {

using Digits = std::string_view;

// Of digits alone.
unsigned number(Digits digits) {
  unsigned value = 0;
  for (const char digit : digits) value = 10 * value + static_cast<unsigned>(digit - '0');
  return value;
}

bool areDigits(Digits text) {
  constexpr std::size_t kDigits = 8;
  return text.size() == kDigits &&
         std::ranges::all_of(text, [](char c) { return c >= '0' && c <= '9'; });
}

}  // namespace

std::optional<PutTime> putTimeOf(const reader::Event& event) {
  const Digits date = event.putDate;
  const Digits time = event.putTime;
  if (!areDigits(date) || !areDigits(time)) return std::nullopt;
  const std::chrono::year_month_day day(
      std::chrono::year(static_cast<int>(number(date.substr(0, 4)))),
      std::chrono::month(number(date.substr(4, 2))), std::chrono::day(number(date.substr(6))));
  const unsigned hour = number(time.substr(0, 2));
  const unsigned minute = number(time.substr(2, 2));
  const unsigned second = number(time.substr(4, 2));
  if (!day.ok() || hour > 23 || minute > 59 || second > 59) return std::nullopt;
  const auto seconds = std::chrono::sys_days(day) + std::chrono::hours(hour) +
                       std::chrono::minutes(minute) + std::chrono::seconds(second);
  return PutTime{seconds.time_since_epoch().count(), number(time.substr(6))};
}

std::string putText(const reader::Event& event, Zone zone) {
  const auto put = putTimeOf(event);
  if (put) return dateAndTime(put->seconds, zone, put->hundredths * 10);
  const std::string date = text::printable(event.putDate);
  const std::string time = text::printable(event.putTime);
  return date.empty() || time.empty() ? date + time : date + " " + time;
}

std::string shortPutText(const reader::Event& event, Zone zone) {
  const auto put = putTimeOf(event);
  if (!put) return kMissing;
  const std::int64_t posted = model::postedAt(event);
  const std::string day = dateOnly(put->seconds, zone);
  if (day == dateOnly(posted, zone)) return timeOnly(put->seconds, zone);
  const std::string time = timeOnly(put->seconds, zone);
  constexpr std::size_t kTime = 8;  // "04:09:31"
  constexpr std::size_t kDay = 5;   // "11-20"
  return day.substr(day.size() - std::min(day.size(), kDay)) +
         time.substr(std::min(time.size(), kTime));
}

}  // namespace render
