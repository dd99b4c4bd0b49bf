// SPDX-License-Identifier: Apache-2.0
// What "top" has seen, without a machine.
#ifndef ZEB_TESTS_AGENT_TOP_CONTENT_H
#define ZEB_TESTS_AGENT_TOP_CONTENT_H

#include <memory>
#include <string>
#include <vector>

#include "agent/render/top/screen.h"
#include "tests/agent/grown.h"

struct TopNode {
  std::string label;
  std::uint32_t type = 3;
  Look before = {};
  Look after = {};
};

struct TopFlow {
  std::string group;
  std::string flow;
  std::vector<TopNode> nodes;
};

// A broker SHOP of these flows, seen twice within ten seconds.
class TopMachine {
 public:
  explicit TopMachine(const std::vector<TopFlow>& flows);

  // The later look has this event too.
  void post(const std::string& flow, const std::string& node, const std::string& text,
            std::uint8_t message = 1);

  // What was seen; in flows that have the nodes of the chain these are inside each other.
  top::Content content(const std::string& chain = {}) const;

  // After the first of the two looks.
  top::Content firstContent() const;

  std::shared_ptr<model::SeenBroker> before, after;
};

// Two flows of three and two nodes. "Price" of "Order" spends the most time, and two messages of
// "Order" failed.
TopMachine orders();
inline constexpr char kOrdersChain[] = "Order in(Check(Price))";

// So many flows with so many nodes each, busier and busier.
TopMachine manyNodes(std::size_t flows, std::size_t nodesEach);

// What a person sees, a line each, without blanks at the ends.
std::string textOf(const top::Screen& screen);

#endif  // ZEB_TESTS_AGENT_TOP_CONTENT_H
