// SPDX-License-Identifier: Apache-2.0
// The version, what a status means, and texts made fit to be shown.
#include <cstring>
#include <exception>
#include <string>
#include <string_view>

#include "format/version.h"
#include "read/zebread.h"
#include "text/printable.h"
#include "text/utf8.h"

namespace {

// How much of a printable text fits into so many bytes without cutting a character.
std::size_t fitting(std::string_view text, std::size_t bytes) {
  std::size_t at = 0;
  while (at < text.size()) {
    const std::size_t step = text::firstOf(text.substr(at)).bytes;
    if (at + step > bytes) break;
    at += step;
  }
  return at;
}

}  // namespace

int zebread_version(void) noexcept {
  return ZEBREAD_VERSION;
}

const char* zebread_version_text(void) noexcept {
  return layout::kVersion;
}

const char* zebread_status_text(zebread_status status) noexcept {
  switch (status) {
    case ZEBREAD_OK:
      return "";
    case ZEBREAD_ABSENT:
      return "there is no such value";
    case ZEBREAD_UNREADABLE:
      return "the value is there, but damaged";
    case ZEBREAD_INVALID:
      return "an argument is null or means nothing. Compare the call with zebread.h";
    case ZEBREAD_DIRECTORY:
      return "the directory of the key files can't be read. Name the one that the brokers use";
    case ZEBREAD_NO_MEMORY:
      return "no memory is left. Look at fewer bytes, or give the process more";
    case ZEBREAD_FAILED:
      break;
  }
  return "it failed for a reason that is not known";
}

size_t zebread_printable(const char* text, char* buffer, size_t size) noexcept {
  try {
    const std::string shown = text::printable(text == nullptr ? "" : text);
    if (buffer != nullptr && size > 0) {
      const std::size_t bytes = fitting(shown, size - 1);
      std::memcpy(buffer, shown.data(), bytes);
      buffer[bytes] = 0;
    }
    return shown.size();
  } catch (const std::exception&) {
    if (buffer != nullptr && size > 0) buffer[0] = 0;
    return static_cast<size_t>(-1);
  }
}

void zebread_hex(const uint8_t* from, size_t bytes, char* digits) noexcept {
  if (digits == nullptr) return;
  constexpr char kDigits[] = "0123456789ABCDEF";
  for (std::size_t i = 0; from != nullptr && i < bytes; ++i) {
    *digits++ = kDigits[from[i] >> 4];
    *digits++ = kDigits[from[i] & 0xF];
  }
  *digits = 0;
}
