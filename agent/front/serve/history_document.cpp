// SPDX-License-Identifier: Apache-2.0
#include "agent/front/serve/history_document.h"

#include <map>
#include <optional>
#include <span>

#include "agent/front/history/reader.h"
#include "agent/front/history/reading.h"
#include "agent/render/json.h"
#include "agent/render/words.h"

namespace serve {
namespace {

using render::Json;

constexpr std::int64_t kHour = 3600;
constexpr std::size_t kMostEvents = 1000;
constexpr std::int64_t kMicroseconds = 1000;  // in a millisecond
constexpr std::int64_t kMilliseconds = 1000;  // in a second

const char* stateOf(const history::Recording* recording) {
  if (recording == nullptr) return "off";
  switch (recording->status().state) {
    case history::Recording::State::ok:
      return "ok";
    case history::Recording::State::paused:
      return "paused";
    case history::Recording::State::failed:
      break;
  }
  return "failed";
}

template <class Value>
Json orNull(const std::optional<Value>& value) {
  return value ? Json(*value) : Json();
}

// In microseconds; nothing when it isn't known or doesn't fit.
Json microseconds(const model::Number& ms) {
  std::int64_t result = 0;
  if (!ms || __builtin_mul_overflow(*ms, kMicroseconds, &result)) return {};
  return result;
}

Json pointOf(const history::Point& point) {
  return Json::array({point.beginS, point.seconds, orNull(point.added.messages),
                      orNull(point.added.bytes), microseconds(point.added.elapsedMs),
                      microseconds(point.added.queuedMs)});
}

Json nodeOf(const history::Curve& curve) {
  Json points = Json::array();
  for (const history::Point& point : curve.points) points.push_back(pointOf(point));
  return {{"node", curve.node},
          {"node_type", render::nodeTypeName(curve.type)},
          {"points", std::move(points)}};
}

double secondsOf(std::int64_t ms) {
  return static_cast<double>(ms) / 1000;
}

Json orNull(const std::string& text) {
  return text.empty() ? Json() : Json(text);
}

Json markOf(const model::Mark& mark) {
  return {{"from", secondsOf(mark.between.from)},
          {"until", secondsOf(mark.between.until)},
          {"kind", mark.kind},
          {"unknown_seconds", secondsOf(mark.unknown)},
          {"execution_group", orNull(mark.group)},
          {"flow", orNull(mark.flow)}};
}

history::Question questionOf(const HistoryQuery& query, std::int64_t now) {
  const std::int64_t until = query.until.value_or(now);
  return {.broker = *query.broker,
          .group = *query.group,
          .flow = *query.flow,
          .node = query.node,
          .fromS = query.from.value_or(until - kHour),
          .untilS = until,
          .points = query.points};
}

bool isOf(const reader::EventTemplate& origin, const HistoryQuery& query) {
  return origin.executionGroup == query.group && origin.messageFlow == query.flow &&
         (!query.node || origin.node == query.node);
}

// One of all of the broker's may have been of the flow.
bool isOf(const model::Gap& gap, const HistoryQuery& query) {
  if (gap.group.empty() && gap.flow.empty() && gap.node.empty()) return true;
  return gap.group == query.group && gap.flow == query.flow &&
         (!query.node || gap.node == query.node);
}

// The newest of the flow, the oldest first, and what nobody saw.
void addEvents(Json& document, const history::Reader& reader, const history::KnownBroker& known,
               const HistoryQuery& query, const model::Period& period) {
  bool bounded = false;
  const auto broker = reader.events(known, period, bounded);
  std::vector<const reader::Event*> events;
  for (const reader::Event& event : broker->events->events) {
    if (event.origin && isOf(*event.origin, query)) events.push_back(&event);
  }
  const std::size_t leftOut = events.size() - std::min(events.size(), kMostEvents);
  bounded = bounded || leftOut > 0;
  for (const reader::Event* event : std::span(events).subspan(leftOut)) {
    document["events"].push_back(render::eventDocument(*broker, *event, period.until / 1000));
  }
  document["events_left_out"] = bounded;
  for (const auto& [time, gap] : reader.gaps(known, period)) {
    if (isOf(gap, query)) {
      document["gaps"].push_back(render::gapDocument(*broker, gap, time / 1000));
    }
  }
}

void addEvents(Json& document, const HistoryQuery& query, const history::Reader* reader,
               const model::Period& period) {
  document["events"] = document["gaps"] = Json::array();
  document["events_left_out"] = false;
  if (reader == nullptr) return;
  const auto broker = history::findBroker(reader->database(), *query.broker);
  for (const history::KnownBroker& known : reader->brokers()) {
    if (known.id == broker) addEvents(document, *reader, known, query, period);
  }
}

std::optional<history::Reader> readerOf(const history::Recording* recording) {
  return recording == nullptr ? std::nullopt : std::optional<history::Reader>(recording->path());
}

Json flowDocument(const HistoryQuery& query, const history::Recording* recording,
                  std::int64_t now) {
  const history::Question question = questionOf(query, now);
  const auto reader = readerOf(recording);
  history::Curves curves{.fromS = question.fromS};
  if (reader) curves = history::curvesOf(reader->database(), question);
  Json document = render::headOf("zebmon.history", 1, now);
  document["state"] = stateOf(recording);
  document["broker"] = curves.broker.empty() ? question.broker : curves.broker;
  document["execution_group"] = question.group;
  document["flow"] = question.flow;
  document["from"] = curves.fromS;
  document["until"] = question.untilS;
  document["step_seconds"] = curves.stepS;
  document["oldest"] = orNull(curves.oldestS);
  Json& nodes = document["nodes"] = Json::array();
  for (const history::Curve& curve : curves.nodes) nodes.push_back(nodeOf(curve));
  document["nodes_left_out"] = curves.leftOut;
  Json& marks = document["marks"] = Json::array();
  for (const model::Mark& mark : curves.marks) marks.push_back(markOf(mark));
  if (query.events) {
    addEvents(document, query, reader ? &*reader : nullptr,
              {question.fromS * 1000, question.untilS * 1000});
  }
  return document;
}

Json storedFlow(const history::StoredFlow& flow) {
  Json nodes = Json::array();
  for (const auto& [node, type] : flow.nodes) {
    nodes.push_back({{"node", node}, {"node_type", render::nodeTypeName(type)}});
  }
  return {{"execution_group", flow.group}, {"flow", flow.flow}, {"nodes", std::move(nodes)}};
}

Json growthOf(const std::optional<model::AreaGrowth>& growth) {
  if (!growth) return {};
  const auto left = growth->untilFull();
  return {{"since", growth->from / kMilliseconds},
          {"until", growth->until / kMilliseconds},
          {"used_bytes_before", growth->before},
          {"used_bytes", growth->used},
          {"size_bytes", growth->size},
          {"enough", growth->isEnough()},
          {"full_in_seconds", left ? Json(static_cast<std::int64_t>(left->count())) : Json()}};
}

Json storedBroker(const history::StoredBroker& broker,
                  const std::optional<model::AreaGrowth>& growth) {
  Json flows = Json::array();
  for (const history::StoredFlow& flow : broker.flows) flows.push_back(storedFlow(flow));
  return {{"broker", broker.label.empty() ? broker.uuid : broker.label},
          {"uuid", broker.uuid},
          {"oldest", orNull(broker.oldestS)},
          {"newest", orNull(broker.newestS)},
          {"area", growthOf(growth)},
          {"flows", std::move(flows)}};
}

Json contentsDocument(const HistoryQuery& query, const history::Recording* recording,
                      std::int64_t now) {
  Json document = render::headOf("zebmon.history.contents", 1, now);
  document["state"] = stateOf(recording);
  Json& brokers = document["brokers"] = Json::array();
  if (recording == nullptr) return document;
  const history::Reader reader(recording->path());
  std::map<std::string, std::optional<model::AreaGrowth>> growths;
  for (const auto& known : reader.brokers()) growths[known.uuid] = reader.growth(known);
  for (const auto& broker : history::contentsOf(reader.database(), query.broker)) {
    brokers.push_back(storedBroker(broker, growths[broker.uuid]));
  }
  return document;
}

}  // namespace

std::string historyDocument(const HistoryQuery& query, const history::Recording* recording,
                            std::int64_t now) {
  return render::written(query.isOfFlow() ? flowDocument(query, recording, now)
                                          : contentsDocument(query, recording, now),
                         true);
}

}  // namespace serve
