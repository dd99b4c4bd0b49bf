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

// The areas stay with what was cut of them. Of events nothing is, where the look reads their tail.
void letGo(reader::SegmentCopy& copy, bool events) {
  for (reader::Area& area : copy.areas) {
    area.letGo();
    if (!events && area.name != reader::kStatistics) area.cut = 0;
  }
}

}  // namespace

milliseconds pauseFor(std::uint64_t slots, double perSecond, milliseconds most) {
  const milliseconds least = perSecond < kBusy ? kShortestQuiet : kShortest;
  const milliseconds burst = std::max(quarterTurn(slots, kBurst), least);
  const milliseconds seen = std::max(quarterTurn(slots, perSecond), kShortest);
  return std::min({burst, seen, most});
}

Follower::Follower(const std::string& directory, milliseconds most, FollowOptions options)
    : directory_(reader::keyFileDirectory(directory)), most_(most), options_(std::move(options)) {}

void Follower::begin() {
  before_ = std::exchange(begun_, Clock::now());
}

FollowLook Follower::look() {
  const bool due = Clock::now() - whole_ >= most_;
  return followed_.empty() || due ? lookAtAll() : lookAtEvents();
}

FollowLook Follower::lookAtEvents() {
  begin();
  FollowLook look{.wall = std::chrono::system_clock::now(), .news = {}, .whole = nullptr};
  std::uint64_t left = options_.scope.mostTotal;
  for (auto& [keyFile, followed] : followed_) {
    if (followed.broker) lookAtEvents(followed, left, look);
  }
  return look;
}

FollowLook Follower::lookAtAll() {
  begin();
  whole_ = begun_;
  auto whole = std::make_shared<Snapshot>();
  whole->wall = std::chrono::system_clock::now();
  whole->steady = begun_;
  whole->directory = directory_;
  reader::KeyFiles files = reader::findKeyFiles(directory_);
  whole->error = files.error;
  FollowLook look{.wall = whole->wall, .news = {}, .whole = nullptr};
  Chosen chosen = choose(std::move(files.paths), options_.scope, [this](const std::string& path) {
    const auto known = followed_.find(path);
    return known != followed_.end() && known->second.broker &&
           known->second.broker->segment.size > 0;
  });
  whole->leftOut = chosen.leftOut;
  std::uint64_t left = options_.scope.mostTotal;
  for (const std::string& path : chosen.keyFiles) {
    Followed& followed = followed_[path];
    followed.keyFile = path;
    followed.waits = false;
    look.news.push_back(lookAt(followed, secondsOf(*whole), left, true));
  }
  std::ranges::sort(look.news, {}, [](const News& news) { return news.broker->segment.keyFile; });
  for (const News& news : look.news) whole->brokers.push_back(news.broker);
  std::ranges::sort(chosen.keyFiles);
  forgetAllBut(chosen.keyFiles);
  whole->machine = machineOf(*whole, options_.machine);
  look.whole = std::move(whole);
  return look;
}

// A broker that comes back within a while is known again.
void Follower::forgetAllBut(const std::vector<std::string>& keyFiles) {
  constexpr std::size_t kMostAway = 1000;
  for (auto& [path, followed] : followed_) {
    if (!std::ranges::binary_search(keyFiles, path)) followed.broker.reset();
  }
  if (followed_.size() > keyFiles.size() + kMostAway) {
    std::erase_if(followed_, [](const auto& followed) { return !followed.second.broker; });
  }
}

// Counts are read before the events are copied, and after.
News Follower::lookAt(Followed& followed, std::int64_t wall, std::uint64_t& left, bool whole) {
  reader::CopyBounds bounds{.mostBytes = std::min(options_.scope.mostBytes, left), .events = false};
  const SeenBroker before = decoded(reader::readSegment(followed.keyFile, bounds), wall);
  const auto mark = isComplete() ? std::nullopt : followed.log.mark();
  const auto tail =
      mark ? reader::readTail(followed.keyFile, *mark, bounds.mostBytes) : std::nullopt;
  bounds.events = !tail;
  SeenBroker after = decoded(reader::readSegment(followed.keyFile, bounds), wall);
  News news;
  reader::EventLog::Batch batch;
  if (tail) {
    left -= std::min(left, tail->bytes());
    batch = followed.log.read(*tail, after.damage);
  } else if (after.segment.size > 0) {
    batch = followed.log.read(after.segment, after.damage);
  }
  makeNearest(batch, wall);
  keep(followed, batch);
  if (whole && isComplete() && after.segment.size > 0)
    after.events = std::exchange(followed.kept, {});
  for (const reader::Area& area : after.segment.copy.areas) {
    left -= std::min<std::uint64_t>(left, area.bytes.size());
  }
  if (!isComplete()) letGo(after.segment.copy, bounds.events);
  followed.broker = news.broker = std::make_shared<const SeenBroker>(std::move(after));
  if (news.broker->segment.size == 0) return news;
  CountedLook look{news.broker, {}, std::chrono::system_clock::now()};
  if (before.tree && before.segment.id == news.broker->segment.id)
    look.before = messageCountsOf(*before.tree);
  news.gaps = followed.gaps.count(look, batch, options_.known);
  measure(followed, batch.events.size() + batch.missed);
  news.events = std::move(batch.events);
  return news;
}

// The oldest go.
void Follower::keep(Followed& followed, const reader::EventLog::Batch& batch) const {
  if (!isComplete()) return;
  reader::EventLog::Batch& kept = followed.kept;
  kept.missed += batch.missed;
  kept.perTurn = std::max(kept.perTurn, batch.perTurn);
  kept.overrun = kept.overrun || batch.overrun;
  const std::size_t fresh = std::min(batch.events.size(), kMostKept);
  kept.events.insert(kept.events.end(), batch.events.end() - static_cast<std::ptrdiff_t>(fresh),
                     batch.events.end());
  if (kept.events.size() <= kMostKept && fresh == batch.events.size()) return;
  kept.overrun = true;
  const std::size_t over = kept.events.size() - std::min(kept.events.size(), kMostKept);
  kept.events.erase(kept.events.begin(), kept.events.begin() + static_cast<std::ptrdiff_t>(over));
}

void Follower::lookAtEvents(Followed& followed, std::uint64_t& left, FollowLook& look) {
  const auto mark = followed.log.mark();
  if (followed.waits || (!mark && followed.broker->segment.size > 0)) return;
  const std::int64_t wall = secondsOf(look.wall);
  const std::uint64_t most = std::min(options_.scope.mostBytes, left);
  const auto tail = mark ? reader::readTail(followed.keyFile, *mark, most) : std::nullopt;
  if (!tail) {
    News news = lookAt(followed, wall, left, false);
    followed.waits = news.broker->segment.size > 0 && news.events.empty();
    if (!news.gaps.empty() || !news.events.empty()) look.news.push_back(std::move(news));
    return;
  }
  left -= std::min(left, tail->bytes());
  reader::DamageList damage;
  reader::EventLog::Batch batch = followed.log.read(*tail, damage);
  makeNearest(batch, wall);
  keep(followed, batch);
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

milliseconds Follower::eventPause() const {
  milliseconds shortest = most_;
  for (const auto& [keyFile, followed] : followed_) {
    if (!followed.broker) continue;
    const std::uint64_t slots = slotsOf(followed.broker->segment);
    shortest = std::min(shortest, pauseFor(slots, followed.perSecond, most_));
  }
  return shortest;
}

milliseconds Follower::pause() const {
  const Clock::time_point due = std::min(begun_ + eventPause(), whole_ + most_);
  return std::max(milliseconds(0), std::chrono::ceil<milliseconds>(due - Clock::now()));
}

}  // namespace model
