// SPDX-License-Identifier: Apache-2.0
// Zero-terminated strings of 16-bit units, the host's characters. The units are opaque: no
// character set is assumed and none of these functions allocates.
#ifndef ZEB_BASE_WIDE_H
#define ZEB_BASE_WIDE_H

#include <array>
#include <cstddef>
#include <cstdint>

using zebchar = std::uint16_t;

// An ASCII literal in units, terminator included.
template <std::size_t N>
consteval std::array<zebchar, N> ZEB_Widened(const char (&text)[N]) {
  std::array<zebchar, N> units;
  for (std::size_t i = 0; i < N; ++i) units[i] = static_cast<unsigned char>(text[i]);
  return units;
}

// Units before the first zero unit; 0 for null.
std::size_t zeblen(const zebchar* s);

// Copies exactly n units, whatever they hold, and returns dst.
zebchar* zebncpy(zebchar* dst, const zebchar* src, std::size_t n);

// Copies src with its terminator and returns dst.
zebchar* zebcpy(zebchar* dst, const zebchar* src);

// Copies src with its terminator over dst's terminator and behind, and returns dst. dst has room
// for both.
zebchar* zebcat(zebchar* dst, const zebchar* src);

// The difference of the lengths where they differ, else the order of the bytes in memory. Only
// equality is to be relied on.
int zebcmp(const zebchar* a, const zebchar* b);

// Widens n chars, each sign-extended, and writes a zero unit behind them: dst holds n + 1 units.
int strtozeb(zebchar* dst, const char* src, std::size_t n);

// Narrows n units to their low bytes and writes a zero byte behind them: dst holds n + 1 bytes.
int zebtostr(char* dst, const zebchar* src, std::size_t n);

#endif  // ZEB_BASE_WIDE_H
