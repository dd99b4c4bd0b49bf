// SPDX-License-Identifier: Apache-2.0
// The events of one broker: both areas, the template cache, and the collecting of events.
#include "store/events_area.h"

#include <cstring>
#include <filesystem>
#include <functional>
#include <memory>
#include <set>
#include <thread>

#include "records/event_information.h"
#include "tests/support/ipc_objects.h"
#include "tests/unit/store/store_test.h"

namespace events_area_test {

namespace fs = std::filesystem;
using namespace support;

namespace {

constexpr char kUnit[] = "zebcevar";

using Events = OwnedRecords<ZEB_Ordered_Record_Set>;

class EventsArea : public StoreTest {
 protected:
  void SetUp() override {
    StoreTest::SetUp();
    area = makeArea();
    advanceClock(1000);
  }

  void TearDown() override {
    area.reset();
    StoreTest::TearDown();
  }

  std::unique_ptr<ZEB_Events_Area> makeArea() {
    auto made = std::make_unique<ZEB_Events_Area>(ZEB_String("unused"));
    made->init(segment.get());
    return made;
  }

  // Stores a template, each in a millisecond of its own.
  std::unique_ptr<ZEB_EVTR> store(const std::string& text) {
    advanceClock(1);
    auto kind = templateOf(text);
    EXPECT_EQ(kind.get(), area->setEventTemplate(kind.get()));
    return kind;
  }

  void post(const ZEB_Record& kind, int threadId) {
    advanceClock(1);
    const auto event = eventOf(kind, threadId);
    EXPECT_EQ(0, area->postEvent(event.get()));
  }

  // The thread of each event that getEvents gives; its template's ID must be the parent's.
  std::vector<int> collect() { return collectFrom(*area); }

  static std::vector<int> collectFrom(ZEB_Events_Area& events) {
    Events out;
    EXPECT_EQ(0, events.getEvents(&out));
    std::vector<int> threads;
    for (ZEB_Record* record : out) {
      EXPECT_EQ(9U, record->type());
      Bytes stored(record->size());
      record->put(stored.data());
      const std::size_t data = stored.size() - 144;
      EXPECT_EQ(7U, unsignedAt(stored, 40 + 8));
      EXPECT_EQ(8U, unsignedAt(stored, data + 8));
      EXPECT_EQ(idAt(stored, 40 + 8), idAt(stored, data + 24));
      threads.push_back(signedAt(stored, data + 44));
    }
    return threads;
  }

  // Calls back whenever events are read, with their templates in the cache.
  static void whenEventsAreRead(const std::function<void()>& call) {
    auto templatesRead = std::make_shared<bool>(false);
    host().script.log = [=](const LogEntry& entry) {
      if (entry.function == "ZEB_Events_Area::getEvents") *templatesRead = false;
      if (entry.function == "ZEB_Events_Area::getTemplates" && entry.text != "Entry")
        *templatesRead = true;
      if (!*templatesRead || entry.function != "ZEB_Shared_Area::read" || entry.text != "Entry")
        return;
      *templatesRead = false;
      call();
    };
  }
  std::vector<int> collectTraced() {
    const Tracing on;
    return collect();
  }

  std::size_t storedTemplates() const { return records("zebcetar").size(); }

  std::unique_ptr<ZEB_Events_Area> area;
};

using Threads = std::vector<int>;

TEST_F(EventsArea, CarvesTemplatesThenData) {
  const std::vector<Block> blocks = blocksOf(bytes());
  ASSERT_EQ(2U, blocks.size());
  EXPECT_EQ("zebcetar", blocks[0].eyecatcher);
  EXPECT_EQ("zebcedar", blocks[1].eyecatcher);
  EXPECT_TRUE(area->OK());
  EXPECT_EQ(0, area->getStatus());
}

TEST_F(EventsArea, IsNamedByTheSegmentAndNotByItsOwnName) {
  EXPECT_STREQ("/tmp/UUID1.zebcetar", area->getTemplatesArea()->getAreaName());
  EXPECT_TRUE(fs::exists("/tmp/UUID1.zebcetar.zebmutx"));
  EXPECT_TRUE(fs::exists("/tmp/UUID1.zebcedar.zebmutx"));
}

TEST_F(EventsArea, IsOkButOfNoUseBeforeInit) {
  ZEB_Events_Area fresh(ZEB_String("UUID1"));
  EXPECT_TRUE(fresh.OK());
  EXPECT_EQ(nullptr, fresh.getTemplatesArea());
  const auto kind = templateOf("text");
  const auto event = eventOf(*kind);
  Events out;
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(8, fresh.postEvent(event.get()));
    EXPECT_EQ(nullptr, fresh.setEventTemplate(kind.get()));
    EXPECT_EQ(8, fresh.getTemplates());
    EXPECT_EQ(8, fresh.getEvents(&out));
    EXPECT_EQ(3, fresh.getEvents(nullptr));
    fresh.init(nullptr);
  }
  EXPECT_TRUE(fresh.OK());
}

TEST_F(EventsArea, CleanupDeletesTheAreasAndLeavesTheBlocks) {
  const auto kind = store("text");
  post(*kind, 1);
  const Bytes before = bytes();
  area->cleanup();
  EXPECT_EQ(301, area->getStatus());
  EXPECT_FALSE(area->OK());
  EXPECT_EQ(nullptr, area->getTemplatesArea());
  EXPECT_FALSE(fs::exists("/tmp/UUID1.zebcetar.zebmutx"));
  EXPECT_FALSE(fs::exists("/tmp/UUID1.zebcedar.zebmutx"));
  EXPECT_EQ(before, bytes());
  const auto event = eventOf(*kind);
  Events out;
  EXPECT_EQ(8, area->postEvent(event.get()));
  EXPECT_EQ(nullptr, area->setEventTemplate(kind.get()));
  EXPECT_EQ(8, area->getTemplates());
  EXPECT_EQ(8, area->getEvents(&out));
  EXPECT_EQ(nullptr, area->findTemplate(kind.get()));
  area->init(segment.get());
  EXPECT_EQ(301, area->getStatus());
  EXPECT_EQ(nullptr, area->getTemplatesArea());
}

TEST_F(EventsArea, IsNotOkWithoutMemoryForAnArea) {
  static_assert(sizeof(ZEB_Events_Template_Area) == sizeof(ZEB_Events_Data_Area));
  for (int working = 0; working < 2; ++working) {
    failAllocations(sizeof(ZEB_Events_Data_Area), working);
    ZEB_Events_Area failed(ZEB_String("UUID1"));
    failed.init(segment.get());
    succeedAgain();
    EXPECT_EQ(301, failed.getStatus()) << working;
    EXPECT_EQ(working == 0, failed.getTemplatesArea() == nullptr);
    EXPECT_EQ(Texts{message1(kUnit, "ZEB_Events_Area::init")}, messageLines());
    host().forget();
    const auto kind = templateOf("text");
    const auto event = eventOf(*kind);
    EXPECT_EQ(8, failed.postEvent(event.get()));
    EXPECT_EQ(nullptr, failed.setEventTemplate(kind.get()));
    Events out;
    EXPECT_EQ(8, failed.getEvents(&out));
  }
}

// In a damaged segment there may be room for the templates only, or for neither.
TEST_F(EventsArea, CollectsNothingWithoutBothAreas) {
  area.reset();
  beginWith("ZEBMemorySize 4096\n");
  constexpr std::uint32_t kMapped = 4 * 4096;  // whole pages
  for (const std::uint32_t left : {4096U + 100U, 100U}) {
    const std::uint32_t next = kMapped - left;
    std::memcpy(at(16), &next, sizeof next);
    ZEB_Events_Area lacking(ZEB_String("UUID1"));
    lacking.init(segment.get());
    EXPECT_EQ(left > 4096, lacking.getTemplatesArea()->usable());
    Events out;
    EXPECT_EQ(8, lacking.getEvents(&out));
  }
}

// --- templates ---

TEST_F(EventsArea, ANewTemplateIsStoredAndHandedBack) {
  auto kind = templateOf("text");
  const RecordId id = idOf(*kind);
  EXPECT_EQ(kind.get(), area->setEventTemplate(kind.get()));
  EXPECT_NE(nullptr, kind->getAddress());
  ASSERT_EQ(1U, storedTemplates());
  EXPECT_EQ(id, records("zebcetar")[0].id());
  EXPECT_EQ(u"text", records("zebcetar")[0].templateText());
  EXPECT_EQ(nullptr, area->setEventTemplate(nullptr));
}

TEST_F(EventsArea, AnEqualTemplateBecomesTheStoredOne) {
  const auto stored = store("text");
  const Bytes before = bytes();
  const auto again = store("text");
  EXPECT_EQ(idOf(*stored), idOf(*again));
  EXPECT_EQ(stored->getAddress(), again->getAddress());
  EXPECT_EQ(before, bytes());
  const auto other = store("another text");
  EXPECT_NE(idOf(*stored), idOf(*other));
  EXPECT_EQ(2U, storedTemplates());
}

TEST_F(EventsArea, TemplatesOfOthersAreFound) {
  const auto other = makeArea();
  const auto stored = store("text");
  const auto again = templateOf("text");
  EXPECT_EQ(again.get(), other->setEventTemplate(again.get()));
  EXPECT_EQ(idOf(*stored), idOf(*again));
  store("second");
  const auto second = templateOf("second");
  other->setEventTemplate(second.get());
  EXPECT_EQ(2U, storedTemplates());
}

TEST_F(EventsArea, EqualTemplatesOfOneMillisecondAreStoredOnce) {
  for (int i = 0; i < 3; ++i) {
    const auto kind = templateOf("text");
    EXPECT_EQ(kind.get(), area->setEventTemplate(kind.get()));
  }
  EXPECT_EQ(1U, storedTemplates());
}

TEST_F(EventsArea, WhatAnotherStoresWithinTheSameMillisecondIsMissed) {
  const auto other = makeArea();
  const auto first = templateOf("first");
  area->setEventTemplate(first.get());
  EXPECT_EQ(0, other->getTemplates());
  const auto second = templateOf("second");
  area->setEventTemplate(second.get());
  EXPECT_EQ(0, other->getTemplates());
  EXPECT_NE(nullptr, other->findTemplate(first.get()));
  EXPECT_EQ(nullptr, other->findTemplate(second.get()));
  store("third");
  EXPECT_EQ(0, other->getTemplates());
  EXPECT_NE(nullptr, other->findTemplate(second.get()));
}

TEST_F(EventsArea, TemplatesAreFoundByContentAndByTheirEvents) {
  const auto first = store("first");
  const auto second = store("second");
  EXPECT_EQ(0, area->getTemplates());
  const auto event = eventOf(*second);
  const auto orphan = eventOf(*templateOf("elsewhere"));
  EXPECT_EQ(idOf(*first), idOf(*area->findTemplate(templateOf("first").get())));
  EXPECT_EQ(idOf(*second), idOf(*area->findTemplate(event.get())));
  EXPECT_EQ(nullptr, area->findTemplate(templateOf("third").get()));
  EXPECT_EQ(nullptr, area->findTemplate(orphan.get()));
  EXPECT_EQ(nullptr, area->findTemplate(static_cast<ZEB_EVTR*>(nullptr)));
  EXPECT_EQ(nullptr, area->findTemplate(static_cast<ZEB_EVDR*>(nullptr)));
}

TEST_F(EventsArea, FlushedTemplatesAreReadAgain) {
  const auto kind = store("text");
  area->getTemplates();
  area->flushTemplates();
  EXPECT_EQ(nullptr, area->findTemplate(kind.get()));
  EXPECT_EQ(0, area->getTemplates());
  EXPECT_NE(nullptr, area->findTemplate(kind.get()));
}

TEST_F(EventsArea, TheCacheIsKeptUntilTheAreaChanges) {
  const auto kind = store("text");
  area->getTemplates();
  const ZEB_EVTR* const cached = area->findTemplate(kind.get());
  const Tracing on;
  EXPECT_EQ(0, area->getTemplates());
  EXPECT_EQ(0U, entriesOf("ZEB_Shared_Area::read"));
  EXPECT_EQ(cached, area->findTemplate(kind.get()));
}

TEST_F(EventsArea, DamagedTemplatesEndTheCache) {
  const auto first = store("first");
  const auto second = store("second");
  std::memset(second->getAddress(), 'X', 4);
  area->flushTemplates();
  EXPECT_EQ(1, area->getTemplates());
  EXPECT_NE(nullptr, area->findTemplate(first.get()));
  EXPECT_EQ(nullptr, area->findTemplate(second.get()));
  EXPECT_EQ(0, area->getTemplates());
}

// As a stopped or dead writer leaves it.
TEST_F(EventsArea, AClearedTemplateEndsTheCacheAndIsLookedForAgain) {
  const auto first = store("first");
  const auto second = store("second");
  const auto third = store("third");
  char* const cleared = static_cast<char*>(second->getAddress());
  *cleared = 0;
  area->flushTemplates();
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(1, area->getTemplates());
    EXPECT_NE(nullptr, area->findTemplate(first.get()));
    EXPECT_EQ(nullptr, area->findTemplate(third.get()));
  }
  *cleared = 'R';
  EXPECT_EQ(0, area->getTemplates());
  EXPECT_NE(nullptr, area->findTemplate(second.get()));
  EXPECT_NE(nullptr, area->findTemplate(third.get()));
}

// Waiting for the area's lock is waiting for the writer.
TEST_F(EventsArea, ATemplateBehindOneThatIsBeingWrittenIsNotStoredAgain) {
  const auto first = store("first");
  const auto second = store("second");
  const auto third = store("third");
  char* const cleared = static_cast<char*>(second->getAddress());
  *cleared = 0;
  area->flushTemplates();
  host().script.log = [&](const LogEntry& entry) {
    if (entry.function == "ZEB_Shared_Area::lock") *cleared = 'R';
  };
  const Tracing on;
  const auto again = templateOf("first");
  EXPECT_EQ(again.get(), area->setEventTemplate(again.get()));
  EXPECT_EQ(idOf(*first), idOf(*again));
  EXPECT_EQ(0U, entriesOf("ZEB_Shared_Area::lock")) << "it lies before the writer";
  const auto behind = templateOf("third");
  EXPECT_EQ(behind.get(), area->setEventTemplate(behind.get()));
  EXPECT_EQ(idOf(*third), idOf(*behind));
  EXPECT_EQ(3U, storedTemplates());
  EXPECT_EQ(1, semaphoreOf("/tmp/UUID1.zebcetar.zebmutx")->value);
}

TEST_F(EventsArea, EventsOfATemplateBehindOneThatIsBeingWrittenComeLater) {
  const auto first = store("first");
  const auto second = store("second");
  const auto third = store("third");
  post(*third, 1);
  post(*first, 2);
  char* const cleared = static_cast<char*>(second->getAddress());
  *cleared = 0;
  area->flushTemplates();
  EXPECT_EQ(Threads{2}, collect());
  EXPECT_EQ(Threads{}, collect());
  *cleared = 'R';
  EXPECT_EQ(Threads{1}, collect());
  EXPECT_EQ(Threads{}, collect());
}

TEST_F(EventsArea, RecordsThatAreNoTemplatesArePassedOver) {
  const auto first = store("first");
  const auto second = store("second");
  const std::uint32_t other = 4;
  std::memcpy(static_cast<char*>(first->getAddress()) + 8, &other, 4);
  area->flushTemplates();
  area->getTemplates();
  EXPECT_EQ(nullptr, area->findTemplate(first.get()));
}

TEST_F(EventsArea, ATemplateThatCannotBeStoredGivesNull) {
  area->getTemplatesArea()->ZEB_Memory_Manager::cleanup();
  EXPECT_EQ(nullptr, area->setEventTemplate(templateOf("text").get()));
  EXPECT_EQ(8, area->getTemplates());
}

TEST_F(EventsArea, ATemplateThatWrapsTheAreaIsStoredAtItsBeginning) {
  area.reset();
  beginWith("ZEBMemorySize 4096\n");
  area = makeArea();
  const auto first = store(std::string(1000, 'a'));
  const auto second = store(std::string(1000, 'b'));
  EXPECT_EQ(first->getAddress(), second->getAddress());
  EXPECT_EQ(32U + second->size(), block("zebcetar").next);
  EXPECT_NE(nullptr, area->findTemplate(second.get()));
  const auto again = store(std::string(1000, 'b'));
  EXPECT_EQ(idOf(*second), idOf(*again));
}

TEST_F(EventsArea, ATemplateLargerThanTheAreaIsTriedForEver) {
  area.reset();
  beginWith("ZEBMemorySize 4096\n");
  area = makeArea();
  const auto tooLarge = templateOf(std::string(3000, 'a'));
  int turns = 0;
  host().script.log = [&](const LogEntry& entry) {
    if (entry.function != "ZEB_Shared_Area::put" || entry.text != "Exit: 0x2") return;
    if (++turns == 20) throw Rethrown{};
  };
  {
    const Tracing on;
    EXPECT_THROW(area->setEventTemplate(tooLarge.get()), Rethrown);
  }
  host().script.log = nullptr;
  store("text");
}

TEST_F(EventsArea, ATemplateThatIsNotOkIsNotStored) {
  failAllocations(2 * 300);
  const auto failed = templateOf(std::string(299, 'a'));
  succeedAgain();
  ASSERT_FALSE(failed->OK());
  EXPECT_EQ(nullptr, area->setEventTemplate(failed.get()));
  EXPECT_EQ(0U, storedTemplates());
}

TEST_F(EventsArea, ThreadsStoreTheSameTemplateOnce) {
  const auto run = [this] {
    for (int i = 0; i < 200; ++i) {
      const auto kind = templateOf("text " + std::to_string(i % 20));
      EXPECT_EQ(kind.get(), area->setEventTemplate(kind.get()));
      advanceClock(1);
    }
  };
  std::thread other(run);
  run();
  other.join();
  EXPECT_EQ(20U, storedTemplates());
}

// --- events ---

TEST_F(EventsArea, APostedEventIsStored) {
  const auto kind = store("text");
  post(*kind, 12);
  ASSERT_EQ(1U, records("zebcedar").size());
  EXPECT_EQ(12, records("zebcedar")[0].threadId());
  EXPECT_EQ(idOf(*kind), records("zebcedar")[0].parent());
  EXPECT_EQ(0, area->postEvent(nullptr));
  EXPECT_EQ(1U, records("zebcedar").size());
}

TEST_F(EventsArea, EventsAreCollectedOnceInOrder) {
  const auto first = store("first");
  const auto second = store("second");
  post(*first, 1);
  post(*second, 2);
  post(*second, 3);
  post(*first, 4);
  EXPECT_EQ((Threads{1, 2, 3, 4}), collect());
  EXPECT_EQ(Threads{}, collect());
  post(*second, 5);
  EXPECT_EQ(Threads{5}, collect());
  EXPECT_EQ(Threads{}, collect());
}

// Somebody posts when the reader begins its walk.
TEST_F(EventsArea, WhatIsCreatedWhileOthersAreCollectedComesWithTheNextCall) {
  const auto kind = store("text");
  for (int i = 1; i <= 17; ++i) post(*kind, i);
  const auto other = makeArea();
  int looks = 0;
  whenEventsAreRead([&] {
    advanceClock(1);
    const auto late = eventOf(*kind, 100 + ++looks);
    EXPECT_EQ(0, other->postEvent(late.get()));
  });
  Threads expected;
  for (int i = 1; i <= 17; ++i) expected.push_back(i);
  EXPECT_EQ(expected, collectTraced());
  EXPECT_EQ(Threads{101}, collectTraced());
  EXPECT_EQ(2, looks);
  host().script.log = nullptr;
  EXPECT_EQ(Threads{102}, collect());
  EXPECT_EQ(Threads{}, collect());
}

// Without a new stamp of the area there is no limit: what is found is returned.
TEST_F(EventsArea, WhatIsPostedInTheSameMillisecondIsReturnedAtOnce) {
  const auto kind = store("text");
  post(*kind, 1);
  const auto other = makeArea();
  const auto late = eventOf(*kind, 2);
  bool posted = false;
  whenEventsAreRead([&] {
    if (posted) return;
    posted = true;
    EXPECT_EQ(0, other->postEvent(late.get()));
  });
  EXPECT_EQ((Threads{1, 2}), collectTraced());
  host().script.log = nullptr;
  post(*kind, 3);
  EXPECT_EQ(Threads{3}, collect());
}

// Its stamp was made before it waited for the area's lock, while others posted.
TEST_F(EventsArea, AnEventThatIsOlderThanTheLastUpdateIsNotPassedOver) {
  const auto kind = store("text");
  advanceClock(1);
  const auto waiting = eventOf(*kind, 1);
  post(*kind, 2);
  EXPECT_EQ(Threads{2}, collect());
  advanceClock(1);
  EXPECT_EQ(0, area->postEvent(waiting.get()));
  EXPECT_EQ(Threads{1}, collect());
  EXPECT_EQ(Threads{}, collect());
}

TEST_F(EventsArea, WhatIsPostedInTheMillisecondOfTheLastCallComesWithTheNextUpdate) {
  const auto kind = store("text");
  post(*kind, 1);
  EXPECT_EQ(Threads{1}, collect());
  EXPECT_EQ(0, area->postEvent(eventOf(*kind, 2).get()));
  EXPECT_EQ(Threads{}, collect());
  post(*kind, 3);
  EXPECT_EQ((Threads{2, 3}), collect());
}

TEST_F(EventsArea, AClockThatStepsBackHidesNoEvent) {
  const auto kind = store("text");
  advanceClock(5000);
  post(*kind, 1);
  EXPECT_EQ(Threads{1}, collect());
  setClock(kNow + 2, 0);
  EXPECT_EQ(0, area->postEvent(eventOf(*kind, 2).get()));
  EXPECT_EQ(Threads{2}, collect());
  EXPECT_EQ(Threads{}, collect());
}

TEST_F(EventsArea, EventsAreCollectedOnceWhileTheRingTurns) {
  area.reset();
  beginWith("ZEBMemorySize 4096\n");
  area = makeArea();
  const auto kind = store("text");
  int posted = 0;
  for (int each = 1; each <= 28; ++each) {
    std::set<int> expected;
    for (int i = 0; i < each; ++i) {
      post(*kind, ++posted);
      expected.insert(posted);
    }
    const Threads collected = collect();
    EXPECT_EQ(std::set<int>(collected.begin(), collected.end()), expected);
    EXPECT_EQ(collected.size(), expected.size());
  }
}

// A slot that a dying writer left.
TEST_F(EventsArea, AClearedEventIsPassedOverAndTheOthersAreCollected) {
  const auto kind = store("text");
  post(*kind, 1);
  advanceClock(1);
  const auto second = eventOf(*kind, 2);
  area->postEvent(second.get());
  post(*kind, 3);
  *static_cast<char*>(second->getAddress()) = 0;
  EXPECT_EQ((Threads{1, 3}), collect());
  *static_cast<char*>(second->getAddress()) = 'R';
  post(*kind, 4);
  EXPECT_EQ((Threads{2, 4}), collect());
}

TEST_F(EventsArea, ADamagedEventEndsTheWalkAndTheStampGoesOn) {
  const auto kind = store("text");
  post(*kind, 1);
  advanceClock(1);
  const auto second = eventOf(*kind, 2);
  area->postEvent(second.get());
  std::memset(second->getAddress(), 'X', 4);
  EXPECT_EQ(Threads{1}, collect());
  const Tracing on;
  EXPECT_EQ(Threads{}, collect());
  EXPECT_EQ(0U, entriesOf("ZEB_Shared_Area::read"));
}

// The reader has its templates when another process stores one more and posts an event of it.
TEST_F(EventsArea, ATemplateThatIsStoredWhileEventsAreCollectedIsFound) {
  const auto kind = store("text");
  post(*kind, 1);
  const auto other = makeArea();
  bool posted = false;
  std::unique_ptr<ZEB_EVTR> second;
  whenEventsAreRead([&] {
    if (posted) return;
    posted = true;
    second = templateOf("second");
    other->setEventTemplate(second.get());
    EXPECT_EQ(0, other->postEvent(eventOf(*second, 2).get()));
  });
  EXPECT_EQ((Threads{1, 2}), collectTraced());
}

TEST_F(EventsArea, WithoutANewUpdateTheEventsAreNotRead) {
  const auto kind = store("text");
  post(*kind, 1);
  collect();
  const Tracing on;
  EXPECT_EQ(Threads{}, collect());
  EXPECT_EQ(0U, entriesOf("ZEB_Shared_Area::read"));
}

TEST_F(EventsArea, EventsOfThePastAreNotCollected) {
  const auto kind = store("text");
  post(*kind, 1);
  const auto late = makeArea();
  EXPECT_EQ(Threads{}, collectFrom(*late));
  post(*kind, 2);
  EXPECT_EQ(Threads{2}, collectFrom(*late));
}

TEST_F(EventsArea, EventsOfTheMillisecondOfTheBeginningAreLost) {
  const auto kind = store("text");
  const auto late = makeArea();
  const auto event = eventOf(*kind, 1);
  area->postEvent(event.get());
  EXPECT_EQ(Threads{}, collectFrom(*late));
  post(*kind, 2);
  EXPECT_EQ(Threads{2}, collectFrom(*late));
}

TEST_F(EventsArea, AnEventWithoutTemplateEndsTheCollection) {
  const auto kind = store("text");
  post(*kind, 1);
  post(*templateOf("nowhere"), 2);
  post(*kind, 3);
  EXPECT_EQ(Threads{1}, collect());
  EXPECT_EQ(Threads{}, collect());
  post(*kind, 4);
  EXPECT_EQ(Threads{4}, collect());
}

TEST_F(EventsArea, TemplatesOfOthersAreJoined) {
  const auto other = makeArea();
  advanceClock(1);
  const auto kind = store("text");
  post(*kind, 8);
  EXPECT_EQ(Threads{8}, collectFrom(*other));
}

TEST_F(EventsArea, CollectingReportsMissingMemory) {
  const auto kind = store("text");
  post(*kind, 1);
  post(*kind, 2);
  failAllocations(sizeof(ZEB_EVIR), 1);
  Events out;
  EXPECT_EQ(6, area->getEvents(&out));
  EXPECT_EQ(1U, out.entries());
  EXPECT_EQ(Texts{message1(kUnit, "ZEB_Events_Area::getEvents")}, messageLines());
  succeedAgain();
  EXPECT_EQ(Threads{2}, collect());
}

TEST_F(EventsArea, CollectingReportsMissingMemoryForWhatWasCollected) {
  const auto kind = store("text");
  post(*kind, 1);
  failAllocations(16 * (32768 / 144 + 2));
  Events out;
  EXPECT_EQ(6, area->getEvents(&out));
  EXPECT_EQ(Texts{message1(kUnit, "ZEB_Events_Area::getEvents")}, messageLines());
  succeedAgain();
  EXPECT_EQ(Threads{1}, collect());
}

TEST_F(EventsArea, EventsThatCouldNotBeReadForWantOfMemoryComeTheNextTime) {
  const auto kind = store("text");
  post(*kind, 1);
  failAllocations(sizeof(ZEB_EVDR), 0);
  Events out;
  EXPECT_EQ(6, area->getEvents(&out));
  succeedAgain();
  EXPECT_EQ(Threads{1}, collect());
}

TEST_F(EventsArea, ARecordOfAnotherTypeAmongEventsEndsTheWalk) {
  const auto kind = store("text");
  advanceClock(1);
  const auto event = eventOf(*kind, 1);
  area->postEvent(event.get());
  post(*kind, 2);
  const std::uint32_t other = 6;
  std::memcpy(static_cast<char*>(event->getAddress()) + 8, &other, 4);
  Events out;
  EXPECT_EQ(0, area->getEvents(&out));
  EXPECT_TRUE(out.isEmpty());
}

// --- trace ---

TEST_F(EventsArea, EveryOperationTraces) {
  const auto kind = templateOf("text");
  const auto event = eventOf(*kind);
  Events out;
  const Tracing on;
  {
    ZEB_Events_Area traced(ZEB_String("UUID1"));
    traced.init(segment.get());
    traced.setEventTemplate(kind.get());
    traced.postEvent(event.get());
    traced.getTemplates();
    traced.getEvents(&out);
    const void* const found = traced.findTemplate(kind.get());
    expectTraced(kUnit, {{"ZEB_Events_Area::findTemplate", exitOf(found)}});
    traced.findTemplate(event.get());
    EXPECT_EQ(3U, entriesOf("ZEB_Events_Area::findTemplate")) << "one of them to set the template";
    const void* const templates = traced.getTemplatesArea();
    expectTraced(kUnit, {{"ZEB_Events_Area::getTemplatesArea", exitOf(templates)},
                         {"ZEB_Events_Area::OK", "Exit: 0x1"}});
    traced.getStatus();
    traced.dump();
  }
  expectTraced(kUnit, {{"ZEB_Events_Area::ZEB_Events_Area", "Exit"},
                       {"ZEB_Events_Area::init", "Exit"},
                       {"ZEB_Events_Area::setEventTemplate", exitOf(kind.get())},
                       {"ZEB_Events_Area::postEvent", "Exit: 0x0"},
                       {"ZEB_Events_Area::getTemplates", "Exit: 0x0"},
                       {"ZEB_Events_Area::getEvents", "Exit: 0x0"},
                       {"ZEB_Events_Area::getStatus", "Exit: 0x0"},
                       {"ZEB_Events_Area::flushTemplates", "Exit"},
                       {"ZEB_Events_Area::dump", "Exit"},
                       {"ZEB_Events_Area::cleanup", "Exit"},
                       {"ZEB_Events_Area::~ZEB_Events_Area", "Exit"}});
}

TEST_F(EventsArea, TracesTheMomentOfItsBeginning) {
  setClock(kNow + 3, 44);
  const Tracing on;
  makeArea();
  const std::vector<Bytes> dumps = dumpsTitled("eventsLastUpdate");
  ASSERT_EQ(1U, dumps.size());
  ASSERT_EQ(8U, dumps[0].size());
  EXPECT_EQ(kNow + 3, unsignedAt(dumps[0], 0));
  EXPECT_EQ(44U, unsignedAt(dumps[0], 4));
}

TEST_F(EventsArea, DumpsBothAreasWhileTracing) {
  host().forget();
  area->dump();
  EXPECT_TRUE(host().log().empty());
  const Tracing on;
  area->dump();
  Texts dumped;
  for (const LogEntry& entry : host().trace())
    if (entry.text.starts_with("Event") || entry.text.starts_with("Area"))
      dumped.push_back(entry.text);
  EXPECT_EQ((Texts{"Event templates", "Area : /tmp/UUID1.zebcetar", "Event data",
                   "Area : /tmp/UUID1.zebcedar"}),
            dumped);
  EXPECT_EQ((Texts{"Event templates", "Event data"}), ownTextsOf(kUnit, "ZEB_Events_Area::dump"));
  host().forget();
  area->cleanup();
  area->dump();
  EXPECT_EQ(Texts{"Shared Area Unavailable"}, ownTextsOf(kUnit, "ZEB_Events_Area::dump"));
}

TEST_F(EventsArea, DumpsNothingThatIsNotUsable) {
  const Texts unavailable{"Shared Area Unavailable"};
  ZEB_Events_Area fresh(ZEB_String("UUID1"));
  const Tracing on;
  fresh.dump();
  EXPECT_EQ(unavailable, ownTextsOf(kUnit, "ZEB_Events_Area::dump"));
  area->getTemplatesArea()->ZEB_Memory_Manager::cleanup();
  host().forget();
  area->dump();
  EXPECT_EQ(unavailable, ownTextsOf(kUnit, "ZEB_Events_Area::dump"));
  EXPECT_EQ(0U, entriesOf("ZEB_Shared_Area::dump"));
}

}  // namespace

}  // namespace events_area_test
