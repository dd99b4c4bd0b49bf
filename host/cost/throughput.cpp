// SPDX-License-Identifier: Apache-2.0
#include "host/cost/throughput.h"

#include <fmt/format.h>

#include <algorithm>
#include <stdexcept>
#include <vector>

#include "flowfile/quantity.h"
#include "host/cost/variants.h"
#include "host/run/supervisor.h"

namespace host {
namespace {

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

std::uint64_t doneIn(const flowfile::File& file, const Tally& tally) {
  std::uint64_t done = 0;
  for (std::size_t g = 0; g < file.groups.size(); ++g) {
    for (std::size_t f = 0; f < file.groups[g].flows.size(); ++f) done += tally.flow(g, f).done();
  }
  return done;
}

// Messages a second of one round.
double round(const flowfile::File& file, const RunOptions& options) {
  Tally tally(file);
  Supervisor supervisor(file, options, tally);
  if (!supervisor.deploy()) throw std::runtime_error("the flows can't be deployed");
  double rate = 0;
  supervisor.run([&](Seconds elapsed) {
    if (rate == 0 && elapsed >= *options.duration) {
      rate = static_cast<double>(doneIn(file, tally)) / elapsed.count();
    }
  });
  supervisor.leave();
  if (supervisor.stopping() != 0) throw CostStopped(supervisor.stopping());
  if (!supervisor.problems().empty()) throw std::runtime_error(supervisor.problems().front());
  return rate;
}

}  // namespace

ThroughputCost measureThroughput(const flowfile::File& file, const std::filesystem::path& library,
                                 std::chrono::nanoseconds time) {
  using namespace std::chrono_literals;
  constexpr int kPairs = 6;  // that should fit
  RunOptions options;
  options.library = library;
  options.log = "/dev/null";
  options.duration = std::clamp<std::chrono::nanoseconds>(time / (2 * kPairs), 50ms, 2s);
  ThroughputCost cost;
  const Seconds way(longestWay(file));
  if (way > *options.duration) {
    cost.notMeasured =
        fmt::format("a message takes up to {:.3g} s, longer than a round of {}; give more --time",
                    way.count(), flowfile::durationText(*options.duration));
    return cost;
  }
  const flowfile::File plain = withoutMonitors(file);
  std::vector<double> with;
  std::vector<double> without;
  std::vector<double> shares;
  const auto begin = Clock::now();
  // Which comes first takes turns, so that a machine that gets slower favours none.
  for (Clock::duration spent{}, pair{}; cost.rounds == 0 || spent + pair < time;) {
    const bool plainFirst = cost.rounds++ % 2 == 0;
    if (plainFirst) without.push_back(round(plain, options));
    with.push_back(round(file, options));
    if (!plainFirst) without.push_back(round(plain, options));
    if (without.back() > 0) shares.push_back(1 - with.back() / without.back());
    pair = Clock::now() - begin - spent;
    spent += pair;
  }
  cost.with = quartilesOf(with);
  cost.without = quartilesOf(without);
  cost.share = quartilesOf(shares);
  if (shares.empty()) {
    cost.rounds = 0;
    cost.notMeasured = "no message came to its end in a round; give more --time";
  }
  return cost;
}

}  // namespace host
