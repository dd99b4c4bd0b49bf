// SPDX-License-Identifier: Apache-2.0
// The two areas that start again at their beginning: event data and event templates.
#include <sys/mman.h>

#include <algorithm>
#include <csignal>
#include <cstring>
#include <functional>
#include <set>

#include "base/thread_sanitizer.h"
#include "records/message_descriptor.h"
#include "store/events_data_area.h"
#include "store/events_template_area.h"
#include "tests/support/ipc_objects.h"
#include "tests/support/stepping_memory.h"
#include "tests/unit/store/store_test.h"

namespace wrapping_area_test {

using namespace support;

namespace {

constexpr std::uint32_t kEvent = 144;
constexpr std::uint32_t kEvents = 28;  // that fit into 4064 bytes

using Records = OwnedRecords<ZEB_Ordered_Record_Set>;

class WrappingArea : public StoreTest {
 protected:
  void SetUp() override {
    StoreTest::SetUp();
    beginWith("ZEBMemorySize 4096\n");
    data = std::make_unique<ZEB_Events_Data_Area>(ZEB_String("UUID1"));
    data->init(segment.get());
    templates = std::make_unique<ZEB_Events_Template_Area>(ZEB_String("UUID1"));
    templates->init(segment.get());
  }

  std::unique_ptr<ZEB_EVDR> post(int threadId) {
    auto event = eventOf(*kind, threadId);
    EXPECT_EQ(0, data->put(event.get()));
    return event;
  }

  Block dataBlock() const { return block("zebcedar"); }
  Block templateBlock() const { return block("zebcetar"); }

  std::unique_ptr<ZEB_Events_Data_Area> data;
  std::unique_ptr<ZEB_Events_Template_Area> templates;
  std::unique_ptr<ZEB_EVTR> kind = templateOf("text");
};

TEST_F(WrappingArea, HasItsNameItsEyecatcherAndItsType) {
  EXPECT_STREQ("/tmp/UUID1.zebcedar", data->getAreaName());
  EXPECT_EQ("zebcedar", std::string(data->getEyecatcher(), 8));
  EXPECT_EQ(2, data->getType());
  EXPECT_EQ(4096U, dataBlock().size);
  EXPECT_STREQ("/tmp/UUID1.zebcetar", templates->getAreaName());
  EXPECT_EQ("zebcetar", std::string(templates->getEyecatcher(), 8));
  EXPECT_EQ(3, templates->getType());
  EXPECT_EQ(4096U, templateBlock().size);
}

TEST_F(WrappingArea, TakesItsOwnRecordTypeOnly) {
  const auto event = eventOf(*kind);
  ZEB_STIR statistics(1);
  advanceClock(50);
  const Bytes before = bytes();
  EXPECT_EQ(0, data->put(nullptr));
  EXPECT_EQ(0, data->put(kind.get()));
  EXPECT_EQ(0, data->put(&statistics));
  EXPECT_EQ(0, templates->put(nullptr));
  EXPECT_EQ(0, templates->put(event.get()));
  EXPECT_EQ(0, templates->put(&statistics));
  EXPECT_EQ(before, bytes());
  EXPECT_EQ(0, data->put(event.get()));
  EXPECT_EQ(0, templates->put(kind.get()));
  EXPECT_EQ(32U + kEvent, dataBlock().next);
  EXPECT_EQ(32U + kind->size(), templateBlock().next);
}

TEST_F(WrappingArea, IsNotUsableBeforeItIsBound) {
  ZEB_Events_Data_Area unboundData(ZEB_String("UUID2"));
  ZEB_Events_Template_Area unboundTemplates(ZEB_String("UUID2"));
  const auto event = eventOf(*kind);
  EXPECT_EQ(8, unboundData.put(event.get()));
  EXPECT_EQ(8, unboundTemplates.put(kind.get()));
}

TEST_F(WrappingArea, TheNewestOverwriteTheOldest) {
  for (std::uint32_t i = 0; i < kEvents; ++i) post(static_cast<int>(i));
  EXPECT_EQ(32U + kEvents * kEvent, dataBlock().next);
  const auto wrapped = post(1000);
  EXPECT_EQ(at(64), wrapped->getAddress());
  EXPECT_EQ(32U + kEvent, dataBlock().next);
  EXPECT_EQ(32U + kEvents * kEvent, dataBlock().last);
  const std::vector<StoredRecord> stored = records("zebcedar");
  ASSERT_EQ(kEvents, stored.size());
  EXPECT_EQ(1000, stored[0].threadId());
  EXPECT_EQ(1, stored[1].threadId());
  post(1001);
  EXPECT_EQ(1001, records("zebcedar")[1].threadId());
  EXPECT_EQ(1, semaphoreOf("/tmp/UUID1.zebcedar.zebmutx")->value);
}

TEST_F(WrappingArea, ARecordThatEndsExactlyAtTheEndDoesNotWrap) {
  const std::size_t empty = templateOf("")->size();
  const auto whole = templateOf(std::string((4064 - empty) / 2, 'a'));
  ASSERT_EQ(4064U, whole->size());
  EXPECT_EQ(0, templates->put(whole.get()));
  EXPECT_EQ(4096U, templateBlock().next);
  const auto next = templateOf("b");
  EXPECT_EQ(0, templates->put(next.get()));
  EXPECT_EQ(whole->getAddress(), next->getAddress());
  EXPECT_EQ(32U + next->size(), templateBlock().next);
  EXPECT_EQ(4096U, templateBlock().last);
}

TEST_F(WrappingArea, WrapsUnderTheLock) {
  for (std::uint32_t i = 0; i < kEvents; ++i) post(0);
  std::vector<int> values;
  bool wrapping = false;
  bool listening = true;
  host().script.log = [&](const LogEntry& entry) {
    if (!listening) return;
    listening = false;
    if (entry.function == "ZEB_Shared_Area::put" && entry.text == "Exit: 0x2") wrapping = true;
    if (wrapping && entry.function == "ZEB_Memory_Manager::setNextPosition" &&
        entry.text == "Entry")
      values.push_back(semaphoreOf("/tmp/UUID1.zebcedar.zebmutx")->value);
    listening = true;
  };
  const Tracing on;
  post(1);
  EXPECT_EQ((std::vector<int>{0, 0}), values);
}

// Two writers find the area full; the one that comes second must not wrap it again.
TEST_F(WrappingArea, IsNotWrappedTwice) {
  for (std::uint32_t i = 0; i < kEvents; ++i) post(0);
  ZEB_Events_Data_Area other(ZEB_String("UUID1"));
  other.init(segment.get());
  const auto first = eventOf(*kind, 71);
  bool overtaken = false;
  host().script.log = [&](const LogEntry& entry) {
    if (overtaken || entry.function != "ZEB_Shared_Area::put" || entry.text != "Exit: 0x2") return;
    overtaken = true;
    EXPECT_EQ(0, other.put(first.get()));
  };
  const Tracing on;
  const auto second = post(72);
  ASSERT_TRUE(overtaken);
  EXPECT_EQ(at(64), first->getAddress());
  EXPECT_EQ(at(64 + kEvent), second->getAddress());
  EXPECT_EQ(71, records("zebcedar")[0].threadId());
  EXPECT_EQ(72, records("zebcedar")[1].threadId());
}

// --- writer and reader stop ---

// An area that calls back before each step of a copy, in either direction.
template <class Area>
class Stepping : public Area {
 public:
  Stepping(ZEB_Shared_Memory* segment, std::size_t grain)
      : Area(ZEB_String("UUID1")), grain_(grain) {
    this->init(segment);
  }

  std::function<void()> step;
  Order order = Order::forward;

 protected:
  void store(std::uint8_t* place, std::span<const std::uint8_t> record) override {
    SteppingMemory memory = steps();
    event_bytes::overwrite(memory, place, record, this->oldBytes(place));
  }
  event_bytes::Look look(std::span<const std::uint8_t> place,
                         std::span<std::uint8_t> copy) override {
    SteppingMemory memory = steps();
    return event_bytes::find(memory, place, copy);
  }

 private:
  SteppingMemory steps() {
    return SteppingMemory(
        [this] {
          if (step) step();
        },
        order, grain_);
  }

  std::size_t grain_;
};

// Every field of event n tells n. All are of one millisecond.
class Stopped : public WrappingArea {
 protected:
  void SetUp() override {
    WrappingArea::SetUp();
    kinds.push_back(std::move(kind));
  }

  std::unique_ptr<ZEB_EVDR> makeEvent() {
    Bytes descriptor(sizeof(MessageDescriptor), static_cast<std::uint8_t>(events.size()));
    MessageDescriptor filled;
    std::memcpy(&filled, descriptor.data(), sizeof filled);
    auto event = std::make_unique<ZEB_EVDR>(&filled, static_cast<int>(events.size()));
    event->setParent(kinds[0]->getRecordId());
    events.push_back(storedForm(*event));
    return event;
  }
  std::unique_ptr<ZEB_EVTR> makeTemplate() {
    const std::size_t n = templateForms.size();
    auto made = templateOf(std::string(1 + n * 37 % 200, n % 3 == 0 ? 'R' : 'a'));
    templateForms.push_back(storedForm(*made));
    return made;
  }
  void post(ZEB_Events_Data_Area& area, int count) {
    while (count-- > 0) EXPECT_EQ(0, area.put(makeEvent().get()));
  }
  void store(ZEB_Events_Template_Area& area, int count) {
    while (count-- > 0) EXPECT_EQ(0, area.put(makeTemplate().get()));
  }

  static Bytes storedForm(ZEB_Record& record) {
    Bytes form(record.size());
    record.put(form.data());
    record.setAddress(nullptr);
    return form;
  }

  // How many records are read: whole ones that somebody wrote, each once.
  static std::size_t readFrom(ZEB_Shared_Area& area, const std::vector<Bytes>& written,
                              int mayEnd) {
    Records read;
    const int code = area.ZEB_Shared_Area::walk(&read, [](const ZEB_Record&) { return true; }).code;
    EXPECT_TRUE(code == 0 || code == mayEnd) << code;
    std::set<Bytes> once;
    for (ZEB_Record* record : read) {
      const Bytes form = storedForm(*record);
      EXPECT_NE(std::find(written.begin(), written.end(), form), written.end()) << "a mixed record";
      EXPECT_TRUE(once.insert(form).second) << "a record twice";
    }
    return read.entries();
  }

  // Those that a template that is being written does not hide.
  std::size_t recordsBeforeNext() const {
    Block upToNext = templateBlock();
    upToNext.last = upToNext.next;
    return recordsOf(bytes(), upToNext).size();
  }

  std::vector<std::unique_ptr<ZEB_EVTR>> kinds;
  std::vector<Bytes> events;
  std::vector<Bytes> templateForms;
};

TEST_F(Stopped, AtEachStepOfAnEventsWriterTheOthersAreRead) {
  Stepping<ZEB_Events_Data_Area> writer(segment.get(), 1);
  for (const Order order : kOrders) {
    post(*data, kEvents + 3);
    writer.order = order;
    int steps = 0;
    writer.step = [&] {
      ++steps;
      EXPECT_GE(readFrom(*data, events, 0), kEvents - 1);
    };
    post(writer, 2);
    EXPECT_EQ(2 * (1 + 143 + 1), steps);
    EXPECT_EQ(kEvents, readFrom(*data, events, 0));
    ASSERT_FALSE(HasFailure());
  }
}

TEST_F(Stopped, AtEachStepOfATemplatesWriterThoseBeforeItAreRead) {
  Stepping<ZEB_Events_Template_Area> writer(segment.get(), 3);
  for (const Order order : kOrders) {
    store(*templates, 40);
    writer.order = order;
    std::size_t least = 0;
    writer.step = [&] { EXPECT_GE(readFrom(*templates, templateForms, 1), least); };
    for (int i = 0; i < 20; ++i) {
      const std::size_t before = readFrom(*templates, templateForms, 1);
      least = templateBlock().next + 600 < templateBlock().size ? recordsBeforeNext() : 0;
      EXPECT_GE(before, least);
      store(writer, 1);
    }
    ASSERT_FALSE(HasFailure());
  }
}

// For a moment, for a whole turn, and for a little more.
TEST_F(Stopped, AnEventsReaderTakesNoMixtureAfterAnyStep) {
  Stepping<ZEB_Events_Data_Area> reader(segment.get(), 24);
  post(*data, kEvents);
  const int turn = static_cast<int>(kEvents);
  for (const Order order : kOrders) {
    reader.order = order;
    int steps = 0;
    reader.step = [&] { ++steps; };
    readFrom(reader, events, 0);
    const int all = steps;
    for (const int posted : {1, turn, turn + 1}) {
      for (int stop = 0; stop < all; ++stop) {
        const std::size_t kept = std::min(std::size_t{3} * kEvents, events.size());
        events.erase(events.begin(), events.end() - static_cast<long>(kept));
        steps = 0;
        reader.step = [&] {
          if (steps++ == stop) post(*data, posted);
        };
        EXPECT_EQ(kEvents, readFrom(reader, events, 0));
      }
      ASSERT_FALSE(HasFailure());
    }
  }
}

TEST_F(Stopped, ATemplatesReaderTakesNoMixtureAfterAnyStep) {
  Stepping<ZEB_Events_Template_Area> reader(segment.get(), 24);
  store(*templates, 40);
  for (const int stored : {1, 5, 12, 25}) {
    int steps = 0;
    reader.step = [&] { ++steps; };
    readFrom(reader, templateForms, 1);
    for (int stop = 0; stop < steps; ++stop) {
      int step = 0;
      reader.step = [&] {
        if (step++ == stop) store(*templates, stored);
      };
      readFrom(reader, templateForms, 1);
      ASSERT_FALSE(HasFailure());
    }
  }
}

// While it is read, the area is filled to its end and begun again.
TEST_F(Stopped, AWrapWhileTheAreaIsReadCostsNoWholeRecord) {
  post(*data, kEvents - 2);
  Stepping<ZEB_Events_Data_Area> reader(segment.get(), 1000);
  for (int stop = 0; stop < 100; stop += 7) {
    int step = 0;
    reader.step = [&] {
      if (step++ == stop) post(*data, 5);
    };
    EXPECT_GE(readFrom(reader, events, 0), kEvents - 2);
    ASSERT_FALSE(HasFailure());
  }
}

// A writer that dies after some of its steps, as its lock comes free.
TEST_F(Stopped, WhatADeadWriterLeftIsPassedOverAndHealedByTheNextEvent) {
  Stepping<ZEB_Events_Data_Area> writer(segment.get(), 1);
  for (int stop = 1; stop <= 144; stop += 13) {
    post(*data, kEvents + 3);
    int step = 0;
    writer.step = [&] {
      if (step++ == stop) throw Rethrown{};
    };
    EXPECT_THROW(writer.put(makeEvent().get()), Rethrown);
    writer.unlock();
    EXPECT_EQ(kEvents - 1, readFrom(*data, events, 0));
    post(*data, 1);
    EXPECT_EQ(kEvents, readFrom(*data, events, 0));
    ASSERT_FALSE(HasFailure());
  }
}

TEST_F(Stopped, WhereADeadWriterWasTheTemplatesEndUntilTheNextOne) {
  Stepping<ZEB_Events_Template_Area> writer(segment.get(), 1);
  const auto first = templateOf(std::string(100, 'a'));
  const auto second = templateOf(std::string(100, 'b'));
  const auto later = templateOf(std::string(1600, 'c'));
  for (ZEB_EVTR* made : {first.get(), second.get(), later.get()}) {
    templateForms.push_back(storedForm(*made));
    EXPECT_EQ(0, templates->put(made));
  }
  const auto dying = templateOf(std::string(100, 'd'));
  int step = 0;
  writer.step = [&] {
    if (++step == 60) throw Rethrown{};
  };
  EXPECT_THROW(writer.put(dying.get()), Rethrown);
  writer.unlock();
  Records none;
  const auto walked = templates->walk(&none, [](const ZEB_Record&) { return true; });
  EXPECT_EQ(1, walked.code);
  EXPECT_TRUE(walked.writing);
  EXPECT_TRUE(none.isEmpty());
  const auto healing = templateOf(std::string(100, 'e'));
  templateForms.push_back(storedForm(*healing));
  EXPECT_EQ(0, templates->put(healing.get()));
  EXPECT_EQ(3U, readFrom(*templates, templateForms, 0));
}

// A writer stays in the middle of its work while 100 looks are taken, and holds the lock.
TEST_F(Stopped, AReaderTakesNoLockAndGivesUpAfterAHundredLooks) {
  post(*data, kEvents + 3);
  Stepping<ZEB_Events_Data_Area> writer(segment.get(), 1000);
  Stepping<ZEB_Events_Data_Area> reader(segment.get(), 1000);
  int looks = 0;
  int atWriter = 0;
  reader.step = [&] { ++looks; };
  writer.step = [&] {
    EXPECT_EQ(0, semaphoreOf("/tmp/UUID1.zebcedar.zebmutx")->value);
    looks = 0;
    readFrom(reader, events, 0);
    atWriter = std::max(atWriter, looks);
  };
  post(writer, 1);
  EXPECT_EQ(static_cast<int>(kEvents - 1) * 5 + 100 * 2, atWriter);
}

// --- the area's own copies, stopped at a page ---

// Calls back when the page is touched, and lets it be touched from then on.
class WatchedPage {
 public:
  WatchedPage(void* page, int access, std::function<void()> touched)
      : page_(page), touched_(std::move(touched)) {
    watched = this;
    struct sigaction action {};
    action.sa_sigaction = onFault;
    action.sa_flags = SA_SIGINFO | SA_NODEFER;
    sigaction(SIGSEGV, &action, &before_);
    mprotect(page_, kBytes, access);
  }
  ~WatchedPage() {
    mprotect(page_, kBytes, PROT_READ | PROT_WRITE);
    sigaction(SIGSEGV, &before_, nullptr);
  }
  WatchedPage(const WatchedPage&) = delete;
  WatchedPage& operator=(const WatchedPage&) = delete;

  static constexpr std::size_t kBytes = 4096;

 private:
  static inline WatchedPage* watched = nullptr;

  static void onFault(int /*signal*/, siginfo_t* info, void* /*context*/) {
    const auto offset = static_cast<char*>(info->si_addr) - static_cast<char*>(watched->page_);
    if (offset < 0 || offset >= static_cast<long>(kBytes)) {  // the next fault ends the test
      sigaction(SIGSEGV, &watched->before_, nullptr);
      return;
    }
    mprotect(watched->page_, kBytes, PROT_READ | PROT_WRITE);
    watched->touched_();
  }

  void* page_;
  std::function<void()> touched_;
  struct sigaction before_ {};
};

// The ring is full; its slot 56 begins 64 bytes in front of a page of the segment.
class AtAPage : public Stopped {
 protected:
  static constexpr int kFull = (12288 - 32) / 144;
  static constexpr int kSlot = 56;

  void SetUp() override {
    Stopped::SetUp();
    data.reset();
    templates.reset();
    beginWith("ZEBMemorySize 12288\n");
    data = std::make_unique<ZEB_Events_Data_Area>(ZEB_String("UUID1"));
    data->init(segment.get());
    slot = static_cast<std::uint8_t*>(at(64 + 144 * kSlot));
    page = at(8192);
    ASSERT_EQ(slot + 64, page);
    ASSERT_EQ(0U, reinterpret_cast<std::uintptr_t>(page) % WatchedPage::kBytes);
    post(*data, kFull + kSlot);
  }

  std::uint8_t* slot = nullptr;
  void* page = nullptr;
};

TEST_F(AtAPage, TheWriterHasClearedTheFirstByteAndSetsItLast) {
  const auto event = makeEvent();
  int stops = 0;
  const WatchedPage watched(page, PROT_READ, [&] {
    ++stops;
    EXPECT_EQ(0, *slot);
  });
  EXPECT_EQ(0, data->put(event.get()));
  EXPECT_EQ(1, stops);
  EXPECT_EQ('R', *slot);
}

TEST_F(AtAPage, TheReaderLooksAgainAndFindsTheNewRecord) {
#ifdef ZEB_THREAD_SANITIZER
  GTEST_SKIP() << "the thread sanitizer lets no signal handler allocate";
#endif
  ZEB_Events_Data_Area other(ZEB_String("UUID1"));
  other.init(segment.get());
  int stops = 0;
  const WatchedPage watched(page, PROT_NONE, [&] {
    ++stops;
    post(other, 1);
  });
  EXPECT_EQ(static_cast<std::size_t>(kFull), readFrom(*data, events, 0));
  EXPECT_EQ(1, stops);
}

// There is no guard. Each turn ends without the lock.
TEST_F(WrappingArea, ARecordLargerThanTheAreaIsTriedForEver) {
  const std::size_t empty = templateOf("")->size();
  const auto tooLarge = templateOf(std::string((4064 - empty) / 2 + 1, 'a'));
  ASSERT_EQ(4066U, tooLarge->size());
  post(1);
  int turns = 0;
  std::vector<int> values;
  host().script.log = [&](const LogEntry& entry) {
    if (entry.function != "ZEB_Shared_Area::put" || entry.text != "Exit: 0x2") return;
    values.push_back(semaphoreOf("/tmp/UUID1.zebcetar.zebmutx")->value);
    if (++turns == 20) throw Rethrown{};
  };
  const Tracing on;
  EXPECT_THROW(templates->put(tooLarge.get()), Rethrown);
  EXPECT_EQ(20, turns);
  EXPECT_EQ(std::vector<int>(20, 1), values);
  EXPECT_TRUE(messageLines().empty());
}

TEST_F(WrappingArea, Traces) {
  const auto event = eventOf(*kind);
  const Tracing on;
  {
    ZEB_Events_Data_Area area(ZEB_String("UUID1"));
    area.getType();
    area.put(event.get());
    ZEB_Events_Template_Area other(ZEB_String("UUID1"));
    other.getType();
    other.put(nullptr);
  }
  expectTraced("zebcedar", {{"ZEB_Events_Data_Area::ZEB_Events_Data_Area", "Exit"},
                            {"ZEB_Events_Data_Area::put", "Exit: 0x8"},
                            {"ZEB_Events_Data_Area::getType", "Exit: 0x2"}});
  expectTraced("zebcetar", {{"ZEB_Events_Template_Area::ZEB_Events_Template_Area", "Exit"},
                            {"ZEB_Events_Template_Area::put", "Exit: 0x0"},
                            {"ZEB_Events_Template_Area::getType", "Exit: 0x3"}});
  host().forget();
  data->put(nullptr);
  EXPECT_EQ((Texts{"Entry", "Exit: 0x0"}), textsOf("zebcedar", "ZEB_Events_Data_Area::put"));
  data->put(event.get());
  templates->put(kind.get());
  EXPECT_EQ("Exit: 0x0", textsOf("zebcetar", "ZEB_Events_Template_Area::put").back());
}

}  // namespace

}  // namespace wrapping_area_test
