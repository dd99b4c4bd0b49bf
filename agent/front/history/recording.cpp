// SPDX-License-Identifier: Apache-2.0
#include "agent/front/history/recording.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace history {
namespace {

constexpr std::size_t kMostWaiting = 4;
constexpr std::size_t kMostKept = 100000;  // events

std::int64_t wallMs() {
  return std::chrono::duration_cast<std::chrono::milliseconds>(
             std::chrono::system_clock::now().time_since_epoch())
      .count();
}

// Moves as many news behind the others as memory is meant for.
void append(std::vector<model::News>& all, std::vector<model::News> more) {
  std::size_t events = 0;
  for (const model::News& one : all) events += one.events.size();
  for (model::News& one : more) {
    events += one.events.size();
    if (events > kMostKept) return;
    all.push_back(std::move(one));
  }
}

const std::string& prepared(const std::string& path) {
  prepare(path);
  return path;
}

std::string problemOf(const Failure& failure) {
  switch (failure.kind()) {
    case Failure::Kind::full:
      return "the history is not written: there is no room. Make some on its disk";
    case Failure::Kind::busy:
      return "the history is not written: another program holds its file. End that program";
    default:
      return std::string("the history is not written: ") + failure.what() +
             ". Look at its file and its disk";
  }
}

}  // namespace

Recording::Recording(Limits limits, std::function<void(const std::string&)> say)
    : limits_(std::move(limits)), say_(std::move(say)), lock_(prepared(limits_.path)) {
  try {
    open();
  } catch (const Failure& failure) {
    fail(failure);
  }
  thread_ = std::thread([this] { run(); });
}

Recording::~Recording() {
  {
    const std::lock_guard held(guard_);
    stop_ = true;
  }
  changed_.notify_all();
  thread_.join();
}

void Recording::take(std::vector<model::News> news) {
  const std::lock_guard held(guard_);
  append(news_, std::move(news));
}

void Recording::take(Sight sight) {
  const std::lock_guard held(guard_);
  if (waiting_.size() >= kMostWaiting) {
    leftOut_ = true;
    return;
  }
  sight.behindLost = sight.behindLost || std::exchange(leftOut_, false);
  append(news_, std::move(sight.news));
  sight.news = std::exchange(news_, {});
  waiting_.push_back(std::move(sight));
  changed_.notify_all();
}

Recording::Status Recording::status() const {
  const std::lock_guard held(guard_);
  return status_;
}

void Recording::flush() {
  std::unique_lock held(guard_);
  changed_.wait(held, [this] { return waiting_.empty() && !busy_; });
}

void Recording::run() {
  std::unique_lock held(guard_);
  while (true) {
    changed_.wait(held, [this] { return stop_ || !waiting_.empty(); });
    if (waiting_.empty()) break;
    Sight sight = std::move(waiting_.front());
    waiting_.pop_front();
    busy_ = true;
    held.unlock();
    write(std::move(sight));
    held.lock();
    busy_ = false;
    changed_.notify_all();
  }
  held.unlock();
  store_.reset();
}

void Recording::set(State state, const std::string& problem) {
  {
    const std::lock_guard held(guard_);
    if (status_.state == state && status_.problem == problem) return;
    status_ = {.state = state, .problem = problem};
  }
  say_(problem.empty() ? "the history goes on" : problem);
}

void Recording::open() {
  try {
    store_ = std::make_unique<Store>(limits_, wallMs());
  } catch (const Failure& failure) {
    if (failure.kind() != Failure::Kind::damaged) throw;
    replaceDamaged();
  }
}

void Recording::replaceDamaged() {
  store_.reset();
  const std::int64_t now = wallMs();
  const std::string name = setAside(limits_.path, now / 1000);
  say_("the history was damaged and is now " + name + "; a new one begins");
  prepare(limits_.path);
  store_ = std::make_unique<Store>(limits_, now);
}

void Recording::fail(const Failure& failure) {
  store_.reset();
  set(State::failed, problemOf(failure));
}

// What can't be written now waits for the next sight, as far as memory is meant for that.
void Recording::write(Sight sight) {
  if (lost_) sight.behindLost = true;
  append(kept_, std::move(sight.news));
  sight.news = std::exchange(kept_, {});
  try {
    tryToWrite(sight);
  } catch (const Failure& failure) {
    fail(failure);
    lost_ = true;
  } catch (const Refusal& refusal) {
    store_.reset();
    set(State::failed, refusal.sentence);
    lost_ = true;
  } catch (const std::exception&) {
    store_.reset();
    set(State::failed, "the history is not written: memory is short");
    lost_ = true;
  }
  if (lost_) kept_ = std::move(sight.news);
}

void Recording::tryToWrite(const Sight& sight) {
  if (!store_) open();
  bool written = false;
  try {
    written = store_->record(sight);
  } catch (const Failure& failure) {
    if (failure.kind() != Failure::Kind::damaged) throw;
    replaceDamaged();
    written = store_->record(sight);
  }
  lost_ = !written;
  if (written) {
    set(State::ok, "");
  } else {
    set(State::paused,
        "the history is paused: a reader keeps its write-ahead log from being emptied. End it");
  }
}

std::uint64_t expectedBytes(std::uint64_t nodes, double secondsBetweenLooks) {
  const double looks = static_cast<double>(kKeepLooksMs) / 1000 / secondsBetweenLooks;
  const double rows = looks + static_cast<double>(kKeepMinutesMs / kMinuteMs) +
                      static_cast<double>(kKeepHoursMs / kHourMs);
  return nodes * static_cast<std::uint64_t>(rows * static_cast<double>(kRowBytes));
}

}  // namespace history
