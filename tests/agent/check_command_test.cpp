// SPDX-License-Identifier: Apache-2.0
// zebmon check as an alerting system starts it.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>

#include "tests/agent/zebmon.h"
#include "tests/support/image.h"
#include "tests/support/live_segment.h"

namespace check_command_test {

namespace {

class CheckCommand : public testing::Test {
 protected:
  ~CheckCommand() override {
    std::error_code none;
    std::filesystem::remove(state, none);
  }

  LiveSegment segment{"1-2-3", image::segment({image::ordersBlock()})};
  std::string state = "/tmp/check.state";
};

}  // namespace

TEST_F(CheckCommand, EndsWithTheLevel) {
  const Result fine = run({"check", "area=90%"});
  EXPECT_EQ(0, fine.code);
  EXPECT_TRUE(fine.out.starts_with("OK: 1 of 1 as it should be | 'area BRK1'=")) << fine.out;
  EXPECT_EQ(1, run({"check", "area=1%,90%"}).code);
  EXPECT_EQ(2, run({"check", "area=1%"}).code);
  EXPECT_EQ(3, run({"check", "silent=none:1s"}).code);
  EXPECT_EQ(64, run({"check", "area"}).code);
  EXPECT_EQ(64, run({"check"}).code);
}

TEST_F(CheckCommand, SaysOneLineForAllChecks) {
  const Result result = run({"check", "area=1%", "silent=Reserve:1s", "locks", "queued=2s"});
  EXPECT_EQ(2, result.code);
  EXPECT_EQ(result.out.size() - 1, result.out.find('\n'));
  EXPECT_TRUE(contains(result.out, "'silent Reserve'="));
  EXPECT_EQ("", result.errors);
}

TEST_F(CheckCommand, KeepsItsStateForTheOwnerAlone) {
  EXPECT_EQ(0, run({"check", "failed=5%", "--state", state}).code);
  struct stat file;
  ASSERT_EQ(0, stat(state.c_str(), &file));
  EXPECT_EQ(0600U, file.st_mode & 07777);
  EXPECT_TRUE(contents(state).starts_with("{\"schema\":\"zebmon.state\""));
  const ino_t first = file.st_ino;
  const Result second = run({"check", "failed=5%", "--state", state});
  EXPECT_EQ("", second.errors);
  ASSERT_EQ(0, stat(state.c_str(), &file));
  EXPECT_NE(first, file.st_ino);
}

TEST_F(CheckCommand, AFileThatIsNoStateIsSaidAndReplaced) {
  std::ofstream(state) << "something else\n";
  const Result result = run({"check", "area=90%", "--state", state});
  EXPECT_EQ(0, result.code);
  EXPECT_EQ("zebmon: the file /tmp/check.state is no state of an earlier run. It is replaced.\n",
            result.errors);
  EXPECT_TRUE(contents(state).starts_with("{\"schema\":\"zebmon.state\""));
}

TEST_F(CheckCommand, AStateThatCannotBeWrittenIsUnknown) {
  const Result result = run({"check", "area=90%", "--state", "/nowhere/state"});
  EXPECT_EQ(3, result.code);
  EXPECT_TRUE(result.out.starts_with("UNKNOWN: area: the file of --state can't be written"));
  EXPECT_TRUE(contains(result.errors, "can't write the state /nowhere/state"));
}

TEST_F(CheckCommand, AnswersInTime) {
  const Result result = run({"check", "area=90%", "--timeout", "1us"});
  EXPECT_EQ(3, result.code);
  EXPECT_EQ("UNKNOWN: no answer within --timeout\n", result.out);
  EXPECT_EQ(0, run({"check", "area=90%", "--timeout", "1h"}).code);
  EXPECT_EQ(64, run({"check", "area=90%", "--timeout", "5"}).code);
}

}  // namespace check_command_test
