// SPDX-License-Identifier: Apache-2.0
// From the machine to snapshots.
#include "agent/model/collector.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "tests/support/image.h"
#include "tests/support/live_segment.h"

namespace collector_test {

namespace {

using image::Block;
using image::Bytes;
using model::Collector;
using model::Snapshot;

constexpr image::Id kTemplate{7, 500, 1, 1};
constexpr std::uint32_t kTime = 0xEA600000;

// The orders broker after events 1 to `count`.
Bytes segmentWithEvents(std::uint32_t count) {
  Block templates{.eyecatcher = "zebcetar", .contents = {}};
  templates.add(image::eventTemplate(kTemplate, u"orders", u"Fulfil", u"Reserve", 1, u"seen"));
  Block data{.eyecatcher = "zebcedar", .contents = {}};
  for (std::uint32_t n = 1; n <= count; ++n) {
    data.add(image::event({8, 1000, n, n}, kTemplate, kTime + n));
  }
  return image::segment({image::ordersBlock(), templates, data});
}

std::size_t newEvents(const Snapshot& snapshot) {
  return snapshot.brokers.at(0)->events->events.size();
}

}  // namespace

TEST(Snapshot, HoldsAllBrokersOfTheDirectoryInTheOrderOfTheirKeyFiles) {
  const LiveSegment second("4-5-6", image::segment({}));
  const LiveSegment first("1-2-3", image::segment({image::ordersBlock()}));
  const auto snapshot = Collector("/tmp").take();
  EXPECT_EQ("/tmp/", snapshot->directory);
  EXPECT_EQ(0, snapshot->error);
  ASSERT_EQ(2U, snapshot->brokers.size());
  EXPECT_EQ("BRK1", snapshot->brokers[0]->label());
  EXPECT_EQ("1-2-3", snapshot->brokers[0]->uuid());
  EXPECT_EQ("", snapshot->brokers[1]->label());
  EXPECT_EQ("4-5-6", snapshot->brokers[1]->uuid());
}

TEST(Snapshot, HasItsTimes) {
  const auto wallBefore = std::chrono::system_clock::now();
  const auto steadyBefore = std::chrono::steady_clock::now();
  const auto snapshot = Collector("/tmp").take();
  EXPECT_LE(wallBefore, snapshot->wall);
  EXPECT_LE(snapshot->wall, std::chrono::system_clock::now());
  EXPECT_LE(steadyBefore, snapshot->steady);
  EXPECT_LE(snapshot->steady, std::chrono::steady_clock::now());
}

TEST(Snapshot, TheSecondsOfItsTimeAreRoundedDown) {
  Snapshot snapshot;
  snapshot.wall = std::chrono::system_clock::time_point(std::chrono::milliseconds(1999));
  EXPECT_EQ(1, model::secondsOf(snapshot));
  snapshot.wall = std::chrono::system_clock::time_point(std::chrono::milliseconds(-1));
  EXPECT_EQ(-1, model::secondsOf(snapshot));
}

TEST(Snapshot, StaysAsItWasWhenTheBrokerGoesOnAndStops) {
  auto live = std::make_unique<LiveSegment>("1-2-3", segmentWithEvents(1));
  Collector collector("/tmp", model::Events::read);
  const auto before = collector.take();
  live->write(segmentWithEvents(2));
  const auto after = collector.take();
  live.reset();
  collector.take();
  const reader::Event& event = before->brokers.at(0)->events->events.at(0);
  EXPECT_EQ("seen", event.origin->text);
  EXPECT_EQ(1U, newEvents(*before));
  EXPECT_EQ(1U, newEvents(*after));
  EXPECT_EQ("BRK1", before->brokers.at(0)->label());
}

TEST(Snapshot, AnEventOutlivesTheSnapshotAndTheCollector) {
  const LiveSegment live("1-2-3", segmentWithEvents(1));
  const reader::Event event =
      Collector("/tmp", model::Events::read).take()->brokers.at(0)->events->events.at(0);
  EXPECT_EQ("seen", event.origin->text);
}

TEST(Snapshot, ADirectoryThatCannotBeReadIsAFactOfIt) {
  const auto snapshot = Collector("/tmp/absent").take();
  EXPECT_EQ("/tmp/absent/", snapshot->directory);
  EXPECT_EQ(ENOENT, snapshot->error);
  EXPECT_TRUE(snapshot->brokers.empty());
}

TEST(Snapshot, WithoutADirectoryItIsTheConfiguredOne) {
  EXPECT_EQ("/tmp/", Collector("").take()->directory);
  std::filesystem::create_directories("/opt/holt/lil");
  std::ofstream("/opt/holt/lil/zebpnode.cfg") << "ZEBTempDirectory /opt/holt\n";
  EXPECT_EQ("/opt/holt/", Collector("").take()->directory);
  std::filesystem::remove_all("/opt/holt");
}

TEST(Snapshot, EventsAreReadOnlyWhenTheyAreAskedFor) {
  const LiveSegment live("1-2-3", segmentWithEvents(2));
  EXPECT_FALSE(Collector("/tmp").take()->brokers.at(0)->events);
  EXPECT_EQ(2U, newEvents(*Collector("/tmp", model::Events::read).take()));
}

TEST(Snapshot, DamageOfAnEventsAreaIsItsBrokersDamage) {
  Bytes bytes = segmentWithEvents(2);
  bytes[32 + 2 * 4096 + 32] = 'X';
  const LiveSegment live("1-2-3", bytes);
  EXPECT_EQ(reader::State::ok, Collector("/tmp").take()->brokers.at(0)->state());
  const auto snapshot = Collector("/tmp", model::Events::read).take();
  EXPECT_EQ(reader::State::damaged, snapshot->brokers.at(0)->state());
  EXPECT_EQ(1U, newEvents(*snapshot));
}

TEST(LookAfterLook, EachSnapshotHoldsWhatIsNewAndABrokersRestartBeginsAgain) {
  auto live = std::make_unique<LiveSegment>("1-2-3", segmentWithEvents(2));
  Collector collector("/tmp", model::Events::read);
  EXPECT_EQ(2U, newEvents(*collector.take()));
  EXPECT_EQ(0U, newEvents(*collector.take()));
  live->write(segmentWithEvents(5));
  EXPECT_EQ(3U, newEvents(*collector.take()));
  live.reset();
  EXPECT_TRUE(collector.take()->brokers.empty());
  live = std::make_unique<LiveSegment>("1-2-3", segmentWithEvents(5));
  EXPECT_EQ(5U, newEvents(*collector.take()));
}

TEST(LookAfterLook, ABrokerThatRestartsBetweenTwoLooksBeginsAgain) {
  auto live = std::make_unique<LiveSegment>("1-2-3", segmentWithEvents(5));
  Collector collector("/tmp", model::Events::read);
  collector.take();
  live.reset();
  live = std::make_unique<LiveSegment>("1-2-3", segmentWithEvents(2));
  EXPECT_EQ(2U, newEvents(*collector.take()));
}

// Its key file is there, but points nowhere for a moment.
TEST(LookAfterLook, EventsOfASegmentThatCannotBeReadForAMomentAreNotShownAgain) {
  const LiveSegment live("1-2-3", segmentWithEvents(2));
  Collector collector("/tmp", model::Events::read);
  EXPECT_EQ(2U, newEvents(*collector.take()));
  std::filesystem::rename(live.keyFile(), "/tmp/aside");
  std::ofstream{live.keyFile()};
  const auto between = collector.take();
  EXPECT_EQ(reader::State::noSegment, between->brokers.at(0)->state());
  EXPECT_FALSE(between->brokers.at(0)->events);
  std::filesystem::rename("/tmp/aside", live.keyFile());
  EXPECT_EQ(0U, newEvents(*collector.take()));
}

TEST(LookAfterLook, ABrokerWhoseKeyFileWentIsForgotten) {
  const LiveSegment live("1-2-3", segmentWithEvents(2));
  Collector collector("/tmp", model::Events::read);
  EXPECT_EQ(2U, newEvents(*collector.take()));
  std::filesystem::rename(live.keyFile(), "/tmp/aside");
  EXPECT_TRUE(collector.take()->brokers.empty());
  std::filesystem::rename("/tmp/aside", live.keyFile());
  EXPECT_EQ(2U, newEvents(*collector.take()));
}

}  // namespace collector_test
