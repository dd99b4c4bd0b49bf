// SPDX-License-Identifier: Apache-2.0
#include "base/temp_directory.h"

#include <cstdio>
#include <mutex>

#include "base/settings.h"
#include "base/trace.h"

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
    const ZEB_String value = ZEB_ConfigurationValue("ZEBTempDirectory");
    const char* const text = value.getcValue();
    if (!text) return value;
    const char* const end = value.size() > 0 && text[value.size() - 1] != '/' ? "/" : "";
    std::snprintf(kept, sizeof kept, "%s%s", value.size() > 0 ? text : "/tmp/", end);
  }
  return ZEB_String(kept);
}
