// SPDX-License-Identifier: Apache-2.0
// What the tests of nodes look at: the broker "UUID1" in shared memory, and messages.
#ifndef ZEB_TESTS_UNIT_NODE_NODE_TEST_H
#define ZEB_TESTS_UNIT_NODE_NODE_TEST_H

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>

#include "base/resource_id.h"
#include "base/wide.h"
#include "records/message_descriptor.h"
#include "tests/support/failing.h"
#include "tests/support/library_test.h"

namespace support {

inline ZEB_Resource_ID resourceId(const std::string& label, const std::string& uuid = "") {
  const ZEB_String wideUuid(uuid.c_str());
  const ZEB_String wideLabel(label.c_str());
  return ZEB_Resource_ID(&wideUuid, &wideLabel);
}

inline const zebchar* units(const std::u16string& text) {
  return reinterpret_cast<const zebchar*>(text.c_str());
}

class NodeTest : public StoringTest {
 protected:
  static std::vector<StoredRecord> templates() { return records("zebcetar"); }
  static std::vector<StoredRecord> events() { return records("zebcedar"); }
};

}  // namespace support

#endif  // ZEB_TESTS_UNIT_NODE_NODE_TEST_H
