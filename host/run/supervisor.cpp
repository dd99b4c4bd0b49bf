// SPDX-License-Identifier: Apache-2.0
#include "host/run/supervisor.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <signal.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <system_error>
#include <utility>

#include "host/run/log.h"
#include "host/run/say.h"

namespace host {
namespace {

sigset_t stopSignals() {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGINT);
  sigaddset(&set, SIGTERM);
  return set;
}

[[noreturn]] void fail(const std::string& what) {
  throw std::system_error(errno, std::generic_category(), what);
}

int openLog(const std::filesystem::path& path) {
  if (path.empty()) return STDERR_FILENO;
  if (path == "-") return STDOUT_FILENO;
  const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC, 0644);
  if (fd < 0) fail("can't write " + path.string());
  return fd;
}

}  // namespace

Supervisor::Supervisor(const flowfile::File& file, const RunOptions& options, Tally& tally)
    : file_(file), options_(options), tally_(tally) {
  const sigset_t set = stopSignals();
  // NOLINTNEXTLINE(concurrency-mt-unsafe): this process has one thread.
  sigprocmask(SIG_BLOCK, &set, nullptr);
  signal(SIGPIPE, SIG_IGN);
  signals_ = signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK);
  if (signals_ < 0) fail("signalfd");
  logFile_ = openLog(options.log);
}

Supervisor::~Supervisor() {
  killAll();
  for (Child& child : children_) {
    if (child.pid > 0) reap(child, true);
    if (child.socket >= 0) close(child.socket);
  }
  if (logFile_ > STDERR_FILENO) close(logFile_);
  close(signals_);
}

void Supervisor::fork(std::size_t group) {
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) fail("socketpair");
  std::fflush(nullptr);
  const pid_t pid = ::fork();
  if (pid < 0) fail("fork");
  if (pid == 0) {
    // A terminal sends its signals to the whole process group; the supervisor decides.
    signal(SIGINT, SIG_IGN);
    signal(SIGTERM, SIG_IGN);
    close(ends[0]);
    for (const Child& other : children_) close(other.socket);
    setLog(logFile_, &tally_.log());
    const int code = runExecutionGroup(file_, group, options_, tally_, ends[1]);
    // NOLINTNEXTLINE(concurrency-mt-unsafe): the flows' threads have ended.
    std::exit(code);
  }
  close(ends[1]);
  children_.push_back({file_.groups[group].label, pid, ends[0]});
}

bool Supervisor::deploy() {
  for (std::size_t i = 0; i < file_.groups.size(); ++i) fork(i);
  deployed_ = waitFor(&Child::deployed, false, Clock::time_point::max());
  return deployed_;
}

bool Supervisor::run(const std::function<void(std::chrono::duration<double>)>& tick) {
  constexpr auto kTick = std::chrono::milliseconds(200);
  const auto begin = Clock::now();
  tell(Command::start);
  if (firstSignal_ != 0) drain();
  bool done = false;
  while (!done && stoppedBy_ == 0 && problems_.empty()) {
    done = waitFor(&Child::drained, false, Clock::now() + kTick);
    elapsed_ = Clock::now() - begin;
    tick(elapsed_);
    if (options_.duration && elapsed_ >= *options_.duration) drain();
  }
  // What is left of a run that lost a process still drains.
  if (!done && stoppedBy_ == 0) {
    drain();
    waitFor(&Child::drained, false, Clock::time_point::max());
  }
  return done;
}

bool Supervisor::leave() {
  tell(Command::leave);
  return waitFor(&Child::left, true, Clock::time_point::max());
}

void Supervisor::tell(Command command) {
  const char byte = static_cast<char>(command);
  for (const Child& child : children_) {
    if (child.left) continue;
    // A process that has ended is noticed where its reports are read.
    [[maybe_unused]] const ssize_t written = write(child.socket, &byte, 1);
  }
}

void Supervisor::drain() {
  if (std::exchange(draining_, true)) return;
  tell(Command::drain);
}

bool Supervisor::every(bool Child::*state) const {
  return std::all_of(children_.begin(), children_.end(),
                     [state](const Child& child) { return child.*state || child.left; });
}

// True when each process has come to that state and none was lost.
bool Supervisor::waitFor(bool Child::*state, bool ending, Clock::time_point until) {
  while (!every(state) && stoppedBy_ == 0 && Clock::now() < until) {
    std::vector<pollfd> waits{{signals_, POLLIN, 0}};
    for (const Child& child : children_)
      waits.push_back({child.left ? -1 : child.socket, POLLIN, 0});
    int timeout = -1;
    if (until != Clock::time_point::max()) {
      const auto left = std::chrono::ceil<std::chrono::milliseconds>(until - Clock::now());
      timeout = static_cast<int>(std::max<std::int64_t>(0, left.count()));
    }
    if (poll(waits.data(), waits.size(), timeout) < 0) continue;
    if (waits[0].revents != 0) takeSignal();
    for (std::size_t i = 0; i < children_.size(); ++i) {
      if (waits[i + 1].revents != 0) takeReport(children_[i], ending);
    }
  }
  return every(state) && stoppedBy_ == 0 && problems_.empty();
}

void Supervisor::takeReport(Child& child, bool ending) {
  char report = 0;
  if (read(child.socket, &report, 1) <= 0) {
    reap(child, ending);
  } else if (report == static_cast<char>(Report::deployed)) {
    child.deployed = true;
  } else if (report == static_cast<char>(Report::drained)) {
    child.drained = true;
  }
}

void Supervisor::takeSignal() {
  signalfd_siginfo info{};
  if (read(signals_, &info, sizeof info) != sizeof info) return;
  if (firstSignal_ != 0) {
    stoppedBy_ = static_cast<int>(info.ssi_signo);
    killAll();
    return;
  }
  firstSignal_ = static_cast<int>(info.ssi_signo);
  if (isatty(STDERR_FILENO) != 0) say(stderr, "");
  complain("stopping; a second signal stops at once");
  if (deployed_) drain();
}

void Supervisor::reap(Child& child, bool ending) {
  int status = 0;
  while (waitpid(child.pid, &status, 0) < 0 && errno == EINTR) {
  }
  const auto lost = [&](const std::string& how) {
    problems_.push_back(
        fmt::format("execution group {} (process {}) {}", child.label, child.pid, how));
  };
  if (WIFSIGNALED(status)) {
    if (stoppedBy_ == 0) {
      // NOLINTNEXTLINE(concurrency-mt-unsafe): this process has one thread.
      const char* const name = strsignal(WTERMSIG(status));
      lost(fmt::format("was ended by signal {} ({})", WTERMSIG(status), name));
    }
  } else if (WEXITSTATUS(status) != 0 || !ending) {
    lost(fmt::format("ended with code {}", WEXITSTATUS(status)));
  }
  child.left = true;
  child.pid = -1;
}

void Supervisor::killAll() {
  for (const Child& child : children_) {
    if (child.pid > 0) kill(child.pid, SIGKILL);
  }
}

}  // namespace host
