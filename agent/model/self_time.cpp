// SPDX-License-Identifier: Apache-2.0
#include "agent/model/self_time.h"

#include <algorithm>
#include <cmath>

#include "agent/model/checked.h"

namespace model {
namespace {

reader::Number elapsedInside(const FlowGrowth& flow, const Nesting& nesting, std::size_t node) {
  reader::Number elapsed = 0;
  for (const std::size_t inner : nesting.nodes[node].inner) {
    elapsed = sum(elapsed, flow.nodes[inner].growth.elapsedMs);
  }
  return elapsed;
}

// `bound`: by so much a message what was in flight may have changed the result.
SelfTime::State stateOf(double perMessageMs, double bound) {
  if (std::abs(perMessageMs) + bound < 1) return SelfTime::State::belowOne;
  if (perMessageMs < 0 || perMessageMs < bound) return SelfTime::State::tooShort;
  return perMessageMs < 1 ? SelfTime::State::belowOne : SelfTime::State::measured;
}

SelfTime selfTimeOf(const FlowGrowth& flow, const Nesting& nesting, std::size_t node,
                    std::uint64_t inFlight) {
  SelfTime self;
  if (!nesting.nodes[node].placed) return self;
  const Growth& growth = flow.nodes[node].growth;
  const reader::Number inside = elapsedInside(flow, nesting, node);
  const reader::Number total = difference(growth.elapsedMs, inside);
  if (!growth.messages || !total) return self;
  if (*growth.messages <= 0) {
    self.state = SelfTime::State::noMessages;
    return self;
  }
  const auto messages = static_cast<double>(*growth.messages);
  self.totalMs = static_cast<double>(*total);
  self.perMessageMs = self.totalMs / messages;
  const double bound =
      static_cast<double>(inFlight) * static_cast<double>(*inside) / messages / messages;
  self.state = stateOf(self.perMessageMs, bound);
  return self;
}

Loss lossBefore(const FlowGrowth& flow, const Nesting& nesting, std::size_t node,
                std::uint64_t inFlight) {
  Loss loss;
  const auto outer = nesting.nodes[node].outer;
  if (!outer) return loss;
  const reader::Number lost =
      difference(flow.nodes[*outer].growth.messages, flow.nodes[node].growth.messages);
  if (!lost) return loss;
  loss.messages = *lost;
  loss.bound = inFlight;
  if (*lost == 0) {
    loss.state = Loss::State::none;
  } else {
    loss.state = *lost <= bounded(inFlight) ? Loss::State::tooShort : Loss::State::measured;
  }
  return loss;
}

std::size_t outermostAround(const Nesting& nesting, std::size_t node) {
  while (nesting.nodes[node].outer) node = *nesting.nodes[node].outer;
  return node;
}

void addShare(SelfTime& self, reader::Number whole) {
  const bool known =
      self.state == SelfTime::State::measured || self.state == SelfTime::State::belowOne;
  if (!known || !whole || *whole <= 0) return;
  self.share = std::clamp(self.totalMs / static_cast<double>(*whole), 0.0, 1.0);
}

}  // namespace

std::vector<NodeTime> timesOf(const FlowGrowth& flow, const Nesting& nesting,
                              std::uint64_t inFlight) {
  std::vector<NodeTime> times;
  for (std::size_t i = 0; i < flow.nodes.size(); ++i) {
    NodeTime& time = times.emplace_back();
    time.self = selfTimeOf(flow, nesting, i, inFlight);
    time.loss = lossBefore(flow, nesting, i, inFlight);
    addShare(time.self, flow.nodes[outermostAround(nesting, i)].growth.elapsedMs);
  }
  return times;
}

std::optional<std::size_t> slowest(const std::vector<NodeTime>& times) {
  std::optional<std::size_t> found;
  for (std::size_t i = 0; i < times.size(); ++i) {
    if (!times[i].self.share) continue;
    if (!found || times[i].self.totalMs > times[*found].self.totalMs) found = i;
  }
  return found;
}

}  // namespace model
