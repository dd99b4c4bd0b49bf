// SPDX-License-Identifier: Apache-2.0
#include "base/memory_size.h"

#include <cstdlib>

#include "base/settings.h"
#include "format/names.h"
#include "format/sizes.h"

std::uint32_t ZEB_ConfiguredMemorySize() {
  const ZEB_String value = ZEB_ConfigurationValue(layout::kMemorySizeKey);
  const char* const text = value.getcValue();
  if (!text || *text == '\0') return layout::kDefaultArea;
  // The low 32 bits, read as unsigned: a negative number is a huge one.
  return layout::areaSize(static_cast<std::uint32_t>(std::strtol(text, nullptr, 10)));
}
