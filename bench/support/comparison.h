// SPDX-License-Identifier: Apache-2.0
// Timing two pieces of work against each other: in turn, many short rounds, and of these the
// medians. What disturbs the machine for a while then disturbs both.
#ifndef ZEB_BENCH_SUPPORT_COMPARISON_H
#define ZEB_BENCH_SUPPORT_COMPARISON_H

#include <chrono>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

namespace bench {

using Clock = std::chrono::steady_clock;

// How much is done for each figure.
struct Effort {
  int rounds;                           // of comparisons
  int calls;                            // of each piece of work in a round
  int threadRounds;                     // of throughputs
  std::chrono::milliseconds span;       // for which a throughput is taken
  std::chrono::milliseconds longWatch;  // for which waits are watched
  int deployments;                      // of each number of nodes
  std::vector<int> nodes;               // these numbers, ascending
};

// "full"; "quick", which only gives an idea; "tiny", which only shows that everything works. Throws
// for any other name.
Effort effortNamed(const std::string& name);

double median(std::vector<double> values);
double quantile(std::vector<double> values, double part);  // of 0 to 1, nearest rank

struct Rounds {
  std::vector<double> first;   // a figure a round
  std::vector<double> second;  // of the same rounds

  void add(double one, double other) {
    first.push_back(one);
    second.push_back(other);
  }
  std::vector<double> ratios() const;  // second to first, round by round
};

// The median of the rounds' own ratios, and the quartiles around it.
nlohmann::json ratioOf(const Rounds& rounds);

// Nanoseconds a call.
template <class Work>
double nanoseconds(int calls, Work&& work) {
  const auto begin = Clock::now();
  for (int i = 0; i < calls; ++i) work();
  const std::chrono::duration<double, std::nano> passed = Clock::now() - begin;
  return passed.count() / calls;
}

// Which one begins changes from round to round. One round before the first is thrown away.
template <class First, class Second>
Rounds inTurn(const Effort& effort, First&& first, Second&& second) {
  Rounds rounds;
  for (int round = -1; round < effort.rounds; ++round) {
    double one = 0;
    double other = 0;
    if (round % 2 == 0) one = nanoseconds(effort.calls, first);
    other = nanoseconds(effort.calls, second);
    if (round % 2 != 0) one = nanoseconds(effort.calls, first);
    if (round >= 0) rounds.add(one, other);
  }
  return rounds;
}

// How often each piece of work is called by inTurn.
inline std::int64_t callsOf(const Effort& effort) {
  return std::int64_t{effort.rounds + 1} * effort.calls;
}

}  // namespace bench

#endif  // ZEB_BENCH_SUPPORT_COMPARISON_H
