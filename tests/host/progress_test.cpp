// SPDX-License-Identifier: Apache-2.0
#include "host/report/progress.h"

#include <gtest/gtest.h>

namespace progress_test {

using namespace host;
using namespace std::chrono_literals;

namespace {

flowfile::File twoFlows() {
  flowfile::File file;
  file.groups.push_back({"G", {flowfile::Flow{}, flowfile::Flow{}}});
  return file;
}

}  // namespace

TEST(Progress, ALineAddsUpTheFlows) {
  const flowfile::File file = twoFlows();
  Tally tally(file);
  tally.flow(0, 0).entered = 1500;
  tally.flow(0, 0).handled = 1200;
  tally.flow(0, 0).failed = 100;
  tally.flow(0, 1).entered = 50;
  tally.flow(0, 1).failed = 50;
  tally.flow(0, 1).lagMillis = 1000;
  EXPECT_EQ(progressLine(file, tally, 2500ms),
            "2.5 s  1,350 messages, 150 failed, 200 in the flows, 540/s");
}

TEST(Progress, MoreThanASecondBehindIsSaidInSeconds) {
  const flowfile::File file = twoFlows();
  Tally tally(file);
  tally.flow(0, 0).lagMillis = 2340;
  tally.flow(0, 1).lagMillis = 1001;
  EXPECT_EQ(progressLine(file, tally, 0s),
            "0.0 s  0 messages, 0 failed, 0 in the flows, 0/s, 2.3 s behind");
}

}  // namespace progress_test
