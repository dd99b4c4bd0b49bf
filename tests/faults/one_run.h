// SPDX-License-Identifier: Apache-2.0
// Carries out one run in two processes of its own, and looks at what they leave.
#ifndef ZEB_TESTS_FAULTS_ONE_RUN_H
#define ZEB_TESTS_FAULTS_ONE_RUN_H

#include <string>
#include <vector>

#include "tests/faults/run.h"

namespace faults {

// Kinds of things that may be left behind, as bits.
enum Left : unsigned {
  kNothing = 0,
  kQueue = 1,
  kSemaphore = 2,
  kSegment = 4,
  kLockFile = 8,
  kSegmentFile = 16,
  kProbeFile = 32
};

struct Outcome {
  Run run;
  std::string ending;  // empty when both processes ended as they should
  bool hung = false;   // one had to be ended
  unsigned left = kNothing;
  std::string leftTwice;  // what was left more than once, or is of no known kind
};

// What the library finds where it looks for its settings.
enum class Settings { kInTheFirstPlace, kByProbing };
void writeSettings(Settings settings);
void removeSettings();

// What was left is cleared away. Nothing may be going on in the namespaces but this.
Outcome runOnce(const Fault& fault);

}  // namespace faults

#endif  // ZEB_TESTS_FAULTS_ONE_RUN_H
