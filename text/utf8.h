// SPDX-License-Identifier: Apache-2.0
// UTF-8 as it comes from outside: nothing is assumed to be well-formed.
#ifndef ZEB_TEXT_UTF8_H
#define ZEB_TEXT_UTF8_H

#include <cstddef>
#include <string>
#include <string_view>

namespace text {

// What takes the place of something that is no character.
inline constexpr char32_t kReplacement = 0xFFFD;

// One step through a text.
struct Step {
  char32_t point = 0;     // the code point; of no use when `valid` is false
  std::size_t bytes = 0;  // how far to go: 1 to 4, and 1 for a byte that begins no character
  bool valid = false;     // false: overlong, cut off, a surrogate, above U+10FFFF, or a stray byte
};

// The character at the start of `utf8`, which must not be empty.
Step firstOf(std::string_view utf8);

// True when every byte belongs to a well-formed character; so is the empty text.
bool wellFormed(std::string_view utf8);

// Appends one code point in UTF-8. A surrogate, or what is above U+10FFFF, becomes U+FFFD.
void append(std::string& utf8, char32_t point);

}  // namespace text

#endif  // ZEB_TEXT_UTF8_H
