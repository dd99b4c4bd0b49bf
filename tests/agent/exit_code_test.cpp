// SPDX-License-Identifier: Apache-2.0
#include "agent/front/cli/exit_code.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace {

using reader::State;

model::Snapshot brokersIn(std::initializer_list<State> states) {
  model::Snapshot snapshot;
  for (const State state : states) {
    model::SeenBroker broker;
    broker.segment.state = state;
    snapshot.brokers.push_back(std::make_shared<const model::SeenBroker>(std::move(broker)));
  }
  return snapshot;
}

}  // namespace

TEST(ExitCode, ABrokerThatIsNotRunningIsAnAnswer) {
  EXPECT_EQ(cli::kDone, cli::exitCodeOf(brokersIn({State::ok})));
  EXPECT_EQ(cli::kDone, cli::exitCodeOf(brokersIn({State::noKeyFile, State::noSegment})));
}

TEST(ExitCode, WhatCouldNotBeReadIsAFailureWhereverItStands) {
  for (const State state :
       {State::noPermission, State::notInitialised, State::damaged, State::failed}) {
    EXPECT_EQ(cli::kNotAllRead, cli::exitCodeOf(brokersIn({state, State::ok})));
    EXPECT_EQ(cli::kNotAllRead, cli::exitCodeOf(brokersIn({State::ok, state})));
  }
}

TEST(ExitCode, NoBrokerIsToldFromADirectoryThatCannotBeRead) {
  model::Snapshot snapshot;
  EXPECT_EQ(cli::kNoBroker, cli::exitCodeOf(snapshot));
  snapshot.error = EACCES;
  EXPECT_EQ(cli::kNotAllRead, cli::exitCodeOf(snapshot));
}
