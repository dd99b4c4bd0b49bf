// SPDX-License-Identifier: Apache-2.0
// Nodes of one flow in two looks, as the functions of the model take them.
#ifndef ZEB_TESTS_AGENT_GROWN_H
#define ZEB_TESTS_AGENT_GROWN_H

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "agent/model/rates.h"

// A record ID that no other number has.
reader::RecordId recordId(std::uint32_t type, std::uint32_t number);

// What one look shows of one node.
struct Look {
  std::int64_t messages = 0;
  std::int64_t elapsed = 0;  // milliseconds
  std::int64_t queued = 0;
  std::int64_t bytes = 0;
};

// One node in two looks. Its extremes fit the numbers, and don't change.
struct Grown {
  std::string label;
  std::uint32_t type = 3;
  Look before = {};
  Look after = {};
  std::int32_t maxElapsed = 20;
  bool deleted = false;
};

// Both looks of a flow "Fulfil" of the group "orders", and how it grew.
class GrownFlow {
 public:
  explicit GrownFlow(const std::vector<Grown>& nodes);
  const model::FlowGrowth& growth() const { return growth_; }

 private:
  std::vector<std::unique_ptr<reader::Node>> nodes_;
  model::FlowGrowth growth_;
};

// A node with these numbers that was collecting since second 1000.
reader::Node nodeWith(const std::string& label, std::uint32_t number, const Look& look);

// A broker SHOP, reset at second 900, with a flow "Fulfil" of these nodes in the group "orders".
std::shared_ptr<model::SeenBroker> seenBroker(const std::vector<reader::Node>& nodes);

// That broker, or none when it is null, in a look so much later than a first one.
model::Snapshot lookAt(std::shared_ptr<model::SeenBroker> broker, std::chrono::milliseconds time);

#endif  // ZEB_TESTS_AGENT_GROWN_H
