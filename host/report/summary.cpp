// SPDX-License-Identifier: Apache-2.0
#include "host/report/summary.h"

#include <fmt/format.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <set>
#include <utility>
#include <vector>

#include "flowfile/numbers.h"
#include "flowfile/quantity.h"
#include "host/report/table.h"
#include "text/printable.h"

namespace host {
namespace {

using Json = nlohmann::ordered_json;
using text::printable;

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

// Null for what was not compared: that is no agreement.
template <typename Compared>
Json agreement(const Compared& compared) {
  return compared.agrees() && !compared.compared() ? Json(nullptr) : Json(compared.agrees());
}

bool isNothingCompared(const Verification& verification) {
  return !verification.notDone.empty() ||
         (verification.compared() == 0 && !verification.events.compared());
}

Json verificationJson(const Verification& verification) {
  Json nodes = Json::array();
  for (const Comparison& node : verification.nodes) {
    nodes.push_back({{"executionGroup", printable(node.group)},
                     {"messageFlow", printable(node.flow)},
                     {"node", printable(node.node)},
                     {"host", figuresJson(node.host)},
                     {"sharedMemory", figuresJson(node.shared)},
                     {"agrees", agreement(node)},
                     {"problem", printable(node.problem)},
                     {"notCompared", printable(node.notCompared)}});
  }
  const EventComparison& events = verification.events;
  Json left = Json::array();
  for (const std::string& text : verification.leftBehind) left.push_back(printable(text));
  return {{"agrees", verification.agrees() && isNothingCompared(verification)
                         ? Json(nullptr)
                         : Json(verification.agrees())},
          {"problem", printable(verification.problem)},
          {"notDone", printable(verification.notDone)},
          {"leftBehind", left},
          {"nodes", nodes},
          {"events",
           {{"host", {{"message", events.hostMessages}, {"exception", events.hostExceptions}}},
            {"sharedMemory",
             {{"message", events.sharedMessages}, {"exception", events.sharedExceptions}}},
            {"wrapped", events.wrapped},
            {"agrees", agreement(events)},
            {"notCompared", printable(events.notCompared)}}}};
}

std::string whatHappened(const DrillResult& drill) {
  switch (drill.state) {
    case DrillResult::State::done:
      return "done";
    case DrillResult::State::failed:
      return "NOT DONE: " + drill.problem;
    case DrillResult::State::begun:
      return "NOT DONE: it had not come to an end";
    case DrillResult::State::waiting:
      break;
  }
  return "not done: the flows had ended before";
}

Json drillsJson(const flowfile::File& file, const std::vector<DrillResult>& drills) {
  Json list = Json::array();
  for (std::size_t i = 0; i < drills.size(); ++i) {
    const flowfile::Drill& drill = file.drills[i];
    const bool done = drills[i].state == DrillResult::State::done;
    list.push_back({{"atSeconds", std::chrono::duration<double>(drill.at).count()},
                    {"executionGroup", printable(file.groups[drill.group].label)},
                    {"drill", flowfile::nameOf(drill)},
                    {"done", done},
                    {"problem", done ? "" : printable(whatHappened(drills[i]))}});
  }
  return list;
}

template <typename Compared>
std::string agreementText(const Compared& compared) {
  if (!compared.agrees()) return "NO";
  return compared.compared() ? "yes" : "not compared";
}

// Why nodes differ or weren't compared, each reason once.
std::string reasonsText(const std::vector<Comparison>& nodes) {
  std::set<std::string> said;
  std::string text;
  for (const Comparison& node : nodes) {
    std::string line;
    if (!node.agrees()) {
      line = fmt::format("{}/{}/{}: {}", node.group, node.flow, node.node, node.problem);
    } else if (!node.compared()) {
      line = "not compared: " + node.notCompared;
    }
    if (!line.empty() && said.insert(line).second) text += printable(line) + "\n";
  }
  return text;
}

std::string nodesText(const std::vector<Comparison>& nodes) {
  Rows rows{{"", "messages", "", "bytes", "", ""},
            {"node", "host", "shared", "host", "shared", "agrees"}};
  std::string flow;
  for (const Comparison& node : nodes) {
    const std::string of = node.group + " / " + node.flow;
    if (std::exchange(flow, of) != of) rows.push_back({of, "", "", "", "", ""});
    rows.push_back({" " + node.node, flowfile::grouped(node.host.count),
                    flowfile::grouped(node.shared.count), flowfile::grouped(node.host.bytes),
                    flowfile::grouped(node.shared.bytes), agreementText(node)});
  }
  return table(rows, 1) + reasonsText(nodes);
}

std::string eventsText(const EventComparison& events) {
  const std::string why = events.wrapped ? "the oldest were overwritten" : events.notCompared;
  const auto line = [&](const char* kind, std::uint64_t host, std::uint64_t shared) {
    return fmt::format("{} events: host {}, shared memory {}: {}\n", kind, flowfile::grouped(host),
                       flowfile::grouped(shared),
                       !events.compared() ? "not compared, " + printable(why)
                       : host == shared   ? "yes"
                                          : "NO");
  };
  return line("message", events.hostMessages, events.sharedMessages) +
         line("exception", events.hostExceptions, events.sharedExceptions);
}

std::string differenceText(const Verification& verification, const Tally& tally) {
  const auto wrong = std::ranges::count(verification.nodes, false, &Comparison::agrees);
  std::string text = fmt::format("The host and shared memory DIFFER in {} of {}{}.", wrong,
                                 flowfile::counted(verification.nodes.size(), "node"),
                                 verification.events.agrees() ? "" : " and in their events");
  if (tally.log().byNumber[3] != 0) {
    text += " Statistics were reset because a maximum was reached.";
  }
  return text;
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

std::string drillsText(const flowfile::File& file, const std::vector<DrillResult>& drills) {
  if (drills.empty()) return {};
  Rows rows{{"at", "group", "drill", "what happened"}};
  for (std::size_t i = 0; i < drills.size(); ++i) {
    const flowfile::Drill& drill = file.drills[i];
    rows.push_back({flowfile::durationText(drill.at), file.groups[drill.group].label,
                    flowfile::nameOf(drill), whatHappened(drills[i])});
  }
  return table(rows, 4);
}

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
                      flowfile::grouped(node.messages), flowfile::grouped(node.failures),
                      flowfile::grouped(node.bytes)});
    }
  });
  const LogCount& log = tally.log();
  std::string text =
      fmt::format("{} messages in {:.1f} s, {} of them failed.\n{}{}", flowfile::grouped(done),
                  elapsed.count(), flowfile::grouped(failed), remarks, table(rows, 3));
  for (std::size_t number = 1; number < log.byNumber.size(); ++number) {
    if (log.byNumber[number] == 0) continue;
    text += fmt::format("The nodes logged message {} {} times.\n", number,
                        flowfile::grouped(log.byNumber[number]));
  }
  return text;
}

std::string verificationText(const Verification& verification) {
  std::string text;
  if (verification.problem.empty() && verification.notDone.empty()) {
    text = nodesText(verification.nodes) + eventsText(verification.events);
  }
  for (const std::string& left : verification.leftBehind) {
    text += "left behind: " + printable(left) + "\n";
  }
  return text;
}

std::string verdict(const Verification& verification, const Tally& tally) {
  if (!verification.problem.empty()) {
    return printable(fmt::format("Shared memory could not be read: {}.", verification.problem));
  }
  if (!verification.notDone.empty()) {
    return printable(fmt::format("Shared memory was NOT COMPARED: {}.", verification.notDone));
  }
  if (!verification.agrees()) return differenceText(verification, tally);
  const std::size_t compared = verification.compared();
  if (compared == 0 && !verification.nodes.empty()) {
    return fmt::format("The host and shared memory were NOT COMPARED in {}.",
                       flowfile::counted(verification.nodes.size(), "node"));
  }
  std::uint64_t messages = 0;
  for (const Comparison& node : verification.nodes) {
    if (node.compared()) messages += node.host.count;
  }
  std::string text =
      fmt::format("The host and shared memory agree: {}, {}.", flowfile::counted(compared, "node"),
                  flowfile::counted(messages, "measurement"));
  if (compared < verification.nodes.size()) {
    text += fmt::format(" Not compared: {}.",
                        flowfile::counted(verification.nodes.size() - compared, "node"));
  }
  return text;
}

std::string summaryJson(const flowfile::File& file, const Tally& tally,
                        std::chrono::duration<double> elapsed,
                        const std::optional<Verification>& verification,
                        const std::vector<DrillResult>& drills) {
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
      {"drills", drillsJson(file, drills)},
      {"verification", verification ? verificationJson(*verification) : Json(nullptr)}};
  return document.dump(2) + "\n";
}

}  // namespace host
