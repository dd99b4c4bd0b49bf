// SPDX-License-Identifier: Apache-2.0
#include "host/sources/random.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace host {

std::uint64_t Random::next() {
  state_ += 0x9e3779b97f4a7c15U;
  std::uint64_t z = state_;
  z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9U;
  z = (z ^ (z >> 27)) * 0x94d049bb133111ebU;
  return z ^ (z >> 31);
}

double Random::uniform() {
  return static_cast<double>(next() >> 11) * 0x1p-53;
}

std::uint64_t mixSeeds(std::uint64_t first, std::uint64_t second) {
  return Random(first ^ Random(second).next()).next();
}

std::uint64_t hashText(std::string_view text) {
  std::uint64_t hash = 0xcbf29ce484222325U;
  for (const char c : text) {
    hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001b3U;
  }
  return hash;
}

double draw(const flowfile::Distribution& distribution, Random& random) {
  using Kind = flowfile::Distribution::Kind;
  const auto& [kind, first, second] = distribution;
  switch (kind) {
    case Kind::constant:
      break;
    case Kind::uniform:
      return first + (second - first) * random.uniform();
    case Kind::exponential:
      return -first * std::log1p(-random.uniform());
    case Kind::normal: {
      const double radius = std::sqrt(-2 * std::log1p(-random.uniform()));
      const double angle = 2 * std::numbers::pi * random.uniform();
      return std::max(0.0, first + second * radius * std::cos(angle));
    }
  }
  return first;
}

}  // namespace host
