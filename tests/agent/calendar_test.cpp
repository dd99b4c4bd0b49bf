// SPDX-License-Identifier: Apache-2.0
// Stored times of 32 bits, before and after they begin again.
#include "agent/model/calendar.h"

#include <gtest/gtest.h>

#include <cstdint>

#include "agent/model/snapshot.h"
#include "tests/support/image.h"

namespace calendar_test {

namespace {

constexpr std::int64_t kTurn = std::int64_t{1} << 32;
constexpr std::int64_t kFirst = -2177452800;        // 1901-01-01, stored as 0
constexpr std::int64_t kLast = kFirst + kTurn - 1;  // 2037-02-07 06:28:15
constexpr std::int64_t kNow = 1795234171;           // 2026-11-21
constexpr std::int64_t kIn2040 = 2208988800;        // 2040-01-01

// As the reader decodes the 32 bits of a moment.
std::int64_t stored(std::int64_t moment) {
  return kFirst + static_cast<std::uint32_t>(moment - kFirst);
}

model::SeenBroker ordersAt(std::int64_t wall) {
  const image::Bytes bytes = image::segment({image::ordersBlock()});
  reader::Segment segment;
  segment.copy = reader::copySegment(bytes, bytes.size());
  return model::decoded(std::move(segment), wall);
}

}  // namespace

TEST(Calendar, AMomentNearTheWallTimeIsWhatWasMeant) {
  for (const std::int64_t wall : {kNow, kLast, kLast + 1, kIn2040, kIn2040 + kTurn, kFirst}) {
    for (const std::int64_t apart : {0L, 1L, -1L, 3600L, -86400L * 365, kTurn / 2 - 1}) {
      EXPECT_EQ(wall + apart, model::nearest(stored(wall + apart), wall)) << wall << " " << apart;
    }
  }
}

TEST(Calendar, OfTwoEquallyNearMomentsItIsTheEarlier) {
  EXPECT_EQ(kNow - kTurn / 2, model::nearest(stored(kNow + kTurn / 2), kNow));
  EXPECT_EQ(kNow - kTurn / 2 + 1, model::nearest(stored(kNow + kTurn / 2 + 1), kNow));
}

TEST(Calendar, NoWallTimeAndNoStoredOneOverflows) {
  for (const std::int64_t wall : {INT64_MIN, INT64_MIN + 1, INT64_MAX}) {
    const std::int64_t moment = model::nearest(kNow, wall);
    EXPECT_EQ(stored(moment), kNow);
    EXPECT_EQ(wall < 0, moment < 0);
    model::nearest(wall, -wall - 1);
  }
}

TEST(Calendar, EveryTimeOfASnapshotIsThatNearestToItsWallTime) {
  const auto before = ordersAt(kNow);
  const auto after = ordersAt(kNow + kTurn);
  EXPECT_EQ(*before.tree->resetTime + kTurn, after.tree->resetTime);
  const auto collected = [](const model::SeenBroker& broker) {
    return *broker.tree->executionGroups.at(0).messageFlows.at(0).nodes.at(0).statistics;
  };
  EXPECT_EQ(1754707200, collected(before).firstCollection);
  EXPECT_EQ(1754707200 + kTurn, collected(after).firstCollection);
  EXPECT_EQ(1754707216 + kTurn, collected(after).lastCollection);
}

TEST(Calendar, WhatIsNotSetStaysSo) {
  reader::Broker tree;
  tree.executionGroups.emplace_back().messageFlows.emplace_back().nodes.resize(2);
  tree.executionGroups[0].messageFlows[0].nodes[1].statistics.emplace();
  model::makeNearest(tree, kIn2040);
  EXPECT_FALSE(tree.resetTime);
  EXPECT_FALSE(tree.executionGroups[0].messageFlows[0].nodes[1].statistics->firstCollection);
}

TEST(Calendar, EventsTooHaveTheTimeThatIsNearest) {
  reader::EventLog::Batch batch;
  batch.events.resize(2);
  batch.events[0].time = stored(kIn2040);
  model::makeNearest(batch, kIn2040 + 5);
  EXPECT_EQ(kIn2040, batch.events[0].time);
  EXPECT_FALSE(batch.events[1].time);
}

}  // namespace calendar_test
