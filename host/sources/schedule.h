// SPDX-License-Identifier: Apache-2.0
// When the messages of an input are due.
#ifndef ZEB_HOST_SOURCES_SCHEDULE_H
#define ZEB_HOST_SOURCES_SCHEDULE_H

#include <chrono>
#include <cstdint>

#include "flowfile/file.h"
#include "host/sources/random.h"

namespace host {

// The schedule never waits for the messages: a message that is late doesn't move those behind it. A
// value of the feeding thread.
class Schedule {
 public:
  using Clock = std::chrono::steady_clock;

  // `seed` is where the chance of a "poisson" arrival starts.
  Schedule(const flowfile::Input& input, std::uint64_t seed, Clock::time_point start);

  // When the next message is due: the first at the start, and without a rate every one. Each call
  // moves on by one message.
  Clock::time_point next();

 private:
  double rate_;
  flowfile::Input::Arrival arrival_;
  Random random_;
  Clock::time_point start_;
  double seconds_ = 0;  // from the start to the next message
};

// Whole milliseconds that `now` is behind `due`; 0 when it isn't.
std::uint64_t millisecondsLate(Schedule::Clock::time_point due, Schedule::Clock::time_point now);

}  // namespace host

#endif  // ZEB_HOST_SOURCES_SCHEDULE_H
