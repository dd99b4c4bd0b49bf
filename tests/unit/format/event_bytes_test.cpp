// SPDX-License-Identifier: Apache-2.0
// How the records of rings are written and read: the writer and the reader stop at every step.
#include "format/event_bytes.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "tests/support/image.h"
#include "tests/support/stepping_memory.h"

namespace event_bytes_test {

using image::Bytes;
using support::kOrders;
using support::Order;
using support::SteppingMemory;

namespace {

// All of one millisecond.
image::Id idOf(std::uint32_t type, std::uint32_t n) {
  return {type, 1000, 1, 0x9E3779B9U * n};
}

// Thread and byte fields tell `look`; events of one look differ in their IDs alone.
Bytes eventOf(std::uint32_t n, std::uint8_t look) {
  Bytes record = image::event(idOf(8, n), idOf(7, 1), 5, look);
  std::fill(record.begin() + 48, record.end(), look);
  return record;
}

Bytes templateOf(std::uint32_t n, const std::u16string& text) {
  return image::eventTemplate(idOf(7, n), text, text, text, 1, text);
}

constexpr Order kWriting[] = {Order::forward, Order::backward, Order::endsFirst};

// One byte that a writer stores.
struct Store {
  std::size_t at;
  std::uint8_t value;
};

// A ring of some bytes, and everything that its writer stores into it, in order.
class Ring {
 public:
  explicit Ring(std::size_t bytes) : before_(bytes), after_(bytes) {}

  // Puts a record there before the story begins.
  void begin(std::size_t at, const Bytes& record) {
    std::copy(record.begin(), record.end(), before_.begin() + static_cast<long>(at));
    last_ = std::max(last_, at + record.size());
    after_ = before_;
  }

  void overwrite(std::size_t at, const Bytes& record, bool search, Order order = Order::forward,
                 std::size_t grain = 1) {
    Bytes seen = after_;
    const auto note = [&] {
      for (std::size_t i = 0; i < seen.size(); ++i)
        if (seen[i] != after_[i]) stores_.push_back({i, seen[i] = after_[i]});
      ends_.push_back(stores_.size());
    };
    SteppingMemory memory(note, order, grain);
    event_bytes::overwrite(memory, after_.data() + at, record, search ? last_ - at : 0);
    note();
  }

  const Bytes& before() const { return before_; }
  const Bytes& after() const { return after_; }
  const std::vector<Store>& stores() const { return stores_; }
  // How many stores were made before each step of the writers, and after the last.
  const std::vector<std::size_t>& steps() const { return ends_; }

 private:
  Bytes before_;
  Bytes after_;
  std::size_t last_ = 0;
  std::vector<Store> stores_;
  std::vector<std::size_t> ends_;
};

// When the writers go on: before that step of the reader, they come to that step of theirs.
struct Switch {
  std::size_t readerStep;
  std::size_t writerStep;
};

struct Story {
  const Ring& ring;
  std::size_t place;         // where is read
  std::vector<Bytes> whole;  // all records that ever begin there
  Order order = Order::forward;
  std::size_t grain = 1;
};

// One look, with the writers going on at these switches. The steps that the reader took.
std::size_t lookOnce(const Story& story, const std::vector<Switch>& switches,
                     event_bytes::Look& seen, Bytes& copy) {
  Bytes live = story.ring.before();
  std::size_t stored = 0;
  std::size_t step = 0;
  std::size_t next = 0;
  SteppingMemory memory(
      [&] {
        for (; next < switches.size() && switches[next].readerStep == step; ++next)
          for (; stored < story.ring.steps()[switches[next].writerStep]; ++stored)
            live[story.ring.stores()[stored].at] = story.ring.stores()[stored].value;
        ++step;
      },
      story.order, story.grain);
  copy.assign(live.size() - story.place, 0xEE);
  seen = event_bytes::look(memory, std::span(live).subspan(story.place), std::span(copy));
  return step;
}

// Whether what was found is one of the records, or nothing that counts as one.
bool isSound(const Story& story, const std::vector<Switch>& switches,
             std::size_t* steps = nullptr) {
  event_bytes::Look seen;
  Bytes copy;
  const std::size_t taken = lookOnce(story, switches, seen, copy);
  if (steps) *steps = taken;
  if (seen.found != event_bytes::Found::record) return true;
  copy.resize(seen.size);
  return std::find(story.whole.begin(), story.whole.end(), copy) != story.whole.end();
}

std::string described(const std::vector<Switch>& switches) {
  std::string text;
  for (const Switch& at : switches)
    text += " reader " + std::to_string(at.readerStep) + " writer " + std::to_string(at.writerStep);
  return text;
}

// Every pair of stops, each with every progress of the writers.
void expectSoundAtEveryTwoStops(const Story& story) {
  std::size_t steps = 0;
  ASSERT_TRUE(isSound(story, {}, &steps));
  const std::size_t writers = story.ring.steps().size();
  for (std::size_t first = 0; first < steps; ++first)
    for (std::size_t one = 0; one < writers; ++one)
      for (std::size_t second = first + 1; second < steps; ++second)
        for (std::size_t two = one; two < writers; ++two) {
          const std::vector<Switch> switches{{first, one}, {second, two}};
          ASSERT_TRUE(isSound(story, switches)) << described(switches);
        }
}

void expectSoundAtEveryStop(const Story& story) {
  std::size_t steps = 0;
  ASSERT_TRUE(isSound(story, {}, &steps));
  for (std::size_t reader = 0; reader < steps; ++reader)
    for (std::size_t writer = 0; writer < story.ring.steps().size(); ++writer)
      ASSERT_TRUE(isSound(story, {{reader, writer}})) << reader << " " << writer;
}

// Some stops, drawn.
void expectSoundAtManyStops(const Story& story, int rounds) {
  std::mt19937 random(7);
  std::size_t steps = 0;
  ASSERT_TRUE(isSound(story, {}, &steps));
  const auto draw = [&](std::size_t most, std::size_t count) {
    std::vector<std::size_t> drawn(count);
    for (std::size_t& number : drawn) number = random() % most;
    std::sort(drawn.begin(), drawn.end());
    return drawn;
  };
  for (int round = 0; round < rounds; ++round) {
    const std::size_t count = 2 + random() % 5;
    const auto readers = draw(steps, count);
    const auto writers = draw(story.ring.steps().size(), count);
    std::vector<Switch> switches;
    for (std::size_t i = 0; i < count; ++i) switches.push_back({readers[i], writers[i]});
    ASSERT_TRUE(isSound(story, switches)) << described(switches);
  }
}

// The slot gets three more events, each a whole turn of the ring later; the third is as the first
// except its ID, and the fourth as the second.
struct Slot {
  explicit Slot(std::size_t grain, Order order = Order::forward, std::size_t count = 4) {
    events.resize(count);
    ring.begin(0, events[0]);
    for (std::size_t i = 1; i < events.size(); ++i)
      ring.overwrite(0, events[i], false, order, grain);
  }
  std::vector<Bytes> events{eventOf(1, 'a'), eventOf(2, 'b'), eventOf(3, 'a'), eventOf(4, 'b')};
  Ring ring{144};
};

// Three old templates; two new ones cover them, then the ring turns and an even longer one does.
// The new texts are all "R", the byte that marks a whole record, wherever an old one begins.
struct Templates {
  explicit Templates(std::size_t grain, Order order = Order::forward) {
    std::size_t at = 0;
    for (const Bytes& record : old) {
      ring.begin(at, record);
      begins.push_back(at);
      at += record.size();
    }
    ring.overwrite(0, news[0], true, order, grain);
    ring.overwrite(news[0].size(), news[1], true, order, grain);
    ring.overwrite(0, news[2], true, order, grain);
  }
  std::vector<Bytes> wholeAt(std::size_t at) const {
    std::vector<Bytes> whole;
    for (std::size_t i = 0; i < old.size(); ++i)
      if (begins[i] == at) whole.push_back(old[i]);
    if (at == 0) whole.insert(whole.end(), {news[0], news[2]});
    if (at == news[0].size()) whole.push_back(news[1]);
    return whole;
  }

  std::vector<Bytes> old{templateOf(1, u"ab"), templateOf(2, u"cde"), templateOf(3, u"")};
  std::vector<Bytes> news{templateOf(4, u"RRRRR"), templateOf(5, u"RRR"),
                          templateOf(6, u"RRRRRRRRRRRRRRR")};
  std::vector<std::size_t> begins;
  Ring ring{320};
};

}  // namespace

TEST(EventBytes, AWholeRecordIsFound) {
  const Slot slot(1);
  event_bytes::Look seen;
  Bytes copy;
  lookOnce({slot.ring, 0, {}}, {}, seen, copy);
  EXPECT_EQ(seen.found, event_bytes::Found::record);
  EXPECT_EQ(seen.size, 144U);
  EXPECT_EQ(copy, slot.events[0]);
  const Templates templates(1);
  for (const std::size_t at : templates.begins) {
    lookOnce({templates.ring, at, {}}, {}, seen, copy);
    EXPECT_EQ(seen.found, event_bytes::Found::record);
    copy.resize(seen.size);
    EXPECT_EQ(templates.wholeAt(at)[0], copy);
  }
}

TEST(EventBytes, ALongRecordIsFoundAndSoIsOneThatEndsWithTheBytes) {
  Bytes record = templateOf(1, std::u16string(3000, u'x'));
  event_bytes::PlainMemory memory;
  for (const std::size_t behind : {0U, 1U, 5000U, 50000U}) {
    Bytes live = record;
    live.resize(record.size() + behind);
    Bytes copy(live.size());
    const auto seen = event_bytes::look(memory, std::span<const std::uint8_t>(live), copy);
    EXPECT_EQ(seen.found, event_bytes::Found::record) << behind;
    EXPECT_EQ(seen.size, record.size());
    EXPECT_TRUE(std::equal(record.begin(), record.end(), copy.begin()));
  }
  record.pop_back();
  Bytes copy(record.size());
  EXPECT_EQ(event_bytes::look(memory, std::span<const std::uint8_t>(record), copy).found,
            event_bytes::Found::nothing);
}

TEST(EventBytes, NoRecordIsNothingAndAClearedOneIsBeingWritten) {
  event_bytes::PlainMemory memory;
  const auto found = [&](const Bytes& live) {
    Bytes copy(live.size());
    return event_bytes::find(memory, std::span<const std::uint8_t>(live), copy).found;
  };
  const Bytes record = eventOf(1, 'a');
  const auto with = [&](std::size_t at, std::uint8_t value) {
    Bytes changed = record;
    changed[at] = value;
    return changed;
  };
  EXPECT_EQ(found(record), event_bytes::Found::record);
  EXPECT_EQ(found(with(0, 0)), event_bytes::Found::writing);
  EXPECT_EQ(found(with(0, 'X')), event_bytes::Found::nothing);
  for (const std::size_t at : {1U, 2U, 3U})
    EXPECT_EQ(found(with(at, 0)), event_bytes::Found::nothing);
  EXPECT_EQ(found(with(8, 10)), event_bytes::Found::nothing);
  EXPECT_EQ(found(Bytes(144)), event_bytes::Found::nothing);
  EXPECT_EQ(found(Bytes(39)), event_bytes::Found::nothing);
  EXPECT_EQ(found({}), event_bytes::Found::nothing);
  EXPECT_EQ(found(Bytes(record.begin(), record.begin() + 143)), event_bytes::Found::nothing);
}

TEST(EventBytes, APlaceIsLookedAtAHundredTimesAtMost) {
  Bytes live = eventOf(1, 'a');
  live[0] = 0;
  Bytes copy(live.size());
  int steps = 0;
  SteppingMemory memory([&] { ++steps; }, Order::forward, 1000);
  const auto find = [&] {
    return event_bytes::find(memory, std::span<const std::uint8_t>(live), copy);
  };
  EXPECT_EQ(find().found, event_bytes::Found::writing);
  EXPECT_EQ(steps, 2 * 100);  // the header, and the first byte
  // The writer goes on during the last look but one.
  steps = 0;
  SteppingMemory late([&] { live[0] = ++steps > 2 * 99 ? 'R' : 0; }, Order::forward, 1000);
  EXPECT_EQ(event_bytes::find(late, std::span<const std::uint8_t>(live), copy).found,
            event_bytes::Found::record);
}

TEST(EventBytes, AfterwardsTheRecordIsThereAndNothingElseChanged) {
  for (const Order order : kOrders) {
    const Templates templates(1, order);
    Bytes expected = templates.ring.before();
    const auto put = [&](std::size_t at, const Bytes& record) {
      std::copy(record.begin(), record.end(), expected.begin() + static_cast<long>(at));
    };
    put(0, templates.news[0]);
    put(templates.news[0].size(), templates.news[1]);
    put(0, templates.news[2]);
    EXPECT_EQ(templates.ring.after(), expected);
  }
}

// At every step, an old record that has changed has a first byte that is no "R", and the new one
// has its first byte last.
TEST(EventBytes, WhatIsCoveredIsClearedBeforeItChangesAndTheFirstByteComesLast) {
  const Bytes record = templateOf(9, u"RRRRRRRRRR");
  for (std::size_t covered = 1; covered <= record.size(); ++covered) {
    for (const Order order : kOrders) {
      Ring ring(1000);
      const Bytes old = templateOf(1, u"old");
      ring.begin(0, Bytes(covered, 'x'));
      ring.begin(covered, old);
      ring.overwrite(0, record, true, order, 16);
      Bytes live = ring.before();
      std::size_t stored = 0;
      for (const std::size_t end : ring.steps()) {
        for (; stored < end; ++stored) {
          ASSERT_LT(ring.stores()[stored].at, record.size());
          live[ring.stores()[stored].at] = ring.stores()[stored].value;
        }
        const bool oldIsWhole =
            std::equal(old.begin(), old.end(), live.begin() + static_cast<long>(covered));
        const std::span rest = std::span(live).subspan(covered);
        if (!oldIsWhole && rest[0] == 'R' && covered < record.size()) {
          EXPECT_EQ(layout::storedSize(rest), 0U) << covered;
        }
        if (stored > 0 && stored < ring.stores().size()) {
          ASSERT_EQ(live[0], 0) << covered;
        }
      }
      ASSERT_TRUE(std::equal(record.begin(), record.end(), live.begin()));
    }
  }
}

// As a dying writer leaves it: its first byte is 0 already.
TEST(EventBytes, ARecordThatWasClearedBeforeStaysClearedUntilItsTextIsGone) {
  const Bytes record = templateOf(9, u"RRRRRRRRRR");
  Bytes old = templateOf(1, u"old");
  old[0] = 0;
  for (std::size_t covered = 40; covered < record.size(); ++covered) {
    Ring ring(1000);
    ring.begin(0, Bytes(covered, 'x'));
    ring.begin(covered, old);
    ring.overwrite(0, record, true, Order::backward, 1);
    Bytes live = ring.before();
    for (const Store& store : ring.stores()) {
      live[store.at] = store.value;
      ASSERT_EQ(layout::storedSize(std::span(live).subspan(covered)), 0U) << covered;
    }
  }
}

TEST(EventBytes, InASlotNoMixtureIsFoundWhereverWriterAndReaderStop) {
  for (const Order writing : kWriting) {
    const Slot turns(36, writing);
    const Slot once(10, writing, 2);
    const Slot fine(2, writing);
    for (const Order reading : kOrders) {
      SCOPED_TRACE(static_cast<int>(writing) * 10 + static_cast<int>(reading));
      expectSoundAtEveryTwoStops({turns.ring, 0, turns.events, reading, 36});
      expectSoundAtEveryTwoStops({once.ring, 0, once.events, reading, 10});
      expectSoundAtEveryStop({fine.ring, 0, fine.events, reading, 2});
      expectSoundAtManyStops({fine.ring, 0, fine.events, reading, 2}, 5000);
      ASSERT_FALSE(testing::Test::HasFailure());
    }
  }
}

TEST(EventBytes, AmongTemplatesNoMixtureIsFoundWhereverWriterAndReaderStop) {
  for (const Order writing : kWriting) {
    const Templates coarse(48, writing);
    const Templates fine(5, writing);
    std::vector<std::size_t> places = coarse.begins;
    places.push_back(coarse.news[0].size());
    for (const Order reading : kOrders) {
      for (const std::size_t place : places) {
        SCOPED_TRACE(static_cast<int>(writing) * 10 + static_cast<int>(reading));
        SCOPED_TRACE(place);
        const std::vector<Bytes> whole = coarse.wholeAt(place);
        expectSoundAtEveryTwoStops({coarse.ring, place, whole, reading, 48});
        expectSoundAtEveryStop({fine.ring, place, whole, reading, 5});
        expectSoundAtManyStops({fine.ring, place, whole, reading, 5}, 1000);
        ASSERT_FALSE(testing::Test::HasFailure());
      }
    }
  }
}

}  // namespace event_bytes_test
