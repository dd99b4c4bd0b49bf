// SPDX-License-Identifier: Apache-2.0
// Child processes of a test: this program started over in a named role, stepped through pipes.
#ifndef ZEB_TESTS_SUPPORT_PROCESSES_H
#define ZEB_TESTS_SUPPORT_PROCESSES_H

#include <sys/types.h>

#include <memory>
#include <string>
#include <vector>

namespace support {

// The child's end of the conversation, line by line.
class Steps {
 public:
  Steps(int in, int out) : in_(in), out_(out) {}
  void tell(const std::string& line);
  // The next line, without its end; empty once the other side is gone.
  std::string hear();

 private:
  int in_;
  int out_;
};

using RoleBody = int (*)(Steps& parent, const std::vector<std::string>& arguments);

// Makes a role known. One static object per role, at namespace scope; the body's result becomes
// the exit code. A role process holds none of its parent's memory, threads or attachments.
struct Role {
  Role(const char* name, RoleBody body);
};

// A running role. Its destructor ends it, if it still runs, by its id.
class Child {
 public:
  explicit Child(const std::string& role, const std::vector<std::string>& arguments = {});
  ~Child();
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  pid_t pid() const { return pid_; }
  void tell(const std::string& line);
  // The child's next line. A child that says nothing for a minute is ended and the test fails by
  // an exception; so is one that closes its end without a word.
  std::string hear();
  // Waits for the end: the exit code, or minus the signal that ended it. Watched in the same way.
  int wait();
  // Waits until one of them has ended, and tells which: its wait returns at once. Watched as well.
  static std::size_t firstToEnd(const std::vector<std::unique_ptr<Child>>& children);
  void kill(int signal);

 private:
  void awaitReadable(int descriptor, const char* what);

  pid_t pid_ = -1;
  int ended_ = -1;  // a descriptor of the process, readable when it ended
  int in_ = -1;
  int out_ = -1;
};

// For main: runs the role that this process was started for and returns true with its exit code,
// or returns false in a process that is no child.
bool runRole(int argumentCount, char** arguments, int& exitCode);

// Waits until that thread of this process sleeps, or is gone.
void awaitSleeping(pid_t thread);

}  // namespace support

#endif  // ZEB_TESTS_SUPPORT_PROCESSES_H
