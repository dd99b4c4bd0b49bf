// SPDX-License-Identifier: Apache-2.0
#include "agent/reader/letters.h"

#include <algorithm>

namespace reader {

char lower(char letter) {
  return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

std::string lowered(std::string_view text) {
  std::string copy(text);
  std::ranges::transform(copy, copy.begin(), lower);
  return copy;
}

bool sameLetters(std::string_view one, std::string_view other) {
  return std::ranges::equal(one, other, {}, lower, lower);
}

}  // namespace reader
