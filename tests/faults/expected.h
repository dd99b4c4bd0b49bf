// SPDX-License-Identifier: Apache-2.0
// What a failure leads to, as the library's description has it: which message tells of it, what it
// may bring about later, and what it leaves behind for good.
#ifndef ZEB_TESTS_FAULTS_EXPECTED_H
#define ZEB_TESTS_FAULTS_EXPECTED_H

#include <map>
#include <set>
#include <string>

#include "tests/faults/one_run.h"

namespace faults {

// One use of a function that fails. Whatever else is seen is wrong, and so is an entry of which a
// whole sweep has seen nothing.
struct Expected {
  const char* message = nullptr;  // the call that message 2 names, or "allocation" for message 1
  unsigned leaves = kNothing;     // in some of the runs: others clear it away, or work on with it
  bool holds = false;             // a lock that stays held, with nobody inside
  bool unmeasured = false;        // some messages or events; they are all passed on even so
  bool elsewhere = false;         // in another segment, since nobody says that the UUID is lost
  std::set<std::string> later = {};  // other messages: the call named, "allocation" or "line"
};

// What is wrong with an outcome, a line for each; empty when nothing is.
std::string wrongWith(const Outcome& outcome);

// What a sweep has seen in all.
class Tally {
 public:
  void add(const Outcome& outcome);
  // What should have been seen at least once, a line for each.
  std::string missing(Function function) const;

 private:
  std::map<std::string, Expected> seen_;    // by the use of the function
  std::map<std::string, int> allocations_;  // runs with message 1, by who wrote it
};

}  // namespace faults

#endif  // ZEB_TESTS_FAULTS_EXPECTED_H
