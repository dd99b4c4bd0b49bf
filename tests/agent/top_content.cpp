// SPDX-License-Identifier: Apache-2.0
#include "tests/agent/top_content.h"

#include <map>

#include "agent/model/chain.h"

namespace {

using std::chrono::milliseconds;

// The flow "Fulfil" of `broker` replaced by these.
void setFlows(reader::Broker& broker, const std::vector<TopFlow>& flows, bool later) {
  broker.executionGroups.clear();
  std::map<std::string, std::size_t> groups;
  std::uint32_t number = 0;
  for (const TopFlow& made : flows) {
    const auto [known, isNew] = groups.try_emplace(made.group, broker.executionGroups.size());
    if (isNew) {
      reader::ExecutionGroup group;
      group.label = made.group;
      group.processId = static_cast<std::int32_t>(100 + known->second);
      group.recordId = recordId(3, ++number);
      broker.executionGroups.push_back(group);
    }
    reader::MessageFlow flow;
    flow.label = made.flow;
    flow.recordId = recordId(4, ++number);
    for (const TopNode& node : made.nodes) {
      flow.nodes.push_back(nodeWith(node.label, ++number, later ? node.after : node.before));
      flow.nodes.back().type = node.type;
    }
    broker.executionGroups[known->second].messageFlows.push_back(flow);
  }
}

std::shared_ptr<model::SeenBroker> brokerOf(const std::vector<TopFlow>& flows, bool later) {
  auto broker = seenBroker({});
  broker->segment.size = 786464;
  broker->segment.attached = 2;
  broker->events = reader::EventLog::Batch{};
  setFlows(*broker->tree, flows, later);
  return broker;
}

std::shared_ptr<const model::Snapshot> lookOf(const std::shared_ptr<model::SeenBroker>& broker,
                                              milliseconds time) {
  auto look = std::make_shared<model::Snapshot>(lookAt(broker, time));
  look->directory = "/tmp/";
  return look;
}

top::Content seen(const std::vector<std::shared_ptr<const model::Snapshot>>& looks,
                  const std::string& chain) {
  top::Content content;
  model::FlowKnowledge known;
  if (!chain.empty()) known.chain = model::parseChain(chain).chain;
  content.all = looks.back();
  content.view = model::viewOf(looks, known);
  for (const auto& look : looks) content.events.add(*look);
  return content;
}

}  // namespace

TopMachine::TopMachine(const std::vector<TopFlow>& flows)
    : before(brokerOf(flows, false)), after(brokerOf(flows, true)) {}

void TopMachine::post(const std::string& flow, const std::string& node, const std::string& text,
                      std::uint8_t message) {
  reader::Event event;
  std::string group;
  for (const auto& one : after->tree->executionGroups) {
    for (const auto& has : one.messageFlows) {
      if (has.label == flow) group = one.label;
    }
  }
  event.origin =
      std::make_shared<reader::EventTemplate>(reader::EventTemplate{group, flow, node, 3, text});
  event.messageId[0] = message;
  event.time = 1000009;
  after->events->events.push_back(event);
}

top::Content TopMachine::content(const std::string& chain) const {
  return seen({lookOf(before, milliseconds(0)), lookOf(after, milliseconds(10000))}, chain);
}

top::Content TopMachine::firstContent() const {
  const auto look = lookOf(before, milliseconds(0));
  return seen({look, look}, {});
}

TopMachine orders() {
  TopMachine machine({{"orders",
                       "Order",
                       {{"Order in", 1, {100, 1000, 50, 9000}, {600, 13500, 1050, 259000}},
                        {"Check", 3, {100, 900, 0, 9000}, {600, 12400, 0, 259000}},
                        {"Price", 3, {90, 500, 0, 8000}, {580, 9300, 0, 248000}}}},
                      {"warehouse",
                       "Stock",
                       {{"Stock in", 1, {50, 100, 0, 500}, {250, 700, 0, 4000}},
                        {"Stock out", 2, {50, 0, 0, 500}, {250, 100, 0, 4000}}}}});
  machine.post("Order", "Order in", "Order accepted");
  for (const auto message : {std::uint8_t{1}, std::uint8_t{2}}) {
    machine.post("Order", "Check", "Exception found in Bank(4711). The card is refused", message);
    machine.post("Order", "Order in", "Exception found in Bank(4711). The card is refused",
                 message);
  }
  return machine;
}

TopMachine manyNodes(std::size_t flows, std::size_t nodesEach) {
  std::vector<TopFlow> made;
  for (std::size_t f = 0; f < flows; ++f) {
    TopFlow& flow = made.emplace_back(TopFlow{"group", "Flow " + std::to_string(f), {}});
    for (std::size_t n = 0; n < nodesEach; ++n) {
      const auto busy = static_cast<std::int64_t>(f * nodesEach + n);
      flow.nodes.push_back({"Node " + std::to_string(f) + "." + std::to_string(n),
                            n == 0 ? 1U : 3U,
                            {10, 100},
                            {10 + busy, 100 + 20 * busy}});
    }
  }
  return TopMachine(made);
}

std::string textOf(const top::Screen& screen) {
  std::string text;
  for (const render::Line& line : screen.lines) text += printed(line, false);
  return text;
}
