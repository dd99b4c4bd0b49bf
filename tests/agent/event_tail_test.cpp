// SPDX-License-Identifier: Apache-2.0
// The quick way to new events against the plain one: whatever happens between two looks and during
// one, both tell the same.
#include "agent/reader/event_tail.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>

#include "agent/reader/events.h"
#include "tests/support/image.h"
#include "tests/support/sanitized.h"
#include "tests/support/stepping_memory.h"

namespace event_tail_test {

namespace {

using image::Bytes;
using reader::EventLog;

constexpr std::uint32_t kTime = 0xEA600000;
constexpr std::uint32_t kSlots = 28;  // of an area of 4096 bytes
constexpr std::uint32_t kArea = 4096;
constexpr std::uint32_t kTemplates = 32;
constexpr std::uint32_t kData = 32 + kArea;

image::Id templateId(std::uint32_t n) {
  return {7, 500, 1, n};
}

Bytes eventOf(std::uint32_t n) {
  Bytes record = image::event({8, 1000 + n / 1000, n % 1000, n}, templateId(n / 5), kTime + n,
                              static_cast<std::int32_t>(n));
  std::fill(record.begin() + 48, record.begin() + 96, static_cast<std::uint8_t>(n));
  return record;
}

Bytes templateOf(std::uint32_t n) {
  return image::eventTemplate(templateId(n), u"orders", u"Fulfil", u"Reserve", 1,
                              std::u16string(1 + n % 40, u'x'));
}

// Both events areas of a segment, written as the library writes them.
class Ring {
 public:
  Ring()
      : bytes(image::segment({{.eyecatcher = "zebcetar", .contents = {}},
                              {.eyecatcher = "zebcedar", .contents = {}}})) {}

  // Each fifth event has a template of its own.
  void post(std::uint32_t count, const std::function<void()>& step = nullptr,
            support::Order order = support::Order::forward) {
    for (; count > 0; --count, ++posted) {
      if (posted % 5 == 0) append(kTemplates, templateOf(posted / 5), step, order);
      append(kData, eventOf(posted), step, order);
    }
  }

  void append(std::uint32_t at, const Bytes& record, const std::function<void()>& step = nullptr,
              support::Order order = support::Order::forward) {
    if (kArea - number(at + 16) < record.size()) publish(at, 32);
    const std::uint32_t begin = number(at + 16);
    const std::uint32_t last = number(at + 20);
    support::SteppingMemory memory(
        [&] {
          if (step) step();
        },
        order, 24);
    event_bytes::overwrite(memory, bytes.data() + at + begin, record,
                           last > begin ? last - begin : 0);
    if (step) step();
    publish(at, begin + static_cast<std::uint32_t>(record.size()));
  }

  std::span<const std::uint8_t> data() const { return std::span(bytes).subspan(kData, kArea); }

  reader::Segment segment() const {
    reader::Segment seen;
    seen.id = 1;
    seen.copy = reader::copySegment(bytes, bytes.size());
    return seen;
  }

  void publish(std::uint32_t at, std::uint32_t next) {
    image::set32(bytes, at + 16, next);
    image::set32(bytes, at + 20, std::max(number(at + 20), next));
    image::set32(bytes, at + 24, ++updates_);
  }

  Bytes bytes;
  std::uint32_t posted = 0;

 private:
  std::uint32_t number(std::size_t at) const {
    std::uint32_t value;
    std::memcpy(&value, bytes.data() + at, sizeof value);
    return value;
  }

  std::uint32_t updates_ = 0;
};

std::vector<std::int32_t> numbersOf(const EventLog::Batch& batch) {
  std::vector<std::int32_t> numbers;
  for (const reader::Event& event : batch.events) numbers.push_back(event.threadId);
  return numbers;
}

std::vector<std::string> textsOf(const EventLog::Batch& batch) {
  std::vector<std::string> texts;
  for (const reader::Event& event : batch.events)
    texts.push_back(event.origin ? event.origin->text : "-");
  return texts;
}

// A log that has read all of it.
EventLog logOf(const Ring& ring) {
  EventLog log;
  reader::DamageList damage;
  log.read(ring.segment(), damage);
  return log;
}

// Two logs that look at the same moments, one always the plain way.
class BothWays {
 public:
  void look(const Ring& ring) {
    reader::DamageList damage;
    const auto plain = plain_.read(ring.segment(), damage);
    const auto mark = quick_.mark();
    const auto tail = mark ? copyTail(ring.bytes, ring.bytes.size(), *mark) : std::nullopt;
    const auto quick = tail ? quick_.read(*tail, damage) : quick_.read(ring.segment(), damage);
    if (tail) ++quickLooks;
    EXPECT_EQ(numbersOf(plain), numbersOf(quick));
    EXPECT_EQ(textsOf(plain), textsOf(quick));
    EXPECT_EQ(plain.missed, quick.missed);
    EXPECT_EQ(plain.overrun, quick.overrun);
    EXPECT_FALSE(tail && plain.overrun) << "the quick way must not be taken over a gap";
    EXPECT_TRUE(damage.empty());
  }

  int quickLooks = 0;

 private:
  EventLog plain_;
  EventLog quick_;
};

}  // namespace

TEST(EventTail, TellsTheSameAsTheWholeCopyHoweverManyArePostedBetweenTwoLooks) {
  for (std::uint32_t step = 0; step <= 3 * kSlots; ++step) {
    SCOPED_TRACE(step);
    Ring ring;
    BothWays looks;
    for (int i = 0; i < 10; ++i) {
      looks.look(ring);
      ring.post(step);
    }
    EXPECT_EQ(step < kSlots ? 9 : 0, looks.quickLooks);
    ASSERT_FALSE(testing::Test::HasFailure());
  }
}

TEST(EventTail, TellsTheSameInAnyOrderOfLooks) {
  std::mt19937 random(11);
  Ring ring;
  BothWays looks;
  for (int i = 0; i < 3000; ++i) {
    looks.look(ring);
    ring.post(static_cast<std::uint32_t>(random() % (i % 7 == 0 ? 3 * kSlots : kSlots / 2)));
    if (random() % 9 == 0 && ring.posted > 0) {  // wrapped, and nothing behind that yet
      if (ring.posted % kSlots == 0) ring.publish(kData, 32);
    }
    ASSERT_FALSE(testing::Test::HasFailure()) << i;
  }
  EXPECT_GT(looks.quickLooks, 2000);
}

TEST(EventTail, CopiesOnlyWhatIsNew) {
  Ring ring;
  ring.post(20);
  const EventLog log = logOf(ring);
  ring.post(3);
  std::size_t moved = 0;
  support::SteppingMemory memory([&] { ++moved; });
  const auto header = [&] { return reader::headerOf(ring.data()); };
  const auto tail = copyTail(memory, ring.data(), *log.mark(), header);
  ASSERT_TRUE(tail);
  EXPECT_EQ(3U * 144, tail->records.size());
  EXPECT_EQ(3U * 144 + reader::RecordId::kBytes, moved);
}

TEST(EventTail, LeavesTheTemplatesWhileNoneIsNew) {
  Ring ring;
  ring.post(6);
  const EventLog log = logOf(ring);
  ring.post(1);
  EXPECT_FALSE(copyTail(ring.bytes, ring.bytes.size(), *log.mark())->templates);
  ring.post(5);
  EXPECT_TRUE(copyTail(ring.bytes, ring.bytes.size(), *log.mark())->templates);
}

TEST(EventTail, IsNothingWhereItIsMoreThanMayBeCopied) {
  const auto copies = [](std::uint32_t before, std::uint32_t fresh, std::uint64_t mostBytes) {
    Ring ring;
    ring.post(before);
    const EventLog log = logOf(ring);
    ring.post(fresh);
    return copyTail(ring.bytes, ring.bytes.size(), *log.mark(), mostBytes).has_value();
  };
  EXPECT_TRUE(copies(6, 2, 2 * 144));
  EXPECT_FALSE(copies(6, 2, 2 * 144 - 1));
  EXPECT_TRUE(copies(kSlots - 2, 4, 4 * 144)) << "around the end of the ring";
  EXPECT_FALSE(copies(kSlots - 2, 4, 4 * 144 - 1));
  const std::uint64_t templates = 32 + templateOf(0).size() + templateOf(1).size();
  EXPECT_TRUE(copies(4, 2, 2 * 144 + templates));
  EXPECT_FALSE(copies(4, 2, 2 * 144 + templates - 1));
}

// At any step of the copy so many events are posted at once: what comes back is what stood behind
// the mark, whole and in order, or nothing.
TEST(EventTail, AReaderStoppedAtAnyStepReturnsWholeEventsOrNothing) {
  for (const std::uint32_t before : {0U, 1U, kSlots - 1, kSlots + 3}) {
    for (const std::uint32_t fresh : {1U, 4U, kSlots - 1}) {
      for (const std::uint32_t meanwhile : {1U, kSlots - 4, kSlots + 1, 2 * kSlots}) {
        for (const support::Order order : support::kOrders) {
          int stop = 0;
          for (int steps = 1; stop < steps; stop += kSanitized ? 7 : 1) {
            Ring ring;
            ring.post(before);
            EventLog log = logOf(ring);
            reader::DamageList damage;
            ring.post(fresh);
            int step = 0;
            support::SteppingMemory memory(
                [&] {
                  if (step++ == stop) ring.post(meanwhile);
                },
                order, 48);
            const auto header = [&] { return reader::headerOf(ring.data()); };
            const auto tail = copyTail(memory, ring.data(), *log.mark(), header);
            steps = step;
            if (!tail) continue;
            std::vector<std::int32_t> expected;
            for (std::uint32_t n = before; n < before + fresh; ++n)
              expected.push_back(static_cast<std::int32_t>(n));
            for (std::size_t i = 0; i < fresh; ++i)
              ASSERT_EQ(0, std::memcmp(tail->records.data() + 144 * i,
                                       eventOf(static_cast<std::uint32_t>(before + i)).data(), 144))
                  << before << " " << fresh << " " << meanwhile << " at " << stop;
            ASSERT_EQ(expected, numbersOf(log.read(*tail, damage)));
          }
        }
      }
    }
  }
}

TEST(EventTail, AWriterStoppedAtAnyStepCostsNoEventAndShowsNoneTwice) {
  for (const support::Order order : support::kOrders) {
    Ring ring;
    EventLog log;
    std::vector<std::int32_t> seen;
    int quick = 0;
    const auto look = [&] {
      reader::DamageList damage;
      const auto mark = log.mark();
      const auto tail = mark ? copyTail(ring.bytes, ring.bytes.size(), *mark) : std::nullopt;
      if (tail) ++quick;
      const auto batch = tail ? log.read(*tail, damage) : log.read(ring.segment(), damage);
      ASSERT_FALSE(batch.overrun);
      for (const std::int32_t number : numbersOf(batch)) seen.push_back(number);
    };
    ring.post(3 * kSlots, look, order);
    look();
    std::vector<std::int32_t> expected;
    for (std::uint32_t n = 0; n < ring.posted; ++n)
      expected.push_back(static_cast<std::int32_t>(n));
    EXPECT_EQ(expected, seen);
    EXPECT_GT(quick, 700);
  }
}

TEST(EventTail, IsNothingInAnotherSegmentOrOneThatIsNone) {
  Ring ring;
  ring.post(4);
  const EventLog log = logOf(ring);
  reader::DamageList damage;
  EXPECT_FALSE(copyTail({}, 0, *log.mark()));
  EXPECT_FALSE(copyTail(Bytes(8192), 8192, *log.mark()));
  const Bytes without = image::segment({image::ordersBlock()});
  EXPECT_FALSE(copyTail(without, without.size(), *log.mark()));
  EventLog fresh;
  reader::Segment segment;
  segment.id = 1;
  segment.copy = reader::copySegment(without, without.size());
  fresh.read(segment, damage);
  const auto none = copyTail(without, without.size(), *fresh.mark());
  ASSERT_TRUE(none);
  EXPECT_TRUE(none->records.empty());
  EXPECT_FALSE(EventLog().mark());
}

TEST(EventTail, IsNothingWhereAnythingButAnEventIs) {
  for (const std::size_t at : {0U, 1U, 8U}) {
    Ring ring;
    ring.post(4);
    const EventLog log = logOf(ring);
    ring.post(2);
    ring.bytes[kData + 32 + 144 * 5 + at] = 7;
    EXPECT_FALSE(copyTail(ring.bytes, ring.bytes.size(), *log.mark())) << at;
  }
}

TEST(EventTail, AnyByteMayHoldAnythingAndNothingOutsideIsRead) {
  Ring ring;
  ring.post(kSlots + 9);
  const EventLog log = logOf(ring);
  reader::DamageList damage;
  ring.post(7);
  const auto probe = [&](std::size_t begin, std::size_t end) {
    for (std::size_t at = begin; at < end; ++at) {
      for (const int value : {0x00, 0x01, 0x7F, 0x80, 0xFF}) {
        Bytes bytes = ring.bytes;
        bytes[at] = static_cast<std::uint8_t>(value);
        EventLog copy = log;
        const auto tail = copyTail(bytes, bytes.size(), *log.mark());
        if (tail) copy.read(*tail, damage);  // an address sanitizer run would stop here
      }
    }
  };
  probe(0, 72);
  probe(kData, kData + 32);
  for (std::uint32_t offset : {0U, 31U, 32U, 33U, 176U, kArea, ~0U, 0x80000000U}) {
    reader::RingMark mark = *log.mark();
    mark.newestAt = offset;
    copyTail(ring.bytes, ring.bytes.size(), mark);
  }
}

}  // namespace event_tail_test
