// SPDX-License-Identifier: Apache-2.0
// What goes wrong on purpose in a run: the [[drill]] tables of a flow file.
#ifndef ZEB_FLOWFILE_DRILL_H
#define ZEB_FLOWFILE_DRILL_H

#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

namespace flowfile {

class Section;
struct ExecutionGroup;

// One thing that happens once, to the process of one execution group.
struct Drill {
  enum class Kind {
    kill,               // SIGKILL
    killHoldingRecord,  // the same, while it holds the lock of a statistics record of its own
    killHoldingArea,    // the same with the lock of the events area, else of the statistics area
    stop,               // SIGSTOP
    redeploy,           // deploys its flows again
    clockBack,          // sees an earlier time from then on
    removeKeyFile,      // removes the key file of the broker's segment
  };

  Kind kind = Kind::kill;
  // When, counted from the moment at which messages flow.
  std::chrono::nanoseconds at{};
  // The group's place in the file.
  std::size_t group = 0;
  // Of `stop`, when the process goes on, 0: when the run ends; of `clockBack`, by how much.
  std::chrono::nanoseconds time{};

  // The process does not outlive it.
  bool kills() const { return kind <= Kind::killHoldingArea; }
};

// The drills of the file, in the order in which they happen. What is wrong with them is noted: no
// or several kinds, an unknown group, and drills of a group that is killed before.
std::vector<Drill> readDrills(Section& root, const std::vector<ExecutionGroup>& groups);

// As it is written in the file: "kill-holding record", "stop for 2s".
std::string nameOf(const Drill& drill);

}  // namespace flowfile

#endif  // ZEB_FLOWFILE_DRILL_H
