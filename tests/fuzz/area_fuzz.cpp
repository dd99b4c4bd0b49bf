// SPDX-License-Identifier: Apache-2.0
// Any bytes as an area: it is read, its records are refreshed and written in place, one more is
// appended. A record that was read is refreshed with code 0, and nothing outside is touched.
#include <memory>

#include "store/shared_area.h"
#include "tests/fuzz/private_world.h"

namespace {

constexpr std::size_t kLeast = 4096;

struct Area : ZEB_Shared_Area {
  Area() : ZEB_Shared_Area(ZEB_String("AREA")) {}
};

void append(Area& area, ZEB_Record& record) {
  record.setAddress(nullptr);
  const std::uint32_t code = area.put(&record).getCode();
  fuzz::require(code == ZEB_SUCCESS || code == ZEB_NO_ROOM);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t length) {
  std::vector<std::uint8_t> bytes = fuzz::atLeast(kLeast, data, length);
  Area area;
  area.bindTo(bytes.data(), static_cast<std::uint32_t>(bytes.size()));
  ZEB_Record_Set records;
  const std::uint32_t code = area.read(&records).getCode();
  fuzz::require(code == ZEB_SUCCESS || code == ZEB_NOT_READ);
  for (ZEB_Record* record : records) {
    const std::uint32_t size = record->size();
    const std::uint32_t refreshed = area.get(record).getCode();
    // A string that ended early makes a record that is shorter than what is stored.
    fuzz::require(refreshed == ZEB_SUCCESS || refreshed == ZEB_NOT_READ);
    fuzz::require(record->size() == size);
  }
  for (ZEB_Record* record : records) fuzz::require(area.put(record).getCode() == ZEB_SUCCESS);
  if (!records.isEmpty()) append(area, **records.begin());
  for (const ZEB_Record* record : records) {
    for (const ZEB_Record* child : records.childrenOf(record))
      fuzz::require(child->isChildOf(record) != 0);
  }
  records.clearAndDestroy();
  fuzz::quietHost();
  return 0;
}
