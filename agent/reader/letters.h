// SPDX-License-Identifier: Apache-2.0
// ASCII letters without their case, whatever the locale. All other bytes stay as they are.
#ifndef ZEB_AGENT_READER_LETTERS_H
#define ZEB_AGENT_READER_LETTERS_H

#include <string>
#include <string_view>

namespace reader {

char lower(char letter);
std::string lowered(std::string_view text);

// Whether two texts differ in the case of letters alone.
bool sameLetters(std::string_view one, std::string_view other);

}  // namespace reader

#endif  // ZEB_AGENT_READER_LETTERS_H
