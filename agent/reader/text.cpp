// SPDX-License-Identifier: Apache-2.0
#include "agent/reader/text.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "text/utf8.h"

namespace reader {
namespace {

constexpr char16_t kFirstWidened = 0xFF80;

bool highSurrogate(char16_t unit) {
  return unit >= 0xD800 && unit <= 0xDBFF;
}
bool lowSurrogate(char16_t unit) {
  return unit >= 0xDC00 && unit <= 0xDFFF;
}

bool ascii(char c) {
  return static_cast<std::uint8_t>(c) < 0x80;
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
    text::append(out, 0x10000 + ((char32_t{first} - 0xD800) << 10) + (char32_t{units[1]} - 0xDC00));
    return 2;
  }
  text::append(out, first);
  return 1;
}

}  // namespace

std::string utf8(std::u16string_view units) {
  units = units.substr(0, units.find(u'\0'));
  std::string out;
  while (!units.empty()) {
    const std::string bytes = widenedRun(units);
    if (!bytes.empty() && text::wellFormed(bytes)) {
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
  if (std::ranges::all_of(bytes, ascii)) return std::string(bytes);
  std::string out;
  while (!bytes.empty()) {
    const text::Step step = text::firstOf(bytes);
    text::append(out, step.valid ? step.point : text::kReplacement);
    bytes.remove_prefix(step.bytes);
  }
  return out;
}

}  // namespace reader
