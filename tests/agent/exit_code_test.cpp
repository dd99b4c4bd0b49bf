// SPDX-License-Identifier: Apache-2.0
#include "agent/front/cli/exit_code.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace exit_code_test {

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

TEST(ExitCode, WhereNoBrokerHasMemoryThereIsNoneToShowTheContentsOf) {
  EXPECT_EQ(cli::kNoBroker, cli::exitCodeOfContents(brokersIn({State::noKeyFile})));
  EXPECT_EQ(cli::kNoBroker, cli::exitCodeOfContents(brokersIn({State::noSegment})));
  EXPECT_EQ(cli::kDone, cli::exitCodeOfContents(brokersIn({State::noSegment, State::ok})));
  EXPECT_EQ(77, cli::exitCodeOfContents(brokersIn({State::noSegment, State::noPermission})));
}

TEST(ExitCode, WhatCouldNotBeReadIsAFailureWhereverItStands) {
  for (const auto& [state, code] :
       {std::pair(State::noPermission, 77), std::pair(State::notInitialised, 65),
        std::pair(State::damaged, 65), std::pair(State::failed, 74)}) {
    EXPECT_EQ(code, cli::exitCodeOf(brokersIn({state, State::ok})));
    EXPECT_EQ(code, cli::exitCodeOf(brokersIn({State::ok, state})));
  }
}

TEST(ExitCode, OfSeveralFailuresNoPermissionCountsBeforeFailedReadingAndThatBeforeDamage) {
  EXPECT_EQ(77, cli::exitCodeOf(brokersIn({State::damaged, State::noPermission, State::failed})));
  EXPECT_EQ(74, cli::exitCodeOf(brokersIn({State::failed, State::damaged})));
}

TEST(ExitCode, NoBrokerIsToldFromADirectoryThatCannotBeRead) {
  model::Snapshot snapshot;
  EXPECT_EQ(cli::kNoBroker, cli::exitCodeOf(snapshot));
  const auto with = [&snapshot](int error) {
    snapshot.error = error;
    return cli::exitCodeOf(snapshot);
  };
  EXPECT_EQ(cli::kNoPermission, with(EACCES));
  EXPECT_EQ(cli::kNoPermission, with(EPERM));
  EXPECT_EQ(cli::kNoFile, with(ENOENT));
  EXPECT_EQ(cli::kNoFile, with(ENOTDIR));
  EXPECT_EQ(cli::kFailed, with(EIO));
}

}  // namespace exit_code_test
