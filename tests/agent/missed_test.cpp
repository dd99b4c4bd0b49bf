// SPDX-License-Identifier: Apache-2.0
// How many events a follower missed.
#include "agent/model/missed.h"

#include <gtest/gtest.h>

#include <limits>

namespace missed_test {

namespace {

using model::FollowedNode;
using model::Missed;
using model::missedOf;

constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max();

Missed exactly(std::uint64_t number) {
  return {Missed::Kind::exact, number, number};
}
Missed between(std::uint64_t least, std::uint64_t most) {
  return {Missed::Kind::between, least, most};
}
Missed atLeast(std::uint64_t least) {
  return {Missed::Kind::atLeast, least, 0};
}

// 100 messages, then 150, of which 20 were seen; nothing in flight.
FollowedNode quiet() {
  return {.first = {100, 100}, .second = {150, 150}, .seen = 20, .threads = 0, .atLeast = 7};
}

}  // namespace

TEST(Missed, IsExactWhenNothingMovedAtEitherLook) {
  EXPECT_EQ(exactly(30), missedOf(quiet()));
  FollowedNode all = quiet();
  all.seen = 50;
  EXPECT_EQ(exactly(0), missedOf(all));
}

TEST(Missed, LiesBetweenBoundsWhileMessagesMove) {
  FollowedNode node = quiet();
  node.first = {100, 103};
  node.second = {150, 152};
  EXPECT_EQ(between(27, 32), missedOf(node));
  node.threads = 4;
  EXPECT_EQ(between(23, 36), missedOf(node));
  node.seen = 45;
  EXPECT_EQ(between(0, 11), missedOf(node));
}

TEST(Missed, ThreadsInFlightAreNeverExact) {
  FollowedNode node = quiet();
  node.threads = 1;
  EXPECT_EQ(between(29, 31), missedOf(node));
}

TEST(Missed, MovementAtOneLookIsNeverExact) {
  FollowedNode node = quiet();
  node.first.before = 99;
  EXPECT_EQ(between(30, 31), missedOf(node));
  node = quiet();
  node.second.after = 151;
  EXPECT_EQ(between(30, 31), missedOf(node));
}

TEST(Missed, WithoutKnowledgeOnlyTheRingTells) {
  FollowedNode node = quiet();
  node.threads.reset();
  EXPECT_EQ(atLeast(7), missedOf(node));
  node = quiet();
  node.reset = true;
  EXPECT_EQ(atLeast(7), missedOf(node));
  node = quiet();
  node.allGiven = false;
  EXPECT_EQ(atLeast(7), missedOf(node));
  node = quiet();
  node.postsSinceReset = false;
  EXPECT_EQ(atLeast(7), missedOf(node));
  node = quiet();
  node.second.before.reset();
  EXPECT_EQ(atLeast(7), missedOf(node));
}

TEST(Missed, CountsThatContradictTheEventsTellNothing) {
  FollowedNode node = quiet();
  node.seen = 60;
  EXPECT_EQ(atLeast(7), missedOf(node));
  node = quiet();
  node.second = {150, 90};
  EXPECT_EQ(atLeast(7), missedOf(node));
}

TEST(Missed, HostileCountsDoNotOverflow) {
  FollowedNode node = quiet();
  node.first = {-kMost, -kMost};
  node.second = {kMost, kMost};
  EXPECT_EQ(atLeast(7), missedOf(node));
  node = quiet();
  node.threads = ~std::uint64_t{0};
  EXPECT_EQ(atLeast(7), missedOf(node));
  node = quiet();
  node.seen = ~std::uint64_t{0};
  EXPECT_EQ(atLeast(7), missedOf(node));
}

}  // namespace missed_test
