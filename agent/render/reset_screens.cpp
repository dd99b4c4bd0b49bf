// SPDX-License-Identifier: Apache-2.0
#include "agent/render/reset_screens.h"

#include <fmt/format.h>

#include "agent/render/values.h"
#include "agent/render/words.h"

namespace render {
namespace {

using model::RecordReset;
using model::ResetOutcome;
using model::ResetResult;

// Null for a plan that was not carried out.
const RecordReset* recordOf(const ResetResult& result, std::size_t node) {
  return node < result.nodes.size() ? &result.nodes[node] : nullptr;
}

Row rowOf(const ResetResult& result, std::size_t i) {
  const model::NodeToReset& node = result.plan.nodes[i];
  const RecordReset* const record = recordOf(result, i);
  const std::string broker = nameOf(*result.plan.broker);
  const bool failed = record != nullptr && !record->atZero();
  const std::string would = node.atZero ? "is at zero" : "would be reset";
  return {"Broker " + broker,
          {result.plan.broker->label(), result.plan.broker->uuid(), node.group, node.flow,
           node.node, cellOf(node.messageCount),
           Cell(record ? outcomeText(*record) : would, failed ? Tone::warning : Tone::plain),
           record ? Cell(outcomeName(record->outcome)) : Cell(), node.recordId.hex()}};
}

}  // namespace

const char* outcomeName(ResetOutcome outcome) {
  switch (outcome) {
    case ResetOutcome::reset:
      return "reset";
    case ResetOutcome::wasAtZero:
      return "wasAtZero";
    case ResetOutcome::noLock:
      return "noLock";
    case ResetOutcome::timedOut:
      return "timedOut";
    case ResetOutcome::noPermission:
      return "noPermission";
    case ResetOutcome::recordMoved:
      return "recordMoved";
    case ResetOutcome::failed:
      break;
  }
  return "failed";
}

std::string outcomeText(const RecordReset& record) {
  switch (record.outcome) {
    case ResetOutcome::reset:
      return "reset";
    case ResetOutcome::wasAtZero:
      return "was at zero";
    case ResetOutcome::noLock:
      return "skipped: it has no lock under that name";
    case ResetOutcome::timedOut:
      return fmt::format("not reset: process {} has its lock, see zebmon locks", record.holder);
    case ResetOutcome::noPermission:
      return "not reset: no permission, run zebmon as the host's user";
    case ResetOutcome::recordMoved:
      return "not reset: it is gone from its place, look again";
    case ResetOutcome::failed:
      break;
  }
  return fmt::format("not reset: {}", errorText(record.error));
}

std::string resetTimeText(const ResetResult& result) {
  const std::string broker = "broker " + nameOf(*result.plan.broker);
  if (!result.resetTime) {
    return result.plan.allNodes
               ? broker + ": not all nodes are at zero, so its reset time stays as it was"
               : "";
  }
  if (result.resetTime->outcome == ResetOutcome::reset) return {};
  return fmt::format("{}: all nodes are at zero, but its reset time was {}", broker,
                     outcomeText(*result.resetTime));
}

std::vector<Column> resetColumns() {
  using enum Column::Place;
  return {{.name = "broker", .title = "broker", .place = heading, .yields = 90, .least = 8},
          {.name = "uuid", .title = "uuid", .place = extra, .yields = 91, .least = 8},
          {.name = "executionGroup", .title = "group", .yields = 40, .least = 8},
          {.name = "messageFlow", .title = "flow", .yields = 30, .least = 8},
          {.name = "node", .title = "node", .yields = 20, .least = 12},
          {.name = "messageCount", .title = "messages", .right = true, .isScaled = true},
          {.name = "result", .title = "result", .yields = 10, .least = 24},
          {.name = "outcome", .title = "outcome", .place = extra},
          {.name = "recordId", .title = "record", .place = extra}};
}

Sheet resetSheet(const std::vector<ResetResult>& results) {
  Sheet sheet{resetColumns(), {}};
  for (const ResetResult& result : results) {
    for (std::size_t i = 0; i < result.plan.nodes.size(); ++i) {
      sheet.rows.push_back(rowOf(result, i));
    }
  }
  return sheet;
}

Json resetDocument(const model::Snapshot& snapshot, const std::vector<ResetResult>& results,
                   const std::string& file) {
  Json document = headOf("zebmon.reset", 1, snapshot);
  document["done"] = !file.empty();
  document["snapshotFile"] = file.empty() ? Json(nullptr) : Json(file);
  Json& brokers = document["brokers"] = Json::array();
  for (const ResetResult& result : results) {
    Json nodes = Json::array();
    for (std::size_t i = 0; i < result.plan.nodes.size(); ++i) {
      const model::NodeToReset& node = result.plan.nodes[i];
      const RecordReset* const record = recordOf(result, i);
      nodes.push_back({{"executionGroup", node.group},
                       {"messageFlow", node.flow},
                       {"node", node.node},
                       {"recordId", node.recordId.hex()},
                       {"messageCount", node.messageCount ? Json(*node.messageCount) : Json()},
                       {"outcome", record ? Json(outcomeName(record->outcome)) : Json()},
                       {"result", record ? Json(outcomeText(*record)) : Json()}});
    }
    const auto& time = result.resetTime;
    brokers.push_back({{"label", result.plan.broker->label()},
                       {"uuid", result.plan.broker->uuid()},
                       {"allNodes", result.plan.allNodes},
                       {"resetTimeOutcome", time ? Json(outcomeName(time->outcome)) : Json()},
                       {"nodes", std::move(nodes)}});
  }
  return document;
}

}  // namespace render
