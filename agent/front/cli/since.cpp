// SPDX-License-Identifier: Apache-2.0
#include "agent/front/cli/since.h"

#include <time.h>

#include <charconv>
#include <string_view>
#include <system_error>

namespace cli {
namespace {

constexpr std::int64_t kMostUnits = 1000000000;

std::optional<Since> parseAge(const std::string& text) {
  constexpr std::string_view units = "smhd";
  constexpr std::int64_t seconds[] = {1, 60, 3600, 86400};
  const std::size_t unit = text.empty() ? units.npos : units.find(text.back());
  if (unit == units.npos) return std::nullopt;
  std::int64_t value = 0;
  const char* const end = text.data() + text.size() - 1;
  const auto parsed = std::from_chars(text.data(), end, value);
  const bool whole = parsed.ec == std::errc() && parsed.ptr == end;
  if (!whole || value < 0 || value > kMostUnits) return std::nullopt;
  return Since{Since::Kind::age, value * seconds[unit]};
}

}  // namespace

std::optional<Since> parseSince(const std::string& text) {
  if (const auto age = parseAge(text)) return age;
  for (const char* format :
       {"%Y-%m-%dT%H:%M:%SZ", "%Y-%m-%dT%H:%M:%S", "%Y-%m-%d %H:%M:%S", "%Y-%m-%d"}) {
    tm parts{};
    const char* const end = strptime(text.c_str(), format, &parts);
    if (end != nullptr && *end == '\0') return Since{Since::Kind::time, timegm(&parts)};
  }
  return std::nullopt;
}

}  // namespace cli
