// SPDX-License-Identifier: Apache-2.0
// Numbers, times and bytes as people read them.
#ifndef ZEB_AGENT_RENDER_VALUES_H
#define ZEB_AGENT_RENDER_VALUES_H

#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace render {

// A stored number; nothing when it could not be read.
using Number = std::optional<std::int64_t>;

// What takes the place of a value that could not be read.
inline constexpr char kUnreadable[] = "?";

// All digits; "?" for a number that could not be read.
std::string whole(Number value);

// A whole number in at most five characters: 9999, 12.3k, 456k, 7.9M. Steps of 1000. "?" as above.
std::string scaled(Number value);

// sum / count, with a decimal while it is below 100; "-" for a count of 0 and below, "?" when
// either could not be read.
std::string average(Number sum, Number count);

// All times are UTC, of seconds since 1970. "2026-01-31T23:59:58Z":
std::string isoTime(std::int64_t seconds);

// "2026-01-31 23:59:58" and its parts.
std::string dateAndTime(std::int64_t seconds);
std::string dateOnly(std::int64_t seconds);
std::string timeOnly(std::int64_t seconds);

// What an errno means, as the system words it.
std::string errorText(int error);

// Upper-case hexadecimal digits, two a byte.
std::string hex(std::span<const std::uint8_t> bytes);

}  // namespace render

#endif  // ZEB_AGENT_RENDER_VALUES_H
