// SPDX-License-Identifier: Apache-2.0
// The area that holds the information and statistics records of a broker. It never wraps.
#ifndef ZEB_STORE_STATISTICS_AREA_H
#define ZEB_STORE_STATISTICS_AREA_H

#include "store/shared_area.h"

class ZEB_Stats_Area : public ZEB_Shared_Area {
 public:
  explicit ZEB_Stats_Area(const ZEB_String& name);  // of the broker

  int getType() const override;  // 1
};

#endif  // ZEB_STORE_STATISTICS_AREA_H
