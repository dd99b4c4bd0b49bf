// SPDX-License-Identifier: Apache-2.0
// Where the messages of a flow come from.
#ifndef ZEB_HOST_SOURCE_H
#define ZEB_HOST_SOURCE_H

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

#include "host/flow_file.h"
#include "host/random.h"
#include "host/stop_signal.h"

namespace host {

// One message as its source gives it.
struct Draft {
  std::string body;
  std::string name;  // where it came from, as "orders.txt:17"
};

class Source {
 public:
  virtual ~Source() = default;

  // Fills in the next message; false at the end or once the run stops.
  virtual bool next(Draft& draft) = 0;
};

// The source of an input. `stop` must outlive it. Throws std::system_error when a file or folder
// can't be read, here or in next().
std::unique_ptr<Source> makeSource(const Input& input, std::uint64_t seed, const StopSignal& stop);

// When the messages of an input with a rate are due. The schedule never waits for the messages: a
// message that is late doesn't move those behind it.
class Schedule {
 public:
  using Clock = std::chrono::steady_clock;

  Schedule(const Input& input, std::uint64_t seed, Clock::time_point start);

  // When the next message is due; always the start without a rate.
  Clock::time_point next();

 private:
  double rate_;
  Input::Arrival arrival_;
  Random random_;
  Clock::time_point start_;
  double seconds_ = 0;  // from the start to the next message
};

}  // namespace host

#endif  // ZEB_HOST_SOURCE_H
