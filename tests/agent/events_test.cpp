// SPDX-License-Identifier: Apache-2.0
// From the bytes of the events areas to events, over any number of looks.
#include "agent/reader/events.h"

#include <gtest/gtest.h>

#include "tests/support/image.h"

namespace events_test {

namespace {

using image::Block;
using image::Bytes;
using image::Id;
using reader::EventKind;
using reader::EventLog;

constexpr std::uint32_t kTime = 0xEA600000;
constexpr std::uint32_t kSlots = 28;  // of an area of 4096 bytes

Id templateId(std::uint32_t n) {
  return {7, 500, n, n};
}
Id eventId(std::uint32_t n) {
  return {8, 1000 + n / 1000, n % 1000, n};
}

Bytes templateRecord(std::uint32_t n, const std::u16string& text = u"seen") {
  return image::eventTemplate(templateId(n), u"orders", u"Fulfil", u"Reserve", 1, text);
}

Bytes eventRecord(std::uint32_t n, std::uint32_t ofTemplate = 1) {
  return image::event(eventId(n), templateId(ofTemplate), kTime + n);
}

Block templates() {
  return {.eyecatcher = "zebcetar", .contents = {}};
}

// The data area after events 0 to count - 1 were posted to it, each in the next slot of the ring.
Block ring(std::uint32_t count) {
  Block block{.eyecatcher = "zebcedar", .contents = {}};
  block.contents.resize(144 * std::min(count, kSlots));
  for (std::uint32_t n = 0; n < count; ++n) {
    const Bytes record = eventRecord(n);
    std::copy(record.begin(), record.end(), block.contents.begin() + 144 * (n % kSlots));
  }
  const std::uint32_t last = count % kSlots;
  block.next = count > 0 && last == 0 ? 32 + 144 * kSlots : 32 + 144 * last;
  return block;
}

class Watching : public testing::Test {
 protected:
  EventLog::Batch look(const std::vector<Block>& blocks, int segmentId = 1) {
    const Bytes bytes = image::segment(blocks);
    reader::Segment segment;
    segment.id = segmentId;
    segment.copy = reader::copySegment(bytes, bytes.size());
    damage = segment.copy.damage;
    return log.read(segment, damage);
  }

  // The numbers of the events, in the order in which they were returned.
  static std::vector<std::uint32_t> numbers(const EventLog::Batch& batch) {
    std::vector<std::uint32_t> list;
    for (const reader::Event& event : batch.events) {
      list.push_back(static_cast<std::uint32_t>(*event.time - (kTime - 2177452800LL)));
    }
    return list;
  }

  static std::vector<std::uint32_t> range(std::uint32_t begin, std::uint32_t end) {
    std::vector<std::uint32_t> list;
    for (; begin < end; ++begin) list.push_back(begin);
    return list;
  }

  EventLog log;
  reader::DamageList damage;
};

}  // namespace

TEST_F(Watching, EveryFieldIsReadFromItsPlaceAndJoinedWithItsTemplate) {
  const auto batch = look({image::ordersBlock(), templates().add(templateRecord(1)), ring(1)});
  ASSERT_EQ(1U, batch.events.size());
  const reader::Event& event = batch.events[0];
  EXPECT_EQ("08000000E80300000000000000000000", event.recordId.hex());
  EXPECT_EQ("07000000F40100000100000001000000", event.templateId.hex());
  EXPECT_EQ(kTime - 2177452800LL, event.time);
  EXPECT_EQ(7, event.threadId);
  ASSERT_EQ(24U, event.messageId.size());
  EXPECT_EQ(0xA0, event.messageId.front());
  EXPECT_EQ(0xB7, event.messageId.back());
  EXPECT_EQ((std::array<std::uint8_t, 24>{}), event.correlationId);
  EXPECT_EQ(6, event.putApplicationType);
  EXPECT_EQ("order-entry", event.putApplicationName);
  EXPECT_EQ("20261121", event.putDate);
  EXPECT_EQ("04093112", event.putTime);
  ASSERT_TRUE(event.origin);
  EXPECT_EQ("orders", event.origin->executionGroup);
  EXPECT_EQ("Fulfil", event.origin->messageFlow);
  EXPECT_EQ("Reserve", event.origin->node);
  EXPECT_EQ(1U, event.origin->nodeType);
  EXPECT_EQ("seen", event.origin->text);
  EXPECT_TRUE(damage.empty());
}

TEST_F(Watching, ExceptionsAreToldByTheBeginningOfTheirText) {
  Block all = templates();
  all.add(templateRecord(1)).add(templateRecord(2, u"Exception found in Reserve(a). b"));
  all.add(templateRecord(3, u"exception found in")).add(templateRecord(4, u""));
  Block data{.eyecatcher = "zebcedar", .contents = {}};
  for (std::uint32_t n = 1; n <= 5; ++n) data.add(eventRecord(n, n));
  const auto batch = look({all, data});
  ASSERT_EQ(5U, batch.events.size());
  EXPECT_EQ(EventKind::message, batch.events[0].kind());
  EXPECT_EQ(EventKind::exception, batch.events[1].kind());
  EXPECT_EQ(EventKind::message, batch.events[2].kind());
  EXPECT_EQ(EventKind::message, batch.events[3].kind());
  EXPECT_EQ(EventKind::unknown, batch.events[4].kind());
}

TEST_F(Watching, AnEventWithoutTemplateIsReturnedAndSoAreTheLaterOnes) {
  Block data{.eyecatcher = "zebcedar", .contents = {}};
  data.add(eventRecord(0, 9)).add(eventRecord(1));
  const auto batch = look({templates().add(templateRecord(1)), data});
  ASSERT_EQ(2U, batch.events.size());
  EXPECT_FALSE(batch.events[0].origin);
  EXPECT_TRUE(batch.events[1].origin);
}

TEST_F(Watching, ATemplateIsRememberedAfterItWasOverwritten) {
  look({templates().add(templateRecord(1)), ring(1)});
  const auto batch = look({templates().add(templateRecord(2)), ring(2)});
  ASSERT_EQ(1U, batch.events.size());
  ASSERT_TRUE(batch.events[0].origin);
  EXPECT_EQ("seen", batch.events[0].origin->text);
}

TEST_F(Watching, WithoutAreasThereAreNoEvents) {
  EXPECT_TRUE(look({}).events.empty());
  EXPECT_TRUE(look({templates(), ring(0)}).events.empty());
  EXPECT_TRUE(damage.empty());
}

TEST_F(Watching, EachLookReturnsWhatIsNew) {
  EXPECT_EQ(range(0, 3), numbers(look({ring(3)})));
  EXPECT_EQ(range(3, 3), numbers(look({ring(3)})));
  EXPECT_EQ(range(3, 10), numbers(look({ring(10)})));
}

TEST_F(Watching, AFullRingIsWholeAndInOrder) {
  EXPECT_EQ(range(0, kSlots), numbers(look({ring(kSlots)})));
  EXPECT_TRUE(damage.empty());
}

TEST_F(Watching, AfterAWrapTheOlderEventsComeFirst) {
  for (std::uint32_t count = kSlots + 1; count < 2 * kSlots + 3; ++count) {
    log = EventLog();
    EXPECT_EQ(range(count - kSlots, count), numbers(look({ring(count)}))) << count;
    EXPECT_TRUE(damage.empty());
  }
}

TEST_F(Watching, OverAnyNumberOfLooksEveryEventIsReturnedOnce) {
  for (std::uint32_t step = 1; step <= kSlots; ++step) {
    log = EventLog();
    std::vector<std::uint32_t> all;
    for (std::uint32_t count = 0; count < 5 * kSlots; count += step) {
      const auto batch = look({ring(count)});
      if (step < kSlots) {
        EXPECT_FALSE(batch.overrun) << step;
      }
      EXPECT_EQ(0U, batch.missed);
      const auto more = numbers(batch);
      all.insert(all.end(), more.begin(), more.end());
    }
    EXPECT_EQ(range(0, static_cast<std::uint32_t>(all.size())), all) << step;
  }
}

TEST_F(Watching, MissedEventsAreCountedExactlyWithinTheSecondTurn) {
  for (std::uint32_t before = 1; before <= 2 * kSlots; ++before) {
    for (std::uint32_t more = kSlots; more < 2 * kSlots; ++more) {
      log = EventLog();
      look({ring(before)});
      const auto batch = look({ring(before + more)});
      EXPECT_TRUE(batch.overrun);
      EXPECT_EQ(more - kSlots, batch.missed) << before << " " << more;
      EXPECT_EQ(kSlots, batch.perTurn);
      EXPECT_EQ(range(before + more - kSlots, before + more), numbers(batch));
    }
  }
}

TEST_F(Watching, FurtherTurnsAreNotSeenAndSaidToBeSo) {
  look({ring(5)});
  const auto batch = look({ring(5 + 3 * kSlots + 4)});
  EXPECT_EQ(4U, batch.missed);  // and kSlots more for each of the two further turns
  EXPECT_EQ(2 * kSlots, 3 * kSlots + 4 - batch.events.size() - batch.missed);
}

TEST_F(Watching, ANewSegmentStartsAfresh) {
  look({ring(5)}, 1);
  const auto batch = look({ring(2)}, 2);
  EXPECT_EQ(range(0, 2), numbers(batch));
  EXPECT_FALSE(batch.overrun);
}

TEST_F(Watching, TheSlotBehindTheNewestIsLeftOutWhileAWriterFillsIt) {
  Block block = ring(kSlots + 5);
  // A younger header over the body of event 5, the oldest that is left: not published yet.
  const Bytes record = image::header(eventId(9999), templateId(1));
  std::copy(record.begin(), record.end(), block.contents.begin() + 144 * 5);
  EXPECT_EQ(range(6, kSlots + 5), numbers(look({block})));
}

TEST_F(Watching, AnEventIsReturnedOnceAlsoWhenItsSlotWasReadBeforeItWasPublished) {
  // All of one millisecond, so that nothing tells that the record behind the newest is younger.
  const auto record = [](std::uint32_t n) {
    return image::event({8, 1000, 1, n}, templateId(1), kTime + n);
  };
  Block block{.eyecatcher = "zebcedar", .contents = {}};
  for (std::uint32_t n = 0; n < kSlots; ++n) block.add(record(n));
  const Bytes unpublished = record(kSlots);
  std::copy(unpublished.begin(), unpublished.end(), block.contents.begin());
  block.next = 32;
  block.last = 32 + 144 * kSlots;
  EXPECT_EQ(kSlots, look({block}).events.size());
  block.next = 32 + 144;
  EXPECT_TRUE(look({block}).events.empty());
}

TEST_F(Watching, BetweenAWrapAndTheNextRecordTheWholeRingIsOld) {
  Block block = ring(kSlots);
  block.next = 32;
  block.last = 32 + 144 * kSlots;
  EXPECT_EQ(range(0, kSlots), numbers(look({block})));
}

TEST_F(Watching, TemplatesOfDifferentLengthsSurviveAWrapAsFarAsTheyAreWhole) {
  Block all = templates();
  all.add(templateRecord(1, std::u16string(100, u'a')));
  const auto second = static_cast<std::int64_t>(32 + all.contents.size());
  all.add(templateRecord(2, std::u16string(50, u'b')));
  all.add(templateRecord(3, u"third"));
  // A fourth overwrites the first and a part of nothing else; then a fifth cuts the second.
  const auto overwrite = [&all](std::int64_t at, const Bytes& record) {
    std::copy(record.begin(), record.end(), all.contents.begin() + at - 32);
    all.next = at + static_cast<std::int64_t>(record.size());
    all.last = static_cast<std::int64_t>(32 + all.contents.size());
  };
  Block data{.eyecatcher = "zebcedar", .contents = {}};
  for (std::uint32_t n = 1; n <= 5; ++n) data.add(eventRecord(n, n));
  overwrite(32, templateRecord(4, u"fourth"));
  ASSERT_LT(all.next, second);
  auto events = look({all, data}).events;
  EXPECT_TRUE(damage.empty());
  EXPECT_FALSE(events[0].origin);
  EXPECT_EQ(std::string(50, 'b'), events[1].origin->text);
  EXPECT_EQ("third", events[2].origin->text);
  EXPECT_EQ("fourth", events[3].origin->text);
  overwrite(all.next, templateRecord(5, std::u16string(60, u'e')));
  ASSERT_GT(all.next, second);
  log = EventLog();
  events = look({all, data}).events;
  EXPECT_TRUE(damage.empty());
  EXPECT_FALSE(events[1].origin);
  EXPECT_EQ("third", events[2].origin->text);
  EXPECT_EQ(std::string(60, 'e'), events[4].origin->text);
}

TEST_F(Watching, ADamagedSlotIsReportedAndTheOthersAreRead) {
  Block block = ring(6);
  block.contents[144 * 2] = 'X';
  EXPECT_EQ((std::vector<std::uint32_t>{0, 1, 3, 4, 5}), numbers(look({block})));
  ASSERT_EQ(1U, damage.list().size());
  EXPECT_EQ("eventData", damage.list()[0].area);
  EXPECT_EQ(32U + 2 * 144, damage.list()[0].offset);
}

TEST_F(Watching, AMessageIdThatLooksLikeARecordIsNotTakenForOne) {
  Block block = ring(2);
  block.contents[0] = 'X';
  const Bytes fake = eventRecord(77);
  std::copy(fake.begin(), fake.begin() + 48, block.contents.begin() + 48);
  EXPECT_EQ(range(1, 2), numbers(look({block})));
}

TEST_F(Watching, RecordsOfOtherTypesAreReportedAndSteppedOver) {
  Block data{.eyecatcher = "zebcedar", .contents = {}};
  data.add(eventRecord(0)).add(templateRecord(1)).add(eventRecord(1));
  EXPECT_EQ(range(0, 2), numbers(look({data})));
  EXPECT_EQ(1U, damage.list().size());
}

TEST_F(Watching, AnEventThatIsItsOwnTemplateHasNone) {
  Block data{.eyecatcher = "zebcedar", .contents = {}};
  data.add(image::event({8, 1, 1, 1}, {8, 1, 1, 1}, kTime));
  EXPECT_FALSE(look({templates(), data}).events.at(0).origin);
}

TEST_F(Watching, AnyByteMayHoldAnythingAndNothingOutsideIsRead) {
  const std::vector<Block> blocks = {templates().add(templateRecord(1)).add(templateRecord(2)),
                                     ring(kSlots + 3)};
  const Bytes whole = image::segment(blocks);
  const auto probe = [&](std::size_t begin, std::size_t end) {
    for (std::size_t at = begin; at < end; ++at) {
      for (const int value : {0x00, 0x01, 0x7F, 0x80, 0xFF}) {
        Bytes bytes = whole;
        bytes[at] = static_cast<std::uint8_t>(value);
        reader::Segment segment;
        segment.copy = reader::copySegment(bytes, bytes.size());
        log.read(segment, segment.copy.damage);  // an address sanitizer run would stop here
      }
    }
  };
  probe(0, 400);
  probe(32 + 4096, 32 + 4096 + 32 + 144 * 5);
}

TEST(TemplateCache, ForgetsTheLongestUnusedFirst) {
  reader::TemplateCache cache(2);
  const auto id = [](std::uint8_t n) {
    const Bytes bytes(16, n);
    return reader::RecordId(bytes);
  };
  const auto make = [](const char* text) { return reader::EventTemplate{"", "", "", 1, text}; };
  cache.add(id(1), make("one"));
  cache.add(id(2), make("two"));
  EXPECT_EQ("one", cache.find(id(1))->text);
  cache.add(id(3), make("three"));
  EXPECT_EQ(nullptr, cache.find(id(2)));
  EXPECT_EQ("one", cache.find(id(1))->text);
  EXPECT_EQ("three", cache.find(id(3))->text);
  cache.add(id(3), make("new"));
  EXPECT_EQ("new", cache.find(id(3))->text);
  EXPECT_NE(nullptr, cache.find(id(1)));
}

TEST(TemplateCache, KeepsAsManyAsItMayAndThoseThatWereUsed) {
  reader::TemplateCache cache(100);
  const auto id = [](std::uint32_t n) {
    Bytes bytes;
    image::putId(bytes, templateId(n));
    return reader::RecordId(bytes);
  };
  for (std::uint32_t n = 0; n < 1000; ++n) {
    cache.add(id(n), {"", "", "", n, ""});
    ASSERT_NE(nullptr, cache.find(id(0))) << n;
  }
  for (std::uint32_t n = 1000 - 99; n < 1000; ++n) EXPECT_EQ(n, cache.find(id(n))->nodeType);
  EXPECT_EQ(nullptr, cache.find(id(1000 - 126)));
}

}  // namespace events_test
