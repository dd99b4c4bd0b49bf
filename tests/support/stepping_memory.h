// SPDX-License-Identifier: Apache-2.0
// Shared memory that is touched in single steps: before each one a test may do something else.
#ifndef ZEB_TESTS_SUPPORT_STEPPING_MEMORY_H
#define ZEB_TESTS_SUPPORT_STEPPING_MEMORY_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <utility>

namespace support {

// In which order a copy moves its bytes; the real one may take any. The last two change the
// direction with each copy.
enum class Order { forward, backward, endsFirst, forwardThenBackward, backwardThenForward };
inline constexpr Order kOrders[] = {Order::forward, Order::backward, Order::endsFirst,
                                    Order::forwardThenBackward, Order::backwardThenForward};

// A Memory as format/event_bytes.h needs it. One step moves up to `grain` bytes.
class SteppingMemory {
 public:
  explicit SteppingMemory(std::function<void()> step, Order order = Order::forward,
                          std::size_t grain = 1)
      : step_(std::move(step)), order_(order), grain_(grain) {}

  std::uint8_t load(const std::uint8_t* at) {
    step_();
    return *at;
  }
  void store(std::uint8_t* at, std::uint8_t value) {
    step_();
    *at = value;
  }
  void read(void* to, const std::uint8_t* shared, std::size_t bytes) {
    move(static_cast<std::uint8_t*>(to), shared, bytes);
  }
  void write(std::uint8_t* shared, const std::uint8_t* from, std::size_t bytes) {
    move(shared, from, bytes);
  }
  static void acquire() {}
  static void release() {}

 private:
  void move(std::uint8_t* to, const std::uint8_t* from, std::size_t bytes) {
    ++copies_;
    for (std::size_t moved = 0; moved < bytes; moved += grain_) {
      step_();
      for (std::size_t i = moved; i < bytes && i < moved + grain_; ++i) {
        const std::size_t at = place(i, bytes);
        to[at] = from[at];
      }
    }
  }
  // Where the i-th byte that is moved lies.
  std::size_t place(std::size_t i, std::size_t bytes) const {
    if (order_ == Order::endsFirst) return i % 2 == 0 ? i / 2 : bytes - 1 - i / 2;
    const bool odd = copies_ % 2 != 0;
    const bool forward = order_ == Order::forward ||
                         (order_ == Order::forwardThenBackward && odd) ||
                         (order_ == Order::backwardThenForward && !odd);
    return forward ? i : bytes - 1 - i;
  }

  std::function<void()> step_;
  Order order_;
  std::size_t grain_;
  unsigned copies_ = 0;
};

}  // namespace support

#endif  // ZEB_TESTS_SUPPORT_STEPPING_MEMORY_H
