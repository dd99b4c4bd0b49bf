// SPDX-License-Identifier: Apache-2.0
#include "base/format.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdarg>
#include <cstdio>

#include "base/error_text.h"
#include "base/trace.h"

namespace {

constexpr char kUnit[] = "zebctool";

constexpr std::ptrdiff_t kRun = 8;

void dumpRun(const ZEB_Trace& trace, const unsigned char* run, std::ptrdiff_t length) {
  char hex[3 * kRun + 1];
  char characters[kRun + 1] = {};
  for (std::ptrdiff_t i = 0; i < kRun; ++i) {
    if (i < length)
      std::snprintf(hex + 3 * i, 4, "%02X ", run[i]);
    else
      std::snprintf(hex + 3 * i, 4, "   ");
    characters[i] = ' ';
    if (i < length) characters[i] = std::isprint(run[i]) ? static_cast<char>(run[i]) : '.';
  }
  trace.print("| %#X | %s | %s |", run, hex, characters);
}

}  // namespace

ZEB_String ZEB_Format_Message(const char* format, ...) {
  ZEB_Trace trace(kUnit, "ZEB_Format_Message");
  char text[kLogTextBytes] = {};
  if (format) {
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
  }
  return ZEB_String(text);
}

ZEB_String ZEB_GetLastError(int code) {
  ZEB_Trace trace(kUnit, "ZEB_GetLastError");
  char text[kErrorTextBytes];
  ZEB_FormatError(text, code == 0 ? errno : code);
  return ZEB_String(text);
}

void ZEB_DumpMemory(const void* address, std::ptrdiff_t length, const char* title) {
  ZEB_Trace trace(kUnit, "ZEB_DumpMemory");
  if (!address) return;
  if (title) trace.print("%s", title);
  const auto* run = static_cast<const unsigned char*>(address);
  for (; length >= 1; length -= kRun, run += kRun) dumpRun(trace, run, std::min(length, kRun));
}
