// SPDX-License-Identifier: Apache-2.0
// The area that holds event templates, each stored once.
#ifndef ZEB_STORE_EVENTS_TEMPLATE_AREA_H
#define ZEB_STORE_EVENTS_TEMPLATE_AREA_H

#include "records/event_template.h"
#include "store/wrapping_area.h"

// Templates have different lengths, so one may write over several older ones. A walk ends where
// somebody is writing, with code 1: what lies behind can't be found.
class ZEB_Events_Template_Area : public ZEB_Wrapping_Area {
 public:
  // Named by what identifies the broker, directly followed by ".zebcetar".
  explicit ZEB_Events_Template_Area(const ZEB_String& name);

  // Appends the template, or starts again at the area's beginning. Any other record, or null, is
  // silently not written, on purpose: code 0. Other codes as ZEB_Shared_Area::put.
  ZEB_ReturnCode put(ZEB_Record* record) override;
  // One turn of put. After code 2 there is room, unless the template is larger than the area.
  ZEB_ReturnCode putOnce(ZEB_EVTR* eventTemplate);

  int getType() const override;  // 3
};

#endif  // ZEB_STORE_EVENTS_TEMPLATE_AREA_H
