// SPDX-License-Identifier: Apache-2.0
#include "host/run/output.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <stdexcept>
#include <string>

#include "host/sources/source.h"

namespace output_test {

using namespace host;
namespace fs = std::filesystem;

namespace {

class Outputs : public testing::Test {
 protected:
  void SetUp() override { fs::create_directories(folder_ / "files"); }
  void TearDown() override { fs::remove_all(folder_); }

  fs::path write(const std::string& name) {
    std::ofstream(folder_ / name) << "kept\n";
    return folder_ / name;
  }

  std::string contents(const std::string& name) {
    std::ifstream stream(folder_ / name);
    return {std::istreambuf_iterator<char>(stream), {}};
  }

  // A flow of its own group.
  void addFlow(SourceSettings source, const std::optional<fs::path>& output) {
    flowfile::Flow flow;
    flow.input.source = std::move(source);
    if (output) flow.output = flowfile::Output{*output, {7, 9}};
    file_.groups.push_back({"G", {flow}});
  }

  const fs::path folder_ = "/tmp/host_outputs";
  flowfile::File file_;
};

}  // namespace

TEST_F(Outputs, AnInputByAnyNameIsFound) {
  addFlow(Lines{write("in.txt"), 1}, folder_ / "in.txt");
  fs::create_hard_link(folder_ / "in.txt", folder_ / "hard");
  fs::create_symlink("in.txt", folder_ / "soft");
  for (const char* name : {"in.txt", "hard", "soft", "files/../in.txt"}) {
    file_.groups[0].flows[0].output->path = folder_ / name;
    const auto findings = wrongOutputs(file_);
    ASSERT_EQ(findings.size(), 1U) << name;
    EXPECT_EQ(findings[0].place, (flowfile::Place{7, 9}));
    EXPECT_EQ(findings[0].text, (folder_ / name).string() +
                                    " is an input of the same flow file; expected another file");
  }
}

TEST_F(Outputs, TheInputsOfOtherGroupsAndFilesOfFoldersCount) {
  write("files/a");
  addFlow(Generated{}, folder_ / "files/a");
  EXPECT_TRUE(wrongOutputs(file_).empty());
  addFlow(Files{folder_ / "files", 1}, std::nullopt);
  EXPECT_EQ(wrongOutputs(file_).size(), 1U);
}

TEST_F(Outputs, TheFlowFileItselfCounts) {
  file_.path = write("f.toml");
  addFlow(Generated{}, folder_ / "f.toml");
  EXPECT_EQ(wrongOutputs(file_).size(), 1U);
}

TEST_F(Outputs, WhatIsNoRegularFileOrNoInputMayBeWritten) {
  ASSERT_EQ(mkfifo((folder_ / "pipe").c_str(), 0600), 0);
  addFlow(Lines{"/dev/null", 1}, "/dev/null");
  addFlow(Lines{folder_ / "pipe", 1}, folder_ / "pipe");
  addFlow(Lines{write("in.txt"), 1}, write("out.txt"));
  addFlow(Lines{folder_ / "nosuch", 1}, folder_ / "nosuch");
  EXPECT_TRUE(wrongOutputs(file_).empty());
}

TEST_F(Outputs, OneFileOfTwoFlowsIsFoundWithBothLines) {
  addFlow(Generated{}, write("out.txt"));
  addFlow(Generated{}, std::nullopt);
  fs::create_hard_link(folder_ / "out.txt", folder_ / "hard");
  fs::create_symlink("out.txt", folder_ / "soft");
  for (const char* name : {"out.txt", "hard", "soft", "files/../out.txt"}) {
    file_.groups[1].flows[0].output = flowfile::Output{folder_ / name, {12, 9}};
    const auto findings = wrongOutputs(file_);
    ASSERT_EQ(findings.size(), 1U) << name;
    EXPECT_EQ(findings[0].place, (flowfile::Place{12, 9}));
    EXPECT_EQ(findings[0].text,
              (folder_ / name).string() +
                  " is an output of two flows, first in line 7; expected another file for each");
  }
}

TEST_F(Outputs, OneFileOfTwoFlowsIsFoundBeforeItIsThere) {
  addFlow(Generated{}, folder_ / "new");
  addFlow(Generated{}, std::nullopt);
  fs::create_symlink("new", folder_ / "soft");
  fs::create_directory_symlink(folder_, folder_ / "files/up");
  for (const char* name : {"new", "soft", "files/up/new"}) {
    file_.groups[1].flows[0].output = flowfile::Output{folder_ / name, {12, 9}};
    EXPECT_EQ(wrongOutputs(file_).size(), 1U) << name;
  }
  file_.groups[1].flows[0].output->path = folder_ / "files/new";
  EXPECT_TRUE(wrongOutputs(file_).empty());
}

TEST_F(Outputs, ANewFileInAFolderOfInputsIsFound) {
  addFlow(Files{folder_ / "files", 1}, folder_ / "files/new");
  fs::create_directory_symlink("files", folder_ / "link");
  fs::create_symlink("files/other", folder_ / "soft");
  for (const char* name : {"files/new", "link/new", "soft"}) {
    file_.groups[0].flows[0].output->path = folder_ / name;
    const auto findings = wrongOutputs(file_);
    ASSERT_EQ(findings.size(), 1U) << name;
    EXPECT_EQ(findings[0].text, (folder_ / name).string() +
                                    " is in a folder that a flow of the same file reads; expected "
                                    "another folder");
  }
  fs::create_directory(folder_ / "files/deeper");
  file_.groups[0].flows[0].output->path = folder_ / "files/deeper/new";
  EXPECT_TRUE(wrongOutputs(file_).empty()) << "the files of deeper folders are no messages";
}

TEST_F(Outputs, ADeviceMayBeTheOutputOfTwoFlows) {
  addFlow(Generated{}, "/dev/null");
  addFlow(Generated{}, "/dev/null");
  EXPECT_TRUE(wrongOutputs(file_).empty());
}

TEST_F(Outputs, AnInputIsNotEmptiedByOpening) {
  addFlow(Lines{write("in.txt"), 1}, std::nullopt);
  EXPECT_THROW(OutputFile(folder_ / "in.txt", inputFiles(file_)), std::runtime_error);
  EXPECT_EQ(contents("in.txt"), "kept\n");
}

TEST_F(Outputs, AnotherFileIsEmptiedAndWrittenLineByLine) {
  addFlow(Lines{write("in.txt"), 1}, std::nullopt);
  {
    OutputFile output(write("out.txt"), inputFiles(file_));
    EXPECT_EQ(contents("out.txt"), "");
    EXPECT_TRUE(output.write("one"));
    EXPECT_TRUE(output.write(""));
    EXPECT_TRUE(output.flush());
    EXPECT_EQ(contents("out.txt"), "one\n\n");
  }
  EXPECT_EQ(contents("in.txt"), "kept\n");
}

TEST_F(Outputs, StandardInputCounts) {
  const fs::path path = write("in.txt");
  ASSERT_NE(std::freopen(path.c_str(), "r", stdin), nullptr);
  addFlow(Lines{"-", 1}, path);
  EXPECT_EQ(wrongOutputs(file_).size(), 1U);
}

TEST_F(Outputs, AFullDiskIsNoticed) {
  OutputFile output("/dev/full", {});
  output.write("line");
  EXPECT_FALSE(output.flush());
}

}  // namespace output_test
