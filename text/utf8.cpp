// SPDX-License-Identifier: Apache-2.0
#include "text/utf8.h"

#include <cstdint>

namespace text {
namespace {

constexpr char32_t kLast = 0x10FFFF;

bool surrogate(char32_t point) {
  return point >= 0xD800 && point <= 0xDFFF;
}

// Bytes of the sequence that this byte begins; 0 when it begins none.
std::size_t sequenceLength(std::uint8_t lead) {
  if (lead < 0x80) return 1;
  if (lead < 0xC2 || lead > 0xF4) return 0;
  return lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
}

}  // namespace

Step firstOf(std::string_view utf8) {
  const auto byte = [utf8](std::size_t i) { return static_cast<std::uint8_t>(utf8[i]); };
  constexpr Step kStray{kReplacement, 1, false};
  const std::size_t length = sequenceLength(byte(0));
  if (length == 0 || length > utf8.size()) return kStray;
  if (length == 1) return {byte(0), 1, true};
  char32_t point = byte(0) & (0xFFU >> (length + 1));
  for (std::size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xC0U) != 0x80) return kStray;
    point = point << 6 | (byte(i) & 0x3FU);
  }
  constexpr char32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
  if (point < kSmallest[length] || surrogate(point) || point > kLast) return kStray;
  return {point, length, true};
}

bool wellFormed(std::string_view utf8) {
  while (!utf8.empty()) {
    const Step step = firstOf(utf8);
    if (!step.valid) return false;
    utf8.remove_prefix(step.bytes);
  }
  return true;
}

void append(std::string& utf8, char32_t point) {
  if (surrogate(point) || point > kLast) point = kReplacement;
  const auto put = [&utf8](char32_t byte) { utf8.push_back(static_cast<char>(byte)); };
  const auto tail = [&put](char32_t bits) { put(0x80 | (bits & 0x3F)); };
  if (point < 0x80) {
    put(point);
  } else if (point < 0x800) {
    put(0xC0 | point >> 6);
    tail(point);
  } else if (point < 0x10000) {
    put(0xE0 | point >> 12);
    tail(point >> 6);
    tail(point);
  } else {
    put(0xF0 | point >> 18);
    tail(point >> 12);
    tail(point >> 6);
    tail(point);
  }
}

}  // namespace text
