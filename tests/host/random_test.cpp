// SPDX-License-Identifier: Apache-2.0
#include "host/sources/random.h"

#include <gtest/gtest.h>

#include <cmath>

namespace random_test {

using namespace flowfile;
using namespace host;

namespace {

struct Moments {
  double mean;
  double deviation;
  double least;
  double most;
};

Moments momentsOf(const Distribution& distribution) {
  constexpr int kDraws = 20000;
  Random random(42);
  double sum = 0;
  double squares = 0;
  double least = INFINITY;
  double most = -INFINITY;
  for (int i = 0; i < kDraws; ++i) {
    const double value = draw(distribution, random);
    sum += value;
    squares += value * value;
    least = std::min(least, value);
    most = std::max(most, value);
  }
  const double mean = sum / kDraws;
  return {mean, std::sqrt(squares / kDraws - mean * mean), least, most};
}

using Kind = Distribution::Kind;

}  // namespace

TEST(Random, TheSameSeedGivesTheSameSequenceAndAnotherSeedAnother) {
  Random a(1);
  Random b(1);
  Random c(2);
  const auto first = a.next();
  EXPECT_EQ(first, b.next());
  EXPECT_NE(first, c.next());
  EXPECT_NE(mixSeeds(1, 2), mixSeeds(2, 1));
}

TEST(Random, AConstantIsAlwaysItself) {
  const Moments moments = momentsOf({Kind::constant, 3, 0});
  EXPECT_EQ(moments.least, 3);
  EXPECT_EQ(moments.most, 3);
}

TEST(Random, AUniformDistributionStaysBetweenItsEnds) {
  const Moments moments = momentsOf({Kind::uniform, 10, 20});
  EXPECT_GE(moments.least, 10);
  EXPECT_LT(moments.most, 20);
  EXPECT_NEAR(moments.mean, 15, 0.1);
  EXPECT_NEAR(moments.deviation, 10 / std::sqrt(12.0), 0.1);
}

TEST(Random, AnExponentialDistributionHasItsMeanAsDeviation) {
  const Moments moments = momentsOf({Kind::exponential, 5, 0});
  EXPECT_GE(moments.least, 0);
  EXPECT_NEAR(moments.mean, 5, 0.2);
  EXPECT_NEAR(moments.deviation, 5, 0.2);
}

TEST(Random, ANormalDistributionIsCutAtZero) {
  const Moments wide = momentsOf({Kind::normal, 1, 10});
  EXPECT_EQ(wide.least, 0);
  const Moments narrow = momentsOf({Kind::normal, 100, 10});
  EXPECT_NEAR(narrow.mean, 100, 0.5);
  EXPECT_NEAR(narrow.deviation, 10, 0.5);
}

}  // namespace random_test
