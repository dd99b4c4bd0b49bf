// SPDX-License-Identifier: Apache-2.0
#include <cmath>

#include "agent/model/pattern.h"
#include "agent/render/rates.h"
#include "agent/render/words.h"

namespace render {
namespace {

using model::FlowView;

// Rounded, so that 0.704 is 70.4.
Json percentOf(std::optional<double> share) {
  return share ? Json(std::round(*share * 1e8) / 1e6) : Json(nullptr);
}

Json growthObject(const model::Growth& growth, model::Seconds interval) {
  return {{"messageCount", orNull(growth.messages)},
          {"messagesPerSecond", orNull(model::perSecond(growth.messages, interval))},
          {"sizeSumBytes", orNull(growth.bytes)},
          {"bytesPerSecond", orNull(model::perSecond(growth.bytes, interval))},
          {"sizeMeanBytes", orNull(model::mean(growth.bytes, growth.messages))},
          {"elapsedSumMs", orNull(growth.elapsedMs)},
          {"elapsedMeanMs", orNull(model::mean(growth.elapsedMs, growth.messages))},
          {"queuedSumMs", orNull(growth.queuedMs)},
          {"queuedMeanMs", orNull(model::mean(growth.queuedMs, growth.messages))}};
}

Json selfObject(const model::SelfTime& self) {
  const bool measured = self.state == model::SelfTime::State::measured;
  return {{"state", selfStateName(self.state)},
          {"meanMs", measured ? Json(self.perMessageMs) : Json(nullptr)},
          {"sumMs", measured ? Json(self.totalMs) : Json(nullptr)},
          {"sharePercent", percentOf(self.share)}};
}

Json lossObject(const FlowView& flow, std::size_t node) {
  const auto outer = flow.nesting.nodes[node].outer;
  const model::Loss& loss = flow.times[node].loss;
  if (!outer || loss.state == model::Loss::State::unknown) return nullptr;
  return {{"state", lossStateName(loss.state)},
          {"messageCount", loss.messages},
          {"bound", loss.bound},
          {"failed", flow.failed[*outer]},
          {"failedIsExact", flow.sawAllFailures}};
}

Json nodeObject(const FlowView& flow, std::size_t index) {
  const model::NodeGrowth& growth = flow.growth.nodes[index];
  const reader::Node& node = growth.node();
  const auto outer = flow.nesting.nodes[index].outer;
  Json object = {
      {"label", node.label},
      {"type", nodeTypeName(node.type)},
      {"deleted", node.deleted},
      {"recordId", node.recordId.hex()},
      {"change", changeName(growth.change)},
      {"nestedIn", outer ? Json(flow.growth.nodes[*outer].node().label) : Json(nullptr)}};
  object.update(growthObject(growth.growth, flow.interval));
  if (!model::knowsQueued(node)) object["queuedMeanMs"] = nullptr;
  object["busyThreads"] = orNull(model::busyIn(growth, flow.interval));
  object["waitingMessages"] = orNull(model::waitingFor(growth, flow.interval));
  object["self"] = selfObject(flow.times[index].self);
  object["lost"] = lossObject(flow, index);
  return object;
}

Json loadObject(const FlowView& flow) {
  return {{"threads", orNull(flow.threads)},
          {"inFlight", flow.inFlight},
          {"messagesPerSecond", orNull(flow.load.messages)},
          {"busyThreads", orNull(flow.load.busy)},
          {"waitingMessages", orNull(flow.load.waiting)},
          {"utilisationPercent", percentOf(flow.load.utilisation)},
          {"spareMessagesPerSecond", orNull(flow.load.spare)}};
}

Json flowObject(const FlowView& flow, const model::Selection& selection) {
  Json nodes = Json::array();
  for (const model::Placed& placed : inOrder(flow.nesting)) {
    if (!model::matches(selection.node, flow.growth.nodes[placed.node].node().label)) continue;
    nodes.push_back(nodeObject(flow, placed.node));
  }
  Json object = {{"executionGroup", flow.growth.group},
                 {"messageFlow", flow.growth.flow},
                 {"chain", sourceName(flow.nesting.source)}};
  object.update(loadObject(flow));
  object["nodes"] = std::move(nodes);
  return object;
}

Json brokersOf(const model::View& view, const model::Selection& selection, bool verdicts) {
  Json brokers = Json::array();
  for (const auto& broker : view.brokers) {
    const model::SeenBroker& seen = broker.growth.broker();
    Json flows = Json::array();
    for (const FlowView& flow : broker.flows) {
      if (!selects(selection, flow)) continue;
      Json object = flowObject(flow, selection);
      if (verdicts) object["verdict"] = verdictOf(flow);
      if (verdicts && flow.kept) object["finding"] = flow.kept->key();
      flows.push_back(std::move(object));
    }
    brokers.push_back({{"label", seen.tree ? Json(seen.label()) : Json(nullptr)},
                       {"uuid", seen.uuid()},
                       {"reset", broker.growth.reset},
                       {"flows", std::move(flows)}});
  }
  return brokers;
}

Json document(const char* schema, const model::View& view, Json brokers) {
  Json document = headOf(schema, 1, *view.after);
  document["intervalSeconds"] = roundedSeconds(view.interval);
  document["brokers"] = std::move(brokers);
  return document;
}

}  // namespace

const char* changeName(model::Change change) {
  switch (change) {
    case model::Change::measured:
      return "measured";
    case model::Change::reset:
      return "reset";
    case model::Change::came:
      return "came";
    case model::Change::went:
      return "went";
    case model::Change::torn:
      return "torn";
    case model::Change::notCollected:
      return "notCollected";
    case model::Change::unknown:
      break;
  }
  return "unknown";
}

const char* sourceName(model::NestingSource source) {
  switch (source) {
    case model::NestingSource::given:
      return "given";
    case model::NestingSource::flowFile:
      return "flowFile";
    case model::NestingSource::inferred:
      return "inferred";
    case model::NestingSource::unknown:
      break;
  }
  return "unknown";
}

const char* selfStateName(model::SelfTime::State state) {
  switch (state) {
    case model::SelfTime::State::measured:
      return "measured";
    case model::SelfTime::State::belowOne:
      return "belowOneMs";
    case model::SelfTime::State::tooShort:
      return "intervalTooShort";
    case model::SelfTime::State::noMessages:
      return "noMessages";
    case model::SelfTime::State::unknown:
      break;
  }
  return "unknown";
}

const char* lossStateName(model::Loss::State state) {
  switch (state) {
    case model::Loss::State::measured:
      return "measured";
    case model::Loss::State::none:
      return "none";
    case model::Loss::State::tooShort:
      return "intervalTooShort";
    case model::Loss::State::unknown:
      break;
  }
  return "unknown";
}

double roundedSeconds(model::Seconds interval) {
  return static_cast<double>(std::chrono::round<std::chrono::milliseconds>(interval).count()) /
         1000;
}

Json ratesOfBrokers(const model::View& view, const model::Selection& selection) {
  return brokersOf(view, selection, false);
}

Json ratesDocument(const model::View& view, const model::Selection& selection) {
  return document("zebmon.rates", view, ratesOfBrokers(view, selection));
}

Json flowDocument(const model::View& view, const model::Selection& selection) {
  return document("zebmon.flow", view, brokersOf(view, selection, true));
}

}  // namespace render
