// SPDX-License-Identifier: Apache-2.0
#include "agent/front/history/tables.h"

namespace history {
namespace {

// Names once, looks, and what the last look found.
constexpr char kNames[] = R"sql(
CREATE TABLE run (
  id INTEGER PRIMARY KEY,
  boot TEXT NOT NULL,
  version TEXT NOT NULL,
  began_ms INTEGER NOT NULL
);
CREATE TABLE look (
  number INTEGER PRIMARY KEY,
  run INTEGER NOT NULL,
  wall_ms INTEGER NOT NULL,
  steady_ms INTEGER NOT NULL
);
CREATE TABLE broker (
  id INTEGER PRIMARY KEY,
  uuid TEXT NOT NULL UNIQUE,
  label TEXT NOT NULL,
  last_look INTEGER,
  last_ms INTEGER,
  present INTEGER NOT NULL DEFAULT 0,
  segment INTEGER,
  reset_s INTEGER,
  events INTEGER NOT NULL DEFAULT 0,
  event_bytes INTEGER NOT NULL DEFAULT 0
);
CREATE TABLE node (
  id INTEGER PRIMARY KEY,
  broker INTEGER NOT NULL,
  execution_group TEXT NOT NULL,
  flow TEXT NOT NULL,
  node TEXT NOT NULL,
  node_type INTEGER NOT NULL,
  UNIQUE (broker, execution_group, flow, node, node_type)
);
CREATE TABLE last_count (
  broker INTEGER NOT NULL,
  record BLOB NOT NULL,
  node INTEGER NOT NULL,
  statistics BLOB NOT NULL,
  segment INTEGER NOT NULL,
  reset_s INTEGER,
  first_s INTEGER,
  messages INTEGER,
  bytes INTEGER,
  elapsed_ms INTEGER,
  queued_ms INTEGER,
  PRIMARY KEY (broker, record)
) WITHOUT ROWID;
)sql";

// What was added. `recent` is in the order of time and becomes a part after ten minutes.
constexpr char kSamples[] = R"sql(
CREATE TABLE recent (
  look INTEGER NOT NULL,
  node INTEGER NOT NULL,
  messages INTEGER,
  bytes INTEGER,
  elapsed_ms INTEGER,
  queued_ms INTEGER,
  PRIMARY KEY (look, node)
) WITHOUT ROWID;
CREATE TABLE part (
  number INTEGER PRIMARY KEY,
  broker INTEGER NOT NULL,
  begin_ms INTEGER NOT NULL,
  end_ms INTEGER NOT NULL,
  samples INTEGER NOT NULL,
  minutes INTEGER NOT NULL,
  hours INTEGER NOT NULL,
  summed INTEGER NOT NULL
);
CREATE INDEX part_of_broker ON part (broker, end_ms);
CREATE TABLE sample (
  part INTEGER NOT NULL,
  node INTEGER NOT NULL,
  look INTEGER NOT NULL,
  messages INTEGER,
  bytes INTEGER,
  elapsed_ms INTEGER,
  queued_ms INTEGER,
  PRIMARY KEY (part, node, look)
) WITHOUT ROWID;
CREATE TABLE minute (
  part INTEGER NOT NULL,
  node INTEGER NOT NULL,
  minute INTEGER NOT NULL,
  messages INTEGER,
  bytes INTEGER,
  elapsed_ms INTEGER,
  queued_ms INTEGER,
  PRIMARY KEY (part, node, minute)
) WITHOUT ROWID;
CREATE TABLE hour (
  part INTEGER NOT NULL,
  node INTEGER NOT NULL,
  hour INTEGER NOT NULL,
  messages INTEGER,
  bytes INTEGER,
  elapsed_ms INTEGER,
  queued_ms INTEGER,
  PRIMARY KEY (part, node, hour)
) WITHOUT ROWID;
CREATE TABLE span (
  broker INTEGER NOT NULL,
  first_look INTEGER NOT NULL,
  last_look INTEGER NOT NULL,
  begin_ms INTEGER NOT NULL,
  end_ms INTEGER NOT NULL,
  PRIMARY KEY (broker, first_look)
) WITHOUT ROWID;
CREATE TABLE mark (
  id INTEGER PRIMARY KEY,
  broker INTEGER NOT NULL,
  kind TEXT NOT NULL CHECK (kind IN ('reset', 'restart', 'removed', 'gap', 'clock')),
  look_before INTEGER NOT NULL,
  look_after INTEGER NOT NULL,
  begin_ms INTEGER NOT NULL,
  end_ms INTEGER NOT NULL,
  unknown_ms INTEGER NOT NULL,
  execution_group TEXT,
  flow TEXT
);
CREATE INDEX mark_of_broker ON mark (broker, begin_ms);
)sql";

constexpr char kEvents[] = R"sql(
CREATE TABLE template (
  id INTEGER PRIMARY KEY,
  broker INTEGER NOT NULL,
  record BLOB NOT NULL,
  execution_group TEXT,
  flow TEXT,
  node TEXT,
  node_type INTEGER,
  text TEXT,
  UNIQUE (broker, record)
);
CREATE TABLE event (
  broker INTEGER NOT NULL,
  time_s INTEGER NOT NULL,
  record BLOB NOT NULL,
  template INTEGER NOT NULL,
  thread INTEGER NOT NULL,
  message_id BLOB NOT NULL,
  correlation_id BLOB NOT NULL,
  application_type INTEGER NOT NULL,
  application_name TEXT NOT NULL,
  put_date TEXT NOT NULL,
  put_time TEXT NOT NULL,
  number INTEGER NOT NULL,
  PRIMARY KEY (broker, time_s, record, template, thread, message_id)
) WITHOUT ROWID;
CREATE TABLE gap (
  id INTEGER PRIMARY KEY,
  broker INTEGER NOT NULL,
  look INTEGER NOT NULL,
  time_ms INTEGER NOT NULL,
  cause TEXT NOT NULL CHECK (cause IN ('overwritten', 'restart')),
  execution_group TEXT,
  flow TEXT,
  node TEXT,
  kind TEXT NOT NULL CHECK (kind IN ('exact', 'between', 'atLeast')),
  least INTEGER NOT NULL,
  most INTEGER
);
CREATE TABLE finding (
  id INTEGER PRIMARY KEY,
  broker INTEGER,
  key TEXT NOT NULL,
  kind TEXT NOT NULL,
  severity TEXT NOT NULL CHECK (severity IN ('warning', 'critical')),
  object TEXT NOT NULL,
  evidence TEXT NOT NULL,
  effect TEXT NOT NULL,
  remedy TEXT NOT NULL,
  command TEXT NOT NULL,
  begin_ms INTEGER NOT NULL,
  end_ms INTEGER
);
CREATE INDEX finding_by_time ON finding (begin_ms);
CREATE TABLE over (
  broker INTEGER NOT NULL,
  what TEXT NOT NULL CHECK (what IN ('nodes', 'events', 'bytes')),
  number INTEGER NOT NULL,
  PRIMARY KEY (broker, what)
) WITHOUT ROWID;
)sql";

constexpr char kView[] = R"sql(
CREATE VIEW readable AS
WITH added AS (
  SELECT 'look' AS step, s.node, l.wall_ms, s.messages, s.bytes, s.elapsed_ms, s.queued_ms
    FROM recent s JOIN look l ON l.number = s.look
  UNION ALL
  SELECT 'look', s.node, l.wall_ms, s.messages, s.bytes, s.elapsed_ms, s.queued_ms
    FROM part p JOIN sample s ON s.part = p.number JOIN look l ON l.number = s.look
  UNION ALL
  SELECT 'minute', s.node, s.minute * 60000, s.messages, s.bytes, s.elapsed_ms, s.queued_ms
    FROM part p JOIN minute s ON s.part = p.number
  UNION ALL
  SELECT 'hour', s.node, s.hour * 3600000, s.messages, s.bytes, s.elapsed_ms, s.queued_ms
    FROM part p JOIN hour s ON s.part = p.number
)
SELECT a.step,
       strftime('%Y-%m-%dT%H:%M:%fZ', a.wall_ms / 1000.0, 'unixepoch') AS time,
       b.label AS broker, n.execution_group, n.flow, n.node,
       CASE n.node_type WHEN 1 THEN 'input' WHEN 2 THEN 'output' WHEN 3 THEN 'other'
         WHEN 4 THEN 'subFlowInput' WHEN 5 THEN 'subFlowOutput' ELSE 'unknown' END AS node_type,
       a.messages, a.bytes, a.elapsed_ms / 1000.0 AS elapsed_seconds,
       a.queued_ms / 1000.0 AS queued_seconds
  FROM added a JOIN node n ON n.id = a.node JOIN broker b ON b.id = n.broker;
)sql";

// Since version 2.
constexpr char kAreaUse[] = R"sql(
CREATE TABLE area_use (
  broker INTEGER NOT NULL,
  hour INTEGER NOT NULL,
  size_bytes INTEGER NOT NULL,
  used_bytes INTEGER NOT NULL,
  PRIMARY KEY (broker, hour)
) WITHOUT ROWID;
)sql";

}  // namespace

Fit fitOf(const Database& database) {
  if (database.integerOf("SELECT count(*) FROM sqlite_schema") == 0) return Fit::none;
  if (database.integerOf("PRAGMA application_id") != kApplication) return Fit::foreign;
  const std::int64_t version = database.integerOf("PRAGMA user_version").value_or(0);
  if (version > kVersion) return Fit::newer;
  return version == kVersion ? Fit::present : Fit::older;
}

std::span<const std::string> steps() {
  static const std::string kSteps[] = {std::string(kNames) + kSamples + kEvents + kView, kAreaUse};
  static_assert(std::size(kSteps) == kVersion);
  return kSteps;
}

void migrate(const Database& database, std::span<const std::string> steps) {
  Transaction transaction(database);
  const auto last = static_cast<std::int64_t>(steps.size());
  auto version = database.integerOf("PRAGMA user_version").value_or(0);
  for (; version < last; ++version) database.execute(steps[static_cast<std::size_t>(version)]);
  database.execute("PRAGMA application_id = " + std::to_string(kApplication));
  database.execute("PRAGMA user_version = " + std::to_string(version));
  transaction.commit();
}

}  // namespace history
