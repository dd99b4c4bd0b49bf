// SPDX-License-Identifier: Apache-2.0
#include "host/summary.h"

#include <fmt/format.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <vector>

#include "host/units.h"

namespace host {
namespace {

using Json = nlohmann::ordered_json;
using Row = std::vector<std::string>;

// Characters that a terminal shows, for texts in UTF-8.
std::size_t shownWidth(const std::string& text) {
  return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char c) {
    return (static_cast<unsigned char>(c) & 0xC0) != 0x80;
  }));
}

// Columns as wide as their widest cell, the first `left` of them flush left. The first row is the
// heading.
std::string table(const std::vector<Row>& rows, std::size_t left) {
  std::vector<std::size_t> widths(rows.front().size());
  for (const Row& row : rows) {
    for (std::size_t i = 0; i < row.size(); ++i)
      widths[i] = std::max(widths[i], shownWidth(row[i]));
  }
  std::string text;
  for (const Row& row : rows) {
    std::string line;
    for (std::size_t i = 0; i < row.size(); ++i) {
      const std::string blanks(widths[i] - shownWidth(row[i]), ' ');
      line += (i == 0 ? "" : "  ") + (i < left ? row[i] + blanks : blanks + row[i]);
    }
    line.erase(line.find_last_not_of(' ') + 1);
    text += line + "\n";
  }
  return text;
}

std::string sizes(const SizeFigures& figures) {
  return fmt::format("{} messages, {} bytes", grouped(figures.count), grouped(figures.bytes));
}

template <typename Visit>
void eachFlow(const FlowFile& file, const Tally& tally, const Visit& visit) {
  for (std::size_t g = 0; g < file.groups.size(); ++g) {
    for (std::size_t f = 0; f < file.groups[g].flows.size(); ++f) {
      visit(g, f, file.groups[g], file.groups[g].flows[f], tally.flow(g, f));
    }
  }
}

Json nodeJson(const Node& node, const NodeCount& count) {
  const bool none = count.messages == 0;
  return {{"label", labelOf(node)},
          {"kind", std::holds_alternative<MonitorNode>(node) ? "monitor" : "work"},
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
    nodes.push_back({{"executionGroup", node.group},
                     {"messageFlow", node.flow},
                     {"node", node.node},
                     {"host", figuresJson(node.host)},
                     {"sharedMemory", figuresJson(node.shared)},
                     {"agrees", node.agrees()},
                     {"problem", node.problem}});
  }
  const EventComparison& events = verification.events;
  return {{"agrees", verification.agrees()},
          {"problem", verification.problem},
          {"nodes", nodes},
          {"events",
           {{"host", {{"message", events.hostMessages}, {"exception", events.hostExceptions}}},
            {"sharedMemory",
             {{"message", events.sharedMessages}, {"exception", events.sharedExceptions}}},
            {"wrapped", events.wrapped},
            {"agrees", events.agrees()}}}};
}

}  // namespace

std::string summaryText(const FlowFile& file, const Tally& tally,
                        std::chrono::duration<double> elapsed) {
  std::vector<Row> rows{{"group", "flow", "node", "messages", "failed", "bytes"}};
  std::uint64_t done = 0;
  std::uint64_t failed = 0;
  std::string remarks;
  eachFlow(file, tally, [&](auto g, auto f, auto& group, auto& flow, auto& count) {
    done += count.done();
    failed += count.failed;
    if (flow.input.rate > 0) {
      remarks += fmt::format("{}/{} kept {} messages/s; the latest message was {} ms behind.\n",
                             group.label, flow.label, flow.input.rate, count.lagMillis.load());
    }
    if (count.swallowed != 0) {
      remarks += fmt::format("{}/{}: {} exceptions were not re-raised by a monitoring node.\n",
                             group.label, flow.label, count.swallowed.load());
    }
    for (std::size_t n = 0; n < flow.nodes.size(); ++n) {
      const NodeCount& node = tally.node(g, f, n);
      const bool work = std::holds_alternative<WorkNode>(flow.nodes[n]);
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
  std::vector<Row> rows{{"group", "flow", "node", "host", "| shared memory", "| agrees"}};
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
    return fmt::format("Shared memory could not be read: {}.", verification.problem);
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

std::string summaryJson(const FlowFile& file, const Tally& tally,
                        std::chrono::duration<double> elapsed,
                        const std::optional<Verification>& verification) {
  Json flows = Json::array();
  eachFlow(file, tally, [&](auto g, auto f, auto& group, auto& flow, auto& count) {
    Json nodes = Json::array();
    for (std::size_t n = 0; n < flow.nodes.size(); ++n) {
      nodes.push_back(nodeJson(flow.nodes[n], tally.node(g, f, n)));
    }
    flows.push_back({{"executionGroup", group.label},
                     {"messageFlow", flow.label},
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
      {"broker", file.broker.label},
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
