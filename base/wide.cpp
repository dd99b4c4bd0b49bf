// SPDX-License-Identifier: Apache-2.0
#include "base/wide.h"

#include <cstring>

#include "base/trace.h"

namespace {

constexpr char kUnit[] = "zebcstrn";

// Sign extension on purpose: 0xE9 becomes 0xFFE9, and narrowing gives 0xE9 back.
zebchar ZEB_Widened(char c) {
  return static_cast<zebchar>(static_cast<signed char>(c));
}

}  // namespace

std::size_t zeblen(const zebchar* s) {
  ZEB_Trace trace(kUnit, "zeblen");
  std::size_t length = 0;
  if (s)
    while (s[length] != 0) ++length;
  return trace.leave(length);
}

zebchar* zebncpy(zebchar* dst, const zebchar* src, std::size_t n) {
  ZEB_Trace trace(kUnit, "zebncpy");
  std::memcpy(dst, src, n * sizeof(zebchar));
  return trace.leave(dst);
}

zebchar* zebcpy(zebchar* dst, const zebchar* src) {
  ZEB_Trace trace(kUnit, "zebcpy");
  return trace.leave(zebncpy(dst, src, zeblen(src) + 1));
}

zebchar* zebcat(zebchar* dst, const zebchar* src) {
  ZEB_Trace trace(kUnit, "zebcat");
  zebcpy(dst + zeblen(dst), src);
  return trace.leave(dst);
}

int zebcmp(const zebchar* a, const zebchar* b) {
  ZEB_Trace trace(kUnit, "zebcmp");
  const std::size_t lengthA = zeblen(a);
  const std::size_t lengthB = zeblen(b);
  if (lengthA != lengthB) return trace.leave(static_cast<int>(lengthA) - static_cast<int>(lengthB));
  // Byte order on purpose, not the order of the units' values.
  return trace.leave(lengthA == 0 ? 0 : std::memcmp(a, b, lengthA * sizeof(zebchar)));
}

int strtozeb(zebchar* dst, const char* src, std::size_t n) {
  ZEB_Trace trace(kUnit, "strtozeb");
  for (std::size_t i = 0; i < n; ++i) dst[i] = ZEB_Widened(src[i]);
  dst[n] = 0;
  return trace.leave(0);
}

int zebtostr(char* dst, const zebchar* src, std::size_t n) {
  ZEB_Trace trace(kUnit, "zebtostr");
  for (std::size_t i = 0; i < n; ++i) dst[i] = static_cast<char>(src[i] & 0xFF);
  dst[n] = 0;
  return trace.leave(0);
}
