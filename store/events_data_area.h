// SPDX-License-Identifier: Apache-2.0
// The area that holds event data records, one per posted event.
#ifndef ZEB_STORE_EVENTS_DATA_AREA_H
#define ZEB_STORE_EVENTS_DATA_AREA_H

#include "store/wrapping_area.h"

class ZEB_Events_Data_Area : public ZEB_Wrapping_Area {
 public:
  explicit ZEB_Events_Data_Area(const ZEB_String& name);  // of the broker

  // Any other record, or null, is silently not written, on purpose: code 0.
  ZEB_ReturnCode put(ZEB_Record* record) override;
  int getType() const override;  // 2
};

#endif  // ZEB_STORE_EVENTS_DATA_AREA_H
