// SPDX-License-Identifier: Apache-2.0
#include "agent/model/load.h"

#include <algorithm>
#include <cmath>

namespace model {
namespace {

constexpr double kMillisecondsASecond = 1000;

// Milliseconds spent in each second, as a number of things that spend them.
std::optional<double> spenders(reader::Number spentMs, Seconds interval) {
  const auto rate = perSecond(spentMs, interval);
  if (!rate) return {};
  return *rate / kMillisecondsASecond;
}

void add(std::optional<double>& sum, std::optional<double> more) {
  sum = sum && more ? std::optional<double>(*sum + *more) : std::nullopt;
}

void addThreads(Load& load, unsigned threads) {
  if (!load.busy) return;
  load.utilisation = *load.busy / threads;
  if (!load.messages || *load.busy <= 0) return;
  load.spare = std::max(0.0, *load.messages * (threads - *load.busy) / *load.busy);
}

}  // namespace

bool isInput(const NodeGrowth& node) {
  return node.node().type == kInputNode && !node.node().deleted && node.change != Change::went;
}

bool knowsQueued(const reader::Node& node) {
  return node.type == kInputNode && node.statistics && node.statistics->sumQueued.value_or(0) > 0;
}

std::optional<double> busyIn(const NodeGrowth& node, Seconds interval) {
  return spenders(node.growth.elapsedMs, interval);
}

std::optional<double> waitingFor(const NodeGrowth& node, Seconds interval) {
  if (!knowsQueued(node.node())) return {};
  return spenders(node.growth.queuedMs, interval);
}

Load loadOf(const FlowGrowth& flow, Seconds interval, std::optional<unsigned> threads) {
  Load load;
  if (std::ranges::none_of(flow.nodes, isInput)) return load;
  load = {.messages = 0, .busy = 0, .waiting = {}, .utilisation = {}, .spare = {}};
  bool waitingKnown = true;
  for (const NodeGrowth& node : flow.nodes) {
    if (!isInput(node)) continue;
    add(load.messages, perSecond(node.growth.messages, interval));
    add(load.busy, busyIn(node, interval));
    if (!knowsQueued(node.node())) continue;
    const auto waiting = waitingFor(node, interval);
    waitingKnown = waitingKnown && waiting;
    load.waiting = load.waiting.value_or(0) + waiting.value_or(0);
  }
  if (!waitingKnown) load.waiting.reset();
  if (threads.value_or(0) > 0) addThreads(load, *threads);
  return load;
}

std::optional<double> meanMs(const Load& load) {
  if (!load.busy || load.messages.value_or(0) <= 0) return {};
  return *load.busy * kMillisecondsASecond / *load.messages;
}

std::uint64_t inFlight(const Load& load, std::optional<unsigned> threads) {
  constexpr double kMost = 1e15;
  if (threads.value_or(0) > 0) return *threads;
  const double busy = std::clamp(load.busy.value_or(0), 0.0, kMost);
  return static_cast<std::uint64_t>(std::ceil(busy + 2 * std::sqrt(busy))) + 1;
}

}  // namespace model
