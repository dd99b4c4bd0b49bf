// SPDX-License-Identifier: Apache-2.0
#include "store/events_data_area.h"

#include <algorithm>

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

// A damaged area may hold events anywhere. They are 144 bytes long even so, so no two of them begin
// in one slot.
std::size_t ZEB_Events_Data_Area::slots() const {
  return getSize() / layout::evdr::bytes + 1;
}

std::size_t ZEB_Events_Data_Area::slotOf(const void* address) const {
  return std::min(ZEB_Distance(getFirstPosition(), address) / layout::evdr::bytes, slots());
}
