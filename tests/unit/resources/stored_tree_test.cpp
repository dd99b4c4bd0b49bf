// SPDX-License-Identifier: Apache-2.0
// What a process knows of a statistics area, and of the tree that is stored there.
#include "resources/stored_tree.h"

#include "tests/unit/resources/stored_records.h"

namespace stored_tree_test {

using namespace support;

namespace {

using StoredTree = StoredRecords;

TEST_F(StoredTree, AnEmptyAreaHasNoTree) {
  ASSERT_TRUE(read());
  EXPECT_TRUE(tree_->entries().empty());
  const ZEB_Stored_Tree::Path none = path();
  EXPECT_EQ(nullptr, none.broker);
  EXPECT_EQ(nullptr, none.group);
  EXPECT_EQ(nullptr, none.statistics);
  EXPECT_EQ(nullptr, tree_->memberAt(bytes_.data()));
}

TEST_F(StoredTree, AnAreaFindsEachMemberBelowItsParent) {
  storeAll();
  ASSERT_TRUE(read());
  EXPECT_EQ("xxxxx", members());
  const ZEB_Stored_Tree::Path found = path();
  EXPECT_EQ(&entry(0), found.broker);
  EXPECT_EQ(&entry(1), found.group);
  EXPECT_EQ(&entry(2), found.flow);
  EXPECT_EQ(&entry(3), found.node);
  EXPECT_EQ(&entry(4), found.statistics);
  for (std::size_t at = 0; at < 5; ++at) {
    EXPECT_TRUE(found.has(entry(at)));
    EXPECT_EQ(&entry(at), tree_->memberAt(entry(at).image.address()));
  }
  EXPECT_EQ(3U, entry(4).parent);
  EXPECT_EQ(2U, entry(3).parent);
  EXPECT_EQ(statistics_.getAddress(), entry(4).image.address());
  EXPECT_EQ(1U, entry(1).nodes);
  EXPECT_EQ(1U, entry(2).nodes);
  EXPECT_FALSE(tree_->othersLackStatistics(found));
  const ZEB_Stored_Tree::Path other = tree_->find({&groupId_, &nodeId_, &nodeId_});
  EXPECT_EQ(&entry(1), other.group);
  EXPECT_EQ(nullptr, other.flow);
  EXPECT_EQ(nullptr, other.statistics);
  EXPECT_FALSE(other.has(entry(2)));
}

TEST_F(StoredTree, AnAreaIsOneInAProcess) {
  EXPECT_EQ(tree_, ZEB_Stored_Tree::of(bytes_.data()));
  EXPECT_NE(tree_, ZEB_Stored_Tree::of(bytes_.data() + 1));
}

TEST_F(StoredTree, WhatStandsAsItStoodKeepsItsImage) {
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

TEST_F(StoredTree, WhatIsAppendedJoinsTheTree) {
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
  EXPECT_TRUE(tree_->othersLackStatistics(path()));
  EXPECT_FALSE(tree_->othersLackStatistics(tree_->find({&groupId_, &flowId_, &otherId})));
}

TEST_F(StoredTree, AChildMayStandBeforeItsParent) {
  for (ZEB_Record* record : std::initializer_list<ZEB_Record*>{&statistics_, &node_, &flow_})
    store(*record);
  ASSERT_TRUE(read());
  EXPECT_EQ("---", members());
  store(group_);
  store(broker_);
  ASSERT_TRUE(read());
  EXPECT_EQ("xxxxx", members());
}

TEST_F(StoredTree, ANodeWithoutParentLeavesTheTreeWithItsStatistics) {
  storeAll();
  ASSERT_TRUE(read());
  const ZEB_Record_ID none;
  node_.setParent(&none);
  store(node_);
  ASSERT_TRUE(read());
  EXPECT_EQ("xxx--", members());
  EXPECT_EQ(0U, entry(1).nodes);
  EXPECT_FALSE(tree_->othersLackStatistics(path()));
}

TEST_F(StoredTree, TheFirstStatisticsOfANodeAreItsOwn) {
  storeAll();
  ZEB_STIR second(1);
  second.setParent(node_.getRecordId());
  store(second);
  ASSERT_TRUE(read());
  EXPECT_EQ("xxxxx-", members());
}

// Appended later, its parent makes a member of what was none.
TEST_F(StoredTree, AParentThatIsAppendedBringsItsChildrenIn) {
  for (ZEB_Record* record : std::initializer_list<ZEB_Record*>{&broker_, &flow_, &node_})
    store(*record);
  ASSERT_TRUE(read());
  EXPECT_EQ("x--", members());
  store(group_);
  ASSERT_TRUE(read());
  EXPECT_EQ("xxxx", members());
  EXPECT_EQ(1U, entry(3).nodes);
}

// The tree would depend on what else is known of them.
TEST_F(StoredTree, TwoNodesOfOneNameCannotBeRead) {
  storeAll();
  ZEB_NOIR twin(&nodeId_);
  twin.setParent(flow_.getRecordId());
  store(twin);
  EXPECT_FALSE(read());
}

TEST_F(StoredTree, OfTwoGroupsOfOneNameTheFirstIsAMemberUnlessItIsEmpty) {
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
  EXPECT_TRUE(tree_->hasTwins());
  EXPECT_EQ(nullptr, tree_->memberAt(twin.getAddress()));
}

TEST_F(StoredTree, TwoMembersOfOneIdCannotBeRead) {
  storeAll();
  const ZEB_Resource_ID otherId = named("OTHER");
  ZEB_EGIR other(&otherId);
  other = group_;
  other.setLabel(&otherId.getLabel());
  other.setAddress(nullptr);
  store(other);
  EXPECT_FALSE(read());
}

TEST_F(StoredTree, WhatIsNoRecordCannotBeRead) {
  storeAll();
  ASSERT_TRUE(read());
  bytes_[ZEB_Distance(bytes_.data(), flow_.getAddress())] = 'X';
  EXPECT_FALSE(read());
  EXPECT_TRUE(tree_->entries().empty());
  store(flow_);
  EXPECT_TRUE(read());
  EXPECT_EQ("xxxxx", members());
}

// It would be stored as another one.
TEST_F(StoredTree, ANameThatEndsEarlyCannotBeRead) {
  storeAll();
  const std::size_t units = layout::reir::uuid.offset + 4;
  std::memset(bytes_.data() + ZEB_Distance(bytes_.data(), node_.getAddress()) + units, 0, 2);
  EXPECT_FALSE(read());
}

// A reading of the area leaves it out.
TEST_F(StoredTree, ARecordWithoutStampCannotBeRead) {
  storeAll();
  const std::size_t stamp = layout::header::id.offset + 4;
  std::memset(bytes_.data() + ZEB_Distance(bytes_.data(), flow_.getAddress()) + stamp, 0, 8);
  EXPECT_FALSE(read());
}

TEST_F(StoredTree, MemoryThatRunsOutWhileItIsUsedMakesItFail) {
  storeAll();
  EXPECT_FALSE(tree_->read(bytes_, [] { throw std::bad_alloc(); }));
  EXPECT_TRUE(read());
}

TEST_F(StoredTree, AnAreaThatWasCutIsReadFromItsBeginning) {
  storeAll();
  ASSERT_TRUE(read());
  bytes_.resize(ZEB_Distance(bytes_.data(), flow_.getAddress()));
  ASSERT_TRUE(read());
  EXPECT_EQ("xx", members());
  EXPECT_EQ(0U, entry(1).nodes);
}

}  // namespace

}  // namespace stored_tree_test
