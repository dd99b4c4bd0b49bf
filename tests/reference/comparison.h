// SPDX-License-Identifier: Apache-2.0
// Compares a stored statistics area with the one that the model holds.
#ifndef ZEB_TESTS_REFERENCE_COMPARISON_H
#define ZEB_TESTS_REFERENCE_COMPARISON_H

#include <map>
#include <optional>
#include <string>

#include "tests/reference/model.h"

namespace reference {

// Gives IDs their names, 1, 2 and so on, in the order in which they are first seen. The name takes
// the place of the random number, so that two images can be compared byte for byte.
class IdNames {
 public:
  // The image, in which each record ID and parent ID of the records at these offsets has its name.
  Bytes named(const Bytes& image, const std::vector<std::size_t>& offsets);

 private:
  void name(Bytes& image, std::size_t at);
  std::map<support::RecordId, std::uint32_t> names_;
};

// One area through all of a sequence: an ID keeps its name from one comparison to the next.
class Comparison {
 public:
  // The first byte that differs, told as the field it belongs to with both values; nothing when all
  // bytes are the same. `stored` is empty when no area is there.
  std::optional<std::string> difference(const Area* expected, const Bytes& stored);

 private:
  IdNames expectedNames_;
  IdNames storedNames_;
};

}  // namespace reference

#endif  // ZEB_TESTS_REFERENCE_COMPARISON_H
