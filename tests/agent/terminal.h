// SPDX-License-Identifier: Apache-2.0
// A terminal that a test looks at and types into: tmux, with a server of its own.
#ifndef ZEB_TESTS_AGENT_TERMINAL_H
#define ZEB_TESTS_AGENT_TERMINAL_H

#include <string>

class Terminal {
 public:
  // Whether this machine has tmux.
  static bool isThere();

  // Runs the lines of `script` in a shell on a terminal of that size. One a process at a time.
  Terminal(int columns, int rows, const std::string& script);
  ~Terminal();
  Terminal(const Terminal&) = delete;
  Terminal& operator=(const Terminal&) = delete;

  // What is on it now; lines without blanks at their ends.
  std::string screen() const;

  // The screen as soon as it has `part`, or doesn't have it. A test fails that never sees it so.
  std::string await(const std::string& part, bool there = true) const;

  // Presses keys by their names in tmux, such as "q", "Down", "C-c" and "'a text'".
  void press(const std::string& keys) const;
  void resize(int columns, int rows) const;

  // "1" or "0": whether the screen is that of a program, apart from the shell's lines, and whether
  // the cursor is seen.
  std::string isTaken() const;
  std::string showsCursor() const;
};

#endif  // ZEB_TESTS_AGENT_TERMINAL_H
