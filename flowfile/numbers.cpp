// SPDX-License-Identifier: Apache-2.0
#include "flowfile/numbers.h"

namespace flowfile {

std::string grouped(std::uint64_t number) {
  std::string digits = std::to_string(number);
  for (std::size_t at = digits.size(); at > 3;) {
    at -= 3;
    digits.insert(at, 1, ',');
  }
  return digits;
}

std::string groupedSigned(std::int64_t number) {
  const auto magnitude = static_cast<std::uint64_t>(number);
  return number < 0 ? "-" + grouped(0 - magnitude) : grouped(magnitude);
}

std::string counted(std::uint64_t count, const char* what) {
  return grouped(count) + " " + what + (count == 1 ? "" : "s");
}

}  // namespace flowfile
