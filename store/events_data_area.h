// SPDX-License-Identifier: Apache-2.0
// The area that holds event data records, one per posted event.
#ifndef ZEB_STORE_EVENTS_DATA_AREA_H
#define ZEB_STORE_EVENTS_DATA_AREA_H

#include "store/wrapping_area.h"

// Each record has 144 bytes, so a slot is written over by exactly one record. A walk goes on behind
// a slot that somebody is writing.
class ZEB_Events_Data_Area : public ZEB_Wrapping_Area {
 public:
  // Named by what identifies the broker, directly followed by ".zebcedar".
  explicit ZEB_Events_Data_Area(const ZEB_String& name);

  // Appends the event, or starts again at the area's beginning. Any other record, or null, is
  // silently not written, on purpose: code 0. Other codes as ZEB_Shared_Area::put.
  ZEB_ReturnCode put(ZEB_Record* record) override;
  int getType() const override;  // 2

  // Which slot an address in the area belongs to, from 0 on; slots() when it is outside.
  std::size_t slotOf(const void* address) const;
  std::size_t slots() const;

 protected:
  std::uint32_t slotBytes() const override { return layout::evdr::bytes; }
  std::size_t oldBytes(const std::uint8_t* /*place*/) const override { return 0; }
};

#endif  // ZEB_STORE_EVENTS_DATA_AREA_H
