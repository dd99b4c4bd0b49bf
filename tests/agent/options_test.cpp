// SPDX-License-Identifier: Apache-2.0
// What the options of a command line ask for.
#include <gtest/gtest.h>

#include <CLI/CLI.hpp>

#include "agent/front/cli/commands.h"
#include "agent/front/cli/request.h"

namespace options_test {

using namespace cli;

namespace {

Request eventsRequest(const std::string& line) {
  CLI::App parser;
  Options options(parser);
  Request request;
  declareEvents(options, request);
  parser.parse(line);
  return request;
}

}  // namespace

TEST(EventsOptions, AFollowerLooksAgainWhenItWasToldTo) {
  EXPECT_EQ(eventsRequest("--follow --interval 10ms").rates.interval,
            std::chrono::milliseconds(10));
  EXPECT_EQ(eventsRequest("--follow --interval 24h").rates.interval, std::chrono::hours(24));
  EXPECT_FALSE(eventsRequest("").events.follow);
  EXPECT_TRUE(eventsRequest("--follow").events.follow);
}

}  // namespace options_test
