// SPDX-License-Identifier: Apache-2.0
#include "host/sources/schedule.h"

#include <algorithm>
#include <cmath>

namespace host {

Schedule::Schedule(const flowfile::Input& input, std::uint64_t seed, Clock::time_point start)
    : rate_(input.rate), arrival_(input.arrival), random_(seed), start_(start) {}

Schedule::Clock::time_point Schedule::next() {
  if (rate_ <= 0) return start_;
  const auto due =
      start_ + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds_));
  seconds_ += arrival_ == flowfile::Input::Arrival::constant
                  ? 1 / rate_
                  : -std::log1p(-random_.uniform()) / rate_;
  return due;
}

std::uint64_t millisecondsLate(Schedule::Clock::time_point due, Schedule::Clock::time_point now) {
  const auto late = std::chrono::duration_cast<std::chrono::milliseconds>(now - due);
  return static_cast<std::uint64_t>(std::max<std::int64_t>(0, late.count()));
}

}  // namespace host
