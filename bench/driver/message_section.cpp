// SPDX-License-Identifier: Apache-2.0
#include "bench/driver/allocations.h"
#include "bench/driver/sections.h"
#include "bench/support/floor.h"
#include "bench/support/library.h"
#include "bench/support/settings.h"

namespace bench {
namespace {

// The default, and the floor's ring as large.
constexpr int kAreaBytes = 32768;
constexpr int kMessageBytes = 1000;

const NodePlan kPlain{.label = u"PLAIN"};
const NodePlan kInput{.label = u"INPUT", .type = u"input"};
const NodePlan kEvents{.label = u"EVENTS", .eventMessage = u"a message was seen"};

// A node against the floor of its kind.
template <class FloorWork>
nlohmann::json against(const Effort& effort, FloorWork&& floorWork, const Node& node,
                       Message& message) {
  const Rounds rounds = inTurn(effort, floorWork, [&] { node.send(message.handle()); });
  nlohmann::json found = ratioOf(rounds);
  found["floor"] = median(rounds.first);
  found["library"] = median(rounds.second);
  return found;
}

double allocationsOf(const Node& node, Message& message, int calls) {
  node.send(message.handle());  // what the first message of a node needs once
  const std::uint64_t before = allocations();
  for (int i = 0; i < calls; ++i) node.send(message.handle());
  return static_cast<double>(allocations() - before) / calls;
}

}  // namespace

// All nodes are deployed before the first message: a deployment resets every node's statistics.
nlohmann::json measureMessages(const Plan& plan) {
  writeSettings(kAreaBytes);
  const Effort& effort = plan.effort;
  const Library library(plan.library);
  const Node plain(library, kPlain);
  const Node input(library, kInput);
  const Node events(library, kEvents);
  Floor floor(kAreaBytes);
  Message message;
  const auto pair = [&] { floor.lockPair(); };
  const auto one = [&] { floor.message(message.bits(), kMessageBytes); };
  const auto event = [&] { floor.event(message.bits()); };
  const auto both = [&] { floor.messageWithEvent(message.bits(), kMessageBytes); };
  const auto leanOne = [&] { floor.leanMessage(message.bits(), kMessageBytes); };
  const auto leanBoth = [&] { floor.leanMessageWithEvent(message.bits(), kMessageBytes); };
  const Rounds parts = inTurn(effort, pair, event);
  nlohmann::json found = {{"lockPair", median(parts.first)},
                          {"eventFloor", median(parts.second)},
                          {"message", against(effort, one, plain, message)},
                          {"input", against(effort, one, input, message)},
                          {"withEvent", against(effort, both, events, message)},
                          {"messageLean", against(effort, leanOne, plain, message)},
                          {"inputLean", against(effort, leanOne, input, message)},
                          {"withEventLean", against(effort, leanBoth, events, message)}};
  for (const auto& label : {kPlain.label, kInput.label, kEvents.label})
    requireCounted(label, 2 * callsOf(effort));
  return found;
}

nlohmann::json measureAllocations(const Plan& plan) {
  writeSettings(kAreaBytes);
  const int calls = plan.effort.calls;
  const Library library(plan.library);
  const Node input(library, kInput);
  const Node events(library, kEvents);
  Message message;
  const std::uint64_t before = allocations();
  delete new int;  // what does not count here would find nothing below
  nlohmann::json found = {{"countsItself", allocations() > before},
                          {"messages", calls},
                          {"message", allocationsOf(input, message, calls)},
                          {"withEvent", allocationsOf(events, message, calls)}};
  for (const auto& label : {kInput.label, kEvents.label}) requireCounted(label, calls + 1);
  return found;
}

nlohmann::json measureTracePoints(const Plan& plan) {
  writeSettings(kAreaBytes);
  const Library bare(plan.bare);
  const Library full(plan.library);
  const NodePlan without{.label = u"WITHOUT"};
  const NodePlan with{.label = u"WITH"};
  const Node bareNode(bare, without);
  const Node fullNode(full, with);
  Message message;
  const Rounds rounds = inTurn(
      plan.effort, [&] { bareNode.send(message.handle()); },
      [&] { fullNode.send(message.handle()); });
  nlohmann::json found = ratioOf(rounds);
  found["removed"] = median(rounds.first);
  found["off"] = median(rounds.second);
  for (const auto& label : {without.label, with.label}) requireCounted(label, callsOf(plan.effort));
  return found;
}

}  // namespace bench
