// SPDX-License-Identifier: Apache-2.0
#include "host/report/numbers.h"

namespace host {

std::string grouped(std::uint64_t number) {
  std::string digits = std::to_string(number);
  for (std::size_t at = digits.size(); at > 3;) {
    at -= 3;
    digits.insert(at, 1, ',');
  }
  return digits;
}

std::string counted(std::uint64_t count, const char* what) {
  return grouped(count) + " " + what + (count == 1 ? "" : "s");
}

}  // namespace host
