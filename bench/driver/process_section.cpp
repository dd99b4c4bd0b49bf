// SPDX-License-Identifier: Apache-2.0
#include <list>
#include <stdexcept>
#include <thread>

#include "bench/driver/child.h"
#include "bench/driver/meeting.h"
#include "bench/driver/sections.h"
#include "bench/support/library.h"
#include "bench/support/settings.h"

namespace bench {
namespace {

constexpr int kAreaBytes = 32768;
constexpr int kProcesses[] = {1, 2, 4};

// A process's part: deploys, waits for all, sends until it is over, and stays until all are done,
// since leaving changes what is stored.
nlohmann::json send(const Plan& plan, const SharedMeeting& meeting, const NodePlan& nodePlan,
                    int processes) {
  const Library library(plan.library);
  const Node node(library, nodePlan);
  Message message;
  ++meeting->deployed;
  waitUntil([&] { return meeting->begun.load(); });
  std::int64_t calls = 0;
  for (; !meeting->over.load(std::memory_order_relaxed); ++calls) node.send(message.handle());
  ++meeting->read;
  waitUntil([&] { return meeting->read == processes + 1; });
  return calls;
}

// Messages a second of so many processes, on nodes of their own or on one that they share.
double throughput(const Plan& plan, const NodePlan& nodePlan, int processes, bool shared) {
  const SharedMeeting meeting;
  std::list<Child> children;
  std::vector<std::u16string> labels;
  for (int i = 0; i < processes; ++i) {
    NodePlan own = nodePlan;
    if (!shared) own.label += static_cast<char16_t>(u'0' + i);
    labels.push_back(own.label);
    children.emplace_back([&, own] { return send(plan, meeting, own, processes); });
    waitUntil([&] { return meeting->deployed > i; });
  }
  meeting->begun = true;
  const auto begin = Clock::now();
  std::this_thread::sleep_for(plan.effort.span);
  meeting->over = true;
  waitUntil([&] { return meeting->read == processes; });
  const double seconds = std::chrono::duration<double>(Clock::now() - begin).count();
  std::vector<std::int64_t> found;
  for (const auto& label : labels) found.push_back(counted(label));
  ++meeting->read;
  std::int64_t sent = 0;
  for (Child& child : children) sent += child.result().get<std::int64_t>();
  std::int64_t stored = 0;
  for (const std::int64_t count : found) stored += shared ? 0 : count;
  if (shared) stored = found.front();
  if (stored != sent) throw std::runtime_error("processes sent what was not counted");
  return static_cast<double>(sent) / seconds;
}

nlohmann::json climb(const Plan& plan, const NodePlan& nodePlan, bool shared) {
  std::vector<Rounds> steps(std::size(kProcesses));
  for (int round = 0; round < (plan.effort.threadRounds + 2) / 3; ++round) {
    double single = 0;
    for (std::size_t i = 0; i < steps.size(); ++i) {
      const double all = throughput(plan, nodePlan, kProcesses[i], shared);
      if (i == 0) single = all;
      steps[i].add(single, all);
    }
  }
  nlohmann::json list = nlohmann::json::array();
  for (std::size_t i = 0; i < steps.size(); ++i) {
    nlohmann::json step = ratioOf(steps[i]);
    step["processes"] = kProcesses[i];
    step["perSecond"] = median(steps[i].second);
    list.push_back(step);
  }
  return list;
}

}  // namespace

nlohmann::json measureProcesses(const Plan& plan) {
  writeSettings(kAreaBytes);
  const NodePlan plain{.label = u"NODE"};
  const NodePlan events{.label = u"EVENTS", .eventMessage = u"a message was seen"};
  return {{"ownNodes", climb(plan, plain, false)},
          {"ownNodesWithEvents", climb(plan, events, false)},
          {"oneNode", climb(plan, plain, true)}};
}

}  // namespace bench
