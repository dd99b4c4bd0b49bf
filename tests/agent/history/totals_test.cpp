// SPDX-License-Identifier: Apache-2.0
// What a history adds up to, against what the host itself counted.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <thread>

#include "agent/front/history/reading.h"
#include "tests/agent/zebmon.h"

namespace totals_test {

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

  // Where something may have been lost, each time once: until the look behind the one that saw it,
  // since a look takes time.
  std::vector<std::pair<std::int64_t, std::int64_t>> gaps() const {
    const history::Database database = history::openToRead(file);
    auto rows = database.prepare(
        "SELECT begin_ms, coalesce((SELECT wall_ms FROM look WHERE number = look_after + 1), 9e15) "
        "FROM mark WHERE kind IN ('reset', 'restart', 'removed') ORDER BY begin_ms");
    std::vector<std::pair<std::int64_t, std::int64_t>> all;
    while (rows.step()) {
      if (all.empty() || all.back().second < rows.integer(0)) {
        all.emplace_back(rows.integer(0), rows.integer(1));
      } else {
        all.back().second = std::max(all.back().second, rows.integer(1));
      }
    }
    return all;
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

std::int64_t nowMs() {
  using namespace std::chrono;
  return duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
}

// An input that is always full, and knows when each line went in. Lines are so long that few of
// them are on their way between here and the nodes.
class Feeder {
 public:
  explicit Feeder(const std::string& path) {
    mkfifo(path.c_str(), 0600);
    end_ = open(path.c_str(), O_RDWR | O_CLOEXEC);
    fcntl(end_, F_SETPIPE_SZ, kLine);
  }
  ~Feeder() {
    if (thread_.joinable()) thread_.join();
    if (end_ >= 0) close(end_);
  }
  Feeder(const Feeder&) = delete;
  Feeder& operator=(const Feeder&) = delete;

  // So many lines, then the end.
  void feed(int lines) {
    thread_ = std::thread([this, lines] {
      std::string line(kLine - 1, 'x');
      line += '\n';
      for (int i = 0; i < lines; ++i) {
        begun_.push_back(nowMs());
        if (::write(end_, line.data(), line.size()) != kLine) break;
        done_.push_back(nowMs());
      }
      close(std::exchange(end_, -1));
    });
  }

  // How many lines a node may have counted from `begin` to `end` at most, when all are written.
  std::int64_t most(std::int64_t begin, std::int64_t end) {
    if (thread_.joinable()) thread_.join();
    const auto until = std::ranges::upper_bound(begun_, end) - begun_.begin();
    const auto before = std::ranges::lower_bound(done_, begin) - done_.begin();
    return until - before + kOnTheWay;
  }

 private:
  static constexpr int kLine = 4096;
  static constexpr std::int64_t kOnTheWay = 16;  // in the pipe, read, or in a flow

  int end_ = -1;
  std::thread thread_;
  std::vector<std::int64_t> begun_;
  std::vector<std::int64_t> done_;
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

TEST_F(Totals, UnderLoadLackNoMoreThanTheHostCountedInTheMarkedGaps) {
  startRecorder();
  Feeder many(directory + "/many");
  Feeder few(directory + "/few");
  const pid_t host =
      startHost(flowWith("lines = \"" + directory + "/many\"\nrate = 3000\nqueue = 4", 3) +
                groupWith("h", "lines = \"" + directory + "/few\"\nrate = 300\nqueue = 4", 1) +
                "[[drill]]\nat = \"300ms\"\ngroup = \"g\"\nredeploy = true\n"
                "[[drill]]\nat = \"600ms\"\ngroup = \"g\"\nredeploy = true\n");
  many.feed(3000);
  few.feed(300);
  awaitHost(host);
  awaitMark("removed", 1);
  recorder->signal(SIGTERM);
  EXPECT_EQ(0, recorder->wait());
  EXPECT_EQ(6600, messages);
  EXPECT_GE(messages, recorded("messages"));
  EXPECT_LT(0, recorded("messages"));
  EXPECT_LE(
      1, number("SELECT count(*) FROM mark WHERE unknown_ms > 0 AND kind IN ('reset', 'restart')"));
  std::int64_t lost = 0;
  for (const auto& [begin, end] : gaps())
    lost += 2 * (many.most(begin, end) + few.most(begin, end));
  EXPECT_LE(messages - recorded("messages"), lost);
}

}  // namespace totals_test
