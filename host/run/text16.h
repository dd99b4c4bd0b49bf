// SPDX-License-Identifier: Apache-2.0
// Texts as they cross the line to the plug-in: 16-bit units that end in a zero unit.
#ifndef ZEB_HOST_RUN_TEXT16_H
#define ZEB_HOST_RUN_TEXT16_H

#include <cstdint>
#include <string>
#include <string_view>

namespace host {

// There is a zero unit at data() + size(), as in every std::basic_string.
using Text16 = std::basic_string<char16_t>;

// From UTF-8; a byte that is none becomes U+FFFD. A character above U+FFFF becomes two units.
Text16 toText16(std::string_view utf8);

// To UTF-8; an unpaired surrogate becomes U+FFFD.
std::string toUtf8(std::u16string_view units);

// The units up to the first zero, at most `limit`; empty for null.
Text16 fromUnits(const std::uint16_t* units, std::size_t limit = SIZE_MAX);

// The same units as the plug-in's interface declares them, zero-terminated; valid until the text
// changes.
const std::uint16_t* units(const Text16& text);

}  // namespace host

#endif  // ZEB_HOST_RUN_TEXT16_H
