// SPDX-License-Identifier: Apache-2.0
// An execution group in a process of its own, with one node, as several tests need it.
#ifndef ZEB_TESTS_PROCESSES_GROUPS_H
#define ZEB_TESTS_PROCESSES_GROUPS_H

#include <memory>
#include <string>
#include <vector>

#include "tests/support/processes.h"
#include "tests/support/stored_bytes.h"

namespace support {

// What the process does when it hears, and what it answers:
//   deploy   deploys its node; "deployed"
//   send     sends that many messages, of 1000 + number bytes each; "sent"
//   work     "working", then sends until it hears the next line; says how many it sent by then
//   end      deletes its node and exits, with 0 when the library logged nothing and, if watched,
//            each message was counted: one more than before, or the first after a reset
// Its messages are numbered from 1 on; see sendNumbered.
struct GroupPlan {
  int number = 0;
  int messages = 0;
  bool failing = false;      // every other message fails
  bool interrupted = false;  // signals arrive while it sends
  std::string eventMessage = {};
  bool watched = false;  // compares its stored count before and after each message that it works
};

using GroupProcesses = std::vector<std::unique_ptr<Child>>;

// Started all at once, but nothing deployed yet.
GroupProcesses startGroups(const std::vector<GroupPlan>& plans);
// The plan, for that many groups with the numbers 0, 1, ...
std::vector<GroupPlan> plansFor(int groups, GroupPlan plan);
void tellAll(GroupProcesses& groups, const std::string& line);
void hearAll(GroupProcesses& groups, const std::string& line);
// Tells all, then hears the answer of each.
void haveAll(GroupProcesses& groups, const std::string& line, const std::string& answer);
// Has every group end; each must exit with 0.
void endAll(GroupProcesses& groups);

// "node of group 3", for number 3.
std::u16string nodeLabel(int number);

// The labels of the nodes that are reached from the one broker record, by parent ID, sorted.
std::vector<std::u16string> reachableNodes(const std::vector<StoredRecord>& records);
// The labels of that many groups' nodes, sorted.
std::vector<std::u16string> allLabels(int groups);
// How many records have a parent that is not there, or is of another type than theirs belongs to.
int orphans(const std::vector<StoredRecord>& records);

}  // namespace support

#endif  // ZEB_TESTS_PROCESSES_GROUPS_H
