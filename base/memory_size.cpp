// SPDX-License-Identifier: Apache-2.0
#include "base/memory_size.h"

#include <algorithm>
#include <cstdlib>

#include "base/settings.h"

namespace {

constexpr std::uint32_t kDefault = 32768;
constexpr std::uint32_t kCeiling = 2147483647;

}  // namespace

std::uint32_t ZEB_ConfiguredMemorySize() {
  const ZEB_String value = ZEB_ConfigurationValue("ZEBMemorySize");
  const char* const text = value.getcValue();
  if (!text || *text == '\0') return kDefault;
  // The low 32 bits, read as unsigned: a negative number is a huge one.
  const auto size = static_cast<std::uint32_t>(std::strtol(text, nullptr, 10));
  return std::clamp(size, kSmallestMemorySize, kCeiling);
}
