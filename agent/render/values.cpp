// SPDX-License-Identifier: Apache-2.0
#include "agent/render/values.h"

#include <fmt/format.h>
#include <time.h>

#include <array>
#include <cmath>
#include <cstdlib>
#include <string_view>
#include <system_error>

namespace render {
namespace {

std::optional<tm> partsOf(std::int64_t seconds, Zone zone) {
  const time_t time = seconds;
  tm parts;
  const tm* const known = zone == Zone::utc ? gmtime_r(&time, &parts) : localtime_r(&time, &parts);
  return known == nullptr ? std::nullopt : std::optional(parts);
}

std::string formatted(const char* format, const tm& parts) {
  std::array<char, 64> text;
  return {text.data(), strftime(text.data(), text.size(), format, &parts)};
}

std::string zoneOf(const tm& parts, Zone zone) {
  if (zone == Zone::utc) return "Z";
  const long minutes = std::labs(parts.tm_gmtoff) / 60;
  return fmt::format("{}{:02}:{:02}", parts.tm_gmtoff < 0 ? '-' : '+', minutes / 60, minutes % 60);
}

std::string withZone(const char* format, std::int64_t seconds, Zone zone,
                     const std::string& fraction) {
  const auto parts = partsOf(seconds, zone);
  return parts ? formatted(format, *parts) + fraction + zoneOf(*parts, zone) : kMissing;
}

std::string fractionOf(std::optional<std::uint32_t> milliseconds) {
  return milliseconds ? fmt::format(".{:03}", *milliseconds) : "";
}

}  // namespace

std::string whole(Number value) {
  return value ? fmt::to_string(*value) : kUnreadable;
}

std::string scaled(Number value) {
  if (!value || *value < 10000) return whole(value);
  constexpr std::string_view units = "kMGTPE";
  double shown = static_cast<double>(*value) / 1000;
  std::size_t unit = 0;
  for (; shown >= 999.5; ++unit) shown /= 1000;
  return fmt::format("{:.{}f}{}", shown, shown < 99.95 ? 1 : 0, units[unit]);
}

std::string decimal(double value) {
  constexpr double kLargest = 9.2e18;
  if (!(std::abs(value) <= kLargest)) return kUnreadable;
  return value < 99.95 ? fmt::format("{:.1f}", value) : scaled(std::llround(value));
}

std::string duration(std::int64_t seconds) {
  if (seconds < 0) return "0 s";
  if (seconds < 60) return fmt::format("{} s", seconds);
  if (seconds < 3600) return fmt::format("{} min", seconds / 60);
  if (seconds < 2 * 86400) return fmt::format("{} h", seconds / 3600);
  return fmt::format("{} d", seconds / 86400);
}

std::string isoTime(std::int64_t seconds) {
  return withZone("%Y-%m-%dT%H:%M:%S", seconds, Zone::utc, "");
}

std::string isoTime(std::int64_t seconds, std::uint32_t milliseconds) {
  return withZone("%Y-%m-%dT%H:%M:%S", seconds, Zone::utc, fmt::format(".{:03}", milliseconds));
}

std::string dateAndTime(std::int64_t seconds, Zone zone,
                        std::optional<std::uint32_t> milliseconds) {
  return withZone("%Y-%m-%d %H:%M:%S", seconds, zone, fractionOf(milliseconds));
}

std::string dateOnly(std::int64_t seconds, Zone zone) {
  const auto parts = partsOf(seconds, zone);
  return parts ? formatted("%Y-%m-%d", *parts) : kMissing;
}

std::string timeOnly(std::int64_t seconds, Zone zone, std::optional<std::uint32_t> milliseconds) {
  return withZone("%H:%M:%S", seconds, zone, fractionOf(milliseconds));
}

std::string errorText(int error) {
  return std::generic_category().message(error);
}

std::string hex(std::span<const std::uint8_t> bytes) {
  return fmt::format("{:02X}", fmt::join(bytes, ""));
}

}  // namespace render
