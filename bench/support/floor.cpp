// SPDX-License-Identifier: Apache-2.0
#include "bench/support/floor.h"

#include <pthread.h>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/shm.h>
#include <sys/time.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <system_error>

#include "format/names.h"

namespace bench {
namespace {

constexpr unsigned short kRecordLock = 0;
constexpr unsigned short kRingLock = 1;
constexpr std::size_t kRecordBytes = 168;
constexpr std::size_t kEventBytes = 144;
constexpr std::size_t kDescriptorBytes = 364;
constexpr std::size_t kTextBytes = 24;
constexpr std::size_t kRecordAt = 0;
constexpr std::size_t kHeaderAt = 192;  // of the ring: next place, last place, stamp
constexpr std::size_t kRingAt = 256;

// Where the parts of a record are.
constexpr std::size_t kCount = 40;
constexpr std::size_t kSize = 64;
constexpr std::size_t kElapsed = 96;
constexpr std::size_t kQueued = 128;
constexpr std::size_t kTimes = 160;

struct Stamp {
  std::uint32_t seconds;
  std::uint32_t milliseconds;
};

struct RingHeader {
  std::uint32_t next;
  std::uint32_t last;
  Stamp updated;
};

Stamp now() {
  timeval clock{};
  gettimeofday(&clock, nullptr);
  return {static_cast<std::uint32_t>(clock.tv_sec),
          static_cast<std::uint32_t>(clock.tv_usec / 1000)};
}

std::int32_t between(const Stamp& from, const Stamp& to) {
  const std::int64_t passed = (std::int64_t{to.seconds} - from.seconds) * 1000 +
                              (std::int64_t{to.milliseconds} - from.milliseconds);
  return static_cast<std::int32_t>(std::max<std::int64_t>(passed, 0));
}

std::int64_t readText(const std::uint8_t* text) {
  std::int64_t value = 0;
  for (; *text != 0; ++text) value = value * 10 + (*text - '0');
  return value;
}

void writeText(std::uint8_t* text, std::int64_t value) {
  std::uint8_t digits[kTextBytes];
  std::size_t first = sizeof digits;
  for (; value > 0; value /= 10) digits[--first] = static_cast<std::uint8_t>('0' + value % 10);
  const std::size_t length = sizeof digits - first;
  std::memcpy(text, digits + first, length);
  std::memset(text + length, 0, kTextBytes - length);
}

// A sum as text, and behind it its largest and smallest value.
void addTo(std::uint8_t* series, std::int64_t sum, std::int32_t value, bool first) {
  std::int32_t extremes[2];
  std::memcpy(extremes, series + kTextBytes, sizeof extremes);
  extremes[0] = first ? value : std::max(extremes[0], value);
  extremes[1] = first ? value : std::min(extremes[1], value);
  writeText(series, sum);
  std::memcpy(series + kTextBytes, extremes, sizeof extremes);
}

[[noreturn]] void refuse(const char* call) {
  throw std::system_error(errno, std::generic_category(), call);
}

}  // namespace

Floor::Floor(std::uint32_t ringBytes)
    : semaphores_(semget(IPC_PRIVATE, 2, 0600)), ringBytes_(ringBytes) {
  if (semaphores_ < 0) refuse("semget");
  const int segment = shmget(IPC_PRIVATE, kRingAt + ringBytes, 0600);
  if (segment < 0) refuse("shmget");
  memory_ = static_cast<std::uint8_t*>(shmat(segment, nullptr, 0));
  shmctl(segment, IPC_RMID, nullptr);  // goes with the last that is attached
  change(kRecordLock, 1);
  change(kRingLock, 1);
}

Floor::~Floor() {
  shmdt(memory_);
  semctl(semaphores_, 0, IPC_RMID);
}

void Floor::change(unsigned short semaphore, short by) const {
  sembuf operation{semaphore, by, 0};
  if (semop(semaphores_, &operation, 1) != 0) refuse("semop");
}

void Floor::lockPair() const {
  change(kRecordLock, -1);
  change(kRecordLock, 1);
}

template <class Fold>
void Floor::measure(const std::uint8_t* bits, Fold fold) const {
  const Stamp start = now();
  std::uint8_t descriptor[kDescriptorBytes];
  std::memcpy(descriptor, bits, sizeof descriptor);
  asm volatile("" : : "r"(descriptor) : "memory");  // the copy is made, though nobody reads it
  const Stamp stop = now();
  change(kRecordLock, -1);
  fold(between(start, stop));
  change(kRecordLock, 1);
}

void Floor::message(const std::uint8_t* bits, int size) const {
  measure(bits, [&](std::int32_t elapsed) { fold(stored(), size, elapsed); });
}

void Floor::leanMessage(const std::uint8_t* bits, int size) {
  measure(bits, [&](std::int32_t elapsed) { last_ = fold(last_, size, elapsed); });
}

Floor::Sums Floor::stored() const {
  const std::uint8_t* const record = memory_ + kRecordAt;
  return {readText(record + kCount), readText(record + kSize), readText(record + kElapsed),
          readText(record + kQueued)};
}

Floor::Sums Floor::fold(Sums sums, int size, std::int32_t elapsed) const {
  std::uint8_t record[kRecordBytes];
  std::memcpy(record, memory_ + kRecordAt, sizeof record);
  const auto time = static_cast<std::uint32_t>(std::time(nullptr)) + layout::kCalendarEpoch;
  std::uint32_t times[2];
  std::memcpy(times, record + kTimes, sizeof times);
  const bool first = times[0] == 0;
  if (first) times[0] = time;
  times[1] = time;
  sums = {sums.count + 1, sums.size + size, sums.elapsed + elapsed, sums.queued};
  writeText(record + kCount, sums.count);
  addTo(record + kSize, sums.size, size, first);
  addTo(record + kElapsed, sums.elapsed, elapsed, first);
  addTo(record + kQueued, sums.queued, 0, first);
  std::memcpy(record + kTimes, times, sizeof times);
  std::memcpy(memory_ + kRecordAt, record, sizeof record);
  return sums;
}

void Floor::event(const std::uint8_t* bits) const {
  std::uint8_t image[kEventBytes] = {'R', 'C', 'R', 'D'};
  const Stamp created = now();
  const auto random = static_cast<std::uint32_t>(::random());
  const std::uint32_t facts[2] = {
      static_cast<std::uint32_t>(std::time(nullptr)) + layout::kCalendarEpoch,
      static_cast<std::uint32_t>(pthread_self())};
  image[8] = 8;
  std::memcpy(image + 12, &created, sizeof created);
  std::memcpy(image + 20, &random, sizeof random);
  std::memcpy(image + 40, facts, sizeof facts);
  std::memcpy(image + 48, bits + 48, 48);   // both identifiers
  std::memcpy(image + 96, bits + 272, 48);  // application, date and time
  change(kRingLock, -1);
  RingHeader header;
  std::memcpy(&header, memory_ + kHeaderAt, sizeof header);
  if (ringBytes_ - header.next < sizeof image) header.next = 0;
  std::memcpy(memory_ + kRingAt + header.next, image, sizeof image);
  header.next += sizeof image;
  header.last = std::max(header.last, header.next);
  header.updated = now();
  std::memcpy(memory_ + kHeaderAt, &header, sizeof header);
  change(kRingLock, 1);
}

void Floor::messageWithEvent(const std::uint8_t* bits, int size) const {
  event(bits);
  message(bits, size);
}

void Floor::leanMessageWithEvent(const std::uint8_t* bits, int size) {
  event(bits);
  leanMessage(bits, size);
}

std::int64_t Floor::counted() const {
  return readText(memory_ + kRecordAt + kCount);
}

}  // namespace bench
