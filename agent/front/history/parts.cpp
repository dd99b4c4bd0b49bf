// SPDX-License-Identifier: Apache-2.0
#include "agent/front/history/parts.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <vector>

#include "agent/front/history/event_writer.h"

namespace history {
namespace {

constexpr const char* kTables[] = {"sample", "minute", "hour"};
constexpr std::int64_t kEventsAtOnce = 10000;
constexpr std::int64_t kEver = std::numeric_limits<std::int64_t>::max();

// The column of `part` that counts a table's rows.
std::string countOf(const std::string& table) {
  return table + "s";
}

// The sums of all samples of a group; NULL where any sample is NULL.
std::string sumsOf(const std::string& table) {
  std::string sums;
  for (const std::string column : {"messages", "bytes", "elapsed_ms", "queued_ms"}) {
    const std::string name = table + "." + column;
    sums += ", CASE count(*) WHEN count(" + name + ") THEN sum(" + name + ") END";
  }
  return sums + " ";
}

std::vector<std::int64_t> integers(Statement& rows) {
  std::vector<std::int64_t> all;
  while (rows.step()) all.push_back(rows.integer(0));
  return all;
}

std::vector<std::int64_t> brokersOf(const Database& database) {
  auto rows = database.prepare("SELECT id FROM broker ORDER BY id");
  return integers(rows);
}

}  // namespace

Parts::Parts(const Database& database, std::int64_t rows, std::function<void()> between)
    : database_(database), rows_(rows), between_(std::move(between)) {}

std::int64_t Parts::nextNumber() const {
  return database_.integerOf("SELECT max(number) FROM part").value_or(0) + 1;
}

void Parts::begin() {
  Transaction transaction(database_);
  for (const std::string table : kTables) {
    database_.prepare("DELETE FROM " + table + " WHERE part >= ?").run(nextNumber());
  }
  transaction.commit();
}

// Looks come first: so each slice reads its own rows alone, not all that are recent.
void Parts::take(const Slice& slice) {
  Transaction transaction(database_);
  database_
      .prepare(
          "INSERT INTO sample SELECT ?1, s.node, s.look, s.messages, s.bytes, s.elapsed_ms, "
          "s.queued_ms FROM look l CROSS JOIN recent s ON s.look = l.number "
          "CROSS JOIN node n ON n.id = s.node WHERE l.number >= (SELECT min(look) FROM recent) "
          "AND s.node BETWEEN ?2 AND ?3 AND n.broker = ?4 ORDER BY s.node, s.look")
      .run(slice.part, slice.first, slice.last, slice.broker);
  database_
      .prepare("INSERT INTO minute SELECT ?1, s.node, l.wall_ms / 60000 AS minute" + sumsOf("s") +
               "FROM sample s CROSS JOIN look l ON l.number = s.look WHERE s.part = ?1 "
               "AND s.node BETWEEN ?2 AND ?3 GROUP BY s.node, minute ORDER BY s.node, minute")
      .run(slice.part, slice.first, slice.last);
  transaction.commit();
  between_();
}

// A few nodes at a time, so that no transaction grows without bounds.
void Parts::take(std::int64_t broker, std::int64_t part, std::int64_t most) {
  auto rows = database_.prepare("SELECT id FROM node WHERE broker = ? ORDER BY id");
  const std::vector<std::int64_t> nodes = integers(rows.with(broker));
  const auto step = static_cast<std::size_t>(std::max<std::int64_t>(1, rows_ / most));
  for (std::size_t i = 0; i < nodes.size(); i += step) {
    take({broker, part, nodes[i], nodes[std::min(i + step, nodes.size()) - 1]});
  }
}

// A part without rows is none.
void Parts::publish(std::int64_t broker, std::int64_t part) {
  database_
      .prepare(
          "INSERT INTO part SELECT ?1, ?2, coalesce(min(l.wall_ms), 0), "
          "coalesce(max(l.wall_ms), 0), count(*), "
          "(SELECT count(*) FROM minute WHERE part = ?1), 0, 0 "
          "FROM sample s JOIN look l ON l.number = s.look WHERE s.part = ?1 HAVING count(*)")
      .run(part, broker);
}

void Parts::close(std::int64_t nowMs) {
  const std::int64_t looks =
      database_.integerOf("SELECT max(look) - min(look) + 1 FROM recent").value_or(0);
  const std::vector<std::int64_t> brokers = brokersOf(database_);
  const std::int64_t first = nextNumber();
  if (looks > 0) {
    for (std::size_t i = 0; i < brokers.size(); ++i) {
      take(brokers[i], first + static_cast<std::int64_t>(i), looks);
    }
    Transaction transaction(database_);
    for (std::size_t i = 0; i < brokers.size(); ++i) {
      publish(brokers[i], first + static_cast<std::int64_t>(i));
    }
    database_.execute("DELETE FROM recent");
    transaction.commit();
  }
  for (const std::int64_t broker : brokers) addHours(broker, nowMs);
}

// Sums up the minutes of parts that ended before the current hour.
void Parts::addHours(std::int64_t broker, std::int64_t nowMs) {
  const std::int64_t until = nowMs / kHourMs * kHourMs;
  constexpr char kParts[] = " broker = ?2 AND summed = 0 AND minutes > 0 AND end_ms < ?3 ";
  Transaction transaction(database_);
  const std::int64_t part = nextNumber();
  database_
      .prepare("INSERT INTO hour SELECT ?1, m.node, m.minute / 60 AS hour" + sumsOf("m") +
               "FROM part p JOIN minute m ON m.part = p.number WHERE" + kParts +
               "GROUP BY m.node, hour ORDER BY m.node, hour")
      .run(part, broker, until);
  const std::int64_t hours = database_.changed();
  if (hours == 0) return;
  database_
      .prepare(std::string("INSERT INTO part SELECT ?1, ?2, min(begin_ms), max(end_ms), 0, 0, ?4, "
                           "1 FROM part WHERE") +
               kParts)
      .run(part, broker, until, hours);
  database_.prepare(std::string("UPDATE part SET summed = ?1 WHERE") + kParts)
      .run(1, broker, until);
  transaction.commit();
  between_();
}

// What was not added up yet goes with it.
void Parts::remove(const char* table, std::int64_t part) {
  Transaction transaction(database_);
  database_.prepare(std::string("DELETE FROM ") + table + " WHERE part = ?").run(part);
  database_.prepare("UPDATE part SET " + countOf(table) + " = 0 WHERE number = ?").run(part);
  database_.prepare("DELETE FROM part WHERE number = ? AND samples + minutes + hours = 0")
      .run(part);
  transaction.commit();
  between_();
}

void Parts::forget(std::int64_t nowMs) {
  const std::int64_t keep[] = {kKeepLooksMs, kKeepMinutesMs, kKeepHoursMs};
  for (std::size_t i = 0; i < std::size(kTables); ++i) {
    auto rows = database_.prepare("SELECT number FROM part WHERE " + countOf(kTables[i]) +
                                  " > 0 AND end_ms < ?");
    for (const std::int64_t part : integers(rows.with(nowMs - keep[i]))) {
      remove(kTables[i], part);
    }
  }
  Transaction transaction(database_);
  database_
      .prepare(
          "DELETE FROM look WHERE number < coalesce((SELECT min(look) FROM recent), "
          "(SELECT max(number) FROM look)) AND wall_ms < ?")
      .run(nowMs - kKeepLooksMs - kHourMs);
  database_.prepare("DELETE FROM gap WHERE time_ms < ?").run(nowMs - kKeepMinutesMs);
  database_.prepare("DELETE FROM run WHERE began_ms < ?").run(nowMs - kKeepHoursMs);
  for (const char* const table : {"mark", "span", "finding"}) {
    database_.prepare(std::string("DELETE FROM ") + table + " WHERE end_ms < ?")
        .run(nowMs - kKeepHoursMs);
  }
  database_.prepare("DELETE FROM area_use WHERE hour < ?").run((nowMs - kKeepHoursMs) / kHourMs);
  transaction.commit();
  for (const std::int64_t broker : brokersOf(database_)) {
    while (removeEvents(broker, (nowMs - kKeepMinutesMs) / 1000)) continue;
  }
}

std::int64_t Parts::bytesOf(std::int64_t broker) const {
  auto row = database_.prepare(
      "SELECT coalesce(sum(samples + minutes + hours), 0) FROM part WHERE broker = ?");
  row.with(broker).step();
  const std::int64_t rows = row.integer(0);
  auto events = database_.prepare("SELECT event_bytes FROM broker WHERE id = ?");
  return rows * kRowBytes + (events.with(broker).step() ? events.integer(0) : 0);
}

bool Parts::removeOldest(std::int64_t broker, const char* table) {
  const std::string count = countOf(table);
  auto row = database_.prepare("SELECT number, " + count + " FROM part WHERE broker = ? AND " +
                               count + " > 0 ORDER BY end_ms, number LIMIT 1");
  if (!row.with(broker).step()) return false;
  const std::int64_t part = row.integer(0);
  const std::int64_t rows = row.integer(1);
  row.reset();
  remove(table, part);
  countOver(database_, broker, "bytes", static_cast<std::uint64_t>(rows));
  return true;
}

// Whole seconds, as few as make up the number.
bool Parts::removeEvents(std::int64_t broker, std::int64_t beforeS) {
  auto end = database_.prepare(
      "SELECT time_s FROM event WHERE broker = ? AND time_s < ? ORDER BY time_s LIMIT 1 OFFSET ?");
  const bool more = end.with(broker, beforeS, kEventsAtOnce).step();
  const std::int64_t last = more ? end.integer(0) : beforeS - 1;
  end.reset();
  Transaction transaction(database_);
  database_.prepare("DELETE FROM event WHERE broker = ? AND time_s <= ?").run(broker, last);
  const std::int64_t number = database_.changed();
  database_
      .prepare(
          "UPDATE broker SET event_bytes = iif(events > ?2, event_bytes * (events - ?2) / "
          "events, 0), events = max(events - ?2, 0) WHERE id = ?1")
      .run(broker, number);
  transaction.commit();
  between_();
  return number > 0;
}

bool Parts::shrink(std::int64_t broker) {
  auto row = database_.prepare(
      "SELECT coalesce(sum(samples), 0) * ?2, coalesce(sum(minutes), 0) * ?2, "
      "coalesce(sum(hours), 0) * ?2, (SELECT event_bytes FROM broker WHERE id = ?1) "
      "FROM part WHERE broker = ?1");
  if (!row.with(broker, kRowBytes).step()) return false;
  std::int64_t bytes[4];
  for (int i = 0; i < 4; ++i) bytes[i] = row.integer(i);
  row.reset();
  const auto most = static_cast<std::size_t>(std::ranges::max_element(bytes) - std::begin(bytes));
  if (bytes[most] == 0) return false;
  return most == std::size(kTables) ? removeEvents(broker, kEver)
                                    : removeOldest(broker, kTables[most]);
}

}  // namespace history
