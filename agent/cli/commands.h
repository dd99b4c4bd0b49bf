// SPDX-License-Identifier: Apache-2.0
// What zebmon can be asked to do. Data goes to the output, everything else to standard error.
#ifndef ZEB_AGENT_CLI_COMMANDS_H
#define ZEB_AGENT_CLI_COMMANDS_H

#include <cstdint>
#include <optional>
#include <string>

#include "agent/cli/brokers.h"
#include "agent/cli/output.h"
#include "agent/reader/events.h"

namespace cli {

enum class Format { table, json };

struct EventOptions {
  bool follow = false;
  int interval = 500;                     // milliseconds between two looks
  std::optional<std::int64_t> since;      // seconds since 1970
  std::optional<reader::EventKind> kind;  // only these
  Format format = Format::table;          // json: one document a line
};

int showBrokers(const Options& options, Format format, Output& output);
int showStatistics(const Options& options, Format format, Output& output);

// With `follow`, ends only with the output.
int showEvents(const Options& options, const EventOptions& wanted, Output& output);

// The statistics of one broker as a table, as showStatistics prints it.
std::string statisticsTable(const Found& found);

// One event as the lines that showEvents prints.
std::string eventLines(const reader::Event& event);

}  // namespace cli

#endif  // ZEB_AGENT_CLI_COMMANDS_H
