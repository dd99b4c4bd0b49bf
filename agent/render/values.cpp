// SPDX-License-Identifier: Apache-2.0
#include "agent/render/values.h"

#include <fmt/format.h>
#include <time.h>

#include <array>
#include <cmath>
#include <string_view>
#include <system_error>

namespace render {
namespace {

std::string formatTime(const char* format, std::int64_t seconds) {
  const time_t time = seconds;
  tm parts;
  if (gmtime_r(&time, &parts) == nullptr) return "-";
  std::array<char, 64> text;
  return {text.data(), strftime(text.data(), text.size(), format, &parts)};
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

std::string average(Number sum, Number count) {
  if (!sum || !count) return kUnreadable;
  if (*count <= 0) return "-";
  const double value = static_cast<double>(*sum) / static_cast<double>(*count);
  if (value < 99.95) return fmt::format("{:.1f}", value);
  return scaled(std::llround(value));
}

std::string isoTime(std::int64_t seconds) {
  return formatTime("%Y-%m-%dT%H:%M:%SZ", seconds);
}
std::string dateAndTime(std::int64_t seconds) {
  return formatTime("%Y-%m-%d %H:%M:%S", seconds);
}
std::string dateOnly(std::int64_t seconds) {
  return formatTime("%Y-%m-%d", seconds);
}
std::string timeOnly(std::int64_t seconds) {
  return formatTime("%H:%M:%S", seconds);
}

std::string errorText(int error) {
  return std::generic_category().message(error);
}

std::string hex(std::span<const std::uint8_t> bytes) {
  return fmt::format("{:02X}", fmt::join(bytes, ""));
}

}  // namespace render
