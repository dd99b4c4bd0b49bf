// SPDX-License-Identifier: Apache-2.0
// The records of a statistics area, in memory of the test's own.
#ifndef ZEB_TESTS_UNIT_RESOURCES_STORED_RECORDS_H
#define ZEB_TESTS_UNIT_RESOURCES_STORED_RECORDS_H

#include "records/broker_record.h"
#include "records/execution_group_record.h"
#include "records/message_flow_record.h"
#include "records/node_record.h"
#include "records/statistics_record.h"
#include "resources/stored_tree.h"
#include "tests/support/library_test.h"

namespace support {

inline ZEB_Resource_ID named(const char* label) {
  const ZEB_String uuid("UUID");
  const ZEB_String text(label);
  return ZEB_Resource_ID(&uuid, &text);
}

// An area of one broker, group, flow and node, in private memory.
class StoredRecords : public LibraryTest {
 protected:
  StoredRecords() {
    group_.setParent(broker_.getRecordId());
    flow_.setParent(group_.getRecordId());
    node_.setParent(flow_.getRecordId());
    statistics_.setParent(node_.getRecordId());
  }

  static std::vector<std::uint8_t> roomFor(std::size_t bytes) {
    std::vector<std::uint8_t> none;
    none.reserve(bytes);
    return none;
  }
  void store(ZEB_Record& record) {
    if (!record.getAddress()) {
      record.setAddress(bytes_.data() + bytes_.size());
      bytes_.resize(bytes_.size() + record.size());
    }
    record.put(record.getAddress());
  }
  void storeAll() {
    for (ZEB_Record* record :
         std::initializer_list<ZEB_Record*>{&broker_, &group_, &flow_, &node_, &statistics_})
      store(*record);
  }

  bool read() {
    return tree_->read(bytes_, [] {});
  }
  ZEB_Stored_Tree::Path path() const { return tree_->find({&groupId_, &flowId_, &nodeId_}); }
  const ZEB_Stored_Tree::Entry& entry(std::size_t at) const { return tree_->entries()[at]; }
  std::string members() const {
    std::string text;
    for (const ZEB_Stored_Tree::Entry& entry : tree_->entries()) text += entry.inTree ? 'x' : '-';
    return text;
  }

  const ZEB_Resource_ID brokerId_ = named("BROKER");
  const ZEB_Resource_ID groupId_ = named("GROUP");
  const ZEB_Resource_ID flowId_ = named("FLOW");
  const ZEB_Resource_ID nodeId_ = named("NODE");
  ZEB_BRIR broker_{&brokerId_};
  ZEB_EGIR group_{&groupId_};
  ZEB_MFIR flow_{&flowId_};
  ZEB_NOIR node_{&nodeId_};
  ZEB_STIR statistics_{1};
  std::vector<std::uint8_t> bytes_ = roomFor(8192);  // never moves
  std::shared_ptr<ZEB_Stored_Tree> tree_ = ZEB_Stored_Tree::of(bytes_.data());
};

}  // namespace support

#endif  // ZEB_TESTS_UNIT_RESOURCES_STORED_RECORDS_H
