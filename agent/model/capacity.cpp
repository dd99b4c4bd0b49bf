// SPDX-License-Identifier: Apache-2.0
#include "agent/model/capacity.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <variant>
#include <vector>

#include "flowfile/room.h"
#include "format/sizes.h"

namespace model {
namespace {

constexpr std::uint64_t kUuidUnits = 36;
constexpr Seconds kThousandYears(1000 * 365.25 * 24 * 3600);

std::uint64_t plus(std::uint64_t one, std::uint64_t other) {
  std::uint64_t sum;
  return __builtin_add_overflow(one, other, &sum) ? UINT64_MAX : sum;
}

std::uint64_t times(std::uint64_t one, std::uint64_t other) {
  std::uint64_t product;
  return __builtin_mul_overflow(one, other, &product) ? UINT64_MAX : product;
}

// A record with that many units in its strings.
std::uint64_t record(std::uint32_t type, std::uint64_t units) {
  return plus(layout::recordSize(type, 0), times(2, units));
}

std::uint64_t nodeWithStatistics(std::uint64_t units) {
  return plus(record(ZEB_NOIR_RECORD, units), layout::stir::bytes);
}

// What comes with a node in a new flow or group.
std::uint64_t around(const NewNode& node) {
  std::uint64_t bytes = 0;
  if (node.newFlow || node.newGroup) bytes = record(ZEB_MFIR_RECORD, node.flowUnits);
  if (node.newGroup) bytes = plus(bytes, record(ZEB_EGIR_RECORD, node.groupUnits));
  return bytes;
}

void addTemplate(Plan& plan, std::uint64_t units) {
  plan.templates = plus(plan.templates, record(ZEB_EVTR_RECORD, units));
  plan.longestText = std::max(plan.longestText, units);
}

// Follows one flow's chain: what is behind a node fails within it, and each such node tells of it.
class FlowPlan {
 public:
  FlowPlan(Plan& plan, const flowfile::Flow& flow, std::uint64_t groupUnits)
      : plan_(plan),
        units_(plus(groupUnits, flowfile::unitsOf(flow.label))),
        rate_(flow.input.rate) {}

  void add(const flowfile::MonitorNode& node) {
    const std::uint64_t label = flowfile::unitsOf(node.label);
    ++plan_.nodes;
    plan_.records =
        plus(plan_.records,
             nodeWithStatistics(label + flowfile::unitsOf(node.subFlowName.value_or(""))));
    around_.push_back(units_ + label);
    if (node.eventMessage.value_or("").empty()) return;
    addTemplate(plan_, units_ + label + flowfile::unitsOf(*node.eventMessage));
    addEvents(1);
  }

  void add(const flowfile::WorkNode& node) {
    if (!node.failure) return;
    const flowfile::Failure& failure = *node.failure;
    for (const std::uint64_t units : around_) {
      for (const std::string& text : failure.texts) {
        addTemplate(plan_, units + flowfile::exceptionUnits(failure.origin, failure.code, text));
      }
    }
    const double often =
        failure.probability + (failure.every > 0 ? 1 / static_cast<double>(failure.every) : 0);
    addEvents(std::min(often, 1.0) * static_cast<double>(around_.size()));
  }

 private:
  void addEvents(double perMessage) {
    if (rate_ > 0) {
      plan_.eventsPerSecond += rate_ * perMessage;
    } else if (perMessage > 0) {
      plan_.rateUnknown = true;
    }
  }

  Plan& plan_;
  std::uint64_t units_;                // of the labels of group and flow
  double rate_;                        // messages a second
  std::vector<std::uint64_t> around_;  // units of all three labels of each node so far
};

}  // namespace

std::uint64_t roomFor(const NewNode& node, const reader::Area& statistics) {
  std::uint64_t left = statistics.size - std::min(statistics.last, statistics.size);
  left -= std::min(left, around(node));
  return left / nodeWithStatistics(node.units);
}

std::uint64_t bytesOf(const NewNode& node) {
  return plus(around(node), nodeWithStatistics(node.units));
}

std::uint64_t largestNode(const SeenBroker& broker) {
  return largestNewNode(broker).units;
}

NewNode largestNewNode(const SeenBroker& broker) {
  constexpr std::uint64_t kUsual = 16;
  NewNode largest;
  const auto grow = [](std::uint64_t& most, std::uint64_t units) { most = std::max(most, units); };
  static const reader::Broker kNone;
  for (const auto& group : (broker.tree ? *broker.tree : kNone).executionGroups) {
    grow(largest.groupUnits, flowfile::unitsOf(group.label));
    for (const auto& flow : group.messageFlows) {
      grow(largest.flowUnits, flowfile::unitsOf(flow.label));
      for (const auto& node : flow.nodes) {
        grow(largest.units, flowfile::unitsOf(node.label) + flowfile::unitsOf(node.subFlowName));
      }
    }
  }
  for (std::uint64_t* units : {&largest.units, &largest.flowUnits, &largest.groupUnits}) {
    if (*units == 0) *units = kUsual;
  }
  return largest;
}

std::uint64_t longestText(std::uint32_t area) {
  const std::uint32_t room = layout::roomIn(area);
  return room < layout::evtr::bytes ? 0 : (room - layout::evtr::bytes) / 2;
}

std::uint64_t eventsIn(std::uint32_t area) {
  return layout::roomIn(area) / layout::evdr::bytes;
}

Plan planOf(std::uint64_t nodes, std::uint64_t labelUnits) {
  Plan plan;
  plan.groups = 1;
  plan.nodes = nodes;
  plan.records =
      plus(record(ZEB_BRIR_RECORD, plus(labelUnits, kUuidUnits)),
           plus(record(ZEB_EGIR_RECORD, labelUnits), record(ZEB_MFIR_RECORD, labelUnits)));
  plan.records = plus(plan.records, times(nodes, nodeWithStatistics(labelUnits)));
  return plan;
}

Plan planOf(const flowfile::File& file) {
  Plan plan;
  plan.records = record(ZEB_BRIR_RECORD, flowfile::unitsOf(file.broker.label) +
                                             flowfile::unitsOf(file.broker.uuid.value_or("")));
  plan.groups = file.groups.size();
  for (const auto& group : file.groups) {
    const std::uint64_t groupUnits = flowfile::unitsOf(group.label);
    plan.records = plus(plan.records, record(ZEB_EGIR_RECORD, groupUnits));
    for (const auto& flow : group.flows) {
      plan.records = plus(plan.records, record(ZEB_MFIR_RECORD, flowfile::unitsOf(flow.label)));
      FlowPlan nodes(plan, flow, groupUnits);
      for (const auto& node : flow.nodes) {
        std::visit([&nodes](const auto& one) { nodes.add(one); }, node);
      }
    }
  }
  return plan;
}

Need needOf(const Plan& plan) {
  constexpr double kMostEvents = 1e15;
  Need need;
  need.records = plan.records;
  need.templates = std::max(plan.templates, record(ZEB_EVTR_RECORD, plan.longestText));
  const double events = std::ceil(plan.eventsPerSecond * plan.keepSeconds);
  if (events > 0) {
    need.events =
        times(static_cast<std::uint64_t>(std::min(events, kMostEvents)), layout::evdr::bytes);
  }
  need.area = plus(layout::block::bytes, std::max({need.records, need.templates, need.events}));
  need.area = std::max<std::uint64_t>(need.area, layout::kSmallestArea);
  need.segment = plus(times(layout::kAreas, need.area), layout::block::bytes);
  need.tooMuch = need.area > layout::kLargestUnwrapped;
  return need;
}

bool KernelNeed::enough() const {
  return !limit || plus(needed, used.value_or(0)) <= *limit;
}

std::vector<KernelNeed> kernelNeeds(const Plan& plan, const Need& need,
                                    const reader::Limits& limits) {
  const std::uint64_t locks = plus(plus(plan.nodes, plan.groups), 4);
  const std::uint64_t page = std::max<std::uint64_t>(limits.pageBytes, 1);
  const std::uint64_t pages = need.segment / page + (need.segment % page != 0 ? 1 : 0);
  return {{"kernel.shmmax", need.segment, {}, limits.segmentBytes},
          {"kernel.shmall", pages, limits.usedPages, limits.memoryPages},
          {"kernel.shmmni", 1, limits.usedSegments, limits.segments},
          {"kernel.sem 2", locks, limits.usedSemaphores, limits.semaphores},
          {"kernel.sem 4", locks, limits.usedSemaphoreSets, limits.semaphoreSets},
          {"kernel.msgmni", locks, limits.usedQueues, limits.queues},
          {"kernel.msgmnb", plan.nodes, {}, limits.queueBytes}};
}

std::optional<Seconds> untilFull(std::uint64_t usedBefore, std::uint64_t used, std::uint64_t size,
                                 Seconds interval) {
  if (used >= size) return Seconds(0);
  if (used <= usedBefore || !(interval.count() > 0)) return std::nullopt;
  const Seconds left =
      interval * (static_cast<double>(size - used) / static_cast<double>(used - usedBefore));
  return left <= kThousandYears ? std::optional(left) : std::nullopt;
}

bool AreaGrowth::isEnough() const {
  return until - from >= std::chrono::milliseconds(std::chrono::days(1)).count();
}

std::optional<Seconds> AreaGrowth::untilFull() const {
  if (!isEnough()) return std::nullopt;
  return model::untilFull(before, used, size, std::chrono::milliseconds(until - from));
}

std::optional<AreaGrowth> growthBetween(const SeenBroker& before, const SeenBroker& after,
                                        std::int64_t until, Seconds time) {
  const reader::Area* const then = before.segment.copy.find(reader::kStatistics);
  const reader::Area* const now = after.segment.copy.find(reader::kStatistics);
  if (then == nullptr || now == nullptr || before.segment.id != after.segment.id) return {};
  const auto passed = std::chrono::duration_cast<std::chrono::milliseconds>(time);
  return AreaGrowth{.from = until - passed.count(),
                    .until = until,
                    .before = then->last,
                    .used = now->last,
                    .size = now->size};
}

std::optional<Seconds> untilForcedReset(reader::Number before, reader::Number now,
                                        Seconds interval) {
  if (!before || !now || *before < 0 || *now < 0) return std::nullopt;
  return untilFull(static_cast<std::uint64_t>(*before), static_cast<std::uint64_t>(*now),
                   kForcedReset, interval);
}

}  // namespace model
