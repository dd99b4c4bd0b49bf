// SPDX-License-Identifier: Apache-2.0
#include "agent/front/cli/output.h"

#include <fcntl.h>
#include <limits.h>
#include <poll.h>
#include <signal.h>
#include <sys/signalfd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace cli {
namespace {

constexpr std::size_t kMostOfFile = 1 << 20;

}  // namespace

Output::Output(int descriptor) : descriptor_(descriptor) {
  signal(SIGPIPE, SIG_IGN);
  struct stat facts {};
  if (fstat(descriptor, &facts) == 0 && S_ISREG(facts.st_mode)) piece_ = kMostOfFile;
  if (fcntl(descriptor, F_GETFD) != -1) return;
  error_ = errno;
  ended_ = true;
}

Output::~Output() {
  if (signals_ >= 0) close(signals_);
}

void Output::stopOnSignals() {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGINT);
  sigaddset(&set, SIGTERM);
  signals_ = signalfd(-1, &set, SFD_CLOEXEC);
  if (signals_ >= 0) pthread_sigmask(SIG_BLOCK, &set, nullptr);
}

// True when one of `events` came, false when the time is over or the output has ended. A closed
// pipe is noticed also while nothing is written to it.
bool Output::ready(int milliseconds, short events) {
  pollfd watched[] = {{descriptor_, events, 0}, {signals_, POLLIN, 0}};
  const int count = poll(watched, 2, milliseconds);
  if (count < 0) return false;
  if (watched[1].revents != 0 || (watched[0].revents & (POLLERR | POLLNVAL)) != 0) ended_ = true;
  return !ended_ && watched[0].revents != 0;
}

// Pieces of PIPE_BUF fit whenever poll says that a pipe can be written, so no write blocks where a
// signal couldn't end it. A file never waits for a reader.
bool Output::write(std::string_view text) {
  while (!ended_ && !text.empty()) {
    if (!ready(-1, POLLOUT)) continue;
    const ssize_t written = ::write(descriptor_, text.data(), std::min(text.size(), piece_));
    if (written > 0) text.remove_prefix(static_cast<std::size_t>(written));
    if (written >= 0 || errno == EINTR || errno == EAGAIN) continue;
    error_ = errno == EPIPE ? 0 : errno;
    ended_ = true;
  }
  return !ended_;
}

bool Output::wait(int milliseconds) {
  if (!ended_) ready(milliseconds, 0);
  return !ended_;
}

}  // namespace cli
