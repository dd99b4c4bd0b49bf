// SPDX-License-Identifier: Apache-2.0
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <list>
#include <stdexcept>

#include "bench/driver/child.h"
#include "bench/driver/meeting.h"
#include "bench/driver/sections.h"
#include "bench/support/library.h"
#include "bench/support/settings.h"

namespace bench {
namespace {

constexpr int kAreaBytes = 1 << 20;  // room for the records of more than 2,000 nodes
constexpr int kNodesOfFlow = 10;     // when they are spread
constexpr int kProcesses = 4;        // that deploy at once
constexpr int kNodesOfProcess = 200;

double milliseconds(Clock::time_point begin) {
  return std::chrono::duration<double, std::milli>(Clock::now() - begin).count();
}

// A line of the process's status that counts kibibytes.
double kibibytes(const std::string& name) {
  std::ifstream status("/proc/self/status");
  for (std::string word; status >> word;) {
    double value = 0;
    if (word == name + ":" && status >> value) return value;
  }
  throw std::runtime_error("the process's status doesn't tell " + name);
}

NodePlan planOf(int number, bool spread) {
  return {.label = numbered(u"NODE", number),
          .messageFlow = numbered(u"FLOW", spread ? number / kNodesOfFlow : 0)};
}

// Deploys so many nodes one after the other, and takes them away again. Memory is compared with
// what it was with one node: the process's own, and at its peak all that it had.
nlohmann::json deploy(const Plan& plan, int count, bool spread) {
  const Library library(plan.library);
  std::list<Node> nodes;
  const auto begin = Clock::now();
  nodes.emplace_back(library, planOf(0, spread));
  const double first = milliseconds(begin);
  const double withOne = kibibytes("RssAnon");
  const double peakWithOne = kibibytes("VmHWM");
  const auto rest = Clock::now();
  for (int i = 1; i < count; ++i) nodes.emplace_back(library, planOf(i, spread));
  const double time = first + milliseconds(rest);
  const double grown = kibibytes("RssAnon") - withOne;
  const double peak = kibibytes("VmHWM") - peakWithOne;
  Message message;
  for (const Node& node : nodes) node.send(message.handle());
  for (const int number : {0, count - 1}) requireCounted(planOf(number, spread).label, 1);
  const auto end = Clock::now();
  nodes.clear();
  return {{"milliseconds", time},
          {"grownKiB", grown},
          {"peakKiB", peak},
          {"removedMilliseconds", milliseconds(end)}};
}

// The median of several deployments, each in a process and a segment of its own.
nlohmann::json deployments(const Plan& plan, bool spread) {
  const std::vector<int>& numbers = plan.effort.nodes;
  std::vector<Rounds> times(numbers.size());  // with half as many nodes, with so many
  nlohmann::json list = nlohmann::json::array();
  std::vector<std::vector<double>> grown(numbers.size());
  std::vector<std::vector<double>> peaks(numbers.size());
  std::vector<std::vector<double>> removed(numbers.size());
  for (int round = 0; round < plan.effort.deployments; ++round) {
    double before = 0;
    for (std::size_t i = 0; i < numbers.size(); ++i) {
      const auto found = inChild([&] { return deploy(plan, numbers[i], spread); });
      const double time = found["milliseconds"];
      times[i].add(i == 0 ? time : before, time);
      grown[i].push_back(found["grownKiB"]);
      peaks[i].push_back(found["peakKiB"]);
      removed[i].push_back(found["removedMilliseconds"]);
      before = time;
    }
  }
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    nlohmann::json step = {{"nodes", numbers[i]},
                           {"milliseconds", median(times[i].second)},
                           {"grownMiB", median(grown[i]) / 1024},
                           {"peakMiB", median(peaks[i]) / 1024},
                           {"removedMilliseconds", median(removed[i])}};
    if (i > 0) {
      const double more = static_cast<double>(numbers[i]) / numbers[i - 1];
      step["exponent"] = std::log(median(times[i].ratios())) / std::log(more);
    }
    list.push_back(step);
  }
  return list;
}

// One of several processes that deploy at once, each an execution group of its own: how much its
// memory grew beyond that of one node, at the end and at its peak.
nlohmann::json deployBesideOthers(const Plan& plan, const SharedMeeting& meeting, int process) {
  const Library library(plan.library);
  const auto place = [process](int number) {
    return NodePlan{.label = numbered(u"NODE", process * kNodesOfProcess + number),
                    .executionGroup = numbered(u"GROUP", process)};
  };
  std::list<Node> nodes;
  nodes.emplace_back(library, place(0));
  const double withOne = kibibytes("RssAnon");
  const double peakWithOne = kibibytes("VmHWM");
  ++meeting->deployed;
  waitUntil([&] { return meeting->deployed == kProcesses; });
  for (int i = 1; i < kNodesOfProcess; ++i) nodes.emplace_back(library, place(i));
  const double grown = kibibytes("RssAnon") - withOne;
  const double peak = kibibytes("VmHWM") - peakWithOne;
  // Every deployment resets what all have counted.
  ++meeting->read;
  waitUntil([&] { return meeting->read == kProcesses; });
  Message message;
  for (const Node& node : nodes) node.send(message.handle());
  for (const int number : {0, kNodesOfProcess - 1}) requireCounted(place(number).label, 1);
  ++meeting->read;
  waitUntil([&] { return meeting->read == 2 * kProcesses; });
  return {{"grownKiB", grown}, {"peakKiB", peak}};
}

nlohmann::json deployAtOnce(const Plan& plan) {
  const SharedMeeting meeting;
  std::list<Child> children;
  for (int process = 0; process < kProcesses; ++process)
    children.emplace_back([&, process] { return deployBesideOthers(plan, meeting, process); });
  double grown = 0;
  double peak = 0;
  for (Child& child : children) {
    const nlohmann::json found = child.result();
    grown = std::max(grown, found["grownKiB"].get<double>());
    peak = std::max(peak, found["peakKiB"].get<double>());
  }
  return {{"grownKiB", grown}, {"peakKiB", peak}};
}

// The largest process, as the median of several rounds.
nlohmann::json deploymentsAtOnce(const Plan& plan) {
  std::vector<double> grown;
  std::vector<double> peak;
  for (int round = 0; round < plan.effort.deployments; ++round) {
    const auto found = inChild([&] { return deployAtOnce(plan); });
    grown.push_back(found["grownKiB"]);
    peak.push_back(found["peakKiB"]);
  }
  return {{"processes", kProcesses},
          {"nodes", kNodesOfProcess},
          {"grownMiB", median(grown) / 1024},
          {"peakMiB", median(peak) / 1024}};
}

}  // namespace

nlohmann::json measureDeployment(const Plan& plan) {
  writeSettings(kAreaBytes);
  return {{"oneFlow", deployments(plan, false)},
          {"spread", deployments(plan, true)},
          {"atOnce", deploymentsAtOnce(plan)}};
}

}  // namespace bench
