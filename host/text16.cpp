// SPDX-License-Identifier: Apache-2.0
#include "host/text16.h"

namespace host {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

// Takes one character off the front.
char32_t takeUtf8(std::string_view& rest) {
  const auto lead = static_cast<unsigned char>(rest.front());
  rest.remove_prefix(1);
  if (lead < 0x80) return lead;
  const int more = lead >= 0xF0 && lead < 0xF5 ? 3 : lead >= 0xE0 ? 2 : lead >= 0xC2 ? 1 : 0;
  if (more == 0 || lead >= 0xF5) return kReplacement;
  char32_t point = lead & (0x3FU >> more);
  for (int i = 0; i < more; ++i) {
    if (rest.empty() || (static_cast<unsigned char>(rest.front()) & 0xC0) != 0x80) {
      return kReplacement;
    }
    point = (point << 6) | (static_cast<unsigned char>(rest.front()) & 0x3FU);
    rest.remove_prefix(1);
  }
  constexpr char32_t kSmallest[] = {0, 0x80, 0x800, 0x10000};
  const bool valid = point >= kSmallest[more] && point <= 0x10FFFF && (point & ~0x7FFU) != 0xD800;
  return valid ? point : kReplacement;
}

void appendUtf8(std::string& out, char32_t point) {
  const auto byte = [&out](char32_t value) { out.push_back(static_cast<char>(value)); };
  const auto tail = [&byte](char32_t value) { byte(0x80 | (value & 0x3F)); };
  if (point < 0x80) {
    byte(point);
  } else if (point < 0x800) {
    byte(0xC0 | (point >> 6));
    tail(point);
  } else if (point < 0x10000) {
    byte(0xE0 | (point >> 12));
    tail(point >> 6);
    tail(point);
  } else {
    byte(0xF0 | (point >> 18));
    tail(point >> 12);
    tail(point >> 6);
    tail(point);
  }
}

}  // namespace

Text16 toText16(std::string_view utf8) {
  Text16 text;
  while (!utf8.empty()) {
    const char32_t point = takeUtf8(utf8);
    if (point < 0x10000) {
      text.push_back(static_cast<char16_t>(point));
    } else {
      text.push_back(static_cast<char16_t>(0xD800 + ((point - 0x10000) >> 10)));
      text.push_back(static_cast<char16_t>(0xDC00 + ((point - 0x10000) & 0x3FF)));
    }
  }
  return text;
}

std::string toUtf8(std::u16string_view text) {
  std::string utf8;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char32_t unit = text[i];
    const bool high = (unit & 0xFC00) == 0xD800;
    if (high && i + 1 < text.size() && (text[i + 1] & 0xFC00) == 0xDC00) {
      ++i;
      appendUtf8(utf8, 0x10000 + ((unit & 0x3FF) << 10) + (text[i] & 0x3FFU));
    } else {
      appendUtf8(utf8, (unit & 0xF800) == 0xD800 ? kReplacement : unit);
    }
  }
  return utf8;
}

Text16 fromUnits(const std::uint16_t* units, std::size_t limit) {
  Text16 text;
  for (std::size_t i = 0; units != nullptr && i < limit && units[i] != 0; ++i) {
    text.push_back(static_cast<char16_t>(units[i]));
  }
  return text;
}

// char16_t has the size and alignment of uint16_t on every system the project knows; the plug-in
// only reads the units as such.
const std::uint16_t* units(const Text16& text) {
  return reinterpret_cast<const std::uint16_t*>(text.c_str());
}

}  // namespace host
