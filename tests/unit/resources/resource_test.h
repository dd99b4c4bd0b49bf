// SPDX-License-Identifier: Apache-2.0
// Resources, records and statistics as the tests of the tree need them.
#ifndef ZEB_TESTS_UNIT_RESOURCES_RESOURCE_TEST_H
#define ZEB_TESTS_UNIT_RESOURCES_RESOURCE_TEST_H

#include <memory>

#include "records/execution_group_record.h"
#include "records/message_flow_record.h"
#include "records/node_record.h"
#include "records/record_set.h"
#include "records/statistics_record.h"
#include "tests/support/failing.h"
#include "tests/support/library_test.h"

namespace support {

// A resource identifier without UUID, as groups, flows and nodes have.
inline ZEB_Resource_ID resourceId(const std::string& label, const std::string& uuid = "") {
  const ZEB_String wideUuid(uuid.c_str());
  const ZEB_String wideLabel(label.c_str());
  return ZEB_Resource_ID(&wideUuid, &wideLabel);
}

inline RecordId idOf(const ZEB_Record_ID* id) {
  return idAt(bytesAt(id, 16), 0);
}
inline RecordId idOf(const ZEB_Record& record) {
  return idOf(record.getRecordId());
}

inline std::string textOf(const ZEB_String& string) {
  return string.getcValue();
}

// Statistics of that many messages, each of `size` bytes.
inline void fold(ZEB_STIR& record, int messages, int size) {
  for (int i = 0; i < messages; ++i) record.updateStatistics({0, 20}, {0, 10}, size);
}

// The three lines that a resource prints.
inline Texts printed(const std::string& type, const std::string& label, const std::string& uuid) {
  return {"Type                : " + type, "Label               : " + label,
          "Uuid                : " + uuid};
}

// A set of records that belong to the test.
class StoredSet : public ZEB_Record_Set {
 public:
  StoredSet() = default;
  StoredSet(const StoredSet&) = delete;
  StoredSet& operator=(const StoredSet&) = delete;
  ~StoredSet() { clearAndDestroy(); }

  // A record of that class below the parent, whose fields the test may still set.
  template <typename Record>
  Record* add(const std::string& label, const ZEB_Record_ID* parent) {
    const ZEB_Resource_ID id = resourceId(label);
    auto* const record = new Record(&id);
    record->setParent(parent);
    insert(record);
    return record;
  }
  ZEB_STIR* addStatistics(const ZEB_Record_ID* parent) {
    auto* const record = new ZEB_STIR(1);
    record->setParent(parent);
    insert(record);
    return record;
  }
};

// The sums of three accumulators, as a resource gives them.
struct Sums {
  ZEB_STIR first{0};
  ZEB_STIR second{0};
  ZEB_STIR third{0};

  template <typename Resource>
  int of(Resource& resource) {
    return resource.getStatistics(&first, &second, &third);
  }
  std::vector<long> counts() const {
    return {first.getMessageCount(), second.getMessageCount(), third.getMessageCount()};
  }
};

}  // namespace support

#endif  // ZEB_TESTS_UNIT_RESOURCES_RESOURCE_TEST_H
