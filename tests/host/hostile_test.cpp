// SPDX-License-Identifier: Apache-2.0
// Every message and every table of the host, with texts from outside that would move a terminal's
// cursor, hide, or break a line or a JSON document.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "host/report/summary.h"
#include "host/run/log.h"
#include "text/printable.h"
#include "text/utf8.h"

namespace hostile_test {

namespace fs = std::filesystem;
using Json = nlohmann::json;
using namespace host;

namespace {

// An escape, a newline, a C1 control, one that turns the direction, and a byte that is no UTF-8.
const std::string kHostile = "\x1B[31m\n\xC2\x9B\xE2\x80\xAE\xFFz";
const std::string kShown = "\\x1B[31m\\x0A\\x9B\\u202E\\xFFz";

// The same as a flow file may say it: its text is UTF-8.
const std::string kInToml = "\\u001B[31m\\n\\u009B\\u202Ez";
const std::string kShownOfToml = "\\x1B[31m\\x0A\\x9B\\u202Ez";

// Nothing but printable lines.
void expectPrintable(const std::string& text, const std::string& what) {
  EXPECT_TRUE(text::wellFormed(text)) << what;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    EXPECT_EQ(line, text::printable(line)) << what;
  }
}

class Hostile : public testing::Test {
 protected:
  void SetUp() override {
    fs::create_directories(folder_);
    fs::current_path(folder_);
  }
  void TearDown() override {
    fs::current_path("/");
    fs::remove_all(folder_);
  }

  int zebhost(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "zebhost");
    std::vector<char*> raw;
    for (std::string& argument : arguments) raw.push_back(argument.data());
    raw.push_back(nullptr);
    const pid_t pid = fork();
    if (pid == 0) {
      if (std::freopen("out", "w", stdout) == nullptr) _exit(98);
      if (std::freopen("err", "w", stderr) == nullptr) _exit(98);
      execv(ZEB_HOST_PROGRAM, raw.data());
      _exit(99);
    }
    int status = 0;
    waitpid(pid, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

  // Runs the program and looks at all it said, which must hold `expected`.
  void expectSaid(const std::vector<std::string>& arguments, int code,
                  const std::string& expected) {
    EXPECT_EQ(zebhost(arguments), code) << expected;
    const std::string said = contents("out") + contents("err");
    expectPrintable(said, expected);
    EXPECT_NE(said.find(expected), std::string::npos) << expected << "\nin\n" << said;
  }

  // A flow file that check refuses with that text.
  void expectFound(const std::string& text, const std::string& expected) {
    expectSaid({"check", write("f.toml", text)}, 65, expected);
  }

  std::string contents(const std::string& name) const {
    std::ifstream stream(name);
    return {std::istreambuf_iterator<char>(stream), {}};
  }

  std::string write(const std::string& name, const std::string& text) const {
    std::ofstream(name) << text;
    return name;
  }

  std::string script(const std::string& name, const std::string& text) const {
    write(name, "#!/bin/sh\n" + text);
    fs::permissions(name, fs::perms::owner_all);
    return name;
  }

  const fs::path folder_ = "/tmp/host_hostile";
};

const std::string kBroker = "[broker]\nlabel = \"B\"\nmemory-size = \"1MiB\"\n";

std::string flow(const std::string& input, const std::string& rest = "") {
  return "[[execution-group]]\nlabel = \"" + kInToml + "\"\n[[execution-group.flow]]\nlabel = \"" +
         kInToml + "\"\n[execution-group.flow.input]\n" + input + "\n" + rest;
}

std::string node(const std::string& keys) {
  return kBroker + flow("generated = { count = 2 }", "[[execution-group.flow.node]]\n" + keys);
}

const std::string kMonitor =
    "[[execution-group.flow.node]]\nmonitor = \"" + kInToml + "\"\neventMessage = \"e\"\n";

}  // namespace

TEST_F(Hostile, PathsOfFlowFiles) {
  expectSaid({"check", kHostile}, 66, "can't read " + kShown + ": No such file");
  fs::create_directory(kHostile);
  expectSaid({"check", kHostile}, 66, kShown + ": it is a folder");
  expectSaid({"check", write(kHostile + "/f", kBroker + flow("generated = { count = 1 }"))}, 0,
             kShown + "/f: ok, 1 execution group");
  expectSaid({"check", write(kHostile + "/f", "x = 1")}, 65, kShown + "/f:1:1: ");
  std::string many;
  for (int i = 0; i < 30; ++i) many += "x" + std::to_string(i) + " = 1\n";
  expectSaid({"check", write(kHostile + "/f", many)}, 65, "errors in " + kShown + "/f, of which");
  ASSERT_EQ(mkfifo((kHostile + "/pipe").c_str(), 0600), 0);
  expectSaid({"run", kHostile + "/pipe", "--duration", "1ms"}, 66, kShown + "/pipe: nobody wrote");
}

TEST_F(Hostile, TextsOfFlowFiles) {
  expectFound("a = \"\xFF\"\n", "f.toml:1:");
  expectFound("a = \x1B\n", "f.toml:1:");
  expectFound("\"" + kInToml + "\" = 1\n", "unknown key '" + kShownOfToml + "'");
  expectFound("[broker]\nlabel = \"" + kInToml + "\"\n", "names a folder of the registry");
  expectFound(kBroker + "uuid = \"" + kInToml + "\"\n", "'uuid' is \"" + kShownOfToml + "\"");
  expectFound(kBroker + "temp-directory = \"/" + kInToml + "\"\n", "no folder /" + kShownOfToml);
  expectFound(kBroker + "activate = \"" + kInToml + "\"\n", "'activate' is \"" + kShownOfToml);
  expectFound(kBroker + flow("generated = {}") + flow("generated = {}"),
              "label \"" + kShownOfToml + "\" is used twice");
  expectFound(kBroker + flow("lines = \"" + kInToml + "\""), "host_hostile/" + kShownOfToml + ";");
  expectFound(kBroker + flow("files = \"" + kInToml + "\""), "no folder /tmp/host_hostile/");
  expectFound(kBroker + flow("generated = {}\n[execution-group.flow.output]\nlines = \"" + kInToml +
                             "/out\""),
              "no folder /tmp/host_hostile/" + kShownOfToml);
  expectFound(node("monitor = \"M\"\ntype = \"" + kInToml + "\"\n"), "'type' is \"" + kShownOfToml);
  expectFound(node("monitor = \"M\"\n\"" + kInToml + "\" = 1\n"), "unknown attribute '");
  expectFound(node("work = \"W\"\nlatency = { \"" + kInToml + "\" = 1 }\n"),
              "unknown distribution '" + kShownOfToml + "'");
  expectFound(node("work = \"W\"\nlatency = { uniform = [\"" + kInToml + "\", 1] }\n"),
              "'uniform'");
  const std::string drill = "[[drill]]\nat = \"1s\"\nkill = true\ngroup = \"";
  expectFound(kBroker + flow("generated = {}") + drill + kInToml + "!\"\n",
              "no execution group \"" + kShownOfToml + "!\"; expected one of \"" + kShownOfToml);
  expectFound(
      kBroker + flow("generated = {}") + drill + kInToml + "\"\n" + drill + kInToml + "\"\n",
      "execution group \"" + kShownOfToml + "\" was killed by then");
  write("\x1B[31m\n\xC2\x9B\xE2\x80\xAEz", "");
  expectFound(kBroker + flow("lines = \"" + kInToml +
                             "\"\n[execution-group.flow.output]\nlines = \"" + kInToml + "\""),
              kShownOfToml + " is an input of the same flow file");
}

TEST_F(Hostile, OptionsAndTheirFiles) {
  const std::string file = write("f.toml", node("monitor = \"M\"\n"));
  expectSaid({kHostile}, 64, "");
  expectSaid({"run", file, "--" + kHostile}, 64, kShown);
  expectSaid({"run", file, "--duration", kHostile}, 64, "--duration: expected a time");
  expectSaid({"run", file, "--seed", kHostile}, 64, "--seed: expected a whole number");
  expectSaid({"run", file, "--library", kHostile}, 69, "can't load /tmp/host_hostile/" + kShown);
  expectSaid({"run", file, "--library", write(kHostile, "text")}, 69, "can't load ");
  expectSaid({"run", file, "--log", kHostile + "/log"}, 74, "can't write " + kShown + "/log");
  expectSaid({"run", file, "--quiet", "--summary-json", kHostile + "/s"}, 74,
             "can't write " + kShown + "/s");
  const std::string agent = script(kHostile, "exit 3\n");
  expectSaid({"run", file, "--verify", "--agent", agent}, 1, kShown + " stats ended with code 3");
  script(kHostile, "echo text\n");
  expectSaid({"run", file, "--verify", "--agent", agent}, 1, kShown + " answered in a form");
  fs::remove(agent);
  expectSaid({"run", file, "--verify", "--agent", agent}, 1,
             "can't run /tmp/host_hostile/" + kShown);
}

TEST_F(Hostile, LabelsAndExceptionsOfARun) {
  const std::string failing = "[[execution-group.flow.node]]\nwork = \"w" + kInToml +
                              "\"\nfailure = { every = 2, origin = \"" + kInToml + "\", code = \"" +
                              kInToml + "\", text = \"" + kInToml + "\" }\n";
  const std::string file =
      write("f.toml", kBroker + flow("generated = { count = 4 }\nrate = 1000", kMonitor + failing));
  expectSaid({"run", file, "--verify"}, 0, kShownOfToml + "/" + kShownOfToml + " kept 1000");
  expectSaid({"run", file, "--summary-json", "-"}, 0, "\"executionGroup\": \"");
  expectPrintable(contents("out"), "JSON");
  EXPECT_EQ(Json::parse(contents("out"))["messageFlows"][0]["nodes"][0]["label"], kShownOfToml);
  expectSaid({"run", file, "--library", ZEB_ECHO_PLUGIN}, 0,
             "caught [" + kShownOfToml + " | " + kShownOfToml + " | " + kShownOfToml + "]");
  expectSaid({"run", file, "--trace", "--quiet"}, 0, "zebEvaluate");
}

TEST_F(Hostile, WhatGoesWrongInAGroup) {
  const auto run = [this](const std::string& input, const std::string& rest, int code,
                          const std::string& expected) {
    const std::string file = write("f.toml", kBroker + flow(input, rest));
    expectSaid({"run", file, "--library", ZEB_ECHO_PLUGIN}, code, expected);
  };
  const std::string name = "\x1B[31m\n\xC2\x9B\xE2\x80\xAEz";
  const std::string output = "[execution-group.flow.output]\nlines = \"" + kInToml + "\"\n";
  run("generated = { count = 1 }",
      "[[execution-group.flow.node]]\nmonitor = \"crash" + kInToml + "\"\n", 1,
      "execution group " + kShownOfToml + " (process ");
  run("generated = { count = 2 }",
      "[[execution-group.flow.node]]\nmonitor = \"swallow" + kInToml +
          "\"\n[[execution-group.flow.node]]\nwork = \"w\"\nfailure = { every = 1 }\n",
      0, kShownOfToml + ": 2 exceptions were not re-raised");
  fs::create_symlink("/dev/full", name);
  run("generated = { count = 1 }", output, 74,
      kShownOfToml + "/" + kShownOfToml + ": can't write /tmp/host_hostile/" + kShownOfToml +
          ": No space left on device");
  fs::remove(name);
  fs::create_symlink("/proc/self/mem", name);
  run("lines = \"" + kInToml + "\"", "", 74, "can't read /tmp/host_hostile/" + kShownOfToml);
  fs::remove(name);
  fs::create_directory(name);
  run("generated = { count = 1 }", output, 65,
      "/tmp/host_hostile/" + kShownOfToml + " is a folder; expected a file");
  fs::remove(name);
  fs::create_symlink("/proc/nosuch", name);
  run("generated = { count = 1 }", output, 74,
      "execution group " + kShownOfToml + ": can't write /tmp/host_hostile/" + kShownOfToml);
}

TEST_F(Hostile, EveryTableAndDocument) {
  flowfile::File file;
  file.broker.label = kHostile;
  flowfile::Flow made;
  made.label = kHostile;
  made.input.rate = 5;
  made.nodes = {flowfile::MonitorNode{kHostile, {}, {}, {}, {}, {}},
                flowfile::WorkNode{kHostile, {}, {}}};
  file.groups.push_back({kHostile, {made}});
  Tally tally(file);
  tally.flow(0, 0).swallowed = 1;
  Verification verification;
  verification.nodes.push_back({kHostile, kHostile, kHostile, {}, {}, kHostile});
  const std::chrono::duration<double> elapsed(1);
  expectPrintable(summaryText(file, tally, elapsed), "summary");
  expectPrintable(verificationText(verification), "verification");
  expectPrintable(summaryJson(file, tally, elapsed, verification), "JSON");
  verification.nodes.push_back({kHostile, kHostile, kHostile, {}, {}, "", kHostile});
  verification.leftBehind = {kHostile};
  verification.events.notCompared = kHostile;
  file.drills.resize(1);
  const std::vector<DrillResult> drills{{DrillResult::State::failed, kHostile}};
  expectPrintable(drillsText(file, drills), "drills");
  expectPrintable(verificationText(verification), "not compared");
  expectPrintable(summaryJson(file, tally, elapsed, verification, drills), "JSON");
  verification.notDone = kHostile;
  expectPrintable(verdict(verification, tally), "verdict");
  verification.problem = kHostile;
  expectPrintable(verdict(verification, tally), "verdict");
  expectPrintable(summaryJson(file, tally, elapsed, verification), "JSON");
  expectPrintable(logText({kHostile, 1, kHostile, kHostile, 2, kHostile, {kHostile}}), "message");
  expectPrintable(logText({kHostile, 1, kHostile, "", 0, kHostile, {}}), "trace");
}

}  // namespace hostile_test
