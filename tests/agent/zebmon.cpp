// SPDX-License-Identifier: Apache-2.0
#include "tests/agent/zebmon.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/capability.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace {

constexpr char kErrors[] = "/tmp/zebmon-errors";

std::vector<char*> pointersTo(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  for (std::string& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

}  // namespace

Zebmon::Zebmon(Start start) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("pipe2");
  pid_ = fork();
  if (pid_ == 0) become(std::move(start), ends[1]);
  close(ends[1]);
  out_ = ends[0];
}

Zebmon::~Zebmon() {
  if (pid_ > 0) {
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
  }
  closeOutput();
  std::filesystem::remove(kErrors);
}

void Zebmon::become(Start start, int out) {
  if (!start.output.empty()) out = open(start.output.c_str(), O_WRONLY);
  dup2(open(kErrors, O_WRONLY | O_CREAT | O_TRUNC, 0600), STDERR_FILENO);
  if (start.output == "-") {
    close(STDOUT_FILENO);
  } else {
    dup2(out, STDOUT_FILENO);
  }
  if (!start.ownsAll) prctl(PR_CAPBSET_DROP, CAP_IPC_OWNER, 0, 0, 0);
  start.arguments.insert(start.arguments.begin(), "zebmon");
  execve(ZEBMON, pointersTo(start.arguments).data(), pointersTo(start.environment).data());
  _exit(126);
}

std::string Zebmon::line() {
  std::string text;
  char c;
  while (read(out_, &c, 1) == 1) {
    text += c;
    if (c == '\n') break;
  }
  return text;
}

std::string Zebmon::rest() {
  std::string text;
  for (std::string next = line(); !next.empty(); next = line()) text += next;
  return text;
}

void Zebmon::closeOutput() {
  if (out_ >= 0) close(out_);
  out_ = -1;
}

void Zebmon::signal(int number) {
  kill(pid_, number);
}

bool Zebmon::hasEnded() const {
  siginfo_t info{};
  return waitid(P_PID, static_cast<id_t>(pid_), &info, WEXITED | WNOHANG | WNOWAIT) == 0 &&
         info.si_pid != 0;
}

int Zebmon::wait() {
  int status = 0;
  waitpid(pid_, &status, 0);
  pid_ = -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

std::string Zebmon::errors() const {
  return contents(kErrors);
}

Result run(Start start) {
  Zebmon zebmon(std::move(start));
  Result result;
  result.out = zebmon.rest();
  result.code = zebmon.wait();
  result.errors = zebmon.errors();
  return result;
}

Result run(std::vector<std::string> arguments) {
  return run(Start{.arguments = std::move(arguments)});
}

bool contains(const std::string& text, const std::string& part) {
  return text.find(part) != text.npos;
}

std::string contents(const std::string& path) {
  std::ostringstream text;
  text << std::ifstream(path).rdbuf();
  return text.str();
}

std::string answerOf(const std::string& command) {
  const std::string file = testing::TempDir() + "answer";
  const int status = std::system((command + " >" + file + " 2>&1").c_str());
  std::string said = (status == 0 ? "" : "failed: ") + contents(file);
  std::filesystem::remove(file);
  return said;
}
