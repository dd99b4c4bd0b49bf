// SPDX-License-Identifier: Apache-2.0
#include "agent/front/cli/since.h"

#include <time.h>

#include <charconv>
#include <string_view>
#include <system_error>

#include "agent/front/cli/parser.h"
#include "agent/model/date_text.h"

namespace cli {
namespace {

constexpr std::int64_t kMostUnits = 1000000000;
constexpr std::int64_t kDay = 86400;

std::optional<Since> parseAge(std::string_view text) {
  constexpr std::string_view units = "smhd";
  constexpr std::int64_t seconds[] = {1, 60, 3600, kDay};
  if (text == "now") return Since{Since::Kind::age, 0};
  if (text.starts_with('-')) text.remove_prefix(1);
  const std::size_t unit = text.empty() ? units.npos : units.find(text.back());
  if (unit == units.npos) return std::nullopt;
  std::int64_t value = 0;
  const char* const end = text.data() + text.size() - 1;
  const auto parsed = std::from_chars(text.data(), end, value);
  const bool whole = parsed.ec == std::errc() && parsed.ptr == end;
  if (!whole || value < 0 || value > kMostUnits) return std::nullopt;
  return Since{Since::Kind::age, value * seconds[unit]};
}

std::optional<Since> parseTime(const std::string& text) {
  const auto date = model::parseDate(text);
  if (!date) return std::nullopt;
  if (!date->offset) return Since{Since::Kind::civil, date->civil};
  return Since{Since::Kind::time, date->civil - *date->offset};
}

std::optional<Since> parseClock(const std::string& text) {
  tm parts{};
  const char* const end = text.size() == 5 ? strptime(text.c_str(), "%H:%M", &parts) : nullptr;
  if (end == nullptr || *end != '\0') return std::nullopt;
  return Since{Since::Kind::clock, parts.tm_hour * 3600 + parts.tm_min * 60};
}

// Seconds since 1970 of a date and time in the local zone, given as if they were UTC.
std::int64_t inLocalZone(std::int64_t civil) {
  tm parts{};
  gmtime_r(&civil, &parts);
  parts.tm_isdst = -1;
  return mktime(&parts);
}

std::int64_t midnight(std::int64_t now, render::Zone zone) {
  tm parts{};
  (zone == render::Zone::utc ? gmtime_r : localtime_r)(&now, &parts);
  parts.tm_hour = parts.tm_min = parts.tm_sec = 0;
  return timegm(&parts);
}

}  // namespace

std::int64_t Since::at(std::int64_t now, render::Zone zone) const {
  const auto moment = [zone](std::int64_t civil) {
    return zone == render::Zone::utc ? civil : inLocalZone(civil);
  };
  switch (kind) {
    case Kind::time:
      return seconds;
    case Kind::civil:
      return moment(seconds);
    case Kind::age:
      return now - seconds;
    case Kind::clock:
      break;
  }
  const std::int64_t today = midnight(now, zone) + seconds;
  return moment(today) <= now ? moment(today) : moment(today - kDay);
}

std::optional<Since> parseSince(const std::string& text) {
  if (const auto age = parseAge(text)) return age;
  if (const auto clock = parseClock(text)) return clock;
  return parseTime(text);
}

Since momentOf(const char* option, const std::string& text) {
  const auto moment = parseSince(text);
  if (moment) return *moment;
  refuse(option, "\"" + text + "\" is no time like " + kMoments);
}

}  // namespace cli
