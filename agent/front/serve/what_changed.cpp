// SPDX-License-Identifier: Apache-2.0
#include "agent/front/serve/what_changed.h"

#include <algorithm>
#include <ctime>

#include "agent/front/history/what_changed.h"
#include "agent/render/past_screens.h"

namespace serve {
namespace {

constexpr std::int64_t kDayMs = 86400000;

model::Period dayBefore(std::int64_t end) {
  return {std::max<std::int64_t>(end - kDayMs, 0), end};
}

std::string textOf(const std::vector<model::PastChange>& changes, const model::Period& period,
                   const char* state) {
  render::Json document = render::changesDocument(changes, period);
  document["state"] = state;
  return render::written(document, true);
}

}  // namespace

std::chrono::steady_clock::duration restAfter(std::chrono::steady_clock::duration work) {
  constexpr std::chrono::minutes kLeast{1};
  constexpr int kTimes = 50;
  return std::max<std::chrono::steady_clock::duration>(kLeast, kTimes * work);
}

WhatChanged::WhatChanged(Make make) : make_(std::move(make)), thread_([this] { run(); }) {}

WhatChanged::~WhatChanged() {
  {
    const std::lock_guard lock(guard_);
    stop_ = true;
  }
  changed_.notify_all();
  thread_.join();
}

Text WhatChanged::latest(Clock::time_point now) {
  const std::lock_guard lock(guard_);
  if (!wanted_ && now >= due_) {
    wanted_ = true;
    changed_.notify_all();
  }
  return text_;
}

void WhatChanged::settle() {
  std::unique_lock lock(guard_);
  changed_.wait(lock, [this] { return !wanted_; });
}

bool WhatChanged::goesOn() {
  const std::lock_guard lock(guard_);
  return !stop_;
}

void WhatChanged::run() {
  std::unique_lock lock(guard_);
  while (true) {
    changed_.wait(lock, [this] { return wanted_ || stop_; });
    if (stop_) return;
    lock.unlock();
    const auto begin = Clock::now();
    std::string text;
    try {
      text = make_([this] { return goesOn(); });
    } catch (const std::exception&) {
      // The text before stays. A request behind the rest tries again.
    }
    const auto end = Clock::now();
    lock.lock();
    if (!text.empty()) text_ = std::make_shared<const std::string>(std::move(text));
    due_ = end + restAfter(end - begin);
    wanted_ = false;
    changed_.notify_all();
  }
}

std::string noChanges(const char* state) {
  return textOf({}, dayBefore(std::int64_t{std::time(nullptr)} * 1000), state);
}

WhatChanged::Make changesOfLastDay(std::string path, std::shared_ptr<const flowfile::File> flows) {
  return [path = std::move(path), flows = std::move(flows)](const std::function<bool()>& goOn) {
    const history::Reader reader(path);
    const model::Period period = dayBefore(reader.lastLook() + 1);
    model::FlowKnowledge known;
    known.file = flows.get();
    const auto changes = history::changesIn(reader, period, {}, known, goOn);
    return goOn() ? textOf(changes, period, "ok") : std::string();
  };
}

}  // namespace serve
