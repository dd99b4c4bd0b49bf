// SPDX-License-Identifier: Apache-2.0
// The head above the table of "top": when, the brokers, and what is wrong or slow.
#ifndef ZEB_AGENT_RENDER_TOP_HEAD_H
#define ZEB_AGENT_RENDER_TOP_HEAD_H

#include <optional>
#include <string>
#include <vector>

#include "agent/render/sheet.h"
#include "agent/render/top/screen.h"
#include "agent/render/top/state.h"

namespace top {

// One line: the time of the last look, what the figures are of, and what was changed.
std::string titleOf(const State& state, const Content& content, std::chrono::seconds age);

// At most so many brokers of the last look, those with something wrong first, and a line that
// counts the others.
std::vector<render::Line> brokerLines(const Content& content, std::size_t mostBrokers,
                                      const render::TableStyle& style);

// What to know first, in sentences with their full stops.
struct Concern {
  render::Attribute attribute = render::Attribute::plain;
  std::string sentence;
};

// What is wrong with the selection or with brokers, what failed, and last which node to look at: of
// the flow of the chosen row, else of the one that spends the most time in one node.
std::vector<Concern> concernsOf(const State& state, const Content& content);

}  // namespace top

#endif  // ZEB_AGENT_RENDER_TOP_HEAD_H
