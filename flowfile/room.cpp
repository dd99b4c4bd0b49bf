// SPDX-License-Identifier: Apache-2.0
#include "flowfile/room.h"

#include "format/names.h"
#include "format/sizes.h"
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
  return layout::roomIn(static_cast<std::uint32_t>(memorySize.value_or(layout::kDefaultArea)));
}

std::uint64_t templateBytes(std::uint64_t units) {
  return layout::recordSize(ZEB_EVTR_RECORD, units);
}

std::uint64_t nodeBytes(std::uint64_t units) {
  return layout::recordSize(ZEB_NOIR_RECORD, units);
}

std::uint64_t exceptionUnits(std::string_view origin, std::string_view code,
                             std::string_view text) {
  constexpr std::string_view kBefore = layout::kExceptionPrefix;
  constexpr std::string_view kBetween = "(). ";
  return kBefore.size() + kBetween.size() + origin.size() + code.size() + text.size();
}

}  // namespace flowfile
