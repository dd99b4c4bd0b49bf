// SPDX-License-Identifier: Apache-2.0
// Stored texts as UTF-8.
#ifndef ZEB_AGENT_READER_TEXT_H
#define ZEB_AGENT_READER_TEXT_H

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace reader {

// UTF-8 of `units` up to the first zero unit; always valid UTF-8.
//
// The units are UTF-16 when they come from the host, and sign-extended bytes (0x80 becomes 0xFF80)
// when the library widened an 8-bit text. So a run of units 0xFF80 to 0xFFFF whose low bytes are
// valid UTF-8 is taken for those bytes, anything else for UTF-16. An unpaired surrogate becomes
// U+FFFD.
std::string utf8(std::u16string_view units);

// The same of units as they are stored, two bytes each and at any address.
std::string utf8(std::span<const std::uint8_t> storedUnits);

// UTF-8 of 8-bit characters up to the first zero byte; a byte that is no UTF-8 becomes U+FFFD.
std::string utf8(std::string_view bytes);

}  // namespace reader

#endif  // ZEB_AGENT_READER_TEXT_H
