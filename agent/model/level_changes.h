// SPDX-License-Identifier: Apache-2.0
// Where a noisy series of minutes changed its level for good: docs/changes.md explains the method.
#ifndef ZEB_AGENT_MODEL_LEVEL_CHANGES_H
#define ZEB_AGENT_MODEL_LEVEL_CHANGES_H

#include <cstddef>
#include <limits>
#include <span>
#include <vector>

namespace model {

// What stands for a minute without a value.
inline constexpr double kNoValue = std::numeric_limits<double>::quiet_NaN();

// What counts as a change. Values are on a scale where the same change is the same distance: mostly
// natural logarithms.
struct LevelTest {
  double least = 0;  // smaller steps are none
  double noise = 0;  // no minute is known better than that

  // A new level must explain so much more than chance does: the square of a distance in standard
  // deviations. Of less than fifty minutes it must explain more by `surcharge`.
  double price = 0;
  double surcharge = 0;
};

// The places of the first minutes of new levels, in their order. A minute may be without a value.
// Nothing while there are less than two hours of values.
//
// Extremes don't move a level, a drift of hours doesn't begin one, and neighbouring minutes may
// depend on each other. Made for days, not for years: the time grows with the square of the length.
std::vector<std::size_t> levelChanges(std::span<const double> minutes, const LevelTest& test);

// A series without its daily rhythm. Each minute is compared with the level of its time of day in
// earlier days: `hours` are their values, a multiple of 24 of them, the first for the hour that
// begins at the minute 0 of a day. `first` is the minute of the day at which `minutes` begins.
// Minutes whose time of day has values in less than three earlier days lose theirs.
std::vector<double> withoutRhythm(std::span<const double> minutes, std::size_t first,
                                  std::span<const double> hours);

// Whether the hours of those days differ by their time of day by more than they differ anyway.
// False with less than three days.
bool hasRhythm(std::span<const double> hours);

}  // namespace model

#endif  // ZEB_AGENT_MODEL_LEVEL_CHANGES_H
