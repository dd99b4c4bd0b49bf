// SPDX-License-Identifier: Apache-2.0
// Chance that can be repeated: everything drawn depends on the run's seed, on who draws and on the
// number of the message, never on which thread happened to handle it.
#ifndef ZEB_HOST_RANDOM_H
#define ZEB_HOST_RANDOM_H

#include <cstdint>
#include <string_view>

namespace host {

// A short sequence of random numbers (splitmix64).
class Random {
 public:
  explicit Random(std::uint64_t seed) : state_(seed) {}

  std::uint64_t next();
  double uniform();  // at least 0, below 1

 private:
  std::uint64_t state_;
};

// One seed out of two, so that neighbours have nothing in common.
std::uint64_t mixSeeds(std::uint64_t first, std::uint64_t second);

// The same number for the same text, in every process.
std::uint64_t hashText(std::string_view text);

// How a quantity varies from message to message.
struct Distribution {
  enum class Kind { constant, uniform, exponential, normal };

  Kind kind = Kind::constant;
  double first = 0;   // the constant; the low end; the mean
  double second = 0;  // the high end; the standard deviation

  // Never below 0: a normal distribution is cut there.
  double draw(Random& random) const;
};

}  // namespace host

#endif  // ZEB_HOST_RANDOM_H
