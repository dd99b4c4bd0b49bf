// SPDX-License-Identifier: Apache-2.0
#include "agent/front/cli/output.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>

TEST(Output, AReaderThatGoesAwayIsARegularEnd) {
  int ends[2];
  ASSERT_EQ(0, socketpair(AF_UNIX, SOCK_STREAM, 0, ends));
  cli::Output output(ends[0]);
  close(ends[1]);
  EXPECT_FALSE(output.write("b"));
  EXPECT_EQ(0, output.error());
  EXPECT_FALSE(output.wait(1000000));
  close(ends[0]);
}

TEST(Output, OneThatIsClosedHasFailedBeforeAnythingIsWritten) {
  cli::Output output(-1);
  EXPECT_EQ(EBADF, output.error());
  EXPECT_FALSE(output.write("a"));
}
