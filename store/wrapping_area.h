// SPDX-License-Identifier: Apache-2.0
// An area that starts again at its beginning when it is full.
#ifndef ZEB_STORE_WRAPPING_AREA_H
#define ZEB_STORE_WRAPPING_AREA_H

#include "store/shared_area.h"

// The newest records overwrite the oldest. The last offset keeps its high-water mark, so that the
// records behind the next position are older ones, the first of them perhaps cut.
class ZEB_Wrapping_Area : public ZEB_Shared_Area {
 protected:
  using ZEB_Shared_Area::ZEB_Shared_Area;

  // One turn: as ZEB_Shared_Area::put, and with code 2 the next position is the first one. Holds no
  // lock in between and allocates nothing for a record that does not fit.
  ZEB_ReturnCode putOrWrap(ZEB_Record* record);

  // As putOrWrap, again and again while there is no room: so the record goes to the first position.
  // A record larger than the whole area is tried for ever: there is no guard, on purpose.
  ZEB_ReturnCode putWrapping(ZEB_Record* record);
};

#endif  // ZEB_STORE_WRAPPING_AREA_H
