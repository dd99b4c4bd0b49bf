// SPDX-License-Identifier: Apache-2.0
#include "agent/front/history/event_writer.h"

#include <algorithm>

#include "agent/model/checked.h"

namespace history {
namespace {

constexpr std::int64_t kMostSeconds = 60;      // that a pause may save up
constexpr std::size_t kMostTemplates = 10000;  // of a broker, in memory
constexpr std::int64_t kRow = 110;             // bytes of an event without its texts, about

std::string nameOf(model::Missed::Kind kind) {
  switch (kind) {
    case model::Missed::Kind::exact:
      return "exact";
    case model::Missed::Kind::between:
      return "between";
    case model::Missed::Kind::atLeast:
      break;
  }
  return "atLeast";
}

std::optional<std::string> unlessEmpty(const std::string& text) {
  if (text.empty()) return {};
  return text;
}

}  // namespace

EventWriter::EventWriter(const Database& database, std::int64_t perSecond, std::int64_t beganMs)
    : database_(database),
      perSecond_(perSecond),
      insert_(database.prepare("INSERT OR IGNORE INTO event VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, "
                               "?, ?)")),
      insertTemplate_(database.prepare(
          "INSERT INTO template (broker, record, execution_group, flow, node, node_type, text) "
          "VALUES (?, ?, ?, ?, ?, ?, ?) ON CONFLICT (broker, record) DO UPDATE SET "
          "execution_group = coalesce(excluded.execution_group, execution_group), "
          "flow = coalesce(excluded.flow, flow), node = coalesce(excluded.node, node), "
          "node_type = coalesce(excluded.node_type, node_type), "
          "text = coalesce(excluded.text, text) RETURNING id")),
      last_(beganMs * 1000) {}

// A template that was gone may be known later, so only those with texts are remembered.
std::int64_t EventWriter::templateOf(std::int64_t broker, const reader::Event& event) {
  Templates& known = templates_[broker];
  const auto found = known.find(event.templateId);
  if (found != known.end()) return found->second;
  using Text = std::optional<std::string>;
  const reader::EventTemplate* const origin = event.origin.get();
  const auto record = event.templateId.bytes();
  insertTemplate_.with(
      broker, Bytes(record), origin ? Text(origin->executionGroup) : Text(),
      origin ? Text(origin->messageFlow) : Text(), origin ? Text(origin->node) : Text(),
      origin ? Integer(origin->nodeType) : Integer(), origin ? Text(origin->text) : Text());
  insertTemplate_.step();
  const std::int64_t id = insertTemplate_.integer(0);
  insertTemplate_.run();
  if (known.size() >= kMostTemplates) known.clear();
  if (origin) {
    known.emplace(event.templateId, id);
    added_ += kRow + static_cast<std::int64_t>(origin->text.size());
  }
  return id;
}

std::size_t EventWriter::allowed(std::int64_t broker, const Moment& look) {
  const auto [place, isNew] = lastSteadyMs_.try_emplace(broker, look.steadyMs);
  const std::int64_t seconds = isNew ? kMostSeconds : (look.steadyMs - place->second + 999) / 1000;
  place->second = look.steadyMs;
  return static_cast<std::size_t>(std::clamp<std::int64_t>(seconds, 1, kMostSeconds) * perSecond_);
}

// About how many bytes it takes; 0 when it was there already.
std::int64_t EventWriter::insert(std::int64_t broker, const reader::Event& event) {
  const auto record = event.recordId.bytes();
  insert_.run(broker, event.time.value_or(0), Bytes(record), templateOf(broker, event),
              event.threadId, Bytes(event.messageId), Bytes(event.correlationId),
              event.putApplicationType, event.putApplicationName, event.putDate, event.putTime,
              last_ + 1);
  if (database_.changed() == 0) return 0;
  ++last_;
  return kRow + static_cast<std::int64_t>(event.putApplicationName.size() + event.putDate.size() +
                                          event.putTime.size());
}

void EventWriter::writeGap(std::int64_t broker, const model::Gap& gap, const Moment& look) {
  const model::Missed& missed = gap.missed;
  const bool open = missed.kind == model::Missed::Kind::atLeast;
  database_
      .prepare(
          "INSERT INTO gap (broker, look, time_ms, cause, execution_group, flow, node, kind, "
          "least, most) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?)")
      .run(broker, look.look, look.wallMs,
           gap.cause == model::Gap::Cause::restart ? "restart" : "overwritten",
           unlessEmpty(gap.group), unlessEmpty(gap.flow), unlessEmpty(gap.node),
           nameOf(missed.kind), model::bounded(missed.least),
           open ? Integer() : Integer(model::bounded(missed.most)));
}

void EventWriter::write(std::int64_t broker, const model::News& news, const Moment& look) {
  for (const model::Gap& gap : news.gaps) writeGap(broker, gap, look);
  const std::size_t most = allowed(broker, look);
  const std::size_t count = std::min(most, news.events.size());
  const std::size_t over = news.events.size() - count;
  std::int64_t stored = 0;
  std::int64_t bytes = 0;
  added_ = 0;
  for (const reader::Event& event : std::span(news.events).last(count)) {
    const std::int64_t added = insert(broker, event);
    stored += added > 0;
    bytes += added;
  }
  countOver(database_, broker, "events", over);
  bytes += added_;
  if (bytes == 0) return;
  database_
      .prepare("UPDATE broker SET events = events + ?, event_bytes = event_bytes + ? WHERE id = ?")
      .run(stored, bytes, broker);
}

void countOver(const Database& database, std::int64_t broker, const char* what,
               std::uint64_t number) {
  if (number == 0) return;
  database
      .prepare(
          "INSERT INTO over VALUES (?, ?, ?) ON CONFLICT (broker, what) "
          "DO UPDATE SET number = number + excluded.number")
      .run(broker, what, model::bounded(number));
}

}  // namespace history
