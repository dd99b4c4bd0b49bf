// SPDX-License-Identifier: Apache-2.0
// Whole runs of the program, with the library and the agent as they were built.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>

#include "format/version.h"

namespace fs = std::filesystem;
using Json = nlohmann::json;

namespace {

class Run : public testing::Test {
 protected:
  void SetUp() override { fs::create_directories(folder_); }
  void TearDown() override { fs::remove_all(folder_); }

  // Runs the program with these arguments and keeps what it says.
  int zebhost(const std::string& arguments) {
    const std::string command = std::string(ZEB_HOST_PROGRAM) + " " + arguments + " >" +
                                (folder_ / "out").string() + " 2>" + (folder_ / "err").string();
    const int status = std::system(command.c_str());
    out_ = contents("out");
    err_ = contents("err");
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

  std::string contents(const std::string& name) const {
    std::ifstream stream(folder_ / name);
    return {std::istreambuf_iterator<char>(stream), {}};
  }

  std::string flows(const std::string& text) const {
    std::ofstream(folder_ / "f.toml") << text;
    return (folder_ / "f.toml").string();
  }

  Json summary() const { return Json::parse(contents("s.json")); }

  fs::path folder_ = "/tmp/host_run";
  std::string out_;
  std::string err_;
};

std::string group(const std::string& label, const std::string& input, const std::string& nodes) {
  return "[[execution-group]]\nlabel = \"" + label +
         "\"\n[[execution-group.flow]]\nlabel = \"Flow\"\nthreads = 4\n"
         "[execution-group.flow.input]\n" +
         input + nodes;
}

constexpr char kBroker[] = "[broker]\nlabel = \"B\"\nuuid = \"u-1\"\nmemory-size = \"1MiB\"\n";
constexpr char kInput[] =
    "[[execution-group.flow.node]]\nmonitor = \"in\"\ntype = \"input\"\neventMessage = \"seen\"\n";
constexpr char kFailing[] =
    "[[execution-group.flow.node]]\nwork = \"w\"\n"
    "failure = { every = 5, origin = \"o\", code = \"c\", text = \"t\" }\n";
constexpr char kOutput[] = "[[execution-group.flow.node]]\nmonitor = \"out\"\ntype = \"output\"\n";

}  // namespace

TEST_F(Run, TwoProcessesAgreeWithSharedMemory) {
  const std::string nodes = std::string(kInput) + kOutput;
  const std::string file =
      flows(kBroker +
            group("one", "generated = { count = 500, size = { uniform = [0, 300] } }\n", nodes) +
            group("two", "generated = { count = 700 }\nserialise = \"lazy\"\n", nodes));
  const fs::path json = folder_ / "s.json";
  EXPECT_EQ(zebhost("run " + file + " --verify --summary-json " + json.string()), 0)
      << out_ << err_;
  EXPECT_NE(out_.find("The host and shared memory agree: 4 nodes, 2,400 measurements."),
            std::string::npos)
      << out_;
  const Json document = summary();
  EXPECT_EQ(document["verification"]["nodes"][0]["sharedMemory"]["messages"], 500);
  EXPECT_EQ(document["verification"]["nodes"][2]["sharedMemory"]["bytes"], 700 * 464);
  EXPECT_EQ(document["verification"]["events"]["sharedMemory"]["message"], 1200);
}

TEST_F(Run, FailuresAreCountedTwiceByTwoNodesAndPostedAsEvents) {
  const std::string file = flows(kBroker + group("one", "generated = { count = 200 }\n",
                                                 std::string(kInput) + kOutput + kFailing));
  const fs::path json = folder_ / "s.json";
  EXPECT_EQ(zebhost("run " + file + " --verify --summary-json " + json.string()), 0)
      << out_ << err_;
  const Json document = summary();
  EXPECT_EQ(document["messageFlows"][0]["failed"], 40);
  EXPECT_EQ(document["messageFlows"][0]["swallowed"], 0);
  EXPECT_EQ(document["verification"]["events"]["sharedMemory"]["exception"], 80);
}

TEST_F(Run, ADifferenceIsAnExitCodeOfOne) {
  // An agent that answers with documents of an empty machine.
  const fs::path agent = folder_ / "agent";
  std::ofstream(agent) << "#!/bin/sh\ntest $1 = events || echo '{\"brokers\":[]}'\n";
  fs::permissions(agent, fs::perms::owner_all);
  const std::string file =
      flows(kBroker + group("one", "generated = { count = 5 }\n", std::string(kInput)));
  EXPECT_EQ(zebhost("run " + file + " --verify --agent " + agent.string()), 1) << err_;
  EXPECT_NE(out_.find("DIFFER in 1 of 1 nodes and in their events"), std::string::npos) << out_;
}

TEST_F(Run, LinesComeOutAsTheyWentIn) {
  std::string text;
  for (int i = 0; i < 100; ++i) text += "line " + std::to_string(i) + "\n";
  std::ofstream(folder_ / "in.txt") << text;
  const std::string file = flows(
      "[broker]\nlabel = \"B\"\n[[execution-group]]\nlabel = \"G\"\n[[execution-group.flow]]\n"
      "label = \"F\"\n[execution-group.flow.input]\nlines = \"-\"\n"
      "[execution-group.flow.output]\nlines = \"copy.txt\"\n");
  EXPECT_EQ(zebhost("run " + file + " <" + (folder_ / "in.txt").string()), 0) << err_;
  EXPECT_EQ(contents("copy.txt"), text);
}

TEST_F(Run, ASignalDrainsAndStillAgrees) {
  const std::string file =
      flows(kBroker + group("one", "generated = {}\nrate = 2000\n", std::string(kInput) + kOutput));
  const fs::path started = folder_ / "started";
  ASSERT_EQ(mkfifo(started.c_str(), 0600), 0);
  const pid_t pid = fork();
  if (pid == 0) {
    // The log opens when the run begins: a reader of the pipe then knows that signals are taken.
    execl(ZEB_HOST_PROGRAM, "zebhost", "run", file.c_str(), "--verify", "--quiet", "--trace",
          "--log", started.c_str(), nullptr);
    _exit(99);
  }
  std::FILE* log = std::fopen(started.c_str(), "r");
  ASSERT_NE(log, nullptr);
  char line[4096];
  int evaluations = 0;
  while (evaluations < 3 && std::fgets(line, sizeof line, log) != nullptr) {
    if (std::string_view(line).find("zebEvaluate") != std::string_view::npos) ++evaluations;
  }
  kill(pid, SIGTERM);
  while (std::fgets(line, sizeof line, log) != nullptr) {
  }
  std::fclose(log);
  int status = 0;
  ASSERT_EQ(waitpid(pid, &status, 0), pid);
  EXPECT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0);
  EXPECT_EQ(evaluations, 3);
}

TEST_F(Run, ASecondSignalStopsAtOnce) {
  // One flow logs a failure as soon as messages flow, the other one's message takes for ever.
  const std::string failing = "[[execution-group.flow.node]]\nmonitor = \"m\"\n";
  const std::string file =
      flows(kBroker +
            group("one", "generated = { count = 1 }\n",
                  failing + "[[execution-group.flow.node]]\nwork = \"w\"\n"
                            "failure = { every = 1 }\n") +
            group("two", "generated = { count = 1 }\n",
                  "[[execution-group.flow.node]]\nwork = \"w\"\nlatency = \"10h\"\n"));
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  const pid_t pid = fork();
  if (pid == 0) {
    dup2(ends[1], STDERR_FILENO);
    execl(ZEB_HOST_PROGRAM, "zebhost", "run", file.c_str(), "--library", ZEB_ECHO_PLUGIN, nullptr);
    _exit(99);
  }
  close(ends[1]);
  std::FILE* log = fdopen(ends[0], "r");
  const auto waitFor = [log](const char* text) {
    char line[4096];
    while (std::fgets(line, sizeof line, log) != nullptr) {
      if (std::string_view(line).find(text) != std::string_view::npos) return true;
    }
    return false;
  };
  EXPECT_TRUE(waitFor("caught"));
  kill(pid, SIGTERM);
  EXPECT_TRUE(waitFor("a second signal stops at once"));
  kill(pid, SIGINT);
  EXPECT_TRUE(waitFor("stopped at once"));
  std::fclose(log);
  int status = 0;
  ASSERT_EQ(waitpid(pid, &status, 0), pid);
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 128 + SIGINT);
}

TEST_F(Run, AGroupThatCannotOpenItsOutputIsSaid) {
  std::ofstream(folder_ / "in.txt") << "a\n";
  fs::create_directory(folder_ / "gone");
  const std::string file = flows(kBroker + group("one", "lines = \"in.txt\"\n", kOutput) +
                                 "[execution-group.flow.output]\nlines = \"gone/copy.txt\"\n");
  fs::create_directory(folder_ / "gone/copy.txt");
  EXPECT_EQ(zebhost("run " + file), 69);
  EXPECT_NE(err_.find("execution group one"), std::string::npos) << err_;
}

TEST_F(Run, TellsItsVersion) {
  EXPECT_EQ(zebhost("--version"), 0);
  EXPECT_EQ(out_, std::string("zebhost ") + layout::kVersion + "\n");
  EXPECT_EQ(err_, "");
}

TEST_F(Run, WrongInputHasItsExitCode) {
  EXPECT_EQ(zebhost("check " + flows("[broker]\n")), 65);
  EXPECT_EQ(zebhost("run " + flows("[broker]\n")), 65);
  EXPECT_EQ(zebhost("check /nosuch.toml"), 66);
  EXPECT_EQ(zebhost("run"), 64);
  EXPECT_EQ(zebhost("run x --duration 5"), 64);
  const std::string file = flows(kBroker + group("one", "generated = { count = 5 }\n", kInput));
  EXPECT_EQ(zebhost("check " + file), 0);
  EXPECT_NE(out_.find("ok"), std::string::npos);
  EXPECT_EQ(zebhost("run " + file + " --library /nosuch.lil"), 69);
}
