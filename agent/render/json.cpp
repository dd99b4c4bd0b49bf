// SPDX-License-Identifier: Apache-2.0
#include "agent/render/json.h"

#include <fmt/format.h>

#include "agent/render/values.h"
#include "agent/render/words.h"
#include "text/printable.h"

namespace render {

Json textOrNull(const std::string& text) {
  return text.empty() ? Json(nullptr) : Json(text);
}

Json timeOrNull(const reader::Time& time) {
  return time ? Json(isoTime(*time)) : Json(nullptr);
}

namespace {

// What every broker's object begins with.
Json identity(const model::SeenBroker& broker, const model::Machine* machine) {
  Json object = {{"label", broker.tree ? Json(broker.label()) : Json(nullptr)},
                 {"uuid", broker.uuid()},
                 {"state", nameOf(conditionOf(broker, machine))},
                 {"keyFile", broker.segment.keyFile},
                 {"resetTime", broker.tree ? timeOrNull(broker.tree->resetTime) : Json(nullptr)}};
  const std::string problem = conditionText(broker, machine);
  if (!problem.empty()) object["problem"] = problem;
  return object;
}

void addDamage(Json& object, const model::SeenBroker& broker) {
  const std::vector<reader::Damage> places = broker.damaged();
  if (places.empty()) return;
  Json& list = object["damage"] = Json::array();
  for (const reader::Damage& damage : places) {
    list.push_back({{"area", damage.area}, {"offset", damage.offset}, {"reason", damage.reason}});
  }
}

Json statisticsObject(const reader::Statistics& statistics) {
  return {{"recordId", statistics.recordId.hex()},
          {"messageCount", orNull(statistics.messageCount)},
          {"sizeSumBytes", orNull(statistics.sumSize)},
          {"sizeMaxBytes", statistics.maxSize},
          {"sizeMinBytes", statistics.minSize},
          {"elapsedSumMs", orNull(statistics.sumElapsed)},
          {"elapsedMaxMs", statistics.maxElapsed},
          {"elapsedMinMs", statistics.minElapsed},
          {"queuedSumMs", orNull(statistics.sumQueued)},
          {"queuedMaxMs", statistics.maxQueued},
          {"queuedMinMs", statistics.minQueued},
          {"firstCollection", timeOrNull(statistics.firstCollection)},
          {"lastCollection", timeOrNull(statistics.lastCollection)}};
}

Json nodeObject(const reader::Node& node) {
  return {{"label", node.label},
          {"type", nodeTypeName(node.type)},
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
    areas.push_back({{"name", name},
                     {"sizeBytes", area->size},
                     {"usedBytes", area->last},
                     {"usedPercent", model::fillPercentOf(*area)},
                     {"wrapped", area->wrapped()}});
  }
  return {{"id", segment.id},
          {"sizeBytes", segment.size},
          {"group", segment.group},
          {"attached", segment.attached},
          {"areas", std::move(areas)}};
}

void addCounts(Json& object, const model::SeenBroker& broker) {
  const model::Counts counts = broker.tree ? model::countsOf(*broker.tree) : model::Counts();
  const auto known = [&broker](std::size_t count) {
    return broker.tree ? Json(count) : Json(nullptr);
  };
  object["executionGroupCount"] = known(counts.groups);
  object["messageFlowCount"] = known(counts.flows);
  object["nodeCount"] = known(counts.nodes);
}

void addAge(Json& object, const model::SeenBroker& broker, std::int64_t now) {
  const reader::Time last = broker.tree ? model::lastCollectionOf(*broker.tree) : reader::Time();
  object["lastCollection"] = timeOrNull(last);
  object["lastCollectionAgeSeconds"] = last ? Json(now - *last) : Json(nullptr);
}

const char* oddityName(model::Oddity::Kind kind) {
  using Kind = model::Oddity::Kind;
  switch (kind) {
    case Kind::sameSegment:
      return "sameSegment";
    case Kind::sameUuid:
      return "sameUuid";
    case Kind::sameLabel:
      return "sameLabel";
    case Kind::foreignOwner:
      return "foreignOwner";
    case Kind::noUuid:
      break;
  }
  return "noUuid";
}

void addOddities(Json& document, const model::Snapshot& snapshot) {
  Json& list = document["oddities"] = Json::array();
  for (const model::Oddity& oddity : odditiesOf(snapshot)) {
    list.push_back({{"kind", oddityName(oddity.kind)},
                    {"keyFile", snapshot.brokers[oddity.broker]->segment.keyFile},
                    {"otherKeyFile", snapshot.brokers[oddity.other]->segment.keyFile},
                    {"text", oddityText(snapshot, oddity)}});
  }
}

std::string withMilliseconds(const reader::Stamp& stamp) {
  return isoTime(stamp.seconds, stamp.milliseconds);
}

const char* causeName(model::Gap::Cause cause) {
  return cause == model::Gap::Cause::restart ? "restart" : "overwritten";
}

const char* missedName(model::Missed::Kind kind) {
  if (kind == model::Missed::Kind::exact) return "exact";
  return kind == model::Missed::Kind::between ? "between" : "atLeast";
}

// The edge where texts from outside leave: no document has one that did not pass here.
void makePrintable(Json& value) {
  if (value.is_string()) value = text::printable(value.get_ref<const std::string&>());
  if (value.is_structured()) {
    for (Json& member : value) makePrintable(member);
  }
}

struct ValueOf {
  Json operator()(Missing) const { return nullptr; }
  Json operator()(Unreadable) const { return nullptr; }
  Json operator()(const Moment& moment) const { return isoTime(moment.seconds); }
  Json operator()(const auto& value) const { return value; }
};

}  // namespace

Json brokerObject(const model::SeenBroker* broker) {
  if (broker == nullptr) return nullptr;
  return {{"label", broker->tree ? Json(broker->label()) : Json(nullptr)},
          {"uuid", broker->uuid()}};
}

Json headOf(const char* schema, int version, const model::Snapshot& snapshot) {
  Json head = headOf(schema, version, model::secondsOf(snapshot));
  for (const auto& broker : snapshot.brokers) {
    const std::uint64_t cut = broker->cutStatistics() + (broker->events ? broker->cutEvents() : 0);
    if (cut > 0) head["cut"].push_back({{"keyFile", broker->segment.keyFile}, {"bytes", cut}});
  }
  return head;
}

Json headOf(const char* schema, int version, std::int64_t collectedAt) {
  return {{"schema", schema}, {"version", version}, {"collectedAt", isoTime(collectedAt)}};
}

Json brokersDocument(const model::Snapshot& snapshot) {
  Json document = headOf("zebmon.brokers", 2, snapshot);
  document["temporaryDirectory"] = snapshot.directory;
  if (snapshot.leftOut.all() > 0) {
    document["leftOut"] = {{"ofOtherUsers", snapshot.leftOut.foreign},
                           {"tooMany", snapshot.leftOut.tooMany}};
  }
  Json& list = document["brokers"] = Json::array();
  for (const auto& broker : snapshot.brokers) {
    Json object = identity(*broker, snapshot.machine.get());
    addCounts(object, *broker);
    addAge(object, *broker, model::secondsOf(snapshot));
    object["segment"] = segmentObject(broker->segment);
    addDamage(object, *broker);
    list.push_back(std::move(object));
  }
  addOddities(document, snapshot);
  return document;
}

Json statisticsDocument(const model::Snapshot& snapshot) {
  Json document = headOf("zebmon.stats", 2, snapshot);
  Json& list = document["brokers"] = Json::array();
  for (const auto& broker : snapshot.brokers) {
    Json object = identity(*broker, snapshot.machine.get());
    Json& groups = object["executionGroups"] = Json::array();
    if (broker->tree) {
      for (const auto& group : broker->tree->executionGroups) groups.push_back(groupObject(group));
    }
    addDamage(object, *broker);
    list.push_back(std::move(object));
  }
  return document;
}

Json eventDocument(const model::SeenBroker& broker, const reader::Event& event,
                   const model::Snapshot& snapshot) {
  return eventDocument(broker, event, model::secondsOf(snapshot));
}

Json templateObject(const reader::Event& event) {
  if (!event.origin) return nullptr;
  return {{"recordId", event.templateId.hex()},
          {"executionGroup", event.origin->executionGroup},
          {"messageFlow", event.origin->messageFlow},
          {"node", event.origin->node},
          {"type", nodeTypeName(event.origin->nodeType)},
          {"nodeType", event.origin->nodeType},
          {"text", event.origin->text}};
}

Json gapDocument(const model::SeenBroker& broker, const model::Gap& gap, std::int64_t collectedAt) {
  const bool ofNode = !gap.node.empty() || !gap.flow.empty() || !gap.group.empty();
  const auto label = [ofNode](const std::string& text) {
    return ofNode ? Json(text) : Json(nullptr);
  };
  Json document = headOf("zebmon.event.gap", 1, collectedAt);
  document["broker"] = brokerObject(&broker);
  document["cause"] = causeName(gap.cause);
  document["kind"] = missedName(gap.missed.kind);
  document["missedAtLeast"] = gap.missed.least;
  document["missedAtMost"] =
      gap.missed.kind == model::Missed::Kind::atLeast ? Json(nullptr) : Json(gap.missed.most);
  document["missedPerTurn"] = gap.perTurn > 0 ? Json(gap.perTurn) : Json(nullptr);
  document["executionGroup"] = label(gap.group);
  document["messageFlow"] = label(gap.flow);
  document["node"] = label(gap.node);
  return document;
}

Json eventDocument(const model::SeenBroker& broker, const reader::Event& event,
                   std::int64_t collectedAt) {
  Json document = headOf("zebmon.event", 1, collectedAt);
  document["broker"] = brokerObject(&broker);
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
  document["template"] = templateObject(event);
  return document;
}

std::string rowLines(const char* schema, const model::Snapshot& snapshot, const Sheet& sheet) {
  std::string lines;
  for (const Row& row : sheet.rows) {
    if (row.cells.empty()) continue;
    Json document = headOf(schema, 1, snapshot);
    for (std::size_t i = 0; i < sheet.columns.size(); ++i) {
      document[sheet.columns[i].name] = std::visit(ValueOf(), row.cells[i].value);
    }
    lines += written(std::move(document), true);
  }
  return lines;
}

std::string written(Json document, bool oneLine) {
  makePrintable(document);
  return document.dump(oneLine ? -1 : 2, ' ', true) + '\n';
}

}  // namespace render
