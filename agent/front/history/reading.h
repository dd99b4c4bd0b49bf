// SPDX-License-Identifier: Apache-2.0
// Curves out of a history. Never keeps its writer waiting.
#ifndef ZEB_AGENT_FRONT_HISTORY_READING_H
#define ZEB_AGENT_FRONT_HISTORY_READING_H

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "agent/front/history/broker_counts.h"
#include "agent/front/history/database.h"
#include "agent/model/past.h"

namespace history {

// A connection that changes nothing. Without a writer, and with nothing in the write-ahead log, the
// file is read as it is, which needs no right to write beside it. Throws Failure.
Database openToRead(const std::string& path);

struct Question {
  // Names as they are stored, or as they are shown. Of the broker its uuid, its label, or "LABEL
  // (first eight of the uuid)".
  std::string broker;
  std::string group;
  std::string flow;
  std::optional<std::string> node = {};  // nothing: all of the flow
  std::int64_t fromS = 0;                // since 1970; half-open
  std::int64_t untilS = 0;
  std::int64_t points = 300;  // at most, and no less than two
};

struct Point {
  std::int64_t beginS = 0;
  double seconds = 0;  // how long these amounts took to come together
  Amounts added = {};
};

struct Curve {
  std::string node;
  std::uint32_t type = 0;
  std::vector<Point> points;  // of steps that were looked at; others are left out
};

// The limit of nodes times points in one answer; further nodes are left out.
inline constexpr std::int64_t kMostPoints = 200000;

struct Curves {
  std::string broker = {};  // its label, else its uuid; empty when it isn't known
  std::int64_t fromS = 0;   // rounded down to a step
  std::int64_t stepS = 1;
  std::optional<std::int64_t> oldestS = {};  // of the broker; nothing when there is none
  std::vector<Curve> nodes = {};
  std::size_t leftOut = 0;  // nodes
  std::vector<model::Mark> marks = {};
};

// Throws Failure.
Curves curvesOf(const Database& database, const Question& question);

// A flow that is in there.
struct StoredFlow {
  std::string group;
  std::string flow;
  std::vector<std::pair<std::string, std::uint32_t>> nodes;  // with their types
};

struct StoredBroker {
  std::string uuid;
  std::string label;
  std::optional<std::int64_t> oldestS = {};  // of what was looked at
  std::optional<std::int64_t> newestS = {};
  std::vector<StoredFlow> flows = {};  // by their names
};

// What there is, of one broker or of all. Throws Failure.
std::vector<StoredBroker> contentsOf(const Database& database,
                                     const std::optional<std::string>& broker);

// The number of a broker; nothing when there is no such one.
std::optional<std::int64_t> findBroker(const Database& database, const std::string& name);

// Marks of a broker that touch the period, by time. Throws Failure.
std::vector<model::Mark> marksOf(const Database& database, std::int64_t broker,
                                 const model::Period& period);

// How full the area of nodes was, in bytes.
struct AreaUse {
  std::int64_t size = 0;
  std::int64_t used = 0;
  bool operator==(const AreaUse&) const = default;
};

// As it was last recorded of a broker; nothing when it never was. The tables are those of
// kAreaUseVersion or later. Throws Failure.
std::optional<AreaUse> lastAreaUse(const Database& database, std::int64_t broker);

// How long a step is when there may be so many of them.
std::int64_t stepFor(std::int64_t seconds, std::int64_t points);

}  // namespace history

#endif  // ZEB_AGENT_FRONT_HISTORY_READING_H
