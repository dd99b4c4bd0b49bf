// SPDX-License-Identifier: Apache-2.0
#include "host/report/summary.h"

#include <fmt/format.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <vector>

#include "host/report/numbers.h"
#include "host/report/table.h"
#include "text/printable.h"

namespace host {
namespace {

using Json = nlohmann::ordered_json;
using text::printable;

std::string sizes(const SizeFigures& figures) {
  return fmt::format("{} messages, {} bytes", grouped(figures.count), grouped(figures.bytes));
}

template <typename Visit>
void eachFlow(const flowfile::File& file, const Tally& tally, const Visit& visit) {
  for (std::size_t g = 0; g < file.groups.size(); ++g) {
    for (std::size_t f = 0; f < file.groups[g].flows.size(); ++f) {
      visit(g, f, file.groups[g], file.groups[g].flows[f], tally.flow(g, f));
    }
  }
}

Json nodeJson(const flowfile::Node& node, const NodeCount& count) {
  const bool none = count.messages == 0;
  return {{"label", printable(labelOf(node))},
          {"kind", std::holds_alternative<flowfile::MonitorNode>(node) ? "monitor" : "work"},
          {"messages", count.messages.load()},
          {"failures", count.failures.load()},
          {"bytes", count.bytes.load()},
          {"largest", count.largest.load()},
          {"smallest", none ? 0 : count.smallest.load()}};
}

Json figuresJson(const SizeFigures& figures) {
  return {{"messages", figures.count},
          {"bytes", figures.bytes},
          {"largest", figures.largest},
          {"smallest", figures.smallest}};
}

Json verificationJson(const Verification& verification) {
  Json nodes = Json::array();
  for (const Comparison& node : verification.nodes) {
    nodes.push_back({{"executionGroup", printable(node.group)},
                     {"messageFlow", printable(node.flow)},
                     {"node", printable(node.node)},
                     {"host", figuresJson(node.host)},
                     {"sharedMemory", figuresJson(node.shared)},
                     {"agrees", node.agrees()},
                     {"problem", printable(node.problem)}});
  }
  const EventComparison& events = verification.events;
  return {{"agrees", verification.agrees()},
          {"problem", printable(verification.problem)},
          {"nodes", nodes},
          {"events",
           {{"host", {{"message", events.hostMessages}, {"exception", events.hostExceptions}}},
            {"sharedMemory",
             {{"message", events.sharedMessages}, {"exception", events.sharedExceptions}}},
            {"wrapped", events.wrapped},
            {"agrees", events.agrees()}}}};
}

// `name` is printable.
std::string remarksOn(const flowfile::Flow& flow, const FlowCount& count, const std::string& name) {
  std::string remarks;
  if (flow.input.rate > 0) {
    remarks += fmt::format("{} kept {} messages/s; the latest message was {} ms behind.\n", name,
                           flow.input.rate, count.lagMillis.load());
  }
  if (count.swallowed != 0) {
    remarks += fmt::format("{}: {} exceptions were not re-raised by a monitoring node.\n", name,
                           count.swallowed.load());
  }
  return remarks;
}

}  // namespace

std::string summaryText(const flowfile::File& file, const Tally& tally,
                        std::chrono::duration<double> elapsed) {
  Rows rows{{"group", "flow", "node", "messages", "failed", "bytes"}};
  std::uint64_t done = 0;
  std::uint64_t failed = 0;
  std::string remarks;
  eachFlow(file, tally, [&](auto g, auto f, auto& group, auto& flow, auto& count) {
    done += count.done();
    failed += count.failed;
    remarks += remarksOn(flow, count, printable(group.label + "/" + flow.label));
    for (std::size_t n = 0; n < flow.nodes.size(); ++n) {
      const NodeCount& node = tally.node(g, f, n);
      const bool work = std::holds_alternative<flowfile::WorkNode>(flow.nodes[n]);
      rows.push_back({group.label, flow.label, labelOf(flow.nodes[n]) + (work ? " (work)" : ""),
                      grouped(node.messages), grouped(node.failures), grouped(node.bytes)});
    }
  });
  const LogCount& log = tally.log();
  std::string text = fmt::format("{} messages in {:.1f} s, {} of them failed.\n{}{}", grouped(done),
                                 elapsed.count(), grouped(failed), remarks, table(rows, 3));
  for (std::size_t number = 1; number < log.byNumber.size(); ++number) {
    if (log.byNumber[number] == 0) continue;
    text += fmt::format("The nodes logged message {} {} times.\n", number,
                        grouped(log.byNumber[number]));
  }
  return text;
}

std::string verificationText(const Verification& verification) {
  if (!verification.problem.empty()) return {};
  Rows rows{{"group", "flow", "node", "host", "| shared memory", "| agrees"}};
  for (const Comparison& node : verification.nodes) {
    rows.push_back({node.group, node.flow, node.node, sizes(node.host), "| " + sizes(node.shared),
                    node.agrees() ? "| yes" : "| NO: " + node.problem});
  }
  std::string text = table(rows, 6);
  const EventComparison& events = verification.events;
  const auto line = [&](const char* kind, std::uint64_t host, std::uint64_t shared) {
    text += fmt::format("{} events: host {} | shared memory {} | {}\n", kind, grouped(host),
                        grouped(shared),
                        events.wrapped   ? "not compared, the oldest were overwritten"
                        : host == shared ? "yes"
                                         : "NO");
  };
  line("message", events.hostMessages, events.sharedMessages);
  line("exception", events.hostExceptions, events.sharedExceptions);
  return text;
}

std::string verdict(const Verification& verification, const Tally& tally) {
  if (!verification.problem.empty()) {
    return printable(fmt::format("Shared memory could not be read: {}.", verification.problem));
  }
  const auto wrong = std::count_if(verification.nodes.begin(), verification.nodes.end(),
                                   [](const Comparison& node) { return !node.agrees(); });
  if (verification.agrees()) {
    std::uint64_t messages = 0;
    for (const Comparison& node : verification.nodes) messages += node.host.count;
    return fmt::format("The host and shared memory agree: {} nodes, {} measurements.",
                       verification.nodes.size(), grouped(messages));
  }
  std::string text = fmt::format("The host and shared memory DIFFER in {} of {} nodes{}.", wrong,
                                 verification.nodes.size(),
                                 verification.events.agrees() ? "" : " and in their events");
  if (tally.log().byNumber[3] != 0) {
    text += " Statistics were reset because a maximum was reached.";
  }
  return text;
}

std::string summaryJson(const flowfile::File& file, const Tally& tally,
                        std::chrono::duration<double> elapsed,
                        const std::optional<Verification>& verification) {
  Json flows = Json::array();
  eachFlow(file, tally, [&](auto g, auto f, auto& group, auto& flow, auto& count) {
    Json nodes = Json::array();
    for (std::size_t n = 0; n < flow.nodes.size(); ++n) {
      nodes.push_back(nodeJson(flow.nodes[n], tally.node(g, f, n)));
    }
    flows.push_back({{"executionGroup", printable(group.label)},
                     {"messageFlow", printable(flow.label)},
                     {"entered", count.entered.load()},
                     {"handled", count.handled.load()},
                     {"failed", count.failed.load()},
                     {"swallowed", count.swallowed.load()},
                     {"lagMilliseconds", count.lagMillis.load()},
                     {"nodes", nodes}});
  });
  const auto& log = tally.log().byNumber;
  const Json document = {
      {"schema", "zebhost.summary"},
      {"version", 1},
      {"broker", printable(file.broker.label)},
      {"seconds", elapsed.count()},
      {"logged",
       {{"trace", log[0].load()},
        {"1", log[1].load()},
        {"2", log[2].load()},
        {"3", log[3].load()}}},
      {"messageFlows", flows},
      {"verification", verification ? verificationJson(*verification) : Json(nullptr)}};
  return document.dump(2) + "\n";
}

}  // namespace host
