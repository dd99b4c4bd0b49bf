// SPDX-License-Identifier: Apache-2.0
// An area that starts again at its beginning when it is full.
#ifndef ZEB_STORE_WRAPPING_AREA_H
#define ZEB_STORE_WRAPPING_AREA_H

#include "store/shared_area.h"

// The newest records write over the oldest. The last offset keeps its highest value, so the records
// behind the next offset are older ones, the first of them perhaps cut.
//
// Readers take no lock, so a record is written and read as format/event_bytes.h says: it is never
// rebuilt from the halves of two. Where somebody is writing, a reader looks up to 100 times.
class ZEB_Wrapping_Area : public ZEB_Shared_Area {
 protected:
  using ZEB_Shared_Area::ZEB_Shared_Area;

  // One turn: as ZEB_Shared_Area::put. After code 2 the next position is the first one. Holds no
  // lock in between and allocates nothing for a record that does not fit.
  ZEB_ReturnCode putOrWrap(ZEB_Record* record);

  // As putOrWrap, until there is room: so the record goes to the first position. A record larger
  // than the whole area is tried without end: there is no guard, on purpose.
  ZEB_ReturnCode putWrapping(ZEB_Record* record);

  void store(std::uint8_t* place, std::span<const std::uint8_t> record) override;
  void prepare(std::span<const std::uint8_t> place, std::span<std::uint8_t> copy) override;
  event_bytes::Look look(std::span<const std::uint8_t> place,
                         std::span<std::uint8_t> copy) override;

  // From `place` to the last offset: bytes that may hold older records. 0 where each record has the
  // same slot as the one that it writes over.
  virtual std::size_t oldBytes(const std::uint8_t* place) const;
};

#endif  // ZEB_STORE_WRAPPING_AREA_H
