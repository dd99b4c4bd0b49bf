// SPDX-License-Identifier: Apache-2.0
#include "flowfile/load.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>

#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

namespace load_test {

using namespace std::chrono_literals;
namespace fs = std::filesystem;

namespace {

class Load : public testing::Test {
 protected:
  void SetUp() override { fs::create_directories(folder_); }
  void TearDown() override { fs::remove_all(folder_); }

  fs::path pipe() {
    const fs::path path = folder_ / "pipe";
    EXPECT_EQ(mkfifo(path.c_str(), 0600), 0);
    return path;
  }

  const fs::path folder_ = "/tmp/host_load";
};

}  // namespace

TEST_F(Load, AFileComesWholeAndAsItIs) {
  const std::string text = std::string("a\0\xFF\n", 4) + std::string(200000, 'x');
  std::ofstream(folder_ / "f", std::ios::binary) << text;
  const flowfile::Text loaded = flowfile::load(folder_ / "f", 0s);
  EXPECT_EQ(loaded.text, text);
  EXPECT_EQ(loaded.problem, "");
}

TEST_F(Load, WhatCannotBeReadIsSaidWithItsReason) {
  EXPECT_EQ(flowfile::load("/nosuch", 0s).problem, "can't read /nosuch: No such file or directory");
  EXPECT_EQ(flowfile::load("/tmp", 0s).problem,
            "can't read /tmp: it is a folder. Give the path of a flow file");
}

TEST_F(Load, TheErrorOfAFailedCallIsKept) {
  EXPECT_EQ(flowfile::load("/nosuch", 0s).error, ENOENT);
  EXPECT_EQ(flowfile::load("/dev/zero", 0s).error, 0);
}

TEST_F(Load, AFileWithoutEndIsGivenUp) {
  const flowfile::Text loaded = flowfile::load("/dev/zero", 0s);
  EXPECT_EQ(loaded.problem, "can't read /dev/zero: it has more than 64 MiB. Is it a flow file?");
  EXPECT_EQ(loaded.text, "");
}

TEST_F(Load, APipeWithoutWriterIsGivenUp) {
  EXPECT_EQ(flowfile::load(pipe(), 1ms).problem,
            "can't read /tmp/host_load/pipe: nobody wrote to this pipe within 0.001 s. Start what "
            "writes to it first");
}

TEST_F(Load, AWriterThatComesLateIsReadToItsEnd) {
  const fs::path path = pipe();
  std::thread writer([&] {
    std::ofstream stream(path);
    for (int i = 0; i < 1000; ++i) stream << "line " << i << std::endl;
  });
  const flowfile::Text loaded = flowfile::load(path, std::nullopt);
  writer.join();
  EXPECT_TRUE(loaded.text.ends_with("line 999\n"));
  EXPECT_EQ(loaded.problem, "");
}

TEST_F(Load, ASilentWriterIsWaitedForHoweverLongItTakes) {
  const fs::path path = pipe();
  const int reader = open(path.c_str(), O_RDONLY | O_NONBLOCK);
  const int writer = open(path.c_str(), O_WRONLY);
  close(reader);
  std::thread late([&] {
    // The patience is over at once: only the open end of the pipe keeps the reader waiting.
    for (int i = 0; i < 100; ++i) std::this_thread::yield();
    EXPECT_EQ(write(writer, "text", 4), 4);
    close(writer);
  });
  EXPECT_EQ(flowfile::load(path, 0s).text, "text");
  late.join();
}

}  // namespace load_test
