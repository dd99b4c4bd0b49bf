// SPDX-License-Identifier: Apache-2.0
// What a flow file says: one broker, its execution groups, their message flows, and in each flow an
// input, a chain of nodes and an output. docs/flow-file.md describes the text form.
//
// Texts are UTF-8 as the file has them. They may hold anything but a zero character: make them
// printable before people see them. Paths are absolute.
#ifndef ZEB_FLOWFILE_FILE_H
#define ZEB_FLOWFILE_FILE_H

#include <any>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "flowfile/drill.h"
#include "flowfile/finding.h"

namespace flowfile {

// How a quantity varies from message to message: durations in seconds, sizes in bytes.
struct Distribution {
  enum class Kind { constant, uniform, exponential, normal };

  Kind kind = Kind::constant;
  // The constant; the low end; the mean, of the last two kinds.
  double first = 0;
  // The high end of a uniform one; the standard deviation of a normal one.
  double second = 0;
};

// Settings that reach the library through its configuration file and the broker's registry.
// What is absent isn't written there.
struct Broker {
  // Printable ASCII without "/": it is a folder's name. The UUID is one word of the same.
  std::string label;
  std::optional<std::string> uuid;
  // Of the key files; it exists.
  std::optional<std::filesystem::path> tempDirectory;
  // Bytes of one area, header included.
  std::optional<std::int64_t> memorySize;
  // The override for every broker, and the one for this broker, which goes first.
  std::optional<std::string> activate;
  std::optional<std::string> activateForBroker;
  // Nodes trace every operation.
  bool trace = false;
};

// A node of the class that the plug-in defines. Absent attributes are not set on the node; those
// with a list of values hold one of it.
struct MonitorNode {
  std::string label;
  std::optional<std::string> type;
  std::optional<std::string> eventMessage;
  std::optional<std::string> collectQueueTime;
  std::optional<std::string> subFlowName;
  std::optional<std::string> activateNode;
};

// Which messages a working node fails, and with what exception. A message fails if either rule says
// so.
struct Failure {
  // 0 to 1, for each message.
  double probability = 0;
  // Also every n-th message of the flow; 0: none.
  std::uint64_t every = 0;
  // The three texts of the exception. There is at least one third text; they take turns by message
  // number.
  std::string origin;
  std::string code;
  std::vector<std::string> texts;
};

// A node that spends time in place of an application's work.
struct WorkNode {
  std::string label;
  Distribution latency;  // seconds
  std::optional<Failure> failure;
};

using Node = std::variant<MonitorNode, WorkNode>;

// The node's label, whichever it is.
const std::string& labelOf(const Node& node);

// Where the messages of a flow come from and how they arrive.
struct Input {
  enum class Arrival { constant, poisson };

  // What the caller's SourceReader made of the keys that choose a source; empty without a reader.
  std::any source;
  // Messages a second; 0: as fast as the flow takes them. Without a rate, `arrival` has no effect.
  double rate = 0;
  Arrival arrival = Arrival::constant;
  // How many messages wait for a thread, at most.
  std::size_t queue = 0;
  // Put-application name, 28 bytes at most, and type.
  std::string application;
  std::int32_t applicationType = 0;
  // Messages start without a bit stream.
  bool lazy = false;
};

// The file that gets the bodies of handled messages, a line each.
struct Output {
  std::filesystem::path path;
  Place place;  // of the key that names it
};

// One message flow: messages go from the input through the chain to the output.
struct Flow {
  // Unique in its group.
  std::string label;
  // How many take messages from the flow's queue, 1 to 256.
  unsigned threads = 1;
  Input input;
  // The chain, in its order; labels are unique in it.
  std::vector<Node> nodes;
  // Absent: the messages are only counted.
  std::optional<Output> output;
};

// One process of the host.
struct ExecutionGroup {
  std::string label;  // unique in the file
  std::vector<Flow> flows;
};

// All of it. Unless there are findings, every rule of docs/flow-file.md holds.
struct File {
  // Where it was read, as it was given; "-" is standard input.
  std::filesystem::path path;
  // Where chance starts.
  std::uint64_t seed = 1;
  Broker broker;
  std::vector<ExecutionGroup> groups;
  // In the order in which they happen; a killed group has no later one.
  std::vector<Drill> drills;
};

}  // namespace flowfile

#endif  // ZEB_FLOWFILE_FILE_H
