// SPDX-License-Identifier: Apache-2.0
// What a flow file says: one broker, its execution groups, their message flows, and in each flow an
// input, a chain of nodes and an output. docs/flow-file.md describes the text form.
#ifndef ZEB_HOST_FLOW_FILE_H
#define ZEB_HOST_FLOW_FILE_H

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "host/random.h"

namespace host {

// Settings that reach the library through its configuration file and the broker's registry.
// What is absent isn't written there.
struct Broker {
  std::string label;
  std::optional<std::string> uuid;
  std::optional<std::filesystem::path> tempDirectory;  // absolute
  std::optional<std::int64_t> memorySize;              // bytes of one area
  std::optional<std::string> activate;                 // override for every broker
  std::optional<std::string> activateForBroker;        // override for this one, goes first
  bool trace = false;
};

// A node of the class that the plug-in defines. Absent attributes are not set on the node.
struct MonitorNode {
  std::string label;
  std::optional<std::string> type;
  std::optional<std::string> eventMessage;
  std::optional<std::string> collectQueueTime;
  std::optional<std::string> subFlowName;
  std::optional<std::string> activateNode;
};

// Which messages a working node fails, and with what exception.
struct Failure {
  double probability = 0;   // 0 to 1
  std::uint64_t every = 0;  // also every n-th message of the flow; 0: none
  std::string origin;
  std::string code;
  std::vector<std::string> texts;  // not empty; they take turns by message number
};

// A node that spends time in place of an application's work.
struct WorkNode {
  std::string label;
  Distribution latency;  // seconds
  std::optional<Failure> failure;
};

using Node = std::variant<MonitorNode, WorkNode>;

const std::string& labelOf(const Node& node);

struct Input {
  enum class Kind { lines, files, generated };
  enum class Arrival { constant, poisson };

  Kind kind = Kind::generated;
  std::filesystem::path path;  // a file, "-" for standard input, or a folder
  std::uint64_t repeat = 1;    // times through the file or folder
  std::uint64_t count = 0;     // generated messages; 0: without end
  Distribution size;           // bytes of a generated body
  double rate = 0;             // messages a second; 0: as fast as the flow takes them
  Arrival arrival = Arrival::constant;
  std::size_t queue = 0;  // messages waiting at most
  std::string application;
  std::int32_t applicationType = 0;
  bool lazy = false;  // messages start without a bit stream

  bool standardInput() const { return kind == Kind::lines && path == "-"; }
};

struct Flow {
  std::string label;
  unsigned threads = 1;
  Input input;
  std::vector<Node> nodes;
  std::filesystem::path output;  // bodies of handled messages, a line each; empty: dropped
};

struct ExecutionGroup {
  std::string label;
  std::vector<Flow> flows;
};

struct FlowFile {
  std::filesystem::path path;
  std::uint64_t seed = 1;
  Broker broker;
  std::vector<ExecutionGroup> groups;
};

}  // namespace host

#endif  // ZEB_HOST_FLOW_FILE_H
