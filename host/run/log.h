// SPDX-License-Identifier: Apache-2.0
// The host's log: what the plug-in reports through hcxLog, a line an entry.
#ifndef ZEB_HOST_RUN_LOG_H
#define ZEB_HOST_RUN_LOG_H

#include <string>
#include <string_view>
#include <vector>

#include "host/run/tally.h"

namespace host {

// One call of hcxLog. The views are valid during that call alone.
struct LogEntry {
  std::string_view unit;
  int line = 0;
  std::string_view function;
  // Of messages; trace entries, whose number is 0, have none.
  std::string source;
  int number = 0;
  std::string_view text;
  std::vector<std::string> inserts;
};

// Where this process writes its entries, and what counts them. `fd` should append, since several
// processes write to it; -1 drops the entries. Called once, before the plug-in is loaded. Neither
// is owned: the descriptor stays open and the count stays alive while threads log. Null counts
// nothing.
void setLog(int fd, LogCount* count);

// Counts the entry and writes its line: printable, with time, process and thread in front. One
// write, so that lines of several threads and processes don't mix. A line that can't be written is
// lost, silently. For several threads at once.
void writeLog(const LogEntry& entry);

// The line of an entry, printable, without time, process and thread.
std::string logText(const LogEntry& entry);

}  // namespace host

#endif  // ZEB_HOST_RUN_LOG_H
