// SPDX-License-Identifier: Apache-2.0
#include "store/events_data_area.h"

#include "base/trace.h"
#include "format/names.h"

namespace {

constexpr char kUnit[] = "zebcedar";

}  // namespace

ZEB_Events_Data_Area::ZEB_Events_Data_Area(const ZEB_String& name)
    : ZEB_Wrapping_Area(name + layout::kEventDataSuffix) {
  ZEB_Trace trace(kUnit, "ZEB_Events_Data_Area::ZEB_Events_Data_Area");
  setEyecatcher(layout::block::eventData);
}

ZEB_ReturnCode ZEB_Events_Data_Area::put(ZEB_Record* record) {
  ZEB_Trace trace(kUnit, "ZEB_Events_Data_Area::put");
  if (!record || record->type() != ZEB_EVDR_RECORD) return trace.leave(ZEB_ReturnCode(ZEB_SUCCESS));
  return trace.leave(putWrapping(record));
}

int ZEB_Events_Data_Area::getType() const {
  ZEB_Trace trace(kUnit, "ZEB_Events_Data_Area::getType");
  return trace.leave(2);
}
