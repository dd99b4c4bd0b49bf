// SPDX-License-Identifier: Apache-2.0
// The two areas that start again at their beginning: event data and event templates.
#include <cstring>

#include "store/events_data_area.h"
#include "store/events_template_area.h"
#include "tests/support/ipc_objects.h"
#include "tests/unit/store/store_test.h"

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

// A writer of another process overwrites the slot behind the next position while it is read.
TEST_F(WrappingArea, ARecordThatChangesWhileItIsCopiedIsNotRebuilt) {
  for (int i = 0; i < static_cast<int>(kEvents) + 3; ++i) post(i);
  ZEB_Events_Data_Area other(ZEB_String("UUID1"));
  other.init(segment.get());
  int looks = 0;
  host().script.log = [&](const LogEntry& entry) {
    if (entry.function != "ZEB_Memory_Manager::getNextPosition" || entry.text != "Entry") return;
    // The second look at the position comes after the copy.
    if (++looks == 2) std::memset(at(64 + 3 * kEvent + 100), 'x', 1);
  };
  Records read;
  {
    const Tracing on;
    EXPECT_EQ(1, other.read(&read));
  }
  EXPECT_EQ(2, looks);
  EXPECT_EQ(3U, read.entries());
  Records again;
  EXPECT_EQ(0, other.read(&again));
  EXPECT_EQ(kEvents, again.entries());
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
