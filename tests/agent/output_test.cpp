// SPDX-License-Identifier: Apache-2.0
#include "agent/front/cli/output.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <string>

namespace output_test {

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

TEST(Output, OfAFileIsWhatWasWrittenHoweverMuch) {
  std::FILE* const file = std::tmpfile();
  ASSERT_NE(nullptr, file);
  std::string text;
  for (int i = 0; i < 700000; ++i) text += std::to_string(i);
  cli::Output output(fileno(file));
  EXPECT_TRUE(output.write(text));
  std::string found(text.size() + 1, ' ');
  EXPECT_EQ(static_cast<ssize_t>(text.size()), pread(fileno(file), found.data(), found.size(), 0));
  EXPECT_EQ(text + " ", found);
  std::fclose(file);
}

}  // namespace output_test
