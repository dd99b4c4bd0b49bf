// SPDX-License-Identifier: Apache-2.0
#include "agent/model/zone_text.h"

#include <algorithm>

namespace model {
namespace {

bool isDigits(std::string_view text) {
  return !text.empty() && text.find_first_not_of("0123456789") == text.npos;
}

}  // namespace

std::optional<std::int64_t> offsetOf(std::string_view zone) {
  if (zone == "Z" || zone == "z") return 0;
  const bool fits = zone.size() == 6 && (zone[0] == '+' || zone[0] == '-') && zone[3] == ':' &&
                    isDigits(zone.substr(1, 2)) && isDigits(zone.substr(4, 2));
  if (!fits) return std::nullopt;
  const std::int64_t hours = (zone[1] - '0') * 10 + (zone[2] - '0');
  const std::int64_t minutes = (zone[4] - '0') * 10 + (zone[5] - '0');
  if (hours > 23 || minutes > 59) return std::nullopt;
  return (zone[0] == '-' ? -60 : 60) * (hours * 60 + minutes);
}

std::string_view withoutFraction(std::string_view zone) {
  if (!zone.starts_with('.')) return zone;
  const std::size_t end = std::min(zone.find_first_not_of("0123456789", 1), zone.size());
  return end == 1 ? zone : zone.substr(end);
}

}  // namespace model
