// SPDX-License-Identifier: Apache-2.0
#include "host/run/drill_plan.h"

namespace host {

using State = DrillResult::State;

std::optional<std::chrono::nanoseconds> DrillPlan::next() const {
  if (next_ == drills_.size()) return std::nullopt;
  return drills_[next_].at;
}

std::optional<std::size_t> DrillPlan::due(std::chrono::nanoseconds now) const {
  if (next_ == drills_.size() || drills_[next_].at > now) return std::nullopt;
  return next_;
}

void DrillPlan::finish(std::size_t place, const std::string& problem) {
  if (place >= results_.size()) return;
  results_[place] = {problem.empty() ? State::done : State::failed, problem};
}

bool DrillPlan::isBegun(std::size_t place, std::size_t group) const {
  return drills_[place].group == group && results_[place].state == State::begun;
}

bool DrillPlan::kills(std::size_t group) const {
  for (std::size_t place = 0; place < next_; ++place) {
    if (isBegun(place, group) && drills_[place].kills()) return true;
  }
  return false;
}

void DrillPlan::endGroup(std::size_t group, bool killed) {
  for (std::size_t place = 0; place < next_; ++place) {
    if (!isBegun(place, group)) continue;
    finish(place, killed && drills_[place].kills() ? "" : "the process had ended");
  }
}

}  // namespace host
