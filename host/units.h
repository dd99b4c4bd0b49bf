// SPDX-License-Identifier: Apache-2.0
// Quantities as people write them in flow files and on the command line.
#ifndef ZEB_HOST_UNITS_H
#define ZEB_HOST_UNITS_H

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace host {

// "250us", "500ms", "1.5s", "2m" or "1h"; nothing for any other text, a missing unit included.
std::optional<std::chrono::nanoseconds> parseDuration(std::string_view text);

// "200", "200B", "4KiB", "1MiB" in bytes; nothing for any other text.
std::optional<std::int64_t> parseBytes(std::string_view text);

// "1,234,567"
std::string grouped(std::uint64_t number);

// "12 B", "3.4 KiB", "5.6 MiB", "7.8 GiB"
std::string bytesText(std::uint64_t bytes);

}  // namespace host

#endif  // ZEB_HOST_UNITS_H
