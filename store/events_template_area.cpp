// SPDX-License-Identifier: Apache-2.0
#include "store/events_template_area.h"

#include "base/trace.h"
#include "format/names.h"

namespace {

constexpr char kUnit[] = "zebcetar";

}  // namespace

ZEB_Events_Template_Area::ZEB_Events_Template_Area(const ZEB_String& name)
    : ZEB_Wrapping_Area(name + layout::kEventTemplatesSuffix) {
  ZEB_Trace trace(kUnit, "ZEB_Events_Template_Area::ZEB_Events_Template_Area");
  setEyecatcher(layout::block::eventTemplates);
}

ZEB_ReturnCode ZEB_Events_Template_Area::put(ZEB_Record* record) {
  ZEB_Trace trace(kUnit, "ZEB_Events_Template_Area::put");
  if (!record || record->type() != ZEB_EVTR_RECORD) return trace.leave(ZEB_ReturnCode(ZEB_SUCCESS));
  return trace.leave(putWrapping(record));
}

ZEB_ReturnCode ZEB_Events_Template_Area::putOnce(ZEB_EVTR* eventTemplate) {
  ZEB_Trace trace(kUnit, "ZEB_Events_Template_Area::put");
  return trace.leave(putOrWrap(eventTemplate));
}

int ZEB_Events_Template_Area::getType() const {
  ZEB_Trace trace(kUnit, "ZEB_Events_Template_Area::getType");
  return trace.leave(3);
}
