// SPDX-License-Identifier: Apache-2.0
#include "agent/model/date_text.h"

#include <algorithm>
#include <chrono>

namespace model {
namespace {

constexpr std::string_view kDigits = "0123456789";

// What is left of a text to be read.
class Rest {
 public:
  explicit Rest(std::string_view text) : text_(text) {}

  bool isEmpty() const { return text_.empty(); }

  bool take(char sign) {
    const bool taken = text_.starts_with(sign);
    if (taken) text_.remove_prefix(1);
    return taken;
  }

  // A number of so many digits, within these bounds.
  std::optional<int> number(std::size_t digits, int low, int high) {
    if (text_.size() < digits || text_.find_first_not_of(kDigits) < digits) return std::nullopt;
    int number = 0;
    for (const char digit : text_.substr(0, digits)) number = number * 10 + (digit - '0');
    text_.remove_prefix(digits);
    return number < low || number > high ? std::nullopt : std::optional(number);
  }

  // A point with any digits behind it.
  bool takeFraction() {
    if (!take('.')) return true;
    const std::size_t digits = std::min(text_.find_first_not_of(kDigits), text_.size());
    text_.remove_prefix(digits);
    return digits > 0;
  }

 private:
  std::string_view text_;
};

// Days since 1970.
std::optional<std::int64_t> dayOf(Rest& rest) {
  const auto year = rest.number(4, 0, 9999);
  if (!year || !rest.take('-')) return std::nullopt;
  const auto month = rest.number(2, 1, 12);
  if (!month || !rest.take('-')) return std::nullopt;
  const auto day = rest.number(2, 1, 31);
  if (!day) return std::nullopt;
  const std::chrono::year_month_day date{std::chrono::year(*year),
                                         std::chrono::month(static_cast<unsigned>(*month)),
                                         std::chrono::day(static_cast<unsigned>(*day))};
  if (!date.ok()) return std::nullopt;
  return std::chrono::sys_days(date).time_since_epoch().count();
}

// "23:59" in minutes.
std::optional<std::int64_t> minutesOf(Rest& rest) {
  const auto hours = rest.number(2, 0, 23);
  if (!hours || !rest.take(':')) return std::nullopt;
  const auto minutes = rest.number(2, 0, 59);
  if (!minutes) return std::nullopt;
  return *hours * 60 + *minutes;
}

// Seconds since midnight. The 60th is a leap second.
std::optional<std::int64_t> timeOf(Rest& rest) {
  const auto minutes = minutesOf(rest);
  if (!minutes || !rest.take(':')) return minutes ? std::optional(*minutes * 60) : std::nullopt;
  const auto seconds = rest.number(2, 0, 60);
  if (!seconds || !rest.takeFraction()) return std::nullopt;
  return *minutes * 60 + *seconds;
}

// Seconds east of Greenwich.
std::optional<std::int64_t> zoneOf(Rest& rest) {
  if (rest.take('Z') || rest.take('z')) return 0;
  const bool west = rest.take('-');
  if (!west && !rest.take('+')) return std::nullopt;
  const auto minutes = minutesOf(rest);
  if (!minutes) return std::nullopt;
  return (west ? -60 : 60) * *minutes;
}

}  // namespace

std::optional<DateText> parseDate(std::string_view text) {
  constexpr std::int64_t kDay = 86400;
  Rest rest(text);
  const auto day = dayOf(rest);
  if (!day) return std::nullopt;
  DateText date{*day * kDay, std::nullopt};
  if (rest.isEmpty()) return date;
  if (!rest.take('T') && !rest.take(' ')) return std::nullopt;
  const auto time = timeOf(rest);
  if (!time) return std::nullopt;
  date.civil += *time;
  if (rest.isEmpty()) return date;
  date.offset = zoneOf(rest);
  return date.offset && rest.isEmpty() ? std::optional(date) : std::nullopt;
}

}  // namespace model
