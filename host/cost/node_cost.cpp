// SPDX-License-Identifier: Apache-2.0
#include "host/cost/node_cost.h"

#include <signal.h>

#include <algorithm>
#include <chrono>
#include <ctime>
#include <memory>
#include <vector>

#include "host/cost/variants.h"
#include "host/run/clock.h"
#include "host/run/plugin.h"
#include "host/run/running_flow.h"
#include "host/run/tally.h"
#include "host/sources/source.h"

namespace host {
namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

constexpr std::size_t kBatch = 64;                    // messages that are made at a time, at most
constexpr std::size_t kBatchBytes = 8 * 1024 * 1024;  // and their bytes, about
constexpr std::size_t kFewest = 3;                    // rounds of each kind
constexpr auto kRound = 3ms;

// SIGINT and SIGTERM wait while a supervisor has been here.
void stopForSignals() {
  sigset_t pending;
  sigpending(&pending);
  for (const int number : {SIGINT, SIGTERM}) {
    if (sigismember(&pending, number) == 1) throw CostStopped(number);
  }
}

// Of this thread: what other programs take of the machine doesn't count.
std::chrono::nanoseconds processorTime() {
  timespec time{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
  return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

// A flow in this process, through which this thread sends messages.
class Way {
 public:
  Way(const flowfile::File& broker, const flowfile::Flow& flow, const std::string& group,
      const Plugin& plugin)
      : file_{broker.path, broker.seed, broker.broker, {{group, {flow}}}, {}},
        tally_(file_),
        flow_(file_.groups[0].flows[0], names(), plugin, counts(), {file_.seed, 0, {}}, stop_) {}

  // Nanoseconds of processor time a message, measured for one round.
  double measure(const std::vector<Draft>& drafts) {
    std::chrono::nanoseconds taken{};
    std::size_t handled = 0;
    while (taken < kRound) {
      const auto messages = made(drafts);
      const auto begin = processorTime();
      for (const auto& message : messages) flow_.handle(*message);
      taken += processorTime() - begin;
      handled += messages.size();
    }
    return std::chrono::duration<double, std::nano>(taken).count() / static_cast<double>(handled);
  }

 private:
  HostNames names() const {
    return {toText16(file_.broker.label), toText16(file_.groups[0].label),
            toText16(file_.groups[0].flows[0].label)};
  }

  FlowTally counts() {
    FlowTally counts{&tally_.flow(0, 0), {}};
    for (std::size_t n = 0; n < file_.groups[0].flows[0].nodes.size(); ++n) {
      counts.nodes.push_back(&tally_.node(0, 0, n));
    }
    return counts;
  }

  std::vector<std::unique_ptr<HostMessage>> made(const std::vector<Draft>& drafts) {
    const flowfile::Input& input = file_.groups[0].flows[0].input;
    std::vector<std::unique_ptr<HostMessage>> messages;
    for (const Draft& draft : drafts) {
      Descriptor descriptor;
      descriptor.applicationName = input.application;
      messages.push_back(
          std::make_unique<HostMessage>(++number_, descriptor, draft.body, input.lazy));
      messages.back()->stampPutTime(wallClock());
    }
    return messages;
  }

  flowfile::File file_;
  Tally tally_;
  StopSignal stop_;
  RunningFlow flow_;
  std::uint64_t number_ = 0;
};

std::vector<Draft> firstOf(const flowfile::Flow& flow, std::uint64_t seed) {
  const StopSignal stop;
  const auto source = openSource(settingsOf(flow.input), seed, stop);
  std::vector<Draft> drafts;
  std::size_t bytes = 0;
  for (Draft draft; drafts.size() < kBatch && bytes < kBatchBytes && source->next(draft);) {
    bytes += draft.body.size();
    drafts.push_back(draft);
  }
  return drafts;
}

FlowCost measure(const flowfile::File& file, const std::string& group, const flowfile::Flow& flow,
                 const Plugin& plugin, Clock::time_point end) {
  FlowCost cost{group, flow.label, monitorsOf(flow), 0, {}, {}, {}};
  const flowfile::Flow plain = withoutMonitors(bare(flow));
  const std::vector<Draft> drafts = firstOf(flow, file.seed);
  Way withNodes(file, bare(flow), group, plugin);
  Way withoutNodes(file, plain, group, plugin);
  std::vector<double> with;
  std::vector<double> without;
  std::vector<double> differences;
  while (cost.rounds < kFewest || Clock::now() < end) {
    ++cost.rounds;
    without.push_back(withoutNodes.measure(drafts));
    with.push_back(withNodes.measure(drafts));
    differences.push_back((with.back() - without.back()) / static_cast<double>(cost.nodes));
    stopForSignals();
  }
  cost.with = quartilesOf(with);
  cost.without = quartilesOf(without);
  cost.perNode = quartilesOf(differences);
  return cost;
}

}  // namespace

void measureNodes(const flowfile::File& file, const std::filesystem::path& library,
                  Clock::time_point end, Cost& cost) {
  const Plugin plugin(library);
  for (const flowfile::ExecutionGroup& group : file.groups) {
    cost.left += static_cast<std::size_t>(std::ranges::count_if(
        group.flows, [](const flowfile::Flow& flow) { return monitorsOf(flow) > 0; }));
  }
  for (const flowfile::ExecutionGroup& group : file.groups) {
    for (const flowfile::Flow& flow : group.flows) {
      const auto now = Clock::now();
      if (monitorsOf(flow) == 0 || (!cost.flows.empty() && now >= end)) continue;
      const auto own = (end - now) / static_cast<Clock::rep>(cost.left);
      cost.flows.push_back(measure(file, group.label, flow, plugin, now + own));
      --cost.left;
    }
  }
}

}  // namespace host
