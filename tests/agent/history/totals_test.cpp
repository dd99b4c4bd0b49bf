// SPDX-License-Identifier: Apache-2.0
// What a history adds up to, against what the host itself counted.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "agent/front/history/reading.h"
#include "tests/agent/zebmon.h"

namespace {

namespace fs = std::filesystem;

constexpr char kBroker[] = "[broker]\nlabel = \"B\"\nuuid = \"u-1\"\nmemory-size = \"1MiB\"\n";
constexpr char kNodes[] =
    "[[execution-group.flow.node]]\nmonitor = \"in\"\ntype = \"input\"\n"
    "[[execution-group.flow.node]]\nmonitor = \"out\"\ntype = \"output\"\n";

// A group with a flow that has such an input.
std::string groupWith(const std::string& label, const std::string& input, int threads) {
  return "[[execution-group]]\nlabel = \"" + label + "\"\n[[execution-group.flow]]\n" +
         "label = \"f\"\nthreads = " + std::to_string(threads) +
         "\n[execution-group.flow.input]\n" + input + "\n" + kNodes;
}

// A broker with one group "g" of that kind.
std::string flowWith(const std::string& input, int threads) {
  return kBroker + groupWith("g", input, threads);
}

class Totals : public ::testing::Test {
 protected:
  Totals() {
    fs::create_directory(directory);
    fs::permissions(directory, fs::perms(0750));
  }
  ~Totals() override { fs::remove_all(directory); }

  void startRecorder() {
    recorder = std::make_unique<Zebmon>(
        Start{.arguments = {"record", "--history", file, "--interval", "100ms"}});
    recorder->line();
  }

  // Runs a flow file in a process of its own.
  pid_t startHost(const std::string& flows) {
    std::ofstream(directory + "/f.toml") << flows;
    const std::string path = directory + "/f.toml";
    const std::string summary = directory + "/s.json";
    const pid_t child = fork();
    if (child != 0) return child;
    dup2(open("/dev/null", O_WRONLY), STDOUT_FILENO);
    dup2(open("/dev/null", O_WRONLY), STDERR_FILENO);
    execl(ZEB_HOST_PROGRAM, "zebhost", "run", path.c_str(), "--verify", "--quiet", "--agent",
          ZEBMON, "--summary-json", summary.c_str(), nullptr);
    _exit(126);
  }

  // What the host counted: of each node, added up.
  void awaitHost(pid_t host) {
    int status = 0;
    ASSERT_EQ(host, waitpid(host, &status, 0));
    std::ifstream in(directory + "/s.json");
    const auto summary = nlohmann::json::parse(in);
    for (const auto& flow : summary["messageFlows"]) {
      for (const auto& node : flow["nodes"]) {
        messages += node["messages"].get<std::int64_t>();
        bytes += node["bytes"].get<std::int64_t>();
      }
    }
  }

  std::int64_t number(const std::string& sql) const {
    try {
      return history::openToRead(file).integerOf(sql).value_or(0);
    } catch (const history::Failure&) {
      return -1;
    }
  }
  std::int64_t recorded(const std::string& column) const {
    return number("SELECT (SELECT total(" + column + ") FROM recent) + (SELECT total(" + column +
                  ") FROM sample)");
  }
  void awaitMessages(std::int64_t wanted) const {
    while (recorded("messages") < wanted) continue;
  }
  void awaitMark(const std::string& kind, std::int64_t count) const {
    while (number("SELECT count(*) FROM mark WHERE kind = '" + kind + "'") < count) continue;
  }

  const std::string directory = testing::TempDir() + "totals";
  const std::string file = directory + "/history.db";
  std::unique_ptr<Zebmon> recorder;
  std::int64_t messages = 0;
  std::int64_t bytes = 0;
};

// An input that a test fills line by line.
class Pipe {
 public:
  explicit Pipe(const std::string& path) {
    mkfifo(path.c_str(), 0600);
    end_ = open(path.c_str(), O_RDWR | O_CLOEXEC);
  }
  ~Pipe() { close(end_); }
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;

  void write(int lines) {
    const std::string line = "a message\n";
    for (int i = 0; i < lines; ++i) {
      EXPECT_EQ(static_cast<ssize_t>(line.size()), ::write(end_, line.data(), line.size()));
    }
  }

 private:
  int end_;
};

}  // namespace

TEST_F(Totals, EqualWhatTheHostCountedWhenItIsQuietAtEachReset) {
  const std::string input = directory + "/in";
  startRecorder();
  pid_t host = 0;
  {
    Pipe pipe(input);
    host = startHost(flowWith("lines = \"" + input + "\"", 2));
    pipe.write(100);
    awaitMessages(200);
    EXPECT_EQ(0, run({"reset", "--yes", "--snapshot", directory + "/before.tar"}).code);
    awaitMark("reset", 1);
    pipe.write(50);
    awaitMessages(300);
    recorder->signal(SIGKILL);
    recorder->wait();
    pipe.write(25);
    startRecorder();
    awaitMessages(350);
  }
  awaitHost(host);
  awaitMark("removed", 1);
  const pid_t second = [&] {
    Pipe pipe(input + "2");
    const pid_t child = startHost(flowWith("lines = \"" + input + "2\"", 2));
    pipe.write(10);
    awaitMessages(370);
    return child;
  }();
  awaitHost(second);
  recorder->signal(SIGTERM);
  EXPECT_EQ(0, recorder->wait());
  EXPECT_EQ(370, messages);
  EXPECT_EQ(messages, recorded("messages"));
  EXPECT_EQ(bytes, recorded("bytes"));
  EXPECT_LE(1, number("SELECT count(*) FROM mark WHERE kind = 'gap'"));
  EXPECT_LE(1, number("SELECT count(*) FROM mark WHERE kind = 'restart'"));
}

TEST_F(Totals, AreNeverAboveWhatTheHostCountedUnderLoad) {
  startRecorder();
  const pid_t host = startHost(flowWith("generated = { count = 3000 }\nrate = 3000", 3) +
                               groupWith("h", "generated = { count = 300 }\nrate = 300", 1) +
                               "[[drill]]\nat = \"300ms\"\ngroup = \"g\"\nredeploy = true\n"
                               "[[drill]]\nat = \"600ms\"\ngroup = \"g\"\nredeploy = true\n");
  awaitHost(host);
  awaitMark("removed", 1);
  recorder->signal(SIGTERM);
  EXPECT_EQ(0, recorder->wait());
  EXPECT_EQ(6600, messages);
  EXPECT_GE(messages, recorded("messages"));
  EXPECT_LT(0, recorded("messages"));
  EXPECT_LE(
      1, number("SELECT count(*) FROM mark WHERE unknown_ms > 0 AND kind IN ('reset', 'restart')"));
}
