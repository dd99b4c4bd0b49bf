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

#include "flowfile/finding.h"

namespace flowfile {

// How a quantity varies from message to message: durations in seconds, sizes in bytes.
struct Distribution {
  enum class Kind { constant, uniform, exponential, normal };

  Kind kind = Kind::constant;
  double first = 0;   // the constant; the low end; the mean
  double second = 0;  // the high end; the standard deviation
};

// Settings that reach the library through its configuration file and the broker's registry.
// What is absent isn't written there.
struct Broker {
  std::string label;                                   // printable ASCII without "/"
  std::optional<std::string> uuid;                     // one word of the same
  std::optional<std::filesystem::path> tempDirectory;  // of the key files
  std::optional<std::int64_t> memorySize;              // bytes of one area
  std::optional<std::string> activate;                 // override for every broker
  std::optional<std::string> activateForBroker;        // override for this one, goes first
  bool trace = false;                                  // nodes trace every operation
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
  double probability = 0;          // 0 to 1
  std::uint64_t every = 0;         // also every n-th message of the flow; 0: none
  std::string origin;              // first text of the exception
  std::string code;                // second text
  std::vector<std::string> texts;  // third text: not empty, they take turns by message number
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
  double rate = 0;                      // messages a second; 0: as fast as the flow takes them
  Arrival arrival = Arrival::constant;  // counts with a rate only
  std::size_t queue = 0;                // messages that wait for a thread, at most
  std::string application;              // put-application name, 28 bytes at most
  std::int32_t applicationType = 0;     // put-application type
  bool lazy = false;                    // messages start without a bit stream
};

// The file that gets the bodies of handled messages, a line each.
struct Output {
  std::filesystem::path path;
  Place place;  // of the key that names it
};

// One message flow: messages go from the input through the chain to the output.
struct Flow {
  std::string label;             // unique in its group
  unsigned threads = 1;          // that take messages from the flow's queue
  Input input;                   //
  std::vector<Node> nodes;       // the chain, in its order
  std::optional<Output> output;  // absent: the messages are only counted
};

// One process of the host.
struct ExecutionGroup {
  std::string label;  // unique in the file
  std::vector<Flow> flows;
};

// All of it. Unless there are findings, every rule of docs/flow-file.md holds.
struct File {
  std::filesystem::path path;  // where it was read, as it was given
  std::uint64_t seed = 1;      // where chance starts
  Broker broker;
  std::vector<ExecutionGroup> groups;
};

}  // namespace flowfile

#endif  // ZEB_FLOWFILE_FILE_H
