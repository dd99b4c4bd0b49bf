// SPDX-License-Identifier: Apache-2.0
#include "agent/front/serve/watcher.h"

#include <fmt/format.h>

#include <algorithm>
#include <exception>

#include "agent/model/flow_view.h"

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

void addWhatWasSeen(const Seen& seen, std::vector<std::string>& degraded) {
  const model::Snapshot& now = seen.now();
  if (now.error != 0) degraded.push_back("the temporary directory can't be read");
  const auto unread = std::ranges::count_if(now.brokers, cantBeRead);
  if (unread > 0) degraded.push_back(fmt::format("{} brokers can't be read by this user", unread));
  if (!seen.findings.notChecked.empty()) {
    degraded.push_back("not all was checked: run sudo zebmon doctor");
  }
}

}  // namespace

Clock::duration paceOf(Clock::duration interval, Clock::duration turn) {
  return std::max(interval, turn * kShareOfATurn);
}

Health healthOf(const Progress& progress, const Seen* seen, Clock::time_point now) {
  Health health;
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

Watcher::Watcher(Settings settings, Look look, Each each)
    : settings_(std::move(settings)), look_(std::move(look)), each_(std::move(each)) {
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
  while (!stop_) {
    const auto begin = Clock::now();
    progress_.alive = begin;
    held.unlock();
    try {
      turn();
      setFailure("");
    } catch (const std::exception&) {
      setFailure("the last look failed: memory is short");
    }
    held.lock();
    const auto end = Clock::now();
    progress_.alive = end;
    progress_.pace = paceOf(settings_.interval, end - begin);
    turned_ = true;
    changed_.notify_all();
    changed_.wait_until(held, begin + progress_.pace, [this] { return stop_; });
  }
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
  auto look = look_();
  Seen seen{.took = Clock::now() - begin, .version = settings_.version};
  seen.findings = model::findingsOf(before(*look).get(), *look);
  looks_.push_back(std::move(look));
  if (looks_.size() > model::kMostLooks) looks_.erase(looks_.begin());
  seen.looks = looks_;
  each_(seen);
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
