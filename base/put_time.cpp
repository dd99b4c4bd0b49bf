// SPDX-License-Identifier: Apache-2.0
#include "base/put_time.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <ctime>

namespace {

constexpr int kCharacters = 8;

bool allDigits(const char* text) {
  return std::all_of(text, text + kCharacters, [](char c) { return c >= '0' && c <= '9'; });
}

int twoDigits(const char* text) {
  return (text[0] - '0') * 10 + (text[1] - '0');
}

_TimeStamp stampOf(std::int64_t seconds, int hundredths) {
  return {static_cast<std::uint32_t>(seconds), static_cast<std::uint32_t>(hundredths * 10)};
}

// The month counts from 0 and carries over into years.
std::int64_t secondsAt(int year, int month, int day) {
  using namespace std::chrono;
  const year_month first = std::chrono::year(year) / January + months(month);
  return seconds(sys_days(first / 1) + days(day - 1) - sys_days()).count();
}

}  // namespace

std::optional<_TimeStamp> ZEB_ReadPutTime(const char* date, const char* time) {
  if (!allDigits(date) || !allDigits(time)) return ZEB_ScanPutTime(date, time);
  const int year = twoDigits(date) * 100 + twoDigits(date + 2);
  const std::int64_t midnight = secondsAt(year, twoDigits(date + 4) - 1, twoDigits(date + 6));
  const int second = twoDigits(time) * 3600 + twoDigits(time + 2) * 60 + twoDigits(time + 4);
  return stampOf(midnight + second, twoDigits(time + 6));
}

std::optional<_TimeStamp> ZEB_ScanPutTime(const char* date, const char* time) {
  char dateText[kCharacters + 1] = {};
  char timeText[kCharacters + 1] = {};
  std::memcpy(dateText, date, strnlen(date, kCharacters));
  std::memcpy(timeText, time, strnlen(time, kCharacters));
  std::tm put{};
  int hundredths = 0;
  // NOLINTBEGIN(cert-err34-c): no number has more than four digits.
  if (std::sscanf(dateText, "%4d%2d%2d", &put.tm_year, &put.tm_mon, &put.tm_mday) != 3) return {};
  if (std::sscanf(timeText, "%2d%2d%2d%2d", &put.tm_hour, &put.tm_min, &put.tm_sec, &hundredths) !=
      4)
    return {};
  // NOLINTEND(cert-err34-c)
  put.tm_year -= 1900;
  put.tm_mon -= 1;
  return stampOf(timegm(&put), hundredths);
}
