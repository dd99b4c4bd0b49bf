// SPDX-License-Identifier: Apache-2.0
// The area that holds event templates, each stored once.
#ifndef ZEB_STORE_EVENTS_TEMPLATE_AREA_H
#define ZEB_STORE_EVENTS_TEMPLATE_AREA_H

#include "records/event_template.h"
#include "store/wrapping_area.h"

class ZEB_Events_Template_Area : public ZEB_Wrapping_Area {
 public:
  explicit ZEB_Events_Template_Area(const ZEB_String& name);  // of the broker

  // Any other record, or null, is silently not written, on purpose: code 0.
  ZEB_ReturnCode put(ZEB_Record* record) override;
  // One turn of put: with code 2 there was no room, and there is now, unless the template is larger
  // than the area.
  ZEB_ReturnCode putOnce(ZEB_EVTR* eventTemplate);

  int getType() const override;  // 3
};

#endif  // ZEB_STORE_EVENTS_TEMPLATE_AREA_H
