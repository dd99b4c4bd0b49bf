// SPDX-License-Identifier: Apache-2.0
#include "agent/front/history/reading.h"

#include <algorithm>
#include <span>

#include "agent/front/history/moment.h"
#include "agent/front/history/place.h"
#include "agent/front/history/samples.h"
#include "text/printable.h"

namespace history {
namespace {

constexpr std::int64_t kSteps[] = {1,   2,    5,    10,   15,    30,    60,    120,   300,      600,
                                   900, 1800, 3600, 7200, 14400, 21600, 43200, 86400, 7 * 86400};

// The shortest time of which samples of a step tell.
std::int64_t secondsOf(Step step) {
  if (step == Step::look) return 1;
  return (step == Step::minute ? kMinuteMs : kHourMs) / 1000;
}

// The coarsest that fits into so many seconds: it has the fewest samples.
Step coarsestIn(std::int64_t seconds) {
  for (const Step step : {Step::hour, Step::minute}) {
    if (seconds >= secondsOf(step)) return step;
  }
  return Step::look;
}

struct NodeName {
  std::int64_t id;
  std::string label;
  std::uint32_t type;
};

// The answer to one question, step by step.
class Drawing {
 public:
  Drawing(const Database& database, const Question& question, std::int64_t broker)
      : database_(database), question_(question), broker_(broker) {
    const std::int64_t length = std::max<std::int64_t>(1, question.untilS - question.fromS);
    const Step finest = finestSince(database, broker, question.fromS * 1000);
    step_ =
        std::max(stepFor(length, std::max<std::int64_t>(2, question.points)), secondsOf(finest));
    begin_ = question.fromS / step_ * step_;
    if (begin_ > question.fromS) begin_ -= step_;
    const std::int64_t steps = (question.untilS - begin_ + step_ - 1) / step_;
    seconds_.resize(static_cast<std::size_t>(std::max<std::int64_t>(0, steps)));
  }

  Curves curves();

 private:
  std::int64_t fromMs() const { return begin_ * 1000; }
  std::int64_t untilMs() const { return question_.untilS * 1000; }
  std::optional<std::size_t> stepOf(std::int64_t ms) const;
  std::vector<NodeName> nodes() const;
  void observe();
  void observeSpan(std::int64_t beginMs, std::int64_t endMs);
  void observeLooks(std::int64_t first, std::int64_t last, std::int64_t beginMs,
                    std::int64_t endMs);
  void readMarks(Curves& curves);
  Curve curveOf(const NodeName& node) const;

  const Database& database_;
  const Question& question_;
  const std::int64_t broker_;
  std::int64_t step_ = 1;
  std::int64_t begin_ = 0;
  std::vector<double> seconds_;  // that were looked at, by step
};

std::optional<std::size_t> Drawing::stepOf(std::int64_t ms) const {
  if (ms < fromMs() || ms >= untilMs()) return {};
  const auto step = static_cast<std::size_t>((ms - fromMs()) / (step_ * 1000));
  if (step >= seconds_.size()) return {};
  return step;
}

// Names that hold what can't be shown are known by what is shown.
std::vector<NodeName> Drawing::nodes() const {
  auto rows = database_.prepare(
      "SELECT id, node, node_type, execution_group, flow FROM node WHERE broker = ?1 ORDER BY id");
  const auto is = [&rows](int column, const std::string& name) {
    const std::string stored = rows.text(column);
    return stored == name || text::printable(stored) == name;
  };
  std::vector<NodeName> all;
  for (rows.with(broker_); rows.step();) {
    if (!is(3, question_.group) || !is(4, question_.flow)) continue;
    if (question_.node && !is(1, *question_.node)) continue;
    all.push_back({rows.integer(0), rows.text(1), static_cast<std::uint32_t>(rows.integer(2))});
  }
  return all;
}

void Drawing::observeSpan(std::int64_t beginMs, std::int64_t endMs) {
  const std::int64_t stepMs = step_ * 1000;
  std::int64_t at = std::max(beginMs, fromMs());
  const std::int64_t until =
      std::min(endMs, fromMs() + static_cast<std::int64_t>(seconds_.size()) * stepMs);
  while (at < until) {
    const std::int64_t next = std::min(until, fromMs() + ((at - fromMs()) / stepMs + 1) * stepMs);
    seconds_[static_cast<std::size_t>((at - fromMs()) / stepMs)] +=
        static_cast<double>(next - at) / 1000;
    at = next;
  }
}

// A look tells of the time since the look before. Where looks are not kept any more, so much
// doesn't matter.
void Drawing::observeLooks(std::int64_t first, std::int64_t last, std::int64_t beginMs,
                           std::int64_t endMs) {
  auto rows = database_.prepare(
      "SELECT number, wall_ms FROM look WHERE number BETWEEN ? AND ? ORDER BY number");
  std::optional<std::int64_t> before;
  for (rows.with(first, last); rows.step();) {
    const std::int64_t wall = rows.integer(1);
    if (!before && rows.integer(0) != first) observeSpan(beginMs, wall);
    if (!before) before = rows.integer(0) == first ? beginMs : wall;
    if (const auto step = stepOf(wall - 1)) {
      seconds_[*step] += static_cast<double>(wall - *before) / 1000;
    }
    before = wall;
  }
  if (!before) observeSpan(beginMs, endMs);
}

void Drawing::observe() {
  auto rows = database_.prepare(
      "SELECT first_look, last_look, begin_ms, end_ms FROM span WHERE broker = ? AND end_ms >= ? "
      "AND begin_ms < ?");
  for (rows.with(broker_, fromMs(), untilMs()); rows.step();) {
    if (step_ >= kMinuteMs / 1000) {
      observeSpan(rows.integer(2), rows.integer(3));
    } else {
      observeLooks(rows.integer(0), rows.integer(1), rows.integer(2), rows.integer(3));
    }
  }
}

// What was added in a time in which nobody looked is told by the look behind it.
void Drawing::readMarks(Curves& curves) {
  curves.marks = marksOf(database_, broker_, {fromMs(), untilMs()});
  for (const model::Mark& mark : curves.marks) {
    const auto step = stepOf(mark.between.until - 1);
    if (mark.kind == "gap" && step) {
      seconds_[*step] +=
          static_cast<double>(std::max<std::int64_t>(0, mark.between.length())) / 1000;
    }
  }
}

Curve Drawing::curveOf(const NodeName& node) const {
  std::vector<Amounts> added(seconds_.size());
  const Wanted wanted{coarsestIn(step_), {fromMs(), untilMs()}, broker_, node.id, node.id};
  eachSample(database_, wanted, [&](const Sample& sample) {
    const auto step = stepOf(sample.atMs);
    if (step) added[*step] = sum(added[*step], sample.added);
  });
  Curve curve{.node = node.label, .type = node.type, .points = {}};
  for (std::size_t i = 0; i < seconds_.size(); ++i) {
    if (seconds_[i] <= 0 && added[i].isNothing()) continue;
    curve.points.push_back({begin_ + static_cast<std::int64_t>(i) * step_, seconds_[i], added[i]});
  }
  return curve;
}

Curves Drawing::curves() {
  Curves curves{.fromS = begin_, .stepS = step_};
  auto name = database_.prepare("SELECT iif(label = '', uuid, label) FROM broker WHERE id = ?");
  if (name.with(broker_).step()) curves.broker = name.text(0);
  auto oldest = database_.prepare("SELECT min(begin_ms) / 1000 FROM span WHERE broker = ?");
  if (oldest.with(broker_).step()) curves.oldestS = oldest.number(0);
  observe();
  readMarks(curves);
  const std::vector<NodeName> all = nodes();
  const auto most =
      static_cast<std::size_t>(kMostPoints) / std::max<std::size_t>(1, seconds_.size());
  for (const NodeName& node : std::span(all).first(std::min(all.size(), most))) {
    curves.nodes.push_back(curveOf(node));
  }
  curves.leftOut = all.size() - curves.nodes.size();
  return curves;
}

std::vector<StoredFlow> flowsOf(const Database& database, std::int64_t broker) {
  auto rows = database.prepare(
      "SELECT execution_group, flow, node, node_type FROM node WHERE broker = ? "
      "ORDER BY execution_group, flow, id");
  std::vector<StoredFlow> flows;
  for (rows.with(broker); rows.step();) {
    const std::string group = rows.text(0);
    const std::string flow = rows.text(1);
    if (flows.empty() || flows.back().group != group || flows.back().flow != flow) {
      flows.push_back({group, flow, {}});
    }
    flows.back().nodes.emplace_back(rows.text(2), static_cast<std::uint32_t>(rows.integer(3)));
  }
  return flows;
}

}  // namespace

Database openToRead(const std::string& path) {
  const bool still = !WriterLock::isHeld(path) && logBytesOf(path) == 0;
  return {path, still ? Database::Mode::immutable : Database::Mode::read};
}

std::optional<AreaUse> lastAreaUse(const Database& database, std::int64_t broker) {
  auto row = database.prepare(
      "SELECT size_bytes, used_bytes FROM area_use WHERE broker = ? ORDER BY hour DESC LIMIT 1");
  if (!row.with(broker).step()) return std::nullopt;
  return AreaUse{row.integer(0), row.integer(1)};
}

std::vector<model::Mark> marksOf(const Database& database, std::int64_t broker,
                                 const model::Period& period) {
  auto rows = database.prepare(
      "SELECT kind, begin_ms, end_ms, unknown_ms, execution_group, flow FROM mark "
      "WHERE broker = ? AND end_ms >= ? AND begin_ms < ? ORDER BY begin_ms, id");
  std::vector<model::Mark> marks;
  for (rows.with(broker, period.from, period.until); rows.step();) {
    marks.push_back({rows.text(0),
                     {rows.integer(1), rows.integer(2)},
                     rows.integer(3),
                     rows.text(4),
                     rows.text(5)});
  }
  return marks;
}

std::int64_t stepFor(std::int64_t seconds, std::int64_t points) {
  for (const std::int64_t step : kSteps) {
    // The first and the last one may be parts of theirs.
    if (seconds / step + 2 <= points) return step;
  }
  return (seconds / std::max<std::int64_t>(1, points - 2) / 86400 + 1) * 86400;
}

std::optional<std::int64_t> findBroker(const Database& database, const std::string& name) {
  auto rows = database.prepare("SELECT id, uuid, label FROM broker ORDER BY last_ms DESC");
  std::optional<std::int64_t> found;
  while (rows.step()) {
    const std::string uuid = rows.text(1);
    const std::string label = rows.text(2);
    if (text::printable(uuid) == name) return rows.integer(0);
    for (const std::string& one : {label, label + " (" + uuid.substr(0, 8) + ")"}) {
      if (!found && (one == name || text::printable(one) == name)) found = rows.integer(0);
    }
  }
  return found;
}

Curves curvesOf(const Database& database, const Question& question) {
  const auto broker = findBroker(database, question.broker);
  return Drawing(database, question, broker.value_or(0)).curves();
}

std::vector<StoredBroker> contentsOf(const Database& database,
                                     const std::optional<std::string>& broker) {
  const Integer only = broker ? Integer(findBroker(database, *broker).value_or(0)) : Integer();
  auto rows = database.prepare(
      "SELECT b.id, b.uuid, b.label, (SELECT min(begin_ms) / 1000 FROM span WHERE broker = b.id), "
      "(SELECT max(end_ms) / 1000 FROM span WHERE broker = b.id) FROM broker b "
      "WHERE ?1 IS NULL OR b.id = ?1 ORDER BY b.label, b.uuid");
  std::vector<StoredBroker> all;
  for (rows.with(only); rows.step();) {
    all.push_back({.uuid = rows.text(1),
                   .label = rows.text(2),
                   .oldestS = rows.number(3),
                   .newestS = rows.number(4),
                   .flows = flowsOf(database, rows.integer(0))});
  }
  return all;
}

}  // namespace history
