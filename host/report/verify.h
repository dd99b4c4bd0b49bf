// SPDX-License-Identifier: Apache-2.0
// Holds the host's own counts against what shared memory says, as another process reads it.
#ifndef ZEB_HOST_REPORT_VERIFY_H
#define ZEB_HOST_REPORT_VERIFY_H

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "flowfile/file.h"
#include "host/report/activity.h"
#include "host/report/agent.h"
#include "host/run/disturbed.h"
#include "host/run/tally.h"

namespace host {

// Messages, bytes and sizes of one node; all 0 without messages. Bytes are those of whole bit
// streams, descriptors included.
struct SizeFigures {
  std::uint64_t count = 0;
  std::uint64_t bytes = 0;
  std::uint64_t largest = 0;
  std::uint64_t smallest = 0;

  bool operator==(const SizeFigures&) const = default;
};

// One node on both sides. The three labels are as the flow file has them.
struct Comparison {
  std::string group;
  std::string flow;
  std::string node;
  // The host's own count, and what shared memory says; zeros when that can't be read.
  SizeFigures host;
  SizeFigures shared;
  // Why they don't agree, as a clause; empty when they do.
  std::string problem;
  // Why they weren't compared, as a clause; empty when they were.
  std::string notCompared = {};

  bool compared() const { return notCompared.empty(); }
  bool agrees() const { return problem.empty(); }
};

// All events of the broker on both sides, message events and exception events apart.
struct EventComparison {
  std::uint64_t hostMessages = 0;
  std::uint64_t hostExceptions = 0;
  std::uint64_t sharedMessages = 0;
  std::uint64_t sharedExceptions = 0;
  // The areas were too small to keep all events: nothing to compare.
  bool wrapped = false;
  // Why they weren't compared, as a clause; empty when they were.
  std::string notCompared = {};

  bool compared() const { return !wrapped && notCompared.empty(); }
  bool agrees() const {
    return !compared() || (hostMessages == sharedMessages && hostExceptions == sharedExceptions);
  }
};

// The result. All but `leftBehind` counts for nothing when there is a problem, or when nothing was
// compared at all.
struct Verification {
  // The monitoring nodes that collect statistics, in the order of the flow file.
  std::vector<Comparison> nodes;
  EventComparison events;
  // Why shared memory couldn't be read; empty when it could.
  std::string problem;
  // Why it wasn't even tried, as a clause; empty when it was.
  std::string notDone = {};
  // What processes that died left behind, a sentence each, without the last full stop.
  std::vector<std::string> leftBehind = {};

  // How many nodes were compared.
  std::size_t compared() const;
  // Nothing that was compared differs.
  bool agrees() const;
};

// Compares with the agent's documents: one of statistics, one of brokers, and one line an event. Of
// two nodes with one label, a live one goes before a deleted one. Times are only checked for being
// possible. What was disturbed isn't compared, or only as far as it can be: of a process that died,
// each thread may have had a message that is not in shared memory. Throws nlohmann::json::exception
// for documents of another form.
Verification compare(const flowfile::File& file, const Tally& tally,
                     const nlohmann::json& statistics, const nlohmann::json& brokers,
                     const std::string& eventLines, const Disturbed& disturbed = {});

// Runs the agent and compares. The nodes must still be deployed, and no message may flow. Where a
// process died, the agent is asked what it left behind, too. What goes wrong is the result's
// problem; nothing is thrown.
Verification verify(const flowfile::File& file, const Tally& tally, const Agent& agent,
                    const Disturbed& disturbed = {});

}  // namespace host

#endif  // ZEB_HOST_REPORT_VERIFY_H
