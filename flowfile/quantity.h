// SPDX-License-Identifier: Apache-2.0
// Quantities as people write them in flow files and on the command line.
#ifndef ZEB_FLOWFILE_QUANTITY_H
#define ZEB_FLOWFILE_QUANTITY_H

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace flowfile {

// "250us", "500ms", "1.5s", "2m" or "1h", at most about 31 years. Nothing for any other text, a
// missing unit and a negative number included.
std::optional<std::chrono::nanoseconds> parseDuration(std::string_view text);

// The same the other way: "250us", "500ms", "1.5s", in the largest unit that is at most the time.
std::string durationText(std::chrono::nanoseconds time);

// "200", "200B", "4KiB", "1MiB" or "2GiB", in bytes: a KiB has 1024. Nothing for any other text.
std::optional<std::int64_t> parseBytes(std::string_view text);

}  // namespace flowfile

#endif  // ZEB_FLOWFILE_QUANTITY_H
