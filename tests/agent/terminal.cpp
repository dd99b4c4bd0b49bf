// SPDX-License-Identifier: Apache-2.0
#include "tests/agent/terminal.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>

namespace {

constexpr char kSocket[] = "/tmp/terminal.socket";
constexpr char kScript[] = "/tmp/terminal.sh";

std::string outputOf(const std::string& command) {
  const std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command.c_str(), "re"), pclose);
  std::string text;
  char buffer[4096];
  for (std::size_t count; pipe && (count = fread(buffer, 1, sizeof buffer, pipe.get())) > 0;) {
    text.append(buffer, count);
  }
  return text;
}

std::string tmux(const std::string& arguments) {
  return outputOf(
      // The terminal's library keeps its tables to the end, which a sanitizer would call a leak.
      "env -i PATH=/usr/bin:/bin LC_ALL=C.UTF-8 SHELL=/bin/sh ASAN_OPTIONS=detect_leaks=0 tmux -u "
      "-f /dev/null -S " +
      std::string(kSocket) + " " + arguments + " 2>&1");
}

std::string withoutBlanks(const std::string& screen) {
  std::istringstream lines(screen);
  std::string text;
  for (std::string line; std::getline(lines, line);) {
    text += line.substr(0, line.find_last_not_of(' ') + 1) + "\n";
  }
  return text;
}

}  // namespace

bool Terminal::isThere() {
  return !outputOf("command -v tmux").empty();
}

Terminal::Terminal(int columns, int rows, const std::string& script) {
  std::ofstream(kScript) << "ulimit -c 0\n" << script << "\nexec cat\n";
  const std::string size = " -x " + std::to_string(columns) + " -y " + std::to_string(rows);
  const std::string said = tmux("new-session -d" + size + " 'exec bash " + kScript + "'");
  EXPECT_EQ("", said);
}

Terminal::~Terminal() {
  tmux("kill-server");
  std::filesystem::remove(kSocket);
  std::filesystem::remove(kScript);
}

std::string Terminal::screen() const {
  return withoutBlanks(tmux("capture-pane -p"));
}

// Each look takes a process of its own, so many of them are some seconds.
std::string Terminal::await(const std::string& part, bool there) const {
  constexpr int kTries = 1500;
  std::string seen;
  for (int i = 0; i < kTries; ++i) {
    seen = screen();
    if ((seen.find(part) != seen.npos) == there) return seen;
  }
  ADD_FAILURE() << (there ? "never seen: " : "always seen: ") << part << "\n---\n" << seen;
  return seen;
}

void Terminal::press(const std::string& keys) const {
  EXPECT_EQ("", tmux("send-keys " + keys));
}

void Terminal::resize(int columns, int rows) const {
  EXPECT_EQ("",
            tmux("resize-window -x " + std::to_string(columns) + " -y " + std::to_string(rows)));
}

std::string Terminal::isTaken() const {
  return tmux("display-message -p '#{alternate_on}'").substr(0, 1);
}

std::string Terminal::showsCursor() const {
  return tmux("display-message -p '#{cursor_flag}'").substr(0, 1);
}
