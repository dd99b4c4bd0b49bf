// SPDX-License-Identifier: Apache-2.0
#include "host/sources/stop_signal.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>

namespace host {

StopSignal::StopSignal() : event_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  if (event_ < 0) throw std::system_error(errno, std::generic_category(), "eventfd");
}

StopSignal::~StopSignal() {
  close(event_);
}

void StopSignal::raise() {
  eventfd_write(event_, 1);
}

bool StopSignal::waitUntil(std::chrono::steady_clock::time_point when) const {
  const auto left = when - std::chrono::steady_clock::now();
  return waitReadable(-1, std::max(std::chrono::nanoseconds::zero(),
                                   std::chrono::duration_cast<std::chrono::nanoseconds>(left)));
}

bool StopSignal::waitReadable(int fd, std::chrono::nanoseconds timeout) const {
  constexpr auto kSecond = 1'000'000'000;
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  pollfd waits[2] = {{event_, POLLIN, 0}, {fd, POLLIN, 0}};
  for (;;) {
    const timespec limit{timeout.count() / kSecond, timeout.count() % kSecond};
    const int ready = ppoll(waits, 2, timeout.count() < 0 ? nullptr : &limit, nullptr);
    if (ready >= 0 || errno != EINTR) break;
    if (timeout.count() >= 0) {
      timeout = std::max(std::chrono::nanoseconds::zero(),
                         std::chrono::nanoseconds(deadline - std::chrono::steady_clock::now()));
    }
  }
  return waits[0].revents == 0;
}

}  // namespace host
