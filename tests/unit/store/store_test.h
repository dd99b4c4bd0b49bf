// SPDX-License-Identifier: Apache-2.0
// A segment to put areas into, and records to put into areas.
#ifndef ZEB_TESTS_UNIT_STORE_STORE_TEST_H
#define ZEB_TESTS_UNIT_STORE_STORE_TEST_H

#include <memory>

#include "records/event_data.h"
#include "records/event_template.h"
#include "records/message_flow_record.h"
#include "records/statistics_record.h"
#include "store/shared_memory.h"
#include "tests/support/failing.h"
#include "tests/support/library_test.h"

namespace support {

inline ZEB_String name(const std::string& text) {
  return ZEB_String(text.c_str());
}

class StoreTest : public LibraryTest {
 protected:
  // Attaches the segment of the broker "UUID1".
  void SetUp() override {
    LibraryTest::SetUp();
    begin();
  }

  void begin() {
    const ZEB_String uuid("UUID1");
    segment = std::make_unique<ZEB_Shared_Memory>(&uuid);
    segment->init();
  }

  void beginWith(const std::string& configuration) {
    segment.reset();
    configure(configuration);
    begin();
  }

  // What the segment holds.
  Bytes bytes() const {
    const Bytes header = bytesAt(segment->getAddress(), 32);
    return bytesAt(segment->getAddress(), unsignedAt(header, 12));
  }
  Block block(const std::string& eyecatcher) const {
    return findBlock(bytes(), eyecatcher).value_or(Block{});
  }
  std::vector<StoredRecord> records(const std::string& eyecatcher) const {
    return recordsOf(bytes(), block(eyecatcher));
  }
  void* at(std::size_t offset) const { return static_cast<char*>(segment->getAddress()) + offset; }

  std::unique_ptr<ZEB_Shared_Memory> segment;
};

// A flow record of exactly that many bytes, an even number of at least 52.
inline std::unique_ptr<ZEB_MFIR> flowOfBytes(std::size_t count) {
  const ZEB_String uuid;
  const ZEB_String label = name(std::string((count - 52) / 2, 'x'));
  const ZEB_Resource_ID id(&uuid, &label);
  return std::make_unique<ZEB_MFIR>(&id);
}

inline std::unique_ptr<ZEB_EVTR> templateOf(const std::string& text) {
  const ZEB_String group("EG");
  const ZEB_String flow("FLOW");
  const ZEB_String node("NODE");
  const ZEB_String message = name(text);
  return std::make_unique<ZEB_EVTR>(&group, &flow, &node, ZEB_INPUT_NODE, &message);
}

inline std::unique_ptr<ZEB_EVDR> eventOf(const ZEB_Record& parent, int threadId = 1) {
  const MessageDescriptor descriptor{};
  auto event = std::make_unique<ZEB_EVDR>(&descriptor, threadId);
  event->setParent(parent.getRecordId());
  return event;
}

inline RecordId idOf(const ZEB_Record& record) {
  return idAt(bytesAt(record.getRecordId(), 16), 0);
}

// Records that somebody read; destroyed with the set.
template <typename Set>
struct OwnedRecords : Set {
  OwnedRecords() = default;
  OwnedRecords(const OwnedRecords&) = delete;
  OwnedRecords& operator=(const OwnedRecords&) = delete;
  ~OwnedRecords() { this->clearAndDestroy(); }
};

}  // namespace support

#endif  // ZEB_TESTS_UNIT_STORE_STORE_TEST_H
