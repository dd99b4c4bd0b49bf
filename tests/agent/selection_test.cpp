// SPDX-License-Identifier: Apache-2.0
// Which part of a snapshot is meant.
#include "agent/model/selection.h"

#include <gtest/gtest.h>

#include "tests/support/image.h"

namespace {

using model::Snapshot;

std::shared_ptr<const model::SeenBroker> broker(const std::string& fileUuid,
                                                const std::string& uuid, const std::string& label) {
  model::SeenBroker made;
  made.segment.uuid = fileUuid;
  if (!label.empty()) {
    made.tree.emplace();
    made.tree->uuid = uuid;
    made.tree->label = label;
  }
  return std::make_shared<const model::SeenBroker>(std::move(made));
}

Snapshot all() {
  Snapshot snapshot;
  snapshot.directory = "/tmp/";
  snapshot.steady += std::chrono::seconds(7);
  snapshot.brokers = {broker("file1", "uuid1", "BRK1"), broker("file2", "uuid2", "BRK2"),
                      broker("file3", "", "")};
  return snapshot;
}

// The key files' names of those that are selected.
std::string selected(const std::string& name) {
  std::string names;
  for (const auto& one : model::select(all(), {.broker = name}).brokers) {
    names += one->segment.uuid + " ";
  }
  return names;
}

reader::Event event(std::optional<std::int64_t> time, std::uint32_t created, const char* text) {
  image::Bytes id;
  image::putId(id, {8, created, 0, 1});
  reader::Event made;
  made.recordId = reader::RecordId(id);
  made.time = time;
  if (text != nullptr) {
    made.origin =
        std::make_shared<reader::EventTemplate>(reader::EventTemplate{"", "", "", 1, text});
  }
  return made;
}

}  // namespace

TEST(Selection, ABrokerIsMeantByItsLabelItsUuidOrItsKeyFile) {
  EXPECT_EQ("file1 file2 file3 ", selected(""));
  EXPECT_EQ("file1 ", selected("BRK1"));
  EXPECT_EQ("file1 ", selected("uuid1"));
  EXPECT_EQ("file1 ", selected("file1"));
  EXPECT_EQ("file3 ", selected("file3"));
  EXPECT_EQ("", selected("BRK"));
  EXPECT_EQ("", selected("brk1"));
}

TEST(Selection, KeepsTheFactsOfTheSnapshotAndSharesItsBrokers) {
  const Snapshot snapshot = all();
  const Snapshot one = model::select(snapshot, {.broker = "BRK2"});
  EXPECT_EQ(snapshot.directory, one.directory);
  EXPECT_EQ(snapshot.steady, one.steady);
  EXPECT_EQ(snapshot.brokers[1], one.brokers.at(0));
}

TEST(EventSelection, ByKind) {
  const model::EventSelection exceptions{.since = {}, .kind = reader::EventKind::exception};
  EXPECT_TRUE(model::selects(exceptions, event(1, 1, "Exception found in a(b). c")));
  EXPECT_FALSE(model::selects(exceptions, event(1, 1, "seen")));
  EXPECT_FALSE(model::selects(exceptions, event(1, 1, nullptr)));
  EXPECT_TRUE(model::selects({}, event(1, 1, nullptr)));
}

TEST(EventSelection, ByTheEventsTimeOrItsRecords) {
  const model::EventSelection later{.since = 100, .kind = {}};
  EXPECT_TRUE(model::selects(later, event(100, 1, "seen")));
  EXPECT_FALSE(model::selects(later, event(99, 200, "seen")));
  EXPECT_TRUE(model::selects(later, event(std::nullopt, 100, "seen")));
  EXPECT_FALSE(model::selects(later, event(std::nullopt, 99, "seen")));
}
