// SPDX-License-Identifier: Apache-2.0
// Chance that can be repeated: everything drawn depends on the run's seed, on who draws and on the
// number of the message, never on which thread happened to handle it.
#ifndef ZEB_HOST_SOURCES_RANDOM_H
#define ZEB_HOST_SOURCES_RANDOM_H

#include <cstdint>
#include <string_view>

#include "flowfile/file.h"

namespace host {

// A short sequence of random numbers (splitmix64), the same on every machine. A value of one
// thread.
class Random {
 public:
  explicit Random(std::uint64_t seed) : state_(seed) {}

  std::uint64_t next();  // any of the 64 bits
  double uniform();      // at least 0, below 1

 private:
  std::uint64_t state_;
};

// One seed out of two, so that neighbours have nothing in common.
std::uint64_t mixSeeds(std::uint64_t first, std::uint64_t second);

// The same number for the same text, in every process.
std::uint64_t hashText(std::string_view text);

// A value of the distribution, in its own unit, never below 0: a normal distribution is cut there.
// An exponential one has no upper bound.
double draw(const flowfile::Distribution& distribution, Random& random);

}  // namespace host

#endif  // ZEB_HOST_SOURCES_RANDOM_H
