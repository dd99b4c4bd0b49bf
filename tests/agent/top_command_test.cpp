// SPDX-License-Identifier: Apache-2.0
// zebmon top on a terminal, and without one.
#include <gtest/gtest.h>
#include <sys/shm.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <optional>
#include <regex>

#include "tests/agent/live_lock.h"
#include "tests/agent/terminal.h"
#include "tests/agent/zebmon.h"
#include "tests/support/image.h"
#include "tests/support/live_segment.h"

namespace top_command_test {

namespace {

using image::Block;
using image::Bytes;
using image::Id;

constexpr char kPidFile[] = "/tmp/top.pid";
constexpr char kRecord[] = "06000000E8030000050000000F000000";  // of the statistics of "Reserve"

// Two flows; "Reserve" has seen so many messages. Their group is this process.
Bytes shop(const std::string& messages) {
  constexpr Id kStock{4, 1000, 6, 16}, kStockIn{5, 1000, 7, 17}, kStockNumbers{6, 1000, 8, 18};
  constexpr Id kTemplate{7, 500, 1, 1}, kEvent{8, 1000, 1, 1};
  Block block{.eyecatcher = "zebcstar", .contents = {}};
  block.add(image::broker(image::kBroker, u"1-2-3", u"BRK1", 0xEA5FFFFF));
  block.add(
      image::group(image::kGroup, image::kBroker, u"orders", static_cast<std::uint32_t>(getpid())));
  block.add(image::flow(image::kFlow, image::kGroup, u"Fulfil"));
  block.add(image::node(image::kNode, image::kFlow, u"Reserve", 1));
  block.add(image::statistics(image::kStatistics, image::kNode, {.count = messages}));
  block.add(image::flow(kStock, image::kGroup, u"Stock \u540d\u524d"));
  block.add(image::node(kStockIn, kStock, u"Stock in\x1b[2J", 1));
  block.add(image::statistics(kStockNumbers, kStockIn));
  Block templates{.eyecatcher = "zebcetar", .contents = {}};
  templates.add(
      image::eventTemplate(kTemplate, u"orders", u"Fulfil", u"Reserve", 1, u"Order accepted"));
  Block data{.eyecatcher = "zebcedar", .contents = {}};
  data.add(image::event(kEvent, kTemplate, 0xEA600010));
  return image::segment({block, templates, data});
}

// Without what another look would show otherwise.
std::string masked(std::string text) {
  text = std::regex_replace(text, std::regex("[0-9]{4}-[0-9]{2}-[0-9]{2}"), "YYYY-MM-DD");
  text = std::regex_replace(text, std::regex("[0-9]{2}:[0-9]{2}:[0-9]{2}Z"), "hh:mm:ssZ");
  text = std::regex_replace(text, std::regex("the last [0-9.]+ s"), "the last #.# s");
  return std::regex_replace(text, std::regex(" +[0-9]+ d"), " # d");
}

class Top : public testing::Test {
 protected:
  Top() {
    if (!Terminal::isThere()) return;
    at_ = shmat(segment_->id(), nullptr, SHM_RDONLY);
  }
  ~Top() override {
    if (at_ != nullptr) shmdt(at_);
    std::filesystem::remove(kPidFile);
  }

  void SetUp() override {
    if (!Terminal::isThere()) GTEST_SKIP() << "there is no tmux: scripts/install-dependencies";
  }

  // The line of a script that starts it, so that kill() reaches it.
  static std::string start(const std::string& arguments = "-i 20ms") {
    return "sh -c 'echo $$ >" + std::string(kPidFile) + "; exec " ZEBMON " top " + arguments + "'";
  }

  static void kill(int signal) { ::kill(std::stoi(contents(kPidFile)), signal); }

  // With the modes of the terminal before and after it.
  static std::string between() {
    return "echo before; modes=$(stty -g)\n" + start() +
           "\ncode=$?; [ \"$modes\" = \"$(stty -g)\" ] && echo the same modes\n"
           "echo ended with $code";
  }

  static void expectRestored(const Terminal& terminal, const std::string& code) {
    const std::string left = terminal.await("ended with ");
    EXPECT_TRUE(contains(left, "before\n")) << left;
    EXPECT_TRUE(contains(left, "the same modes\n")) << left;
    EXPECT_TRUE(contains(left, "ended with " + code + "\n")) << left;
    EXPECT_EQ("0", terminal.isTaken());
    EXPECT_EQ("1", terminal.showsCursor());
  }

  std::optional<LiveSegment> segment_{std::in_place, "1-2-3", shop("100")};

 private:
  void* at_ = nullptr;
};

constexpr char kRunning[] = "the last";

const std::string kStands = "\nFulfil (orders): messages stop at \"Reserve\", at the lock of ";

// What is shown while a process that is dead holds that lock.
std::string withADeadProcessAt(const char* name) {
  const LiveLock lock(name);
  lock.takenByADeadProcess();
  return run({"top", "-i", "1s"}).out;
}

}  // namespace

TEST_F(Top, Fills80By24) {
  const Terminal terminal(80, 24, start());
  EXPECT_EQ(R"(zebmon top  YYYY-MM-DD hh:mm:ssZ  the last #.# s  every 20 ms
broker  state  groups  nodes  stats %  texts %  events %  attached  last message
BRK1    ok          1      2       20        4         4         1 # d
Fulfil (orders): no message was counted: run zebmon doctor, or look longer.
 times: ms a message    msg/s  elapsed  queued   self  share  busy  wait  exc
 - Fulfil (orders)        0.0        -                         0.0   0.0
   Reserve                0.0        -       -      -      -   0.0   0.0
 - Stock 名前 (orders)    0.0        -                         0.0   0.0
   Stock in\x1B[2J        0.0        -       -      -      -   0.0   0.0










events, the newest last
hh:mm:ssZ  message  Fulfil  Reserve  Order accepted


q quit  ? help  space pause  / filter  s sort  f,F fold  e events  arrows choose
)",
            masked(terminal.await(kRunning)));
}

TEST_F(Top, Fills120By40) {
  const Terminal terminal(120, 40, start());
  EXPECT_EQ(R"(zebmon top  YYYY-MM-DD hh:mm:ssZ  the last #.# s  every 20 ms
broker  state  groups  flows  nodes  stats %  texts %  events %  attached  last message  bytes
BRK1    ok          1      2      2       20        4         4         1 # d  12.3k
Fulfil (orders): no message was counted: run zebmon doctor, or look longer.
 times: ms a message    type   msg/s  bytes/s  size  elapsed  queued   self  share  lost  busy  wait  exc
 - Fulfil (orders)               0.0                       -                               0.0   0.0
   Reserve              input    0.0      0.0     -        -       -      -      -     -   0.0   0.0
 - Stock 名前 (orders)           0.0                       -                               0.0   0.0
   Stock in\x1B[2J      input    0.0      0.0     -        -       -      -      -     -   0.0   0.0






















events, the newest last
hh:mm:ssZ  message  Fulfil  Reserve  Order accepted  A0A1A2A3A4A5A6A7A8A9AAABACADAEAFB0B1B2B3B4B5B6B7






q quit  ? help  space pause  / filter  s sort  f,F fold  e events  arrows choose
)",
            masked(terminal.await(kRunning)));
}

TEST_F(Top, ShowsWhatHappensMeanwhile) {
  const Terminal terminal(80, 24, start("-i 50ms"));
  terminal.await(kRunning);
  // A rate of 0.0 goes with the first message that is counted.
  for (int messages = 101; terminal.screen().find("Reserve              0.0") != std::string::npos;
       ++messages) {
    ASSERT_GT(2000, messages);
    segment_->write(shop(std::to_string(messages)));
  }
}

TEST_F(Top, KeysChangeWhatIsShown) {
  const Terminal terminal(80, 24, start());
  terminal.await(kRunning);
  terminal.press("'?'");
  terminal.await("zebmon top: help");
  terminal.press("Escape");
  terminal.await("zebmon top: help", false);
  terminal.press("Down");
  terminal.await("\n>- Fulfil (orders)");
  terminal.press("Enter");
  terminal.await("\n>+ Fulfil (orders)");
  terminal.press("/ r e s");
  terminal.await("filter: res_");
  terminal.press("BSpace Enter");
  terminal.await("filter \"re\"");
  terminal.press("Escape s");
  terminal.await("by rate");
  terminal.press("Space");
  terminal.await("PAUSED");
  terminal.press("PPage NPage End Home Left Right F1");
  terminal.await("zebmon top: help");
}

TEST_F(Top, TheFirstKeyMayBeAnArrow) {
  const Terminal terminal(80, 24, start());
  terminal.await(kRunning);
  terminal.press("Down");
  terminal.await("\n>- Fulfil (orders)");
}

TEST_F(Top, FollowsTheSizeOfTheTerminal) {
  const Terminal terminal(80, 24, start());
  terminal.await(kRunning);
  terminal.resize(140, 40);
  terminal.await("bytes/s");
  terminal.resize(30, 6);
  terminal.await("bytes/s", false);
  terminal.resize(80, 24);
  terminal.await("q quit  ? help");
}

TEST_F(Top, ABrokerMayComeAndGo) {
  segment_.reset();
  const Terminal terminal(80, 24, start());
  terminal.await("no broker has a key file");
  segment_.emplace("1-2-3", shop("1"));
  terminal.await("Reserve");
  segment_.reset();
  terminal.await("no broker has a key file");
}

TEST_F(Top, GivesTheTerminalBackWhenItIsQuit) {
  const Terminal terminal(80, 24, between());
  terminal.await(kRunning);
  EXPECT_EQ("1", terminal.isTaken());
  EXPECT_EQ("0", terminal.showsCursor());
  terminal.press("q");
  expectRestored(terminal, "0");
}

TEST_F(Top, GivesTheTerminalBackAtControlC) {
  const Terminal terminal(80, 24, between());
  terminal.await(kRunning);
  terminal.press("C-c");
  expectRestored(terminal, "0");
}

TEST_F(Top, SignalsThatEndItGiveTheTerminalBack) {
  for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
    const Terminal terminal(80, 24, between());
    terminal.await(kRunning);
    kill(signal);
    expectRestored(terminal, "0");
  }
}

TEST_F(Top, CrashesGiveTheTerminalBack) {
  for (const int signal : {SIGSEGV, SIGABRT, SIGQUIT}) {
    const Terminal terminal(80, 24, between());
    terminal.await(kRunning);
    kill(signal);
    expectRestored(terminal, std::to_string(128 + signal));
  }
}

TEST_F(Top, CanBeStoppedAndGoesOn) {
  const Terminal terminal(80, 24,
                          "set -m; echo before; modes=$(stty -g)\n" + start() +
                              "\n[ \"$modes\" = \"$(stty -g)\" ] && echo the same modes\n"
                              "echo stopped; read line; fg; echo ended with $?");
  terminal.await(kRunning);
  terminal.press("C-z");
  EXPECT_TRUE(contains(terminal.await("stopped\n"), "the same modes\n"));
  EXPECT_EQ("0", terminal.isTaken());
  terminal.press("Enter");
  terminal.await(kRunning);
  EXPECT_EQ("1", terminal.isTaken());
  terminal.press("q");
  terminal.await("ended with 0");
}

TEST_F(Top, TakesAnArrowKeyInBothOfItsForms) {
  const Terminal terminal(80, 24, start());
  terminal.await(kRunning);
  terminal.press("-H 1b 5b 42");
  terminal.await("\n>- Fulfil");
  terminal.press("-H 1b 4f 42");
  terminal.await("\n>  Reserve");
}

TEST_F(Top, DrawsAgainWhenSomebodyElseStoppedIt) {
  const Terminal terminal(80, 24, start() + "; echo ended with $?");
  terminal.await(kRunning);
  kill(SIGSTOP);
  kill(SIGCONT);
  terminal.press("Down");
  terminal.await("\n>- Fulfil");
  EXPECT_EQ("1", terminal.isTaken());
  terminal.press("q");
  terminal.await("ended with 0");
}

TEST_F(Top, ATerminalThatIsUnknownGetsOneScreenOfText) {
  const Terminal unknown(80, 24, "TERM=none " + start() + "; echo ended with $?");
  const std::string text = unknown.await("ended with 0");
  EXPECT_TRUE(contains(text, "TERM=none is no terminal that is known here")) << text;
  EXPECT_TRUE(contains(text, "Fulfil (orders)")) << text;
}

TEST_F(Top, ADumbTerminalGetsOneScreenOfText) {
  const Terminal dumb(80, 24, "TERM=dumb " + start() + "; echo ended with $?");
  const std::string text = dumb.await("ended with 0");
  EXPECT_TRUE(contains(text, "Fulfil (orders)")) << text;
  EXPECT_FALSE(contains(text, "zebmon:")) << text;
  EXPECT_EQ("0", dumb.isTaken());
}

TEST_F(Top, WithoutATerminalIsOneScreenOfText) {
  const Result result = run({"top", "-i", "10ms"});
  EXPECT_EQ(0, result.code) << result.errors;
  EXPECT_TRUE(result.out.starts_with("zebmon top  "));
  EXPECT_TRUE(contains(result.out, "Fulfil (orders)"));
  EXPECT_TRUE(contains(result.out, "Stock in\\x1B[2J"));
  EXPECT_TRUE(contains(result.out, "message  Fulfil  Reserve  Order accepted"));
  EXPECT_FALSE(contains(result.out, "\x1b"));
  EXPECT_EQ("", result.errors);
  EXPECT_TRUE(contains(run({"top", "-i", "10ms", "--color", "always"}).out, "\x1b[1m"));
}

TEST_F(Top, TellsFirstOfAFlowThatStandsAtALockOfADeadProcess) {
  const std::string text = withADeadProcessAt("1-2-3.zebcedar");
  EXPECT_TRUE(contains(text, kStands + "the events area of broker BRK1: process ")) << text;
}

TEST_F(Top, TellsOfAFlowThatStandsAtTheLockOfOneNode) {
  const std::string text = withADeadProcessAt(kRecord);
  EXPECT_TRUE(contains(text, kStands + "the statistics of orders/Fulfil/Reserve")) << text;
}

TEST_F(Top, TakesTheOptionsOfTheOthers) {
  const Result file = run({"top", "--from", "x.tar"});
  EXPECT_EQ(64, file.code);
  EXPECT_TRUE(contains(file.errors, "--from")) << "it looks at this machine alone";
  EXPECT_EQ(64, run({"top", "-i", "9"}).code);
  EXPECT_EQ(69, run({"top", "--flow", "None"}).code);
  EXPECT_EQ(69, run({"top", "--broker", "None"}).code);
  EXPECT_EQ(66, run({"top", "--temp-directory", "/tmp/none"}).code);
  EXPECT_EQ(66, run({"top", "--flows", "/tmp/none.toml"}).code);
  EXPECT_EQ(64, run({"top", "--flow", "Fulfil", "--chain", "X"}).code);
  const Result some = run({"top", "-i", "10ms", "--flow", "Fulfil", "--chain", "Reserve"});
  EXPECT_EQ(0, some.code) << some.errors;
  EXPECT_FALSE(contains(some.out, "Stock in"));
}

TEST_F(Top, SaysWhatIsDamagedAndShowsTheRest) {
  Bytes bytes = shop("100");
  segment_->write(Bytes(bytes.size()));
  const Terminal terminal(80, 24, start());
  terminal.await("broker uuid 1-2-3: shared memory without a header");
  segment_->write(bytes);
  terminal.await("Reserve");
}

}  // namespace top_command_test
