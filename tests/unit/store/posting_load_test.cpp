// SPDX-License-Identifier: Apache-2.0
// Three processes post as fast as they can while the library and the agent
// read. ZEB_EVENT_READS is the number of reads for each size of the areas.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <vector>

#include "agent/reader/events.h"
#include "records/event_information.h"
#include "records/message_descriptor.h"
#include "store/events_area.h"
#include "tests/support/library_test.h"
#include "tests/support/processes.h"
#include "tests/unit/store/store_test.h"

namespace posting_load_test {

namespace fs = std::filesystem;
using namespace support;

namespace {

constexpr char kStop[] = "/tmp/stop-posting";
constexpr int kPosters = 3;
constexpr int kKinds = kPosters + 1;  // the reader posts a few of its own
constexpr int kEventsPerTemplate = 16;

// Every number of an event follows from its thread ID: whose it is, which one,
// and its template.
int idOf(int poster, int n) {
  return n * kKinds + poster;
}

std::uint8_t fillOf(int id) {
  return static_cast<std::uint8_t>(id * 7 + 1);
}

// Few templates come again and again; else there is a new one for every sixteen
// events.
std::string textOf(int id, bool few) {
  const int number = id / kKinds / kEventsPerTemplate;
  const int shown = few ? number % 5 : number;
  return "poster " + std::to_string(id % kKinds) + " template " + std::to_string(shown) + " " +
         std::string(static_cast<std::size_t>(shown % 7 * 9), 'R');
}

std::unique_ptr<ZEB_EVDR> eventWith(int id, const ZEB_Record& kind) {
  MessageDescriptor descriptor;
  std::memset(&descriptor, fillOf(id), sizeof descriptor);
  auto event = std::make_unique<ZEB_EVDR>(&descriptor, id);
  event->setParent(kind.getRecordId());
  return event;
}

struct Own {
  Own() : segment(&uuid), area(uuid) {
    segment.init();
    area.init(&segment);
  }
  ZEB_String uuid{"UUID1"};
  ZEB_Shared_Memory segment;
  ZEB_Events_Area area;
};

int post(Steps& parent, const std::vector<std::string>& arguments) {
  useOwnConfiguration();
  const int poster = std::atoi(arguments[0].c_str());
  const bool few = arguments[1] == "few";
  Own own;
  parent.tell("ready");
  std::unique_ptr<ZEB_EVTR> kind;
  for (int n = 0; n % 64 != 0 || !fs::exists(kStop); ++n) {
    const int id = idOf(poster, n);
    if (n % kEventsPerTemplate == 0) {
      kind = templateOf(textOf(id, few));
      if (!own.area.setEventTemplate(kind.get())) return 1;
    }
    if (own.area.postEvent(eventWith(id, *kind).get()) != 0) return 2;
  }
  return 0;
}

const Role kPoster("poster of events", post);

// What one reader has returned.
class Returned {
 public:
  bool add(int id) {
    const auto at = static_cast<std::size_t>(id);
    if (at >= seen_.size()) seen_.resize(at * 2 + 1);
    if (seen_[at]) return false;
    ++count_;
    return seen_[at] = true;
  }
  bool has(int id) const {
    return static_cast<std::size_t>(id) < seen_.size() && seen_[static_cast<std::size_t>(id)];
  }
  std::size_t count() const { return count_; }

 private:
  std::vector<bool> seen_;
  std::size_t count_ = 0;
};

class PostingLoad : public testing::TestWithParam<std::pair<int, bool>> {
 protected:
  void SetUp() override {
    useOwnConfiguration();
    configure("ZEBMemorySize " + std::to_string(GetParam().first) + "\n");
    own = std::make_unique<Own>();
    locked = std::make_unique<ZEB_Events_Data_Area>(own->uuid);
    locked->init(&own->segment);
    awaitNextMillisecond();
    for (int poster = 0; poster < kPosters; ++poster)
      posters.push_back(std::make_unique<Child>(
          "poster of events",
          std::vector<std::string>{std::to_string(poster), few() ? "few" : "many"}));
    for (const auto& poster : posters) ASSERT_EQ("ready", poster->hear());
  }

  void TearDown() override {
    std::ofstream{kStop};
    for (const auto& poster : posters) EXPECT_EQ(0, poster->wait());
    fs::remove(kStop);
  }

  static bool few() { return GetParam().second; }

  static void awaitNextMillisecond() {
    const _TimeStamp now = ZEB_Timer::nowTime();
    while (ZEB_Timer::nowTime() == now) {
    }
  }

  static void expectFilled(const std::uint8_t* bytes, std::size_t count, int id) {
    ASSERT_TRUE(std::all_of(bytes, bytes + count, [id](auto byte) { return byte == fillOf(id); }))
        << "a mixed event";
  }

  // The joined event: three headers, the template's fields, and those of the
  // event.
  void readByLibrary() {
    OwnedRecords<ZEB_Ordered_Record_Set> out;
    ASSERT_EQ(0, own->area.getEvents(&out));
    for (ZEB_Record* record : out) {
      Bytes stored(record->size());
      record->put(stored.data());
      const std::size_t data = stored.size() - 144;
      const int id = signedAt(stored, data + 44);
      ASSERT_NO_FATAL_FAILURE(expectFilled(&stored[data + 48], 96, id));
      ASSERT_EQ(idAt(stored, 48), idAt(stored, data + 24));
      const auto expected = templateOf(textOf(id, few()));
      Bytes form(expected->size());
      expected->put(form.data());
      ASSERT_EQ(Bytes(form.begin() + 40, form.end()),
                Bytes(stored.begin() + 80, stored.end() - 144))
          << "a mixed template, or another's";
      ASSERT_TRUE(library.add(id)) << id << " a second time";
    }
  }

  void readByAgent() {
    const std::uint8_t* const start = static_cast<const std::uint8_t*>(own->segment.getAddress());
    reader::Segment segment;
    segment.id = 1;
    segment.copy = reader::copySegment({start, own->segment.getSize()}, own->segment.getSize());
    reader::DamageList damage = segment.copy.damage;
    for (const reader::Event& event : log.read(segment, damage).events) {
      const int id = event.threadId;
      ASSERT_NO_FATAL_FAILURE(expectFilled(event.messageId.data(), 24, id));
      ASSERT_NO_FATAL_FAILURE(expectFilled(event.correlationId.data(), 24, id));
      if (event.origin) {
        ASSERT_EQ(textOf(id, few()), event.origin->text);
      }
      ASSERT_TRUE(agent.add(id)) << id << " a second time";
    }
    ASSERT_TRUE(damage.empty()) << damage.list()[0].area << " " << damage.list()[0].reason;
  }

  // With the lock held nobody posts: whatever is in the ring must have been
  // returned by now.
  void expectNothingLost() {
    locked->lock();
    awaitNextMillisecond();
    const int id = idOf(kPosters, ownEvents++);
    const auto kind = templateOf(textOf(id, few()));
    own->area.setEventTemplate(kind.get());
    EXPECT_EQ(0, locked->put(eventWith(id, *kind).get()));
    readByLibrary();
    readByAgent();
    const std::span<std::uint8_t> ring = locked->stored();
    for (std::size_t at = 0; at + 144 <= ring.size(); at += 144) {
      int stored;
      std::memcpy(&stored, &ring[at + 44], sizeof stored);
      EXPECT_TRUE(agent.has(stored)) << "the agent lost " << stored;
      // Where templates are written over, the first event without one ends a
      // call on purpose.
      EXPECT_TRUE(!few() || library.has(stored)) << "the library lost " << stored;
    }
    locked->unlock();
  }

  std::unique_ptr<Own> own;
  std::unique_ptr<ZEB_Events_Data_Area> locked;
  std::vector<std::unique_ptr<Child>> posters;
  reader::EventLog log;
  Returned library;
  Returned agent;
  int ownEvents = 0;
};

TEST_P(PostingLoad, NoEventIsMixedReturnedTwiceOrLostButByAWrap) {
  const char* const asked = std::getenv("ZEB_EVENT_READS");
  const long reads = asked ? std::atol(asked) : 1000;
  const auto enough = [&](long read) {
    return read >= reads && library.count() > 100 && agent.count() > 100;
  };
  for (long read = 0; !enough(read) && !HasFailure(); read += 2) {
    readByLibrary();
    readByAgent();
    if (read % 128 == 0) expectNothingLost();
  }
  RecordProperty("events of the library", static_cast<int>(library.count()));
  RecordProperty("events of the agent", static_cast<int>(agent.count()));
}

INSTANTIATE_TEST_SUITE_P(Each, PostingLoad,
                         testing::Values(std::pair{4096, true}, std::pair{4096, false},
                                         std::pair{32768, true}, std::pair{32768, false}));

}  // namespace

}  // namespace posting_load_test
