// SPDX-License-Identifier: Apache-2.0
// What each command says of one snapshot file. tests/agent/golden/make takes the snapshots; with
// ZEB_RENEW_GOLDEN set in the environment these tests write the outputs beside them instead of
// comparing.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <regex>

#include "agent/archive/snapshot_file.h"
#include "agent/render/json.h"
#include "agent/render/rates.h"
#include "agent/render/top/screen.h"
#include "agent/render/top/state.h"
#include "tests/agent/zebmon.h"

namespace golden_test {

namespace {

namespace fs = std::filesystem;
using Words = std::vector<std::string>;

constexpr char kFile[] = "shop.tar";
constexpr char kLater[] = "shop-later.tar";

// A terminal of 80 columns, whose other end is read here.
class Terminal {
 public:
  Terminal() : ours_(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)) {
    grantpt(ours_);
    unlockpt(ours_);
    name_ = ptsname(ours_);
    theirs_ = open(name_.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    const winsize size{24, 80, 0, 0};
    ioctl(ours_, TIOCSWINSZ, &size);
  }
  ~Terminal() {
    letGo();
    close(ours_);
  }
  Terminal(const Terminal&) = delete;
  Terminal& operator=(const Terminal&) = delete;

  const std::string& name() const { return name_; }

  // From now on the program alone has it, so that it ends with the program.
  void letGo() {
    if (theirs_ >= 0) close(theirs_);
    theirs_ = -1;
  }

  std::string all() const {
    std::string text;
    char c;
    while (read(ours_, &c, 1) == 1) {
      if (c != '\r') text += c;
    }
    return text;
  }

 private:
  int ours_;
  int theirs_ = -1;
  std::string name_;
};

Result runOnTerminal(Words arguments) {
  Terminal terminal;
  Zebmon zebmon({.arguments = std::move(arguments),
                 .environment = {"PATH=/usr/bin:/bin", "TERM=dumb", "LC_ALL=C"},
                 .output = terminal.name()});
  zebmon.rest();  // ends when the program has taken its place
  terminal.letGo();
  Result result;
  result.out = terminal.all();
  result.code = zebmon.wait();
  result.errors = zebmon.errors();
  return result;
}

// All that people see, each part with its name.
std::string seen(const Result& result) {
  return result.out + "-- exit code " + std::to_string(result.code) + ", on standard error:\n" +
         result.errors;
}

class Golden : public testing::Test {
 protected:
  void SetUp() override { fs::current_path(ZEB_GOLDEN); }

  static void compare(const std::string& name, const std::string& output) {
    if (std::getenv("ZEB_RENEW_GOLDEN") != nullptr) {
      std::ofstream(name, std::ios::binary) << output;
    } else {
      EXPECT_EQ(contents(name), output)
          << "If that is meant, renew tests/agent/golden as docs/testing.md says.";
    }
  }

  // The table as on a terminal, and what programs get in each of the formats.
  static void check(const std::string& name, const Words& arguments, const Words& formats) {
    compare(name + ".txt", seen(runOnTerminal(arguments)));
    for (const std::string& format : formats) {
      Words with = arguments;
      with.insert(with.end(), {"--format", format});
      compare(name + "." + format, run(with).out);
    }
  }

  // The way of the first message that failed.
  static std::string failedMessage() {
    std::istringstream lines(
        run({"events", "--kind", "exception", "--format", "jsonl", "--from", kFile}).out);
    std::string first;
    std::getline(lines, first);
    return nlohmann::json::parse(first).value("messageId", "");
  }
};

// The two files as two looks, for commands that look again and again: these take no file of one
// look.
struct Looks {
  std::shared_ptr<const model::Snapshot> before = read(kFile);
  std::shared_ptr<const model::Snapshot> after = read(kLater);
  model::View view = model::viewOf(std::vector{before, after}, {});

  static std::shared_ptr<const model::Snapshot> read(const char* file) {
    return archived::load(file, model::Events::read).snapshot;
  }
};

// A screen as people see it, with a line below it.
std::string drawn(const top::State& state, const top::Content& content, top::Size size) {
  std::string text;
  for (const render::Line& line : top::screenOf(state, content, size, {}).lines) {
    text += render::printed(line, false);
  }
  return text + std::string(size.columns, '=') + "\n";
}

}  // namespace

TEST_F(Golden, Brokers) {
  check("brokers", {"brokers", "--from", kFile}, {"csv", "json", "jsonl"});
}

TEST_F(Golden, Stats) {
  check("stats", {"stats", "--from", kFile}, {"csv", "json", "jsonl"});
}

TEST_F(Golden, Flow) {
  const Looks looks;
  const render::Sheet sheet = render::ratesSheet(looks.view, {}, true);
  const auto screens = [&looks](std::size_t width, render::Signs signs) {
    return render::flowScreens(looks.view, {}, {.width = width}, signs,
                               {.flow = " --broker SHOPBROKER", .doctor = ""});
  };
  compare("flow.txt", screens(80, render::Signs::boxes));
  compare("flow-ascii.txt", screens(80, render::Signs::ascii));
  compare("flow-wide.txt", screens(200, render::Signs::boxes));
  compare("flow.csv", render::csvOf(sheet, true));
  compare("flow.json", render::written(render::flowDocument(looks.view, {})));
  compare("flow.jsonl", render::rowLines("zebmon.flow.node", *looks.after, sheet));
}

TEST_F(Golden, Top) {
  const Looks looks;
  top::Content content;
  content.all = looks.after;
  content.view = looks.view;
  content.events.add(*looks.after);
  compare("top.txt", top::textOf(content, 80, false));
  compare("top-wide.txt", top::textOf(content, 200, false));
  content.wanted.signs = render::Signs::boxes;
  constexpr top::Size kSmall{.rows = 24, .columns = 80};
  top::State folded;
  folded.allFolded = true;
  top::State sorted;
  sorted.sort = top::Sort::elapsed;
  sorted.pane = top::Pane::exceptions;
  top::State help;
  help.help = true;
  compare("top-screens.txt", drawn({}, content, kSmall) + drawn(folded, content, kSmall) +
                                 drawn(sorted, content, {.rows = 30, .columns = 120}) +
                                 drawn(help, content, kSmall));
}

TEST_F(Golden, Metrics) {
  // Each build has a version of its own.
  const auto output = [](Words arguments) {
    arguments.insert(arguments.end(), {"--from", kFile});
    return std::regex_replace(run(arguments).out, std::regex("version=\"[^\"]*\""),
                              "version=\"...\"");
  };
  compare("metrics.prom", output({"metrics", "--extremes"}));
  compare("metrics.openmetrics", output({"metrics", "--format", "openmetrics"}));
}

TEST_F(Golden, Events) {
  check("events", {"events", "--kind", "exception", "--from", kFile}, {"csv", "jsonl"});
  check("events-short", {"events", "--short", "--kind", "exception", "--from", kFile}, {});
  check("events-count", {"events", "--count-by", "node", "--from", kFile}, {"csv", "jsonl"});
}

TEST_F(Golden, Message) {
  check("message", {"message", failedMessage(), "--from", kFile}, {"csv", "json", "jsonl"});
}

TEST_F(Golden, Locks) {
  check("locks", {"locks", "--all", "--from", kFile}, {"csv", "json", "jsonl"});
}

TEST_F(Golden, Doctor) {
  check("doctor", {"doctor", "--from", kFile}, {"json"});
  check("doctor-later", {"doctor", "--from", kLater}, {"json"});
}

TEST_F(Golden, Check) {
  check("check", {"check", "groups-up", "locks", "area=90%", "--from", kFile}, {});
}

TEST_F(Golden, Size) {
  check("size", {"size", "--from", kFile}, {"json"});
  check("size-plan", {"size", "--nodes", "800", "--from", kFile}, {"json"});
}

TEST_F(Golden, Config) {
  check("config", {"config", "--from", kFile}, {"json"});
}

TEST_F(Golden, PlanOfAReset) {
  check("reset", {"reset", "--from", kFile}, {"csv", "json", "jsonl"});
}

TEST_F(Golden, Diff) {
  check("diff", {"diff", kFile, kLater}, {"csv", "json", "jsonl"});
  check("diff-self", {"diff", kFile, kLater, "--flows", "../../../examples/orders.toml"}, {});
  check("diff-changes", {"diff", kFile, kLater, "--changes"}, {"csv"});
}

}  // namespace golden_test
