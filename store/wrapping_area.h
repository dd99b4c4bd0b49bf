// An area that starts again at its beginning when it is full.
#ifndef ZEB_STORE_WRAPPING_AREA_H
#define ZEB_STORE_WRAPPING_AREA_H

#include "store/shared_area.h"

// The newest records overwrite the oldest. The last offset keeps its high-water mark, so that the
// records behind the next position are older ones, the first of them perhaps cut.
class Wrapping_Area : public ZEB_Shared_Area {
 protected:
  using ZEB_Shared_Area::ZEB_Shared_Area;

  // As ZEB_Shared_Area::put, and a record for which there is no room goes to the first position. A
  // record larger than the whole area is tried for ever: there is no guard, on purpose.
  ZEB_ReturnCode putWrapping(ZEB_Record* record);
};

#endif  // ZEB_STORE_WRAPPING_AREA_H
