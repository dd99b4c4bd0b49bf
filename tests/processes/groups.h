// An execution group in a process of its own, with one node, as several tests need it.
#ifndef ZEB_TESTS_PROCESSES_GROUPS_H
#define ZEB_TESTS_PROCESSES_GROUPS_H

#include <memory>
#include <string>
#include <vector>

#include "tests/support/processes.h"
#include "tests/support/stored_bytes.h"

namespace support {

// The process deploys its node when it hears "deploy" and answers "deployed"; it sends messages of
// 1000 + number bytes when it hears "send" and answers "sent"; it deletes its node when it hears
// "end". Every odd message fails with `failing`. It exits with the number of messages that the
// library logged.
struct GroupPlan {
  int number = 0;
  int messages = 0;
  bool failing = false;
  std::string eventMessage = {};
};

// Started all at once, but nothing deployed yet.
std::vector<std::unique_ptr<Child>> startGroups(const std::vector<GroupPlan>& plans);
void tellAll(std::vector<std::unique_ptr<Child>>& groups, const std::string& line);
void hearAll(std::vector<std::unique_ptr<Child>>& groups, const std::string& line);
// Has every group end; each must exit with 0.
void endAll(std::vector<std::unique_ptr<Child>>& groups);

// "node of group 3", for number 3.
std::u16string nodeLabel(int number);

// The labels of the nodes that are reached from the one broker record, by parent ID.
std::vector<std::u16string> reachableNodes(const std::vector<StoredRecord>& records);

}  // namespace support

#endif  // ZEB_TESTS_PROCESSES_GROUPS_H
