// SPDX-License-Identifier: Apache-2.0
// What the command line asked for.
#ifndef ZEB_AGENT_FRONT_CLI_REQUEST_H
#define ZEB_AGENT_FRONT_CLI_REQUEST_H

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "agent/archive/snapshot_file.h"
#include "agent/front/cli/since.h"
#include "agent/front/serve/options.h"
#include "agent/model/chain.h"
#include "agent/model/check.h"
#include "agent/model/event_counts.h"
#include "agent/model/selection.h"
#include "agent/render/metrics.h"
#include "agent/render/sheet.h"

namespace cli {

enum class Format { table, json, jsonl, csv };  // jsonl: one document a line
enum class Color { automatic, always, never };

// How data is shown.
struct ShowRequest {
  Format format = Format::table;
  render::Arrangement arrangement;
  bool titles = true;
  render::Zone zone = render::Zone::utc;
  Color color = Color::automatic;
};

// Only of "events".
struct EventsRequest {
  std::optional<Since> since;
  std::optional<reader::EventKind> kind;
  std::string messageId;  // how the IDs begin: upper-case hexadecimal digits; empty: all
  std::string correlationId;
  std::vector<std::string> texts;  // one of these is in what is shown of it; none: all
  bool brief = false;              // a line each
  std::optional<model::CountBy> countBy;
  bool follow = false;
};

// Only of "size". What is to be deployed; nothing: what runs.
struct SizeRequest {
  std::string flowFile;
  std::optional<std::uint64_t> nodes;
  std::string label = "a label of twenty";  // of each node
  double eventsPerSecond = 0;
  double keepSeconds = 0;
};

// Only of what looks more than once.
struct RatesRequest {
  std::chrono::milliseconds interval{0};  // between two looks; 0: not given
  unsigned count = 1;                     // intervals; 0: until it is stopped
  bool self = false;
  std::optional<model::Chain> chain;
  std::string flows;                // path of a flow file; empty: none
  std::optional<unsigned> threads;  // that take messages of a flow
};

// Only of "reset".
struct ResetRequest {
  bool really = false;   // do it, instead of telling what would be done
  std::string snapshot;  // where the figures go first; empty means a name of our own
};

// Only of "doctor".
struct DoctorRequest {
  std::vector<std::string> only;  // keys or kinds of findings; none: all
  std::string repair;             // a key or a kind to be mended
  bool yes = false;               // really
};

// Only of "snapshot".
struct SnapshotRequest {
  std::string file;  // to write; "-" is standard output, empty means a name of our own
  bool redact = false;
};

// Only of "diff".
struct DiffRequest {
  std::string before;  // snapshot files; one may be "-", standard input
  std::string after;
  bool changesOnly = false;  // no figures
};

// Only of "check".
struct CheckRequest {
  std::vector<model::Check> checks;
  std::string state;                     // path of a file; empty: none
  std::chrono::microseconds timeout{0};  // 0: none
};

// Only of "metrics".
struct MetricsRequest {
  render::MetricsOptions options;
  std::string textFile;  // to be replaced; empty: standard output
  std::string state;     // file of the last run's; empty: none is kept
};

// Each command declares the options that it takes; the others keep their defaults.
struct Request {
  std::string directory;  // of the key files; empty: as the library is configured here
  // A snapshot file to look at instead of this machine, "-" is standard input; or a history.
  std::string from;
  std::optional<std::pair<Since, Since>> between;  // of a history
  std::optional<Since> changesSince;               // only of "changes"
  std::uint64_t mostBytes = archived::kMostBytes;  // of a broker in that file
  model::Selection selection;
  ShowRequest show;
  EventsRequest events;
  SizeRequest size;
  ResetRequest reset;
  DoctorRequest doctor;
  bool allLocks = false;  // of "locks": those too that are free
  RatesRequest rates;
  SnapshotRequest snapshot;
  DiffRequest diff;
  std::string messageId;  // of "message": its first hexadecimal digits, in upper case
  CheckRequest check;
  MetricsRequest metrics;
  serve::Options serve;
};

}  // namespace cli

#endif  // ZEB_AGENT_FRONT_CLI_REQUEST_H
