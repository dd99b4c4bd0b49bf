// SPDX-License-Identifier: Apache-2.0
// The programs as people start them.
#ifndef ZEB_TESTS_HOST_PROGRAMS_H
#define ZEB_TESTS_HOST_PROGRAMS_H

#include <sys/types.h>

#include <cstdio>
#include <string>
#include <vector>

// Runs the command in a shell; its status as waitpid() gives it.
int bash(const std::string& command);

// What the command writes to standard output; its standard error goes nowhere. Its exit code goes
// to `code`, if given, -1 when a signal ended it.
std::string outputOf(const std::string& command, int* code = nullptr);

// zebhost, started and left to run, with a pipe from its standard error.
class Started {
 public:
  explicit Started(std::vector<std::string> arguments);
  // Ends it at once if it still runs.
  ~Started();
  Started(const Started&) = delete;
  Started& operator=(const Started&) = delete;

  // Reads on until a line that holds the text; false when it ends before.
  bool says(const std::string& text);

  void signal(int number) const;

  // Whether it still runs.
  bool runs() const;

  // Waits for its end. Its exit code, -1 when a signal ended it.
  int end();

 private:
  pid_t pid_;
  std::FILE* errors_;
};

#endif  // ZEB_TESTS_HOST_PROGRAMS_H
