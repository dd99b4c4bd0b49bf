// SPDX-License-Identifier: Apache-2.0
// When a look was, as a history says it.
#ifndef ZEB_AGENT_FRONT_HISTORY_MOMENT_H
#define ZEB_AGENT_FRONT_HISTORY_MOMENT_H

#include <cstdint>

namespace history {

struct Moment {
  std::int64_t look = 0;      // its number; 0: there was none
  std::int64_t wallMs = 0;    // since 1970
  std::int64_t steadyMs = 0;  // by the clock that nobody sets
};

inline constexpr std::int64_t kMinuteMs = 60 * 1000;
inline constexpr std::int64_t kPartMs = 10 * kMinuteMs;
inline constexpr std::int64_t kHourMs = 60 * kMinuteMs;
inline constexpr std::int64_t kDayMs = 24 * kHourMs;

// How long each step is kept.
inline constexpr std::int64_t kKeepLooksMs = 6 * kHourMs;
inline constexpr std::int64_t kKeepMinutesMs = 14 * kDayMs;  // and events with their gaps
inline constexpr std::int64_t kKeepHoursMs = 731 * kDayMs;   // and marks, findings, spans

}  // namespace history

#endif  // ZEB_AGENT_FRONT_HISTORY_MOMENT_H
