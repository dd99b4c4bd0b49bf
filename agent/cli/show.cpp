// SPDX-License-Identifier: Apache-2.0
#include "agent/cli/show.h"

#include <fmt/chrono.h>
#include <fmt/format.h>
#include <time.h>

#include <array>
#include <charconv>
#include <cmath>
#include <system_error>
#include <utility>

namespace cli {
namespace {

struct Range {
  char32_t first;
  char32_t last;
};

// Code points that a terminal obeys or hides instead of showing.
constexpr Range kUnseen[] = {{0x0, 0x1F},      {0x7F, 0x9F},      {0xAD, 0xAD},
                             {0x61C, 0x61C},   {0x200B, 0x200F},  {0x2028, 0x202E},
                             {0x2060, 0x206F}, {0xFEFF, 0xFEFF},  {0xFFF9, 0xFFFB},
                             {0xFFFE, 0xFFFF}, {0xE0000, 0xE007F}};
constexpr Range kCombining[] = {
    {0x300, 0x36F}, {0x1AB0, 0x1AFF}, {0x20D0, 0x20FF}, {0xFE00, 0xFE0F}};
constexpr Range kWide[] = {{0x1100, 0x115F},   {0x2E80, 0x303E},  {0x3041, 0xA4CF},
                           {0xAC00, 0xD7A3},   {0xF900, 0xFAFF},  {0xFE30, 0xFE6F},
                           {0xFF00, 0xFF60},   {0xFFE0, 0xFFE6},  {0x1F300, 0x1F64F},
                           {0x1F900, 0x1F9FF}, {0x20000, 0x3FFFD}};

template <std::size_t N>
bool within(const Range (&ranges)[N], char32_t point) {
  for (const Range& range : ranges) {
    if (point >= range.first && point <= range.last) return true;
  }
  return false;
}

// The code point at the start of valid UTF-8, and its bytes.
std::pair<char32_t, std::size_t> decode(std::string_view utf8) {
  const auto byte = [utf8](std::size_t i) { return static_cast<std::uint8_t>(utf8[i]); };
  const std::uint8_t lead = byte(0);
  const std::size_t length = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
  if (length == 1 || length > utf8.size()) return {lead, 1};
  char32_t point = lead & (0xFFu >> (length + 1));
  for (std::size_t i = 1; i < length; ++i) point = point << 6 | (byte(i) & 0x3Fu);
  return {point, length};
}

std::size_t columnsOf(char32_t point) {
  if (within(kCombining, point)) return 0;
  return within(kWide, point) ? 2 : 1;
}

std::string escaped(char32_t point) {
  const auto number = static_cast<std::uint32_t>(point);
  if (number < 0x100) return fmt::format("\\x{:02X}", number);
  if (number < 0x10000) return fmt::format("\\u{:04X}", number);
  return fmt::format("\\U{:08X}", number);
}

std::string formatTime(const char* format, std::int64_t seconds) {
  const time_t time = seconds;
  tm parts;
  if (gmtime_r(&time, &parts) == nullptr) return "-";
  std::array<char, 64> text;
  return {text.data(), strftime(text.data(), text.size(), format, &parts)};
}

std::optional<std::int64_t> parseAge(const std::string& text) {
  constexpr std::string_view units = "smhd";
  constexpr std::int64_t seconds[] = {1, 60, 3600, 86400};
  const std::size_t unit = text.empty() ? units.npos : units.find(text.back());
  std::int64_t value = 0;
  const char* const end = text.data() + text.size() - (text.empty() ? 0 : 1);
  const auto parsed = std::from_chars(text.data(), end, value);
  const bool whole = parsed.ec == std::errc() && parsed.ptr == end;
  if (unit == units.npos || !whole || value < 0 || value > 1000000000) return std::nullopt;
  return value * seconds[unit];
}

}  // namespace

std::string printable(std::string_view utf8) {
  std::string out;
  while (!utf8.empty()) {
    const auto [point, length] = decode(utf8);
    out += within(kUnseen, point) ? escaped(point) : std::string(utf8.substr(0, length));
    utf8.remove_prefix(length);
  }
  return out;
}

std::size_t columns(std::string_view utf8) {
  std::size_t sum = 0;
  while (!utf8.empty()) {
    const auto [point, length] = decode(utf8);
    sum += columnsOf(point);
    utf8.remove_prefix(length);
  }
  return sum;
}

std::string shortened(std::string_view utf8, std::size_t most) {
  std::string text = printable(utf8);
  if (columns(text) <= most) return text;
  std::size_t taken = 0;
  std::size_t at = 0;
  while (at < text.size()) {
    const auto [point, length] = decode(std::string_view(text).substr(at));
    if (taken + columnsOf(point) + 1 > most) break;
    taken += columnsOf(point);
    at += length;
  }
  return text.substr(0, at) + "…";
}

std::string scaled(std::int64_t value) {
  if (value < 10000) return fmt::format("{}", value);
  constexpr std::string_view units = "kMGTPE";
  double shown = static_cast<double>(value) / 1000;
  std::size_t unit = 0;
  for (; shown >= 999.5; ++unit) shown /= 1000;
  return fmt::format("{:.{}f}{}", shown, shown < 99.95 ? 1 : 0, units[unit]);
}

std::string average(std::int64_t sum, std::int64_t count) {
  if (count <= 0) return "-";
  const double value = static_cast<double>(sum) / static_cast<double>(count);
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

std::optional<std::int64_t> parseTime(const std::string& text, std::int64_t now) {
  if (const auto age = parseAge(text)) return now - *age;
  for (const char* format :
       {"%Y-%m-%dT%H:%M:%SZ", "%Y-%m-%dT%H:%M:%S", "%Y-%m-%d %H:%M:%S", "%Y-%m-%d"}) {
    tm parts{};
    const char* const end = strptime(text.c_str(), format, &parts);
    if (end != nullptr && *end == '\0') return timegm(&parts);
  }
  return std::nullopt;
}

}  // namespace cli
