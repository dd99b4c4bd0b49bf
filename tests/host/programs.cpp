// SPDX-License-Identifier: Apache-2.0
#include "tests/host/programs.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string_view>

int bash(const std::string& command) {
  const pid_t pid = fork();
  if (pid == 0) {
    execl("/bin/bash", "bash", "-c", command.c_str(), nullptr);
    _exit(99);
  }
  int status = 0;
  waitpid(pid, &status, 0);
  return status;
}

std::string outputOf(const std::string& command, int* code) {
  std::FILE* const pipe = popen((command + " 2>/dev/null").c_str(), "r");
  std::string output;
  char chunk[4096];
  for (std::size_t got; (got = std::fread(chunk, 1, sizeof chunk, pipe)) > 0;) {
    output.append(chunk, got);
  }
  const int status = pclose(pipe);
  if (code != nullptr) *code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return output;
}

Started::Started(std::vector<std::string> arguments) {
  int ends[2];
  EXPECT_EQ(pipe(ends), 0);
  arguments.insert(arguments.begin(), "zebhost");
  std::vector<char*> raw;
  for (std::string& argument : arguments) raw.push_back(argument.data());
  raw.push_back(nullptr);
  pid_ = fork();
  if (pid_ == 0) {
    dup2(ends[1], STDERR_FILENO);
    execv(ZEB_HOST_PROGRAM, raw.data());
    _exit(99);
  }
  close(ends[1]);
  errors_ = fdopen(ends[0], "r");
}

Started::~Started() {
  if (pid_ > 0) {
    kill(pid_, SIGTERM);
    kill(pid_, SIGTERM);
    waitpid(pid_, nullptr, 0);
  }
  std::fclose(errors_);
}

bool Started::says(const std::string& text) {
  char line[4096];
  while (std::fgets(line, sizeof line, errors_) != nullptr) {
    if (std::string_view(line).find(text) != std::string_view::npos) return true;
  }
  return false;
}

void Started::signal(int number) const {
  kill(pid_, number);
}

bool Started::runs() const {
  siginfo_t info{};
  return waitid(P_PID, static_cast<id_t>(pid_), &info, WEXITED | WNOHANG | WNOWAIT) == 0 &&
         info.si_pid == 0;
}

int Started::end() {
  while (says("\n")) {
  }
  int status = 0;
  waitpid(pid_, &status, 0);
  pid_ = -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}
