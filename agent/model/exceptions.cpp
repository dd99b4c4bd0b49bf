// SPDX-License-Identifier: Apache-2.0
#include "agent/model/exceptions.h"

#include <algorithm>
#include <map>
#include <tuple>
#include <unordered_map>

#include "format/names.h"

namespace model {
namespace {

using reader::Event;

auto messageOf(const Event& event) {
  return std::tuple(event.origin->executionGroup, event.origin->messageFlow, event.messageId,
                    event.threadId);
}

bool hasEventOf(std::span<const Event> events, const Exception& exception,
                const std::string& node) {
  if (events[exception.event].origin->node == node) return true;
  return std::ranges::any_of(exception.echoes,
                             [&](std::size_t i) { return events[i].origin->node == node; });
}

bool isOf(const FlowGrowth& flow, const Event& event) {
  return event.origin->executionGroup == flow.group && event.origin->messageFlow == flow.flow;
}

}  // namespace

std::vector<Exception> exceptionsOf(std::span<const Event> events) {
  std::vector<Exception> found;
  std::map<decltype(messageOf(events[0])), std::size_t> open;  // index in `found`
  for (std::size_t i = 0; i < events.size(); ++i) {
    if (events[i].kind() != reader::EventKind::exception) continue;
    const auto [known, isNew] = open.emplace(messageOf(events[i]), found.size());
    if (!isNew && !hasEventOf(events, found[known->second], events[i].origin->node)) {
      Exception& exception = found[known->second];
      exception.echoes.push_back(exception.event);
      exception.event = i;
      continue;
    }
    known->second = found.size();
    found.push_back({i, {}});
  }
  std::ranges::sort(found, {}, &Exception::event);
  return found;
}

std::string_view reasonOf(const reader::EventTemplate& origin) {
  const std::string_view text = origin.isException() ? origin.failure() : origin.text;
  return text.substr(std::min(text.find_first_not_of(' '), text.size()));
}

std::vector<std::uint64_t> failedBehind(const FlowGrowth& flow, const Nesting& nesting,
                                        std::span<const Event> events) {
  std::unordered_map<std::string, std::vector<std::size_t>> nodes;  // by label
  for (std::size_t i = 0; i < flow.nodes.size(); ++i) {
    nodes[flow.nodes[i].node().label].push_back(i);
  }
  std::vector<std::uint64_t> failed(flow.nodes.size());
  for (const Exception& exception : exceptionsOf(events)) {
    if (!isOf(flow, events[exception.event])) continue;
    const auto posted = [&](std::size_t node) {
      return hasEventOf(events, exception, flow.nodes[node].node().label);
    };
    // The innermost of those that posted is the only one with nothing that posted in it.
    const std::size_t nearest =
        exception.echoes.empty() ? exception.event : exception.echoes.front();
    for (const std::size_t i : nodes[events[nearest].origin->node]) {
      const std::vector<std::size_t>& inner = nesting.nodes[i].inner;
      if (!inner.empty() && std::ranges::none_of(inner, posted)) ++failed[i];
    }
  }
  return failed;
}

}  // namespace model
