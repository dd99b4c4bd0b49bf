// SPDX-License-Identifier: Apache-2.0
#include "agent/front/serve/watcher.h"

#include <fmt/format.h>

#include <algorithm>
#include <concepts>
#include <exception>

#include "agent/model/condition.h"
#include "agent/model/findings/kinds.h"
#include "agent/model/findings/whereabouts.h"
#include "agent/model/flow_view.h"
#include "agent/model/lightened.h"

namespace serve {
namespace {

using std::chrono::duration_cast;
using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr seconds kApart(1);  // of two looks that findings compare
constexpr int kShareOfATurn = 10;
constexpr int kReadyFor = 3;  // intervals
constexpr seconds kPatience(30);

double secondsOf(Clock::duration time) {
  return std::chrono::duration<double>(duration_cast<milliseconds>(time)).count();
}

bool cantBeRead(const std::shared_ptr<const model::SeenBroker>& broker) {
  using reader::State;
  const State state = broker->segment.state;
  return state == State::noPermission || state == State::failed;
}

std::string brokers(std::integral auto number) {
  return model::findings::counted(static_cast<std::uint64_t>(number), "broker", "brokers");
}

bool isCut(const std::shared_ptr<const model::SeenBroker>& broker) {
  return broker->cutStatistics() + broker->cutEvents() > 0;
}

void addWhatWasSeen(const Seen& seen, std::vector<std::string>& degraded) {
  const model::Snapshot& now = seen.now();
  if (now.error != 0) degraded.push_back("the temporary directory can't be read");
  const auto unread = std::ranges::count_if(now.brokers, cantBeRead);
  if (unread > 0) degraded.push_back(brokers(unread) + " can't be read by this user");
  if (now.leftOut.tooMany > 0) {
    degraded.push_back(fmt::format("{} {} left out: allow more with --max-brokers",
                                   brokers(now.leftOut.tooMany),
                                   now.leftOut.tooMany == 1 ? "is" : "are"));
  }
  const auto parts = std::ranges::count_if(now.brokers, isCut);
  if (parts > 0) {
    degraded.push_back(fmt::format("of {} only a part was looked at: allow more with --max-total",
                                   brokers(parts)));
  }
  if (!seen.findings.notChecked.empty()) {
    degraded.push_back("not all was checked: run sudo zebmon doctor");
  }
}

// No shorter than the interval, and long enough for a turn to take a tenth of it.
Clock::duration paceOf(Clock::duration interval, Clock::duration turn) {
  return std::max(interval, turn * kShareOfATurn);
}

}  // namespace

Clock::duration Pace::after(Clock::duration turn) {
  return paceOf(interval_, std::min(turn, std::exchange(before_, turn)));
}

Health healthOf(const Progress& progress, const Seen* seen, Clock::time_point now) {
  Health health;
  health.pace = progress.pace;
  health.alive = now - progress.alive < std::max<Clock::duration>(kPatience, 2 * progress.pace);
  if (!health.alive) health.degraded.push_back("the collector doesn't answer: start zebmon again");
  if (!progress.failure.empty()) health.degraded.push_back(progress.failure);
  if (progress.pace > progress.interval) {
    health.degraded.push_back(
        fmt::format("looks take long: there is one every {:.1f} s, not {:.1f}",
                    secondsOf(progress.pace), secondsOf(progress.interval)));
  }
  if (seen == nullptr) {
    health.degraded.push_back("there was no look yet");
    return health;
  }
  const auto age = now - seen->now().steady;
  health.ready = age < kReadyFor * progress.pace;
  if (!health.ready) {
    health.degraded.push_back(fmt::format("the last look is {:.1f} s old", secondsOf(age)));
  }
  addWhatWasSeen(*seen, health.degraded);
  return health;
}

Watcher::Watcher(Settings settings, Eyes eyes, Sinks sinks)
    : settings_(std::move(settings)), eyes_(std::move(eyes)), sinks_(std::move(sinks)) {
  progress_ = {.interval = settings_.interval,
               .pace = settings_.interval,
               .alive = Clock::now(),
               .failure = {}};
  thread_ = std::thread([this] { run(); });
}

Watcher::~Watcher() {
  {
    const std::lock_guard held(guard_);
    stop_ = true;
  }
  changed_.notify_all();
  thread_.join();
}

void Watcher::setFailure(const std::string& why) {
  const std::lock_guard held(guard_);
  progress_.failure = why;
}

void Watcher::run() {
  std::unique_lock held(guard_);
  auto due = Clock::now();
  Pace pace(settings_.interval);
  while (!stop_) {
    const auto begin = Clock::now();
    const bool all = begin >= due;
    progress_.alive = begin;
    held.unlock();
    try {
      all ? turn() : glance();
      if (all) setFailure("");
    } catch (const std::exception&) {
      setFailure("the last look failed: memory is short");
    }
    held.lock();
    progress_.alive = Clock::now();
    if (all) {
      progress_.pace = pace.after(progress_.alive - begin);
      due = begin + progress_.pace;
      turned_ = true;
      changed_.notify_all();
    }
    changed_.wait_until(held, next(due, begin), [this] { return stop_; });
  }
}

// When to look again, after a look that began then.
Clock::time_point Watcher::next(Clock::time_point due, Clock::time_point begin) const {
  if (!eyes_.events || looks_.empty()) return due;
  const auto pause = std::max<Clock::duration>(eyes_.pause(), kShortestGlance);
  return std::min(due, begin + paceOf(pause, Clock::now() - begin));
}

void Watcher::glance() {
  tell(eyes_.events());
}

// Of several key files that lead to one segment, the first tells its events.
void Watcher::tell(model::FollowLook look) {
  std::erase_if(look.news, [this](const model::News& news) {
    return !keyFiles_.contains(news.broker->segment.keyFile);
  });
  add(posted_, look, looks_.empty());
  sinks_.news(look);
}

// The newest look that is old enough to be compared with this one.
std::shared_ptr<const model::Snapshot> Watcher::before(const model::Snapshot& now) const {
  for (auto at = looks_.rbegin(); at != looks_.rend(); ++at) {
    if (now.steady - (*at)->steady >= kApart) return *at;
  }
  return {};
}

void Watcher::turn() {
  const auto begin = Clock::now();
  model::FollowLook look = eyes_.all();
  Seen seen{.took = Clock::now() - begin,
            .version = settings_.version,
            .flows = settings_.flows,
            .metrics = settings_.metrics};
  const std::shared_ptr<const model::Snapshot> now = look.whole;
  keyFiles_.clear();
  for (const auto& broker : model::distinct(*now).brokers) {
    keyFiles_.insert(broker->segment.keyFile);
  }
  constexpr std::size_t kMostGone = 1000;
  if (posted_.size() > keyFiles_.size() + kMostGone) {
    std::erase_if(posted_, [this](const auto& of) { return !keyFiles_.contains(of.first); });
  }
  tell(std::move(look));
  seen.findings = model::select(model::findingsOf(before(*now).get(), *now), *now,
                                {.owners = settings_.owners});
  model::complete(seen.findings, {.directory = settings_.directory});
  if (looks_.empty()) started_ = now->wall;
  looks_.push_back(now);
  // Older ones only tell what grew.
  if (looks_.size() > 2) {
    auto& older = looks_[looks_.size() - 3];
    older = model::lightened(*older);
  }
  if (looks_.size() > model::kMostLooks) looks_.erase(looks_.begin());
  seen.looks = looks_;
  seen.posted = posted_;
  seen.started = started_;
  sinks_.each(seen);
  auto texts = std::make_shared<const Texts>(std::move(seen));
  const std::lock_guard held(guard_);
  latest_ = std::move(texts);
}

std::shared_ptr<const Texts> Watcher::latest() const {
  const std::lock_guard held(guard_);
  return latest_;
}

bool Watcher::waitForFirst() {
  std::unique_lock held(guard_);
  changed_.wait(held, [this] { return turned_; });
  return latest_ != nullptr;
}

Health Watcher::health() const {
  const std::lock_guard held(guard_);
  return healthOf(progress_, latest_ ? &latest_->seen() : nullptr, Clock::now());
}

}  // namespace serve
