// SPDX-License-Identifier: Apache-2.0
// zebmon diff, and the snapshot that a reset takes first.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "agent/archive/snapshot_file.h"
#include "tests/agent/live_lock.h"
#include "tests/agent/zebmon.h"
#include "tests/support/image.h"
#include "tests/support/live_segment.h"

namespace diff_command_test {

namespace {

namespace fs = std::filesystem;
using archived::Loaded;
using nlohmann::json;

constexpr char kA[] = "/tmp/a.tar";
constexpr char kB[] = "/tmp/b.tar";

// A node Reserve that has seen so many messages, and another one when it has a label.
image::Bytes orders(const std::string& messages, const std::u16string& second = u"",
                    const std::string& elapsedMs = "45") {
  image::Block block{.eyecatcher = "zebcstar", .contents = {}};
  block.add(image::broker(image::kBroker, u"1-2-3", u"BRK1", 0xEA5FFFFF));
  block.add(image::group(image::kGroup, image::kBroker, u"orders", 0));
  block.add(image::flow(image::kFlow, image::kGroup, u"Fulfil"));
  block.add(image::node(image::kNode, image::kFlow, u"Reserve", 1));
  block.add(image::statistics(image::kStatistics, image::kNode,
                              {.count = messages, .sumElapsed = elapsedMs}));
  if (!second.empty()) block.add(image::node({5, 1000, 4, 24}, image::kFlow, second, 2));
  return image::segment({block});
}

class DiffCommand : public testing::Test {
 protected:
  void SetUp() override {
    EXPECT_EQ(0, run({"snapshot", "-o", kA}).code);
    segment_.write(orders("150", u"Ship"));
    EXPECT_EQ(0, run({"snapshot", "-o", kB}).code);
  }
  void TearDown() override {
    for (const char* name : {kA, kB, "/tmp/c.tar"}) fs::remove(name);
  }

  // The first file as another host's, or as it would be later.
  template <class Change>
  void change(const char* file, const Change& change) {
    Loaded loaded = archived::load(file, model::Events::leave);
    model::Snapshot snapshot = *loaded.snapshot;
    change(snapshot, loaded.origin);
    EXPECT_FALSE(archived::save(snapshot, loaded.origin, file));
  }

  LiveSegment segment_{"1-2-3", orders("100")};
};

}  // namespace

TEST_F(DiffCommand, TellsWhatCameAndTheRatesInBetween) {
  const Result table = run({"diff", kA, kB});
  EXPECT_EQ(1, table.code) << table.errors;
  EXPECT_TRUE(contains(table.out, "From 20")) << table.out;
  EXPECT_TRUE(contains(table.out, "node  came    BRK1/orders/Fulfil/Ship")) << table.out;
  EXPECT_TRUE(contains(table.out, "\nBroker BRK1, ")) << table.out;
  EXPECT_TRUE(contains(table.out, " Ship     output")) << table.out;
  EXPECT_TRUE(contains(table.errors, "zebmon: /tmp/a.tar was taken on ")) << table.errors;
  EXPECT_TRUE(contains(table.errors, "zebmon: /tmp/b.tar was taken on ")) << table.errors;
  const json document = json::parse(run({"diff", kA, kB, "--format", "json"}).out);
  EXPECT_EQ("zebmon.diff", document["schema"]);
  EXPECT_EQ("sameRun", document["apart"]);
  EXPECT_EQ(false, document["same"]);
  EXPECT_EQ(1U, document["changes"].size());
  EXPECT_EQ(50, document["brokers"][0]["flows"][0]["nodes"][0]["messageCount"]);
}

TEST_F(DiffCommand, TellsWhenTheAreaOfNodesWillBeFull) {
  EXPECT_TRUE(contains(run({"diff", kA, kB}).out,
                       "\nStatistics area of BRK1: a forecast needs a day, and there is "));
  change(kA, [](model::Snapshot& snapshot, const archived::Origin&) {
    snapshot.wall -= std::chrono::days(10);
    snapshot.steady -= std::chrono::days(10);
  });
  const std::string text = run({"diff", kA, kB}).out;
  EXPECT_TRUE(contains(text, " bytes in 10 d, and is full in ")) << text;
  EXPECT_FALSE(contains(run({"diff", kB, kB}).out, "Statistics area")) << "it has not grown";
}

TEST_F(DiffCommand, OfTheSameFileIsNothing) {
  const Result same = run({"diff", kA, kA});
  EXPECT_EQ(0, same.code);
  EXPECT_TRUE(contains(same.out, "Nothing came, went or changed.\n")) << same.out;
  EXPECT_TRUE(contains(same.out, "No message was measured in between.\n")) << same.out;
  EXPECT_TRUE(contains(same.errors, "zebmon: both files hold the same look")) << same.errors;
  EXPECT_EQ("", run({"diff", kA, kA, "--changes", "--format", "jsonl"}).out);
}

TEST_F(DiffCommand, OfFilesInTheWrongOrderSaysWhatToType) {
  const Result wrong = run({"diff", kB, kA});
  EXPECT_EQ(64, wrong.code);
  EXPECT_EQ("", wrong.out);
  EXPECT_TRUE(contains(wrong.errors, "zebmon: /tmp/a.tar is ")) << wrong.errors;
  EXPECT_TRUE(contains(wrong.errors,
                       " older than /tmp/b.tar. Name the older file first: "
                       "zebmon diff /tmp/a.tar /tmp/b.tar.\n"))
      << wrong.errors;
}

TEST_F(DiffCommand, OfTwoMachinesComparesNoFigures) {
  change(kA, [](model::Snapshot&, archived::Origin& origin) { origin.host = "web\x1B"; });
  const Result result = run({"diff", kA, kB});
  EXPECT_EQ(1, result.code);
  EXPECT_TRUE(contains(result.errors, "the files are of two machines, web\\x1B and "))
      << result.errors;
  EXPECT_TRUE(contains(result.out, "BRK1/orders/Fulfil/Ship"));
  EXPECT_FALSE(contains(result.out, "messages")) << result.out;
  EXPECT_EQ(1, run({"diff", kB, kA}).code) << "no order among machines";
}

TEST_F(DiffCommand, OfAMachineThatWasStartedAgainSaysSo) {
  change(kA, [](model::Snapshot& snapshot, archived::Origin&) {
    snapshot.wall -= std::chrono::hours(24);
    model::Machine machine = *snapshot.machine;
    machine.clocks.bootTime = 5;
    snapshot.machine = std::make_shared<const model::Machine>(machine);
  });
  change(kB, [](model::Snapshot& snapshot, archived::Origin&) {
    model::Machine machine = *snapshot.machine;
    machine.clocks.bootTime = secondsOf(snapshot) - 60;
    snapshot.machine = std::make_shared<const model::Machine>(machine);
  });
  const Result result = run({"diff", kA, kB});
  EXPECT_EQ(1, result.code);
  EXPECT_TRUE(contains(result.errors, "the machine was started again")) << result.errors;
  EXPECT_TRUE(contains(result.out, ": 24 h\n") || contains(result.out, ": 1 d\n")) << result.out;
}

TEST_F(DiffCommand, ChangesAloneLeaveTheFiguresOut) {
  const Result rates = run({"diff", kA, kB, "--format", "csv", "--columns", "node,change"});
  EXPECT_EQ("node,change\nReserve,measured\nShip,came\n", rates.out);
  const Result changes =
      run({"diff", kA, kB, "--changes", "--format", "csv", "--columns", "kind,change,name"});
  EXPECT_EQ("kind,change,name\nnode,came,BRK1/orders/Fulfil/Ship\n", changes.out);
  EXPECT_EQ(1, changes.code);
  EXPECT_EQ(64, run({"diff", kA, kB, "--columns", "kind"}).code);
  segment_.write(orders("170", u"Ship"));
  run({"snapshot", "-o", "/tmp/c.tar"});
  EXPECT_EQ(1, run({"diff", kB, "/tmp/c.tar"}).code);
  EXPECT_EQ(0, run({"diff", kB, "/tmp/c.tar", "--changes"}).code);
}

TEST_F(DiffCommand, TellsSelfTimesWhereTheyAreAskedFor) {
  segment_.write(orders("1150", u"", "20045"));
  run({"snapshot", "-o", "/tmp/c.tar"});
  change(kA, [](model::Snapshot& snapshot, archived::Origin&) {
    constexpr std::chrono::hours kHour(1);
    snapshot.wall -= kHour;
    snapshot.steady -= kHour;
    model::Machine machine = *snapshot.machine;
    machine.clocks.wall -= kHour;
    machine.clocks.sinceBoot -= kHour;
    snapshot.machine = std::make_shared<const model::Machine>(machine);
  });
  EXPECT_FALSE(contains(run({"diff", kA, "/tmp/c.tar"}).out, " self"));
  const Result self = run({"diff", kA, "/tmp/c.tar", "--self"});
  EXPECT_TRUE(contains(self.out, " self")) << self.out;
  EXPECT_TRUE(contains(self.out, " 19.0 ")) << self.out << "20 s and 1050 messages";
  const Result chained =
      run({"diff", kA, "/tmp/c.tar", "--chain", "Reserve", "--columns", "node,selfMeanMs"});
  EXPECT_TRUE(contains(chained.out, "Reserve  ")) << chained.out;
  EXPECT_TRUE(contains(chained.out, " self")) << chained.out;
  const Result wrong = run({"diff", kA, "/tmp/c.tar", "--chain", "Absent"});
  EXPECT_EQ(64, wrong.code);
  EXPECT_EQ("", wrong.out);
  EXPECT_EQ(66, run({"diff", kA, kB, "--flows", "/tmp/absent.toml"}).code);
  EXPECT_EQ(64, run({"diff", kA, kB, "--self", "--changes"}).code);
}

TEST_F(DiffCommand, TakesASelection) {
  EXPECT_EQ(1, run({"diff", kA, kB, "--node", "Ship"}).code) << "is in one file alone";
  const Result none = run({"diff", kA, kB, "--node", "Absent"});
  EXPECT_EQ(69, none.code);
  EXPECT_TRUE(contains(none.errors, "no node \"Absent\"")) << none.errors;
  const Result lines = run({"diff", kA, kB, "--node", "Ship", "--format", "jsonl"});
  EXPECT_EQ(2, std::count(lines.out.begin(), lines.out.end(), '\n')) << lines.out;
  EXPECT_TRUE(lines.out.starts_with("{\"schema\":\"zebmon.diff.change\"")) << lines.out;
}

TEST_F(DiffCommand, WhatItCannotReadItSaysAndEndsWithACode) {
  EXPECT_EQ(66, run({"diff", kA, "/tmp/absent"}).code);
  std::ofstream("/tmp/c.tar") << "text";
  EXPECT_EQ(65, run({"diff", "/tmp/c.tar", kB}).code);
  EXPECT_EQ(64, run({"diff", kA}).code);
  EXPECT_EQ(64, run({"diff", "-", "-"}).code);
}

}  // namespace diff_command_test
