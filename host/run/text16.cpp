// SPDX-License-Identifier: Apache-2.0
#include "host/run/text16.h"

#include "text/utf8.h"

namespace host {

Text16 toText16(std::string_view utf8) {
  Text16 units;
  while (!utf8.empty()) {
    const text::Step step = text::firstOf(utf8);
    const char32_t point = step.point;
    utf8.remove_prefix(step.bytes);
    if (point < 0x10000) {
      units.push_back(static_cast<char16_t>(point));
    } else {
      units.push_back(static_cast<char16_t>(0xD800 + ((point - 0x10000) >> 10)));
      units.push_back(static_cast<char16_t>(0xDC00 + ((point - 0x10000) & 0x3FF)));
    }
  }
  return units;
}

std::string toUtf8(std::u16string_view units) {
  std::string utf8;
  for (std::size_t i = 0; i < units.size(); ++i) {
    const char32_t unit = units[i];
    const bool high = (unit & 0xFC00) == 0xD800;
    if (high && i + 1 < units.size() && (units[i + 1] & 0xFC00) == 0xDC00) {
      ++i;
      text::append(utf8, 0x10000 + ((unit & 0x3FF) << 10) + (units[i] & 0x3FFU));
    } else {
      text::append(utf8, unit);
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
