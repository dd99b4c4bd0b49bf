// SPDX-License-Identifier: Apache-2.0
// zebpeers EFFORT LIBRARY: what else one could measure messages with, each against the library in
// the same process. Prints JSON. Runs in the private namespaces of zebbench, which starts it.
#include <fmt/format.h>

#include <cstdio>
#include <exception>
#include <nlohmann/json.hpp>

#include "bench/peers/peer.h"
#include "bench/support/comparison.h"
#include "bench/support/crew.h"
#include "bench/support/library.h"
#include "bench/support/settings.h"

namespace bench {
namespace {

constexpr int kAreaBytes = 32768;
constexpr int kSize = 1000;
constexpr int kElapsed = 3;
constexpr int kQueued = 12;

double perSecond(const Effort& effort, Peer& peer, int threads) {
  return workTogether(threads, effort.span, [&](int) { peer.message(kSize, kElapsed, kQueued); })
      .perSecond();
}

nlohmann::json measure(const Effort& effort, std::unique_ptr<Peer> (*make)(), const Node& node) {
  try {
    const auto peer = make();
    Message message;
    const Rounds rounds = inTurn(
        effort, [&] { peer->message(kSize, kElapsed, kQueued); },
        [&] { node.send(message.handle()); });
    nlohmann::json found = ratioOf(rounds);
    found["peer"] = median(rounds.first);
    found["library"] = median(rounds.second);
    Rounds threads;
    for (int round = 0; round < effort.threadRounds; ++round)
      threads.add(perSecond(effort, *peer, 1), perSecond(effort, *peer, 2));
    found["twoThreads"] = median(threads.ratios());
    peer->check();
    return found;
  } catch (const LeftOut& reason) {
    return {{"leftOut", reason.what()}};
  }
}

nlohmann::json measureAll(const Effort& effort, const std::string& file) {
  writeSettings(kAreaBytes);
  const Library library(file);
  const Node node(library, NodePlan{});
  return {{"prometheus", measure(effort, makeHistograms, node)},
          {"lttng", measure(effort, makeTracepoint, node)},
          {"statsd", measure(effort, makeDatagrams, node)}};
}

}  // namespace
}  // namespace bench

int main(int count, char** arguments) {
  if (count != 3) {
    fmt::print(stderr, "usage: zebpeers EFFORT LIBRARY\n");
    return 64;
  }
  try {
    fmt::print("{}\n", bench::measureAll(bench::effortNamed(arguments[1]), arguments[2]).dump());
  } catch (const std::exception& error) {
    fmt::print(stderr, "zebpeers: {}\n", error.what());
    return 1;
  }
  return 0;
}
