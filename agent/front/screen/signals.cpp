// SPDX-License-Identifier: Apache-2.0
#include "agent/front/screen/signals.h"

#include <poll.h>
#include <signal.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <limits>
#include <system_error>

namespace terminal {
namespace {

sigset_t heard() {
  sigset_t set;
  sigemptyset(&set);
  for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGTSTP, SIGCONT, SIGWINCH}) {
    sigaddset(&set, number);
  }
  return set;
}

}  // namespace

Signals::Signals() {
  const sigset_t set = heard();
  descriptor_ = signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK);
  if (descriptor_ < 0) throw std::system_error(errno, std::generic_category(), "signalfd");
  pthread_sigmask(SIG_BLOCK, &set, nullptr);
}

Signals::~Signals() {
  const sigset_t set = heard();
  pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
  close(descriptor_);
}

Signals::Woken Signals::wait(std::chrono::milliseconds most) {
  pollfd watched[] = {{STDIN_FILENO, POLLIN, 0}, {descriptor_, POLLIN, 0}};
  const auto limit = std::clamp<std::int64_t>(most.count(), 0, std::numeric_limits<int>::max());
  if (poll(watched, 2, static_cast<int>(limit)) <= 0) return {};
  Woken woken;
  signalfd_siginfo signal{};
  const bool read =
      watched[1].revents != 0 && ::read(descriptor_, &signal, sizeof signal) == sizeof signal;
  if (read) woken.signal = static_cast<int>(signal.ssi_signo);
  woken.hungUp = (watched[0].revents & (POLLHUP | POLLERR | POLLNVAL)) != 0;
  return woken;
}

}  // namespace terminal
