// SPDX-License-Identifier: Apache-2.0
#include "tests/agent/history/recorded.h"

#include <chrono>

using std::chrono::duration;
using std::chrono::duration_cast;

Recorded::Recorded(const std::string& path) : database(path, history::Database::Mode::write) {
  if (history::fitOf(database) == history::Fit::none) {
    history::migrate(database, history::steps());
  }
  restart();
}

void Recorded::restart(history::Recorder::Settings settings) {
  recorder.reset();
  recorder =
      std::make_unique<history::Recorder>(database, std::move(settings), kBegin * 1000 + ++runs_);
}

void Recorded::look(double second, history::Sight sight) {
  auto snapshot = std::make_shared<model::Snapshot>(*sight.snapshot);
  const duration<double> time(second);
  using Wall = std::chrono::system_clock;
  using Steady = std::chrono::steady_clock;
  if (snapshot->wall == Wall::time_point()) {
    snapshot->wall = Wall::time_point(duration_cast<Wall::duration>(
        std::chrono::seconds(kBegin) + duration_cast<std::chrono::milliseconds>(time)));
  }
  snapshot->steady =
      Steady::time_point(std::chrono::hours(1) + duration_cast<std::chrono::milliseconds>(time));
  sight.snapshot = snapshot;
  sight.news = history::newsOf(*snapshot);
  recorder->record(sight);
}

void Recorded::look(double second, std::shared_ptr<model::SeenBroker> broker, double ahead) {
  auto snapshot = std::make_shared<model::Snapshot>();
  if (broker) snapshot->brokers = {std::move(broker)};
  snapshot->wall = std::chrono::system_clock::time_point(
      std::chrono::seconds(kBegin) +
      std::chrono::milliseconds(static_cast<std::int64_t>((second + ahead) * 1000)));
  look(second, {.snapshot = snapshot});
}

std::string Recorded::row(const std::string& sql) const {
  auto rows = database.prepare(sql);
  std::string text;
  if (!rows.step()) return text;
  for (int i = 0; i < rows.columns(); ++i) {
    text += (i == 0 ? "" : " ") + rows.textOrNull(i).value_or("-");
  }
  return text;
}

std::int64_t Recorded::number(const std::string& sql) const {
  return database.integerOf(sql).value_or(0);
}

std::int64_t Recorded::messages() const {
  return number("SELECT (SELECT total(messages) FROM recent) + total(messages) FROM sample");
}

std::string Recorded::marks() const {
  return row("SELECT group_concat(kind || ' ' || (unknown_ms / 1000.0), ', ') FROM mark");
}

std::shared_ptr<model::SeenBroker> present(const std::vector<reader::Node>& nodes) {
  auto broker = seenBroker(nodes);
  broker->segment.size = 4096;
  broker->tree->resetTime = kBegin - 100;
  return broker;
}

std::shared_ptr<model::SeenBroker> counting(std::int64_t messages) {
  return present({nodeWith("Reserve", 1,
                           {.messages = messages,
                            .elapsed = messages * 10,
                            .queued = messages,
                            .bytes = messages * 100})});
}

std::shared_ptr<model::SeenBroker> filled(std::uint32_t used, std::uint32_t size) {
  auto broker = counting(1);
  reader::Area& area = broker->segment.copy.areas.emplace_back();
  area.name = reader::kStatistics;
  area.size = size;
  area.last = used;
  return broker;
}

void addMinutes(const history::Database& database) {
  database.execute(
      "INSERT INTO broker (id, uuid, label, last_look, last_ms, present) VALUES (1, '1-2-3', "
      "'SHOP', 9, 1800000000000 + 172800000, 1);"
      "INSERT INTO node VALUES (1, 1, 'orders', 'Fulfil', 'Priced', 3);"
      "INSERT INTO last_count VALUES (1, x'01', 1, x'02', 7, NULL, NULL, 0, 0, 0, 0);"
      "INSERT INTO span VALUES (1, 1, 9, 1800000000000, 1800000000000 + 172800000);"
      "INSERT INTO look VALUES (9, 1, 1800000000000 + 172800000, 0);"
      "INSERT INTO part VALUES (1, 1, 1800000000000, 1800000000000 + 172800000, 0, 2880, 0, 0);"
      "INSERT INTO minute WITH RECURSIVE n(i) AS (SELECT 0 UNION ALL SELECT i + 1 FROM n WHERE "
      "i < 2879) SELECT 1, 1, 30000000 + i, 30, 3000, 30 * iif(i < 2500, 9, 14) + i % 7, 0 FROM n;"
      "INSERT INTO mark (broker, kind, look_before, look_after, begin_ms, end_ms, unknown_ms, "
      "execution_group, flow) VALUES (1, 'reset', 5, 6, (30000000 + 2499) * 60000, "
      "(30000000 + 2499) * 60000 + 2000, 2000, 'warehouse', 'stock')");
}
