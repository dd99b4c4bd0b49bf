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

// What takes the place of a value that could not be read, and of one that there is not.
inline constexpr char kUnreadable[] = "?";
inline constexpr char kMissing[] = "-";

// All digits; "?" for a number that could not be read.
std::string whole(Number value);

// A whole number in at most five characters: 9999, 12.3k, 456k, 7.9M. Steps of 1000. "?" as above.
std::string scaled(Number value);

// With one decimal while it is below 100, else scaled: 12.4, 486, 12.3k.
std::string decimal(double value);

// A span of time in its largest whole unit: "59 s", "3 min", "5 h", "12 d". "0 s" when negative.
std::string duration(std::int64_t seconds);

// Where times are shown. Every time but isoTime's carries its zone: "Z", or "+02:00" of the
// process's local zone (TZ) at that moment. All are of seconds since 1970, "-" where the system
// knows no date.
enum class Zone { utc, local };

// "2026-01-31T23:59:58Z", always UTC: for programs. With milliseconds "2026-01-31T23:59:58.250Z".
std::string isoTime(std::int64_t seconds);
std::string isoTime(std::int64_t seconds, std::uint32_t milliseconds);

// "2026-01-31 23:59:58Z", or with milliseconds "2026-01-31 23:59:58.250Z".
std::string dateAndTime(std::int64_t seconds, Zone zone,
                        std::optional<std::uint32_t> milliseconds = {});

// "2026-01-31" there, without a zone, and "23:59:58Z" or "23:59:58.250Z".
std::string dateOnly(std::int64_t seconds, Zone zone);
std::string timeOnly(std::int64_t seconds, Zone zone,
                     std::optional<std::uint32_t> milliseconds = {});

// What an errno means, as the system words it.
std::string errorText(int error);

// Upper-case hexadecimal digits, two a byte.
std::string hex(std::span<const std::uint8_t> bytes);

}  // namespace render

#endif  // ZEB_AGENT_RENDER_VALUES_H
