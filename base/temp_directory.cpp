// SPDX-License-Identifier: Apache-2.0
#include "base/temp_directory.h"

#include <cstring>
#include <mutex>

#include "base/settings.h"
#include "base/trace.h"
#include "format/names.h"

namespace {

constexpr char kUnit[] = "zebcbrkr";

constexpr int kDirectoryBytes = 514;  // the longest value, a "/", the terminator

}  // namespace

ZEB_String ZEB_GetTempDirectory() {
  ZEB_Trace trace(kUnit, "ZEB_Broker::getTempDirectory");
  // Plain bytes, so that threads which outlive the process's exit handlers can still read them.
  static std::mutex computing;
  static char kept[kDirectoryBytes] = "";
  const std::lock_guard guard(computing);
  if (kept[0] == '\0') {
    const ZEB_String value = ZEB_ConfigurationValue(layout::kDirectoryKey);
    if (!value.OK()) return value;
    std::strcpy(kept, layout::kDefaultDirectory);
    if (const std::uint32_t length = value.size()) {
      zebtostr(kept, value.getwcValue(), length);
      if (kept[length - 1] != '/') std::strcat(kept, "/");
    }
  }
  return ZEB_String(kept);
}
