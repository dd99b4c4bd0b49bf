// The area that holds event templates, each stored once.
#ifndef ZEB_STORE_EVENTS_TEMPLATE_AREA_H
#define ZEB_STORE_EVENTS_TEMPLATE_AREA_H

#include "store/wrapping_area.h"

class ZEB_Events_Template_Area : public Wrapping_Area {
 public:
  explicit ZEB_Events_Template_Area(const ZEB_String& name);  // of the broker

  // Any other record, or null, is silently not written, on purpose: code 0.
  ZEB_ReturnCode put(ZEB_Record* record) override;
  int getType() const override;  // 3
};

#endif  // ZEB_STORE_EVENTS_TEMPLATE_AREA_H
