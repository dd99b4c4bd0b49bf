// SPDX-License-Identifier: Apache-2.0
#include "store/wrapping_area.h"

ZEB_ReturnCode ZEB_Wrapping_Area::putOrWrap(ZEB_Record* record) {
  const ZEB_ReturnCode code = ZEB_Shared_Area::put(record);
  if (code != ZEB_NO_ROOM) return code;
  lock();
  // Somebody else may have wrapped meanwhile: a second wrap would overwrite the newest records.
  if (!isEnoughSpace(getNextPosition(), record->size())) setNextPosition(getFirstPosition());
  unlock();
  return code;
}

ZEB_ReturnCode ZEB_Wrapping_Area::putWrapping(ZEB_Record* record) {
  ZEB_ReturnCode code = ZEB_NO_ROOM;
  while (code == ZEB_NO_ROOM) code = putOrWrap(record);
  return code;
}
