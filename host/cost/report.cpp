// SPDX-License-Identifier: Apache-2.0
#include "host/cost/report.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>

#include "flowfile/numbers.h"
#include "host/report/table.h"
#include "text/printable.h"

namespace host {
namespace {

using Json = nlohmann::ordered_json;
using text::printable;

constexpr std::size_t kShown = 6;     // flows
constexpr std::size_t kColumns = 26;  // of a flow's name
constexpr std::size_t kWidest = 76;   // of the file's name

std::string rounded(double number) {
  const auto whole = static_cast<std::uint64_t>(std::llround(std::abs(number)));
  return (number < 0 && whole != 0 ? "-" : "") + flowfile::grouped(whole);
}

std::vector<std::string> row(const std::string& name, const std::string& nodes,
                             const Quartiles& quartiles, const std::string& remark) {
  return {name,  nodes, rounded(quartiles.low), rounded(quartiles.median), rounded(quartiles.high),
          remark};
}

std::string remarkOn(const Quartiles& quartiles) {
  return quartiles.noisy() ? "noise" : "";
}

std::string flowsText(const Cost& cost) {
  std::vector<FlowCost> flows = cost.flows;
  const bool cut = flows.size() > kShown;
  if (cut) {
    std::ranges::stable_sort(flows, std::greater<>(),
                             [](const FlowCost& flow) { return flow.perNode.median; });
    flows.resize(kShown);
  }
  Rows rows{{"flow", "nodes", "quartile", "median", "quartile", ""}};
  for (const FlowCost& flow : flows) {
    rows.push_back(row(text::shortened(flow.group + " / " + flow.flow, kColumns),
                       flowfile::grouped(flow.nodes), flow.perNode, remarkOn(flow.perNode)));
  }
  std::string text =
      "Nanoseconds a message and node (rates, latencies and failures off):\n\n" + table(rows, 1);
  if (cut) {
    text += fmt::format("{} of {} flows, those whose nodes cost most; --format json has all.\n",
                        kShown, cost.flows.size());
  }
  if (cost.left > 0) {
    text += flowfile::counted(cost.left, "more flow") + " not measured, for want of --time.\n";
  }
  return text;
}

std::string throughputText(const ThroughputCost& cost) {
  if (!cost.notMeasured.empty()) {
    return "The share of throughput was not measured: " + cost.notMeasured + ".\n";
  }
  const Rows rows{
      {"", "quartile", "median", "quartile"},
      {"without the nodes", rounded(cost.without.low), rounded(cost.without.median),
       rounded(cost.without.high)},
      {"with them", rounded(cost.with.low), rounded(cost.with.median), rounded(cost.with.high)}};
  return fmt::format(
      "Messages a second, the file as it is written ({} each):\n\n{}"
      "The nodes take {:.1f} % of the throughput (quartiles {:.1f} to {:.1f} %).\n",
      flowfile::counted(cost.rounds, "round"), table(rows, 1), 100 * cost.share.median,
      100 * cost.share.low, 100 * cost.share.high);
}

bool isNoisy(const Cost& cost) {
  return (cost.throughput.rounds > 0 && cost.throughput.share.noisy()) ||
         std::ranges::any_of(cost.flows, [](const FlowCost& flow) { return flow.perNode.noisy(); });
}

std::string noiseText(const Cost& cost) {
  if (!isNoisy(cost)) return {};
  const bool share = cost.throughput.rounds > 0 && cost.throughput.share.noisy();
  return fmt::format(
      "\n{} smaller than the noise.\n"
      "Give more --time, or a machine that does nothing else.\n",
      share ? "The share of throughput is" : "What is marked \"noise\" is");
}

Json json(const Quartiles& quartiles) {
  return {{"lowerQuartile", quartiles.low},
          {"median", quartiles.median},
          {"upperQuartile", quartiles.high},
          {"noisy", quartiles.noisy()}};
}

Json throughputJson(const ThroughputCost& cost) {
  if (!cost.notMeasured.empty())
    return {{"rounds", 0}, {"notMeasured", printable(cost.notMeasured)}};
  return {{"rounds", cost.rounds},
          {"messagesPerSecondWithout", json(cost.without)},
          {"messagesPerSecondWith", json(cost.with)},
          {"share", json(cost.share)}};
}

}  // namespace

std::string costText(const flowfile::File& file, const Cost& cost, unsigned processors) {
  return fmt::format("What the monitoring nodes cost here, on {}:\n{}\n\n{}\n{}{}",
                     flowfile::counted(processors, "processor"),
                     text::shortened(file.path.string(), kWidest), flowsText(cost),
                     throughputText(cost.throughput), noiseText(cost));
}

std::string costJson(const flowfile::File& file, const Cost& cost, unsigned processors) {
  Json flows = Json::array();
  for (const FlowCost& flow : cost.flows) {
    flows.push_back({{"executionGroup", printable(flow.group)},
                     {"messageFlow", printable(flow.flow)},
                     {"nodes", flow.nodes},
                     {"rounds", flow.rounds},
                     {"nanosecondsPerMessageWithout", json(flow.without)},
                     {"nanosecondsPerMessageWith", json(flow.with)},
                     {"nanosecondsPerMessageAndNode", json(flow.perNode)}});
  }
  const Json document = {{"schema", "zebhost.cost"},
                         {"version", 1},
                         {"broker", printable(file.broker.label)},
                         {"processors", processors},
                         {"messageFlows", flows},
                         {"flowsNotMeasured", cost.left},
                         {"throughput", throughputJson(cost.throughput)}};
  return document.dump(2) + "\n";
}

}  // namespace host
