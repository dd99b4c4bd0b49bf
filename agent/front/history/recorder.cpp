// SPDX-License-Identifier: Apache-2.0
#include "agent/front/history/recorder.h"

#include <algorithm>
#include <limits>
#include <set>

#include "agent/model/condition.h"

namespace history {
namespace {

using reader::State;
using std::chrono::duration_cast;
using std::chrono::milliseconds;

constexpr std::int64_t kClockJumpMs = 1000;

// More than that nobody adds between two looks. So sums of them fit, too.
constexpr std::int64_t kMostAdded = std::int64_t{1} << 44;

// So that what is read later is never taken for smaller.
reader::Statistics withoutExtremes() {
  using Limits = std::numeric_limits<std::int32_t>;
  reader::Statistics statistics;
  statistics.maxSize = statistics.maxElapsed = statistics.maxQueued = Limits::min();
  statistics.minSize = statistics.minElapsed = statistics.minQueued = Limits::max();
  return statistics;
}

Integer believed(const model::Number& number) {
  return number && *number <= kMostAdded ? number : Integer();
}

std::int64_t presenceOf(const model::SeenBroker& broker) {
  return isWhole(broker) ? 1 : 2;
}

// Whether a broker that isn't in there isn't on the machine either.
bool showsAll(const model::Snapshot& snapshot) {
  return snapshot.error == 0 && snapshot.leftOut.all() == 0;
}

// Those that can be counted, each uuid once.
std::map<std::string, const model::SeenBroker*> counted(const model::Snapshot& once) {
  std::map<std::string, const model::SeenBroker*> brokers;
  for (const auto& broker : once.brokers) {
    if (broker->segment.size > 0 && broker->tree) brokers.emplace(broker->uuid(), broker.get());
  }
  return brokers;
}

// What may hold counts that can't be read now.
std::set<std::string> unreadable(const model::Snapshot& snapshot) {
  std::set<std::string> uuids;
  for (const auto& broker : snapshot.brokers) {
    const State state = broker->state();
    if (state == State::noPermission || state == State::failed || state == State::damaged) {
      uuids.insert(broker->uuid());
    }
  }
  return uuids;
}

Moment momentOf(const model::Snapshot& snapshot, std::int64_t number) {
  return {.look = number,
          .wallMs = duration_cast<milliseconds>(snapshot.wall.time_since_epoch()).count(),
          .steadyMs = duration_cast<milliseconds>(snapshot.steady.time_since_epoch()).count()};
}

model::News newsOf(const std::shared_ptr<const model::SeenBroker>& broker) {
  model::News news{.broker = broker, .gaps = {}, .events = broker->events->events};
  if (broker->events->missed > 0) {
    news.gaps.push_back(
        {.missed = {
             .kind = model::Missed::Kind::atLeast, .least = broker->events->missed, .most = 0}});
  }
  return news;
}

}  // namespace

std::vector<model::News> newsOf(const model::Snapshot& snapshot) {
  std::vector<model::News> all;
  for (const auto& broker : model::distinct(snapshot).brokers) {
    if (broker->events) all.push_back(newsOf(broker));
  }
  return all;
}

Recorder::Recorder(const Database& database, Settings settings, std::int64_t nowMs)
    : database_(database),
      settings_(std::move(settings)),
      names_(database, settings_.names),
      events_(database, settings_.eventsPerSecond, nowMs),
      parts_(database, settings_.rowsAtOnce, settings_.between),
      addSample_(database.prepare("INSERT INTO recent VALUES (?, ?, ?, ?, ?, ?)")),
      addCount_(database.prepare(
          "INSERT OR REPLACE INTO last_count VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)")),
      removeCount_(database.prepare("DELETE FROM last_count WHERE broker = ? AND record = ?")) {
  parts_.begin();
  Transaction transaction(database_);
  database_.prepare("INSERT INTO run (boot, version, began_ms) VALUES (?, ?, ?)")
      .run(settings_.boot, settings_.version, nowMs);
  run_ = database_.lastInserted();
  load();
  transaction.commit();
}

void Recorder::load() {
  auto look = database_.prepare("SELECT number, wall_ms FROM look ORDER BY number DESC LIMIT 1");
  if (look.step()) before_ = {.look = look.integer(0), .wallMs = look.integer(1), .steadyMs = 0};
  recent_ = database_.integerOf("SELECT count(*) FROM recent").value_or(0);
  auto rows = database_.prepare(
      "SELECT id, uuid, last_look, last_ms, present, segment, reset_s FROM broker");
  while (rows.step()) {
    Known& known = brokers_[rows.text(1)];
    known.id = rows.integer(0);
    known.last = {.look = rows.integer(2), .wallMs = rows.integer(3), .steadyMs = 0};
    known.present = rows.integer(4);
    known.segment = rows.integer(5);
    known.reset = rows.number(6);
    known.use = lastAreaUse(database_, known.id).value_or(AreaUse());
    loadCounts(known);
  }
  rows = database_.prepare("SELECT key, id FROM finding WHERE end_ms IS NULL");
  while (rows.step()) findings_[rows.text(0)] = rows.integer(1);
}

void Recorder::loadCounts(Known& known) {
  auto rows = database_.prepare(
      "SELECT record, node, segment, reset_s, statistics, first_s, messages, bytes, elapsed_ms, "
      "queued_ms FROM last_count WHERE broker = ?");
  for (rows.with(known.id); rows.step();) {
    if (rows.bytes(0).size() != reader::RecordId::kBytes) continue;
    Base base{.node = rows.integer(1), .segment = rows.integer(2), .reset = rows.number(3)};
    base.counts.recordId = reader::RecordId(rows.bytes(0));
    if (rows.bytes(4).size() == reader::RecordId::kBytes) {
      reader::Statistics statistics = withoutExtremes();
      statistics.recordId = reader::RecordId(rows.bytes(4));
      statistics.firstCollection = rows.number(5);
      statistics.messageCount = rows.number(6);
      statistics.sumSize = rows.number(7);
      statistics.sumElapsed = rows.number(8);
      statistics.sumQueued = rows.number(9);
      base.counts.statistics = statistics;
    }
    const reader::RecordId id = base.counts.recordId;
    known.counts.restore(id, std::move(base));
  }
}

bool Recorder::record(const Sight& sight) {
  const std::int64_t next = before_.look + 1;
  now_ = momentOf(*sight.snapshot, next);
  const bool closes = recent_ > 0 && (now_.wallMs / kPartMs != before_.wallMs / kPartMs ||
                                      recent_ >= settings_.recentRows);
  if (closes) closePart();
  continuous_ = continuous_ && !sight.behindLost;
  Transaction transaction(database_);
  write(sight);
  transaction.commit();
  before_ = now_;
  continuous_ = true;
  sawAll_ = showsAll(*sight.snapshot);
  return closes;
}

void Recorder::closePart() {
  parts_.close(now_.wallMs);
  recent_ = 0;
  parts_.forget(now_.wallMs);
  events_.forgetTemplates();
}

void Recorder::write(const Sight& sight) {
  const model::Snapshot& snapshot = *sight.snapshot;
  database_.prepare("INSERT INTO look VALUES (?, ?, ?, ?)")
      .run(now_.look, run_, now_.wallMs, now_.steadyMs);
  seeClock();
  const auto present = counted(model::distinct(snapshot));
  std::set<std::string> there = unreadable(snapshot);
  const bool known = continuous_ && sawAll_;
  for (const auto& [uuid, broker] : present) see(*broker, known && !unreadable_.contains(uuid));
  for (auto& [uuid, one] : brokers_) {
    if (!present.contains(uuid)) seeAbsent(one, showsAll(snapshot) && !there.contains(uuid));
  }
  for (const model::News& news : sight.news) writeNews(news);
  writeFindings(sight.findings);
  unreadable_ = std::move(there);
}

// The clocks of two runs can't be compared.
void Recorder::seeClock() {
  if (!continuous_) return;
  const std::int64_t jump = (now_.wallMs - before_.wallMs) - (now_.steadyMs - before_.steadyMs);
  if (std::abs(jump) < kClockJumpMs) return;
  for (auto& [uuid, known] : brokers_) {
    if (known.span == 0) continue;
    writeMark(known, {.kind = "clock", .before = before_});
    known.span = 0;
  }
}

// What a record means that wasn't there before. Writes the marks of what happened to the broker.
BrokerCounts::New Recorder::beginOf(const Known& known, const model::SeenBroker& broker,
                                    bool wasAbsent) {
  const bool first = known.last.look == 0;
  if (first && !wasAbsent) return BrokerCounts::New::wasThere;
  const bool absent = known.present == 0;
  if (!first && !continuous_) {
    writeMark(known, {.kind = "gap", .before = before_});
  } else if (!absent && known.last.look != before_.look) {
    writeMark(known, {.kind = "gap", .before = known.last});
  }
  const bool another = absent || known.segment != broker.segment.id;
  if (another) {
    const Moment& before = absent && continuous_ ? before_ : known.last;
    const std::int64_t unknown = absent && continuous_ ? 0 : now_.wallMs - before.wallMs;
    writeMark(known, {.kind = "restart", .before = before, .unknownMs = unknown});
  }
  return another || known.present != 2 ? BrokerCounts::New::came : BrokerCounts::New::wasThere;
}

// What was counted up to the moment of the reset is not known. The statistics of one node can be
// reset by themselves, and then nothing says when.
void Recorder::seeReset(const Known& known, const model::SeenBroker& broker,
                        const BrokerCounts::Look& look) {
  const reader::Time reset = broker.tree->resetTime;
  const bool whole = known.reset != reset;
  if (!look.reset && !whole) return;
  const std::int64_t most = std::max<std::int64_t>(0, now_.wallMs - known.last.wallMs);
  const std::int64_t until = whole && reset ? *reset * 1000 + 999 - known.last.wallMs : most;
  writeMark(known, {.kind = "reset",
                    .before = known.last,
                    .unknownMs = std::clamp<std::int64_t>(until, 0, most),
                    .look = &look});
}

void Recorder::see(const model::SeenBroker& broker, bool wasAbsent) {
  const std::string uuid = broker.uuid();
  Known& known = brokers_[uuid];
  known.id = names_.brokerOf(uuid, broker.label());
  const bool same = known.present != 0 && known.segment == broker.segment.id;
  const bool came = known.present == 0 && continuous_ && (wasAbsent || known.last.look != 0);
  const BrokerCounts::Look look =
      known.counts.take(broker, beginOf(known, broker, wasAbsent),
                        [&](const Place& place) { return names_.nodeOf(known.id, place); });
  if (same) seeReset(known, broker, look);
  writeCounts(known, look);
  writeBroker(known, broker);
  writeUse(known, broker);
  writeSpan(known, came ? before_.wallMs : now_.wallMs);
}

void Recorder::writeCounts(const Known& known, const BrokerCounts::Look& look) {
  for (const auto& [node, added] : look.added) {
    addSample_.run(now_.look, node, believed(added.messages), believed(added.bytes),
                   believed(added.elapsedMs), believed(added.queuedMs));
    ++recent_;
  }
  for (const reader::RecordId& record : look.changed) {
    const Base& base = *known.counts.find(record);
    const auto id = record.bytes();
    const reader::Statistics none;
    const reader::Statistics& counts = base.counts.statistics ? *base.counts.statistics : none;
    const auto statistics = counts.recordId.bytes();
    addCount_.run(known.id, Bytes(id), base.node,
                  base.counts.statistics ? Bytes(statistics) : Bytes(), base.segment, base.reset,
                  counts.firstCollection, counts.messageCount, counts.sumSize, counts.sumElapsed,
                  counts.sumQueued);
  }
  for (const reader::RecordId& record : look.gone) {
    const auto id = record.bytes();
    removeCount_.run(known.id, Bytes(id));
  }
  countOver(database_, known.id, "nodes", look.tooMany);
}

void Recorder::writeBroker(Known& known, const model::SeenBroker& broker) {
  known.last = now_;
  known.present = presenceOf(broker);
  known.segment = broker.segment.id;
  known.reset = broker.tree->resetTime;
  database_
      .prepare(
          "UPDATE broker SET last_look = ?, last_ms = ?, present = ?, segment = ?, "
          "reset_s = ? WHERE id = ?")
      .run(now_.look, now_.wallMs, known.present, known.segment, known.reset, known.id);
}

// The last one of each hour in which it changed.
void Recorder::writeUse(Known& known, const model::SeenBroker& broker) {
  const reader::Area* const area = broker.segment.copy.find(reader::kStatistics);
  if (area == nullptr || known.use == AreaUse{area->size, area->last}) return;
  known.use = {area->size, area->last};
  database_.prepare("INSERT OR REPLACE INTO area_use VALUES (?, ?, ?, ?)")
      .run(known.id, now_.wallMs / kHourMs, known.use.size, known.use.used);
}

void Recorder::writeSpan(Known& known, std::int64_t beginMs) {
  if (known.span == 0 || !continuous_) known.span = now_.look;
  database_
      .prepare(
          "INSERT INTO span VALUES (?, ?, ?, ?, ?) ON CONFLICT DO UPDATE SET "
          "last_look = excluded.last_look, end_ms = max(end_ms, excluded.end_ms)")
      .run(known.id, known.span, now_.look, beginMs, now_.wallMs);
}

// `gone` says that nothing is left of it; else it just can't be read now.
void Recorder::seeAbsent(Known& known, bool gone) {
  known.span = 0;
  if (!gone || known.present == 0) return;
  writeMark(known, {.kind = "removed",
                    .before = known.last,
                    .unknownMs = std::max<std::int64_t>(0, now_.wallMs - known.last.wallMs)});
  known.present = 0;
  database_.prepare("UPDATE broker SET present = 0 WHERE id = ?").run(known.id);
}

void Recorder::writeMark(const Known& known, const Mark& mark) {
  using Text = std::optional<std::string>;
  const bool one = mark.look != nullptr && mark.look->deployed.size() == 1;
  database_
      .prepare(
          "INSERT INTO mark (broker, kind, look_before, look_after, begin_ms, end_ms, "
          "unknown_ms, execution_group, flow) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?)")
      .run(known.id, mark.kind, mark.before.look, now_.look, mark.before.wallMs, now_.wallMs,
           std::max<std::int64_t>(0, mark.unknownMs),
           one ? Text(mark.look->deployed.begin()->first) : Text(),
           one ? Text(mark.look->deployed.begin()->second) : Text());
}

void Recorder::writeNews(const model::News& news) {
  if (news.events.empty() && news.gaps.empty()) return;
  const std::string uuid = news.broker->uuid();
  const auto known = brokers_.find(uuid);
  const std::int64_t id =
      known != brokers_.end() ? known->second.id : names_.brokerOf(uuid, news.broker->label());
  events_.write(id, news, now_);
}

void Recorder::writeFindings(const model::Findings& findings) {
  std::map<std::string, std::int64_t> there;
  for (const model::Finding& finding : findings.found) {
    const std::string key = finding.key();
    if (const auto known = findings_.find(key); known != findings_.end()) {
      there.insert(*known);
      continue;
    }
    const auto broker = finding.broker ? brokers_.find(finding.broker->uuid()) : brokers_.end();
    database_
        .prepare(
            "INSERT INTO finding (broker, key, kind, severity, object, evidence, effect, "
            "remedy, command, begin_ms) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?)")
        .run(broker == brokers_.end() ? Integer() : Integer(broker->second.id), key, finding.id,
             finding.severity == model::Severity::critical ? "critical" : "warning", finding.object,
             finding.evidence, finding.effect, finding.remedy, finding.command, now_.wallMs);
    there.emplace(key, database_.lastInserted());
  }
  for (const auto& [key, id] : findings_) {
    if (there.contains(key)) continue;
    database_.prepare("UPDATE finding SET end_ms = ? WHERE id = ?").run(now_.wallMs, id);
  }
  findings_ = std::move(there);
}

std::int64_t Recorder::used() const {
  const std::int64_t pages = database_.integerOf("PRAGMA page_count").value_or(0) -
                             database_.integerOf("PRAGMA freelist_count").value_or(0);
  return pages * database_.integerOf("PRAGMA page_size").value_or(0);
}

void Recorder::shrink(std::int64_t quota, std::int64_t all) {
  std::int64_t largest = 0;
  std::int64_t most = 0;
  for (const auto& [uuid, known] : brokers_) {
    while (parts_.bytesOf(known.id) > quota && parts_.shrink(known.id)) continue;
    if (const std::int64_t bytes = parts_.bytesOf(known.id); bytes > most) {
      most = bytes;
      largest = known.id;
    }
  }
  while (used() > all && parts_.shrink(largest)) continue;
  events_.forgetTemplates();
}

}  // namespace history
