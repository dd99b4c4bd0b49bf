// SPDX-License-Identifier: Apache-2.0
#include "agent/reader/probe.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>

namespace reader {
namespace {

using Clock = std::chrono::steady_clock;

// Standard output goes to the pipe, standard error nowhere.
int start(const std::string& program, const std::string& library, int out, pid_t& child) {
  posix_spawn_file_actions_t files;
  if (const int error = posix_spawn_file_actions_init(&files); error != 0) return error;
  posix_spawn_file_actions_addopen(&files, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_adddup2(&files, out, STDOUT_FILENO);
  posix_spawn_file_actions_addopen(&files, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
  std::string words[] = {program, library};
  char* arguments[] = {words[0].data(), words[1].data(), nullptr};
  char* environment[] = {nullptr};
  const int error = posix_spawn(&child, program.c_str(), &files, nullptr, arguments, environment);
  posix_spawn_file_actions_destroy(&files);
  return error;
}

// Waits until there is something to read, or the writer has gone. False when time is up.
bool readable(int pipe, Clock::time_point end) {
  for (;;) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now());
    if (left.count() <= 0) return false;
    pollfd waiting{pipe, POLLIN, 0};
    const int ready = poll(&waiting, 1, static_cast<int>(left.count()));
    if (ready > 0) return true;
    if (ready < 0 && errno != EINTR) return false;
  }
}

// Until the writer has gone; what is too much is read and dropped. False when time is up.
bool readAll(int pipe, Clock::time_point end, std::string& text) {
  char part[512];
  while (readable(pipe, end)) {
    const ssize_t got = read(pipe, part, sizeof part);
    if (got == 0) return true;
    if (got < 0) continue;
    text.append(part, std::min(static_cast<std::size_t>(got), Probe::kMostOfLine - text.size()));
  }
  return false;
}

// It may go on when it has closed its output. False when time is up. Where the system doesn't let
// this process wait with a limit, it waits without.
bool ends(pid_t child, Clock::time_point end) {
  const int process = static_cast<int>(syscall(SYS_pidfd_open, child, 0));
  if (process < 0) return true;
  const bool ended = readable(process, end);
  close(process);
  return ended;
}

int await(pid_t child) {
  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  return status;
}

}  // namespace

// The program writes a flat object of texts.
std::string Probe::value(const std::string& key) const {
  const std::string start = "\"" + key + "\":\"";
  std::size_t at = line.find(start);
  if (outcome != Outcome::ended || at == line.npos) return {};
  std::string text;
  for (at += start.size(); at < line.size() && line[at] != '"'; ++at) {
    at += line[at] == '\\' && at + 1 < line.size();
    text += line[at];
  }
  return text;
}

// The child holds the one end that can be written to. It counts as late when a child of its own
// still has that.
Probe tryPlugIn(const std::string& program, const std::string& library,
                std::chrono::milliseconds time) {
  using Outcome = Probe::Outcome;
  Probe probe;
  int pipe[2];
  if (pipe2(pipe, O_CLOEXEC) != 0) {
    probe.error = errno;
    return probe;
  }
  pid_t child = 0;
  probe.error = start(program, library, pipe[1], child);
  close(pipe[1]);
  if (probe.error == 0) {
    const auto last = Clock::now() + time;
    const bool ended = readAll(pipe[0], last, probe.line) && ends(child, last);
    if (!ended) kill(child, SIGKILL);
    const int status = await(child);
    probe.outcome = !ended ? Outcome::late : WIFSIGNALED(status) ? Outcome::killed : Outcome::ended;
    probe.code = WIFSIGNALED(status) ? WTERMSIG(status) : WEXITSTATUS(status);
  }
  close(pipe[0]);
  probe.line.resize(std::min(probe.line.find('\n'), probe.line.size()));
  return probe;
}

}  // namespace reader
