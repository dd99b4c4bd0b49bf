// SPDX-License-Identifier: Apache-2.0
#include "tests/agent/grown.h"

#include <array>
#include <cstring>

reader::RecordId recordId(std::uint32_t type, std::uint32_t number) {
  const std::array<std::uint32_t, 4> numbers{type, 1000, 1, number};
  std::array<std::uint8_t, reader::RecordId::kBytes> bytes;
  std::memcpy(bytes.data(), numbers.data(), bytes.size());
  return reader::RecordId(bytes);
}

reader::Node nodeWith(const std::string& label, std::uint32_t number, const Look& look) {
  reader::Node node;
  node.label = label;
  node.type = 3;
  node.recordId = recordId(5, number);
  node.statistics = reader::Statistics{};
  reader::Statistics& s = *node.statistics;
  s.recordId = recordId(6, number);
  s.messageCount = look.messages;
  s.sumSize = look.bytes;
  s.sumElapsed = look.elapsed;
  s.sumQueued = look.queued;
  s.maxSize = s.maxElapsed = s.maxQueued = 20;
  s.minSize = s.minElapsed = s.minQueued = 10;
  s.firstCollection = 1000;
  s.lastCollection = 2000;
  return node;
}

GrownFlow::GrownFlow(const std::vector<Grown>& nodes) : growth_{"orders", "Fulfil", {}} {
  std::uint32_t number = 0;
  for (const Grown& grown : nodes) {
    ++number;
    for (const Look* look : {&grown.before, &grown.after}) {
      reader::Node node = nodeWith(grown.label, number, *look);
      node.type = grown.type;
      node.deleted = grown.deleted;
      node.statistics->maxElapsed = grown.maxElapsed;
      nodes_.push_back(std::make_unique<reader::Node>(std::move(node)));
    }
    const auto& after = nodes_.back();
    growth_.nodes.push_back(model::growthOf(*nodes_[nodes_.size() - 2], *after, false));
  }
}

std::shared_ptr<model::SeenBroker> seenBroker(const std::vector<reader::Node>& nodes) {
  auto seen = std::make_shared<model::SeenBroker>();
  seen->segment.state = reader::State::ok;
  seen->segment.keyFile = "/tmp/1-2-3.zebcshme";
  seen->segment.uuid = "1-2-3";
  seen->segment.id = 7;
  reader::MessageFlow flow;
  flow.label = "Fulfil";
  flow.recordId = recordId(4, 1);
  flow.nodes = nodes;
  reader::ExecutionGroup group;
  group.label = "orders";
  group.recordId = recordId(3, 1);
  group.messageFlows = {flow};
  seen->tree = reader::Broker{};
  seen->tree->label = "SHOP";
  seen->tree->uuid = "1-2-3";
  seen->tree->resetTime = 900;
  seen->tree->executionGroups = {group};
  return seen;
}

model::Snapshot lookAt(std::shared_ptr<model::SeenBroker> broker, std::chrono::milliseconds time) {
  constexpr std::chrono::seconds kFirst{1000000};
  model::Snapshot snapshot;
  snapshot.steady = std::chrono::steady_clock::time_point(time);
  snapshot.wall = std::chrono::system_clock::time_point(kFirst + time);
  if (broker) snapshot.brokers = {std::move(broker)};
  return snapshot;
}
