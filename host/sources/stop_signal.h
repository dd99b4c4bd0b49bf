// SPDX-License-Identifier: Apache-2.0
// "No more messages": raised once, seen by every thread of a process, also while it waits.
#ifndef ZEB_HOST_SOURCES_STOP_SIGNAL_H
#define ZEB_HOST_SOURCES_STOP_SIGNAL_H

#include <chrono>

namespace host {

// It owns a descriptor, which no program that is started inherits. Any thread may call any of
// these.
class StopSignal {
 public:
  // Throws std::system_error when there is no descriptor left.
  StopSignal();
  ~StopSignal();
  StopSignal(const StopSignal&) = delete;
  StopSignal& operator=(const StopSignal&) = delete;

  // For good: there is no way back.
  void raise();
  bool raised() const { return !waitReadable(-1, std::chrono::nanoseconds::zero()); }

  // Waits until `when`, or less when the signal is raised; false then. True at once for a time in
  // the past, unless it is raised.
  bool waitUntil(std::chrono::steady_clock::time_point when) const;

  // Until `fd` has something to read or ended; false when the signal is raised.
  bool waitReadable(int fd) const { return waitReadable(fd, std::chrono::nanoseconds(-1)); }

 private:
  // A negative timeout waits without end; an fd of -1 is left out. False when raised.
  bool waitReadable(int fd, std::chrono::nanoseconds timeout) const;

  int event_;
};

}  // namespace host

#endif  // ZEB_HOST_SOURCES_STOP_SIGNAL_H
