// SPDX-License-Identifier: Apache-2.0
// The drills of a run: which is due, and what became of each.
#ifndef ZEB_HOST_RUN_DRILL_PLAN_H
#define ZEB_HOST_RUN_DRILL_PLAN_H

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "flowfile/drill.h"

namespace host {

// What became of one drill.
struct DrillResult {
  enum class State {
    waiting,  // its time has not come
    begun,    // its process was told
    done,
    failed,
  };

  State state = State::waiting;
  std::string problem;  // why it failed, a clause; any bytes
};

// A value of the supervisor. Times count from the moment at which messages flow; a drill is named
// by its place in the file.
class DrillPlan {
 public:
  // The drills must outlive it, in the order of their times.
  explicit DrillPlan(const std::vector<flowfile::Drill>& drills)
      : drills_(drills), results_(drills.size()) {}

  // When the next one is due; nothing when none is left.
  std::optional<std::chrono::nanoseconds> next() const;

  // The next one if it is due by `now`.
  std::optional<std::size_t> due(std::chrono::nanoseconds now) const;

  // The next one begins; there must be one.
  void begin() { results_[next_++].state = DrillResult::State::begun; }

  // It failed, or was done when there is no problem.
  void finish(std::size_t place, const std::string& problem = {});

  // Whether a drill that kills the group's process is begun.
  bool kills(std::size_t group) const;

  // The group's process is gone, by SIGKILL or otherwise. A drill that kills was done by the first;
  // what else was begun has failed.
  void endGroup(std::size_t group, bool killed);

  const std::vector<DrillResult>& results() const { return results_; }

 private:
  bool isBegun(std::size_t place, std::size_t group) const;

  const std::vector<flowfile::Drill>& drills_;
  std::vector<DrillResult> results_;
  std::size_t next_ = 0;
};

}  // namespace host

#endif  // ZEB_HOST_RUN_DRILL_PLAN_H
