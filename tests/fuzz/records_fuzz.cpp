// SPDX-License-Identifier: Apache-2.0
// Any bytes as the contents of an area: records are found, rebuilt, printed and stored again, and
// what is stored again is what was read.
#include <cstring>
#include <vector>

#include "records/record_factory.h"
#include "tests/fuzz/private_world.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t length) {
  std::vector<std::uint8_t> bytes(data, data + length);
  std::size_t at = 0;
  while (const std::size_t size = layout::storedSize({bytes.data() + at, bytes.size() - at})) {
    std::uint8_t* const stored = bytes.data() + at;
    const auto record = ZEB_MakeBlankRecord(layout::typeOf(stored));
    fuzz::require(record && record->get(stored) == stored + size);
    record->print();
    // A string that ended early, or digits that were none, make a shorter or another record.
    std::vector<std::uint8_t> again(record->size());
    fuzz::require(again.size() <= size);
    fuzz::require(record->put(again.data()) == again.data() + again.size());
    fuzz::require(std::memcmp(again.data(), stored, layout::header::bytes) == 0);
    at += size;
  }
  fuzz::quietHost();
  return 0;
}
