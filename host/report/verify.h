// SPDX-License-Identifier: Apache-2.0
// Holds the host's own counts against what shared memory says, as another process reads it.
#ifndef ZEB_HOST_REPORT_VERIFY_H
#define ZEB_HOST_REPORT_VERIFY_H

#include <cstdint>
#include <filesystem>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "flowfile/file.h"
#include "host/run/tally.h"

namespace host {

// What a monitoring node collects, by its attributes and the broker's overrides: the override for
// this broker, else the one for all, else the node's own attribute. Worked out from the flow file,
// not with the library's code.
struct Activity {
  bool statistics;
  // Exceptions; message events as well if the node has an event message.
  bool events;
};
Activity activityOf(const flowfile::Broker& broker, const flowfile::MonitorNode& node);

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

  bool agrees() const {
    return wrapped || (hostMessages == sharedMessages && hostExceptions == sharedExceptions);
  }
};

// The result. `nodes` and `events` count for nothing when there is a problem.
struct Verification {
  // The monitoring nodes that collect statistics, in the order of the flow file.
  std::vector<Comparison> nodes;
  EventComparison events;
  // Why shared memory couldn't be read; empty when it could.
  std::string problem;

  bool agrees() const;
};

// Compares with the agent's documents: one of statistics, one of brokers, and one line an event. Of
// two nodes with one label, a live one goes before a deleted one. Times are only checked for being
// possible. Throws nlohmann::json::exception for documents of another form.
Verification compare(const flowfile::File& file, const Tally& tally,
                     const nlohmann::json& statistics, const nlohmann::json& brokers,
                     const std::string& eventLines);

// Runs the agent three times and compares. The nodes must still be deployed, and no message may
// flow. `asInstalled` leaves it to the agent to find the directory of the key files. What goes
// wrong is the result's problem; nothing is thrown.
Verification verify(const flowfile::File& file, const Tally& tally,
                    const std::filesystem::path& agent, bool asInstalled);

}  // namespace host

#endif  // ZEB_HOST_REPORT_VERIFY_H
