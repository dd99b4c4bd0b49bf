// SPDX-License-Identifier: Apache-2.0
#include "agent/front/history/reader.h"

#include <algorithm>
#include <array>
#include <fstream>
#include <limits>
#include <map>
#include <unordered_map>

#include "agent/front/history/broker_counts.h"
#include "agent/front/history/moment.h"
#include "agent/front/history/reading.h"
#include "agent/front/history/samples.h"
#include "agent/front/history/tables.h"

namespace history {
namespace {

using model::Number;
using model::Period;

// More than that is not read of one broker.
constexpr std::size_t kMostEvents = 200000;
constexpr std::size_t kMostNodes = 100000;

constexpr std::int64_t kForecastMs = 30 * kDayMs;  // goes by so much

Database opened(const std::string& path) {
  Database database = openToRead(path);
  switch (fitOf(database)) {
    case Fit::older:  // has less, and all of that as now
    case Fit::present:
      return database;
    case Fit::newer:
      throw Failure(Failure::Kind::other, "it was written by a newer zebmon. Use that one");
    default:
      throw Failure(Failure::Kind::damaged, "it is no history of zebmon");
  }
}

std::map<std::int64_t, Place> placesOf(const Database& database, std::int64_t broker) {
  auto rows = database.prepare(
      "SELECT id, execution_group, flow, node, node_type FROM node WHERE broker = ? LIMIT ?");
  std::map<std::int64_t, Place> places;
  rows.with(broker, static_cast<std::int64_t>(kMostNodes));
  while (rows.step()) {
    places[rows.integer(0)] = {rows.text(1), rows.text(2), rows.text(3),
                               static_cast<std::uint32_t>(rows.integer(4))};
  }
  return places;
}

reader::RecordId recordIdOf(std::int64_t number, std::int64_t kind) {
  std::array<std::int64_t, 2> bytes{number, kind};
  return reader::RecordId(
      std::span(reinterpret_cast<const std::uint8_t*>(bytes.data()), sizeof bytes));
}

reader::RecordId recordIdOf(Bytes stored) {
  std::array<std::uint8_t, reader::RecordId::kBytes> bytes{};
  std::copy_n(stored.begin(), std::min(stored.size(), bytes.size()), bytes.begin());
  return reader::RecordId(bytes);
}

reader::Node nodeOf(std::int64_t id, const Place& place, const Amounts& counts) {
  reader::Node node;
  node.label = place.node;
  node.type = place.type;
  node.recordId = recordIdOf(id, 1);
  node.statistics.emplace();
  node.statistics->recordId = recordIdOf(id, 2);
  node.statistics->messageCount = counts.messages;
  node.statistics->sumSize = counts.bytes;
  node.statistics->sumElapsed = counts.elapsedMs;
  node.statistics->sumQueued = counts.queuedMs;
  return node;
}

// A broker as if it were seen, with these counts and no others.
class SeenMaker {
 public:
  SeenMaker(const KnownBroker& broker, const std::map<std::int64_t, Place>& places)
      : broker_(broker), places_(places) {}

  std::shared_ptr<model::SeenBroker> broker(const std::map<std::int64_t, Amounts>& counts) const;

 private:
  const KnownBroker& broker_;
  const std::map<std::int64_t, Place>& places_;
};

std::shared_ptr<model::SeenBroker> SeenMaker::broker(
    const std::map<std::int64_t, Amounts>& counts) const {
  auto seen = std::make_shared<model::SeenBroker>();
  seen->segment.state = reader::State::ok;
  seen->segment.keyFile = seen->segment.uuid = broker_.uuid;
  reader::Broker& tree = seen->tree.emplace();
  tree.label = broker_.label;
  tree.uuid = broker_.uuid;
  std::map<std::string, std::map<std::string, std::vector<reader::Node>>> groups;
  std::map<std::pair<std::string, std::string>, std::int64_t> firsts;
  for (const auto& [id, sums] : counts) {
    const auto place = places_.find(id);
    if (place == places_.end()) continue;
    const Place& at = place->second;
    groups[at.group][at.flow].push_back(nodeOf(id, at, sums));
    firsts.try_emplace({at.group, at.flow}, id);
  }
  for (auto& [label, flows] : groups) {
    reader::ExecutionGroup& group = tree.executionGroups.emplace_back();
    group.label = label;
    for (auto& [name, nodes] : flows) {
      reader::MessageFlow& flow = group.messageFlows.emplace_back();
      flow.label = name;
      flow.recordId = recordIdOf(firsts[{label, name}], 3);
      flow.nodes = std::move(nodes);
    }
  }
  return seen;
}

std::shared_ptr<const model::Snapshot> lookOf(std::shared_ptr<const model::SeenBroker> broker,
                                              std::int64_t wallMs, std::int64_t steadyMs) {
  model::Snapshot look;
  look.wall = std::chrono::system_clock::time_point(std::chrono::milliseconds(wallMs));
  look.steady = std::chrono::steady_clock::time_point(std::chrono::milliseconds(steadyMs));
  look.brokers.push_back(std::move(broker));
  return std::make_shared<const model::Snapshot>(std::move(look));
}

std::int64_t floorTo(std::int64_t value, std::int64_t unit) {
  return value / unit * unit;
}

std::int64_t ceilTo(std::int64_t value, std::int64_t unit) {
  return floorTo(value + unit - 1, unit);
}

// What both have.
Period common(const Period& one, const Period& other) {
  return {std::max(one.from, other.from), std::min(one.until, other.until)};
}

std::int64_t lengthOf(const std::vector<Period>& periods) {
  std::int64_t all = 0;
  for (const Period& period : periods) all += period.length();
  return all;
}

double asDouble(Number number) {
  return number ? static_cast<double>(*number) : std::numeric_limits<double>::quiet_NaN();
}

void copyId(Bytes stored, std::span<std::uint8_t> id) {
  std::copy_n(stored.begin(), std::min(stored.size(), id.size()), id.begin());
}

}  // namespace

bool isHistory(const std::string& path) {
  constexpr std::string_view kMagic("SQLite format 3\0", 16);
  std::array<char, kMagic.size()> first{};
  std::ifstream file(path, std::ios::binary);
  return file.read(first.data(), first.size()) && std::string_view(first.data(), 16) == kMagic;
}

Reader::Reader(const std::string& path)
    : database_(opened(path)),
      transaction_(database_, Transaction::For::reading),
      version_(database_.integerOf("PRAGMA user_version").value_or(0)) {}

std::vector<KnownBroker> Reader::brokers() const {
  auto rows = database_.prepare("SELECT id, uuid, label, last_ms, present FROM broker");
  std::vector<KnownBroker> all;
  while (rows.step()) {
    all.push_back(
        {rows.integer(0), rows.text(1), rows.text(2), rows.integer(3), rows.integer(4) != 0});
  }
  std::ranges::stable_sort(all, {}, &KnownBroker::name);
  return all;
}

std::int64_t Reader::lastLook() const {
  return database_.integerOf("SELECT wall_ms FROM look ORDER BY number DESC LIMIT 1").value_or(0);
}

Period Reader::within(Step step, const KnownBroker& broker, const Period& period) const {
  if (step == Step::look) {
    auto row = database_.prepare(
        "SELECT min(wall_ms), max(wall_ms) FROM look WHERE wall_ms BETWEEN ? AND ?");
    row.with(period.from, period.until).step();
    return {row.integer(0), row.integer(1)};
  }
  const std::int64_t unit = step == Step::minute ? kMinuteMs : kHourMs;
  const bool isOpen = period.until >= broker.lastLook;
  const std::int64_t begin =
      std::max(period.from, floorTo(oldestOf(database_, broker.id, step), unit));
  return {ceilTo(begin, unit),
          isOpen ? ceilTo(broker.lastLook + 1, unit) : floorTo(period.until, unit)};
}

std::vector<Period> Reader::observed(std::int64_t broker, const Period& period) const {
  auto rows = database_.prepare(
      "SELECT begin_ms, end_ms FROM span WHERE broker = ? AND end_ms > ? AND begin_ms < ? "
      "ORDER BY begin_ms");
  rows.with(broker, period.from, period.until);
  std::vector<Period> spans;
  while (rows.step()) {
    const Period span = common({rows.integer(0), rows.integer(1)}, period);
    if (span.length() > 0) spans.push_back(span);
  }
  return spans;
}

model::PastBroker Reader::past(const KnownBroker& broker, const Period& period,
                               std::size_t parts) const {
  const Step step = finestSince(database_, broker.id, period.from);
  const Period stored = within(step, broker, period);
  model::PastBroker past{.label = broker.label,
                         .uuid = broker.uuid,
                         .lastLook = broker.lastLook,
                         .present = broker.present,
                         .period = {stored.from, std::min(stored.until, broker.lastLook)},
                         .observed = 0,
                         .looks = {},
                         .marks = marks(broker, period)};
  if (past.period.length() <= 0) return past;
  past.observed = lengthOf(observed(broker.id, past.period));
  if (past.observed == 0) return past;

  const auto count = static_cast<std::int64_t>(parts);
  const std::int64_t unit = std::max<std::int64_t>(1, (stored.length() + count - 1) / count);
  std::vector<std::map<std::int64_t, Amounts>> added(parts);
  eachSample(database_, {.step = step, .period = stored, .broker = broker.id},
             [&](const Sample& sample) {
               const std::int64_t part = (sample.atMs - stored.from) / unit;
               Amounts& all = added[static_cast<std::size_t>(part)][sample.node];
               all = sum(all, sample.added);
             });
  std::map<std::int64_t, Amounts> sums;
  for (const auto& part : added) {
    for (const auto& [node, counts] : part) sums.try_emplace(node);
  }
  auto present = database_.prepare("SELECT DISTINCT node FROM last_count WHERE broker = ?");
  present.with(broker.id);
  while (present.step()) sums.try_emplace(present.integer(0));

  const auto places = placesOf(database_, broker.id);
  const SeenMaker maker(broker, places);
  past.looks.push_back(lookOf(maker.broker(sums), past.period.from, 0));
  for (std::size_t i = 0; i < parts; ++i) {
    for (const auto& [node, counts] : added[i]) sums[node] = sum(sums[node], counts);
    const auto done = static_cast<std::int64_t>(i + 1);
    const std::int64_t wall =
        i + 1 == parts ? past.period.until : std::min(past.period.until, stored.from + unit * done);
    past.looks.push_back(lookOf(maker.broker(sums), wall, past.observed * done / count));
  }
  return past;
}

model::PastBroker Reader::last(const KnownBroker& broker) const {
  model::PastBroker past{.label = broker.label,
                         .uuid = broker.uuid,
                         .lastLook = broker.lastLook,
                         .present = broker.present,
                         .period = {0, broker.lastLook},
                         .observed = 0,
                         .looks = {},
                         .marks = {}};
  auto rows = database_.prepare(
      "SELECT node, messages, bytes, elapsed_ms, queued_ms, reset_s FROM last_count "
      "WHERE broker = ?");
  rows.with(broker.id);
  std::map<std::int64_t, Amounts> counts;
  while (rows.step()) {
    Amounts& sums = counts[rows.integer(0)];
    sums = sum(sums, {rows.number(1), rows.number(2), rows.number(3), rows.number(4)});
    past.period.from = std::max(past.period.from, rows.integer(5) * 1000);
  }
  std::map<std::int64_t, Amounts> nothing;
  for (const auto& [node, sums] : counts) nothing.try_emplace(node);
  const auto places = placesOf(database_, broker.id);
  const SeenMaker maker(broker, places);
  past.looks = {lookOf(maker.broker(nothing), past.period.from, 0),
                lookOf(maker.broker(counts), past.period.until,
                       std::max<std::int64_t>(0, past.period.length()))};
  return past;
}

std::vector<model::Mark> Reader::marks(const KnownBroker& broker, const Period& period) const {
  return marksOf(database_, broker.id, period);
}

std::shared_ptr<const model::SeenBroker> Reader::events(const KnownBroker& broker,
                                                        const Period& period, bool& bounded) const {
  std::unordered_map<std::int64_t, std::shared_ptr<const reader::EventTemplate>> templates;
  auto kinds = database_.prepare(
      "SELECT id, execution_group, flow, node, node_type, text FROM template WHERE broker = ?");
  kinds.with(broker.id);
  while (kinds.step()) {
    if (kinds.isNull(5)) continue;
    templates[kinds.integer(0)] = std::make_shared<const reader::EventTemplate>(
        reader::EventTemplate{kinds.text(1), kinds.text(2), kinds.text(3),
                              static_cast<std::uint32_t>(kinds.integer(4)), kinds.text(5)});
  }
  const auto places = placesOf(database_, broker.id);
  std::map<std::int64_t, Amounts> nodes;
  for (const auto& [id, place] : places) nodes.try_emplace(id);
  auto seen = SeenMaker(broker, places).broker(nodes);
  reader::EventLog::Batch& batch = seen->events.emplace();
  auto rows = database_.prepare(
      "SELECT e.time_s, e.record, t.record, e.template, e.thread, e.message_id, e.correlation_id, "
      "e.application_type, e.application_name, e.put_date, e.put_time FROM event e "
      "LEFT JOIN template t ON t.id = e.template WHERE e.broker = ? AND e.time_s >= ? AND "
      "e.time_s < ? ORDER BY e.time_s DESC, e.number DESC LIMIT ?");
  rows.with(broker.id, ceilTo(period.from, 1000) / 1000, ceilTo(period.until, 1000) / 1000,
            static_cast<std::int64_t>(kMostEvents) + 1);
  while (rows.step()) {
    bounded = bounded || batch.events.size() == kMostEvents;
    if (bounded) break;
    reader::Event& event = batch.events.emplace_back();
    event.time = rows.integer(0);
    event.recordId = recordIdOf(rows.bytes(1));
    event.templateId = recordIdOf(rows.bytes(2));
    const auto origin = templates.find(rows.integer(3));
    if (origin != templates.end()) event.origin = origin->second;
    event.threadId = static_cast<std::int32_t>(rows.integer(4));
    copyId(rows.bytes(5), event.messageId);
    copyId(rows.bytes(6), event.correlationId);
    event.putApplicationType = static_cast<std::int32_t>(rows.integer(7));
    event.putApplicationName = rows.text(8);
    event.putDate = rows.text(9);
    event.putTime = rows.text(10);
  }
  std::ranges::reverse(batch.events);
  return seen;
}

// A row holds from its hour to the next row, but nothing is known of the time before the first
// look.
std::optional<model::AreaGrowth> Reader::growth(const KnownBroker& broker) const {
  if (version_ < kAreaUseVersion) return std::nullopt;
  const std::int64_t begin = broker.lastLook - kForecastMs;
  const auto last = lastAreaUse(database_, broker.id);
  auto first = database_.prepare(
      "SELECT max(hour * 3600000, (SELECT coalesce(min(begin_ms), 0) FROM span WHERE broker = "
      "?1)), used_bytes FROM area_use WHERE broker = ?1 AND hour >= coalesce((SELECT max(hour) "
      "FROM area_use WHERE broker = ?1 AND hour < ?2), ?2) ORDER BY hour LIMIT 1");
  if (!last || !first.with(broker.id, begin / kHourMs).step()) return std::nullopt;
  const auto bytes = [](std::int64_t stored) {
    return static_cast<std::uint64_t>(std::max<std::int64_t>(0, stored));
  };
  return model::AreaGrowth{.from = std::max(begin, first.integer(0)),
                           .until = broker.lastLook,
                           .before = bytes(first.integer(1)),
                           .used = bytes(last->used),
                           .size = bytes(last->size)};
}

std::vector<KnownGap> Reader::gaps(const KnownBroker& broker, const Period& period) const {
  auto rows = database_.prepare(
      "SELECT time_ms, cause, execution_group, flow, node, kind, least, most FROM gap "
      "WHERE broker = ? AND time_ms >= ? AND time_ms < ? ORDER BY id");
  rows.with(broker.id, period.from, period.until);
  std::vector<KnownGap> gaps;
  while (rows.step()) {
    KnownGap& known = gaps.emplace_back();
    known.time = rows.integer(0);
    known.gap.cause =
        rows.text(1) == "restart" ? model::Gap::Cause::restart : model::Gap::Cause::overwritten;
    known.gap.group = rows.text(2);
    known.gap.flow = rows.text(3);
    known.gap.node = rows.text(4);
    known.gap.missed.kind = rows.text(5) == "exact"     ? model::Missed::Kind::exact
                            : rows.text(5) == "between" ? model::Missed::Kind::between
                                                        : model::Missed::Kind::atLeast;
    known.gap.missed.least = static_cast<std::uint64_t>(rows.integer(6));
    known.gap.missed.most = static_cast<std::uint64_t>(rows.integer(7));
  }
  return gaps;
}

std::vector<model::PastFinding> Reader::findings(const Period& period) const {
  auto rows = database_.prepare(
      "SELECT f.key, f.kind, f.severity, f.object, f.evidence, f.effect, f.remedy, f.command, "
      "f.begin_ms, f.end_ms, b.uuid FROM finding f LEFT JOIN broker b ON b.id = f.broker "
      "WHERE f.begin_ms < ? AND (f.end_ms IS NULL OR f.end_ms >= ?) ORDER BY f.begin_ms, f.id");
  rows.with(period.until, period.from);
  std::vector<model::PastFinding> all;
  while (rows.step()) {
    model::PastFinding& past = all.emplace_back();
    model::Finding& finding = past.finding;
    const std::string key = rows.text(0);
    finding.id = rows.text(1);
    if (key.size() > finding.id.size()) finding.of = key.substr(finding.id.size() + 1);
    finding.severity =
        rows.text(2) == "critical" ? model::Severity::critical : model::Severity::warning;
    finding.object = rows.text(3);
    finding.evidence = rows.text(4);
    finding.effect = rows.text(5);
    finding.remedy = rows.text(6);
    finding.command = rows.text(7);
    past.begin = rows.integer(8);
    past.end = rows.number(9);
    past.uuid = rows.text(10);
  }
  return all;
}

namespace {

// As many spans as the period has, each with how long it was looked at.
std::vector<model::Added> emptySpans(const Period& period, std::int64_t unit,
                                     const std::vector<Period>& observed) {
  std::vector<model::Added> all(static_cast<std::size_t>(period.length() / unit));
  for (const Period& span : observed) {
    for (std::int64_t at = floorTo(span.from - period.from, unit); at < span.until - period.from;
         at += unit) {
      const std::int64_t begin = period.from + at;
      all[static_cast<std::size_t>(at / unit)].seconds +=
          static_cast<double>(common(span, {begin, begin + unit}).length()) / 1000;
    }
  }
  return all;
}

void add(model::Added& added, const Amounts& more) {
  added.messages += asDouble(more.messages);
  added.elapsedMs += asDouble(more.elapsedMs);
  added.queuedMs += asDouble(more.queuedMs);
}

}  // namespace

// The flows whose nodes are there now, by their first nodes.
std::vector<Reader::Flow> Reader::flowsOf(std::int64_t broker) const {
  auto rows = database_.prepare(
      "SELECT id, execution_group, flow, node, node_type FROM node WHERE broker = ?1 AND id IN "
      "(SELECT node FROM last_count WHERE broker = ?1) ORDER BY id LIMIT ?2");
  std::vector<Flow> flows;
  std::map<std::pair<std::string, std::string>, std::size_t> known;
  rows.with(broker, static_cast<std::int64_t>(kMostNodes));
  while (rows.step()) {
    const auto [at, isNew] = known.try_emplace({rows.text(1), rows.text(2)}, flows.size());
    if (isNew) {
      flows.emplace_back();
      flows.back().minutes.group = at->first.first;
      flows.back().minutes.flow = at->first.second;
    }
    Flow& flow = flows[at->second];
    flow.nodes.push_back(rows.integer(0));
    flow.minutes.nodes.push_back({.node = rows.text(3),
                                  .type = static_cast<std::uint32_t>(rows.integer(4)),
                                  .minutes = {},
                                  .hours = {}});
  }
  return flows;
}

// Several flows at a time, since each reading passes all that is recent.
void Reader::minutes(const KnownBroker& broker, const Period& period, const Period& days,
                     const std::function<void(model::FlowMinutes)>& take) const {
  constexpr std::size_t kAtOnce = 16;
  const auto inPeriod = emptySpans(period, kMinuteMs, observed(broker.id, period));
  const auto inDays = emptySpans(days, kHourMs, observed(broker.id, days));
  std::vector<Flow> flows = flowsOf(broker.id);
  for (std::size_t begin = 0; begin < flows.size(); begin += kAtOnce) {
    const auto some = std::span(flows).subspan(begin, std::min(kAtOnce, flows.size() - begin));
    std::map<std::int64_t, model::NodeMinutes*> nodes;
    for (Flow& flow : some) {
      flow.minutes.first = period.from / kMinuteMs;
      flow.minutes.nesting.nodes.resize(flow.nodes.size());
      for (std::size_t i = 0; i < flow.nodes.size(); ++i) {
        model::NodeMinutes& node = flow.minutes.nodes[i];
        node.minutes = inPeriod;
        node.hours = inDays;
        nodes[flow.nodes[i]] = &node;
      }
    }
    const auto addTo = [&](std::vector<model::Added> model::NodeMinutes::*all, const Wanted& wanted,
                           std::int64_t unit) {
      eachSample(database_, wanted, [&](const Sample& sample) {
        const auto node = nodes.find(sample.node);
        if (node == nodes.end()) return;
        const std::int64_t span = (sample.atMs - wanted.period.from) / unit;
        add((node->second->*all)[static_cast<std::size_t>(span)], sample.added);
      });
    };
    const std::int64_t first = nodes.begin()->first;
    const std::int64_t last = nodes.rbegin()->first;
    addTo(&model::NodeMinutes::minutes, {Step::minute, period, broker.id, first, last}, kMinuteMs);
    addTo(&model::NodeMinutes::hours, {Step::hour, days, broker.id, first, last}, kHourMs);
    for (Flow& flow : some) take(std::move(flow.minutes));
  }
}

}  // namespace history
