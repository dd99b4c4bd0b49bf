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
