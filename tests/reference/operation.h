// SPDX-License-Identifier: Apache-2.0
// One step of a sequence: what a host does with a node instance, or what a stranger does to the
// stored bytes.
#ifndef ZEB_TESTS_REFERENCE_OPERATION_H
#define ZEB_TESTS_REFERENCE_OPERATION_H

#include <cstdint>
#include <string>
#include <vector>

namespace reference {

// The identifier of the broker with this label: "UUID1" for "BRK1".
inline std::string uuidOf(const std::string& brokerLabel) {
  return "UUID" + brokerLabel.substr(3);
}

// What an instance is deployed with.
struct NodePlan {
  std::string label;
  std::string type;
  std::string eventMessage;
  std::string subFlowName;
  std::string activateNode;
  std::string collectQueueTime;
};

enum class Kind {
  create,   // an instance, without attributes yet
  deploy,   // its attributes
  send,     // a message through it
  end,      // its deletion
  deleted,  // a stranger marks a record as deleted or not
  number,   // a stranger writes a reset time, process or node type
  count,    // a stranger writes a message count
  parent,   // a stranger gives a record another parent, or none
  renamed,  // a stranger gives a record another ID
  twin,     // a stranger appends a copy of a record, with an ID of its own
  label,    // a stranger writes another label of the same length
  sameId    // a stranger gives a record the ID of another one of its type
};

struct Operation {
  Kind kind = Kind::create;
  std::int64_t now = 0;  // the clock when it begins, milliseconds since 1970
  std::string broker;    // label
  int process = 0;
  int instance = 0;

  std::string group;  // create
  std::string flow;

  NodePlan plan;  // deploy
  // What happens while the deployment is half done: after it has read the area and found its group,
  // before it looks for its flow. At most one operation.
  std::vector<Operation> meanwhile;

  std::int32_t size = 0;   // send
  std::int64_t put = 0;    // when it came into its queue: milliseconds since 1970, in whole tens
  std::int64_t takes = 0;  // milliseconds that pass downstream

  std::size_t record = 0;  // of the area, for a stranger's deeds
  // What is written; for a parent and for an ID, which record it comes from, -1 for none; for a
  // label, its second character.
  std::int64_t value = -1;

  std::int64_t endsAt() const;
};

bool isStrangers(Kind kind);

// One line, of words like "label=N1".
std::string describe(const Operation& operation);
// From such a line, without what happens meanwhile.
Operation parse(const std::string& line);

}  // namespace reference

#endif  // ZEB_TESTS_REFERENCE_OPERATION_H
