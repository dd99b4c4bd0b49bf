// SPDX-License-Identifier: Apache-2.0
// The least that a message can cost by design: the same clock readings, copies, texts and system
// calls on a semaphore and shared memory of its own, written out with nothing around them.
#ifndef ZEB_BENCH_SUPPORT_FLOOR_H
#define ZEB_BENCH_SUPPORT_FLOOR_H

#include <cstdint>

namespace bench {

// Private System V objects: a lock each for the record and for the ring of events, and the shared
// memory that holds both. Removed with the object. Throws when the system refuses.
class Floor {
 public:
  explicit Floor(std::uint32_t ringBytes);
  ~Floor();
  Floor(const Floor&) = delete;
  Floor& operator=(const Floor&) = delete;

  // One message measured into the record: two stamps, the descriptor copied, and under the lock
  // 168 bytes copied out, four decimal texts read, the statistics updated, written and copied in.
  void message(const std::uint8_t* bits, int size) const;

  // The same without reading the four texts: the sums are those of the last call.
  void leanMessage(const std::uint8_t* bits, int size);

  // One event of 144 bytes with a stamp and a random number, appended to the ring under its lock.
  void event(const std::uint8_t* bits) const;

  // What a message with an event costs: both.
  void messageWithEvent(const std::uint8_t* bits, int size) const;
  void leanMessageWithEvent(const std::uint8_t* bits, int size);

  // The lock alone, taken and given back.
  void lockPair() const;

  std::int64_t counted() const;  // messages, as the record says

 private:
  void change(unsigned short semaphore, short by) const;
  template <class Fold>
  void measure(const std::uint8_t* bits, Fold fold) const;

  struct Sums {
    std::int64_t count, size, elapsed, queued;
  };
  Sums stored() const;
  Sums fold(Sums sums, int size, std::int32_t elapsed) const;  // the new ones

  int semaphores_;
  Sums last_{};  // of leanMessage
  std::uint8_t* memory_;
  std::uint32_t ringBytes_;
};

}  // namespace bench

#endif  // ZEB_BENCH_SUPPORT_FLOOR_H
