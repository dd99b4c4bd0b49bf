// SPDX-License-Identifier: Apache-2.0
// Members of a tree that are kept as they are stored.
#include "resources/rest_of_tree.h"

#include "tests/unit/resources/resource_test.h"
#include "tests/unit/resources/stored_records.h"

namespace rest_of_tree_test {

using namespace support;

namespace {

// Beside the stored way to "NODE", with statistics each: node "OTHER" in its flow.
class RestOfTree : public StoredRecords {
 protected:
  RestOfTree() {
    other_.setParent(flow_.getRecordId());
    otherStatistics_.setParent(other_.getRecordId());
    storeAll();
    store(other_);
    store(otherStatistics_);
  }

  bool merge(int keepEmpty = 1, bool room = true) {
    bool merged = false;
    const bool isRead =
        tree_->read(bytes_, [&] { merged = rest_.merge(*tree_, path(), way_, keepEmpty, room); });
    return isRead && merged;
  }
  // The members by their places in the area.
  std::vector<const void*> places() const {
    std::vector<const void*> found;
    for (const ZEB_Stored_Image& image : rest_.images()) found.push_back(image.address());
    return found;
  }
  const ZEB_Stored_Image& image(std::size_t at) const { return rest_.images()[at]; }
  void lackStatistics() {
    const ZEB_Record_ID none;
    otherStatistics_.setParent(&none);
    store(otherStatistics_);
  }

  const ZEB_Resource_ID otherId_ = named("OTHER");
  ZEB_NOIR other_{&otherId_};
  ZEB_STIR otherStatistics_{1};
  ZEB_Rest_Of_Tree::Way way_;
  ZEB_Rest_Of_Tree rest_;
};

TEST_F(RestOfTree, HasTheMembersThatAreNotOnTheWay) {
  ASSERT_TRUE(merge());
  EXPECT_EQ((std::vector<const void*>{other_.getAddress(), otherStatistics_.getAddress()}),
            places());
  EXPECT_TRUE(rest_.unwritten().empty());
  EXPECT_FALSE(rest_.lacksStatistics());
}

TEST_F(RestOfTree, KeepsItsImageAndTellsThatItDiffers) {
  ASSERT_TRUE(merge());
  const ZEB_Stored_Image before = image(0);
  other_.markDeleted();
  store(other_);
  ASSERT_TRUE(merge());
  EXPECT_EQ(before, image(0));
  ASSERT_EQ(1U, rest_.unwritten().size());
  EXPECT_EQ(before, rest_.unwritten()[0]);
  rest_.allWritten();
  EXPECT_TRUE(rest_.unwritten().empty());
}

TEST_F(RestOfTree, TakesALiveRecordForADeletedOne) {
  other_.markDeleted();
  store(other_);
  ASSERT_TRUE(merge());
  other_.undelete();
  store(other_);
  ASSERT_TRUE(merge());
  EXPECT_EQ(0U, image(0).header().deleted);
  EXPECT_TRUE(rest_.unwritten().empty());
}

TEST_F(RestOfTree, TakesTheStoredStatisticsAndClearsThem) {
  ASSERT_TRUE(merge());
  fold(otherStatistics_, 3, 10);
  store(otherStatistics_);
  ASSERT_TRUE(merge());
  EXPECT_EQ(tree_->memberAt(otherStatistics_.getAddress())->image, image(1));
  EXPECT_TRUE(rest_.clearStatistics());
  ASSERT_EQ(1U, rest_.unwritten().size());
  EXPECT_EQ(image(1), rest_.unwritten()[0]);
  const auto cleared = image(1).record();
  EXPECT_EQ(0, static_cast<ZEB_STIR&>(*cleared).getMessageCount());
  EXPECT_EQ(idOf(otherStatistics_), idOf(*cleared));
  EXPECT_EQ(idOf(other_), idOf(cleared->getParentId()));
  rest_.allWritten();
  EXPECT_TRUE(rest_.clearStatistics());
  EXPECT_TRUE(rest_.unwritten().empty());
}

TEST_F(RestOfTree, LeavesOutNewDeletedNodesAndDropsEmptyGroups) {
  const ZEB_Resource_ID emptyId = named("EMPTY");
  ZEB_EGIR empty(&emptyId);
  empty.setParent(broker_.getRecordId());
  store(empty);
  ASSERT_TRUE(merge());
  EXPECT_EQ(3U, places().size());
  const ZEB_Resource_ID deadId = named("DEAD");
  ZEB_NOIR dead(&deadId);
  ZEB_STIR deadStatistics(1);
  dead.setParent(flow_.getRecordId());
  deadStatistics.setParent(dead.getRecordId());
  dead.markDeleted();
  store(dead);
  store(deadStatistics);
  ASSERT_TRUE(merge(0));
  EXPECT_EQ((std::vector<const void*>{other_.getAddress(), otherStatistics_.getAddress()}),
            places());
}

TEST_F(RestOfTree, DoesNotWriteWhatItDrops) {
  const ZEB_Resource_ID emptyId = named("EMPTY");
  ZEB_EGIR empty(&emptyId);
  empty.setParent(broker_.getRecordId());
  store(empty);
  ASSERT_TRUE(merge());
  empty.setProcessId(5);
  store(empty);
  ASSERT_TRUE(merge(0));
  EXPECT_TRUE(rest_.unwritten().empty());
}

TEST_F(RestOfTree, CannotFollowAMemberThatComesBackToItsPlace) {
  const ZEB_Resource_ID emptyId = named("EMPTY");
  ZEB_EGIR empty(&emptyId);
  empty.setParent(broker_.getRecordId());
  store(empty);
  const ZEB_Resource_ID lastId = named("LAST");
  ZEB_NOIR last(&lastId);
  ZEB_STIR lastStatistics(1);
  last.setParent(flow_.getRecordId());
  lastStatistics.setParent(last.getRecordId());
  store(last);
  store(lastStatistics);
  ASSERT_TRUE(merge(0));
  EXPECT_EQ(4U, places().size());
  EXPECT_FALSE(merge(1));
  EXPECT_EQ(4U, places().size());
}

TEST_F(RestOfTree, CannotFollowAMemberThatIsGone) {
  ASSERT_TRUE(merge());
  const ZEB_Record_ID none;
  other_.setParent(&none);
  store(other_);
  EXPECT_FALSE(merge());
  EXPECT_EQ(2U, places().size());
}

TEST_F(RestOfTree, CannotFollowAnotherIdAtItsPlace) {
  ASSERT_TRUE(merge());
  ZEB_STIR stranger(1);
  stranger.setParent(other_.getRecordId());
  stranger.put(otherStatistics_.getAddress());
  EXPECT_FALSE(merge());
}

TEST_F(RestOfTree, CannotFollowWhatLeavesNodesOutWhereGroupsHaveTwins) {
  ZEB_EGIR twin(&groupId_);
  twin.setParent(broker_.getRecordId());
  store(twin);
  ASSERT_TRUE(merge());
  const ZEB_Resource_ID deadId = named("DEAD");
  ZEB_NOIR dead(&deadId);
  dead.setParent(flow_.getRecordId());
  dead.markDeleted();
  store(dead);
  ZEB_STIR deadStatistics(1);
  deadStatistics.setParent(dead.getRecordId());
  store(deadStatistics);
  EXPECT_FALSE(merge(0));
  EXPECT_TRUE(merge(1));
}

TEST_F(RestOfTree, MayLackStatisticsWhereThereIsNoRoomForThem) {
  lackStatistics();
  EXPECT_FALSE(merge(1, true));
  ASSERT_TRUE(merge(1, false));
  EXPECT_TRUE(rest_.lacksStatistics());
  EXPECT_EQ(std::vector<const void*>{other_.getAddress()}, places());
}

TEST_F(RestOfTree, CannotLeaveOutANodeWhileOneLacksStatistics) {
  lackStatistics();
  ASSERT_TRUE(merge(1, false));
  const ZEB_Resource_ID deadId = named("DEAD");
  ZEB_NOIR dead(&deadId);
  dead.setParent(flow_.getRecordId());
  dead.markDeleted();
  store(dead);
  EXPECT_FALSE(merge(0, false));
}

TEST_F(RestOfTree, TheWayIsWhatIsStoredOfIt) {
  way_ = {.group = &group_, .flow = &flow_, .node = &node_, .statistics = &statistics_};
  EXPECT_TRUE(merge());
  ZEB_EGIR elsewhere(group_);
  elsewhere.setAddress(bytes_.data());
  way_.group = &elsewhere;
  EXPECT_FALSE(merge());
  ZEB_MFIR below(flow_);
  below.setParent(broker_.getRecordId());
  way_.group = &group_;
  way_.flow = &below;
  EXPECT_FALSE(merge());
  const ZEB_NOIR another(&nodeId_);
  way_.flow = &flow_;
  way_.node = &another;
  EXPECT_FALSE(merge()) << "it was never stored, and one of its name is";
}

TEST_F(RestOfTree, TheWaysStatisticsAreNoOthers) {
  const ZEB_NOIR fresh(&nodeId_);
  const ZEB_Record_ID none;
  node_.setParent(&none);
  store(node_);
  way_ = {.group = &group_, .flow = &flow_, .node = &fresh, .statistics = &otherStatistics_};
  EXPECT_FALSE(merge());
  way_.statistics = &statistics_;
  EXPECT_TRUE(merge());
}

TEST_F(RestOfTree, CountsTheSiblingsBeforeAStoredObject) {
  way_ = {.group = &group_, .flow = &flow_, .node = &node_, .statistics = &statistics_};
  ASSERT_TRUE(merge());
  EXPECT_EQ(0U, rest_.groupsBefore(way_));
  EXPECT_EQ(0U, rest_.flowsBefore(way_));
  // It was there before the first merge, and so is the end of an area that was not read.
  EXPECT_EQ(0U, rest_.nodesBefore(way_));
}

TEST_F(RestOfTree, CountsThoseThatWereKnownWhenTheObjectWasMade) {
  way_ = {.group = &group_, .flow = &flow_};
  const ZEB_Record_ID none;
  node_.setParent(&none);
  store(node_);
  ASSERT_TRUE(merge());
  const ZEB_Resource_ID freshId = named("FRESH");
  ZEB_NOIR fresh(&nodeId_);
  fresh.setParent(flow_.getRecordId());
  way_.node = &fresh;
  EXPECT_EQ(1U, rest_.nodesBefore(way_));
  ZEB_NOIR later(&freshId);
  ZEB_STIR laterStatistics(1);
  later.setParent(flow_.getRecordId());
  laterStatistics.setParent(later.getRecordId());
  store(later);
  store(laterStatistics);
  ASSERT_TRUE(merge());
  EXPECT_EQ(4U, places().size());
  EXPECT_EQ(1U, rest_.nodesBefore(way_));
}

}  // namespace

}  // namespace rest_of_tree_test
