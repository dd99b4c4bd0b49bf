// SPDX-License-Identifier: Apache-2.0
#include "flowfile/room.h"

#include "format/layout.h"
#include "text/utf8.h"

namespace flowfile {

std::uint64_t unitsOf(std::string_view utf8) {
  std::uint64_t units = 0;
  while (!utf8.empty()) {
    const text::Step step = text::firstOf(utf8);
    units += step.point >= 0x10000 ? 2 : 1;
    utf8.remove_prefix(step.bytes);
  }
  return units;
}

std::uint64_t roomIn(const std::optional<std::int64_t>& memorySize) {
  return static_cast<std::uint64_t>(memorySize.value_or(kDefaultMemory)) - layout::block::bytes;
}

std::uint64_t templateBytes(std::uint64_t units) {
  return layout::evtr::bytes + 2 * units;
}

std::uint64_t nodeBytes(std::uint64_t units) {
  return layout::noir::bytes + 2 * units;
}

std::uint64_t exceptionUnits(std::string_view origin, std::string_view code,
                             std::string_view text) {
  constexpr std::string_view kAround = "Exception found in (). ";
  return kAround.size() + origin.size() + code.size() + text.size();
}

}  // namespace flowfile
