// SPDX-License-Identifier: Apache-2.0
#include "agent/front/history/samples.h"

#include <algorithm>
#include <string>
#include <vector>

namespace history {
namespace {

constexpr std::int64_t kNever = std::numeric_limits<std::int64_t>::max();

// Where samples are: rows named s, and the moment of each.
struct Source {
  std::string rows;
  std::string moment;
};

// Parts are looked for first: there are few of them.
Source inParts(const std::string& table, const std::string& condition, const std::string& moment,
               const std::string& more = "") {
  return {"part p CROSS JOIN " + table + " s ON s.part = p.number " + more +
              "WHERE p.broker = ?1 AND p.end_ms >= ?2 AND p.begin_ms <= ?3 AND " + condition,
          moment};
}

constexpr char kOfLook[] = "l.wall_ms - 1";
constexpr char kOfMinute[] = "s.minute * 60000";

Source inNoPartYet(const char* moment) {
  return {
      "look l CROSS JOIN recent s ON s.look = l.number CROSS JOIN node n ON n.id = s.node "
      "WHERE n.broker = ?1 AND l.number >= (SELECT min(look) FROM recent)",
      moment};
}

// What tells of each moment once. A look that is not in a minute yet will be in that of its time.
std::vector<Source> sourcesOf(Step step) {
  switch (step) {
    case Step::look:
      return {
          inParts("sample", "p.samples > 0", kOfLook, "CROSS JOIN look l ON l.number = s.look "),
          inNoPartYet(kOfLook)};
    case Step::minute:
      return {inParts("minute", "p.minutes > 0", kOfMinute), inNoPartYet("l.wall_ms")};
    case Step::hour:
      break;
  }
  return {inParts("hour", "p.hours > 0", "s.hour * 3600000"),
          inParts("minute", "p.minutes > 0 AND p.summed = 0", kOfMinute), inNoPartYet("l.wall_ms")};
}

std::string sqlOf(const Source& source) {
  return "SELECT s.node, " + source.moment +
         ", s.messages, s.bytes, s.elapsed_ms, s.queued_ms FROM " + source.rows +
         " AND s.node BETWEEN ?4 AND ?5 AND " + source.moment + " >= ?2 AND " + source.moment +
         " < ?3";
}

}  // namespace

std::int64_t oldestOf(const Database& database, std::int64_t broker, Step step) {
  static const char* const kColumns[] = {"samples", "minutes", "hours"};
  auto row = database.prepare(std::string("SELECT min(begin_ms) FROM part WHERE broker = ? AND ") +
                              kColumns[static_cast<int>(step)] + " > 0");
  row.with(broker).step();
  return row.number(0).value_or(kNever);
}

Step finestSince(const Database& database, std::int64_t broker, std::int64_t fromMs) {
  const std::int64_t looks = oldestOf(database, broker, Step::look);
  const std::int64_t minutes = oldestOf(database, broker, Step::minute);
  const std::int64_t hours = oldestOf(database, broker, Step::hour);
  const std::int64_t begin = std::max(fromMs, std::min({looks, minutes, hours}));
  if (begin >= looks || begin == kNever) return Step::look;
  return begin >= minutes ? Step::minute : Step::hour;
}

void eachSample(const Database& database, const Wanted& wanted,
                const std::function<void(const Sample&)>& take) {
  for (const Source& source : sourcesOf(wanted.step)) {
    auto rows = database.prepare(sqlOf(source));
    rows.with(wanted.broker, wanted.period.from, wanted.period.until, wanted.firstNode,
              wanted.lastNode);
    while (rows.step()) {
      take({rows.integer(0),
            rows.integer(1),
            {rows.number(2), rows.number(3), rows.number(4), rows.number(5)}});
    }
  }
}

}  // namespace history
