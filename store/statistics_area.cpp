// SPDX-License-Identifier: Apache-2.0
#include "store/statistics_area.h"

#include "base/trace.h"
#include "format/names.h"

namespace {

constexpr char kUnit[] = "zebcstar";

}  // namespace

ZEB_Stats_Area::ZEB_Stats_Area(const ZEB_String& name)
    : ZEB_Shared_Area(name + layout::kStatisticsSuffix) {
  ZEB_Trace trace(kUnit, "ZEB_Stats_Area::ZEB_Stats_Area");
  setEyecatcher(layout::block::statistics);
}

int ZEB_Stats_Area::getType() const {
  ZEB_Trace trace(kUnit, "ZEB_Stats_Area::getType");
  return trace.leave(1);
}
