// SPDX-License-Identifier: Apache-2.0
// How long a connection may take, by a clock that the tests set.
#include "agent/front/serve/connections.h"

#include <gtest/gtest.h>

namespace connections_test {

namespace {

using serve::Connections;
using std::chrono::milliseconds;
using Late = Connections::Late;

constexpr Connections::Limits kLimits{.most = 4};

Connections::Time at(int ms) {
  return Connections::Time() + milliseconds(ms);
}

// "3r 5a": socket and what is late.
std::string lateAt(const Connections& connections, int ms) {
  std::string text;
  for (const auto& [socket, what] : connections.overdue(at(ms))) {
    text +=
        (text.empty() ? "" : " ") + std::to_string(socket) + "rai"[static_cast<std::size_t>(what)];
  }
  return text;
}

}  // namespace

TEST(ConnectionTimes, ARequestHasTwoSecondsFromItsFirstByte) {
  Connections connections(kLimits);
  connections.opened(3, at(0));
  connections.heard(3, at(1000));
  connections.heard(3, at(2900));
  EXPECT_EQ("", lateAt(connections, 2999));
  EXPECT_EQ("3r", lateAt(connections, 3000));
}

TEST(ConnectionTimes, ARequestIsNotLateBecauseTheServerWorksForOthers) {
  Connections connections(kLimits);
  connections.opened(3, at(0));
  connections.working(at(0));
  connections.heard(3, at(1000));
  connections.worked(at(5000));
  EXPECT_EQ("", lateAt(connections, 6999));
  EXPECT_EQ("3r", lateAt(connections, 7000));
}

TEST(ConnectionTimes, ARequestIsLateWhenItsAnswerWouldBe) {
  Connections connections(kLimits);
  connections.opened(3, at(0));
  connections.heard(3, at(1000));
  connections.working(at(1000));
  EXPECT_EQ("", lateAt(connections, 10999));
  EXPECT_EQ("3r", lateAt(connections, 11000));
}

TEST(ConnectionTimes, AnAnswerHasTenSecondsFromTheFirstByte) {
  Connections connections(kLimits);
  connections.opened(3, at(0));
  connections.heard(3, at(1000));
  connections.asked(3, at(2500));
  connections.heard(3, at(2600));
  EXPECT_EQ("", lateAt(connections, 10999));
  EXPECT_EQ("3a", lateAt(connections, 11000));
}

TEST(ConnectionTimes, ARequestThatNobodyHeardComingBeginsWhenItIsComplete) {
  Connections connections(kLimits);
  connections.opened(3, at(0));
  connections.asked(3, at(5000));
  EXPECT_EQ("", lateAt(connections, 14999));
  EXPECT_EQ("3a", lateAt(connections, 15000));
}

TEST(ConnectionTimes, AnAnsweredConnectionMayWaitForItsNextRequest) {
  Connections connections(kLimits);
  connections.opened(3, at(0));
  connections.asked(3, at(0));
  connections.answered(3, at(100));
  EXPECT_EQ("", lateAt(connections, 90099));
  EXPECT_EQ("3i", lateAt(connections, 90100));
  connections.heard(3, at(60000));
  EXPECT_EQ("3r", lateAt(connections, 62000));
}

TEST(ConnectionTimes, WhatIsShutDoesntCount) {
  Connections connections(kLimits);
  for (int socket = 3; socket < 7; ++socket) connections.opened(socket, at(0));
  EXPECT_TRUE(connections.full());
  connections.shut(3);
  connections.asked(3, at(1));
  connections.answered(3, at(2));
  connections.heard(3, at(3));
  EXPECT_FALSE(connections.full());
  EXPECT_EQ(3U, connections.open());
  EXPECT_EQ("4i 5i 6i", lateAt(connections, 90000));
  connections.closed(3);
  connections.closed(3);
  EXPECT_EQ(3U, connections.open());
}

TEST(ConnectionTimes, MoreThanHalfIsACrowd) {
  Connections connections(kLimits);
  connections.opened(3, at(0));
  connections.opened(4, at(0));
  EXPECT_FALSE(connections.crowded());
  connections.opened(5, at(0));
  EXPECT_TRUE(connections.crowded());
}

TEST(ConnectionTimes, TheOneThatWaitedLongestIsTold) {
  Connections connections(kLimits);
  EXPECT_EQ(std::nullopt, connections.longestWaiting());
  connections.opened(3, at(30));
  connections.opened(4, at(10));
  connections.opened(5, at(20));
  connections.asked(5, at(21));
  EXPECT_EQ(4, connections.longestWaiting());
  connections.heard(4, at(40));
  EXPECT_EQ(4, connections.longestWaiting()) << "bytes don't make it younger";
  connections.asked(4, at(41));
  EXPECT_EQ(3, connections.longestWaiting());
  connections.asked(3, at(42));
  EXPECT_EQ(std::nullopt, connections.longestWaiting());
  connections.answered(4, at(50));
  EXPECT_EQ(4, connections.longestWaiting());
  EXPECT_EQ(std::vector<int>{4}, connections.silent());
}

}  // namespace connections_test
