// SPDX-License-Identifier: Apache-2.0
#include "agent/cli/documents.h"

#include <fmt/format.h>

#include "agent/cli/show.h"
#include "agent/reader/text.h"

namespace cli {
namespace {

Json timeOrNull(const reader::Time& time) {
  return time ? Json(isoTime(*time)) : Json(nullptr);
}

Json schema(const char* name) {
  return {{"schema", name}, {"version", 1}};
}

// What every broker's object begins with.
Json identity(const Found& found) {
  Json object = {{"label", found.broker ? Json(found.label()) : Json(nullptr)},
                 {"uuid", found.uuid()},
                 {"state", stateName(found.state())},
                 {"keyFile", reader::utf8(std::string_view(found.segment.keyFile))},
                 {"resetTime", found.broker ? timeOrNull(found.broker->resetTime) : Json(nullptr)}};
  if (const std::string problem = describe(found); !problem.empty()) object["problem"] = problem;
  return object;
}

void addDamage(Json& object, const Found& found) {
  if (found.damage.empty()) return;
  Json& list = object["damage"] = Json::array();
  for (const reader::Damage& damage : found.damage.list()) {
    list.push_back({{"area", damage.area}, {"offset", damage.offset}, {"reason", damage.reason}});
  }
}

Json statisticsObject(const reader::Statistics& statistics) {
  return {{"recordId", statistics.recordId.hex()},
          {"messageCount", statistics.messageCount},
          {"sumSize", statistics.sumSize},
          {"maxSize", statistics.maxSize},
          {"minSize", statistics.minSize},
          {"sumElapsed", statistics.sumElapsed},
          {"maxElapsed", statistics.maxElapsed},
          {"minElapsed", statistics.minElapsed},
          {"sumQueued", statistics.sumQueued},
          {"maxQueued", statistics.maxQueued},
          {"minQueued", statistics.minQueued},
          {"firstCollection", timeOrNull(statistics.firstCollection)},
          {"lastCollection", timeOrNull(statistics.lastCollection)}};
}

Json nodeObject(const reader::Node& node) {
  return {{"label", node.label},
          {"type", reader::nodeTypeName(node.type)},
          {"nodeType", node.type},
          {"subFlowName", node.subFlowName},
          {"deleted", node.deleted},
          {"recordId", node.recordId.hex()},
          {"statistics", node.statistics ? statisticsObject(*node.statistics) : Json(nullptr)}};
}

Json flowObject(const reader::MessageFlow& flow) {
  Json nodes = Json::array();
  for (const reader::Node& node : flow.nodes) nodes.push_back(nodeObject(node));
  return {{"label", flow.label},
          {"deleted", flow.deleted},
          {"recordId", flow.recordId.hex()},
          {"nodes", std::move(nodes)}};
}

Json groupObject(const reader::ExecutionGroup& group) {
  Json flows = Json::array();
  for (const reader::MessageFlow& flow : group.messageFlows) flows.push_back(flowObject(flow));
  return {{"label", group.label},
          {"uuid", group.uuid},
          {"processId", group.processId},
          {"deleted", group.deleted},
          {"recordId", group.recordId.hex()},
          {"messageFlows", std::move(flows)}};
}

Json segmentObject(const reader::Segment& segment) {
  if (segment.size == 0) return nullptr;
  Json areas = Json::array();
  for (const char* name : {reader::kStatistics, reader::kEventTemplates, reader::kEventData}) {
    const reader::Area* area = segment.copy.find(name);
    if (area == nullptr) continue;
    areas.push_back(
        {{"name", name}, {"size", area->size}, {"used", area->last}, {"wrapped", area->wrapped()}});
  }
  return {{"id", segment.id},
          {"size", segment.size},
          {"group", segment.group},
          {"attached", segment.attached},
          {"areas", std::move(areas)}};
}

const char* kindName(reader::EventKind kind) {
  switch (kind) {
    case reader::EventKind::message:
      return "message";
    case reader::EventKind::exception:
      return "exception";
    case reader::EventKind::unknown:
      break;
  }
  return "unknown";
}

Json originObject(const reader::Event& event) {
  if (!event.origin) return nullptr;
  return {{"recordId", event.templateId.hex()},
          {"executionGroup", event.origin->executionGroup},
          {"messageFlow", event.origin->messageFlow},
          {"node", event.origin->node},
          {"type", reader::nodeTypeName(event.origin->nodeType)},
          {"nodeType", event.origin->nodeType},
          {"text", event.origin->text}};
}

std::string withMilliseconds(const reader::Stamp& stamp) {
  std::string text = isoTime(stamp.seconds);
  text.insert(text.size() - 1, fmt::format(".{:03}", stamp.milliseconds));
  return text;
}

}  // namespace

Json brokersDocument(const Options& options, const Brokers& brokers) {
  Json document = schema("zebmon.brokers");
  document["temporaryDirectory"] = reader::utf8(std::string_view(options.temporaryDirectory));
  Json& list = document["brokers"] = Json::array();
  for (const Found& found : brokers.found) {
    Json object = identity(found);
    object["segment"] = segmentObject(found.segment);
    object["executionGroups"] = found.broker ? found.broker->executionGroups.size() : 0;
    addDamage(object, found);
    list.push_back(std::move(object));
  }
  return document;
}

Json statisticsDocument(const Brokers& brokers) {
  Json document = schema("zebmon.stats");
  Json& list = document["brokers"] = Json::array();
  for (const Found& found : brokers.found) {
    Json object = identity(found);
    Json& groups = object["executionGroups"] = Json::array();
    if (found.broker) {
      for (const auto& group : found.broker->executionGroups) groups.push_back(groupObject(group));
    }
    addDamage(object, found);
    list.push_back(std::move(object));
  }
  return document;
}

Json eventDocument(const Found& found, const reader::Event& event) {
  Json document = schema("zebmon.event");
  document["broker"] = {{"label", found.broker ? Json(found.label()) : Json(nullptr)},
                        {"uuid", found.uuid()}};
  document["kind"] = kindName(event.kind());
  document["time"] = timeOrNull(event.time);
  document["recordId"] = event.recordId.hex();
  document["created"] = withMilliseconds(event.recordId.created());
  document["threadId"] = event.threadId;
  document["messageId"] = hex(event.messageId);
  document["correlationId"] = hex(event.correlationId);
  document["putApplicationType"] = event.putApplicationType;
  document["putApplicationName"] = event.putApplicationName;
  document["putDate"] = event.putDate;
  document["putTime"] = event.putTime;
  document["template"] = originObject(event);
  return document;
}

std::string written(const Json& document, bool oneLine) {
  return document.dump(oneLine ? -1 : 2, ' ', true) + '\n';
}

}  // namespace cli
