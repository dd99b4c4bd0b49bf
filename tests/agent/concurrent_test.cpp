// SPDX-License-Identifier: Apache-2.0
// Reading while others write: what is returned is whole and in order.
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/shm.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstring>
#include <functional>

#include "agent/reader/events.h"
#include "tests/support/image.h"
#include "tests/support/live_segment.h"
#include "tests/support/stepping_memory.h"

namespace concurrent_test {

namespace {

using image::Bytes;

constexpr std::uint32_t kAreaSize = 4096;
constexpr std::uint32_t kTime = 0xEA600000;

// Appends to a ring as the library does: clears the first byte of each eyecatcher that the record
// covers, writes the rest, then the first byte, then the header.
class RingWriter {
 public:
  explicit RingWriter(std::uint8_t* area, std::uint32_t size = kAreaSize)
      : area_(area), size_(size) {}

  void append(const Bytes& record) { finish(record); }

  // Writes the first bytes of the record that is appended next, except the very first.
  void begin(const Bytes& record, std::size_t bytes) {
    if (size_ - next_ < record.size()) publish(32);
    std::uint8_t* const place = area_ + next_;
    store(place, 0);
    for (std::size_t i = 1; i < record.size() && next_ + i + 4 <= last_; ++i)
      if (std::memcmp(place + i, "RCRD", 4) == 0) store(place + i, 0);
    std::atomic_thread_fence(std::memory_order_release);
    volatile std::uint8_t* to = place;
    for (std::size_t i = 1; i < bytes; ++i) to[i] = record[i];
    std::atomic_thread_fence(std::memory_order_release);
  }

  void finish(const Bytes& record) {
    begin(record, record.size());
    store(area_ + next_, record[0]);
    getppid();  // the library asks the clock here
    publish(next_ + static_cast<std::uint32_t>(record.size()));
  }

 private:
  static void store(std::uint8_t* at, std::uint8_t value) {
    __atomic_store_n(at, value, __ATOMIC_RELAXED);
  }

  void publish(std::uint32_t next) {
    next_ = next;
    last_ = std::max(last_, next);
    const std::uint32_t offsets[] = {next_, last_, updates_++, 0};
    std::atomic_thread_fence(std::memory_order_release);
    std::memcpy(area_ + 16, offsets, sizeof offsets);
  }

  std::uint8_t* area_;
  std::uint32_t size_;
  std::uint32_t next_ = 32;
  std::uint32_t last_ = 32;
  std::uint32_t updates_ = 0;
};

// Every field of event n tells n, and so does every unit of its template.
image::Id idOf(std::uint32_t type, std::uint32_t n) {
  const std::uint32_t milliseconds = n / 4;
  return {type, 1 + milliseconds / 1000, milliseconds % 1000, n};
}

std::u16string textOf(std::uint32_t n) {
  return std::u16string(1 + n * 7 % 90, static_cast<char16_t>(u'a' + n % 26));
}

Bytes eventOf(std::uint32_t n) {
  Bytes record = image::event(idOf(8, n), idOf(7, n), kTime + n, static_cast<std::int32_t>(n));
  std::fill(record.begin() + 48, record.begin() + 96, static_cast<std::uint8_t>(n));
  return record;
}

Bytes templateOf(std::uint32_t n) {
  const std::u16string text = textOf(n);
  return image::eventTemplate(idOf(7, n), text, text, text, n, text);
}

// Posts events, each with a template of its own, until it is killed.
[[noreturn]] void postForEver(std::uint8_t* segment) {
  RingWriter templates(segment + 32);
  RingWriter data(segment + 32 + kAreaSize);
  for (std::uint32_t n = 0;; ++n) {
    const Bytes newTemplate = templateOf(n);
    const Bytes newEvent = eventOf(n);
    templates.append(newTemplate);
    data.append(newEvent);
  }
}

class Posting : public testing::Test {
 protected:
  Posting() {
    shared_ = shmat(live_.id(), nullptr, 0);
    writer_ = fork();
    if (writer_ == 0) postForEver(static_cast<std::uint8_t*>(shared_));
  }

  ~Posting() override {
    kill(writer_, SIGKILL);
    waitpid(writer_, nullptr, 0);
    shmdt(shared_);
  }

 private:
  LiveSegment live_{"1-2-3", image::segment({{.eyecatcher = "zebcetar", .contents = {}},
                                             {.eyecatcher = "zebcedar", .contents = {}}})};
  void* shared_;
  pid_t writer_;

 protected:
  reader::Segment read() const { return reader::readSegment(live_.keyFile()); }
};

void expectWhole(const reader::Event& event) {
  const auto n = static_cast<std::uint32_t>(event.threadId);
  ASSERT_EQ(kTime + n - 2177452800LL, *event.time);
  std::array<std::uint8_t, 24> bytes;
  bytes.fill(static_cast<std::uint8_t>(n));
  ASSERT_EQ(bytes, event.messageId);
  ASSERT_EQ(bytes, event.correlationId);
  if (!event.origin) return;  // overwritten before it could be read
  const std::string text(textOf(n).size(), static_cast<char>('a' + n % 26));
  ASSERT_EQ(n, event.origin->nodeType);
  ASSERT_EQ(text, event.origin->executionGroup);
  ASSERT_EQ(text, event.origin->messageFlow);
  ASSERT_EQ(text, event.origin->node);
  ASSERT_EQ(text, event.origin->text);
}

}  // namespace

TEST_F(Posting, EventsAndTemplatesAreWholeAndInOrderWhileTheRingTurns) {
  reader::EventLog log;
  std::int64_t newest = -1;
  std::uint64_t seen = 0;
  std::uint64_t joined = 0;
  while (seen < 5000) {
    const reader::Segment segment = read();
    reader::DamageList damage = segment.copy.damage;
    for (const reader::Event& event : log.read(segment, damage).events) {
      ASSERT_NO_FATAL_FAILURE(expectWhole(event));
      ASSERT_GT(event.threadId, newest);
      newest = event.threadId;
      ++seen;
      if (event.origin) ++joined;
    }
    ASSERT_TRUE(damage.empty()) << damage.list()[0].area << " " << damage.list()[0].offset << " "
                                << damage.list()[0].reason;
  }
  EXPECT_GT(joined, 0U);
}

namespace {

constexpr std::uint32_t kPage = 4096;
constexpr std::uint32_t kWatchedArea = 4 * kPage;
constexpr std::uint32_t kWatchedSlots = (kWatchedArea - 32) / 144;

// A segment that calls back while it is read: whenever the reader comes to the first or the third
// page of an events area's records and was at the other one before. A page begins between the
// header of each of these areas and its first record.
class WatchedSegment {
 public:
  explicit WatchedSegment(std::function<void()> touched) : touched_(std::move(touched)) {
    const Bytes contents =
        image::segment({{.eyecatcher = "zebcstar", .size = kPage - 64, .contents = {}},
                        {.eyecatcher = "zebcetar", .size = kWatchedArea, .contents = {}},
                        {.eyecatcher = "zebcedar", .size = kWatchedArea, .contents = {}}});
    size_ = contents.size();
    const int file = memfd_create("segment", 0);
    if (ftruncate(file, static_cast<off_t>(size_)) != 0) throw std::runtime_error("ftruncate");
    const auto map = [&](int access) {
      return static_cast<std::uint8_t*>(mmap(nullptr, size_, access, MAP_SHARED, file, 0));
    };
    written_ = map(PROT_READ | PROT_WRITE);
    read_ = map(PROT_READ);
    close(file);
    std::memcpy(written_, contents.data(), size_);
    watched = this;
    struct sigaction action {};
    action.sa_sigaction = onFault;
    action.sa_flags = SA_SIGINFO;
    sigaction(SIGSEGV, &action, &before_);
  }

  ~WatchedSegment() {
    sigaction(SIGSEGV, &before_, nullptr);
    munmap(read_, size_);
    munmap(written_, size_);
  }

  WatchedSegment(const WatchedSegment&) = delete;
  WatchedSegment& operator=(const WatchedSegment&) = delete;

  std::uint8_t* toWrite() const { return written_; }
  reader::Segment read() const {
    for (const std::size_t page : {1U, 3U, 5U, 7U}) allow(page, PROT_NONE);
    reader::Segment segment;
    segment.copy = reader::copySegment({read_, size_}, size_);
    return segment;
  }

 private:
  static inline WatchedSegment* watched = nullptr;

  void allow(std::size_t page, int access) const { mprotect(read_ + page * kPage, kPage, access); }

  static void onFault(int /*signal*/, siginfo_t* info, void* /*context*/) {
    const auto offset = static_cast<std::uint8_t*>(info->si_addr) - watched->read_;
    const std::size_t page = static_cast<std::size_t>(offset) / kPage;
    if (page > 7 || page % 2 == 0) {  // no page of ours: the next fault ends the test
      sigaction(SIGSEGV, &watched->before_, nullptr);
      return;
    }
    watched->allow(page, PROT_READ);
    watched->allow(page ^ 2, PROT_NONE);
    watched->touched_();
  }

  std::function<void()> touched_;
  std::size_t size_ = 0;
  std::uint8_t* written_ = nullptr;
  std::uint8_t* read_ = nullptr;
  struct sigaction before_ {};
};

constexpr unsigned kEveryTouch = ~0U;

// Posts so many events, each with a template of its own, at the touches of a look whose bits are
// set, and then begins one more.
class Interrupted {
 public:
  explicit Interrupted(std::uint32_t each, unsigned touches = kEveryTouch)
      : segment_([this] {
          if (touches_ & 1U) {
            post(each_);
            begin();
          }
          touches_ >>= 1;
        }),
        templates_(segment_.toWrite() + kPage - 32, kWatchedArea),
        data_(segment_.toWrite() + kPage - 32 + kWatchedArea, kWatchedArea),
        each_(each),
        touchesOfLook_(touches) {}

  void post(std::uint32_t count) {
    for (; count > 0; --count, ++posted_) {
      templates_.append(templateOf(posted_));
      data_.append(eventOf(posted_));
    }
  }

  void begin() {
    templates_.begin(templateOf(posted_), 64);
    data_.begin(eventOf(posted_), 64);
  }

  void stop() { each_ = 0; }

  // The number of the first event that was not returned yet.
  std::uint32_t returned() const { return returned_; }
  std::uint32_t posted() const { return posted_; }
  std::uint32_t withTemplate() const { return withTemplate_; }

  // How many events were returned: whole, one after the other, behind those of the last look. If
  // some are left out, that is said, and how many, except for whole turns.
  std::size_t look() {
    touches_ = touchesOfLook_;
    const reader::Segment segment = segment_.read();
    reader::DamageList damage = segment.copy.damage;
    const auto batch = log_.read(segment, damage);
    EXPECT_TRUE(damage.empty());
    if (batch.events.empty()) return 0;
    const auto first = static_cast<std::uint32_t>(batch.events.front().threadId);
    std::uint32_t expected = first;
    for (const reader::Event& event : batch.events) {
      expectWhole(event);
      EXPECT_EQ(event.threadId, static_cast<std::int32_t>(expected++));
      withTemplate_ += event.origin ? 1U : 0U;
    }
    if (!firstLook_) expectMissed(batch, first);
    firstLook_ = false;
    returned_ = expected;
    return batch.events.size();
  }

 private:
  void expectMissed(const reader::EventLog::Batch& batch, std::uint32_t first) const {
    ASSERT_GE(first, returned_);
    const std::uint32_t leftOut = first - returned_;
    EXPECT_TRUE(leftOut == 0 || batch.overrun);
    ASSERT_GE(leftOut, batch.missed);
    EXPECT_EQ((leftOut - batch.missed) % kWatchedSlots, 0U);
  }

  WatchedSegment segment_;
  RingWriter templates_;
  RingWriter data_;
  reader::EventLog log_;
  std::uint32_t each_;
  unsigned touchesOfLook_;
  unsigned touches_ = 0;
  std::uint32_t posted_ = 0;
  std::uint32_t returned_ = 0;
  std::uint32_t withTemplate_ = 0;
  bool firstLook_ = true;
};

}  // namespace

TEST(EventsPostedWhileTheyAreCopied, AreReturnedWholeAndInOrderOrAtTheNextLook) {
  constexpr std::uint32_t kTurn = kWatchedSlots;
  for (const std::uint32_t each : {1U, 2U, 3U, 7U, 40U, kTurn / 2, kTurn - 1, kTurn, kTurn + 1}) {
    for (const unsigned touches : {kEveryTouch, 1U, 2U, 4U, 8U, 16U, 32U, 5U, 10U}) {
      SCOPED_TRACE(testing::Message() << each << " at touches " << touches);
      Interrupted posting(each, touches);
      posting.post(kTurn / 2 + each);
      posting.begin();
      for (int i = 0; i < 6; ++i) posting.look();
      posting.stop();
      posting.look();
      posting.look();
      ASSERT_EQ(posting.returned(), posting.posted());
      ASSERT_FALSE(testing::Test::HasFailure());
    }
  }
}

TEST(EventsPostedWhileTheyAreCopied, DoNotHideThoseOfBefore) {
  for (std::uint32_t each = 1; each <= kWatchedSlots / 12; ++each) {
    Interrupted posting(each);
    posting.post(2 * kWatchedSlots);
    posting.begin();
    EXPECT_GE(posting.look(), kWatchedSlots - 12 * each);
    EXPECT_GE(posting.look(), each);
  }
}

// Nothing was overwritten, since the area was not full: all that was there before is there.
TEST(EventsPostedWhileTheyAreCopied, DoNotHideTheFirstOnesOfAnAreaThatOnlyGrows) {
  for (const std::uint32_t each : {1U, 2U, 7U}) {
    Interrupted posting(each);
    posting.post(10);
    EXPECT_GE(posting.look(), 10U) << each;
  }
}

// Somewhere among these numbers of events each of the rings is full to its end.
TEST(AnEventBegunWhileItIsCopied, CostsTheTwoOldestAtMost) {
  constexpr std::uint32_t kMostOfTemplateTurn = 20;
  for (std::uint32_t before = 1; before <= kWatchedSlots; ++before) {
    for (const unsigned touches : {1U, 2U, 4U, 8U, 16U, 32U}) {
      SCOPED_TRACE(testing::Message() << before << " at touches " << touches);
      Interrupted posting(0, touches);
      posting.post(before);
      EXPECT_GE(posting.look(), before < kWatchedSlots ? before : before - 2);
      EXPECT_EQ(posting.returned(), before);
      EXPECT_GE(posting.withTemplate(), std::min(before, kMostOfTemplateTurn));
      posting.post(1);
      EXPECT_EQ(posting.look(), 1U);
      ASSERT_FALSE(testing::Test::HasFailure());
    }
  }
}

namespace {

// Both areas of a segment in private memory, with a writer that calls back before each step.
class SteppedSegment {
 public:
  static constexpr std::uint32_t kTemplates = 32;
  static constexpr std::uint32_t kData = 32 + kAreaSize;

  SteppedSegment()
      : bytes_(image::segment({{.eyecatcher = "zebcetar", .contents = {}},
                               {.eyecatcher = "zebcedar", .contents = {}}})) {}

  std::span<std::uint8_t> area(std::uint32_t at) {
    return std::span(bytes_).subspan(at, kAreaSize);
  }

  // As the library appends it. `step` may be null.
  void append(std::uint32_t at, const Bytes& record, const std::function<void()>& step = nullptr,
              support::Order order = support::Order::forward) {
    if (kAreaSize - next(at) < record.size()) publish(at, 32);
    const std::uint32_t begin = next(at);
    support::SteppingMemory memory(
        [&] {
          if (step) step();
        },
        order, 7);
    event_bytes::overwrite(memory, bytes_.data() + at + begin, record,
                           last(at) > begin ? last(at) - begin : 0);
    if (step) step();
    publish(at, begin + static_cast<std::uint32_t>(record.size()));
  }

  // A copy of one area as a reader begins it: header and bytes, not yet proved whole.
  reader::Area begin(std::uint32_t at, support::SteppingMemory& memory) {
    reader::Area copy;
    copy.name = at == kData ? reader::kEventData : reader::kEventTemplates;
    copy.size = kAreaSize;
    copy.next = next(at);
    copy.last = last(at);
    copy.bytes.resize(copy.last);
    memory.read(copy.bytes.data(), area(at).data(), copy.last);
    return copy;
  }

  reader::Segment read() {
    reader::Segment segment;
    segment.copy = reader::copySegment(bytes_, bytes_.size());
    return segment;
  }

 private:
  std::uint32_t number(std::size_t at) const {
    std::uint32_t value;
    std::memcpy(&value, bytes_.data() + at, sizeof value);
    return value;
  }
  std::uint32_t next(std::uint32_t at) const { return number(at + 16); }
  std::uint32_t last(std::uint32_t at) const { return number(at + 20); }
  void publish(std::uint32_t at, std::uint32_t next) {
    image::set32(bytes_, at + 16, next);
    image::set32(bytes_, at + 20, std::max(last(at), next));
    image::set32(bytes_, at + 24, ++updates_);
  }

  Bytes bytes_;
  std::uint32_t updates_ = 0;
};

constexpr std::uint32_t kSlots = (kAreaSize - 32) / 144;

// Made before event n - 5 was, and posted behind event n - 1: its writer waited for the lock.
Bytes lateEventOf(std::uint32_t n) {
  Bytes record = eventOf(n);
  image::set32(record, 8 + 4, 1);
  image::set32(record, 8 + 8, (n - 5) / 4);
  return record;
}

// Every record that the ring's copy holds is one of those that were written there.
void expectRecords(const reader::Area& area, std::uint32_t stride,
                   const std::function<Bytes(std::uint32_t)>& made) {
  reader::DamageList ignored;
  for (const reader::Record& record : reader::walkRing(area, stride, ignored)) {
    const auto at = area.bytes.begin() + record.offset();
    std::uint32_t n;
    std::memcpy(&n, &*at + 8 + 12, sizeof n);
    ASSERT_EQ(Bytes(at, at + record.size()), made(n)) << n;
  }
}

}  // namespace

TEST(AWriterStoppedAtAnyStep, LeavesWholeEventsOnlyEachOnceAndInOrder) {
  for (const std::uint32_t lateEvery : {1U, 2U, 3U, 100U}) {
    for (const support::Order order : support::kOrders) {
      SteppedSegment segment;
      std::uint32_t n = 10;
      for (; n < 10 + kSlots + 5; ++n) {
        segment.append(SteppedSegment::kTemplates, templateOf(n));
        segment.append(SteppedSegment::kData, eventOf(n));
      }
      reader::EventLog log;
      std::vector<std::int32_t> seen;
      const auto look = [&] {
        const reader::Segment copy = segment.read();
        reader::DamageList damage;
        for (const reader::Event& event : log.read(copy, damage).events) {
          ASSERT_NO_FATAL_FAILURE(expectWhole(event));
          seen.push_back(event.threadId);
        }
        ASSERT_TRUE(damage.empty());
      };
      look();
      for (int i = 0; i < 30; ++i, ++n) {
        segment.append(SteppedSegment::kTemplates, templateOf(n), look, order);
        segment.append(SteppedSegment::kData, n % lateEvery == 0 ? lateEventOf(n) : eventOf(n),
                       look, order);
        look();
      }
      ASSERT_FALSE(testing::Test::HasFailure());
      std::vector<std::int32_t> once(seen.begin(), seen.end());
      std::sort(once.begin(), once.end());
      EXPECT_EQ(std::adjacent_find(once.begin(), once.end()), once.end()) << "an event twice";
      EXPECT_EQ(once.back(), static_cast<std::int32_t>(n - 1));
      EXPECT_EQ(once.size(), kSlots + 30) << "an event lost";
    }
  }
}

TEST(AReaderStoppedAtAnyStep, CopiesNoMixtureOfTwoRecords) {
  for (const std::uint32_t at : {SteppedSegment::kData, SteppedSegment::kTemplates}) {
    const bool data = at == SteppedSegment::kData;
    const std::uint32_t stride = data ? 144 : 1;
    const std::function<Bytes(std::uint32_t)> made = data ? eventOf : templateOf;
    for (const support::Order order : support::kOrders) {
      SteppedSegment segment;
      std::uint32_t n = 0;
      const auto append = [&](std::uint32_t count) {
        for (; count > 0; --count) segment.append(at, made(n++));
      };
      append(3 * kSlots / 2);
      const auto stopAt = [&](int stop, std::uint32_t posted) {
        int step = 0;
        support::SteppingMemory memory(
            [&] {
              if (step++ == stop) append(posted);
            },
            order, 48);
        reader::Area copy = segment.begin(at, memory);
        reader::keepWhole(memory, copy, segment.area(at), stride);
        expectRecords(copy, stride, made);
        return step;
      };
      for (const std::uint32_t posted : {1U, kSlots, kSlots + 1})
        for (int stop = 0, steps = 1; stop < steps; ++stop) {
          steps = stopAt(stop, posted);
          ASSERT_FALSE(testing::Test::HasFailure()) << stop << " " << posted;
        }
    }
  }
}

// The event before it and the one behind it are equal except for their IDs. It is finished in the
// middle of the first look that follows the copy, and the next one is begun in the middle of the
// second.
TEST(AnEventThatIsBegunAndWrittenOver, IsNotTakenForTheOneBefore) {
  const Bytes before = eventOf(1);
  const Bytes event = eventOf(2);
  Bytes behind = before;
  std::copy_n(eventOf(3).begin() + 8, 16, behind.begin() + 8);
  constexpr std::uint32_t kBegin = 32;
  constexpr std::uint32_t kHeader = 40;
  Bytes shared(kAreaSize);
  const auto write = [&](const Bytes& record, std::size_t from, std::size_t to) {
    std::copy(record.data() + from, record.data() + to, shared.data() + kBegin + from);
  };
  write(before, 0, before.size());
  write(event, 1, kHeader);
  reader::Area copy;
  copy.size = kAreaSize;
  copy.next = copy.last = static_cast<std::uint32_t>(kBegin + event.size());
  copy.bytes.assign(shared.begin(), shared.begin() + copy.last);
  shared[kBegin] = 0;  // just behind the copy of this byte

  std::size_t step = 0;
  support::SteppingMemory memory(
      [&] {
        if (step == event.size() - kHeader) write(event, 0, event.size());
        if (step == copy.last + kBegin + kHeader) {
          shared[kBegin] = 0;
          write(behind, kHeader, behind.size());
        }
        ++step;
      },
      support::Order::backwardThenForward);
  reader::keepWhole(memory, copy, shared, 144);
  reader::DamageList ignored;
  EXPECT_TRUE(reader::walkRing(copy, 144, ignored).empty());
}

}  // namespace concurrent_test
