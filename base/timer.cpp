// SPDX-License-Identifier: Apache-2.0
#include "base/timer.h"

#include <sys/time.h>

#include "base/trace.h"

namespace {

constexpr char kUnit[] = "zebctime";

constexpr std::uint32_t kMillisecondsPerSecond = 1000;

}  // namespace

ZEB_Timer::ZEB_Timer() {
  ZEB_Trace trace(kUnit, "ZEB_Timer::ZEB_Timer");
}

void ZEB_Timer::init() {
  ZEB_Trace trace(kUnit, "ZEB_Timer::init");
  start_ = {};
  stop_ = {};
}

int ZEB_Timer::start() {
  ZEB_Trace trace(kUnit, "ZEB_Timer::start");
  init();
  start_ = nowTime();
  return trace.leave(status_);
}

int ZEB_Timer::stop() {
  ZEB_Trace trace(kUnit, "ZEB_Timer::stop");
  stop_ = nowTime();
  return trace.leave(status_);
}

_TimeStamp ZEB_Timer::elapsedTime() const {
  ZEB_Trace trace(kUnit, "ZEB_Timer::elapsedTime");
  return elapsedTime(start_, stop_);
}

_TimeStamp ZEB_Timer::nowTime() {
  ZEB_Trace trace(kUnit, "ZEB_Timer::nowTime");
  timeval now{};
  gettimeofday(&now, nullptr);
  return {static_cast<std::uint32_t>(now.tv_sec), static_cast<std::uint32_t>(now.tv_usec / 1000)};
}

_TimeStamp ZEB_Timer::elapsedTime(_TimeStamp from) {
  ZEB_Trace trace(kUnit, "ZEB_Timer::elapsedTime");
  return elapsedTime(from, nowTime());
}

_TimeStamp ZEB_Timer::elapsedTime(_TimeStamp from, _TimeStamp to) {
  ZEB_Trace trace(kUnit, "ZEB_Timer::elapsedTime");
  if (to.seconds < from.seconds) return {};
  const std::uint32_t seconds = to.seconds - from.seconds;
  if (to.milliseconds >= from.milliseconds) return {seconds, to.milliseconds - from.milliseconds};
  if (seconds == 0) return {};
  return {seconds - 1, to.milliseconds + kMillisecondsPerSecond - from.milliseconds};
}
