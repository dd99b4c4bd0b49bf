// SPDX-License-Identifier: Apache-2.0
// Notices that messages in the flows don't come to an end any more.
#ifndef ZEB_HOST_RUN_STANDSTILL_H
#define ZEB_HOST_RUN_STANDSTILL_H

#include <chrono>
#include <cstdint>

namespace host {

class Standstill {
 public:
  using Clock = std::chrono::steady_clock;

  // Takes how many messages have entered the flows, and have left them. True when some are in there
  // and none has left for `kPatience`, counted from the first look.
  bool look(std::uint64_t entered, std::uint64_t left, Clock::time_point now) {
    if (left != left_ || left >= entered || since_ == Clock::time_point()) {
      left_ = left;
      since_ = now;
    }
    return now - since_ >= kPatience;
  }

  static constexpr std::chrono::seconds kPatience{5};

 private:
  std::uint64_t left_ = 0;
  Clock::time_point since_;
};

}  // namespace host

#endif  // ZEB_HOST_RUN_STANDSTILL_H
