// SPDX-License-Identifier: Apache-2.0
// The program zebmon as people and scripts start it.
#ifndef ZEB_TESTS_AGENT_ZEBMON_H
#define ZEB_TESTS_AGENT_ZEBMON_H

#include <string>
#include <vector>

struct Start {
  std::vector<std::string> arguments;

  // Without it, the rights of the private namespace's root over IPC objects are given up.
  bool ownsAll = true;

  // Instead of that of the test.
  std::vector<std::string> environment = {"PATH=/usr/bin:/bin"};

  // Put in place of a pipe before it starts: closed when it is "-".
  std::string output = {};
};

// A running zebmon whose output is read through a pipe.
class Zebmon {
 public:
  explicit Zebmon(Start start);
  ~Zebmon();
  Zebmon(const Zebmon&) = delete;
  Zebmon& operator=(const Zebmon&) = delete;

  // The next line with its end, or what is left.
  std::string line();
  std::string rest();
  void closeOutput();

  void signal(int number);

  // Whether it has ended by itself; wait() still tells how.
  bool hasEnded() const;

  // The exit code, or minus the signal.
  int wait();

  std::string errors() const;

 private:
  [[noreturn]] static void become(Start start, int out);

  int pid_ = -1;
  int out_ = -1;
};

struct Result {
  std::string out;
  std::string errors;
  int code;
};

// To its end.
Result run(Start start);
Result run(std::vector<std::string> arguments);

bool contains(const std::string& text, const std::string& part);

std::string contents(const std::string& path);

// What a shell's command prints, on standard error too. It begins with "failed: " when it fails.
std::string answerOf(const std::string& command);

#endif  // ZEB_TESTS_AGENT_ZEBMON_H
