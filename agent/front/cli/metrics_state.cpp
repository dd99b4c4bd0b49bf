// SPDX-License-Identifier: Apache-2.0
#include "agent/front/cli/metrics_state.h"

#include "agent/model/condition.h"
#include "agent/render/json.h"

namespace cli {
namespace {

using render::Json;

constexpr char kMetricsSchema[] = "zebmon.metrics.state";

// The next two throw when the document is not as it was written.
std::uint64_t countIn(const Json& value) {
  constexpr std::int64_t kMost = std::int64_t{1} << 53;  // that a sample tells exactly
  const auto count = value.get<std::int64_t>();
  if (count < 0 || count > kMost) throw Json::out_of_range::create(406, "no count", &value);
  return static_cast<std::uint64_t>(count);
}

reader::RingMark markIn(const Json& value) {
  reader::RingMark mark;
  mark.segmentId = value.at("segment").get<int>();
  mark.newestAt = value.at("newestAt").get<std::uint32_t>();
  if (!value.at("newest").is_null()) {
    mark.newest = reader::RecordId::fromHex(value.at("newest").get<std::string>());
  }
  if (mark.segmentId < 0 || (mark.newest && !reader::isSlot(mark.newestAt))) {
    throw Json::out_of_range::create(406, "no place of an event", &value);
  }
  return mark;
}

}  // namespace

std::string textOf(const MetricsState& state) {
  Json document{{"schema", kMetricsSchema}, {"version", 1}};
  Json& brokers = document["brokers"] = Json::array();
  for (const auto& [keyFile, totals] : state.totals) {
    Json broker{{"keyFile", keyFile},
                {"messages", totals.messages},
                {"exceptions", totals.exceptions},
                {"unknown", totals.unknown},
                {"missed", totals.missed},
                {"mark", nullptr}};
    if (const auto at = state.marks.find(keyFile); at != state.marks.end()) {
      const reader::RingMark& mark = at->second;
      broker["mark"] = {{"segment", mark.segmentId},
                        {"newest", mark.newest ? Json(mark.newest->hex()) : Json()},
                        {"newestAt", mark.newestAt}};
    }
    brokers.push_back(std::move(broker));
  }
  return document.dump(-1, ' ', true, Json::error_handler_t::replace) + "\n";
}

std::optional<MetricsState> metricsStateIn(const std::string& text) {
  try {
    const Json document = Json::parse(text);
    if (document.at("schema") != kMetricsSchema || document.at("version") != 1) return {};
    MetricsState state;
    for (const Json& broker : document.at("brokers")) {
      const auto keyFile = broker.at("keyFile").get<std::string>();
      state.totals[keyFile] = {.messages = countIn(broker.at("messages")),
                               .exceptions = countIn(broker.at("exceptions")),
                               .unknown = countIn(broker.at("unknown")),
                               .missed = countIn(broker.at("missed"))};
      if (!broker.at("mark").is_null()) state.marks[keyFile] = markIn(broker.at("mark"));
    }
    return state;
  } catch (const Json::exception&) {
    return {};
  }
}

void add(MetricsState& state, const model::Snapshot& look, bool first) {
  for (const auto& broker : model::distinct(look).brokers) {
    if (!broker->events) continue;
    model::EventTotals& totals = state.totals[broker->segment.keyFile];
    if (first) continue;
    totals.add(broker->events->events);
    totals.missed += broker->events->missed;
  }
}

}  // namespace cli
