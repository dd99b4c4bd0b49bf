// SPDX-License-Identifier: Apache-2.0
#include "agent/model/follower.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "agent/model/calendar.h"
#include "agent/reader/temporary_directory.h"
#include "format/sizes.h"

namespace model {

using std::chrono::milliseconds;

namespace {

// The seconds in which a quarter of the ring is written, in milliseconds; never more than a day.
milliseconds quarterTurn(std::uint64_t slots, double perSecond) {
  constexpr double kDay = 24 * 3600 * 1000.0;
  const double ms = perSecond > 0 ? static_cast<double>(slots) / 4 / perSecond * 1000 : kDay;
  return milliseconds(static_cast<std::int64_t>(std::min(ms, kDay)));
}

std::uint64_t slotsOf(const reader::Segment& segment) {
  return segment.size / layout::kAreas / layout::evdr::bytes;
}

}  // namespace

milliseconds pauseFor(std::uint64_t slots, double perSecond, milliseconds most) {
  const milliseconds least = perSecond < kBusy ? kShortestQuiet : kShortest;
  const milliseconds burst = std::max(quarterTurn(slots, kBurst), least);
  const milliseconds seen = std::max(quarterTurn(slots, perSecond), kShortest);
  return std::min({burst, seen, most});
}

Follower::Follower(const std::string& directory, milliseconds most, FlowKnowledge known)
    : directory_(reader::keyFileDirectory(directory)), most_(most), known_(std::move(known)) {}

FollowLook Follower::look() {
  before_ = std::exchange(begun_, Clock::now());
  if (followed_.empty() || begun_ - whole_ >= most_) return lookAtAll();
  FollowLook look{.wall = std::chrono::system_clock::now(), .news = {}, .whole = nullptr};
  for (auto& [keyFile, followed] : followed_) {
    if (followed.broker) lookAtEvents(followed, look);
  }
  return look;
}

FollowLook Follower::lookAtAll() {
  whole_ = begun_;
  auto whole = std::make_shared<Snapshot>();
  whole->wall = std::chrono::system_clock::now();
  whole->steady = begun_;
  whole->directory = directory_;
  const reader::KeyFiles files = reader::findKeyFiles(directory_);
  whole->error = files.error;
  FollowLook look{.wall = whole->wall, .news = {}, .whole = nullptr};
  for (const std::string& path : files.paths) {
    Followed& followed = followed_[path];
    followed.keyFile = path;
    followed.waits = false;
    look.news.push_back(lookAt(followed, secondsOf(*whole)));
    whole->brokers.push_back(followed.broker);
  }
  for (auto& [path, followed] : followed_) {
    if (!std::ranges::binary_search(files.paths, path)) followed.broker.reset();
  }
  look.whole = std::move(whole);
  return look;
}

// Counts are read before the events are copied, and after.
News Follower::lookAt(Followed& followed, std::int64_t wall) {
  const SeenBroker before =
      decoded(reader::readSegment(followed.keyFile, reader::CopyBounds{.events = false}), wall);
  const auto mark = followed.log.mark();
  const auto tail = mark ? reader::readTail(followed.keyFile, *mark) : std::nullopt;
  SeenBroker after =
      decoded(reader::readSegment(followed.keyFile, tail ? reader::CopyBounds{.events = false}
                                                         : reader::CopyBounds{}),
              wall);
  News news;
  reader::EventLog::Batch batch;
  if (tail) {
    batch = followed.log.read(*tail, after.damage);
  } else if (after.segment.size > 0) {
    batch = followed.log.read(after.segment, after.damage);
  }
  makeNearest(batch, wall);
  after.segment.copy.areas.clear();
  followed.broker = news.broker = std::make_shared<const SeenBroker>(std::move(after));
  if (news.broker->segment.size == 0) return news;
  CountedLook look{news.broker, {}, std::chrono::system_clock::now()};
  if (before.tree && before.segment.id == news.broker->segment.id)
    look.before = messageCountsOf(*before.tree);
  news.gaps = followed.gaps.count(look, batch, known_);
  measure(followed, batch.events.size() + batch.missed);
  news.events = std::move(batch.events);
  return news;
}

void Follower::lookAtEvents(Followed& followed, FollowLook& look) {
  const auto mark = followed.log.mark();
  if (followed.waits || (!mark && followed.broker->segment.size > 0)) return;
  const std::int64_t wall = secondsOf(look.wall);
  const auto tail = mark ? reader::readTail(followed.keyFile, *mark) : std::nullopt;
  if (!tail) {
    News news = lookAt(followed, wall);
    followed.waits = news.broker->segment.size > 0 && news.events.empty();
    if (!news.gaps.empty() || !news.events.empty()) look.news.push_back(std::move(news));
    return;
  }
  reader::DamageList damage;
  reader::EventLog::Batch batch = followed.log.read(*tail, damage);
  makeNearest(batch, wall);
  followed.gaps.see(batch.events);
  measure(followed, batch.events.size());
  if (!batch.events.empty())
    look.news.push_back({.broker = followed.broker, .gaps = {}, .events = std::move(batch.events)});
}

// A rate falls slowly: bursts come again.
void Follower::measure(Followed& followed, std::uint64_t events) {
  const std::chrono::duration<double> span = begun_ - before_;
  const bool first = before_ == Clock::time_point();
  const double now = first || span.count() <= 0 ? 0 : static_cast<double>(events) / span.count();
  followed.perSecond = std::max(now, followed.perSecond / 2);
}

milliseconds Follower::pause() const {
  milliseconds shortest = most_;
  for (const auto& [keyFile, followed] : followed_) {
    if (!followed.broker) continue;
    const std::uint64_t slots = slotsOf(followed.broker->segment);
    shortest = std::min(shortest, pauseFor(slots, followed.perSecond, most_));
  }
  const Clock::time_point due = std::min(begun_ + shortest, whole_ + most_);
  return std::max(milliseconds(0), std::chrono::ceil<milliseconds>(due - Clock::now()));
}

}  // namespace model
