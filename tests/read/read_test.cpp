// SPDX-License-Identifier: Apache-2.0
// The C interface of the reader library, as programs of others call it.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <fstream>
#include <memory>
#include <new>
#include <thread>

#include "agent/reader/damage.h"
#include "tests/read/walk.h"
#include "tests/support/broken.h"
#include "tests/support/image.h"
#include "tests/support/live_segment.h"

namespace {

// So many allocations succeed, then all fail; negative: none fails.
thread_local long allocationsLeft = -1;

void* allocate(std::size_t bytes) {
  if (allocationsLeft == 0) return nullptr;
  if (allocationsLeft > 0) --allocationsLeft;
  return std::malloc(bytes == 0 ? 1 : bytes);
}

}  // namespace

void* operator new(std::size_t bytes) {
  void* const at = allocate(bytes);
  if (at == nullptr) throw std::bad_alloc();
  return at;
}
void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept {
  return allocate(bytes);
}
void operator delete(void* at) noexcept {
  std::free(at);
}
void operator delete(void* at, std::size_t) noexcept {
  std::free(at);
}

namespace {

using Reader = std::unique_ptr<zebread_reader, void (*)(zebread_reader*)>;
using Snapshot = std::unique_ptr<zebread_snapshot, void (*)(zebread_snapshot*)>;

Reader opened(bool events = false) {
  zebread_reader* reader = nullptr;
  EXPECT_EQ(ZEBREAD_OK, zebread_open(&reader));
  EXPECT_EQ(ZEBREAD_OK, zebread_set_directory(reader, "/tmp"));
  EXPECT_EQ(ZEBREAD_OK, zebread_set_events(reader, events));
  return {reader, zebread_close};
}

Snapshot look(const Reader& reader) {
  zebread_snapshot* snapshot = nullptr;
  EXPECT_EQ(ZEBREAD_OK, zebread_look(reader.get(), &snapshot)) << zebread_error_text(reader.get());
  return {snapshot, zebread_snapshot_free};
}

const zebread_broker* first(const Snapshot& snapshot) {
  return zebread_snapshot_broker(snapshot.get(), 0);
}

std::size_t events(const Snapshot& snapshot) {
  return zebread_broker_event_count(first(snapshot));
}

std::size_t brokers(const Snapshot& snapshot) {
  return zebread_snapshot_broker_count(snapshot.get());
}

}  // namespace

TEST(ReadingInC, EveryValueOfABrokerIsTold) {
  const LiveSegment live("1-2-3", image::ordersAfter(1));
  const Snapshot snapshot = look(opened(true));
  EXPECT_EQ(
      "snapshot \"/tmp/\"\n"
      "broker \"BRK1\" \"1-2-3\" \"/tmp/1-2-3.zebcshme\" 7 \"noProcess\" \"no process has its "
      "shared "
      "memory attached: all of them were killed. The figures are the last ones; starting the "
      "broker "
      "goes on with them\" 1754707199 12320 0 \"root\" 0\n"
      "area \"statistics\" 4096 508 0 0\n"
      "area \"eventTemplates\" 4096 146 0 0\n"
      "area \"eventData\" 4096 176 0 0\n"
      "group \"orders\" \"group-uuid\" 1234 0 03000000E8030000020000000C000000\n"
      "flow \"Fulfil\" 0 04000000E8030000030000000D000000\n"
      "node \"Reserve\" 1 \"input\" \"sub\" 0 05000000E8030000040000000E000000 0\n"
      "  0: 0 3\n"
      "  1: 0 600\n"
      "  2: 0 100\n"
      "  3: 0 300\n"
      "  4: 0 45\n"
      "  5: 0 10\n"
      "  6: 0 20\n"
      "  7: 0 9\n"
      "  8: 0 2\n"
      "  9: 0 4\n"
      "  10: 0 1754707200\n"
      "  11: 0 1754707216\n"
      "  12: 3 -77\n"
      "  0 06000000E8030000050000000F000000\n"
      "event 1 1754707201 1000001 08000000E80300000100000001000000 7 "
      "A0A1A2A3A4A5A6A7A8A9AAABACADAEAFB0B1B2B3B4B5B6B7 "
      "000000000000000000000000000000000000000000000000 6 \"order-entry\" \"20261121\" "
      "\"04093112\" "
      "\"orders\" \"Fulfil\" \"Reserve\" 1 \"seen\" 07000000F40100000100000001000000\n",
      walk(snapshot.get()));
}

TEST(ReadingInC, ANumberThatCannotBeReadIsNotZeroNorAbsent) {
  const std::string digits = "x";
  image::Block tree{.eyecatcher = "zebcstar", .contents = {}};
  tree.add(image::broker(image::kBroker, u"1-2-3", u"BRK1"));
  tree.add(image::group(image::kGroup, image::kBroker, u"orders", 1));
  tree.add(image::flow(image::kFlow, image::kGroup, u"Fulfil"));
  tree.add(image::node(image::kNode, image::kFlow, u"Reserve", 1));
  tree.add(image::statistics(image::kStatistics, image::kNode, {.count = digits, .first = 0}));
  const LiveSegment live("1-2-3", image::segment({tree}));
  const Snapshot snapshot = look(opened());
  EXPECT_EQ(ZEBREAD_STATE_DAMAGED, zebread_broker_state(first(snapshot)));
  EXPECT_EQ(1U, zebread_broker_damage_count(first(snapshot)));
  const zebread_flow* const flow = zebread_group_flow(zebread_broker_group(first(snapshot), 0), 0);
  std::int64_t value = -1;
  const zebread_node* const node = zebread_flow_node(flow, 0);
  EXPECT_EQ(ZEBREAD_UNREADABLE, zebread_node_statistic(node, ZEBREAD_MESSAGE_COUNT, &value));
  EXPECT_EQ(ZEBREAD_ABSENT, zebread_node_statistic(node, ZEBREAD_FIRST_COLLECTION, &value));
  EXPECT_EQ(-1, value);
  EXPECT_EQ(ZEBREAD_OK, zebread_node_statistic(node, ZEBREAD_SIZE_SUM_BYTES, &value));
  EXPECT_EQ(600, value);
}

TEST(ReadingInC, WhatANodeWithoutStatisticsMeasuredIsAbsent) {
  image::Block tree{.eyecatcher = "zebcstar", .contents = {}};
  tree.add(image::broker(image::kBroker, u"1-2-3", u"BRK1"));
  tree.add(image::group(image::kGroup, image::kBroker, u"orders", 1));
  tree.add(image::flow(image::kFlow, image::kGroup, u"Fulfil"));
  tree.add(image::node(image::kNode, image::kFlow, u"Reserve", 9, u"", 1));
  const LiveSegment live("1-2-3", image::segment({tree}));
  const std::string told = walk(look(opened()).get());
  EXPECT_NE(std::string::npos, told.find("node \"Reserve\" 9 \"unknown\" \"\" 1")) << told;
  EXPECT_NE(std::string::npos, told.find("  0: 1 -77\n")) << told;
  EXPECT_NE(std::string::npos, told.find("  12: 3 -77\n")) << told;
  EXPECT_NE(std::string::npos, told.find("  1 00000000000000000000000000000000\n")) << told;
}

TEST(ReadingInC, ABrokerWhoseMemoryIsGoneHasItsStateAndNoValues) {
  std::ofstream("/tmp/4-5-6.zebcshme");
  const Snapshot snapshot = look(opened(true));
  std::int64_t value = 0;
  EXPECT_EQ(ZEBREAD_STATE_NO_SEGMENT, zebread_broker_state(first(snapshot)));
  EXPECT_STREQ("noSegment", zebread_broker_state_name(first(snapshot)));
  EXPECT_NE(nullptr, zebread_broker_problem(first(snapshot)));
  EXPECT_EQ(nullptr, zebread_broker_label(first(snapshot)));
  EXPECT_STREQ("4-5-6", zebread_broker_uuid(first(snapshot)));
  EXPECT_EQ(ZEBREAD_ABSENT, zebread_broker_segment_id(first(snapshot), &value));
  EXPECT_EQ(ZEBREAD_ABSENT, zebread_broker_reset_time(first(snapshot), &value));
  EXPECT_EQ(ZEBREAD_ABSENT, zebread_broker_missed_events(first(snapshot), &value));
  std::remove("/tmp/4-5-6.zebcshme");
}

TEST(ReadingInC, AnEventIsToldOnceAndWhatWasOverwrittenIsCounted) {
  LiveSegment live("1-2-3", image::ordersAfter(2));
  const Reader reader = opened(true);
  EXPECT_EQ(2U, events(look(reader)));
  EXPECT_EQ(0U, events(look(reader)));
  live.write(image::ordersAfter(image::kOrdersSlots + 10));
  const Snapshot snapshot = look(reader);
  std::int64_t missed = 0;
  EXPECT_EQ(image::kOrdersSlots, events(snapshot));
  EXPECT_EQ(ZEBREAD_OK, zebread_broker_missed_events(first(snapshot), &missed));
  EXPECT_EQ(8, missed);
}

TEST(ReadingInC, WithoutBeingAskedForThereAreNoEvents) {
  const LiveSegment live("1-2-3", image::ordersAfter(2));
  const Snapshot snapshot = look(opened());
  std::int64_t missed = 0;
  EXPECT_EQ(0U, events(snapshot));
  EXPECT_EQ(ZEBREAD_ABSENT, zebread_broker_missed_events(first(snapshot), &missed));
}

TEST(ReadingInC, AnotherReaderGoesOnFromACursor) {
  LiveSegment live("1-2-3", image::ordersAfter(2));
  const Reader before = opened(true);
  look(before);
  const std::string cursor = zebread_cursor(before.get());
  EXPECT_EQ(std::string::npos, cursor.find('\n'));
  live.write(image::ordersAfter(5));
  const Reader after = opened(true);
  EXPECT_EQ(ZEBREAD_OK, zebread_resume(after.get(), cursor.c_str()));
  EXPECT_EQ(cursor, zebread_cursor(after.get()));
  EXPECT_EQ(3U, events(look(after)));
  EXPECT_NE(cursor, zebread_cursor(after.get()));
}

TEST(ReadingInC, ATextThatIsNoCursorIsRefusedAndChangesNothing) {
  const LiveSegment live("1-2-3", image::ordersAfter(2));
  const Reader before = opened(true);
  look(before);
  const std::string cursor = zebread_cursor(before.get());
  std::vector<std::string> wrong = {"",
                                    "zebread2",

                                    "zebread1 x",
                                    cursor + ":",
                                    cursor + " 41:-1:-:32",
                                    cursor + " 41:1:00:32",
                                    cursor + " 4:1:-:32",
                                    cursor + " 41:1:-:4294967296"};
  for (std::size_t size = 10; size < cursor.size() - 2; ++size)
    wrong.push_back(cursor.substr(0, size));
  for (const std::string& text : wrong) {
    const Reader reader = opened(true);
    EXPECT_EQ(ZEBREAD_INVALID, zebread_resume(reader.get(), text.c_str())) << text;
    EXPECT_EQ(2U, events(look(reader)));
  }
}

TEST(ReadingInC, ASnapshotHoldsTheBrokersThatWereAskedFor) {
  const LiveSegment one("1-2-3", image::segment({image::ordersBlock()}));
  const LiveSegment other("4-5-6", image::segment({}));
  const auto found = [](const char* pattern) {
    const Reader reader = opened();
    zebread_set_broker(reader.get(), pattern);
    return brokers(look(reader));
  };
  EXPECT_EQ(2U, found(nullptr));
  EXPECT_EQ(2U, found(""));
  EXPECT_EQ(1U, found("BRK1"));
  EXPECT_EQ(1U, found("4-5-6"));
  EXPECT_EQ(1U, found("1*"));
  EXPECT_EQ(0U, found("BRK2"));
}

TEST(ReadingInC, MoreThanTheWantedBytesAreLeftOutAndCounted) {
  const LiveSegment live("1-2-3", image::ordersAfter(2));
  const Reader reader = opened();
  EXPECT_EQ(ZEBREAD_OK, zebread_set_max_bytes(reader.get(), 100));
  const Snapshot snapshot = look(reader);
  EXPECT_LT(0, zebread_area_uncopied_bytes(zebread_broker_area(first(snapshot), 0)));
}

TEST(ReadingInC, WhatToLookAtIsSaidBeforeTheFirstLook) {
  const Reader reader = opened();
  EXPECT_EQ(ZEBREAD_INVALID, zebread_set_max_bytes(reader.get(), 0));
  look(reader);
  EXPECT_EQ(ZEBREAD_INVALID, zebread_set_directory(reader.get(), "/"));
  EXPECT_EQ(ZEBREAD_INVALID, zebread_set_broker(reader.get(), "A"));
  EXPECT_EQ(ZEBREAD_INVALID, zebread_set_events(reader.get(), 1));
  EXPECT_EQ(ZEBREAD_INVALID, zebread_set_max_bytes(reader.get(), 1));
  EXPECT_EQ(ZEBREAD_INVALID, zebread_resume(reader.get(), "zebread1"));
  EXPECT_STREQ("the reader has looked already. Open another one, and say what to look at first",
               zebread_error_text(reader.get()));
}

TEST(ReadingInC, ADirectoryThatCannotBeReadIsAnErrorWithASentence) {
  const Reader reader = opened();
  zebread_set_directory(reader.get(), "/tmp/ab\x1Bsent");
  EXPECT_EQ(ZEBREAD_OK, zebread_error(reader.get()));
  EXPECT_STREQ("", zebread_error_text(reader.get()));
  zebread_snapshot* snapshot = reinterpret_cast<zebread_snapshot*>(1);
  EXPECT_EQ(ZEBREAD_DIRECTORY, zebread_look(reader.get(), &snapshot));
  EXPECT_EQ(nullptr, snapshot);
  EXPECT_EQ(ZEBREAD_DIRECTORY, zebread_error(reader.get()));
  EXPECT_STREQ(
      "can't read the directory /tmp/ab\\x1Bsent/: No such file or directory. Name the directory "
      "that the brokers use; you need read and search permission on it",
      zebread_error_text(reader.get()));
}

TEST(ReadingInC, WithoutADirectoryItIsTheOneOfTheSettings) {
  mkdir("/opt/holt", 0755);
  mkdir("/opt/holt/lil", 0755);
  std::ofstream("/opt/holt/lil/zebpnode.cfg") << "ZEBTempDirectory /opt/holt\n";
  const Reader reader = opened();
  zebread_set_directory(reader.get(), nullptr);
  EXPECT_STREQ("/opt/holt/", zebread_snapshot_directory(look(reader).get()));
  std::remove("/opt/holt/lil/zebpnode.cfg");
  std::remove("/opt/holt/lil");
  std::remove("/opt/holt");
}

TEST(ReadingInC, NullIsAnsweredAndHarmsNothing) {
  std::int64_t value = 0;
  zebread_close(nullptr);
  zebread_snapshot_free(nullptr);
  EXPECT_EQ(ZEBREAD_INVALID, zebread_open(nullptr));
  EXPECT_EQ(ZEBREAD_INVALID, zebread_set_max_bytes(nullptr, 0));
  EXPECT_EQ(ZEBREAD_INVALID, zebread_look(nullptr, nullptr));
  EXPECT_EQ(ZEBREAD_INVALID, zebread_look(opened().get(), nullptr));
  EXPECT_EQ(nullptr, zebread_cursor(nullptr));
  EXPECT_EQ(ZEBREAD_INVALID, zebread_resume(nullptr, "zebread1"));
  EXPECT_EQ(ZEBREAD_INVALID, zebread_resume(opened().get(), nullptr));
  EXPECT_EQ(ZEBREAD_INVALID, zebread_error(nullptr));
  EXPECT_NE(nullptr, zebread_error_text(nullptr));
  EXPECT_EQ(0U, zebread_snapshot_broker_count(nullptr));
  EXPECT_EQ(nullptr, zebread_snapshot_broker(nullptr, 0));
  EXPECT_EQ(0, zebread_snapshot_wall_ms(nullptr));
  EXPECT_EQ(0, zebread_snapshot_steady_ms(nullptr));
  EXPECT_EQ(ZEBREAD_INVALID, zebread_broker_segment_id(nullptr, &value));
  EXPECT_EQ(ZEBREAD_INVALID, zebread_node_statistic(nullptr, ZEBREAD_MESSAGE_COUNT, &value));
  EXPECT_EQ("snapshot NULL\n", walk(nullptr));
  zebread_hex(nullptr, 4, nullptr);
  zebread_node_record_id(nullptr, nullptr);
}

// Each handle as a null, and each place for a value.
TEST(ReadingInC, NullHandlesHaveNoTextsAndNoMembers) {
  EXPECT_EQ(nullptr, zebread_broker_label(nullptr));
  EXPECT_EQ(nullptr, zebread_broker_problem(nullptr));
  EXPECT_EQ(nullptr, zebread_broker_area(nullptr, 0));
  EXPECT_EQ(nullptr, zebread_broker_damage(nullptr, 0));
  EXPECT_EQ(nullptr, zebread_broker_event(nullptr, 0));
  EXPECT_EQ(nullptr, zebread_group_flow(zebread_broker_group(nullptr, 0), 0));
  EXPECT_EQ(nullptr, zebread_node_label(zebread_flow_node(nullptr, 0)));
  EXPECT_EQ(nullptr, zebread_event_text(nullptr));
  EXPECT_EQ(0, zebread_area_used_bytes(nullptr));
  EXPECT_EQ(nullptr, zebread_damage_reason(nullptr));
  const LiveSegment live("1-2-3", image::ordersAfter(1));
  const Snapshot snapshot = look(opened(true));
  EXPECT_EQ(ZEBREAD_INVALID, zebread_broker_segment_id(first(snapshot), nullptr));
  EXPECT_EQ(ZEBREAD_INVALID, zebread_event_time(zebread_broker_event(first(snapshot), 0), nullptr));
  EXPECT_EQ(nullptr, zebread_broker_group(first(snapshot), 1));
  EXPECT_EQ(nullptr, zebread_snapshot_broker(snapshot.get(), 1));
}

TEST(ReadingInC, ASnapshotOutlivesItsReaderAndTheBroker) {
  auto live = std::make_unique<LiveSegment>("1-2-3", image::ordersAfter(3));
  Reader reader = opened(true);
  const Snapshot snapshot = look(reader);
  const std::string before = walk(snapshot.get());
  reader.reset();
  live.reset();
  EXPECT_EQ(before, walk(snapshot.get()));
}

TEST(ReadingInC, ManyThreadsMayAskOneSnapshotWhileOthersLook) {
  const LiveSegment live("1-2-3", image::ordersAfter(3));
  const Snapshot snapshot = look(opened(true));
  const std::string told = walk(snapshot.get());
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int round = 0; round < 5; ++round) {
        EXPECT_EQ(told, walk(snapshot.get()));
        EXPECT_EQ(3U, events(look(opened(true))));
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
}

// However many allocations succeed: an answer, a sentence, and another look afterwards.
TEST(ReadingInC, WithoutMemoryItSaysSoAndLooksAgainLater) {
  const LiveSegment live("1-2-3", image::ordersAfter(3));
  const std::string told = walk(look(opened(true)).get());
  zebread_status status = ZEBREAD_NO_MEMORY;
  long allowed = 0;
  for (; status == ZEBREAD_NO_MEMORY; ++allowed) {
    const Reader reader = opened(true);
    zebread_snapshot* snapshot = nullptr;
    allocationsLeft = allowed;
    status = zebread_look(reader.get(), &snapshot);
    allocationsLeft = -1;
    EXPECT_TRUE(status == ZEBREAD_OK || snapshot == nullptr);
    EXPECT_EQ(status == ZEBREAD_OK, zebread_error_text(reader.get())[0] == 0);
    zebread_snapshot_free(snapshot);
    if (status == ZEBREAD_NO_MEMORY) {
      EXPECT_EQ(1U, brokers(look(reader)));
    }
  }
  EXPECT_EQ(ZEBREAD_OK, status);
  EXPECT_LT(20, allowed);
  zebread_reader* reader = nullptr;
  char buffer[8];
  allocationsLeft = 0;
  EXPECT_EQ(ZEBREAD_NO_MEMORY, zebread_open(&reader));
  EXPECT_EQ(static_cast<std::size_t>(-1),
            zebread_printable("more than fits into the object itself", buffer, sizeof buffer));
  allocationsLeft = -1;
}

TEST(ReadingInC, WhateverIsWrongInASegmentItIsToldWithoutHarm) {
  broken::Segments segments = broken::all();
  for (const broken::Segment& mixed : broken::mixed(7, 100)) segments.push_back(mixed);
  LiveSegment live("UUID1", broken::healthy());
  std::size_t damaged = 0;
  for (const broken::Segment& segment : segments) {
    if (segment.bytes.size() != broken::kBytes) continue;
    SCOPED_TRACE(segment.what);
    live.write(segment.bytes);
    const Snapshot snapshot = look(opened(true));
    EXPECT_NE("", walk(snapshot.get()));
    if (zebread_broker_damage_count(first(snapshot)) > 0) ++damaged;
  }
  EXPECT_LT(100U, damaged);
}

TEST(ReadingInC, NoMoreThanTheBufferIsWrittenAndNoCharacterIsCut) {
  char buffer[8] = "#######";
  EXPECT_EQ(4U, zebread_printable("\x1B", buffer, sizeof buffer));
  EXPECT_STREQ("\\x1B", buffer);
  EXPECT_EQ(9U, zebread_printable("aaaaaaö€", nullptr, 0) - 2U);
  EXPECT_EQ(11U, zebread_printable("aaaaaaö€", buffer, sizeof buffer));
  EXPECT_STREQ("aaaaaa", buffer);
  EXPECT_EQ(0U, zebread_printable(nullptr, buffer, sizeof buffer));
  EXPECT_STREQ("", buffer);
  EXPECT_EQ(1U, zebread_printable("a", buffer, 0));
  EXPECT_STREQ("", buffer);
  EXPECT_EQ(1U, zebread_printable("a", nullptr, sizeof buffer));
}

TEST(ReadingInC, WithoutMemoryATextIsEmptyWhereThereIsABuffer) {
  const std::string text(100, 'a');
  char buffer[8] = "#######";
  const auto shown = [&text](char* to, std::size_t size) {
    allocationsLeft = 0;
    const std::size_t bytes = zebread_printable(text.c_str(), to, size);
    allocationsLeft = -1;
    return bytes;
  };
  EXPECT_EQ(static_cast<std::size_t>(-1), shown(nullptr, sizeof buffer));
  EXPECT_EQ(static_cast<std::size_t>(-1), shown(buffer, 0));
  EXPECT_STREQ("#######", buffer);
  EXPECT_EQ(static_cast<std::size_t>(-1), shown(buffer, sizeof buffer));
  EXPECT_STREQ("", buffer);
}

TEST(ReadingInC, TheVersionIsThatOfTheHeader) {
  EXPECT_EQ(ZEBREAD_VERSION, zebread_version());
  EXPECT_EQ(0U, std::string(zebread_version_text())
                    .find(std::to_string(ZEBREAD_VERSION_MAJOR) + "." +
                          std::to_string(ZEBREAD_VERSION_MINOR) + "."));
}

TEST(ReadingInC, EveryStatusHasASentence) {
  for (int status = ZEBREAD_ABSENT; status <= ZEBREAD_FAILED + 1; ++status) {
    EXPECT_STRNE("", zebread_status_text(static_cast<zebread_status>(status)));
  }
  EXPECT_STREQ("", zebread_status_text(ZEBREAD_OK));
}
