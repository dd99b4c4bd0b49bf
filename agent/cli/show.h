// SPDX-License-Identifier: Apache-2.0
// Values as people read them.
#ifndef ZEB_AGENT_CLI_SHOW_H
#define ZEB_AGENT_CLI_SHOW_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace cli {

// `utf8` without anything that could move a cursor, change colours or reorder a line: control
// characters and invisible direction marks become "\x1B" or "\u202E".
std::string printable(std::string_view utf8);

// How many columns of a terminal `utf8` takes.
std::size_t columns(std::string_view utf8);

// `utf8` made printable and cut to at most `most` columns, then with an ellipsis at its end.
std::string shortened(std::string_view utf8, std::size_t most);

// A whole number in at most five characters: 9999, 12.3k, 456k, 7.9M. Steps of 1000.
std::string scaled(std::int64_t value);

// sum / count, with a decimal while it is below 100; "-" for a count of 0 and below.
std::string average(std::int64_t sum, std::int64_t count);

// "2026-01-31T23:59:58Z", of seconds since 1970.
std::string isoTime(std::int64_t seconds);

// "2026-01-31 23:59:58" and its parts, in UTC.
std::string dateAndTime(std::int64_t seconds);
std::string dateOnly(std::int64_t seconds);
std::string timeOnly(std::int64_t seconds);

// What an errno means, as the system words it.
std::string errorText(int error);

// Upper-case hexadecimal digits, two a byte.
std::string hex(std::span<const std::uint8_t> bytes);

// Seconds since 1970 of "2026-01-31T23:59:58Z" (also with a blank for the T, without the Z and
// without the time; always UTC), or of "90s", "15m", "12h", "7d" before `now`. Nothing when the
// text is neither.
std::optional<std::int64_t> parseTime(const std::string& text, std::int64_t now);

}  // namespace cli

#endif  // ZEB_AGENT_CLI_SHOW_H
