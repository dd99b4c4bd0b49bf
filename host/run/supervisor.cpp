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
#include <cstdlib>
#include <cstring>
#include <system_error>
#include <utility>

#include "host/run/log.h"
#include "host/run/say.h"
#include "host/sources/file_error.h"

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
  const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC, 0644);
  if (fd < 0) throw FileError(errno, "can't write", path);
  return fd;
}

// False when the process has not taken what it was sent before. One that has ended is noticed where
// its reports are read.
bool sendTo(int socket, const std::string& packet, int flags = 0) {
  return send(socket, packet.data(), packet.size(), flags) >= 0 || errno != EAGAIN;
}

}  // namespace

Supervisor::Supervisor(const flowfile::File& file, const RunOptions& options, Tally& tally)
    : file_(file), options_(options), tally_(tally), plan_(file.drills) {
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
  if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0) fail("socketpair");
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
  deployed_ = waitFor(&Child::deployed, false, Clock::time_point::max()) && problems_.empty();
  return deployed_;
}

bool Supervisor::run(const std::function<void(std::chrono::duration<double>)>& tick) {
  begin_ = Clock::now();
  tell(Command::start);
  if (firstSignal_ != 0) drain();
  bool done = false;
  while (!done && stoppedBy_ == 0 && !gaveUp_) {
    done = waitFor(&Child::drained, false, nextMoment());
    elapsed_ = Clock::now() - begin_;
    if (!draining_) performDue();
    tick(elapsed_);
    // What is left of a run that lost a process still drains.
    if (!problems_.empty() || (options_.duration && elapsed_ >= *options_.duration)) drain();
    letGoOn();
    lookForStandstill();
  }
  return done;
}

bool Supervisor::leave() {
  tell(Command::leave);
  const auto until = anyLost() ? Clock::now() + Standstill::kPatience : Clock::time_point::max();
  if (waitFor(&Child::left, true, until)) return true;
  if (stoppedBy_ == 0) giveUp("nodes could not be deleted, because a lock was not given back");
  return false;
}

void Supervisor::tell(Command command) {
  for (const Child& child : children_) {
    if (!child.left) sendTo(child.socket, std::string(1, static_cast<char>(command)));
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

// True when each process that is left has come to that state.
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
  return every(state) && stoppedBy_ == 0;
}

void Supervisor::takeReport(Child& child, bool ending) {
  char packet[kLongestPacket];
  const ssize_t got = read(child.socket, packet, sizeof packet);
  const auto report = static_cast<Report>(packet[0]);
  if (got <= 0) {
    reap(child, ending);
  } else if (report == Report::deployed) {
    child.deployed = true;
  } else if (report == Report::drill) {
    takeDrill({packet + 1, static_cast<std::size_t>(got - 1)});
  } else if (report == Report::drained) {
    child.drained = true;
  }
}

void Supervisor::takeDrill(const std::string& report) {
  char* end = nullptr;
  const std::size_t place = std::strtoul(report.c_str(), &end, 10);
  plan_.finish(place, end);
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
    child.lost = "its process ended before its time";
    problems_.push_back(
        fmt::format("execution group {} (process {}) {}", child.label, child.pid, how));
  };
  const std::size_t group = groupOf(child);
  const bool killed = WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
  if (killed && (gaveUp_ || plan_.kills(group))) {
    child.lost = "its process was killed";
  } else if (WIFSIGNALED(status)) {
    if (stoppedBy_ == 0) {
      // NOLINTNEXTLINE(concurrency-mt-unsafe): this process has one thread.
      const char* const name = strsignal(WTERMSIG(status));
      lost(fmt::format("was ended by signal {} ({})", WTERMSIG(status), name));
    }
  } else if (WEXITSTATUS(status) != 0 || !ending) {
    if (WEXITSTATUS(status) != 0 && problems_.empty()) code_ = WEXITSTATUS(status);
    lost(fmt::format("ended with code {}", WEXITSTATUS(status)));
  }
  child.left = true;
  child.pid = -1;
  plan_.endGroup(group, killed);
}

Supervisor::Clock::time_point Supervisor::nextMoment() const {
  constexpr auto kTick = std::chrono::milliseconds(200);
  constexpr auto kRetry = std::chrono::milliseconds(1);
  const auto now = Clock::now();
  const auto drill = plan_.next();
  return drill && !draining_ ? std::clamp(begin_ + *drill, now + kRetry, now + kTick) : now + kTick;
}

void Supervisor::performDue() {
  for (;;) {
    const auto place = plan_.due(Clock::now() - begin_);
    if (!place || !perform(*place)) return;
  }
}

// False when the process must take something else before.
bool Supervisor::perform(std::size_t place) {
  const flowfile::Drill& drill = file_.drills[place];
  Child& child = children_[drill.group];
  const bool direct =
      drill.kind == flowfile::Drill::Kind::kill || drill.kind == flowfile::Drill::Kind::stop;
  if (!direct && !child.left &&
      !sendTo(child.socket, fmt::format("{}{}", static_cast<char>(Command::drill), place),
              MSG_DONTWAIT)) {
    return false;
  }
  plan_.begin();
  if (child.left) {
    plan_.endGroup(drill.group, false);
  } else if (drill.kind == flowfile::Drill::Kind::kill) {
    kill(child.pid, SIGKILL);
  } else if (drill.kind == flowfile::Drill::Kind::stop) {
    kill(child.pid, SIGSTOP);
    const bool forGood = drill.time.count() == 0;
    child.goesOn = forGood ? Clock::time_point::max() : Clock::now() + drill.time;
    plan_.finish(place);
  }
  return true;
}

// A stopped process goes on when its time is over, and when nobody else does anything any more.
void Supervisor::letGoOn() {
  const bool ending = draining_ || std::ranges::all_of(children_, [](const Child& child) {
                        return child.drained || child.left || child.goesOn;
                      });
  for (Child& child : children_) {
    if (!child.goesOn || (!ending && *child.goesOn > Clock::now())) continue;
    if (child.pid > 0) kill(child.pid, SIGCONT);
    child.goesOn.reset();
  }
}

bool Supervisor::anyLost() const {
  return std::ranges::any_of(children_, [](const Child& child) { return !child.lost.empty(); });
}

std::size_t Supervisor::groupOf(const Child& child) const {
  return static_cast<std::size_t>(&child - children_.data());
}

void Supervisor::lookForStandstill() {
  if (!anyLost()) return;
  std::uint64_t entered = 0;
  std::uint64_t left = 0;
  for (std::size_t g = 0; g < children_.size(); ++g) {
    if (children_[g].left || children_[g].goesOn) continue;
    for (std::size_t f = 0; f < file_.groups[g].flows.size(); ++f) {
      entered += tally_.flow(g, f).entered;
      left += tally_.flow(g, f).done();
    }
  }
  if (!standstill_.look(entered, left, Clock::now())) return;
  const std::string what =
      fmt::format("{} messages stand still since a process is gone", entered - left);
  if (draining_) return giveUp(what);
  if (std::exchange(standstillSaid_, true)) return;
  complain(what +
           "; if it left a lock held, give it back: zebmon doctor --repair lock.stuck --yes");
}

void Supervisor::giveUp(const std::string& problem) {
  gaveUp_ = true;
  problems_.push_back(problem + "; all processes were ended");
  killAll();
  waitFor(&Child::left, true, Clock::time_point::max());
}

Disturbed Supervisor::disturbed() const {
  using Kind = flowfile::Drill::Kind;
  Disturbed disturbed;
  for (const Child& child : children_) {
    disturbed.groups.push_back(child.lost);
    if (!child.lost.empty()) disturbed.events = "a process ended before its last event was whole";
  }
  for (std::size_t i = 0; i < file_.drills.size(); ++i) {
    const DrillResult::State state = plan_.results()[i].state;
    if (state == DrillResult::State::waiting) continue;
    if (file_.drills[i].kind == Kind::redeploy) {
      disturbed.statistics = "a deployment during the run set all statistics back to zero";
      disturbed.events = "a deployment during the run may have removed some";
    } else if (file_.drills[i].kind == Kind::removeKeyFile && state != DrillResult::State::failed) {
      disturbed.memory = "a drill removed its key file";
    }
  }
  return disturbed;
}

void Supervisor::killAll() {
  for (const Child& child : children_) {
    if (child.pid > 0) kill(child.pid, SIGKILL);
  }
}

}  // namespace host
