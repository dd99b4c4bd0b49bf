// SPDX-License-Identifier: Apache-2.0
#include <sched.h>

#include <algorithm>
#include <deque>
#include <map>
#include <utility>

#include "bench/driver/sections.h"
#include "bench/support/crew.h"
#include "bench/support/floor.h"
#include "bench/support/library.h"
#include "bench/support/settings.h"

namespace bench {
namespace {

constexpr int kAreaBytes = 32768;
constexpr int kMessageBytes = 1000;
constexpr int kMostThreads = 8;
constexpr int kThreads[] = {1, 2, 4, kMostThreads};

// One node a thread.
class Nodes {
 public:
  Nodes(const Library& library, const NodePlan& plan) {
    for (int i = 0; i < kMostThreads; ++i) {
      NodePlan own = plan;
      own.label = numbered(plan.label, i);
      labels_.push_back(own.label);
      nodes_.emplace_back(library, own);
    }
  }
  const Node& operator[](int thread) const { return nodes_[static_cast<std::size_t>(thread)]; }
  const std::vector<std::u16string>& labels() const { return labels_; }

 private:
  std::deque<Node> nodes_;
  std::vector<std::u16string> labels_;
};

// Throughput with each number of threads, in turn; ratios to the same round's single thread.
class Ladder {
 public:
  // `work` gets the thread's number; `each` what every step got done.
  template <class Work, class Each>
  void climb(const Effort& effort, Work&& work, Each&& each) {
    for (int round = 0; round < effort.threadRounds; ++round) {
      double single = 0;
      for (const int threads : kThreads) {
        const Done done = workTogether(threads, effort.span, work);
        each(done);
        if (threads == 1) single = done.perSecond();
        steps_[threads].add(single, done.perSecond());
      }
    }
  }

  nlohmann::json found() const {
    nlohmann::json list = nlohmann::json::array();
    for (const auto& [threads, rounds] : steps_) {
      nlohmann::json step = ratioOf(rounds);
      step["threads"] = threads;
      step["perSecond"] = median(rounds.second);
      list.push_back(step);
    }
    return list;
  }

 private:
  std::map<int, Rounds> steps_;
};

nlohmann::json climbOneNode(const Plan& plan, const Library& library, NodePlan nodePlan) {
  const Node node(library, nodePlan);
  Message message;
  Ladder ladder;
  std::int64_t sent = 0;
  ladder.climb(
      plan.effort, [&](int) { node.send(message.handle()); },
      [&](const Done& done) { sent += done.total(); });
  requireCounted(nodePlan.label, sent);
  return ladder.found();
}

nlohmann::json climbOwnNodes(const Plan& plan, const Library& library, const NodePlan& nodePlan) {
  const Nodes nodes(library, nodePlan);
  Message message;
  Ladder ladder;
  std::vector<std::int64_t> sent(kMostThreads);
  ladder.climb(
      plan.effort, [&](int thread) { nodes[thread].send(message.handle()); },
      [&](const Done& done) {
        for (std::size_t i = 0; i < done.calls.size(); ++i) sent[i] += done.calls[i];
      });
  for (std::size_t i = 0; i < sent.size(); ++i) requireCounted(nodes.labels()[i], sent[i]);
  return ladder.found();
}

// What the design gives without a lock of the process: threads that meet at the semaphore itself,
// and, as the machine's own measure, threads that have nothing in common.
nlohmann::json climbFloors(const Plan& plan, bool shared) {
  std::deque<Floor> floors;
  for (int i = 0; i < kMostThreads; ++i) floors.emplace_back(kAreaBytes);
  Message message;
  Ladder ladder;
  ladder.climb(
      plan.effort,
      [&](int thread) {
        const Floor& floor = floors[shared ? 0 : static_cast<std::size_t>(thread)];
        floor.message(message.bits(), kMessageBytes);
      },
      [](const Done&) {});
  return ladder.found();
}

// How long each of eight threads on the node waits at most. Each calls `enterClass` first.
template <class EnterClass>
nlohmann::json watch(const Node& node, std::chrono::milliseconds span, EnterClass&& enterClass,
                     std::int64_t& sent) {
  struct alignas(64) Longest {
    Clock::duration wait{};
    bool entered = false;
  };
  Message message;
  std::vector<Longest> longest(kMostThreads);
  const Done done = workTogether(kMostThreads, span, [&](int thread) {
    Longest& own = longest[static_cast<std::size_t>(thread)];
    if (!std::exchange(own.entered, true)) enterClass();
    const auto begin = Clock::now();
    node.send(message.handle());
    own.wait = std::max(own.wait, Clock::now() - begin);
  });
  sent += done.total();
  std::vector<double> milliseconds;
  for (const Longest& each : longest)
    milliseconds.push_back(std::chrono::duration<double, std::milli>(each.wait).count());
  const auto [fewest, most] = std::minmax_element(done.calls.begin(), done.calls.end());
  return {
      {"threads", kMostThreads}, {"seconds", done.seconds}, {"longestMilliseconds", milliseconds},
      {"messages", done.calls},  {"fewest", *fewest},       {"most", *most}};
}

bool enterClass(int policy, int priority) {
  const sched_param parameter{priority};
  return sched_setscheduler(0, policy, &parameter) == 0;
}

// The calling thread's threads leave one core to others, where that leaves two for the lock.
void leaveOneCore() {
  cpu_set_t cores;
  if (sched_getaffinity(0, sizeof cores, &cores) != 0 || CPU_COUNT(&cores) < 3) return;
  std::size_t first = 0;
  while (!CPU_ISSET(first, &cores)) ++first;
  CPU_CLR(first, &cores);
  sched_setaffinity(0, sizeof cores, &cores);
}

// For a second at most: nothing else runs on these cores. This thread must be able to end it.
nlohmann::json watchInRealTime(const Node& node, const Effort& effort, std::int64_t& sent) {
  constexpr std::chrono::milliseconds kLongest{1000};
  if (!enterClass(SCHED_FIFO, 2)) return {{"leftOut", "SCHED_FIFO is not allowed here"}};
  leaveOneCore();
  nlohmann::json found = watch(
      node, std::min(effort.longWatch, kLongest), [] { enterClass(SCHED_FIFO, 1); }, sent);
  enterClass(SCHED_OTHER, 0);
  return found;
}

}  // namespace

nlohmann::json measureThreads(const Plan& plan) {
  writeSettings(kAreaBytes);
  const Library library(plan.library);
  const std::u16string text = u"a message was seen";
  return {{"oneNode", climbOneNode(plan, library, {.label = u"ONE"})},
          {"ownNodes", climbOwnNodes(plan, library, {.label = u"OWN"})},
          {"oneNodeWithEvents",
           climbOneNode(plan, library, {.label = u"ONEEVENT", .eventMessage = text})},
          {"ownNodesWithEvents",
           climbOwnNodes(plan, library, {.label = u"OWNEVENT", .eventMessage = text})},
          {"floorOneLock", climbFloors(plan, true)},
          {"floorOwnLocks", climbFloors(plan, false)}};
}

nlohmann::json measureWaits(const Plan& plan) {
  writeSettings(kAreaBytes);
  const Library library(plan.library);
  const NodePlan nodePlan{.label = u"ONE"};
  const Node node(library, nodePlan);
  std::int64_t sent = 0;
  nlohmann::json found = watch(
      node, plan.effort.longWatch, [] {}, sent);
  found["realTime"] = watchInRealTime(node, plan.effort, sent);
  requireCounted(nodePlan.label, sent);
  return found;
}

}  // namespace bench
