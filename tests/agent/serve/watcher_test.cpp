// SPDX-License-Identifier: Apache-2.0
// The thread that looks: how often, what is made of a look, and how it says that it is well.
#include "agent/front/serve/watcher.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <nlohmann/json.hpp>
#include <stdexcept>

#include "agent/front/serve/answers.h"
#include "agent/model/collector.h"
#include "tests/support/image.h"
#include "tests/support/live_segment.h"

namespace watcher_test {

namespace {

using nlohmann::json;
using serve::Clock;
using serve::Document;
using serve::Health;
using serve::Progress;
using serve::Seen;
using serve::Texts;
using serve::Watcher;
using std::chrono::milliseconds;
using std::chrono::seconds;

using Look = std::shared_ptr<const model::Snapshot>;

Look lookAt(Clock::time_point when) {
  auto snapshot = std::make_shared<model::Snapshot>();
  snapshot->steady = when;
  snapshot->machine = std::make_shared<model::Machine>();
  return snapshot;
}

Look lookAtMachine() {
  return model::Collector("/tmp", model::Events::read, model::MachineFacts::read).take();
}

// Looks at all each time, and at nothing in between.
Watcher::Eyes eyes(std::function<Look()> look) {
  return {.all = [look = std::move(look)] { return model::FollowLook{{}, {}, look()}; }};
}

Watcher::Sinks toldOf(std::function<void(const Seen&)> each) {
  return {.news = [](const model::FollowLook&) {}, .each = std::move(each)};
}

const Watcher::Sinks kNobody = toldOf([](const Seen&) {});

// A broker with a segment, and as many events of it as are new.
model::News newsOf(const std::string& keyFile, int segment, std::size_t events) {
  auto broker = std::make_shared<model::SeenBroker>();
  broker->segment.keyFile = keyFile;
  broker->segment.id = segment;
  broker->segment.size = 1;
  return {.broker = std::move(broker), .gaps = {}, .events = std::vector<reader::Event>(events)};
}

// A progress in which all is well at the time 0.
Progress well() {
  return {.interval = seconds(2), .pace = seconds(2), .alive = Clock::time_point(), .failure = {}};
}

Clock::time_point at(int ms) {
  return Clock::time_point() + milliseconds(ms);
}

std::string unzipped(const std::string& bytes) {
  std::string text(1 << 20, '\0');
  z_stream stream{};
  inflateInit2(&stream, 15 + 16);
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes.data()));
  stream.avail_in = static_cast<uInt>(bytes.size());
  stream.next_out = reinterpret_cast<Bytef*>(text.data());
  stream.avail_out = static_cast<uInt>(text.size());
  EXPECT_EQ(Z_STREAM_END, inflate(&stream, Z_FINISH));
  text.resize(stream.total_out);
  inflateEnd(&stream);
  return text;
}

// Lets a watcher turn as often as a test says.
class Turns {
 public:
  void await(int turns) {
    std::unique_lock held(guard_);
    changed_.wait(held, [&] { return turns_ >= turns; });
  }

  void add() {
    const std::lock_guard held(guard_);
    ++turns_;
    changed_.notify_all();
  }

 private:
  std::mutex guard_;
  std::condition_variable changed_;
  int turns_ = 0;
};

}  // namespace

TEST(Pace, IsTheIntervalUnlessLooksTakeATenthOfIt) {
  const auto ofLooksThatTake = [](milliseconds turn) {
    serve::Pace pace(seconds(2));
    pace.after(turn);
    return pace.after(turn);
  };
  EXPECT_EQ(Clock::duration(seconds(2)), ofLooksThatTake(milliseconds(0)));
  EXPECT_EQ(Clock::duration(seconds(2)), ofLooksThatTake(milliseconds(200)));
  EXPECT_EQ(Clock::duration(milliseconds(2010)), ofLooksThatTake(milliseconds(201)));
}

TEST(Pace, IsNotThatOfOneLookDuringWhichTheMachineStoodStill) {
  serve::Pace pace(seconds(2));
  EXPECT_EQ(Clock::duration(seconds(2)), pace.after(seconds(600))) << "the first look";
  EXPECT_EQ(Clock::duration(seconds(2)), pace.after(milliseconds(1)));
  EXPECT_EQ(Clock::duration(seconds(2)), pace.after(seconds(600)));
  EXPECT_EQ(Clock::duration(seconds(2)), pace.after(milliseconds(1)));
  pace.after(seconds(600));
  EXPECT_EQ(Clock::duration(seconds(10)), pace.after(seconds(1))) << "two in a row";
}

TEST(Health, IsWellWhileLooksAreYoung) {
  const Seen seen{.looks = {lookAt(at(0))}};
  const Health health = healthOf(well(), &seen, at(5999));
  EXPECT_TRUE(health.alive);
  EXPECT_TRUE(health.ready);
  EXPECT_EQ(std::vector<std::string>(), health.degraded);
  const Health later = healthOf(well(), &seen, at(6000));
  EXPECT_TRUE(later.alive);
  EXPECT_FALSE(later.ready);
  EXPECT_EQ(std::vector<std::string>{"the last look is 6.0 s old"}, later.degraded);
}

TEST(Health, SaysThatThereWasNoLook) {
  const Health health = healthOf(well(), nullptr, at(0));
  EXPECT_TRUE(health.alive);
  EXPECT_FALSE(health.ready);
  EXPECT_EQ(std::vector<std::string>{"there was no look yet"}, health.degraded);
}

TEST(Health, IsOverWhenTheThreadHangs) {
  const Seen seen{.looks = {lookAt(at(29999))}};
  EXPECT_TRUE(healthOf(well(), &seen, at(29999)).alive);
  EXPECT_FALSE(healthOf(well(), &seen, at(30000)).alive);
  Progress slow = well();
  slow.pace = seconds(60);
  EXPECT_TRUE(healthOf(slow, &seen, at(119999)).alive);
  EXPECT_FALSE(healthOf(slow, &seen, at(120000)).alive);
}

TEST(Health, NamesWhatIsDegradedAndNothingThatWasSeen) {
  auto look = std::make_shared<model::Snapshot>();
  look->error = EACCES;
  auto broker = std::make_shared<model::SeenBroker>();
  broker->segment.state = reader::State::noPermission;
  broker->segment.keyFile = "/tmp/secret.zebcshme";
  reader::Area& area = broker->segment.copy.areas.emplace_back();
  area.name = reader::kStatistics;
  area.cut = 7;
  look->brokers.push_back(broker);
  look->leftOut = {.foreign = 2, .tooMany = 3};
  Seen seen{.looks = {look}};
  seen.findings.notChecked.push_back({"lock", "secret"});
  Progress progress = well();
  progress.pace = milliseconds(2500);
  progress.failure = "the last look failed: memory is short";
  const std::vector<std::string> expected = {
      "the last look failed: memory is short",
      "looks take long: there is one every 2.5 s, not 2.0",
      "the temporary directory can't be read",
      "1 broker can't be read by this user",
      "3 brokers are left out: allow more with --max-brokers",
      "of 1 broker only a part was looked at: allow more with --max-total",
      "not all was checked: run sudo zebmon doctor"};
  EXPECT_EQ(expected, healthOf(progress, &seen, at(0)).degraded);
}

TEST(Watching, GoesOnAfterALookThatFailed) {
  Turns turns;
  int count = 0;
  Watcher watcher({.interval = milliseconds(1)}, eyes([&] {
                    turns.add();
                    if (++count < 3) throw std::bad_alloc();
                    return lookAt(Clock::now());
                  }),
                  kNobody);
  turns.await(5);
  EXPECT_NE(nullptr, watcher.latest());
}

TEST(Watching, SaysThatALookFailedUntilAWholeOneSucceeds) {
  Turns turns;
  int count = 0;
  Watcher watcher({.interval = std::chrono::hours(1)},
                  {.all =
                       [] {
                         return model::FollowLook{{}, {}, lookAt(Clock::now())};
                       },
                   .events =
                       [&] {
                         turns.add();
                         if (++count == 1) throw std::bad_alloc();
                         return model::FollowLook();
                       },
                   .pause = [] { return Clock::duration(0); }},
                  kNobody);
  turns.await(3);
  EXPECT_EQ(1,
            std::ranges::count(watcher.health().degraded, "the last look failed: memory is short"));
}

TEST(Watching, KeepsTheLastTenLooks) {
  Turns turns;
  std::vector<std::size_t> sizes;
  {
    Watcher watcher({.interval = milliseconds(1)}, eyes([&] { return lookAt(Clock::now()); }),
                    toldOf([&](const Seen& seen) {
                      sizes.push_back(seen.looks.size());
                      turns.add();
                    }));
    turns.await(12);
  }
  EXPECT_EQ(1U, sizes[0]);
  EXPECT_EQ(2U, sizes[1]);
  EXPECT_EQ(10U, sizes[9]);
  EXPECT_EQ(10U, sizes[11]);
}

TEST(Watching, HoldsTheBytesOfTheLastTwoLooksAlone) {
  const LiveSegment live("1-2-3", image::segment({image::ordersBlock()}));
  Turns turns;
  std::vector<Look> looks;
  {
    Watcher watcher({.interval = milliseconds(1)}, eyes(lookAtMachine),
                    toldOf([&](const Seen& seen) {
                      looks = seen.looks;
                      turns.add();
                    }));
    turns.await(4);
  }
  for (std::size_t i = 0; i < looks.size(); ++i) {
    const model::SeenBroker& broker = *looks[i]->brokers.at(0);
    EXPECT_EQ(i + 2 < looks.size(), broker.segment.copy.areas.at(0).bytes.empty());
    EXPECT_EQ(i + 2 < looks.size(), !broker.events);
    EXPECT_EQ(0U, broker.cutStatistics());
    EXPECT_EQ("BRK1", broker.label());
  }
}

TEST(Watching, TellsEventsInBetweenAndAllOfThemBeforeTheLookThatHasThem) {
  Turns turns;
  std::vector<std::string> told;
  {
    Watcher watcher({.interval = std::chrono::hours(1)},
                    {.all =
                         [] {
                           auto whole = std::make_shared<model::Snapshot>();
                           model::FollowLook look{{}, {newsOf("/tmp/1", 1, 5)}, whole};
                           whole->brokers.push_back(look.news[0].broker);
                           whole->machine = std::make_shared<model::Machine>();
                           return look;
                         },
                     .events =
                         [] {
                           return model::FollowLook{{}, {newsOf("/tmp/1", 1, 1)}, {}};
                         },
                     .pause = [] { return Clock::duration(0); }},
                    {.news =
                         [&](const model::FollowLook& look) {
                           told.push_back(std::to_string(look.news.at(0).events.size()));
                           turns.add();
                         },
                     .each = [&](const Seen&) { told.push_back("look"); }});
    turns.await(3);
  }
  told.resize(4);
  EXPECT_EQ((std::vector<std::string>{"5", "look", "1", "1"}), told);
}

TEST(Watching, TellsEventsOnceOfASegmentWithTwoKeyFiles) {
  std::vector<std::string> told;
  Watcher watcher({.interval = std::chrono::hours(1)},
                  {.all =
                       [] {
                         auto whole = std::make_shared<model::Snapshot>();
                         model::FollowLook look{{},
                                                {newsOf("/tmp/1", 1, 1), newsOf("/tmp/2", 1, 1),
                                                 newsOf("/tmp/3", 3, 1)},
                                                whole};
                         for (const auto& news : look.news) whole->brokers.push_back(news.broker);
                         return look;
                       }},
                  {.news =
                       [&](const model::FollowLook& look) {
                         for (const auto& news : look.news)
                           told.push_back(news.broker->segment.keyFile);
                       },
                   .each = [](const Seen&) {}});
  EXPECT_TRUE(watcher.waitForFirst());
  EXPECT_EQ((std::vector<std::string>{"/tmp/1", "/tmp/3"}), told);
}

TEST(Watching, ManyReadersCostNoMoreLooks) {
  std::atomic<int> looks{0};
  Watcher watcher({.interval = std::chrono::hours(1)}, eyes([&] {
                    ++looks;
                    return lookAtMachine();
                  }),
                  kNobody);
  EXPECT_TRUE(watcher.waitForFirst());
  const auto latest = watcher.latest();
  const serve::Text text = latest->of(Document::metrics, false);
  for (int i = 0; i < 100; ++i) {
    EXPECT_EQ(text, watcher.latest()->of(Document::metrics, false)) << "the same bytes";
  }
  EXPECT_EQ(1, looks);
}

TEST(Watching, DoesntStayAttached) {
  const LiveSegment live("1-2-3", image::segment({image::ordersBlock()}));
  Watcher watcher({.interval = std::chrono::hours(1)}, eyes(lookAtMachine), kNobody);
  EXPECT_TRUE(watcher.waitForFirst());
  EXPECT_EQ(1U, watcher.latest()->seen().now().brokers.size());
  EXPECT_EQ(0U, live.attached());
}

TEST(Texts, AreWhatTheCommandsWrite) {
  const LiveSegment live("1-2-3", image::segment({image::ordersBlock()}));
  const Texts one({.looks = {lookAtMachine()}});
  EXPECT_EQ("zebmon.brokers", json::parse(*one.of(Document::brokers, false))["schema"]);
  EXPECT_EQ("zebmon.stats", json::parse(*one.of(Document::stats, false))["schema"]);
  EXPECT_EQ("zebmon.doctor", json::parse(*one.of(Document::findings, false))["schema"]);
  EXPECT_EQ(nullptr, one.of(Document::flows, false)) << "one look tells no rates";
  EXPECT_EQ(nullptr, one.of(Document::flows, true));
  const Texts two({.looks = {lookAtMachine(), lookAtMachine()}});
  EXPECT_EQ("zebmon.flow", json::parse(*two.of(Document::flows, false))["schema"]);
  EXPECT_TRUE(two.of(Document::openMetrics, false)->ends_with("# EOF\n"));
  EXPECT_FALSE(two.of(Document::metrics, false)->ends_with("# EOF\n"));
}

TEST(Texts, AreCompressedOnce) {
  const Texts texts({.looks = {lookAtMachine()}});
  const serve::Text small = texts.of(Document::metrics, true);
  EXPECT_EQ(*texts.of(Document::metrics, false), unzipped(*small));
  EXPECT_EQ(small, texts.of(Document::metrics, true));
  EXPECT_EQ("", unzipped(serve::gzipped("")));
}

TEST(Texts, OfThePageGoOnDifferentlyForEach) {
  const serve::GzipHead head(std::string(100000, 'a') + "b");
  EXPECT_EQ(std::string(100000, 'a') + "bc", unzipped(head.with("c")));
  EXPECT_EQ(std::string(100000, 'a') + "b", unzipped(head.with("")));
  EXPECT_EQ("other", unzipped(serve::GzipHead("").with("other")));
  const Texts texts({.looks = {lookAtMachine()}});
  EXPECT_EQ(&texts.page(), &texts.page()) << "made once";
  EXPECT_EQ(texts.page().text + "}", unzipped(texts.page().compressed.with("}")));
}

TEST(Texts, OfOneLookAreMadeByManyThreadsAtOnce) {
  const LiveSegment live("1-2-3", image::segment({image::ordersBlock()}));
  const Texts texts({.looks = {lookAtMachine(), lookAtMachine()}});
  std::vector<std::thread> threads;
  std::mutex guard;
  std::set<serve::Text> all;
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([&] {
      const auto text = texts.of(Document::flows, true);
      const std::lock_guard held(guard);
      all.insert(text);
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(1U, all.size());
}

TEST(Answering, ANewServerAsksForPatience) {
  serve::Journal journal([](const std::string&) {});
  const serve::EventBook events(0, {});
  const serve::Rules rules;
  Turns turns;
  Watcher watcher({.interval = std::chrono::hours(1)},
                  eyes([&]() -> Look { throw std::bad_alloc(); }), kNobody);
  EXPECT_FALSE(watcher.waitForFirst());
  const serve::Keeper keeper({.file = ""}, [](const std::string&) {});
  serve::Answers answers(rules, watcher, events, keeper, nullptr, journal);
  const auto statusOf = [&](const char* target) {
    return answers({.method = "GET", .target = target, .headers = {{"Host", "localhost"}}}).status;
  };
  EXPECT_EQ(503, statusOf("/metrics"));
  EXPECT_EQ(503, statusOf("/readyz"));
  EXPECT_EQ(200, statusOf("/healthz"));
}

}  // namespace watcher_test
