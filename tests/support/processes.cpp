// SPDX-License-Identifier: Apache-2.0
#include "tests/support/processes.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fstream>
#include <map>
#include <stdexcept>
#include <string>
#include <thread>

namespace support {
namespace {

constexpr int kPatience = 60 * 1000;  // milliseconds
constexpr char kMark[] = "--run-in-role";

std::map<std::string, RoleBody>& roles() {
  static std::map<std::string, RoleBody> known;
  return known;
}

void writeLine(int out, const std::string& line) {
  const std::string text = line + "\n";
  if (write(out, text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
    throw std::runtime_error("the other process is gone");
  }
}

std::string readLine(int in) {
  std::string line;
  char byte = 0;
  for (;;) {
    const ssize_t got = read(in, &byte, 1);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0 || byte == '\n') return line;
    line.push_back(byte);
  }
}

[[noreturn]] void startRole(int in, int out, pid_t parent, std::vector<std::string> words) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (getppid() != parent) _exit(1);
  fcntl(in, F_SETFD, 0);
  fcntl(out, F_SETFD, 0);
  std::vector<char*> arguments;
  for (std::string& word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  execv("/proc/self/exe", arguments.data());
  _exit(127);
}

}  // namespace

void Steps::tell(const std::string& line) {
  writeLine(out_, line);
}

std::string Steps::hear() {
  return readLine(in_);
}

Role::Role(const char* name, RoleBody body) {
  roles()[name] = body;
}

Child::Child(const std::string& role, const std::vector<std::string>& arguments) {
  int toChild[2];
  int fromChild[2];
  if (pipe2(toChild, O_CLOEXEC) != 0 || pipe2(fromChild, O_CLOEXEC) != 0) {
    throw std::runtime_error("no pipe");
  }
  std::vector<std::string> words{"role", kMark, role, std::to_string(toChild[0]),
                                 std::to_string(fromChild[1])};
  words.insert(words.end(), arguments.begin(), arguments.end());
  const pid_t self = getpid();
  pid_ = fork();
  if (pid_ == 0) startRole(toChild[0], fromChild[1], self, std::move(words));
  close(toChild[0]);
  close(fromChild[1]);
  out_ = toChild[1];
  in_ = fromChild[0];
  if (pid_ < 0) throw std::runtime_error("no process");
  ended_ = static_cast<int>(syscall(SYS_pidfd_open, pid_, 0));
}

Child::~Child() {
  if (pid_ > 0) {
    ::kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
  }
  for (const int descriptor : {ended_, in_, out_}) {
    if (descriptor >= 0) close(descriptor);
  }
}

void Child::tell(const std::string& line) {
  writeLine(out_, line);
}

std::string Child::hear() {
  awaitReadable(in_, "said nothing");
  const std::string line = readLine(in_);
  if (line.empty()) throw std::runtime_error("a child process ended without a word");
  return line;
}

int Child::wait() {
  awaitReadable(ended_, "did not end");
  int status = 0;
  while (waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
  }
  pid_ = -1;
  return WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status);
}

std::size_t Child::firstToEnd(const std::vector<std::unique_ptr<Child>>& children) {
  std::vector<pollfd> watched;
  for (const auto& child : children) watched.push_back({child->ended_, POLLIN, 0});
  int ready = 0;
  do {
    ready = poll(watched.data(), watched.size(), kPatience);
  } while (ready < 0 && errno == EINTR);
  for (std::size_t i = 0; i < watched.size(); ++i)
    if ((watched[i].revents & POLLIN) != 0) return i;
  throw std::runtime_error("no child process ended");
}

void Child::kill(int signal) {
  ::kill(pid_, signal);
}

void Child::awaitReadable(int descriptor, const char* what) {
  pollfd watched{descriptor, POLLIN, 0};
  int ready = 0;
  do {
    ready = poll(&watched, 1, kPatience);
  } while (ready < 0 && errno == EINTR);
  if (ready > 0) return;
  ::kill(pid_, SIGKILL);
  throw std::runtime_error(std::string("a child process ") + what);
}

bool runRole(int argumentCount, char** arguments, int& exitCode) {
  if (argumentCount < 5 || std::strcmp(arguments[1], kMark) != 0) return false;
  const auto found = roles().find(arguments[2]);
  if (found == roles().end()) throw std::runtime_error("an unknown role");
  Steps parent(std::stoi(arguments[3]), std::stoi(arguments[4]));
  exitCode = found->second(parent, {arguments + 5, arguments + argumentCount});
  return true;
}

void awaitSleeping(pid_t thread) {
  const std::string path = "/proc/self/task/" + std::to_string(thread) + "/stat";
  for (;;) {
    std::ifstream file(path);
    std::string status;
    if (!std::getline(file, status)) return;
    if (status.at(status.rfind(')') + 2) == 'S') return;
    std::this_thread::yield();
  }
}

}  // namespace support
