// SPDX-License-Identifier: Apache-2.0
// How large what a flow file describes gets in shared memory.
#ifndef ZEB_FLOWFILE_ROOM_H
#define ZEB_FLOWFILE_ROOM_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace flowfile {

// 16-bit units of a text in UTF-8, as labels and event messages are stored.
std::uint64_t unitsOf(std::string_view utf8);

// Bytes that an area of `memorySize` bytes, or of the default size, has for records.
std::uint64_t roomIn(const std::optional<std::int64_t>& memorySize);

// Bytes of a stored event template with so many units in all of its four strings: the labels of
// execution group, flow and node, and the text.
std::uint64_t templateBytes(std::uint64_t units);

// Bytes of a stored node record with so many units in its label and its sub-flow name.
std::uint64_t nodeBytes(std::uint64_t units);

// Units of the text that a node posts for an exception with these three texts. The library takes
// each of their bytes for a character.
std::uint64_t exceptionUnits(std::string_view origin, std::string_view code, std::string_view text);

}  // namespace flowfile

#endif  // ZEB_FLOWFILE_ROOM_H
