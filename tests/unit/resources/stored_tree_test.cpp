// SPDX-License-Identifier: Apache-2.0
// What a process knows of a statistics area, and of the tree that stands there.
#include "resources/stored_tree.h"

#include "records/broker_record.h"
#include "records/execution_group_record.h"
#include "records/message_flow_record.h"
#include "records/node_record.h"
#include "records/statistics_record.h"
#include "tests/unit/store/store_test.h"

using namespace support;

namespace {

ZEB_Resource_ID named(const char* label) {
  const ZEB_String uuid("UUID");
  const ZEB_String text(label);
  return ZEB_Resource_ID(&uuid, &text);
}

// An area of one broker, group, flow and node, in private memory.
class CatalogueOf : public LibraryTest {
 protected:
  CatalogueOf() {
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
    return catalogue_->read(bytes_, [] {});
  }
  const ZEB_Stored_Tree::Entry& entry(std::size_t at) const { return catalogue_->entries()[at]; }
  std::string members() const {
    std::string text;
    for (const ZEB_Stored_Tree::Entry& entry : catalogue_->entries())
      text += entry.inTree ? 'x' : '-';
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
  std::shared_ptr<ZEB_Stored_Tree> catalogue_ = ZEB_Stored_Tree::of(bytes_.data());
};

TEST_F(CatalogueOf, AnEmptyAreaHasNoTree) {
  ASSERT_TRUE(read());
  EXPECT_TRUE(catalogue_->entries().empty());
  EXPECT_EQ(nullptr, catalogue_->broker());
  EXPECT_EQ(nullptr, catalogue_->child(nullptr, groupId_));
  EXPECT_EQ(nullptr, catalogue_->statistics(nullptr));
}

TEST_F(CatalogueOf, AnAreaFindsEachMemberBelowItsParent) {
  storeAll();
  ASSERT_TRUE(read());
  EXPECT_EQ("xxxxx", members());
  const ZEB_Stored_Tree::Entry* const group = catalogue_->child(catalogue_->broker(), groupId_);
  const ZEB_Stored_Tree::Entry* const flow = catalogue_->child(group, flowId_);
  const ZEB_Stored_Tree::Entry* const node = catalogue_->child(flow, nodeId_);
  EXPECT_EQ(&entry(0), catalogue_->broker());
  EXPECT_EQ(&entry(1), group);
  EXPECT_EQ(&entry(2), flow);
  EXPECT_EQ(&entry(3), node);
  EXPECT_EQ(&entry(4), catalogue_->statistics(node));
  EXPECT_EQ(nullptr, catalogue_->child(group, nodeId_));
  EXPECT_EQ(statistics_.getAddress(), entry(4).image.address());
  EXPECT_EQ(1U, group->nodes);
  EXPECT_EQ(1U, flow->nodes);
  EXPECT_EQ(0U, catalogue_->nodesWithoutStatistics());
}

TEST_F(CatalogueOf, AnAreaIsOneInAProcess) {
  EXPECT_EQ(catalogue_, ZEB_Stored_Tree::of(bytes_.data()));
  EXPECT_NE(catalogue_, ZEB_Stored_Tree::of(bytes_.data() + 1));
}

TEST_F(CatalogueOf, WhatStandsAsItStoodKeepsItsImage) {
  storeAll();
  ASSERT_TRUE(read());
  const ZEB_Stored_Image flow = entry(2).image;
  const ZEB_Stored_Image node = entry(3).image;
  node_.markDeleted();
  store(node_);
  ASSERT_TRUE(read());
  EXPECT_EQ(flow, entry(2).image);
  EXPECT_FALSE(node == entry(3).image);
  EXPECT_EQ(1U, entry(3).image.header().deleted);
  EXPECT_EQ("xxxxx", members());
}

TEST_F(CatalogueOf, WhatIsAppendedJoinsTheTree) {
  storeAll();
  ASSERT_TRUE(read());
  const ZEB_Resource_ID otherId = named("OTHER");
  ZEB_NOIR other(&otherId);
  other.setParent(flow_.getRecordId());
  store(other);
  ASSERT_TRUE(read());
  EXPECT_EQ("xxxxxx", members());
  EXPECT_EQ(2U, entry(1).nodes);
  EXPECT_EQ(2U, entry(2).nodes);
  EXPECT_EQ(1U, catalogue_->nodesWithoutStatistics());
}

TEST_F(CatalogueOf, AChildMayStandBeforeItsParent) {
  for (ZEB_Record* record : std::initializer_list<ZEB_Record*>{&statistics_, &node_, &flow_})
    store(*record);
  ASSERT_TRUE(read());
  EXPECT_EQ("---", members());
  store(group_);
  store(broker_);
  ASSERT_TRUE(read());
  EXPECT_EQ("xxxxx", members());
}

TEST_F(CatalogueOf, ANodeWithoutParentLeavesTheTreeWithItsStatistics) {
  storeAll();
  ASSERT_TRUE(read());
  const ZEB_Record_ID none;
  node_.setParent(&none);
  store(node_);
  ASSERT_TRUE(read());
  EXPECT_EQ("xxx--", members());
  EXPECT_EQ(0U, entry(1).nodes);
  EXPECT_EQ(0U, catalogue_->nodesWithoutStatistics());
}

TEST_F(CatalogueOf, TheFirstStatisticsOfANodeAreItsOwn) {
  storeAll();
  ZEB_STIR second(1);
  second.setParent(node_.getRecordId());
  store(second);
  ASSERT_TRUE(read());
  EXPECT_EQ("xxxxx-", members());
}

// The tree would depend on what else is known of them.
TEST_F(CatalogueOf, TwoNodesOfOneNameCannotBeRead) {
  storeAll();
  ZEB_NOIR twin(&nodeId_);
  twin.setParent(flow_.getRecordId());
  store(twin);
  EXPECT_FALSE(read());
}

TEST_F(CatalogueOf, OfTwoGroupsOfOneNameTheFirstIsAMemberUnlessItIsEmpty) {
  store(broker_);
  store(group_);
  ZEB_EGIR twin(&groupId_);
  twin.setParent(broker_.getRecordId());
  store(twin);
  EXPECT_FALSE(read());
  for (ZEB_Record* record : std::initializer_list<ZEB_Record*>{&flow_, &node_, &statistics_})
    store(*record);
  ASSERT_TRUE(read());
  EXPECT_EQ("xx-xxx", members());
}

TEST_F(CatalogueOf, TwoMembersOfOneIdCannotBeRead) {
  storeAll();
  const ZEB_Resource_ID otherId = named("OTHER");
  ZEB_EGIR other(&otherId);
  other = group_;
  other.setLabel(&otherId.getLabel());
  other.setAddress(nullptr);
  store(other);
  EXPECT_FALSE(read());
}

TEST_F(CatalogueOf, WhatIsNoRecordCannotBeRead) {
  storeAll();
  ASSERT_TRUE(read());
  bytes_[ZEB_Distance(bytes_.data(), flow_.getAddress())] = 'X';
  EXPECT_FALSE(read());
  EXPECT_TRUE(catalogue_->entries().empty());
  store(flow_);
  EXPECT_TRUE(read());
  EXPECT_EQ("xxxxx", members());
}

// It would be stored as another one.
TEST_F(CatalogueOf, ANameThatEndsEarlyCannotBeRead) {
  storeAll();
  const std::size_t units = layout::reir::uuid.offset + 4;
  std::memset(bytes_.data() + ZEB_Distance(bytes_.data(), node_.getAddress()) + units, 0, 2);
  EXPECT_FALSE(read());
}

// A reading of the area leaves it out.
TEST_F(CatalogueOf, ARecordWithoutStampCannotBeRead) {
  storeAll();
  const std::size_t stamp = layout::header::id.offset + 4;
  std::memset(bytes_.data() + ZEB_Distance(bytes_.data(), flow_.getAddress()) + stamp, 0, 8);
  EXPECT_FALSE(read());
}

TEST_F(CatalogueOf, MemoryThatRunsOutWhileItIsUsedMakesItFail) {
  storeAll();
  EXPECT_FALSE(catalogue_->read(bytes_, [] { throw std::bad_alloc(); }));
  EXPECT_TRUE(read());
}

TEST_F(CatalogueOf, AnAreaThatBeginsAnewIsReadAnew) {
  storeAll();
  ASSERT_TRUE(read());
  bytes_.resize(ZEB_Distance(bytes_.data(), flow_.getAddress()));
  ASSERT_TRUE(read());
  EXPECT_EQ("xx", members());
  EXPECT_EQ(0U, entry(1).nodes);
}

}  // namespace
