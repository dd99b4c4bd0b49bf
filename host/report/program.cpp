// SPDX-License-Identifier: Apache-2.0
#include "host/report/program.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>
#include <system_error>

extern char** environ;

namespace host {
namespace {

// Starts the program with its standard output at `output`.
pid_t start(const std::vector<std::string>& command, int output) {
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
  std::vector<char*> arguments;
  for (const std::string& text : command) arguments.push_back(const_cast<char*>(text.c_str()));
  arguments.push_back(nullptr);
  pid_t pid = -1;
  const int error =
      posix_spawn(&pid, command[0].c_str(), &actions, nullptr, arguments.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (error == 0) return pid;
  throw std::system_error(error, std::generic_category(), "can't run " + command[0]);
}

std::string readToEnd(int fd) {
  std::string output;
  char chunk[65536];
  for (ssize_t got; (got = read(fd, chunk, sizeof chunk)) > 0;) {
    output.append(chunk, static_cast<std::size_t>(got));
  }
  return output;
}

// Both ends of a pipe, closed at the latest when this goes.
struct Pipe {
  Pipe() {
    if (pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
  }
  ~Pipe() {
    close(ends[0]);
    closeInput();
  }
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;

  void closeInput() {
    if (ends[1] >= 0) close(ends[1]);
    ends[1] = -1;
  }

  int ends[2];
};

}  // namespace

std::string outputOf(const std::vector<std::string>& command, int mostCode) {
  Pipe pipe;
  const pid_t pid = start(command, pipe.ends[1]);
  pipe.closeInput();
  std::string output = readToEnd(pipe.ends[0]);
  int status = 0;
  while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
  }
  if (WIFEXITED(status) && WEXITSTATUS(status) <= mostCode) return output;
  const std::string asked = command[0] + (command.size() > 1 ? " " + command[1] : "");
  throw std::runtime_error(WIFEXITED(status)
                               ? fmt::format("{} ended with code {}", asked, WEXITSTATUS(status))
                               : fmt::format("{} was ended by signal {}", asked, WTERMSIG(status)));
}

}  // namespace host
