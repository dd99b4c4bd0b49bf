// SPDX-License-Identifier: Apache-2.0
#include "agent/reader/text.h"

#include <cstddef>
#include <cstring>

namespace reader {
namespace {

constexpr char32_t kReplacement = 0xFFFD;
constexpr char16_t kFirstWidened = 0xFF80;

bool highSurrogate(char16_t unit) {
  return unit >= 0xD800 && unit <= 0xDBFF;
}
bool lowSurrogate(char16_t unit) {
  return unit >= 0xDC00 && unit <= 0xDFFF;
}

void append(std::string& out, char32_t point) {
  const auto put = [&out](char32_t byte) { out.push_back(static_cast<char>(byte)); };
  if (point < 0x80) {
    put(point);
  } else if (point < 0x800) {
    put(0xC0 | point >> 6);
    put(0x80 | (point & 0x3F));
  } else if (point < 0x10000) {
    put(0xE0 | point >> 12);
    put(0x80 | (point >> 6 & 0x3F));
    put(0x80 | (point & 0x3F));
  } else {
    put(0xF0 | point >> 18);
    put(0x80 | (point >> 12 & 0x3F));
    put(0x80 | (point >> 6 & 0x3F));
    put(0x80 | (point & 0x3F));
  }
}

// Bytes of the UTF-8 sequence at the start of `text`, 0 when none is well-formed there.
std::size_t sequenceLength(std::string_view text) {
  const auto at = [text](std::size_t i) { return static_cast<std::uint8_t>(text[i]); };
  const std::uint8_t lead = at(0);
  if (lead < 0x80) return 1;
  const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
  if (lead < 0xC2 || lead > 0xF4 || text.size() < length) return 0;
  for (std::size_t i = 1; i < length; ++i) {
    if ((at(i) & 0xC0) != 0x80) return 0;
  }
  const bool overlong = (lead == 0xE0 && at(1) < 0xA0) || (lead == 0xF0 && at(1) < 0x90);
  const bool outside = (lead == 0xED && at(1) > 0x9F) || (lead == 0xF4 && at(1) > 0x8F);
  return overlong || outside ? 0 : length;
}

bool wellFormed(std::string_view text) {
  while (!text.empty()) {
    const std::size_t length = sequenceLength(text);
    if (length == 0) return false;
    text.remove_prefix(length);
  }
  return true;
}

// The low bytes of the widened units at the start of `units`.
std::string widenedRun(std::u16string_view units) {
  std::string bytes;
  for (const char16_t unit : units) {
    if (unit < kFirstWidened) break;
    bytes.push_back(static_cast<char>(unit & 0xFF));
  }
  return bytes;
}

// Appends the code point at the start of `units` and returns how many units it took.
std::size_t appendUtf16(std::string& out, std::u16string_view units) {
  const char16_t first = units[0];
  if (highSurrogate(first) && units.size() > 1 && lowSurrogate(units[1])) {
    append(out, 0x10000 + ((char32_t{first} - 0xD800) << 10) + (char32_t{units[1]} - 0xDC00));
    return 2;
  }
  append(out, highSurrogate(first) || lowSurrogate(first) ? kReplacement : char32_t{first});
  return 1;
}

}  // namespace

std::string utf8(std::u16string_view units) {
  units = units.substr(0, units.find(u'\0'));
  std::string out;
  while (!units.empty()) {
    const std::string bytes = widenedRun(units);
    if (!bytes.empty() && wellFormed(bytes)) {
      out += bytes;
      units.remove_prefix(bytes.size());
      continue;
    }
    // A run that isn't UTF-8 is taken as UTF-16 to its end.
    std::size_t left = bytes.empty() ? 1 : bytes.size();
    while (left-- > 0 && !units.empty()) units.remove_prefix(appendUtf16(out, units));
  }
  return out;
}

std::string utf8(std::span<const std::uint8_t> storedUnits) {
  std::string out;
  out.reserve(storedUnits.size() / 2);
  for (std::size_t at = 0; at < storedUnits.size(); at += sizeof(char16_t)) {
    char16_t unit;
    std::memcpy(&unit, &storedUnits[at], sizeof unit);
    if (unit == 0) break;
    if (unit >= 0x80) {
      std::u16string units(storedUnits.size() / 2, u'\0');
      std::memcpy(units.data(), storedUnits.data(), storedUnits.size());
      return utf8(units);
    }
    out.push_back(static_cast<char>(unit));
  }
  return out;
}

std::string utf8(std::string_view bytes) {
  bytes = bytes.substr(0, bytes.find('\0'));
  if (wellFormed(bytes)) return std::string(bytes);
  std::string out;
  for (const char c : bytes)
    append(out, static_cast<std::uint8_t>(c) < 0x80 ? char32_t(c) : kReplacement);
  return out;
}

}  // namespace reader
